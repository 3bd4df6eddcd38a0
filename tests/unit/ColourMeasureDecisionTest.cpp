#include "ColourTextExchange.h"
#include "ColourTextProtocol.h"
#include "DriverSupport.h"
#include "IMinolta.h"

#include <gtest/gtest.h>

namespace {

// The luminance-and-chromaticity decision of the colour analyser, with the values it stores and the
// zero calibrations it asks for counted.
struct Lvxy {
    double x = 7, y = 7, Lv = 7;
    int zeroCalibrations = 0;

    bool decide(const QByteArray& reply, bool ok04IsSuccess = true) {
        return ColourDecideMeasureReply(
            reply, [this](const QString& text) { return Cas40ParseLvxy(text, &x, &y, &Lv); }, {&x, &y, &Lv},
            ok04IsSuccess, [this] { ++zeroCalibrations; });
    }
    bool zeroed() const { return x == 0.0 && y == 0.0 && Lv == 0.0; }
};

} // namespace

TEST(ColourMeasureDecision, ReadingWithEightFieldsIsStoredAndSucceeds) {
    Lvxy m;
    EXPECT_TRUE(m.decide("OK00,1,2,0.3127,0.3290,120.5,6,7\r\n"));
    EXPECT_EQ(m.x, static_cast<double>(0.3127f));
    EXPECT_EQ(m.y, static_cast<double>(0.3290f));
    EXPECT_EQ(m.Lv, 120.5);
    EXPECT_EQ(m.zeroCalibrations, 0);
}

TEST(ColourMeasureDecision, Ok00WithoutValuesZeroesEveryValueAndFails) {
    Lvxy m;
    EXPECT_FALSE(m.decide("OK00,1,2,0.3127,0.3290,120.5,6\r\n"));
    EXPECT_TRUE(m.zeroed());
    EXPECT_EQ(m.zeroCalibrations, 0);
}

TEST(ColourMeasureDecision, Ok00WithoutValuesFailsEvenWhenOk02FollowsIt) {
    Lvxy m;
    EXPECT_FALSE(m.decide("OK00 OK02"));
    EXPECT_TRUE(m.zeroed());
    EXPECT_EQ(m.zeroCalibrations, 0);
}

TEST(ColourMeasureDecision, Ok04IsSuccessWithZeroesWhereItCounts) {
    Lvxy m;
    EXPECT_TRUE(m.decide("OK04\r\n"));
    EXPECT_TRUE(m.zeroed());
    EXPECT_EQ(m.zeroCalibrations, 0);
}

TEST(ColourMeasureDecision, Ok04IsFailureWithZeroesForTheColourTemperature) {
    Lvxy m;
    EXPECT_FALSE(m.decide("OK04\r\n", false));
    EXPECT_TRUE(m.zeroed());
}

TEST(ColourMeasureDecision, Ok02AsksForOneZeroCalibrationAndSucceedsWithZeroes) {
    Lvxy m;
    EXPECT_TRUE(m.decide("OK02\r\n"));
    EXPECT_TRUE(m.zeroed());
    EXPECT_EQ(m.zeroCalibrations, 1);

    Lvxy tcp;
    EXPECT_TRUE(tcp.decide("OK04 OK02", false));
    EXPECT_EQ(tcp.zeroCalibrations, 1);
}

TEST(ColourMeasureDecision, InstrumentErrorZeroesAndFails) {
    Lvxy m;
    EXPECT_FALSE(m.decide("ER10\r\n"));
    EXPECT_TRUE(m.zeroed());
    EXPECT_EQ(m.zeroCalibrations, 0);
}

TEST(ColourMeasureDecision, StatusAfterTheFirstNulIsNotSeen) {
    Lvxy m;
    EXPECT_FALSE(m.decide(QByteArray("ER10\0OK04", 9)));
    EXPECT_TRUE(m.zeroed());
}

TEST(ColourMeasureDecision, ValueIsZeroedBeforeTheZeroCalibrationIsAskedFor) {
    double tcp = 5;
    double seenByZeroCalibration = -1;
    EXPECT_TRUE(ColourDecideMeasureReply(
        "OK02", [](const QString&) { return true; }, {&tcp}, false, [&] { seenByZeroCalibration = tcp; }));
    EXPECT_EQ(seenByZeroCalibration, 0.0);
    EXPECT_EQ(tcp, 0.0);
}

TEST(DriverCopyStoredLvXy, RecordIsFilledOnlyWhileValidAndReady) {
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(DriverCopyStoredLvXy(false, true, 0.3, 0.4, 100.0, 6500.0, data), RESULT_FAIL);
    EXPECT_EQ(DriverCopyStoredLvXy(true, false, 0.3, 0.4, 100.0, 6500.0, data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(data.y, 2.0f);
    EXPECT_EQ(data.Lv, 3.0f);
    EXPECT_EQ(data.Tcp, 4.0f);

    EXPECT_EQ(DriverCopyStoredLvXy(true, true, 0.3127, 0.329, 120.5, 6504.0, data), RESULT_OK);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.329f);
    EXPECT_EQ(data.Lv, 120.5f);
    EXPECT_EQ(data.Tcp, 6504.0f);
}
