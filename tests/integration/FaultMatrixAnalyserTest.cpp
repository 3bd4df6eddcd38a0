// Fault matrix of the Minolta colour analyser: every fault of a misbehaving or vanishing instrument,
// through the host's facade on the simulator. Each cell checks the result code or watcher call, the
// time the call took against the driver's read budgets, and that a later Connect to a healthy
// instrument works again.

#include "AnalyserModel.h"
#include "ChromameterDetector.h"
#include "ChromameterMinoltaCas40.h"
#include "FaultHarness.h"

#include <gtest/gtest.h>

using namespace FaultBudget;

namespace {

// "MES,1" is answered with this many bytes for the default reading.
constexpr int kMeasurementLineBytes = 49;

class AnalyserFaultMatrix : public FaultCell {
protected:
    AnalyserFaultMatrix() : FaultCell(QStringLiteral("analyser")) {}

    // A healthy Connect, then the fault.
    void faultAfterConnect(SimFault fault) {
        start();
        connectHealthy();
        ASSERT_NE(dynamic_cast<CChromameterMinoltaCas40*>(driver()), nullptr);
        model().setFault(fault);
        model().clearRecord();
        watcher.clear();
    }

    // The read after a failed measurement serves nothing: there is nothing valid to serve.
    void expectNothingToRead() {
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -1.0f};
        const qint64 ms = timed([&] { EXPECT_EQ(host().ReadLvXy(data), RESULT_FAIL); });
        EXPECT_LE(ms, allowedMs(0));
        EXPECT_EQ(data.Tcp, -1.0f);
    }
};

} // namespace

// --- Faults present from the start: what detection makes of them ---------------------------------

TEST_F(AnalyserFaultMatrix, SilenceAtConnectFailsDetectionWithinEveryDriversBudget) {
    start().setFault(SimFault::Silent);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_GE(connected.ms, kSilentDetectionSleptMs);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_FALSE(host().IsConnected());
    // Without an answer to "COM,1" the driver goes no further.
    EXPECT_EQ(model().countReceived("COM,1\n"), 1);
    EXPECT_EQ(model().countReceived("ZRC,1,"), 0);
    expectBothSpeedsTriedInSilence();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, GarbageAtConnectIsNotTakenForTheInstrument) {
    start().setFault(SimFault::Garbage);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    // Something answered "COM,1", so the zero calibration went out; the answer's status then failed.
    EXPECT_EQ(model().countReceived("ZRC,1,"), 1);
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, OverlongReplyAtConnectStaysInItsBufferAndEndsInAResultCode) {
    start().setFault(SimFault::Overlong);
    const Timed connected = connect();
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    // The receive buffer keeps the reply's last piece only: its status at the head is normally lost.
    if (connected.result == RESULT_OK) {
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 1);
        EXPECT_TRUE(logged("reply too long")) << log().toStdString();
    } else {
        EXPECT_EQ(connected.result, RESULT_FAIL);
        EXPECT_EQ(watcher.count("connected"), 0);
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, CutReplyAtConnectIsNotTakenForTheInstrument) {
    start().setFault(SimFault::Cut);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_TRUE(loggedLine("接收OK0")) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, ReplySplitIntoSingleBytesAtConnectEndsInAResultCode) {
    start().setFault(SimFault::SplitBytes);
    const Timed connected = connect();
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs + 2 * answeredReadMs(6)));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    // Bytes replaced in the receive buffer spoil the "OK00" of "COM,1".
    if (connected.result == RESULT_OK) {
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 1);
    } else {
        EXPECT_EQ(connected.result, RESULT_FAIL);
        EXPECT_EQ(watcher.count("connected"), 0);
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, WrongLineSpeedAtConnectFailsDetectionLikeSilence) {
    start().setRequiredBaud(115200);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_GE(connected.ms, kSilentDetectionSleptMs);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(watcher.events().empty());
    expectBothSpeedsTriedInSilence();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, PulledDuringConnectEndsTheThirtySecondZeroCalibrationWaitAtOnce) {
    auto* pulled = new PullOnCommand<AnalyserModel>("ZRC,1,");
    start(std::unique_ptr<InstrumentModel>(pulled));
    const Timed connected = connect();
    EXPECT_TRUE(pulled->fired());
    EXPECT_EQ(connected.result, RESULT_FAIL);
    // "COM,1" was answered "OK00": the driver counts itself connected and says so, while the lost
    // zero calibration makes its result a failure, and detection goes on (to nothing).
    EXPECT_EQ(watcher.count("connected"), 1);
    EXPECT_LE(connected.ms, allowedMs(answeredReadMs() + silentReadMs(1, kAnalyserConnectZeroWaitMs)));
    EXPECT_LT(connected.ms, sleptMs(kAnalyserConnectZeroTries, kAnalyserConnectZeroWaitMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    EXPECT_TRUE(logged("打开失败!")) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}

// --- Faults after a healthy Connect: measurement and read -----------------------------------------

TEST_F(AnalyserFaultMatrix, SilenceWhileMeasuringWaitsWithoutResendingUntilThePortGoes) {
    // A silent display-mode exchange lasts up to ten reads of 1000 tries of 30 ms and a port read,
    // about 18 minutes; the adapter is pulled after 2.5 s of silence instead, which ends it at the
    // next port read with the lost port's code.
    faultAfterConnect(SimFault::Silent);
    const int silenceMs = 2500;
    InstrumentModel& instrument = model();
    AfterDelay pull(silenceMs, [&instrument] { instrument.unplug(); });
    const Outcome outcome = measure(allowedMs(silenceMs + silentReadMs(1, kAnalyserModeWaitMs)));
    EXPECT_TRUE(pull.done());
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_PORT_LOST);
    EXPECT_GE(outcome.ms, silenceMs);
    EXPECT_LE(outcome.ms, allowedMs(silenceMs + silentReadMs(1, kAnalyserModeWaitMs)));
    EXPECT_EQ(model().countReceived("MDS,0\n"), 1);
    EXPECT_EQ(model().countReceived("MES,1\n"), 0);
    EXPECT_FALSE(host().IsConnected());
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, GarbageWhileMeasuringFailsAtTheDisplayModeAnswer) {
    faultAfterConnect(SimFault::Garbage);
    const Outcome outcome = measure(allowedMs(answeredReadMs()));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_FAIL);
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs()));
    EXPECT_EQ(model().countReceived("MES,1\n"), 0);
    // The port is still there: the driver stays connected.
    EXPECT_TRUE(host().IsConnected());
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, OverlongReplyWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::Overlong);
    const Outcome outcome = measure(allowedMs(2 * answeredReadMs()));
    EXPECT_LE(outcome.ms, allowedMs(2 * answeredReadMs()));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    if (outcome.event == "finished") {
        // Both heads were kept: the values stand before the padding.
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
        EXPECT_EQ(host().ReadLvXy(data), RESULT_OK);
        EXPECT_FLOAT_EQ(data.x, 0.3127f);
        EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    } else {
        // The display mode's "OK00" went with the head of its reply.
        EXPECT_EQ(outcome.event, "failed");
        EXPECT_EQ(outcome.code, RESULT_FAIL);
        expectNothingToRead();
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, CutReplyWhileMeasuringFailsAtTheDisplayModeAnswer) {
    faultAfterConnect(SimFault::Cut);
    const Outcome outcome = measure(allowedMs(answeredReadMs()));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_FAIL);
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs()));
    EXPECT_EQ(model().countReceived("MES,1\n"), 0);
    EXPECT_TRUE(loggedLine("接收OK0")) << log().toStdString();
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, ReplySplitIntoSingleBytesWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::SplitBytes);
    const Outcome outcome = measure(allowedMs(answeredReadMs(6) + answeredReadMs(kMeasurementLineBytes)));
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs(6) + answeredReadMs(kMeasurementLineBytes)));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    if (outcome.event == "finished") {
        EXPECT_EQ(outcome.code, RESULT_OK);
    } else {
        // Bytes replaced in the receive buffer spoil the display mode's "OK00".
        EXPECT_EQ(outcome.event, "failed");
        EXPECT_EQ(outcome.code, RESULT_FAIL);
        expectNothingToRead();
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix, PulledDuringMeasurementReportsTheLostPort) {
    faultAfterConnect(SimFault::UnplugDuringMeasure);
    const Outcome outcome = measure(allowedMs(answeredReadMs() + silentReadMs(1, kAnalyserMeasureWaitMs)));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_PORT_LOST);
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs() + silentReadMs(1, kAnalyserMeasureWaitMs)));
    EXPECT_EQ(model().countReceived("MES,1\n"), 1);
    EXPECT_FALSE(host().IsConnected());
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(AnalyserFaultMatrix,
       PulledBeforeTheReadStillServesTheStoredResultAndTheNextMeasurementReportsTheLoss) {
    // This driver reads its values within the measurement; the host's read serves them from memory.
    start();
    connectHealthy();
    ASSERT_EQ(measure(15000).event, "finished");
    model().unplug();
    pumpEvents(100);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    const qint64 ms = timed([&] { EXPECT_EQ(host().ReadLvXy(data), RESULT_OK); });
    EXPECT_LE(ms, allowedMs(0));
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);

    const Outcome outcome = measure(allowedMs(silentReadMs(1, kAnalyserModeWaitMs)));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_PORT_LOST);
    EXPECT_LE(outcome.ms, allowedMs(silentReadMs(1, kAnalyserModeWaitMs)));
    EXPECT_FALSE(host().IsConnected());
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}
