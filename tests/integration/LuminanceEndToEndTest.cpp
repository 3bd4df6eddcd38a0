#include "ChromameterDetector.h"
#include "DetectorPort.h"
#include "HostFixture.h"
#include "LuminanceFrames.h"
#include "LuminanceMeter.h"
#include "LuminanceModel.h"

#include <QTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

QByteArray frame(const char* command) {
    return QByteArray(command, LUMINANCE_COMMAND_SIZE);
}

// A luminance meter on the simulator's line, found by the library's own detection through the
// host's facade.
class LuminanceEndToEnd : public HostFixture<LuminanceModel> {
protected:
    void SetUp() override {
        SimReading reading;
        reading.Lv = 87.625;
        model.setReading(reading);
        HostFixture::SetUp();
        ASSERT_NO_FATAL_FAILURE(createFacade());
    }
};

// The same, with a host whose thread is busy most of the time: a timer of its own, run inside the
// library's reads (their event loop is the host's), blocks that thread for 60 ms of every 70. The
// replies' pieces then wait in the system and reach the library late and in groups.
class LuminanceBusyHost : public LuminanceEndToEnd {
protected:
    void SetUp() override {
        LuminanceEndToEnd::SetUp();
        busy.setInterval(70);
        QObject::connect(&busy, &QTimer::timeout,
                         [] { std::this_thread::sleep_for(std::chrono::milliseconds(60)); });
        busy.start();
    }
    void TearDown() override {
        busy.stop();
        LuminanceEndToEnd::TearDown();
    }
    QTimer busy;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, LuminanceEndToEnd, ::testing::ValuesIn(AllLines()), LineName);
// Only where replies come in pieces: a whole reply cannot be cut by when it is processed.
INSTANTIATE_TEST_SUITE_P(Lines, LuminanceBusyHost, ::testing::ValuesIn(RealisticLines()), LineName);

TEST_P(LuminanceBusyHost, BinaryFramesArriveWholeSoTheMeterConnectsAtTheFirstHandshakeAndMeasures) {
    MessageCapture log;
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    // One handshake: no frame was cut, so none had to be sent again.
    EXPECT_EQ(model.countReceived(frame(LuminanceTables().connectCommands[2])), 1);
    // No piece of a frame, however many NUL bytes it starts with, was taken for nothing received.
    EXPECT_EQ(log.count(QStringLiteral("NULL ")), 0);

    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    EXPECT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(facade->ReadLastestData(), 87.625);
    EXPECT_EQ(log.count(QStringLiteral("NULL ")), 0);
}

TEST_P(LuminanceEndToEnd, DetectedAsTypeTwoAfterTheTextDriversFail) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);

    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->m_nInstrumentType, 2);
    EXPECT_NE(dynamic_cast<CLuminanceMeter*>(detector->m_pMinolta), nullptr);

    // The two text drivers spoke first; the instrument skipped their bytes and then heard its frames.
    const QByteArray received = model.received();
    const int firstFrame = received.indexOf(frame(LuminanceTables().connectCommands[0]));
    EXPECT_GT(firstFrame, 0);
    EXPECT_EQ(model.bytesSkipped(), firstFrame);
    EXPECT_EQ(received.mid(firstFrame), frame(LuminanceTables().connectCommands[0]) +
                                            frame(LuminanceTables().connectCommands[1]) +
                                            frame(LuminanceTables().connectCommands[2]));
    EXPECT_TRUE(model.inRemoteMode());

    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events().back().thread, std::this_thread::get_id());
    // This driver never raises its connected flag, and the facade asks the driver.
    EXPECT_FALSE(facade->IsConnected());
}

TEST_P(LuminanceEndToEnd, MeasureTellsWatchersOnCallersThreadAndReadOutGivesTheConfiguredLuminance) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    watcher.clear();

    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    // Synchronous: the watchers have heard before Measure returned, on this thread.
    ASSERT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());

    EXPECT_EQ(facade->ReadLastestData(), 87.625);

    // The instrument answers the read-out's last three parts; the next round is not disturbed.
    SimReading reading = model.reading();
    reading.Lv = 12.5;
    model.setReading(reading);
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    EXPECT_EQ(watcher.count("finished"), 2);
    EXPECT_EQ(watcher.count("failed"), 0);
    EXPECT_EQ(facade->ReadLastestData(), 12.5);
}

TEST_P(LuminanceEndToEnd, ReadOutWaitsForARunningMeasurementToFinish) {
    model.setMeasureDelayMs(600);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    model.clearRecord();

    EXPECT_EQ(facade->ReadLastestData(), 87.625);

    // Asked again while the instrument said "running", once more when it said "finished".
    EXPECT_GE(model.countReceived(frame(LuminanceTables().pollingCommand)), 2);
}

TEST_P(LuminanceEndToEnd, ColourReadsAreRefusedThroughTheFacade) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    model.clearRecord();

    SChromameterMeasureData data{0.5f, 0.5f, 0.5f, 0.5f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 0.5f);
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    // The driver's "not available" reaches the host folded into the generic failure.
    EXPECT_EQ(facade->ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_FAIL);
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_TRUE(values.isEmpty());
    pumpEvents(100);
    EXPECT_TRUE(model.received().isEmpty());
}

TEST_P(LuminanceEndToEnd, DisconnectLeavesRemoteModeTellsWatchersAndClosesThePort) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_TRUE(model.inRemoteMode());

    EXPECT_EQ(facade->Disconnect(), RESULT_OK);

    EXPECT_FALSE(model.inRemoteMode());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_FALSE(detectorPort().IsOpen());
}
