#include "DriverFixture.h"
#include "PhotoResearch.h"
#include "ScriptedInstrument.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

const QByteArray kGoodReport("00000,111,120.5,0.3127,0.3290\r\n");

using ProbedPhotoResearch = DriverProbe<CPhotoResearch>;

// Every write the driver asks the detector for, as it is emitted (one entry per doWrite).
class WriteLog {
public:
    WriteLog() {
        CChromameterDetector* det = CChromameterDetector::GetInstance();
        m_connection = QObject::connect(
            det, &CChromameterDetector::doWrite, det,
            [this](const void* buf, DWORD count) -> DWORD {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_writes.push_back(QByteArray(static_cast<const char*>(buf), int(count)));
                return count;
            },
            Qt::DirectConnection);
    }
    ~WriteLog() { QObject::disconnect(m_connection); }
    std::vector<QByteArray> writes() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_writes;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<QByteArray> m_writes;
    QMetaObject::Connection m_connection;
};

class PhotoResearchDriver : public DriverFixture<ScriptedInstrument, ProbedPhotoResearch> {
protected:
    void connectDriver() {
        sim.on("PHOTO", " REMOTE MODE\r\n");
        ASSERT_EQ(driver.Connect(), RESULT_OK);
        ASSERT_TRUE(driver.IsConnected());
        watcher.clear();
        sim.clearRecord();
    }
};

} // namespace

TEST_F(PhotoResearchDriver, ConstructedDriverIsIdleWithTypeUnsetAndLimitOfTen) {
    expectAsConstructed(-1, 10);
}

TEST_F(PhotoResearchDriver, GreetingWithLineEndConnectsAndTellsWatchers) {
    sim.on("PHOTO", " REMOTE MODE\r\n");
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(sim.received(), QByteArray("PHOTO"));
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(driver.type(), -1);
}

TEST_F(PhotoResearchDriver, WatcherToldOfConnectionStillSeesTheDriverDisconnected) {
    sim.on("PHOTO", " REMOTE MODE\r\n");
    int seenConnected = -1;
    watcher.onEvent = [&](const QString& name) {
        if (name == "connected")
            seenConnected = driver.IsConnected() ? 1 : 0;
    };
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    watcher.onEvent = nullptr;
    EXPECT_EQ(seenConnected, 0);
    EXPECT_TRUE(driver.IsConnected());
}

TEST_F(PhotoResearchDriver, GreetingWithoutLeadingBlankDoesNotConnect) {
    sim.on("PHOTO", "REMOTE MODE\r\n");
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
}

TEST_F(PhotoResearchDriver, GreetingCutShortByALetterDoesNotConnect) {
    sim.on("PHOTO", " REMOTE MOD\r\n");
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
}

TEST_F(PhotoResearchDriver, SilentInstrumentDoesNotConnect) {
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
    // Three tries of one port read and a 100 ms pause each, then it gives up.
    EXPECT_GE(timer.elapsed(), 300);
    EXPECT_LT(timer.elapsed(), 2000);
}

TEST_F(PhotoResearchDriver, PhotoGoesOutOneCharacterPerWrite) {
    WriteLog log;
    sim.on("PHOTO", " REMOTE MODE\r\n");
    ASSERT_EQ(driver.Connect(), RESULT_OK);
    const std::vector<QByteArray> writes = log.writes();
    ASSERT_EQ(writes.size(), 5u);
    const char expected[] = "PHOTO";
    for (size_t i = 0; i < writes.size(); ++i)
        EXPECT_EQ(writes[i], QByteArray(1, expected[i]));
}

TEST_F(PhotoResearchDriver, SendDataRefusesNullAndEmptyCommandsWithoutWriting) {
    WriteLog log;
    EXPECT_EQ(driver.SendData(nullptr), RESULT_FAIL);
    EXPECT_EQ(driver.SendData(""), RESULT_FAIL);
    EXPECT_TRUE(log.writes().empty());
    pumpEvents(100);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(PhotoResearchDriver, SendDataSendsEveryCharacterInOrder) {
    WriteLog log;
    EXPECT_EQ(driver.SendData("D1\n"), RESULT_OK);
    ASSERT_EQ(log.writes().size(), 3u);
    EXPECT_TRUE(waitUntil([&] { return sim.received() == "D1\n"; }, 2000));
}

TEST_F(PhotoResearchDriver, UnsupportedOperationsAnswerTheirStubCodesAndTouchNothing) {
    QList<float> values{1.0f};
    int start = 7, end = 9;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_NOT_AVAILABLE);
    EXPECT_EQ(values, QList<float>{1.0f});
    EXPECT_EQ(start, 7);
    EXPECT_EQ(end, 9);

    double v1 = 1, v2 = 2, v3 = 3, lv = 4, x = 5, y = 6, v7 = 7;
    EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_NOT_AVAILABLE);
    EXPECT_EQ(v1 + v2 + v3 + lv + x + y + v7, 28.0);
    EXPECT_EQ(lv, 4.0);

    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_NOT_AVAILABLE);

    RecordingWatcher other;
    expectDriverRefusesWatchers(driver, &other, &watcher);

    pumpEvents(100);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(PhotoResearchDriver, GoodReportIsStoredAndAnnouncedFromTheWorkerThread) {
    connectDriver();
    sim.on("M1\n", kGoodReport);
    WriteLog log;
    ASSERT_TRUE(measureUntilOutcome(5000));
    ASSERT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.count("failed"), 0);
    EXPECT_NE(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(driver.IsMeasureSucced());
    EXPECT_TRUE(driver.IsReaded());
    EXPECT_EQ(driver.lv(), double(120.5f));
    EXPECT_EQ(driver.x(), double(0.3127f));
    EXPECT_EQ(driver.y(), double(0.3290f));

    // The measure command went out a character at a time as well.
    const std::vector<QByteArray> writes = log.writes();
    ASSERT_EQ(writes.size(), 3u);
    EXPECT_EQ(writes[0], QByteArray("M"));
    EXPECT_EQ(writes[1], QByteArray("1"));
    EXPECT_EQ(writes[2], QByteArray("\n"));
    EXPECT_EQ(sim.received(), QByteArray("M1\n"));

    SChromameterMeasureData data = {-1.0f, -1.0f, -1.0f, 42.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 120.5f);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
    EXPECT_EQ(data.Tcp, 42.0f);
}

TEST_F(PhotoResearchDriver, NonZeroStatusFailsTheMeasurementAndStoresNothing) {
    connectDriver();
    sim.on("M1\n", "00001,111,120.5,0.3127,0.3290\r\n");
    ASSERT_TRUE(measureUntilOutcome(5000));
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    EXPECT_EQ(watcher.count("finished"), 0);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    EXPECT_FALSE(driver.IsMeasureSucced());
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(PhotoResearchDriver, ReportCutAfterLuminanceFailsWithNothingStored) {
    connectDriver();
    sim.on("M1\n", "00000,111,120.5\r\n");
    ASSERT_TRUE(measureUntilOutcome(5000));
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
}

TEST_F(PhotoResearchDriver, ReportCutAfterXFailsAfterStoringLuminanceOnly) {
    connectDriver();
    sim.on("M1\n", "00000,111,120.5,0.3127\r\n");
    ASSERT_TRUE(measureUntilOutcome(5000));
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    EXPECT_EQ(driver.lv(), double(120.5f));
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(PhotoResearchDriver, LuminanceThatIsNotANumberIsStoredAsZero) {
    connectDriver();
    // A good report first, so that the zero below is one the driver wrote, not the one it started with.
    sim.on("M1\n", kGoodReport, 0, 1);
    sim.on("M1\n", "00000,111,------,0.3127,0.3290\r\n");
    ASSERT_EQ(measure(), QStringLiteral("finished"));
    ASSERT_EQ(driver.lv(), double(120.5f));
    ASSERT_EQ(measure(), QStringLiteral("finished"));
    ASSERT_EQ(watcher.count("finished"), 1);
    SChromameterMeasureData data = {-1.0f, -1.0f, -1.0f, -1.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 0.0f);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
}

TEST_F(PhotoResearchDriver, ReportOnTheTenthPollFailsWithTheDefaultLimitSlow) {
    connectDriver();
    // Polls read for up to 80 ms and then pause a second. The command itself only leaves once the
    // first poll's read has let go of the port, so, counted from its arrival, poll 9 reads until
    // about 8.6 s and poll 10 from about 9.6 s: a report sent 9.2 s later is first seen by poll 10.
    sim.on("M1\n", kGoodReport, 9200);
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(measureUntilOutcome(15000));
    EXPECT_GE(timer.elapsed(), 9200);
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    EXPECT_EQ(watcher.count("finished"), 0);
    EXPECT_FALSE(driver.IsMeasureSucced());
    EXPECT_EQ(driver.lv(), 0.0);
}

TEST_F(PhotoResearchDriver, ReportOnTheNinthPollCountsWithTheDefaultLimitSlow) {
    connectDriver();
    // Arrives between the reads of polls 8 (about 7.5 s) and 9 (about 8.6 s).
    sim.on("M1\n", kGoodReport, 8150);
    ASSERT_TRUE(measureUntilOutcome(15000));
    ASSERT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.count("failed"), 0);
    EXPECT_EQ(driver.lv(), double(120.5f));
}

TEST_F(PhotoResearchDriver, LastPollOfTheLimitIsOnlyAMargin) {
    connectDriver();
    ASSERT_EQ(driver.SetLimitTimes(3), RESULT_OK);
    EXPECT_EQ(driver.limitTimes(), 3);
    // Seen by poll 3 of 3 (poll 2 reads at about 1.0 s, poll 3 at about 2.1 s): rejected.
    sim.on("M1\n", kGoodReport, 1600, 1);
    ASSERT_TRUE(measureUntilOutcome(6000));
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    waitUntil([&] { return !driver.busy(); }, 2000);
    pumpEvents(50);

    // Seen by poll 2 of 3: accepted.
    watcher.clear();
    sim.on("M1\n", kGoodReport, 550, 1);
    ASSERT_TRUE(measureUntilOutcome(6000));
    EXPECT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.count("failed"), 0);
}

TEST_F(PhotoResearchDriver, LimitOfOneFailsEvenAnImmediateReport) {
    connectDriver();
    driver.SetLimitTimes(1);
    sim.on("M1\n", kGoodReport);
    ASSERT_TRUE(measureUntilOutcome(5000));
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    EXPECT_EQ(sim.countReceived("M1\n"), 1);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_FALSE(driver.IsMeasureSucced());
}

TEST_F(PhotoResearchDriver, LimitOfZeroFailsWithoutPollingAfterSendingTheCommand) {
    connectDriver();
    driver.SetLimitTimes(0);
    // A silent instrument: a single poll would take over a second.
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(measureUntilOutcome(5000));
    EXPECT_LT(timer.elapsed(), 700);
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
    EXPECT_TRUE(waitUntil([&] { return sim.countReceived("M1\n") == 1; }, 2000));
    EXPECT_FALSE(driver.IsMeasureSucced());
}

TEST_F(PhotoResearchDriver, NegativeLimitTakesTheFirstReportButRejectsIt) {
    connectDriver();
    driver.SetLimitTimes(-1);
    EXPECT_EQ(driver.limitTimes(), -1);
    // The poll budget never reaches zero, so polling goes on until a report comes; by then the
    // budget is below the margin.
    sim.on("M1\n", kGoodReport, 1300);
    ASSERT_TRUE(measureUntilOutcome(6000));
    ASSERT_TRUE(failedOnceWith(RESULT_FAIL));
}

TEST_F(PhotoResearchDriver, MeasureWhileDisconnectedIsRefusedAndSendsNothing) {
    EXPECT_EQ(driver.Measure(false), RESULT_FAIL);
    pumpEvents(300);
    EXPECT_TRUE(sim.received().isEmpty());
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_FALSE(driver.busy());
    EXPECT_FALSE(driver.IsMeasureSucced());
}

TEST_F(PhotoResearchDriver, MeasureWhilePollingIsRefusedAndSucceedReadsTrueUntilTheFailure) {
    connectDriver();
    // The report comes late and with a bad status.
    sim.on("M1\n", "00001,111,1,2,3\r\n", 500);
    EXPECT_EQ(driver.Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil([&] { return driver.busy(); }, 2000));
    EXPECT_TRUE(driver.IsMeasureSucced());
    EXPECT_EQ(driver.Measure(false), RESULT_FAIL);
    ASSERT_TRUE(waitForOutcome(5000));
    EXPECT_EQ(watcher.count("failed"), 1);
    EXPECT_EQ(watcher.count("finished"), 0);
    EXPECT_FALSE(driver.IsMeasureSucced());
    pumpEvents(100);
    EXPECT_EQ(sim.countReceived("M1\n"), 1);
}

TEST_F(PhotoResearchDriver, ReadLvXyAfterAMeasurementAnswersFromMemoryWithoutPortTraffic) {
    connectDriver();
    sim.on("M1\n", kGoodReport);
    sim.on("D1\n", "00000,111,1.0,0.1,0.1\r\n");
    ASSERT_EQ(driver.Measure(false), RESULT_OK);
    ASSERT_TRUE(waitForOutcome(5000));
    ASSERT_EQ(watcher.count("finished"), 1);
    waitUntil([&] { return !driver.busy(); }, 2000);
    pumpEvents(50);
    sim.clearRecord();

    WriteLog log;
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 120.5f);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
    EXPECT_TRUE(log.writes().empty());
    pumpEvents(300);
    EXPECT_TRUE(sim.received().isEmpty());
    EXPECT_TRUE(sim.record().isEmpty());
}

TEST_F(PhotoResearchDriver, ReadLvXyBeforeAnyMeasurementAsksTheInstrumentWithD1) {
    connectDriver();
    sim.on("D1\n", "00000,111,80.25,0.25,0.375\r\n");
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 9.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 80.25f);
    EXPECT_EQ(data.x, 0.25f);
    EXPECT_EQ(data.y, 0.375f);
    EXPECT_EQ(data.Tcp, 9.0f);
    EXPECT_EQ(sim.received(), QByteArray("D1\n"));
    // Asking the instrument does not count as a measurement of this driver.
    EXPECT_FALSE(driver.IsReaded());
    EXPECT_FALSE(driver.IsMeasureSucced());
    EXPECT_TRUE(watcher.events().empty());
}

TEST_F(PhotoResearchDriver, ReadLvXyWithABadD1ReportFailsAndLeavesTheRecord) {
    connectDriver();
    sim.on("D1\n", "00001,111,80.25,0.25,0.375\r\n");
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(data.y, 2.0f);
    EXPECT_EQ(data.Lv, 3.0f);
    EXPECT_EQ(sim.countReceived("D1\n"), 1);
}

TEST_F(PhotoResearchDriver, ReadLvXyWithASilentInstrumentFails) {
    connectDriver();
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 3.0f);
    EXPECT_EQ(sim.countReceived("D1\n"), 1);
}

TEST_F(PhotoResearchDriver, ReadLastestDataIsZeroWhateverTheInstrumentSays) {
    connectDriver();
    sim.on("D1\n", "00000,111,80.25,0.25,0.375\r\n", 0, 1);
    EXPECT_EQ(driver.ReadLastestData(), 0.0);
    // It still refreshed the stored values on the way.
    EXPECT_EQ(driver.lv(), double(80.25f));
    EXPECT_EQ(sim.countReceived("D1\n"), 1);

    // And with nothing to say.
    EXPECT_EQ(driver.ReadLastestData(), 0.0);
    EXPECT_EQ(sim.countReceived("D1\n"), 2);
}

TEST_F(PhotoResearchDriver, DealResultDataIgnoresCommandsThatProduceNoReport) {
    EXPECT_EQ(driver.DealResultData("00000,111,120.5,0.3127,0.3290\r\n", "M2\n"), RESULT_OK);
    EXPECT_EQ(driver.DealResultData("00000,111,120.5,0.3127,0.3290\r\n", "M1"), RESULT_OK);
    EXPECT_EQ(driver.DealResultData("garbage", "Q"), RESULT_OK);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_EQ(driver.x(), 0.0);
    EXPECT_EQ(driver.y(), 0.0);

    EXPECT_EQ(driver.DealResultData("00000,111,120.5,0.3127,0.3290\r\n", "D1\n"), RESULT_OK);
    EXPECT_EQ(driver.lv(), double(120.5f));
    EXPECT_EQ(driver.x(), double(0.3127f));
    EXPECT_EQ(driver.y(), double(0.3290f));
}

TEST_F(PhotoResearchDriver, DealResultDataRefusesMissingReplyOrCommand) {
    EXPECT_EQ(driver.DealResultData(nullptr, "M1\n"), RESULT_FAIL);
    EXPECT_EQ(driver.DealResultData("", "M1\n"), RESULT_FAIL);
    EXPECT_EQ(driver.DealResultData("00000,111,1,2,3\n", nullptr), RESULT_FAIL);
    EXPECT_EQ(driver.DealResultData("00000,111,1,2,3\n", ""), RESULT_FAIL);
    EXPECT_EQ(driver.lv(), 0.0);
}

TEST_F(PhotoResearchDriver, DealResultDataKeepsXAndYWhenTheReportStopsAfterX) {
    ASSERT_EQ(driver.DealResultData("00000,111,10,0.1,0.2\n", "M1\n"), RESULT_OK);
    EXPECT_EQ(driver.DealResultData("00000,111,20,0.3\n", "M1\n"), RESULT_FAIL);
    EXPECT_EQ(driver.lv(), 20.0);
    EXPECT_EQ(driver.x(), double(0.1f));
    EXPECT_EQ(driver.y(), double(0.2f));
}

TEST_F(PhotoResearchDriver, DisconnectSendsQClosesThePortAndTellsWatchers) {
    connectDriver();
    EXPECT_EQ(driver.Disconnect(), RESULT_OK);
    EXPECT_FALSE(driver.IsConnected());
    ASSERT_EQ(watcher.count("disconnected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_FALSE(detectorPort().IsOpen());
    EXPECT_TRUE(waitUntil([&] { return sim.received() == "Q"; }, 2000));

    // Disconnected, it measures no more.
    EXPECT_EQ(driver.Measure(false), RESULT_FAIL);
}
