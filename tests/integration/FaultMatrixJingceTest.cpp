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

// What the four drivers tried before this one spend on its silent line at 9600 baud.
constexpr int kTrialsBeforeMs =
    kSpectroSilentTrialMs + kAnalyserSilentTrialMs + kLuminanceSilentTrialMs + kPhotoSilentTrialMs;
// One read of a display-mode answer while nothing comes.
constexpr int kModeReadMs = silentReadMs(kJingceModeTries, kJingceModeWaitMs);
constexpr int kModeReadSleptMs = sleptMs(kJingceModeTries, kJingceModeWaitMs);

class JingceFaultMatrix : public ColourFaultCell {
protected:
    CChromameterWuHanJingCe* jingce() const { return dynamic_cast<CChromameterWuHanJingCe*>(driver()); }
};

// Cells where nothing comes back: how the cable delivers changes nothing there, so they run on the
// instant line only.
class JingceSilentLineFaultMatrix : public JingceFaultMatrix {};

// Slow cells (overlong replies take seconds of line time): the instant line only; the
// spectroradiometer's and the colour analyser's, quicker to reach, also run on the USB line.
class JingceSlowFaultMatrix : public JingceFaultMatrix {};

// The adapter pulled: what matters is the lost port, so the instant line and the USB one.
class JingcePulledFaultMatrix : public JingceFaultMatrix {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, JingceFaultMatrix, ::testing::ValuesIn(FamilyOnLines("jingce", AllLines())),
                         FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingceSilentLineFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("jingce", InstantLine())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingceSlowFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("jingce", InstantLine())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingcePulledFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("jingce", InstantAndUsbLines())), FaultLineName);

// --- Faults present from the start: what detection makes of them ---------------------------------

TEST_P(JingceFaultMatrix, CutReplyAtConnectIsNotTakenForTheInstrument) {
    cutReplyAtConnect("接收OK0");
    EXPECT_EQ(model().countReceived("ZRC,1,"), 1);
}

TEST_P(JingceFaultMatrix, ReplySplitIntoSingleBytesAtConnectEndsInAResultCode) {
    // The bytes follow each other closely and are joined into whole replies: the colorimeter is
    // found, unless a loaded machine stretches a gap past the pause between replies.
    replySplitAtConnect(kSilentDetectionMs + 3 * answeredReadMs(6));
}

TEST_P(JingcePulledFaultMatrix, PulledDuringConnectEndsTheZeroCalibrationWaitAtOnce) {
    const Timed connected = connectPulledOn<JingceModel>("ZRC,1,");
    // This instrument proves itself by the zero calibration's answer: without it, no connection.
    expectDetectionFailed(connected,
                          kTrialsBeforeMs + 2 * answeredReadMs() + silentReadMs(1, kJingceConnectZeroWaitMs));
    EXPECT_LT(connected.ms, kTrialsBeforeMs + sleptMs(kJingceConnectZeroTries, kJingceConnectZeroWaitMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}

// --- Faults after a healthy Connect: measurement and read -----------------------------------------

TEST_P(JingceSilentLineFaultMatrix, SlowSilenceWhileMeasuringFailsAfterOneDisplayModeRead) {
    // Ten reads of 100 tries of 100 ms make a silent display-mode exchange last about 3 minutes; with
    // one read allowed it is the budget of that one read.
    faultAfterConnect(SimFault::Silent);
    jingce()->SetLimitTimes(1);
    const Outcome outcome = measureWithin(kModeReadMs);
    // The port is still there: a plain failure, and the driver stays connected.
    expectFailed(outcome);
    EXPECT_GE(outcome.ms, kModeReadSleptMs);
    EXPECT_EQ(model().countReceived("MDS,0\r"), 1);
    EXPECT_EQ(model().countReceived("MES\r"), 0);
    EXPECT_TRUE(host().IsConnected());
    expectNothingToRead();
}

TEST_P(JingceSlowFaultMatrix, OverlongReplyWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::Overlong);
    const Outcome outcome = measureWithin(2 * answeredReadMs() + 2 * lineMs(kOverlongBytes));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    if (finishedOrFailed(outcome)) {
        // Both heads were kept: the padding stuck to the luminance makes it no number, which
        // converts to 0; the chromaticity before it stands.
        SChromameterMeasureData data = {0.0f, 0.0f, -1.0f, 0.0f};
        EXPECT_EQ(host().ReadLvXy(data), RESULT_OK);
        EXPECT_FLOAT_EQ(data.x, 0.3127f);
        EXPECT_EQ(data.Lv, 0.0f);
    } else {
        expectNothingToRead();
    }
}
