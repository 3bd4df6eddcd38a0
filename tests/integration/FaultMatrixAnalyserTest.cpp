// Fault matrix of the Minolta colour analyser: every fault of a misbehaving or vanishing instrument,
// through the host's facade on the simulator. Each cell checks the result code or watcher call, the
// time the call took against the driver's read budgets, and that a later Connect to a healthy
// instrument works again.

#include "AnalyserModel.h"
#include "FaultHarness.h"

#include <gtest/gtest.h>

using namespace FaultBudget;

namespace {

class AnalyserFaultMatrix : public ColourFaultCell {};

// Cells where nothing comes back: how the cable delivers changes nothing there, so they run on the
// instant line only.
class AnalyserSilentLineFaultMatrix : public AnalyserFaultMatrix {};

// Slow cells (overlong replies take seconds of line time): the instant line and the USB one.
class AnalyserSlowFaultMatrix : public AnalyserFaultMatrix {};

// The adapter pulled: what matters is the lost port, so the instant line and the USB one.
class AnalyserPulledFaultMatrix : public AnalyserFaultMatrix {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, AnalyserFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("analyser", AllLines())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, AnalyserSilentLineFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("analyser", InstantLine())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, AnalyserSlowFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("analyser", InstantAndUsbLines())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, AnalyserPulledFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("analyser", InstantAndUsbLines())), FaultLineName);

// --- Faults present from the start: what detection makes of them ---------------------------------

TEST_P(AnalyserFaultMatrix, CutReplyAtConnectIsNotTakenForTheInstrument) {
    cutReplyAtConnect("接收OK0");
}

TEST_P(AnalyserFaultMatrix, ReplySplitIntoSingleBytesAtConnectEndsInAResultCode) {
    // The bytes follow each other closely and are joined into the whole "OK00" of "COM,1": the
    // analyser is found, unless a loaded machine stretches a gap past the pause between replies.
    replySplitAtConnect(kSilentDetectionMs + 2 * answeredReadMs(6));
}

TEST_P(AnalyserPulledFaultMatrix, PulledDuringConnectEndsTheThirtySecondZeroCalibrationWaitAtOnce) {
    const Timed connected = connectPulledOn<AnalyserModel>("ZRC,1,");
    EXPECT_EQ(connected.result, RESULT_FAIL);
    // "COM,1" was answered "OK00": the driver counts itself connected and says so, while the lost
    // zero calibration makes its result a failure, and detection goes on (to nothing).
    EXPECT_EQ(watcher.count("connected"), 1);
    EXPECT_LE(connected.ms, allowedMs(answeredReadMs() + silentReadMs(1, kAnalyserConnectZeroWaitMs)));
    EXPECT_LT(connected.ms, sleptMs(kAnalyserConnectZeroTries, kAnalyserConnectZeroWaitMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    EXPECT_TRUE(logged("打开失败!")) << log().toStdString();
}

// --- Faults after a healthy Connect: measurement and read -----------------------------------------

TEST_P(AnalyserSilentLineFaultMatrix, SilenceWhileMeasuringWaitsWithoutResendingUntilThePortGoes) {
    // A silent display-mode exchange lasts up to ten reads of 1000 tries of 30 ms and a port read,
    // about 18 minutes; the adapter is pulled after 2.5 s of silence instead, which ends it at the
    // next port read with the lost port's code.
    faultAfterConnect(SimFault::Silent);
    const int silenceMs = 2500;
    InstrumentModel& instrument = model();
    AfterDelay pull(silenceMs, [&instrument] { instrument.unplug(); });
    const Outcome outcome = measureWithin(silenceMs + silentReadMs(1, kAnalyserModeWaitMs));
    EXPECT_TRUE(pull.done());
    expectFailed(outcome, RESULT_PORT_LOST);
    EXPECT_GE(outcome.ms, silenceMs);
    EXPECT_EQ(model().countReceived("MDS,0\n"), 1);
    EXPECT_EQ(model().countReceived("MES,1\n"), 0);
    EXPECT_FALSE(host().IsConnected());
    expectNothingToRead();
}

TEST_P(AnalyserSlowFaultMatrix, OverlongReplyWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::Overlong);
    const Outcome outcome = measureWithin(2 * answeredReadMs() + 2 * lineMs(kOverlongBytes));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    if (finishedOrFailed(outcome)) {
        // Both heads were kept: the values stand before the padding.
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
        EXPECT_EQ(host().ReadLvXy(data), RESULT_OK);
        EXPECT_FLOAT_EQ(data.x, 0.3127f);
        EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    } else {
        // The display mode's "OK00" went with the head of its reply.
        expectNothingToRead();
    }
}
