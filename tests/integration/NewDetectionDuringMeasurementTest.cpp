// A host that calls Connect again (or ReleaseMinolta) while a measurement's worker waits for its
// instrument: the worker is stopped first and tells the watchers its measurement failed, its driver is
// deleted only after it has ended, and the new detection finds the instrument and measures with it.
// Every family with a worker: the spectroradiometer, the colour analyser, Photo Research and the
// Jingce colorimeter (also during its background zero calibration).

#include "AnalyserModel.h"
#include "ChromameterDetector.h"
#include "ChromameterWuHanJingCe.h"
#include "FaultHarness.h"
#include "HostFixture.h"
#include "JingceModel.h"
#include "PhotoResearchModel.h"
#include "SpectroModel.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <iostream>

namespace {

// How soon a stopped worker must have told its watchers: it stops within about 200 ms; the rest is
// room for a loaded machine.
const int kFailureHeardWithinMs = 1000 * FaultBudget::kSlowdown;

template <class Model> class NewDetectionDuringMeasurement : public HostFixture<Model> {
protected:
    void TearDown() override {
        this->watcher.onEvent = nullptr;
        HostFixture<Model>::TearDown();
    }

    // Connected, then the instrument falls silent and a measurement starts: its worker sends its first
    // command and waits for a reply that does not come. The instrument answers again afterwards.
    void measurementWaiting() {
        ASSERT_NO_FATAL_FAILURE(this->connectThroughFacade());
        m_threadsBefore = processThreadCount();
        this->model.setFault(SimFault::Silent);
        startStamping();
        ASSERT_EQ(this->facade->Measure(false), RESULT_OK);
        waitingWorker();
    }

    // Stamps the moment (from the interruption) every outcome reaches the watcher.
    void startStamping() {
        this->watcher.clear();
        this->watcher.onEvent = [this](const QString& name) {
            if (name == "failed")
                m_failedAtMs = m_sinceInterrupt.isValid() ? m_sinceInterrupt.elapsed() : -1;
        };
    }

    // Lets the worker get into its wait between reads, with nothing heard yet.
    void waitingWorker() {
        pumpEvents(400);
        ASSERT_EQ(this->watcher.count("failed") + this->watcher.count("finished"), 0);
        this->model.setFault(SimFault::None);
    }

    // Runs `interrupt` (a new detection, a release) on the host's thread, timed; the stopped
    // measurement has reported its failure (0x80000008) within the bound, before `interrupt` returned.
    qint64 interruptWaitingMeasurement(const std::function<void()>& interrupt, const char* what) {
        m_sinceInterrupt.start();
        interrupt();
        const qint64 ms = m_sinceInterrupt.elapsed();
        expectWorkerGone();
        EXPECT_EQ(this->watcher.count("failed"), 1);
        EXPECT_EQ(this->watcher.count("finished"), 0);
        for (const RecordingWatcher::Event& e : this->watcher.events()) {
            if (e.name == "failed") {
                EXPECT_EQ(e.code, RESULT_FAIL);
            }
        }
        EXPECT_GE(m_failedAtMs.load(), 0);
        EXPECT_LE(m_failedAtMs.load(), kFailureHeardWithinMs);
        std::cout << what << ": the measurement's failure heard after " << m_failedAtMs.load() << " ms, "
                  << "the call took " << ms << " ms" << std::endl;
        return ms;
    }

    // The worker that waited has ended, not merely been left behind.
    void expectWorkerGone() { EXPECT_LE(processThreadCount(), m_threadsBefore); }

    // Connect finds the instrument again, and a measurement reads the instrument's values.
    void expectConnectFindsAndMeasures(int type) {
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, type);
        EXPECT_TRUE(this->facade->IsConnected());
        this->watcher.clear();
        expectDefaultReadingMeasured(*this->facade, this->watcher);
    }

    // Connect while a measurement waits: it stops first, then detection finds the instrument.
    void connectDuringMeasurement(int type) {
        ASSERT_NO_FATAL_FAILURE(measurementWaiting());
        unsigned long connected = RESULT_FAIL;
        interruptWaitingMeasurement([&] { connected = this->facade->Connect(); }, "Connect");
        EXPECT_EQ(connected, RESULT_OK);
        expectConnectFindsAndMeasures(type);
    }

    // ReleaseMinolta while a measurement waits: the driver goes once its worker has ended; a later
    // Connect finds the instrument again.
    void releaseDuringMeasurement(int type) {
        ASSERT_NO_FATAL_FAILURE(measurementWaiting());
        const qint64 ms = interruptWaitingMeasurement(
            [] { CChromameterDetector::GetInstance()->ReleaseMinolta(); }, "ReleaseMinolta");
        EXPECT_LE(ms, kFailureHeardWithinMs);
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_pMinolta, nullptr);
        ASSERT_EQ(this->facade->Connect(), RESULT_OK);
        expectConnectFindsAndMeasures(type);
    }

    int m_threadsBefore = 0;
    QElapsedTimer m_sinceInterrupt;
    std::atomic<qint64> m_failedAtMs{-1};
};

using SpectroNewDetection = NewDetectionDuringMeasurement<SpectroModel>;
using AnalyserNewDetection = NewDetectionDuringMeasurement<AnalyserModel>;
using PhotoResearchNewDetection = NewDetectionDuringMeasurement<PhotoResearchModel>;
using JingceNewDetection = NewDetectionDuringMeasurement<JingceModel>;

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, SpectroNewDetection, ::testing::ValuesIn(AllLines()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, AnalyserNewDetection, ::testing::ValuesIn(AllLines()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchNewDetection, ::testing::ValuesIn(AllLines()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingceNewDetection, ::testing::ValuesIn(AllLines()), LineName);

TEST_P(SpectroNewDetection, ConnectDuringAMeasurementStopsItFirstThenFindsTheInstrument) {
    connectDuringMeasurement(0);
}

TEST_P(AnalyserNewDetection, ConnectDuringAMeasurementStopsItFirstThenFindsTheInstrument) {
    connectDuringMeasurement(1);
}

TEST_P(PhotoResearchNewDetection, ConnectDuringAMeasurementStopsItFirstThenFindsTheInstrument) {
    connectDuringMeasurement(3);
}

TEST_P(JingceNewDetection, ConnectDuringAMeasurementStopsItFirstThenFindsTheInstrument) {
    connectDuringMeasurement(4);
}

TEST_P(SpectroNewDetection, ReleaseMinoltaDuringAMeasurementStopsItBeforeDeletingTheDriver) {
    releaseDuringMeasurement(0);
}

TEST_P(AnalyserNewDetection, ReleaseMinoltaDuringAMeasurementStopsItBeforeDeletingTheDriver) {
    releaseDuringMeasurement(1);
}

TEST_P(PhotoResearchNewDetection, ReleaseMinoltaDuringAMeasurementStopsItBeforeDeletingTheDriver) {
    releaseDuringMeasurement(3);
}

TEST_P(JingceNewDetection, ReleaseMinoltaDuringAMeasurementStopsItBeforeDeletingTheDriver) {
    releaseDuringMeasurement(4);
}

TEST_P(JingceNewDetection, ConnectDuringAZeroCalibrationStopsItFirstThenFindsTheInstrument) {
    ASSERT_NO_FATAL_FAILURE(connectThroughFacade());
    m_threadsBefore = processThreadCount();
    auto* jingce = dynamic_cast<CChromameterWuHanJingCe*>(CChromameterDetector::GetInstance()->m_pMinolta);
    ASSERT_NE(jingce, nullptr);
    model.setFault(SimFault::Silent);
    startStamping();
    ASSERT_EQ(jingce->ZeroCalibrate(), RESULT_OK);
    ASSERT_NO_FATAL_FAILURE(waitingWorker());
    // Left running, the zero calibration would wait ten seconds for its reply, holding the driver.
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(facade->Connect(), RESULT_OK);
    const qint64 ms = timer.elapsed();
    // Left running, it would still be waiting, on a driver detection has deleted.
    expectWorkerGone();
    std::cout << "Connect during a zero calibration took " << ms << " ms" << std::endl;
    // Detection itself: about a second and a half of trials at 9600 baud before the Jingce answers.
    EXPECT_LE(ms, FaultBudget::allowedMs(FaultBudget::kSilentDetectionMs));
    // A zero calibration that did not end well is reported to nobody.
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);
    expectConnectFindsAndMeasures(4);
}
