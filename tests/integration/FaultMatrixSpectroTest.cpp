// Fault matrix of the Minolta spectroradiometer: every fault of a misbehaving or vanishing instrument,
// through the host's facade on the simulator. Each cell checks the result code or watcher call, the
// time the call took against the driver's read budgets, and that a later Connect to a healthy
// instrument works again.

#include "ChromameterDetector.h"
#include "ChromameterMinolta.h"
#include "FaultHarness.h"
#include "SpectroModel.h"

#include <QThread>

#include <gtest/gtest.h>

using namespace FaultBudget;

namespace {

// One read of a measurement or a data read while nothing comes: ten tries of a port read and 1 s.
constexpr int kLongReadMs = silentReadMs(kSpectroLongTries, kSpectroLongWaitMs);
constexpr int kLongReadSleptMs = sleptMs(kSpectroLongTries, kSpectroLongWaitMs);
// Reads a measurement may make in these cells: the first can complete it, the second is the margin
// that a completion may not use. Two keep a silent cell at about 20 s instead of the default 30
// reads (more than five minutes).
constexpr int kTwoReads = 2;
// The line the instrument answers "MEDR,2,0,2" with for the default reading.
constexpr int kLvXyLineBytes = 25;

class SpectroFaultMatrix : public FaultCell {
protected:
    CChromameterMinolta* spectro() const { return dynamic_cast<CChromameterMinolta*>(driver()); }

    // A healthy Connect, then the fault, with the measurement allowed `reads` reads.
    void faultAfterConnect(SimFault fault, int reads) {
        FaultCell::faultAfterConnect(fault);
        ASSERT_NE(spectro(), nullptr);
        spectro()->SetLimitTimes(reads);
    }

    // With two reads allowed, `fault` makes the measurement fail: the first read's reply is no
    // completion, and the second read finds at most silence.
    // `replyBytes` is the length of the fault's reply, for its line time.
    Outcome measurementFailsWithTwoReads(SimFault fault, int replyBytes = 0) {
        faultAfterConnect(fault, kTwoReads);
        const Outcome outcome = measure(allowedMs(kTwoReads * kLongReadMs + lineMs(replyBytes)));
        expectFailed(outcome);
        EXPECT_LE(outcome.ms, allowedMs(answeredReadMs() + kLongReadMs + lineMs(replyBytes)));
        return outcome;
    }

    // The host's data read, answered at once (with a reply of `replyBytes`, for its line time).
    unsigned long readAnsweredAtOnce(SChromameterMeasureData* data, int replyBytes = 0) {
        qint64 ms = 0;
        const unsigned long read = readLvXy(data, &ms);
        EXPECT_LE(ms, allowedMs(answeredReadMs() + lineMs(replyBytes)));
        return read;
    }
};

// Cells where nothing comes back: how the cable delivers changes nothing there, so they run on the
// instant line only.
class SpectroSilentLineFaultMatrix : public SpectroFaultMatrix {};

// Slow cells (overlong replies take seconds of line time): the instant line and the USB one.
class SpectroSlowFaultMatrix : public SpectroFaultMatrix {};

// The adapter pulled: what matters is the lost port, so the instant line and the USB one.
class SpectroPulledFaultMatrix : public SpectroFaultMatrix {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, SpectroFaultMatrix, ::testing::ValuesIn(FamilyOnLines("spectro", AllLines())),
                         FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, SpectroSilentLineFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("spectro", InstantLine())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, SpectroSlowFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("spectro", InstantAndUsbLines())), FaultLineName);
INSTANTIATE_TEST_SUITE_P(Lines, SpectroPulledFaultMatrix,
                         ::testing::ValuesIn(FamilyOnLines("spectro", InstantAndUsbLines())), FaultLineName);

// --- Faults present from the start: what detection makes of them ---------------------------------

TEST_P(SpectroFaultMatrix, CutReplyAtConnectIsNotTakenForTheInstrument) {
    // Half of "ER00" and its line end is no refusal.
    cutReplyAtConnect("接收ER0");
    EXPECT_EQ(model().countReceived("RMTS,1\r\n"), 0);
}

TEST_P(SpectroFaultMatrix, ReplySplitIntoSingleBytesAtConnectEndsInAResultCode) {
    // Bytes 15 ms apart follow each other closely and are joined into the probe's whole answer,
    // unless a loaded machine stretches a gap past the pause between replies.
    replySplitAtConnect(kSilentDetectionMs + answeredReadMs(12));
}

TEST_P(SpectroPulledFaultMatrix, PulledDuringConnectFailsAtOnceWithoutWaitingOutTheBudgets) {
    // The probe's answer, then one port read finds the device gone; every later trial fails at once
    // and the port cannot be opened again at 115200 baud.
    expectDetectionFailed(connectPulledOn<SpectroModel>("RMTS,1\r\n"),
                          answeredReadMs() + silentReadMs(1, kSpectroShortWaitMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    EXPECT_TRUE(logged("打开失败!")) << log().toStdString();
}

// --- Faults after a healthy Connect: measurement and data read ------------------------------------

TEST_P(SpectroSilentLineFaultMatrix, SlowSilenceWhileMeasuringFailsAfterTheAllowedReads) {
    faultAfterConnect(SimFault::Silent, kTwoReads);
    const Outcome outcome = measureWithin(kTwoReads * kLongReadMs);
    expectFailed(outcome);
    EXPECT_GE(outcome.ms, kTwoReads * kLongReadSleptMs);
    // Only reads are repeated, never the command.
    EXPECT_EQ(model().countReceived("MEAS,1\r\n"), 1);
    recoverWith(Recovery::SameInstrument);
}

TEST_P(SpectroSilentLineFaultMatrix, SilenceDuringDataReadWaitsWithoutResendingUntilThePortGoes) {
    // Ten reads of ten 1 s tries make a silent data read last about 108 s; the adapter is pulled after
    // 2.5 s of silence instead, which ends the wait at the next port read.
    start();
    connectHealthy();
    ASSERT_EQ(measure(15000).event, "finished");
    model().setFault(SimFault::Silent);
    model().clearRecord();
    const int silenceMs = 2500;
    InstrumentModel& instrument = model();
    AfterDelay pull(silenceMs, [&instrument] { instrument.unplug(); });
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -1.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
    EXPECT_TRUE(pull.done());
    EXPECT_GE(ms, silenceMs);
    EXPECT_LE(ms, allowedMs(silenceMs + silentReadMs(1, kSpectroLongWaitMs)));
    EXPECT_EQ(data.Tcp, -1.0f);
    EXPECT_EQ(model().countReceived("MEDR,2,0,2\r\n"), 1);
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}

TEST_P(SpectroSlowFaultMatrix, SlowGarbageWhileMeasuringIsSkippedAndTheDataReadFails) {
    // The garbled completion is skipped; the second read finds nothing.
    EXPECT_GE(measurementFailsWithTwoReads(SimFault::Garbage).ms, kLongReadSleptMs);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(readAnsweredAtOnce(&data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 0.0f);
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
}

TEST_P(SpectroSlowFaultMatrix, SlowOverlongReplyWhileMeasuringIsNoCompletionAndTheDataReadStaysBounded) {
    // Whichever pieces were kept, several kilobytes are no "OK00" line of 6 or 10 bytes.
    measurementFailsWithTwoReads(SimFault::Overlong, kOverlongBytes);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    const unsigned long read = readAnsweredAtOnce(&data, kOverlongBytes);
    // With its head the reply still parses (the values come before the padding); without it, it
    // has no status.
    if (read == RESULT_OK) {
        EXPECT_TRUE(logged("reply too long")) << log().toStdString();
        EXPECT_FLOAT_EQ(data.x, 0.3127f);
        EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    } else {
        EXPECT_EQ(read, RESULT_FAIL);
    }
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
}

TEST_P(SpectroSlowFaultMatrix, SlowCutReplyWhileMeasuringIsNoCompletionAndTheDataReadFails) {
    EXPECT_GE(measurementFailsWithTwoReads(SimFault::Cut).ms, kLongReadSleptMs);
    // Half of the "MEDR" line holds one value where three are taken: a failure, not a short read.
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(readAnsweredAtOnce(&data), RESULT_FAIL);
    EXPECT_EQ(data.x, 0.0f);
    EXPECT_TRUE(loggedReply("接收OK0")) << log().toStdString();
}

TEST_P(SpectroFaultMatrix, SlowReplySplitIntoSingleBytesWhileMeasuringEndsInAWatcherCall) {
    faultAfterConnect(SimFault::SplitBytes, kTwoReads);
    const Outcome outcome = measure(allowedMs(kTwoReads * kLongReadMs));
    EXPECT_LE(outcome.ms, allowedMs(answeredReadMs(6) + kLongReadMs));
    // Joined, the bytes make the 6-byte completion and the data line; a gap stretched past the pause
    // between replies would spoil them.
    finishedOrFailed(outcome);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    qint64 ms = 0;
    const unsigned long read = readLvXy(&data, &ms);
    EXPECT_TRUE(read == RESULT_OK || read == RESULT_FAIL);
    EXPECT_LE(ms, allowedMs(answeredReadMs(kLvXyLineBytes)));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
}

TEST_P(SpectroPulledFaultMatrix, PulledDuringMeasurementIsReportedAsALostPortAtOnce) {
    faultAfterConnect(SimFault::UnplugDuringMeasure, kSpectroDefaultLimit);
    const Outcome outcome = measure(allowedMs(kSpectroDefaultLimit * silentReadMs(1, kSpectroLongWaitMs)));
    // The first read that finds the port gone ends the measurement, reported as a lost port, as the
    // data read and the colour drivers report it.
    expectFailed(outcome, RESULT_PORT_LOST);
    EXPECT_LE(outcome.ms, allowedMs(silentReadMs(1, kSpectroLongWaitMs)));
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
    EXPECT_LE(ms, allowedMs(kPortReadMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}

TEST_P(SpectroPulledFaultMatrix, PulledDuringDataReadFailsAtOnce) {
    auto* pulled = new PullOnCommand<SpectroModel>("MEDR,", 0, false);
    start(std::unique_ptr<InstrumentModel>(pulled));
    connectHealthy();
    ASSERT_EQ(measure(15000).event, "finished");
    pulled->arm();
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
    EXPECT_TRUE(pulled->fired());
    // At most one try of the read before the loss is seen, not ten reads of ten tries.
    EXPECT_LE(ms, allowedMs(silentReadMs(1, kSpectroLongWaitMs)));
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    const qint64 again =
        timed([&] { EXPECT_EQ(host().ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_FAIL); });
    EXPECT_LE(again, allowedMs(kPortReadMs));
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}

// A Connect made as soon as a measurement has failed on a pulled adapter must keep the port it opens:
// every read of the measurement thread that finds the port gone hands a close to the port's thread,
// and those still queued run inside the next Connect's first read; they must not close the new port.
TEST_P(SpectroPulledFaultMatrix, ConnectRightAfterALostPortMeasurementKeepsTheNewPortOpen) {
    // The later Connect is this cell's own point.
    noLaterConnectCheck();
    faultAfterConnect(SimFault::UnplugDuringMeasure, kSpectroDefaultLimit);
    // Let the port's thread see the device go, then wait for the outcome without running events, so
    // the closes the measurement thread queues stay queued.
    ASSERT_EQ(host().Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil([this] { return !model().isPlugged(); }, 5000));
    ASSERT_TRUE(waitUntil([] { return !CChromameterDetector::GetInstance()->m_port.IsPortConnect(); }, 5000));
    for (int i = 0; i < 1000 && watcher.count("failed") == 0; ++i)
        QThread::msleep(10);
    ASSERT_EQ(watcher.count("failed"), 1);
    start();
    const Timed connected = connect();
    EXPECT_EQ(connected.result, RESULT_OK) << log().toStdString();
}
