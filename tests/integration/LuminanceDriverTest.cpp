#include "DriverFixture.h"
#include "LuminanceFrames.h"
#include "LuminanceMeter.h"
#include "ScriptedInstrument.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace {

QByteArray frame(const char* command) {
    return QByteArray(command, LUMINANCE_COMMAND_SIZE);
}

const LuminanceFrameTables& tables() {
    return LuminanceTables();
}

QByteArray inig() {
    return frame(tables().connectCommands[0]);
}
QByteArray remoteOn() {
    return frame(tables().connectCommands[2]);
}
QByteArray remoteOff1() {
    return frame(tables().disconnectCommands[1]);
}
QByteArray remoteOff2() {
    return frame(tables().disconnectCommands[2]);
}
QByteArray meas() {
    return frame(tables().measureCommands[0]);
}
QByteArray stsg() {
    return frame(tables().pollingCommand);
}
QByteArray mscg(int part) {
    return frame(tables().readCommands[part - 1]);
}

using ProbedLuminanceMeter = DriverProbe<CLuminanceMeter>;

// Polling replaced, to watch how the read-out calls it.
class PollingCounter : public CLuminanceMeter {
public:
    explicit PollingCounter(unsigned long result) : CLuminanceMeter(detectorLine()), m_result(result) {}
    unsigned long Polling() override {
        ++calls;
        if (m_bMeasuring && !m_bMeasureSucceed)
            ++callsWithFlagsPrepared;
        return m_result;
    }
    int calls = 0;
    int callsWithFlagsPrepared = 0;

private:
    unsigned long m_result;
};

class LuminanceDriver : public DriverFixture<ScriptedInstrument, ProbedLuminanceMeter> {
protected:
    // This driver measures and reads out on the caller's thread: there is no worker to wait for.
    bool workersDone() override { return true; }

    // Each status request is answered twice, the second a little later, so both of the driver's
    // reads are served instead of the second waiting out its budget.
    void answerStatus(unsigned status, int times = -1) {
        const QByteArray reply = LuminanceStatusReply(status);
        sim.onPieces(stsg(), {ReplyPiece{0, reply}, ReplyPiece{150, reply}}, times);
    }
};

} // namespace

TEST_F(LuminanceDriver, NewDriverIsTypeTwoWithEveryFlagClear) {
    EXPECT_EQ(driver.type(), 2);
    EXPECT_FALSE(driver.connectedFlag());
    EXPECT_FALSE(driver.busy());
    EXPECT_FALSE(driver.valid());
    EXPECT_FALSE(driver.readed());
}

TEST_F(LuminanceDriver, ConnectSendsTwoResetsThenRemoteModeOnAndTellsWatchers) {
    sim.on(inig(), LuminanceInigReply());
    sim.on(remoteOn(), LuminanceComsReply());

    EXPECT_EQ(driver.Connect(), RESULT_OK);

    EXPECT_EQ(sim.received(), inig() + inig() + remoteOn());
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events().size(), 1u);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    // Known to be there only by its answers: the connected flag is not raised.
    EXPECT_FALSE(driver.IsConnected());
}

TEST_F(LuminanceDriver, ConnectFailsAfterTwoFramesWhenSecondResetReplyDiffersByOneByte) {
    QByteArray wrong = LuminanceInigReply();
    wrong[150] = '\x01';
    sim.on(inig(), LuminanceInigReply(), 0, 1);
    sim.on(inig(), wrong, 0, 1);
    sim.on(remoteOn(), LuminanceComsReply());

    EXPECT_EQ(driver.Connect(), RESULT_FAIL);

    EXPECT_EQ(sim.received(), inig() + inig());
    EXPECT_EQ(sim.countReceived("COMS"), 0);
    EXPECT_EQ(watcher.count("connected"), 0);
}

TEST_F(LuminanceDriver, ReplyLongerThanTwoHundredBytesIsAccepted) {
    const QByteArray tail(60, 'Z');
    sim.on(inig(), LuminanceInigReply() + tail);
    sim.on(remoteOn(), LuminanceComsReply() + tail);

    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_EQ(watcher.count("connected"), 1);
}

TEST_F(LuminanceDriver, ConnectToASilentLineFailsAfterItsFirstFrame) {
    EXPECT_EQ(driver.Connect(), RESULT_FAIL);
    EXPECT_EQ(sim.received(), inig());
    EXPECT_EQ(watcher.count("connected"), 0);
}

TEST_F(LuminanceDriver, DisconnectTakesInstrumentOutOfRemoteModeTellsWatchersAndClosesPort) {
    sim.on(inig(), LuminanceInigReply());
    sim.on(remoteOff1(), LuminanceComsReply());
    sim.on(remoteOff2(), LuminanceComsReply());

    EXPECT_EQ(driver.Disconnect(), RESULT_OK);

    EXPECT_EQ(sim.received(), inig() + remoteOff1() + remoteOff2());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_FALSE(detectorPort().IsOpen());
}

TEST_F(LuminanceDriver, DisconnectClosesPortEvenWhenInstrumentDoesNotAnswer) {
    EXPECT_EQ(driver.Disconnect(), RESULT_FAIL);
    EXPECT_EQ(watcher.count("disconnected"), 0);
    EXPECT_FALSE(detectorPort().IsOpen());
}

TEST_F(LuminanceDriver, MeasureTellsWatchersOnCallersThreadBeforeReturning) {
    sim.on(meas(), LuminanceMeasReply());

    EXPECT_EQ(driver.Measure(false), RESULT_OK);

    EXPECT_EQ(sim.received(), meas());
    ASSERT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    // No flag moves: the read-out is what learns whether the measurement is over.
    EXPECT_FALSE(driver.busy());
    EXPECT_FALSE(driver.valid());
    EXPECT_FALSE(driver.readed());
}

TEST_F(LuminanceDriver, MeasureWithTheFlagSetBehavesTheSame) {
    sim.on(meas(), LuminanceMeasReply());
    EXPECT_EQ(driver.Measure(true), RESULT_OK);
    EXPECT_EQ(sim.received(), meas());
    EXPECT_EQ(watcher.count("finished"), 1);
}

TEST_F(LuminanceDriver, MeasureAnsweredWrongTellsWatchersOfFailure) {
    sim.on(meas(), LuminanceComsReply());

    EXPECT_EQ(driver.Measure(false), RESULT_FAIL);

    ASSERT_EQ(watcher.count("failed"), 1);
    EXPECT_EQ(watcher.events()[0].code, RESULT_FAIL);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(watcher.count("finished"), 0);
}

TEST_F(LuminanceDriver, ReadingIsTakenFromOffsetFortySixOfTheFirstReadOutReply) {
    answerStatus(LUMINANCE_STATUS_FINISHED);
    sim.on(mscg(1), LuminanceMscgReplyWithReading(123.25));

    EXPECT_EQ(driver.ReadLastestData(), 123.25);

    const QByteArray sent = stsg() + mscg(1) + mscg(2) + mscg(3) + mscg(4);
    waitUntil([&] { return sim.received().size() >= sent.size(); }, 2000);
    EXPECT_EQ(sim.received(), sent);
    EXPECT_FALSE(driver.busy());
    EXPECT_TRUE(driver.valid());
}

TEST_F(LuminanceDriver, ReadOutReplyEqualToTheExpectedFrameGivesZero) {
    answerStatus(LUMINANCE_STATUS_FINISHED);
    sim.on(mscg(1), LuminanceMscgReply());

    EXPECT_EQ(driver.ReadLastestData(), 0.0);
    EXPECT_TRUE(waitUntil([&] { return sim.countReceived(mscg(4)) == 1; }, 2000));
}

TEST_F(LuminanceDriver, ReadOutReplyTooShortToHoldAReadingGivesZero) {
    answerStatus(LUMINANCE_STATUS_FINISHED);
    sim.on(mscg(1), LuminanceMscgReplyWithReading(99.0).left(50));

    EXPECT_EQ(driver.ReadLastestData(), 0.0);
}

TEST_F(LuminanceDriver, UnansweredReadOutGivesMinusOneAndSendsNoFurtherParts) {
    answerStatus(LUMINANCE_STATUS_FINISHED);

    EXPECT_EQ(driver.ReadLastestData(), -1.0);

    EXPECT_EQ(sim.countReceived(mscg(1)), 1);
    EXPECT_EQ(sim.countReceived(mscg(2)), 0);
}

TEST_F(LuminanceDriver, ReadOutDoesNotWaitForRepliesToItsLastThreeParts) {
    answerStatus(LUMINANCE_STATUS_FINISHED);
    sim.on(mscg(1), LuminanceMscgReplyWithReading(7.5));

    EXPECT_EQ(driver.ReadLastestData(), 7.5);
    const qint64 returnedAt = sim.elapsedMs();

    // From the first part's arrival: one reply read (about 100 ms) and three sends. Waiting for any
    // of the unanswered parts would add a reply budget (3 x 100 ms plus the reads) on top.
    qint64 firstPartAt = -1;
    int offset = 0;
    const int firstPartOffset = sim.received().indexOf(mscg(1));
    ASSERT_GE(firstPartOffset, 0);
    for (const ReceivedChunk& chunk : sim.record()) {
        if (offset + chunk.bytes.size() > firstPartOffset) {
            firstPartAt = chunk.atMs;
            break;
        }
        offset += chunk.bytes.size();
    }
    ASSERT_GE(firstPartAt, 0);
    EXPECT_LT(returnedAt - firstPartAt, 400);
    EXPECT_TRUE(waitUntil([&] { return sim.received().endsWith(mscg(4)); }, 2000));
}

TEST_F(LuminanceDriver, StaleReadOutRepliesDoNotTripTheNextExchange) {
    answerStatus(LUMINANCE_STATUS_FINISHED);
    sim.on(mscg(1), LuminanceMscgReplyWithReading(42.0));
    for (int part = 2; part <= 4; ++part)
        sim.on(mscg(part), LuminanceReply("MSCG", 128, 508, uint32_t(part), 4, {}));
    // The instrument takes a moment before it acknowledges a measurement.
    sim.on(meas(), LuminanceMeasReply(), 50);

    ASSERT_EQ(driver.ReadLastestData(), 42.0);
    // The host's event loop runs on: the answers to parts 2 to 4 land in the receive buffer.
    const qint64 answered = 2 * 200 + 200 + 3 * 200;
    EXPECT_TRUE(waitUntil([&] { return sim.bytesSent() >= answered; }, 2000));
    pumpEvents(50);

    EXPECT_EQ(driver.Measure(false), RESULT_OK);
    EXPECT_EQ(watcher.count("finished"), 1);
    // And a second read-out after it still finds its own replies.
    EXPECT_EQ(driver.ReadLastestData(), 42.0);
}

TEST_F(LuminanceDriver, LateReadOutRepliesDoNotTripAnExchangeThatFollowsAtOnce) {
    answerStatus(LUMINANCE_STATUS_FINISHED);
    sim.on(mscg(1), LuminanceMscgReplyWithReading(42.0));
    // The answers to parts 2 to 4 come late, while the next exchange is already waiting for its own.
    for (int part = 2; part <= 4; ++part)
        sim.on(mscg(part), LuminanceReply("MSCG", 128, 508, uint32_t(part), 4, {}), 30);
    sim.on(meas(), LuminanceMeasReply(), 50);

    ASSERT_EQ(driver.ReadLastestData(), 42.0);
    EXPECT_EQ(driver.Measure(false), RESULT_OK);
    EXPECT_EQ(watcher.count("finished"), 1);
}

TEST_F(LuminanceDriver, ReadOutPollsAgainOnceWhenPollingFails) {
    PollingCounter counter(RESULT_FAIL);
    sim.on(mscg(1), LuminanceMscgReplyWithReading(3.0));

    EXPECT_EQ(counter.ReadLastestData(), 3.0);

    EXPECT_EQ(counter.calls, 2);
    EXPECT_EQ(counter.callsWithFlagsPrepared, 2);
    EXPECT_EQ(sim.countReceived(stsg()), 0);
}

TEST_F(LuminanceDriver, ReadOutPollsOnceWhenPollingSucceeds) {
    PollingCounter counter(RESULT_OK);
    sim.on(mscg(1), LuminanceMscgReply());

    EXPECT_EQ(counter.ReadLastestData(), 0.0);
    EXPECT_EQ(counter.calls, 1);
    EXPECT_EQ(counter.callsWithFlagsPrepared, 1);
}

TEST_F(LuminanceDriver, PollingEndsWhenTheInstrumentReportsTheMeasurementFinished) {
    answerStatus(LUMINANCE_STATUS_FINISHED);

    EXPECT_EQ(driver.Polling(), RESULT_OK);

    EXPECT_EQ(sim.received(), stsg());
    EXPECT_FALSE(driver.busy());
    EXPECT_TRUE(driver.valid());
}

TEST_F(LuminanceDriver, PollingSkipsRepliesOfOtherOpcodesAndOtherValues) {
    // First request: running, then a value that means nothing. Second: another instrument's frame,
    // then finished.
    sim.onPieces(stsg(),
                 {ReplyPiece{0, LuminanceStatusReply(LUMINANCE_STATUS_RUNNING)},
                  ReplyPiece{150, LuminanceStatusReply(600)}},
                 1);
    sim.onPieces(stsg(),
                 {ReplyPiece{0, LuminanceMeasReply()},
                  ReplyPiece{150, LuminanceStatusReply(LUMINANCE_STATUS_FINISHED)}},
                 1);

    EXPECT_EQ(driver.Polling(), RESULT_OK);

    EXPECT_EQ(sim.countReceived(stsg()), 2);
    EXPECT_FALSE(driver.busy());
    EXPECT_TRUE(driver.valid());
}

TEST_F(LuminanceDriver, PollingCountsAFrameOfAnotherOpcodeAgainstItsTwoReplies) {
    // Two foreign frames use up the request; the finished status comes only with the next one.
    sim.onPieces(stsg(),
                 {ReplyPiece{0, LuminanceMeasReply()}, ReplyPiece{150, LuminanceMeasReply()},
                  ReplyPiece{300, LuminanceStatusReply(LUMINANCE_STATUS_RUNNING)}},
                 1);
    answerStatus(LUMINANCE_STATUS_FINISHED);

    EXPECT_EQ(driver.Polling(), RESULT_OK);

    EXPECT_EQ(sim.countReceived(stsg()), 2);
    EXPECT_TRUE(driver.valid());
}

TEST_F(LuminanceDriver, SlowPollingKeepsAskingForAsLongAsTheInstrumentReportsRunning) {
    answerStatus(LUMINANCE_STATUS_RUNNING);
    // Heap-held, so that a Polling that never ends could be left behind without touching this
    // test's frame.
    auto* meter = new ProbedLuminanceMeter(detectorLine());
    auto done = std::make_shared<std::atomic<bool>>(false);
    auto result = std::make_shared<std::atomic<unsigned long>>(0xFFFFu);
    std::thread poller([meter, done, result] {
        result->store(meter->Polling());
        done->store(true);
    });

    // The worker's requests are queued to this thread: keep its event loop running. From a worker
    // a round takes about a second (the port's lock keeps the queued request waiting while the first
    // read of the round runs), so give it room for a few.
    EXPECT_TRUE(waitUntil([&] { return sim.countReceived(stsg()) >= 3; }, 6000));
    const int asked = sim.countReceived(stsg());
    EXPECT_TRUE(waitUntil([&] { return sim.countReceived(stsg()) > asked; }, 3000));
    EXPECT_FALSE(done->load());

    // There is no bound of its own: only the instrument's "finished" ends it. (A send never fails,
    // so pulling the adapter would not end it either.)
    sim.clearRules();
    answerStatus(LUMINANCE_STATUS_FINISHED);
    if (waitUntil([&] { return done->load(); }, 6000)) {
        poller.join();
        EXPECT_EQ(result->load(), RESULT_OK);
        EXPECT_TRUE(meter->valid());
        EXPECT_FALSE(meter->busy());
        delete meter;
    } else {
        poller.detach();
        ADD_FAILURE() << "Polling did not end after the instrument reported the measurement finished";
    }
}

TEST_F(LuminanceDriver, OperationsItDoesNotOfferAnswerTheirFixedCodesAndSendNothing) {
    SChromameterMeasureData data{1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(driver.ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.x, 1.0f);
    EXPECT_EQ(data.y, 2.0f);
    EXPECT_EQ(data.Lv, 3.0f);
    EXPECT_EQ(data.Tcp, 4.0f);

    QList<float> values{9.0f};
    int start = 11, end = 12;
    EXPECT_EQ(driver.ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_EQ(values, QList<float>{9.0f});
    EXPECT_EQ(start, 11);
    EXPECT_EQ(end, 12);

    double v[7] = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(driver.ReadMeasureData(v[0], v[1], v[2], v[3], v[4], v[5], v[6]), RESULT_NOT_AVAILABLE);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(v[i], double(i + 1));
    EXPECT_EQ(driver.ZeroCalibrate(), RESULT_NOT_AVAILABLE);

    RecordingWatcher other;
    expectDriverRefusesWatchers(driver, &other, &watcher);

    pumpEvents(100);
    EXPECT_TRUE(sim.received().isEmpty());
}

TEST_F(LuminanceDriver, StubsAreReachedThroughTheHostInterface) {
    IMinolta* host = &driver;
    SChromameterMeasureData data{};
    EXPECT_EQ(host->ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(host->RegisterWatcher(&watcher), RESULT_NOT_SUPPORTED);
    ILuminanceMeter* own = &driver;
    double a = 0, b = 0, c = 0, d = 0, e = 0, f = 0, g = 0;
    EXPECT_EQ(own->ReadMeasureData(a, b, c, d, e, f, g), RESULT_NOT_AVAILABLE);
}

TEST_F(LuminanceDriver, EmptyFrameListSucceedsWithoutSending) {
    char commands[1][100];
    char replies[1][200];
    EXPECT_EQ(driver.DoExcute(commands, replies, 0), RESULT_OK);
    EXPECT_EQ(driver.DoExcute(commands, replies, -3), RESULT_OK);
    pumpEvents(100);
    EXPECT_TRUE(sim.received().isEmpty());
}
