// Fault matrix of the Wuhan Jingce colorimeter: every fault of a misbehaving or vanishing instrument,
// through the host's facade on the simulator. Each cell checks the result code or watcher call, the
// time the call took against the driver's read budgets, and that a later Connect to a healthy
// instrument works again. This instrument is tried last, at 115200 baud, after every other driver's
// trial at 9600 baud has run out on the silent line.

#include "ChromameterDetector.h"
#include "ChromameterWuHanJingCe.h"
#include "FaultHarness.h"
#include "JingceModel.h"

#include <gtest/gtest.h>

using namespace FaultBudget;

namespace {

// "MES" is answered with this many bytes for the default reading.
constexpr int kMeasurementLineBytes = 25;
// What the four drivers tried before this one spend on its silent line at 9600 baud.
constexpr int kTrialsBeforeMs =
    kSpectroSilentTrialMs + kAnalyserSilentTrialMs + kLuminanceSilentTrialMs + kPhotoSilentTrialMs;
// One read of a display-mode answer while nothing comes.
constexpr int kModeReadMs = silentReadMs(kJingceModeTries, kJingceModeWaitMs);
constexpr int kModeReadSleptMs = sleptMs(kJingceModeTries, kJingceModeWaitMs);

class JingceFaultMatrix : public FaultCell {
protected:
    JingceFaultMatrix() : FaultCell(QStringLiteral("jingce")) {}

    CChromameterWuHanJingCe* jingce() const { return dynamic_cast<CChromameterWuHanJingCe*>(driver()); }

    // A healthy Connect, then the fault.
    void faultAfterConnect(SimFault fault) {
        start();
        connectHealthy();
        ASSERT_NE(jingce(), nullptr);
        model().setFault(fault);
        model().clearRecord();
        watcher.clear();
    }

    void expectNothingToRead() {
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -1.0f};
        const qint64 ms = timed([&] { EXPECT_EQ(host().ReadLvXy(data), RESULT_FAIL); });
        EXPECT_LE(ms, allowedMs(0));
        EXPECT_EQ(data.Tcp, -1.0f);
    }
};

} // namespace

// --- Faults present from the start: what detection makes of them ---------------------------------

TEST_F(JingceFaultMatrix, SilenceAtConnectFailsDetectionWithinEveryDriversBudget) {
    start().setFault(SimFault::Silent);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_GE(connected.ms, kSilentDetectionSleptMs);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_FALSE(host().IsConnected());
    // An unanswered "COM,0" does not stop the handshake; an unanswered "COM,1" does.
    EXPECT_EQ(model().countReceived("COM,0\r"), 1);
    EXPECT_EQ(model().countReceived("COM,1\r"), 1);
    EXPECT_EQ(model().countReceived("ZRC,1,"), 0);
    expectBothSpeedsTriedInSilence();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, GarbageAtConnectIsNotTakenForTheInstrument) {
    start().setFault(SimFault::Garbage);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    // "COM,1" only has to be answered; the zero calibration's answer must begin with "OK00".
    EXPECT_EQ(model().countReceived("ZRC,1,"), 1);
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, OverlongReplyAtConnectStaysInItsBufferAndEndsInAResultCode) {
    start().setFault(SimFault::Overlong);
    const Timed connected = connect();
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    // The receive buffer keeps the zero calibration answer's last piece only: its status is lost.
    if (connected.result == RESULT_OK) {
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 4);
        EXPECT_TRUE(logged("reply too long")) << log().toStdString();
    } else {
        EXPECT_EQ(connected.result, RESULT_FAIL);
        EXPECT_EQ(watcher.count("connected"), 0);
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, CutReplyAtConnectIsNotTakenForTheInstrument) {
    start().setFault(SimFault::Cut);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_EQ(model().countReceived("ZRC,1,"), 1);
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_TRUE(loggedLine("接收OK0")) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, ReplySplitIntoSingleBytesAtConnectEndsInAResultCode) {
    start().setFault(SimFault::SplitBytes);
    const Timed connected = connect();
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs + 3 * answeredReadMs(6)));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    // Bytes replaced in the receive buffer spoil the zero calibration's "OK00".
    if (connected.result == RESULT_OK) {
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 4);
    } else {
        EXPECT_EQ(connected.result, RESULT_FAIL);
        EXPECT_EQ(watcher.count("connected"), 0);
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, WrongLineSpeedAtConnectFailsDetectionLikeSilence) {
    // At 9600 baud this instrument hears the other drivers' probes, none of them its own command.
    start().setRequiredBaud(9600);
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_GE(connected.ms, kSilentDetectionSleptMs);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(watcher.events().empty());
    expectBothSpeedsTriedInSilence();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, PulledDuringConnectEndsTheZeroCalibrationWaitAtOnce) {
    auto* pulled = new PullOnCommand<JingceModel>("ZRC,1,");
    start(std::unique_ptr<InstrumentModel>(pulled));
    const Timed connected = connect();
    EXPECT_TRUE(pulled->fired());
    EXPECT_EQ(connected.result, RESULT_FAIL);
    // This instrument proves itself by the zero calibration's answer: without it, no connection.
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_LE(connected.ms,
              allowedMs(kTrialsBeforeMs + 2 * answeredReadMs() + silentReadMs(1, kJingceConnectZeroWaitMs)));
    EXPECT_LT(connected.ms, kTrialsBeforeMs + sleptMs(kJingceConnectZeroTries, kJingceConnectZeroWaitMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}

// --- Faults after a healthy Connect: measurement and read -----------------------------------------

TEST_F(JingceFaultMatrix, SlowSilenceWhileMeasuringFailsAfterOneDisplayModeRead) {
    // Ten reads of 100 tries of 100 ms make a silent display-mode exchange last about 3 minutes; with
    // one read allowed it is the budget of that one read.
    faultAfterConnect(SimFault::Silent);
    jingce()->SetLimitTimes(1);
    const Outcome outcome = measure(allowedMs(kModeReadMs));
    EXPECT_EQ(outcome.event, "failed");
    // The port is still there: a plain failure, and the driver stays connected.
    EXPECT_EQ(outcome.code, RESULT_FAIL);
    EXPECT_GE(outcome.ms, kModeReadSleptMs);
    EXPECT_LE(outcome.ms, allowedMs(kModeReadMs));
    EXPECT_EQ(model().countReceived("MDS,0\r"), 1);
    EXPECT_EQ(model().countReceived("MES\r"), 0);
    EXPECT_TRUE(host().IsConnected());
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, GarbageWhileMeasuringFailsAtTheDisplayModeAnswer) {
    faultAfterConnect(SimFault::Garbage);
    const Outcome outcome = measure(allowedMs(answeredReadMs()));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_FAIL);
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs()));
    EXPECT_EQ(model().countReceived("MES\r"), 0);
    EXPECT_TRUE(host().IsConnected());
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, OverlongReplyWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::Overlong);
    const Outcome outcome = measure(allowedMs(2 * answeredReadMs()));
    EXPECT_LE(outcome.ms, allowedMs(2 * answeredReadMs()));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    if (outcome.event == "finished") {
        // Both heads were kept: the padding stuck to the luminance makes it no number, which
        // converts to 0; the chromaticity before it stands.
        SChromameterMeasureData data = {0.0f, 0.0f, -1.0f, 0.0f};
        EXPECT_EQ(host().ReadLvXy(data), RESULT_OK);
        EXPECT_FLOAT_EQ(data.x, 0.3127f);
        EXPECT_EQ(data.Lv, 0.0f);
    } else {
        EXPECT_EQ(outcome.event, "failed");
        EXPECT_EQ(outcome.code, RESULT_FAIL);
        expectNothingToRead();
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, CutReplyWhileMeasuringFailsAtTheDisplayModeAnswer) {
    faultAfterConnect(SimFault::Cut);
    const Outcome outcome = measure(allowedMs(answeredReadMs()));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_FAIL);
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs()));
    EXPECT_EQ(model().countReceived("MES\r"), 0);
    EXPECT_TRUE(loggedLine("接收OK0")) << log().toStdString();
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, ReplySplitIntoSingleBytesWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::SplitBytes);
    const Outcome outcome = measure(allowedMs(answeredReadMs(6) + answeredReadMs(kMeasurementLineBytes)));
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs(6) + answeredReadMs(kMeasurementLineBytes)));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    if (outcome.event == "finished") {
        EXPECT_EQ(outcome.code, RESULT_OK);
    } else {
        EXPECT_EQ(outcome.event, "failed");
        EXPECT_EQ(outcome.code, RESULT_FAIL);
        expectNothingToRead();
    }
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, PulledDuringMeasurementReportsTheLostPort) {
    faultAfterConnect(SimFault::UnplugDuringMeasure);
    const Outcome outcome = measure(allowedMs(answeredReadMs() + silentReadMs(1, kJingceMeasureWaitMs)));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_PORT_LOST);
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs() + silentReadMs(1, kJingceMeasureWaitMs)));
    EXPECT_EQ(model().countReceived("MES\r"), 1);
    EXPECT_FALSE(host().IsConnected());
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    expectNothingToRead();
    expectHealthyAgain(Recovery::FreshInstrument);
}

TEST_F(JingceFaultMatrix, PulledBeforeTheReadStillServesTheStoredResultAndTheNextMeasurementReportsTheLoss) {
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

    const Outcome outcome = measure(allowedMs(silentReadMs(1, kJingceModeWaitMs)));
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, RESULT_PORT_LOST);
    EXPECT_LE(outcome.ms, allowedMs(silentReadMs(1, kJingceModeWaitMs)));
    EXPECT_FALSE(host().IsConnected());
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    expectHealthyAgain(Recovery::FreshInstrument);
}
