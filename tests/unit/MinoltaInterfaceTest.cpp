// What IMinolta itself carries: the record, the result codes and the default operations.
#include "IMinolta.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

// The smallest implementation: every pure operation does nothing; the flags can be set.
class BareMinolta : public IMinolta {
public:
    unsigned long Connect() override { return RESULT_OK; }
    unsigned long Disconnect() override { return RESULT_OK; }
    unsigned long Measure(bool) override { return RESULT_OK; }
    double ReadLastestData() override { return -1.0; }
    unsigned long ReadLvXy(SChromameterMeasureData&) override { return RESULT_FAIL; }
    unsigned long ReadSpectralData(QList<float>&, int&, int&) override { return RESULT_NOT_AVAILABLE; }
    unsigned long ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) override {
        return RESULT_NOT_AVAILABLE;
    }
    unsigned long RegisterWatcher(IMinoltaWatcher*) override { return RESULT_NOT_SUPPORTED; }
    unsigned long UnregisterWatcher(IMinoltaWatcher*) override { return RESULT_NOT_SUPPORTED; }

    void set(bool connected, bool measuring, bool succeed, bool readed) {
        m_bConnected = connected;
        m_bMeasuring = measuring;
        m_bMeasureSucceed = succeed;
        m_bReaded = readed;
    }
    int type() const { return m_nType; }
};

} // namespace

TEST(MinoltaInterface, RecordIsFourConsecutiveFloats) {
    EXPECT_EQ(sizeof(SChromameterMeasureData), 16u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, x), 0u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, y), 4u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, Lv), 8u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, Tcp), 12u);
}

TEST(MinoltaInterface, ResultCodesAreTheThirtyTwoBitPatterns) {
    EXPECT_EQ(RESULT_OK, 0x00000000ul);
    EXPECT_EQ(RESULT_FAIL, 0x80000008ul);
    EXPECT_EQ(RESULT_NOT_SUPPORTED, 0xE0830002ul);
    EXPECT_EQ(RESULT_NOT_AVAILABLE, 0xE0830003ul);
    EXPECT_EQ(RESULT_PORT_LOST, 0xE0833000ul);
    EXPECT_NE(RESULT_NOT_SUPPORTED, RESULT_NOT_AVAILABLE);
}

TEST(MinoltaInterface, NewObjectIsDisconnectedWithoutType) {
    BareMinolta m;
    EXPECT_FALSE(m.IsConnected());
    EXPECT_FALSE(m.IsMeasureSucced());
    EXPECT_FALSE(m.IsReaded());
    EXPECT_EQ(m.type(), -1);
}

TEST(MinoltaInterface, IsMeasureSuccedIsTrueWhileMeasuringWhateverTheOutcome) {
    BareMinolta m;
    m.set(true, true, false, false);
    EXPECT_TRUE(m.IsMeasureSucced());
    m.set(true, true, true, false);
    EXPECT_TRUE(m.IsMeasureSucced());
}

TEST(MinoltaInterface, IsMeasureSuccedReportsTheOutcomeOnceDone) {
    BareMinolta m;
    m.set(true, false, false, false);
    EXPECT_FALSE(m.IsMeasureSucced());
    m.set(true, false, true, false);
    EXPECT_TRUE(m.IsMeasureSucced());
}

TEST(MinoltaInterface, IsConnectedAndIsReadedAnswerTheirFlags) {
    BareMinolta m;
    m.set(true, false, false, true);
    EXPECT_TRUE(m.IsConnected());
    EXPECT_TRUE(m.IsReaded());
    m.set(false, false, false, false);
    EXPECT_FALSE(m.IsConnected());
    EXPECT_FALSE(m.IsReaded());
}

TEST(MinoltaInterface, DeletionThroughTheInterfaceReachesTheImplementation) {
    static int destroyed = 0;
    class Counted : public BareMinolta {
    public:
        ~Counted() override { ++destroyed; }
    };
    IMinolta* m = new Counted();
    delete m;
    EXPECT_EQ(destroyed, 1);
}
