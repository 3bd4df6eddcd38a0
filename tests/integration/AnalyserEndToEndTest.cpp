#include "AnalyserModel.h"
#include "ChromameterDetector.h"
#include "Minolta.h"
#include "TestSupport.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

// A host's view: one facade from the factory, a watcher registered through it, the analyser
// simulated on a pseudo-terminal that detection is pointed at.
class AnalyserEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(sim.start());
        scope.reset(new CatalogueScope({sim.portPath()}));
        IMinolta* created = nullptr;
        ASSERT_EQ(CreateChromameterMinolta(&created), RESULT_OK);
        facade.reset(created);
        EXPECT_EQ(facade->RegisterWatcher(&watcher), 1UL);
    }

    void TearDown() override {
        // Let a worker that has just notified return before the watcher goes away.
        pumpEvents(100);
        if (facade)
            facade->UnregisterWatcher(&watcher);
    }

    bool waitForOutcome(int timeoutMs = 10000) {
        return waitUntil([&] { return watcher.count("finished") + watcher.count("failed") > 0; }, timeoutMs);
    }

    AnalyserModel sim;
    std::unique_ptr<CatalogueScope> scope;
    RecordingWatcher watcher;
    std::unique_ptr<IMinolta> facade;
};

} // namespace

TEST_F(AnalyserEndToEnd, ConnectDetectsTheAnalyserAsTypeOne) {
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    EXPECT_EQ(facade->Connect(), RESULT_OK);
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);
    EXPECT_TRUE(facade->IsConnected());
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 1);
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(sim.inRemoteMode());
    // Whatever the drivers tried before it left the analyser unmoved; its own handshake went through.
    EXPECT_EQ(sim.countReceived("COM,1\n"), 1);
    EXPECT_EQ(sim.zeroCalibrationCount(), 1);
    const QDateTime stamp = QDateTime::fromString(QString::fromLatin1(sim.lastZeroCalibrationDate()),
                                                  QStringLiteral("yyyy,MM,dd,hh,mm,ss"));
    ASSERT_TRUE(stamp.isValid());
    EXPECT_LE(before, stamp);
    EXPECT_LE(stamp, after);
}

TEST_F(AnalyserEndToEnd, MeasurementFinishesOnAWorkerAndReadsLuminanceAndChromaticity) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    watcher.clear();
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    ASSERT_TRUE(waitForOutcome());
    ASSERT_EQ(watcher.last(), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());

    SChromameterMeasureData data = {0, 0, 0, -5.0f};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    double v1 = 0, v2 = 0, v3 = 0, Lv = 0, x = 0, y = 0, v7 = 0;
    ASSERT_EQ(facade->ReadMeasureData(v1, v2, v3, Lv, x, y, v7), RESULT_OK);
    EXPECT_FLOAT_EQ(float(Lv), 120.5f);
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
}

TEST_F(AnalyserEndToEnd, ColourTemperatureMeasurementReadsTcpToo) {
    SimReading reading;
    reading.Lv = 80.25;
    reading.x = 0.28;
    reading.y = 0.29;
    reading.Tcp = 9300;
    sim.setReading(reading);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    watcher.clear();
    EXPECT_EQ(facade->Measure(true), RESULT_OK);
    ASSERT_TRUE(waitForOutcome());
    ASSERT_EQ(watcher.last(), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(sim.displayMode(), 1);

    SChromameterMeasureData data = {0, 0, 0, 0};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 80.25f);
    EXPECT_FLOAT_EQ(data.x, 0.28f);
    EXPECT_FLOAT_EQ(data.y, 0.29f);
    EXPECT_FLOAT_EQ(data.Tcp, 9300.0f);
}

TEST_F(AnalyserEndToEnd, SpectrumIsNotOfferedAndFoldsIntoFailure) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_TRUE(values.isEmpty());
}

TEST_F(AnalyserEndToEnd, DisconnectSignsOffAndTellsTheWatcher) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    watcher.clear();
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_FALSE(sim.inRemoteMode());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_FALSE(CChromameterDetector::GetInstance()->m_port.IsOpen());
}
