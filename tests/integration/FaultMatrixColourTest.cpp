// Fault matrix cells that the two colour families share, the Minolta colour analyser and the Wuhan
// Jingce colorimeter: the same conversation ("MDS" sets the display mode, the measure command reads
// the values within the measurement), only its line end and budgets differ. Through the host's facade
// on the simulator, once per family (the last part of a cell's name is the family and the line); each
// cell checks the watcher call, the time it took against the driver's read budgets, and that a later
// Connect to a healthy instrument works again.

#include "FaultHarness.h"

#include <gtest/gtest.h>

namespace {

const std::vector<const char*> kColourFamilies = {"analyser", "jingce"};

class ColourFaultMatrix : public ColourFaultCell {};

// The adapter pulled: what matters is the lost port, so the instant line and the USB one.
class ColourPulledFaultMatrix : public ColourFaultCell {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Families, ColourFaultMatrix,
                         ::testing::ValuesIn(FamiliesOnLines(kColourFamilies, AllLines())),
                         FaultFamilyLineName);
INSTANTIATE_TEST_SUITE_P(Families, ColourPulledFaultMatrix,
                         ::testing::ValuesIn(FamiliesOnLines(kColourFamilies, InstantAndUsbLines())),
                         FaultFamilyLineName);

TEST_P(ColourFaultMatrix, GarbageWhileMeasuringFailsAtTheDisplayModeAnswer) {
    failsAtTheDisplayModeAnswer(SimFault::Garbage);
    // The port is still there: the driver stays connected.
    EXPECT_TRUE(host().IsConnected());
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
}

TEST_P(ColourFaultMatrix, CutReplyWhileMeasuringFailsAtTheDisplayModeAnswer) {
    failsAtTheDisplayModeAnswer(SimFault::Cut);
    EXPECT_TRUE(loggedReply("接收OK0")) << log().toStdString();
}

TEST_P(ColourFaultMatrix, ReplySplitIntoSingleBytesWhileMeasuringEndsInAWatcherCall) {
    replySplitWhileMeasuring();
}

TEST_P(ColourPulledFaultMatrix, PulledDuringMeasurementReportsTheLostPort) {
    pulledDuringMeasurement();
}

TEST_P(ColourFaultMatrix, PulledBeforeTheReadStillServesTheStoredResultAndTheNextMeasurementReportsTheLoss) {
    // These drivers read their values within the measurement; the host's read serves them from memory.
    pulledBeforeTheRead();
}
