// What the drivers of the two colour families share, the Minolta colour analyser and the Wuhan
// Jingce colorimeter: the same conversation ("MDS" sets the display mode, the measure command's
// answer holds the values), with their own line end, measure command and line speed. Each test runs
// once per family (named after it), on the family's simulated instrument.

#include "AnalyserModel.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DriverFixture.h"
#include "InstrumentFamilies.h"
#include "JingceModel.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

// A colour driver's state, and whether an exchange of its own (a Jingce zero calibration runs on a
// worker of its own) holds its lock.
template <class Driver> class ColourProbe : public DriverProbe<Driver> {
public:
    using DriverProbe<Driver>::DriverProbe;
    bool locked() {
        if (!this->m_mutex.tryLock())
            return true;
        this->m_mutex.unlock();
        return false;
    }
};

struct AnalyserFamily {
    using Model = AnalyserModel;
    using Driver = CChromameterMinoltaCas40;
    static constexpr int kType = 1;
    static constexpr char kEnd = '\n';
    static constexpr const char* kMeasure = "MES,1";
};

struct JingceFamily {
    using Model = JingceModel;
    using Driver = CChromameterWuHanJingCe;
    static constexpr int kType = 4;
    static constexpr char kEnd = '\r';
    static constexpr const char* kMeasure = "MES";
};

template <class Family>
class ColourDriver : public DriverFixture<typename Family::Model, ColourProbe<typename Family::Driver>,
                                          kInstrumentFamilies[Family::kType].baud> {
protected:
    bool workersDone() override { return !this->driver.busy() && !this->driver.locked(); }

    // A command of the family, with its line end.
    static QByteArray command(const char* text) { return QByteArray(text) + Family::kEnd; }
};

struct FamilyName {
    template <class Family> static std::string GetName(int) {
        return kInstrumentFamilies[Family::kType].name;
    }
};

using ColourFamilies = ::testing::Types<AnalyserFamily, JingceFamily>;

} // namespace

TYPED_TEST_SUITE(ColourDriver, ColourFamilies, FamilyName);

TYPED_TEST(ColourDriver, ConstructedDriverIsIdleWithItsTypeAndALimitOfTen) {
    this->expectAsConstructed(TypeParam::kType, 10);
    EXPECT_EQ(this->driver.tcp(), 0.0);
}

TYPED_TEST(ColourDriver, LuminanceAndChromaticityMeasurementIsStoredAndAnnounced) {
    auto& driver = this->driver;
    ASSERT_EQ(driver.Connect(), RESULT_OK);
    this->sim.clearRecord();
    EXPECT_EQ(this->measure(false), QStringLiteral("finished"));
    EXPECT_NE(this->watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(this->sim.received(), this->command("MDS,0") + this->command(TypeParam::kMeasure));

    SChromameterMeasureData data = {-1.0f, -1.0f, -1.0f, -3.0f};
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    // No colour temperature was measured.
    EXPECT_EQ(data.Tcp, 0.0f);
    EXPECT_TRUE(driver.IsMeasureSucced());
    EXPECT_TRUE(driver.IsReaded());
}

TYPED_TEST(ColourDriver, ColourTemperatureMeasurementSwitchesModeAndStoresTheTemperature) {
    EXPECT_EQ(this->measure(true), QStringLiteral("finished"));
    const QByteArray measure = this->command(TypeParam::kMeasure);
    EXPECT_EQ(this->sim.received(), this->command("MDS,0") + measure + this->command("MDS,1") + measure);
    // The instrument is left in the colour-temperature mode.
    EXPECT_EQ(this->sim.displayMode(), 1);

    SChromameterMeasureData data = {0, 0, 0, 0};
    ASSERT_EQ(this->driver.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Tcp, 6504.0f);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
}

TYPED_TEST(ColourDriver, Ok04ReplySucceedsWithZeroValues) {
    auto& driver = this->driver;
    ASSERT_EQ(this->measure(false), QStringLiteral("finished"));
    ASSERT_NE(driver.lv(), 0.0);
    this->sim.clearRecord();
    this->sim.queueMeasureReply("OK04");
    EXPECT_EQ(this->measure(false), QStringLiteral("finished"));
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    SChromameterMeasureData data = {-1, -1, -1, -1};
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.x, 0.0f);
    EXPECT_EQ(data.y, 0.0f);
    EXPECT_EQ(data.Lv, 0.0f);
    // Unlike "OK02", no zero calibration follows.
    pumpEvents(100);
    EXPECT_EQ(this->sim.countReceived("ZRC"), 0);
}

TYPED_TEST(ColourDriver, Er10ReplyFailsTheMeasurement) {
    auto& driver = this->driver;
    ASSERT_EQ(this->measure(false), QStringLiteral("finished"));
    this->sim.queueMeasureReply("ER10");
    EXPECT_EQ(this->measure(false), QStringLiteral("failed"));
    EXPECT_EQ(this->watcher.events().back().code, RESULT_FAIL);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    EXPECT_FALSE(driver.IsMeasureSucced());
    EXPECT_FALSE(driver.IsReaded());
    SChromameterMeasureData data = {7, 7, 7, 7};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 7.0f);
}

TYPED_TEST(ColourDriver, LimitOfOneFailsEveryMeasurementYetStoresTheValues) {
    auto& driver = this->driver;
    driver.SetLimitTimes(1);
    EXPECT_EQ(this->measure(false), QStringLiteral("failed"));
    EXPECT_EQ(this->watcher.events().back().code, RESULT_FAIL);
    EXPECT_EQ(driver.lv(), static_cast<double>(120.5f));
    EXPECT_EQ(driver.x(), static_cast<double>(0.3127f));
    EXPECT_EQ(driver.y(), static_cast<double>(0.3290f));
    // The display-mode exchange has no success boundary.
    EXPECT_TRUE(driver.ChangeDisplayMode(this->command("MDS,1").constData()));
    EXPECT_EQ(this->sim.displayMode(), 1);
}

TYPED_TEST(ColourDriver, ReadLvXyBeforeTheWorkerEndsFails) {
    auto& driver = this->driver;
    ASSERT_EQ(this->measure(false), QStringLiteral("finished"));
    this->sim.setMeasureDelayMs(500);
    this->watcher.clear();
    ASSERT_EQ(driver.Measure(false), RESULT_OK);
    SChromameterMeasureData data = {9, 9, 9, 9};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 9.0f);
    // While the worker runs, the measurement counts as succeeding, whatever its outcome will be.
    ASSERT_TRUE(waitUntil([&] { return driver.busy(); }, 2000));
    EXPECT_TRUE(driver.IsMeasureSucced());
    ASSERT_TRUE(this->waitForOutcome());
    EXPECT_EQ(this->watcher.last(), QStringLiteral("finished"));
    waitUntil([&] { return !driver.busy(); }, 1000);
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
}

TYPED_TEST(ColourDriver, ReadLastestDataIsMinusOneWhateverWasMeasured) {
    auto& driver = this->driver;
    EXPECT_EQ(driver.ReadLastestData(), -1.0);
    ASSERT_EQ(this->measure(false), QStringLiteral("finished"));
    EXPECT_EQ(driver.ReadLastestData(), -1.0);
    ASSERT_EQ(this->measure(true), QStringLiteral("finished"));
    EXPECT_EQ(driver.ReadLastestData(), -1.0);
    // The record it reads into is its own; the stored values stay as they were.
    SChromameterMeasureData data = {0, 0, 0, 0};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
}

TYPED_TEST(ColourDriver, DisconnectLeavesRemoteModeTellsWatchersAndClosesThePort) {
    auto& driver = this->driver;
    ASSERT_EQ(driver.Connect(), RESULT_OK);
    this->watcher.clear();
    this->sim.clearRecord();
    EXPECT_EQ(driver.Disconnect(), RESULT_OK);
    EXPECT_EQ(this->sim.received(), this->command("COM,0"));
    EXPECT_FALSE(this->sim.inRemoteMode());
    EXPECT_FALSE(driver.IsConnected());
    ASSERT_EQ(this->watcher.count("disconnected"), 1);
    EXPECT_EQ(this->watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_FALSE(detectorPort().IsOpen());
}

TYPED_TEST(ColourDriver, LostPortDuringMeasurementIsReportedAndDisconnects) {
    ASSERT_EQ(this->driver.Connect(), RESULT_OK);
    this->sim.setFault(SimFault::UnplugDuringMeasure);
    EXPECT_EQ(this->measure(false), QStringLiteral("failed"));
    EXPECT_EQ(this->watcher.events().back().code, RESULT_PORT_LOST);
    EXPECT_FALSE(this->driver.IsConnected());
    // A worker hands the close over to the port's own thread.
    EXPECT_TRUE(waitUntil([] { return !detectorPort().IsOpen(); }, 2000));
}
