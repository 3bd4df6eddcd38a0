// The adapter pulled while a measurement's reply loop waits: whatever limit of reads the host set
// (the default, a small one, a negative one that never counts down to its end), the loop ends within
// about a second of the loss, with the lost-port result where the driver has one, and waits without
// spinning: the process spends a fraction of that time on the processor, and the port is asked for
// a read only a few times after it closed.

#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "FaultHarness.h"
#include "PhotoResearch.h"

#include <gtest/gtest.h>

#include <iostream>

using namespace FaultBudget;

namespace {

// Within a second of the loss: the loss itself is seen within one read's wait (the longest is the
// spectroradiometer's and Photo Research's, one second), after the measure command was answered
// by the pull.
constexpr int kEndsWithinMs = silentReadMs(1, 1000) + answeredReadMs();

class LostPortCell : public FaultCell {
protected:
    // The driver's own limit of reads for one measurement.
    void setLimit(int limit) {
        IMinolta* held = driver();
        if (auto* spectro = dynamic_cast<CChromameterMinolta*>(held))
            spectro->SetLimitTimes(limit);
        else if (auto* analyser = dynamic_cast<CChromameterMinoltaCas40*>(held))
            analyser->SetLimitTimes(limit);
        else if (auto* photo = dynamic_cast<CPhotoResearch*>(held))
            photo->SetLimitTimes(limit);
        else if (auto* jingce = dynamic_cast<CChromameterWuHanJingCe*>(held))
            jingce->SetLimitTimes(limit);
        else
            ADD_FAILURE() << "no driver with a limit of reads";
    }

    // A healthy Connect with `limit` set, then the adapter pulled as the measure command arrives:
    // the watchers hear `code` within the bound, and the wait used little processor time.
    void pulledDuringMeasurementWith(int limit, unsigned long code) {
        faultAfterConnect(SimFault::UnplugDuringMeasure);
        setLimit(limit);
        const CpuTime cpu;
        const Outcome outcome = measure(allowedMs(kEndsWithinMs));
        const qint64 cpuMs = cpu.elapsedMs();
        expectFailed(outcome, code);
        EXPECT_LE(outcome.ms, allowedMs(kEndsWithinMs));
        // A loop spinning on the closed port keeps a processor busy the whole time.
        EXPECT_LE(cpuMs, 100 + outcome.ms / 2) << outcome.ms << " ms";
        // Each read of the closed port says so; a loop that went on would say it again and again.
        EXPECT_LE(loggedCount("no isOpen"), 5) << log().toStdString();
        EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
        std::cout << family().toStdString() << " limit " << limit << ": outcome after " << outcome.ms
                  << " ms, " << cpuMs << " ms of processor time" << std::endl;
    }
};

class SpectroLostPort : public LostPortCell {};
class AnalyserLostPort : public LostPortCell {};
class PhotoResearchLostPort : public LostPortCell {};
class JingceLostPort : public LostPortCell {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, SpectroLostPort,
                         ::testing::ValuesIn(FamilyOnLines("spectro", InstantAndUsbLines())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, AnalyserLostPort,
                         ::testing::ValuesIn(FamilyOnLines("analyser", InstantAndUsbLines())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchLostPort,
                         ::testing::ValuesIn(FamilyOnLines("photoresearch", InstantAndUsbLines())),
                         FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingceLostPort,
                         ::testing::ValuesIn(FamilyOnLines("jingce", InstantAndUsbLines())), FaultLineName);

TEST_P(SpectroLostPort, MeasurementWithTheDefaultLimitEndsWithTheLostPortCode) {
    pulledDuringMeasurementWith(kSpectroDefaultLimit, RESULT_PORT_LOST);
}
TEST_P(SpectroLostPort, MeasurementWithASmallLimitEndsWithTheLostPortCode) {
    pulledDuringMeasurementWith(2, RESULT_PORT_LOST);
}
TEST_P(SpectroLostPort, MeasurementWithANegativeLimitEndsWithoutSpinning) {
    pulledDuringMeasurementWith(-1, RESULT_PORT_LOST);
}

TEST_P(AnalyserLostPort, MeasurementWithTheDefaultLimitEndsWithTheLostPortCode) {
    pulledDuringMeasurementWith(10, RESULT_PORT_LOST);
}
TEST_P(AnalyserLostPort, MeasurementWithASmallLimitEndsWithTheLostPortCode) {
    pulledDuringMeasurementWith(2, RESULT_PORT_LOST);
}
TEST_P(AnalyserLostPort, MeasurementWithANegativeLimitEndsWithoutSpinning) {
    pulledDuringMeasurementWith(-1, RESULT_PORT_LOST);
}

// This driver has no code of its own for a lost port: the watchers hear the plain failure.
TEST_P(PhotoResearchLostPort, MeasurementWithTheDefaultLimitEndsWithTheFailure) {
    pulledDuringMeasurementWith(kPhotoDefaultLimit, RESULT_FAIL);
}
TEST_P(PhotoResearchLostPort, MeasurementWithASmallLimitEndsWithTheFailure) {
    pulledDuringMeasurementWith(2, RESULT_FAIL);
}
TEST_P(PhotoResearchLostPort, MeasurementWithANegativeLimitEndsWithoutSpinning) {
    pulledDuringMeasurementWith(-1, RESULT_FAIL);
}

TEST_P(JingceLostPort, MeasurementWithTheDefaultLimitEndsWithTheLostPortCode) {
    pulledDuringMeasurementWith(10, RESULT_PORT_LOST);
}
TEST_P(JingceLostPort, MeasurementWithASmallLimitEndsWithTheLostPortCode) {
    pulledDuringMeasurementWith(2, RESULT_PORT_LOST);
}
TEST_P(JingceLostPort, MeasurementWithANegativeLimitEndsWithoutSpinning) {
    pulledDuringMeasurementWith(-1, RESULT_PORT_LOST);
}
