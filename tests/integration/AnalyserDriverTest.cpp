#include "AnalyserModel.h"
#include "ChromameterMinoltaCas40.h"
#include "DriverFixture.h"
#include "ScriptedInstrument.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <thread>

namespace {

const QByteArray kOk("OK00\r\n");
const QByteArray kEightFields("OK00,1,2,0.3127,0.3290,120.5,6,7\r\n");
const QByteArray kSevenFields("OK00,1,2,0.3127,0.3290,120.5,6\r\n");

using ProbedCas40 = DriverProbe<CChromameterMinoltaCas40>;
using AnalyserDriver = DriverFixture<AnalyserModel, ProbedCas40>;
using AnalyserConversation = DriverFixture<ScriptedInstrument, ProbedCas40>;

} // namespace

TEST_F(AnalyserDriver, ConnectEntersRemoteModeThenZeroCalibratesWithTheClock) {
    const QDateTime before = nowToTheSecond();
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    const QDateTime after = nowToTheSecond();
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_TRUE(sim.inRemoteMode());

    const QByteArray received = sim.received();
    ASSERT_TRUE(received.startsWith("COM,1\nZRC,1,")) << received.constData();
    EXPECT_TRUE(received.endsWith('\n'));
    EXPECT_EQ(received.size(), 6 + 26);
    EXPECT_EQ(sim.zeroCalibrationCount(), 1);
    expectStampBetween(sim.lastZeroCalibrationDate(), before, after);
}

TEST_F(AnalyserDriver, ConnectTellsWatchersOnTheCallersThreadBeforeMarkingConnected) {
    int seenConnected = -1;
    watcher.onEvent = [&](const QString& name) {
        if (name == "connected")
            seenConnected = driver.IsConnected() ? 1 : 0;
    };
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    watcher.onEvent = nullptr;
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(seenConnected, 0);
    EXPECT_TRUE(driver.IsConnected());
}

TEST_F(AnalyserDriver, MeasurementWithoutColourTemperatureKeepsTheLastOne) {
    ASSERT_EQ(measure(true), QStringLiteral("finished"));
    SimReading reading;
    reading.Tcp = 3000;
    reading.Lv = 50;
    sim.setReading(reading);
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    SChromameterMeasureData data = {0, 0, 0, 0};
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Tcp, 6504.0f);
    EXPECT_FLOAT_EQ(data.Lv, 50.0f);
}

TEST_F(AnalyserDriver, Ok02ReplyZeroCalibratesAtOnceThenSucceedsWithZeroValues) {
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    sim.clearRecord();
    sim.queueMeasureReply("OK02");
    int zeroCalibrationsWhenFinished = -1;
    watcher.onEvent = [&](const QString& name) {
        if (name == "finished")
            zeroCalibrationsWhenFinished = sim.zeroCalibrationCount();
    };
    const QDateTime before = nowToTheSecond();
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
    const QDateTime after = nowToTheSecond();
    watcher.onEvent = nullptr;
    // The zero calibration was a whole exchange inside the measurement, before its outcome.
    EXPECT_EQ(zeroCalibrationsWhenFinished, 1);
    const QByteArray received = sim.received();
    EXPECT_TRUE(received.startsWith("MDS,0\nMES,1\nZRC,1,")) << received.constData();
    expectStampBetween(sim.lastZeroCalibrationDate(), before, after);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    EXPECT_TRUE(driver.IsReaded());
}

TEST_F(AnalyserDriver, Ok04DuringColourTemperatureReadFails) {
    // Field 3 of the luminance reading is fine; the colour-temperature reply "OK04" is not accepted.
    sim.queueMeasureReply(sim.measurementLine(0).trimmed());
    sim.queueMeasureReply("OK04");
    EXPECT_EQ(measure(true), QStringLiteral("failed"));
    EXPECT_EQ(driver.tcp(), 0.0);
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(AnalyserDriver, ReadMeasureDataBeforeTheWorkerEndsFails) {
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    sim.setMeasureDelayMs(500);
    watcher.clear();
    ASSERT_EQ(driver.Measure(false), RESULT_OK);
    double v1 = 1, v2 = 2, v3 = 3, Lv = 4, x = 5, y = 6, v7 = 7;
    EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, Lv, x, y, v7), RESULT_FAIL);
    EXPECT_EQ(Lv, 4.0);
    ASSERT_TRUE(waitForOutcome());
    EXPECT_EQ(watcher.last(), QStringLiteral("finished"));
    waitUntil([&] { return !driver.busy(); }, 1000);
    EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, Lv, x, y, v7), RESULT_OK);
    EXPECT_EQ(Lv, static_cast<double>(120.5f));
}

TEST_F(AnalyserDriver, ReadMeasureDataFillsOnlyLuminanceAndChromaticity) {
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    double v1 = 1, v2 = 2, v3 = 3, Lv = 4, x = 5, y = 6, v7 = 7;
    ASSERT_EQ(driver.ReadMeasureData(v1, v2, v3, Lv, x, y, v7), RESULT_OK);
    EXPECT_EQ(Lv, static_cast<double>(120.5f));
    EXPECT_EQ(x, static_cast<double>(0.3127f));
    EXPECT_EQ(y, static_cast<double>(0.3290f));
    EXPECT_EQ(v1, 1.0);
    EXPECT_EQ(v2, 2.0);
    EXPECT_EQ(v3, 3.0);
    EXPECT_EQ(v7, 7.0);
}

TEST_F(AnalyserDriver, ReadsBeforeAnyMeasurementFail) {
    SChromameterMeasureData data = {1, 2, 3, 4};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    double v = 0;
    EXPECT_EQ(driver.ReadMeasureData(v, v, v, v, v, v, v), RESULT_FAIL);
}

TEST_F(AnalyserDriver, StubsAnswerTheirFixedCodes) {
    QList<float> values{1.0f};
    int start = 5, end = 6;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_NOT_AVAILABLE);
    EXPECT_EQ(values.size(), 1);
    EXPECT_EQ(start, 5);
    EXPECT_EQ(end, 6);
    char* reply = nullptr;
    EXPECT_EQ(driver.MeasurementDataRead(&reply, 1, 2, 3), 1UL);
    EXPECT_EQ(reply, nullptr);
    RecordingWatcher other;
    expectDriverRefusesWatchers(driver, &other, &watcher);
    pumpEvents(50);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(AnalyserDriver, ZeroCalibrateSendsTheDatedCommandAndWaitsForTheAnswer) {
    const QDateTime before = nowToTheSecond();
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_OK);
    const QDateTime after = nowToTheSecond();
    EXPECT_EQ(sim.zeroCalibrationCount(), 1);
    expectStampBetween(sim.lastZeroCalibrationDate(), before, after);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.events().size(), 0u);
}

TEST_F(AnalyserConversation, EightFieldReplyIsStoredThroughSinglePrecision) {
    sim.on("MDS,0\n", kOk);
    sim.on("MES,1\n", kEightFields);
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_EQ(driver.x(), static_cast<double>(0.3127f));
    EXPECT_EQ(driver.y(), static_cast<double>(0.3290f));
    EXPECT_EQ(driver.lv(), static_cast<double>(120.5f));
    EXPECT_NE(driver.x(), 0.3127);
    SChromameterMeasureData data = {0, 0, 0, 0};
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
    EXPECT_EQ(data.Lv, 120.5f);
}

TEST_F(AnalyserConversation, SevenFieldReplyStoresZerosAndFails) {
    sim.on("MDS,0\n", kOk);
    sim.on("MES,1\n", kEightFields, 0, 1);
    sim.on("MES,1\n", kSevenFields);
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    ASSERT_NE(driver.lv(), 0.0);
    EXPECT_EQ(measure(false), QStringLiteral("failed"));
    EXPECT_EQ(watcher.events().back().code, RESULT_FAIL);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_FALSE(driver.IsReaded());
    EXPECT_FALSE(driver.IsMeasureSucced());
}

TEST_F(AnalyserConversation, DisplayModeRefusedEndsTheMeasurementBeforeMeasuring) {
    sim.on("MDS,0\n", "ER10\r\n");
    sim.on("MES,1\n", kEightFields);
    EXPECT_EQ(measure(false), QStringLiteral("failed"));
    EXPECT_EQ(watcher.events().back().code, RESULT_FAIL);
    EXPECT_EQ(sim.countReceived("MES,1\n"), 0);
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(AnalyserConversation, DisplayModeAcceptsOk00AnywhereInTheReply) {
    sim.on("MDS,0\n", "\r\nxOK00\r\n");
    EXPECT_TRUE(driver.ChangeDisplayMode("MDS,0\n"));
}

TEST_F(AnalyserConversation, LimitOfZeroSendsTheDisplayModeAndFailsWithoutReading) {
    sim.on("MDS,0\n", kOk);
    driver.SetLimitTimes(0);
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(driver.ChangeDisplayMode("MDS,0\n"));
    EXPECT_LT(timer.elapsed(), 200);
    EXPECT_TRUE(waitUntil([&] { return sim.received() == "MDS,0\n"; }, 2000)) << sim.received().constData();
    // The answer is still waiting in the port: nobody read it.
    char buffer[64] = {0};
    unsigned int got = 0;
    waitUntil(
        [&] {
            got += detectorPort().Read(buffer + got, sizeof buffer - 1 - got);
            return got >= 6;
        },
        2000);
    EXPECT_EQ(QByteArray(buffer), kOk);
}

TEST_F(AnalyserConversation, ErrorToRemoteCommandFailsConnectAfterTheZeroCalibrationWasSent) {
    sim.on("COM,1\n", "ER00\r\n");
    sim.on("ZRC,1,", kOk);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
    const QByteArray received = sim.received();
    EXPECT_TRUE(received.startsWith("COM,1\nZRC,1,")) << received.constData();
    EXPECT_EQ(sim.countReceived("ZRC,1,"), 1);
}

TEST_F(AnalyserConversation, UnansweredRemoteCommandFailsConnectWithoutZeroCalibrating) {
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    // 20 polls of 50 ms.
    EXPECT_GE(timer.elapsed(), 900);
    EXPECT_LT(timer.elapsed(), 3000);
    EXPECT_EQ(sim.received(), QByteArray("COM,1\n"));
    EXPECT_FALSE(driver.IsConnected());
}

TEST_F(AnalyserConversation, ZeroCalibrationAnswerIsNotExaminedInConnect) {
    sim.on("COM,1\n", kOk);
    sim.on("ZRC,1,", "ER10\r\n");
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_TRUE(driver.IsConnected());
}

TEST_F(AnalyserConversation, ZeroCalibrateSucceedsOnAnyAnswer) {
    sim.on("ZRC,1,", "ER10\r\n");
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_OK);
}

TEST_F(AnalyserConversation, ZeroCalibrationWithoutAnswerStillConnectsButReportsFailure) {
    sim.on("COM,1\n", kOk);
    // The adapter goes before the zero calibration is answered: that read fails at once instead of
    // after its 30 s budget.
    sim.unplugOn("ZRC,1,");
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(sim.countReceived("ZRC,1,"), 1);
}

TEST_F(AnalyserConversation, DisconnectClosesThePortWithoutAnAnswer) {
    sim.on("COM,1\n", kOk);
    sim.on("ZRC,1,", kOk);
    ASSERT_EQ(driver.Connect(), RESULT_OK);
    watcher.clear();
    EXPECT_EQ(driver.Disconnect(), RESULT_FAIL);
    EXPECT_FALSE(detectorPort().IsOpen());
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 0);
    EXPECT_EQ(sim.countReceived("COM,0\n"), 1);
}

TEST_F(AnalyserConversation, DisconnectRefusedByTheInstrumentStillClosesThePort) {
    sim.on("COM,0\n", "ER00\r\n");
    EXPECT_EQ(driver.Disconnect(), RESULT_FAIL);
    EXPECT_FALSE(detectorPort().IsOpen());
    EXPECT_EQ(watcher.count("disconnected"), 0);
}
