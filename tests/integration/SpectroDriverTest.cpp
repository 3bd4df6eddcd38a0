#include "ChromameterCommand.h"
#include "ChromameterMinolta.h"
#include "DriverFixture.h"
#include "DriverSupport.h"
#include "ScriptedInstrument.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

const QByteArray kProbe("STR,4\r");
const QByteArray kRemoteOn("RMTS,1\r\n");
const QByteArray kRemoteOff("RMTS,0\r\n");
const QByteArray kMeasure("MEAS,1\r\n");
const QByteArray kReadLvXy("MEDR,2,0,2\r\n");
const QByteArray kReadAll("MEDR,2,0,0\r\n");
const QByteArray kReadBlock1("MEDR,1,0,1\r\n");
const QByteArray kOk("OK00\r\n");
const QByteArray kRefused("ER00\r\n");
const QByteArray kLvXyReply("OK00,0.3127,0.3290,120.5\r\n");
const QByteArray kTwelveValues("OK00,10,20,30,40,50,60,70,80,90,100,110,120\r\n");
// The instrument's first answer to a measurement: ten bytes, not the completion.
const QByteArray kIntermediate("OK00,003\r\n");
// Far enough apart that the driver has taken one reply before the next arrives, even when its read
// has just begun its one-second pause: replies that meet in the port's buffer would merge.
const int kReplyGapMs = 1500;

// One "MEDR" exchange as the driver's read operations saw it.
struct DataRead {
    int kind;
    int block;
    unsigned long result;
    bool buffer;
};

// Gives the tests a view of the driver's own state and of the exchanges its read operations make
// (which they make through the virtual table).
class ProbedSpectro : public DriverProbe<CChromameterMinolta> {
public:
    using DriverProbe<CChromameterMinolta>::DriverProbe;
    double measure1() const { return m_dMeasure1; }
    double measure2() const { return m_dMeasure2; }
    double measure3() const { return m_dMeasure3; }
    double measure7() const { return m_dMeasure7; }

    unsigned long MeasurementDataRead(char** reply, int kind, int zero, int block) override {
        const unsigned long result = CChromameterMinolta::MeasurementDataRead(reply, kind, zero, block);
        dataReads.push_back(DataRead{kind, block, result, reply && *reply});
        return result;
    }

    std::vector<DataRead> dataReads;
};

// A driver whose data reads are answered by the test, without a port: reaches the spectral block
// parse that a real exchange never leads to.
class CannedDataReads : public CChromameterMinolta {
public:
    using CChromameterMinolta::CChromameterMinolta;
    unsigned long MeasurementDataRead(char** reply, int kind, int zero, int block) override {
        requested.push_back(kind * 10000 + zero * 100 + block);
        if (withBuffer) {
            *reply = new char[CHROMAMETER_REPLY_SIZE]();
            const QByteArray text = "OK00," + QByteArray::number(block) + ".5,2\r\n";
            std::memcpy(*reply, text.constData(), size_t(text.size()));
        }
        return result;
    }

    unsigned long result = RESULT_FAIL;
    bool withBuffer = true;
    std::vector<int> requested;
};

QList<ReplyPiece> spaced(const QList<QByteArray>& replies) {
    QList<ReplyPiece> pieces;
    for (int i = 0; i < replies.size(); ++i)
        pieces.append(ReplyPiece{i == 0 ? 0 : kReplyGapMs, replies[i]});
    return pieces;
}

class SpectroDriver : public DriverFixture<ScriptedInstrument, ProbedSpectro> {
protected:
    void TearDown() override {
        DriverFixture::TearDown();
        CMinoltaVistor::GetInstance()->Unregister(&second);
    }

    // Pumps until the instrument has received `count` copies of `command`.
    bool waitForReceived(const QByteArray& command, int count = 1, int timeoutMs = 3000) {
        return waitUntil([&] { return sim.countReceived(command) >= count; }, timeoutMs);
    }

    // Whatever is left unread in the port right now.
    QByteArray leftInPort() {
        QByteArray reply;
        DriverRead(detectorLine(), {1, 10}, &reply);
        return reply;
    }

    void connectDriver() {
        sim.on(kProbe, kRefused);
        sim.on(kRemoteOn, kOk);
        ASSERT_EQ(driver.Connect(), RESULT_OK);
        watcher.clear();
        sim.clearRecord();
    }

    RecordingWatcher second;
};

} // namespace

// --- Construction and the fixed slots -----------------------------------------------------------

TEST_F(SpectroDriver, ConstructedDriverIsTypeZeroWithLimitThirtyAndNothingMeasured) {
    expectAsConstructed(0, 30);
    EXPECT_EQ(driver.reserved(), 0);
    EXPECT_EQ(driver.measure1(), 0.0);
    EXPECT_EQ(driver.measure2(), 0.0);
    EXPECT_EQ(driver.measure3(), 0.0);
    EXPECT_EQ(driver.measure7(), 0.0);
    EXPECT_FALSE(driver.busy());
}

TEST_F(SpectroDriver, OwnRegisterWatcherRefusesAndRegistersNothing) {
    expectDriverRefusesWatchers(driver, &second, &watcher);
    IMinolta* asHost = &driver;
    EXPECT_EQ(asHost->RegisterWatcher(&second), RESULT_NOT_SUPPORTED);
    EXPECT_EQ(asHost->UnregisterWatcher(&watcher), RESULT_NOT_SUPPORTED);
}

TEST_F(SpectroDriver, ZeroCalibrateIsNotAvailableAndSendsNothing) {
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_NOT_AVAILABLE);
    pumpEvents(150);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(SpectroDriver, SetLimitTimesStoresAnyValueUnchecked) {
    driver.SetLimitTimes(-5);
    EXPECT_EQ(driver.limitTimes(), -5);
    driver.SetLimitTimes(1000000);
    EXPECT_EQ(driver.limitTimes(), 1000000);
}

// A slot as a host binary reaches it: the object's table of function pointers (Itanium C++ ABI),
// each entry called with the object as its first argument.
template <typename Fn> Fn slotOf(void* object, int index) {
    void** table = *static_cast<void***>(object);
    return reinterpret_cast<Fn>(table[index]);
}

TEST_F(SpectroDriver, HostSeesTheOwnOperationsInTheirSlotsAfterTheDestructor) {
    // Through IChromameter: the seven shared operations, MeasurementDataRead, the destructor's two
    // entries, then RegisterWatcher, UnregisterWatcher, SetLimitTimes, ZeroCalibrate.
    void* primary = static_cast<IChromameter*>(&driver);
    using Watch = unsigned long (*)(void*, IMinoltaWatcher*);
    EXPECT_EQ(slotOf<Watch>(primary, 10)(primary, &second), RESULT_NOT_SUPPORTED);
    EXPECT_EQ(slotOf<Watch>(primary, 11)(primary, &second), RESULT_NOT_SUPPORTED);
    slotOf<void (*)(void*, int)>(primary, 12)(primary, 7);
    EXPECT_EQ(driver.limitTimes(), 7);
    EXPECT_EQ(slotOf<unsigned long (*)(void*)>(primary, 13)(primary), RESULT_NOT_AVAILABLE);
    pumpEvents(100);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(SpectroDriver, HostSeesTheInheritedQueriesThroughIMinolta) {
    // Through IMinolta: the seven shared operations, the destructor's two entries, IsConnected,
    // IsMeasureSucced, IsReaded, RegisterWatcher, UnregisterWatcher.
    sim.on(kProbe, kRefused);
    sim.on(kRemoteOn, kOk);
    ASSERT_EQ(driver.Connect(), RESULT_OK);
    void* host = static_cast<IMinolta*>(&driver);
    EXPECT_TRUE(slotOf<bool (*)(void*)>(host, 9)(host));
    EXPECT_FALSE(slotOf<bool (*)(void*)>(host, 10)(host));
    EXPECT_FALSE(slotOf<bool (*)(void*)>(host, 11)(host));
    using Watch = unsigned long (*)(void*, IMinoltaWatcher*);
    EXPECT_EQ(slotOf<Watch>(host, 12)(host, &second), RESULT_NOT_SUPPORTED);
    EXPECT_EQ(slotOf<Watch>(host, 13)(host, &second), RESULT_NOT_SUPPORTED);
}

// --- Connect and Disconnect ---------------------------------------------------------------------

TEST_F(SpectroDriver, ProbeAnsweredOkMakesConnectFailWithoutEnteringRemoteMode) {
    sim.on(kProbe, kOk);
    sim.on(kRemoteOn, kOk);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    pumpEvents(200);
    EXPECT_EQ(sim.received(), kProbe);
    EXPECT_EQ(sim.countReceived(kRemoteOn), 0);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
}

TEST_F(SpectroDriver, ProbeRefusedWithEr00AndRemoteModeAcceptedConnectsAndTellsEveryWatcherOnce) {
    CMinoltaVistor::GetInstance()->Register(&second);
    sim.on(kProbe, kRefused);
    sim.on(kRemoteOn, kOk);
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(second.count("connected"), 1);
    EXPECT_EQ(watcher.events().size(), 1u);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    pumpEvents(100);
    EXPECT_EQ(sim.received(), kProbe + kRemoteOn);
}

TEST_F(SpectroDriver, Er00AnywhereInTheProbeReplyCountsAsRefusal) {
    sim.on(kProbe, QByteArray("\r\nER00\r\n"));
    sim.on(kRemoteOn, kOk);
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_TRUE(driver.IsConnected());
}

TEST_F(SpectroDriver, ProbeRefusedWithAnotherErrorMakesConnectFail) {
    sim.on(kProbe, QByteArray("ER10\r\n"));
    sim.on(kRemoteOn, kOk);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    pumpEvents(100);
    EXPECT_EQ(sim.countReceived(kRemoteOn), 0);
    EXPECT_FALSE(driver.IsConnected());
}

TEST_F(SpectroDriver, SilentProbeButRemoteModeAcceptedFailsYetConnectsAndAnnounces) {
    sim.on(kRemoteOn, kOk);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 1);
    pumpEvents(100);
    EXPECT_EQ(sim.received(), kProbe + kRemoteOn);
}

TEST_F(SpectroDriver, RemoteModeRefusedMakesConnectFailUnannounced) {
    sim.on(kProbe, kRefused);
    sim.on(kRemoteOn, QByteArray("ER10\r\n"));
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
}

TEST_F(SpectroDriver, RemoteModeUnansweredMakesConnectFailUnannounced) {
    sim.on(kProbe, kRefused);
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("connected"), 0);
    pumpEvents(100);
    EXPECT_EQ(sim.countReceived(kRemoteOn), 1);
}

TEST_F(SpectroDriver, DisconnectLeavesRemoteModeAnnouncesAndClosesThePort) {
    connectDriver();
    sim.on(kRemoteOff, kOk);
    EXPECT_EQ(driver.Disconnect(), RESULT_OK);
    EXPECT_FALSE(driver.IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_FALSE(detectorPort().IsOpen());
    EXPECT_EQ(sim.received(), kRemoteOff);
}

TEST_F(SpectroDriver, UnconfirmedDisconnectFailsKeepsTheFlagAndStillClosesThePort) {
    connectDriver();
    sim.on(kRemoteOff, QByteArray("ER20\r\n"));
    EXPECT_EQ(driver.Disconnect(), RESULT_FAIL);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 0);
    EXPECT_FALSE(detectorPort().IsOpen());
}

TEST_F(SpectroDriver, UnansweredDisconnectFailsAndStillClosesThePort) {
    connectDriver();
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.Disconnect(), RESULT_FAIL);
    // Five tries of a 100 ms pause.
    EXPECT_GE(timer.elapsed(), 500);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 0);
    EXPECT_FALSE(detectorPort().IsOpen());
}

// --- Measurement --------------------------------------------------------------------------------

TEST_F(SpectroDriver, CompletionReplyFinishesTheMeasurementOnAWorkerThread) {
    sim.on(kMeasure, kOk);
    EXPECT_EQ(measure(), "finished");
    EXPECT_EQ(watcher.count("finished"), 1);
    EXPECT_NE(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(driver.IsMeasureSucced());
    EXPECT_FALSE(driver.IsReaded());
    EXPECT_FALSE(driver.busy());
    EXPECT_EQ(sim.received(), kMeasure);
}

TEST_F(SpectroDriver, TenByteIntermediateReplyIsSkippedAndTheCompletionOnTheSecondReadSucceeds) {
    sim.onPieces(kMeasure, spaced({kIntermediate, kOk}));
    EXPECT_EQ(measure(), "finished");
    EXPECT_TRUE(driver.IsMeasureSucced());
    // Only reads are repeated, never the command.
    EXPECT_EQ(sim.countReceived(kMeasure), 1);
    EXPECT_EQ(sim.received(), kMeasure);
}

TEST_F(SpectroDriver, RepliesOfOtherLengthsAreSkippedUntilTheCompletion) {
    sim.onPieces(kMeasure, spaced({QByteArray("OK00\r\n\r\n"), QByteArray("OK00\r\nX\r\n\r\n"), kOk}));
    EXPECT_EQ(measure(), "finished");
}

TEST_F(SpectroDriver, TenByteReplyBeginningWithTheCompletionCounts) {
    sim.on(kMeasure, QByteArray("OK00\r\nP1\r\n"));
    EXPECT_EQ(measure(), "finished");
}

TEST_F(SpectroDriver, LimitOfZeroFailsEveryMeasurementWithoutReading) {
    sim.on(kMeasure, kOk);
    driver.SetLimitTimes(0);
    EXPECT_EQ(measure(), "failed");
    EXPECT_EQ(lastFailureCode(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsMeasureSucced());
    // The completion was never read: it is still waiting in the port.
    ASSERT_TRUE(waitForReceived(kMeasure));
    pumpEvents(100);
    EXPECT_EQ(leftInPort(), kOk);
}

TEST_F(SpectroDriver, LimitOfOneFailsAfterOneReadEvenWithTheCompletion) {
    sim.on(kMeasure, kOk);
    driver.SetLimitTimes(1);
    EXPECT_EQ(measure(), "failed");
    EXPECT_EQ(lastFailureCode(), RESULT_FAIL);
    // The one read took the completion.
    pumpEvents(100);
    EXPECT_TRUE(leftInPort().isEmpty());
}

TEST_F(SpectroDriver, LimitOfOneFailsAfterOneReadOfASkippedReply) {
    sim.onPieces(kMeasure, spaced({kIntermediate, kOk}));
    driver.SetLimitTimes(1);
    EXPECT_EQ(measure(), "failed");
    EXPECT_EQ(lastFailureCode(), RESULT_FAIL);
    // The completion came after the one read and was never taken.
    pumpEvents(kReplyGapMs + 200);
    EXPECT_EQ(leftInPort(), kOk);
}

TEST_F(SpectroDriver, LimitOfTwoSucceedsOnACompletionAtTheFirstRead) {
    sim.on(kMeasure, kOk);
    driver.SetLimitTimes(2);
    EXPECT_EQ(measure(), "finished");
    EXPECT_TRUE(driver.IsMeasureSucced());
}

TEST_F(SpectroDriver, LimitOfTwoFailsOnACompletionAtTheSecondRead) {
    sim.onPieces(kMeasure, spaced({kIntermediate, kOk}));
    driver.SetLimitTimes(2);
    EXPECT_EQ(measure(), "failed");
    EXPECT_EQ(lastFailureCode(), RESULT_FAIL);
    EXPECT_FALSE(driver.IsMeasureSucced());
    // It was the second read that took the completion.
    EXPECT_TRUE(leftInPort().isEmpty());
}

TEST_F(SpectroDriver, SlowDefaultLimitCountsACompletionOnTheThirtiethReadAsFailure) {
    QList<QByteArray> replies;
    for (int i = 0; i < 29; ++i)
        replies.append(kIntermediate);
    replies.append(kOk);
    sim.onPieces(kMeasure, spaced(replies));
    EXPECT_EQ(measure(false, 29 * kReplyGapMs + 15000), "failed");
    EXPECT_EQ(lastFailureCode(), RESULT_FAIL);
    EXPECT_EQ(sim.countReceived(kMeasure), 1);
    EXPECT_TRUE(leftInPort().isEmpty());
}

TEST_F(SpectroDriver, MeasureReturnsAtOnceAndReportsSuccessWhileRunningEvenIfItFails) {
    sim.onPieces(kMeasure, spaced({kIntermediate, kOk}));
    driver.SetLimitTimes(2);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.Measure(true), RESULT_OK);
    EXPECT_LT(timer.elapsed(), 500);
    ASSERT_TRUE(waitUntil([&] { return driver.busy(); }, 2000));
    EXPECT_TRUE(driver.IsMeasureSucced());
    ASSERT_TRUE(waitUntil([&] { return watcher.count("failed") > 0; }, 15000));
    waitUntil([&] { return !driver.busy(); }, 1000);
    EXPECT_FALSE(driver.IsMeasureSucced());
}

TEST_F(SpectroDriver, MeasureClearsTheValidFlagAtOnce) {
    sim.on(kMeasure, kOk, 0, 1);
    sim.on(kMeasure, kOk, 500);
    ASSERT_EQ(measure(), "finished");
    ASSERT_TRUE(driver.valid());
    watcher.clear();
    EXPECT_EQ(driver.Measure(false), RESULT_OK);
    EXPECT_FALSE(driver.valid());
    ASSERT_TRUE(waitUntil([&] { return watcher.count("finished") > 0; }, 15000));
    EXPECT_TRUE(driver.valid());
}

TEST_F(SpectroDriver, LostPortDuringMeasurementFailsItAndClosesThePort) {
    sim.unplugOn(kMeasure);
    EXPECT_EQ(measure(false, 20000), "failed");
    // The command itself went out, so the loss shows in the reads: the first read that finds the port
    // gone ends the measurement with the lost port's code, and the channel closes the port: the close
    // a worker hands over runs at the port thread's next event-loop turn.
    EXPECT_EQ(lastFailureCode(), RESULT_PORT_LOST);
    EXPECT_TRUE(waitUntil([&] { return !detectorPort().IsOpen(); }, 1000));
    EXPECT_FALSE(detectorPort().IsPortConnect());
    EXPECT_FALSE(driver.IsMeasureSucced());
}

// --- Data reads ---------------------------------------------------------------------------------

TEST_F(SpectroDriver, DataReadHandsOverTheWholeReplyInAZeroFilledBuffer) {
    sim.on(kReadLvXy, kLvXyReply);
    char* reply = nullptr;
    EXPECT_EQ(driver.MeasurementDataRead(&reply, 2, 0, 2), RESULT_OK);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(QByteArray(reply), kLvXyReply);
    for (int i = kLvXyReply.size(); i < CHROMAMETER_REPLY_SIZE; ++i)
        ASSERT_EQ(reply[i], '\0') << i;
    EXPECT_TRUE(driver.IsReaded());
    CChromameterDetector::GetInstance()->ReleaseBuf(&reply);
    EXPECT_EQ(reply, nullptr);
    EXPECT_EQ(sim.received(), kReadLvXy);
}

TEST_F(SpectroDriver, DataReadWithAnErrorStatusFailsWithoutABuffer) {
    sim.on(kReadAll, QByteArray("ER10,1,2,3\r\n"));
    char* reply = nullptr;
    EXPECT_EQ(driver.MeasurementDataRead(&reply, 2, 0, 0), RESULT_FAIL);
    EXPECT_EQ(reply, nullptr);
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(SpectroDriver, LostPortMakesTheDataReadReportTheLossAndClosesThePort) {
    sim.unplug();
    char* reply = nullptr;
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.MeasurementDataRead(&reply, 2, 0, 2), RESULT_PORT_LOST);
    EXPECT_EQ(RESULT_PORT_LOST, 0xE0833000UL);
    EXPECT_EQ(reply, nullptr);
    EXPECT_FALSE(detectorPort().IsOpen());
    EXPECT_FALSE(driver.IsReaded());
    // Found at once, not after the reads' budgets.
    EXPECT_LT(timer.elapsed(), 5000);
}

TEST_F(SpectroDriver, LostPortMakesReadLvXyFailWithTheRecordUntouched) {
    sim.unplug();
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(data.Lv, 3.0f);
    ASSERT_EQ(driver.dataReads.size(), 1u);
    EXPECT_EQ(driver.dataReads[0].result, RESULT_PORT_LOST);
}

TEST_F(SpectroDriver, ReadLvXyTakesXYAndLvFromTheReplyInSinglePrecision) {
    sim.on(kReadLvXy, kLvXyReply);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 6504.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
    EXPECT_EQ(data.Lv, 120.5f);
    // This instrument delivers no colour temperature.
    EXPECT_EQ(data.Tcp, 6504.0f);
    // Stored as read, narrowed.
    EXPECT_EQ(driver.x(), double(0.3127f));
    EXPECT_EQ(driver.y(), double(0.3290f));
    EXPECT_EQ(driver.lv(), 120.5);
    EXPECT_TRUE(driver.IsReaded());
    EXPECT_EQ(sim.received(), kReadLvXy);
}

TEST_F(SpectroDriver, AfterAMeasurementAndOneReadLvXyAnswersFromMemoryWithoutSending) {
    sim.on(kMeasure, kOk);
    sim.on(kReadLvXy, kLvXyReply);
    ASSERT_EQ(measure(), "finished");
    SChromameterMeasureData first = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(driver.ReadLvXy(first), RESULT_OK);
    EXPECT_EQ(sim.countReceived(kReadLvXy), 1);

    sim.clearRecord();
    SChromameterMeasureData again = {9.0f, 9.0f, 9.0f, 9.0f};
    EXPECT_EQ(driver.ReadLvXy(again), RESULT_OK);
    EXPECT_EQ(again.x, 0.3127f);
    EXPECT_EQ(again.y, 0.3290f);
    EXPECT_EQ(again.Lv, 120.5f);
    EXPECT_EQ(again.Tcp, 9.0f);
    pumpEvents(200);
    EXPECT_TRUE(sim.record().isEmpty());
    EXPECT_EQ(driver.dataReads.size(), 1u);
}

TEST_F(SpectroDriver, NextMeasurementMakesReadLvXyAskTheInstrumentAgain) {
    sim.on(kMeasure, kOk);
    sim.on(kReadLvXy, kLvXyReply, 0, 1);
    sim.on(kReadLvXy, QByteArray("OK00,0.3000,0.3100,99.5\r\n"));
    ASSERT_EQ(measure(), "finished");
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    ASSERT_EQ(measure(), "finished");
    EXPECT_FALSE(driver.IsReaded());
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 99.5f);
    EXPECT_EQ(data.x, 0.3f);
    EXPECT_EQ(sim.countReceived(kReadLvXy), 2);
}

TEST_F(SpectroDriver, WithoutAValidMeasurementReadLvXyAlwaysAsks) {
    sim.on(kReadLvXy, kLvXyReply);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    ASSERT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(sim.countReceived(kReadLvXy), 2);
}

TEST_F(SpectroDriver, ReadLvXyWithTooFewValuesFailsCleanlyAndAsksAgainNextTime) {
    sim.on(kMeasure, kOk);
    sim.on(kReadLvXy, QByteArray("OK00,0.3127,0.3290\r\n"), 0, 1);
    sim.on(kReadLvXy, QByteArray("OK00\r\n"), 0, 1);
    ASSERT_EQ(measure(), "finished");
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(data.y, 2.0f);
    EXPECT_EQ(data.Lv, 3.0f);
    EXPECT_FALSE(driver.IsReaded());
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(sim.countReceived(kReadLvXy), 2);
}

TEST_F(SpectroDriver, ReadLvXyWithAnErrorStatusFails) {
    sim.on(kReadLvXy, QByteArray("ER71\r\n"));
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 3.0f);
}

TEST_F(SpectroDriver, ReadLastestDataAsksForLvXyButAlwaysAnswersMinusOne) {
    sim.on(kMeasure, kOk);
    sim.on(kReadLvXy, kLvXyReply);
    ASSERT_EQ(measure(), "finished");
    EXPECT_EQ(driver.ReadLastestData(), -1.0);
    EXPECT_EQ(sim.countReceived(kReadLvXy), 1);
    EXPECT_EQ(driver.lv(), 120.5);
    EXPECT_TRUE(driver.IsReaded());
    IMinolta* asHost = &driver;
    EXPECT_EQ(asHost->ReadLastestData(), -1.0);
}

TEST_F(SpectroDriver, ReadMeasureDataPlacesTheTwelveValues) {
    sim.on(kReadAll, kTwelveValues);
    double v1 = -1, v2 = -1, v3 = -1, lv = -1, x = -1, y = -1, v7 = -1;
    EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_OK);
    EXPECT_EQ(v1, 30.0);
    EXPECT_EQ(v2, 40.0);
    EXPECT_EQ(v3, 50.0);
    EXPECT_EQ(lv, 20.0);
    EXPECT_EQ(x, 60.0);
    EXPECT_EQ(y, 70.0);
    EXPECT_EQ(v7, 120.0);
    EXPECT_EQ(driver.lv(), 20.0);
    EXPECT_EQ(driver.x(), 60.0);
    EXPECT_EQ(driver.y(), 70.0);
    EXPECT_EQ(driver.measure1(), 30.0);
    EXPECT_EQ(driver.measure2(), 40.0);
    EXPECT_EQ(driver.measure3(), 50.0);
    EXPECT_EQ(driver.measure7(), 120.0);
    EXPECT_TRUE(driver.IsReaded());
    EXPECT_EQ(sim.received(), kReadAll);
}

TEST_F(SpectroDriver, ReadMeasureDataKeepsDoublePrecision) {
    sim.on(kReadAll, QByteArray("OK00,0,120.123456789,1,2,3,0.312712345678,0.329012345678,7,8,9,10,11\r\n"));
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    ASSERT_EQ(driver.ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_OK);
    EXPECT_EQ(lv, 120.123456789);
    EXPECT_EQ(x, 0.312712345678);
    EXPECT_EQ(y, 0.329012345678);
}

TEST_F(SpectroDriver, ValuesOfReadMeasureDataAreServedByReadLvXyAfterAMeasurement) {
    sim.on(kMeasure, kOk);
    sim.on(kReadAll, kTwelveValues);
    ASSERT_EQ(measure(), "finished");
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    ASSERT_EQ(driver.ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_OK);
    sim.clearRecord();
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 20.0f);
    EXPECT_EQ(data.x, 60.0f);
    EXPECT_EQ(data.y, 70.0f);
    pumpEvents(150);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(SpectroDriver, ReadMeasureDataWithElevenValuesFailsWithTheArgumentsUntouched) {
    sim.on(kReadAll, QByteArray("OK00,10,20,30,40,50,60,70,80,90,100,110\r\n"));
    double v1 = -1, v2 = -2, v3 = -3, lv = -4, x = -5, y = -6, v7 = -7;
    EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_FAIL);
    EXPECT_EQ(v1, -1.0);
    EXPECT_EQ(v2, -2.0);
    EXPECT_EQ(v3, -3.0);
    EXPECT_EQ(lv, -4.0);
    EXPECT_EQ(x, -5.0);
    EXPECT_EQ(y, -6.0);
    EXPECT_EQ(v7, -7.0);
    EXPECT_EQ(driver.lv(), 0.0);
    EXPECT_FALSE(driver.IsReaded());
}

TEST_F(SpectroDriver, ReadMeasureDataWithAnErrorStatusFailsWithTheArgumentsUntouched) {
    sim.on(kReadAll, QByteArray("ER02\r\n"));
    double v1 = -1, v2 = -2, v3 = -3, lv = -4, x = -5, y = -6, v7 = -7;
    EXPECT_EQ(driver.ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_FAIL);
    EXPECT_EQ(lv, -4.0);
    EXPECT_EQ(v7, -7.0);
}

// --- Spectrum -----------------------------------------------------------------------------------

TEST_F(SpectroDriver, SpectrumFailsAfterASuccessfulFirstBlockWithTheRangeSetAndTheListUnchanged) {
    sim.on(kReadBlock1, QByteArray("OK00,0.001,0.002,0.003\r\n"));
    QList<float> values{1.5f, 2.5f};
    int start = 0, end = 0;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_EQ(start, 380);
    EXPECT_EQ(end, 780);
    EXPECT_EQ(values, (QList<float>{1.5f, 2.5f}));
    pumpEvents(150);
    EXPECT_EQ(sim.received(), kReadBlock1);
    ASSERT_EQ(driver.dataReads.size(), 1u);
    EXPECT_EQ(driver.dataReads[0].result, RESULT_OK);
    EXPECT_TRUE(driver.dataReads[0].buffer);
}

TEST_F(SpectroDriver, SpectrumFailsAfterARefusedFirstBlockWithTheRangeSetAndTheListUnchanged) {
    sim.on(kReadBlock1, QByteArray("ER10\r\n"));
    QList<float> values{1.5f};
    int start = -1, end = -1;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_EQ(start, 380);
    EXPECT_EQ(end, 780);
    EXPECT_EQ(values, (QList<float>{1.5f}));
    pumpEvents(150);
    EXPECT_EQ(sim.received(), kReadBlock1);
}

TEST(SpectroSpectrum, BlocksAreParsedOnlyWhenTheDataReadReportsFailureWithABuffer) {
    CannedDataReads driver(detectorLine());
    driver.result = RESULT_FAIL;
    driver.withBuffer = true;
    QList<float> values{9.0f};
    int start = 0, end = 0;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_OK);
    EXPECT_EQ(driver.requested, (std::vector<int>{10001, 10002, 10003, 10004}));
    EXPECT_EQ(values, (QList<float>{9.0f, 1.5f, 2.0f, 2.5f, 2.0f, 3.5f, 2.0f, 4.5f, 2.0f}));
    EXPECT_EQ(start, 380);
    EXPECT_EQ(end, 780);
}

TEST(SpectroSpectrum, SuccessfulDataReadEndsTheSpectrumAtOnceAndReleasesTheReply) {
    CannedDataReads driver(detectorLine());
    driver.result = RESULT_OK;
    driver.withBuffer = true;
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_EQ(driver.requested, (std::vector<int>{10001}));
    EXPECT_TRUE(values.isEmpty());
}

TEST(SpectroSpectrum, FailedDataReadWithoutABufferEndsTheSpectrum) {
    CannedDataReads driver(detectorLine());
    driver.result = RESULT_FAIL;
    driver.withBuffer = false;
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_EQ(driver.requested, (std::vector<int>{10001}));
    EXPECT_TRUE(values.isEmpty());
    EXPECT_EQ(start, 380);
    EXPECT_EQ(end, 780);
}

// --- A silent instrument after "MEDR" -----------------------------------------------------------

TEST_F(SpectroDriver, SlowTenSilentReadsLeaveNoBufferSoReadLvXyFails) {
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    // Ten attempts of ten one-second pauses, the command sent once.
    EXPECT_GE(timer.elapsed(), 99000);
    ASSERT_EQ(driver.dataReads.size(), 1u);
    EXPECT_EQ(driver.dataReads[0].result, RESULT_OK);
    EXPECT_FALSE(driver.dataReads[0].buffer);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(data.y, 2.0f);
    EXPECT_EQ(data.Lv, 3.0f);
    EXPECT_FALSE(driver.IsReaded());
    EXPECT_EQ(sim.received(), kReadLvXy);
    EXPECT_TRUE(detectorPort().IsOpen());
}
