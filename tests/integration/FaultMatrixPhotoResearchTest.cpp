// Fault matrix of the Photo Research instrument: every fault of a misbehaving or vanishing instrument,
// through the host's facade on the simulator. Each cell checks the result code or watcher call, the
// time the call took against the driver's read budgets, and that a later Connect to a healthy
// instrument works again.

#include "FaultHarness.h"
#include "PhotoResearchModel.h"

#include <gtest/gtest.h>

using namespace FaultBudget;

namespace {

// One poll of a measurement while nothing comes: a port read and 1 s.
constexpr int kPollMs = silentReadMs(kPhotoPollTries, kPhotoPollWaitMs);
constexpr int kPollSleptMs = sleptMs(kPhotoPollTries, kPhotoPollWaitMs);
// The answer to "D1" while nothing comes.
constexpr int kAnswerMs = silentReadMs(kPhotoAnswerTries, kPhotoAnswerWaitMs);
constexpr int kAnswerSleptMs = sleptMs(kPhotoAnswerTries, kPhotoAnswerWaitMs);
// The report line for the default reading, and the greeting.
constexpr int kReportBytes = 36;
constexpr int kGreetingBytes = 14;
// The trials before this driver's on a silent line.
constexpr int kTrialsBeforeMs = kSpectroSilentTrialMs + kAnalyserSilentTrialMs + kLuminanceSilentTrialMs;

class PhotoResearchFaultMatrix : public FaultCell {
protected:
    // `fault` after a healthy Connect fails the measurement within two polls; the read then asks the
    // instrument, which answers at once with nothing usable.
    void measurementAndReadFail(SimFault fault) {
        faultAfterConnect(fault);
        expectFailed(measureWithin(2 * kPollMs));
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
        qint64 ms = 0;
        EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
        EXPECT_LE(ms, allowedMs(answeredReadMs()));
    }
};

// Cells where nothing comes back: how the cable delivers changes nothing there, so they run on the
// instant line only.
class PhotoResearchSilentLineFaultMatrix : public PhotoResearchFaultMatrix {};

// Slow cells (overlong replies take seconds of line time): the instant line only; the
// spectroradiometer's and the colour analyser's, quicker to reach, also run on the USB line.
class PhotoResearchSlowFaultMatrix : public PhotoResearchFaultMatrix {};

// The adapter pulled: what matters is the lost port, so the instant line and the USB one.
class PhotoResearchPulledFaultMatrix : public PhotoResearchFaultMatrix {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("photoresearch", AllLines())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchSilentLineFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("photoresearch", InstantLine())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchSlowFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("photoresearch", InstantLine())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchPulledFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("photoresearch", InstantAndUsbLines())),
                         FaultLineName);

// --- Faults present from the start: what detection makes of them ---------------------------------

TEST_P(PhotoResearchFaultMatrix, CutReplyAtConnectIsNotTakenForTheInstrument) {
    cutReplyAtConnect("接收 REMOTE");
}

TEST_P(PhotoResearchFaultMatrix, ReplySplitIntoSingleBytesAtConnectEndsInAResultCode) {
    // The bytes follow each other closely and are joined into the whole greeting: the instrument is
    // found, unless a loaded machine stretches a gap past the pause between replies.
    replySplitAtConnect(kSilentDetectionMs + answeredReadMs(kGreetingBytes));
}

TEST_P(PhotoResearchPulledFaultMatrix, PulledDuringConnectFailsAtOnceWithoutWaitingOutTheBudgets) {
    // The three drivers before it run out on the silent line; then one port read finds the device
    // gone, and the port cannot be opened again at 115200 baud.
    expectDetectionFailed(connectPulledOn<PhotoResearchModel>("PHOTO"),
                          kTrialsBeforeMs + silentReadMs(1, kPhotoAnswerWaitMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    EXPECT_TRUE(logged("打开失败!")) << log().toStdString();
}

// --- Faults after a healthy Connect: measurement and read -----------------------------------------

TEST_P(PhotoResearchSilentLineFaultMatrix, SlowSilenceWhileMeasuringFailsAfterTenPolls) {
    faultAfterConnect(SimFault::Silent);
    const Outcome outcome = measureWithin(kPhotoDefaultLimit * kPollMs);
    expectFailed(outcome);
    EXPECT_GE(outcome.ms, kPhotoDefaultLimit * kPollSleptMs);
    // Only the polls are repeated, never the command.
    EXPECT_EQ(model().countReceived("M1\n"), 1);
    // Nothing measured here: the read asks the instrument, which says nothing either.
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -1.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
    EXPECT_GE(ms, kAnswerSleptMs);
    EXPECT_LE(ms, allowedMs(kAnswerMs));
    EXPECT_EQ(data.Tcp, -1.0f);
    recoverWith(Recovery::SameInstrument);
}

TEST_P(PhotoResearchFaultMatrix, GarbageWhileMeasuringFailsAndTheReadFails) {
    measurementAndReadFail(SimFault::Garbage);
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
}

TEST_P(PhotoResearchSlowFaultMatrix, OverlongReplyWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::Overlong);
    const Outcome outcome = measureWithin(2 * kPollMs + 2 * lineMs(kOverlongBytes));
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    if (finishedOrFailed(outcome)) {
        // The report kept its head: the padding stuck to y makes it no number, which converts to 0.
        SChromameterMeasureData data = {0.0f, -1.0f, 0.0f, 0.0f};
        EXPECT_EQ(host().ReadLvXy(data), RESULT_OK);
        EXPECT_FLOAT_EQ(data.Lv, 120.5f);
        EXPECT_FLOAT_EQ(data.x, 0.3127f);
        EXPECT_EQ(data.y, 0.0f);
    }
}

TEST_P(PhotoResearchFaultMatrix, CutReplyWhileMeasuringFailsAndTheReadFails) {
    // Half a report stops inside the luminance field: no comma after it.
    measurementAndReadFail(SimFault::Cut);
    EXPECT_TRUE(loggedReply("接收00000,111,1.2050e+")) << log().toStdString();
}

TEST_P(PhotoResearchFaultMatrix, ReplySplitIntoSingleBytesWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::SplitBytes);
    const Outcome outcome = measureWithin(2 * kPollMs + answeredReadMs(kReportBytes));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    // Joined, the bytes make the whole status "00000" and report; a gap stretched past the pause
    // between replies would spoil them.
    finishedOrFailed(outcome);
}

TEST_P(PhotoResearchPulledFaultMatrix, PulledDuringMeasurementFailsWithinItsPolls) {
    faultAfterConnect(SimFault::UnplugDuringMeasure);
    // Every poll after the loss fails at once; the watchers always hear the plain failure.
    expectFailed(measureWithin(kPollMs + kPhotoDefaultLimit * kPortReadMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}

TEST_P(PhotoResearchPulledFaultMatrix, PulledDuringReadFailsAtOnce) {
    auto* pulled = new PullOnCommand<PhotoResearchModel>("D1", 0, false);
    start(std::unique_ptr<InstrumentModel>(pulled));
    connectHealthy();
    pulled->arm();
    // Nothing measured yet: the read asks the instrument for the result it holds.
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
    EXPECT_TRUE(pulled->fired());
    EXPECT_LE(ms, allowedMs(silentReadMs(1, kPhotoAnswerWaitMs)));
    EXPECT_EQ(data.Lv, 0.0f);
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}
