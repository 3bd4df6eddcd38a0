#include "ChromameterWuHanJingCe.h"
#include "DriverFixture.h"
#include "JingceModel.h"
#include "ScriptedInstrument.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <string>
#include <system_error>

#include <atomic>
#include <thread>

namespace {

const QByteArray kOk("OK00\r\n");
const QByteArray kGoodReading("OK00 3127;3290;120.5\r\n");

// Gives the tests a view of the driver's own state.
class ProbedJingce : public DriverProbe<CChromameterWuHanJingCe> {
public:
    using DriverProbe<CChromameterWuHanJingCe>::DriverProbe;
    // Whether a zero calibration (or the start of a measurement) holds the driver's lock.
    bool locked() {
        if (!m_mutex.tryLock())
            return true;
        m_mutex.unlock();
        return false;
    }
};

template <typename Sim> class JingceFixture : public DriverFixture<Sim, ProbedJingce, 115200> {
protected:
    // A zero calibration holds the lock for its whole exchange.
    bool workersDone() override { return !this->driver.busy() && !this->driver.locked(); }
};

using JingceDriver = JingceFixture<JingceModel>;
using JingceConversation = JingceFixture<ScriptedInstrument>;

} // namespace

TEST_F(JingceDriver, ConnectLeavesAndEntersRemoteModeThenZeroCalibratesWithTheClock) {
    const QDateTime before = nowToTheSecond();
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    const QDateTime after = nowToTheSecond();
    EXPECT_TRUE(driver.IsConnected());
    const QByteArray received = sim.received();
    ASSERT_TRUE(received.startsWith("COM,0\rCOM,1\rZRC,1,")) << received.constData();
    EXPECT_TRUE(received.endsWith('\r'));
    EXPECT_EQ(received.size(), 6 + 6 + 26);
    expectStampBetween(sim.lastZeroCalibrationDate(), before, after);
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
}

TEST_F(JingceDriver, Ok02ReplyStartsABackgroundZeroCalibrationAndSucceeds) {
    sim.setZeroCalibrationDelayMs(300);
    sim.queueMeasureReply("OK02");
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_EQ(driver.lv(), 0.0);
    // The measurement did not wait for the zero calibration, which ends on its own thread.
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);
    ASSERT_TRUE(waitUntil([&] { return watcher.count("zerocalibrated") == 1; }, 5000));
    EXPECT_EQ(watcher.events().back().code, RESULT_OK);
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(sim.plainZeroCalibrationCount(), 1);
}

TEST_F(JingceDriver, ZeroCalibrateReturnsAtOnceAndTellsWatchersOnSuccess) {
    sim.setZeroCalibrationDelayMs(300);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_OK);
    EXPECT_LT(timer.elapsed(), 100);
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);
    ASSERT_TRUE(waitUntil([&] { return watcher.count("zerocalibrated") == 1; }, 5000));
    EXPECT_GE(timer.elapsed(), 250);
    EXPECT_EQ(watcher.events().back().code, RESULT_OK);
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(sim.received(), QByteArray("ZRC\r"));
    // No flag of the driver changes.
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(JingceDriver, SevenValueSpectrumAndRawReadsAreNotSupportedWhateverTheState) {
    for (int round = 0; round < 2; ++round) {
        double v1 = 1, v2 = 2, v3 = 3, Lv = 4, x = 5, y = 6, v7 = 7;
        EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, Lv, x, y, v7), RESULT_NOT_SUPPORTED);
        EXPECT_EQ(Lv, 4.0);
        EXPECT_EQ(x, 5.0);
        QList<float> values;
        int start = 1, end = 2;
        EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_NOT_SUPPORTED);
        EXPECT_TRUE(values.isEmpty());
        EXPECT_EQ(start, 1);
        char* reply = nullptr;
        EXPECT_EQ(driver.MeasurementDataRead(&reply, 1, 2, 3), RESULT_NOT_SUPPORTED);
        EXPECT_EQ(reply, nullptr);
        if (round == 0) {
            ASSERT_EQ(driver.Connect(), RESULT_OK);
            ASSERT_EQ(measure(false), QStringLiteral("finished"));
        }
    }
}

TEST_F(JingceDriver, DriverRefusesToKeepWatchers) {
    RecordingWatcher other;
    expectDriverRefusesWatchers(driver, &other, &watcher);
}

TEST_F(JingceConversation, ScaledReadingIsStored) {
    sim.on("MDS,0\r", kOk);
    sim.on("MES\r", kGoodReading);
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_EQ(driver.x(), static_cast<double>(3127.0f / 10000.0f));
    EXPECT_EQ(driver.y(), static_cast<double>(3290.0f / 10000.0f));
    EXPECT_EQ(driver.lv(), 120.5);
}

TEST_F(JingceConversation, TwoPiecesStoreZerosAndFail) {
    sim.on("MDS,0\r", kOk);
    sim.on("MES\r", kGoodReading, 0, 1);
    sim.on("MES\r", "OK00 3127;3290\r\n");
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_EQ(measure(false), QStringLiteral("failed"));
    EXPECT_EQ(watcher.events().back().code, RESULT_FAIL);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    EXPECT_EQ(driver.lv(), 0.0);
}

TEST_F(JingceConversation, ReplyWithoutBlankStoresZerosAndFails) {
    sim.on("MDS,0\r", kOk);
    sim.on("MES\r", kGoodReading, 0, 1);
    sim.on("MES\r", "OK00;3127;3290;120.5\r\n");
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_EQ(measure(false), QStringLiteral("failed"));
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
}

TEST_F(JingceConversation, ExtraPiecesAreIgnored) {
    sim.on("MDS,0\r", kOk);
    sim.on("MES\r", "OK00 3000;4000;75.5;1;2;3\r\n");
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_EQ(driver.x(), static_cast<double>(3000.0f / 10000.0f));
    EXPECT_EQ(driver.y(), static_cast<double>(4000.0f / 10000.0f));
    EXPECT_EQ(driver.lv(), 75.5);
}

TEST_F(JingceConversation, ColourTemperatureComesFromFieldFourNotThree) {
    sim.on("MDS,0\r", kOk);
    sim.on("MDS,1\r", kOk);
    sim.on("MES\r", kGoodReading, 0, 1);
    sim.on("MES\r", "OK00,P1,0,1111,6504,0.0032,120.5,0\r\n");
    EXPECT_EQ(measure(true), QStringLiteral("finished"));
    EXPECT_EQ(driver.tcp(), 6504.0);
}

TEST_F(JingceConversation, ErrorToDatedZeroCalibrationFailsConnect) {
    sim.on("COM,0\r", kOk);
    sim.on("COM,1\r", kOk);
    sim.on("ZRC,1,", "ER00\r\n");
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
    EXPECT_EQ(sim.countReceived("ZRC,1,"), 1);
}

TEST_F(JingceConversation, RemoteCommandAnswerIsNotExamined) {
    sim.on("COM,0\r", kOk);
    sim.on("COM,1\r", "ER10\r\n");
    sim.on("ZRC,1,", kOk);
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_TRUE(driver.IsConnected());
}

TEST_F(JingceConversation, UnansweredSignOffInConnectStillConnectsButReportsFailure) {
    sim.on("COM,1\r", kOk);
    sim.on("ZRC,1,", kOk);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 1);
}

TEST_F(JingceConversation, UnansweredRemoteCommandFailsConnectWithoutZeroCalibrating) {
    sim.on("COM,0\r", kOk);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(sim.received(), QByteArray("COM,0\rCOM,1\r"));
}

TEST_F(JingceConversation, FailedZeroCalibrationTellsNobody) {
    sim.on("ZRC\r", "ER10\r\n", 200);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_OK);
    EXPECT_LT(timer.elapsed(), 100);
    ASSERT_TRUE(waitUntil([&] { return sim.countReceived("ZRC\r") == 1; }, 2000));
    // The exchange ends when the answer has been read and the lock is given back.
    ASSERT_TRUE(waitUntil([&] { return timer.elapsed() > 250 && !driver.locked(); }, 5000));
    pumpEvents(50);
    EXPECT_EQ(watcher.events().size(), 0u);
}

TEST_F(JingceConversation, ZeroCalibrateReturnsAtOnceWhenNoInstrumentAnswers) {
    // The adapter goes as the command arrives: nothing will ever answer.
    sim.unplugOn("ZRC\r");
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_OK);
    EXPECT_LT(timer.elapsed(), 100);
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 3000));
    ASSERT_TRUE(waitUntil([&] { return !driver.locked(); }, 5000));
    pumpEvents(50);
    EXPECT_EQ(watcher.events().size(), 0u);
}

TEST_F(JingceConversation, DisconnectClosesThePortWithoutAnAnswer) {
    EXPECT_EQ(driver.Disconnect(), RESULT_FAIL);
    EXPECT_EQ(sim.received(), QByteArray("COM,0\r"));
    EXPECT_FALSE(detectorPort().IsOpen());
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 0);
}

TEST_F(JingceDriver, Ok02WhoseZeroCalibrationThreadCannotStartStillFinishesTheMeasurement) {
    sim.queueMeasureReply("OK02");
    EXPECT_EQ(driver.Measure(false), RESULT_OK);
    // The measurement's own worker runs; the next thread asked for, the zero calibration's from inside
    // that worker, cannot be had.
    ASSERT_TRUE(waitUntil([&] { return driver.busy(); }, 5000));
    CDriverWorkers::FailNextStart();
    ASSERT_TRUE(waitForOutcome());
    // The zero calibration failed (reported to nobody); the measurement ends as an "OK02" ends.
    EXPECT_EQ(lastOutcome(), QStringLiteral("finished"));
    EXPECT_EQ(driver.lv(), 0.0);
    pumpEvents(300);
    EXPECT_EQ(sim.plainZeroCalibrationCount(), 0);
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);
    // The process lives on, and the driver measures again.
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_FLOAT_EQ(float(driver.lv()), 120.5f);
}

TEST_F(JingceDriver, ZeroCalibrateWhoseThreadCannotStartRaisesTheSystemErrorAndSendsNothing) {
    CDriverWorkers::FailNextStart();
    EXPECT_THROW(
        {
            try {
                driver.ZeroCalibrate();
            } catch (const std::system_error& error) {
                EXPECT_NE(std::string(error.what()).find("thread constructor failed"), std::string::npos);
                throw;
            }
        },
        std::system_error);
    pumpEvents(300);
    EXPECT_EQ(sim.plainZeroCalibrationCount(), 0);
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);
}

TEST_F(JingceDriver, MeasureWhoseThreadCannotStartRaisesTheSystemErrorAndSendsNothing) {
    sim.clearRecord();
    CDriverWorkers::FailNextStart();
    EXPECT_THROW(
        {
            try {
                driver.Measure(false);
            } catch (const std::system_error& error) {
                EXPECT_NE(std::string(error.what()).find("thread constructor failed"), std::string::npos);
                throw;
            }
        },
        std::system_error);
    EXPECT_FALSE(driver.IsMeasureSucced());
    EXPECT_EQ(watcher.events().size(), 0u);
    pumpEvents(200);
    EXPECT_EQ(sim.countReceived("MDS"), 0);
    // The driver is not left locked: the next measurement runs.
    EXPECT_EQ(measure(false), QStringLiteral("finished"));
}

// A watcher that measures from inside the zero calibration's notification, on the thread it arrives
// on: the zero calibration has let go of the driver's lock by then, so Measure does not hang.
TEST_F(JingceDriver, WatcherMeasuringFromInsideTheZeroCalibrationNotificationDoesNotHang) {
    std::atomic<int> calledBack{0};
    watcher.onEvent = [&](const QString& name) {
        if (name != "zerocalibrated" || calledBack.exchange(1) != 0)
            return;
        driver.Measure(false);
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
        driver.ReadLvXy(data);
        driver.Disconnect();
        calledBack = 2;
    };
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_OK);
    ASSERT_TRUE(waitUntil([&] { return calledBack == 2; }, 5000));
    // The measurement started from inside runs on the port the same watcher has just closed: stopped,
    // it reports its end.
    CDriverWorkers::StopAll();
    EXPECT_TRUE(waitForOutcome(1000));
    watcher.onEvent = nullptr;
}
