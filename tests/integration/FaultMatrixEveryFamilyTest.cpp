// Fault matrix cells that every instrument family shares: detection on a silent line, on garbage, on
// overlong replies and at the wrong line speed, through the host's facade on the simulator, once per
// family of the family table (the last part of a cell's name is the family and the line). Each cell
// checks the result code, the time the call took against the drivers' read budgets, what the
// family's trial sent, and that a later Connect to a healthy instrument works again.

#include "FaultHarness.h"

#include <gtest/gtest.h>

namespace {

class FaultMatrix : public FaultCell {};

// Cells where nothing comes back: how the cable delivers changes nothing there, so they run on the
// instant line only.
class SilentLineFaultMatrix : public FaultCell {};

// Slow cells (overlong replies take seconds of line time).
class SlowFaultMatrix : public FaultCell {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Families, FaultMatrix, ::testing::ValuesIn(EveryFamilyOnLines(AllLines())),
                         FaultFamilyLineName);
INSTANTIATE_TEST_SUITE_P(Families, SilentLineFaultMatrix,
                         ::testing::ValuesIn(EveryFamilyOnLines(InstantLine())), FaultFamilyLineName);
INSTANTIATE_TEST_SUITE_P(Families, SlowFaultMatrix, ::testing::ValuesIn(EveryFamilyOnSlowLines()),
                         FaultFamilyLineName);

TEST_P(SilentLineFaultMatrix, SilenceAtConnectFailsDetectionWithinEveryDriversBudget) {
    expectSilentDetection(connectDespite(SimFault::Silent));
    expectSent(facts().sentInSilence);
    recoverWith(facts().afterSilence);
}

TEST_P(FaultMatrix, GarbageAtConnectIsNotTakenForTheInstrument) {
    garbageAtConnect();
    expectSent(facts().sentDespiteGarbage);
}

TEST_P(SlowFaultMatrix, OverlongReplyAtConnectStaysInItsBufferAndEndsInAResultCode) {
    // The reply comes in pieces; they are joined and cut to the reply buffer (and that is logged), so
    // the status at its head counts, as do the first bytes the luminance meter and the Photo Research
    // instrument compare.
    overlongReplyAtConnect();
}

TEST_P(SilentLineFaultMatrix, WrongLineSpeedAtConnectFailsDetectionLikeSilence) {
    // The Jingce colorimeter at 9600 baud hears the other drivers' probes, none of them its own.
    wrongLineSpeedAtConnect();
    recoverWith(facts().afterWrongSpeed);
}
