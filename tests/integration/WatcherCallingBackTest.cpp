// A watcher that calls back into the library from inside its notifications, on the thread each one
// arrives on: ReadLvXy, Disconnect and Measure from inside the first notification of each kind
// (connected, measurement finished or failed, disconnected). No notification is made in a way that
// hangs those calls: each round of calls returns, and the operations around them end.

#include "AnalyserModel.h"
#include "ChromameterDetector.h"
#include "FaultHarness.h"
#include "HostFixture.h"
#include "JingceModel.h"
#include "LuminanceModel.h"
#include "PhotoResearchModel.h"
#include "SpectroModel.h"

#include <QElapsedTimer>
#include <QSet>

#include <gtest/gtest.h>

#include <iostream>
#include <mutex>

namespace {

template <class Model> class WatcherCallingBack : public HostFixture<Model> {
protected:
    void TearDown() override {
        // Whatever the calls from inside started ends here, before the watcher goes.
        CChromameterDetector::GetInstance()->ReleaseMinolta();
        this->watcher.onEvent = nullptr;
        HostFixture<Model>::TearDown();
    }

    // From now on the first notification of each kind calls the three operations back.
    void callBackFromEachFirstNotification() {
        this->watcher.onEvent = [this](const QString& name) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_started.contains(name))
                    return;
                m_started.insert(name);
            }
            QElapsedTimer timer;
            timer.start();
            // Measuring last, so the measurement it starts does not overlap this thread's own calls.
            SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
            this->facade->ReadLvXy(data);
            this->facade->Disconnect();
            this->facade->Measure(false);
            std::lock_guard<std::mutex> lock(m_mutex);
            m_returned.insert(name);
            m_slowestMs = qMax(m_slowestMs, timer.elapsed());
        };
    }

    bool returnedFrom(const QString& name) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_returned.contains(name);
    }
    bool allReturned() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_returned == m_started;
    }

    // Connected (the calls from inside OnConnected come while detection runs), then a measurement:
    // the calls from inside its outcome disconnect, whose notification, when the instrument confirms,
    // calls back in turn, and measure again. Exchanges overlapping on one port may wait out their
    // budgets; none hangs: stopped (by ReleaseMinolta), every round of calls returns at once.
    void everyRoundOfCallsReturns() {
        ASSERT_NO_FATAL_FAILURE(this->createFacade());
        callBackFromEachFirstNotification();
        ASSERT_EQ(this->facade->Connect(), RESULT_OK);
        EXPECT_TRUE(returnedFrom("connected"));
        this->facade->Measure(false);
        ASSERT_TRUE(waitUntil(
            [&] {
                std::lock_guard<std::mutex> lock(m_mutex);
                return m_started.contains("finished") || m_started.contains("failed");
            },
            15000));
        pumpEvents(1000);
        QElapsedTimer timer;
        timer.start();
        CChromameterDetector::GetInstance()->ReleaseMinolta();
        EXPECT_TRUE(waitUntil([&] { return allReturned(); }, 1000 * FaultBudget::kSlowdown));
        const qint64 ms = timer.elapsed();
        std::lock_guard<std::mutex> lock(m_mutex);
        QStringList kinds = m_returned.values();
        kinds.sort();
        std::cout << "called back from: " << kinds.join(", ").toStdString() << "; all returned " << ms
                  << " ms after the release; slowest round " << m_slowestMs << " ms" << std::endl;
    }

    // Connected, then the adapter is pulled as a measurement starts: the calls from inside its failure
    // find the port gone and return, and the measurement they start fails in turn.
    void roundOfCallsFromAFailureReturns() {
        ASSERT_NO_FATAL_FAILURE(this->createFacade());
        ASSERT_EQ(this->facade->Connect(), RESULT_OK);
        callBackFromEachFirstNotification();
        this->model.setFault(SimFault::UnplugDuringMeasure);
        this->facade->Measure(false);
        ASSERT_TRUE(waitUntil([&] { return returnedFrom("failed"); }, 15000));
        CChromameterDetector::GetInstance()->ReleaseMinolta();
        EXPECT_TRUE(waitUntil([&] { return allReturned(); }, 1000 * FaultBudget::kSlowdown));
        std::lock_guard<std::mutex> lock(m_mutex);
        std::cout << "round of calls from inside the failure: " << m_slowestMs << " ms" << std::endl;
    }

    std::mutex m_mutex;
    QSet<QString> m_started;
    QSet<QString> m_returned;
    qint64 m_slowestMs = 0;
};

using SpectroCallingBack = WatcherCallingBack<SpectroModel>;
using AnalyserCallingBack = WatcherCallingBack<AnalyserModel>;
using LuminanceCallingBack = WatcherCallingBack<LuminanceModel>;
using PhotoResearchCallingBack = WatcherCallingBack<PhotoResearchModel>;
using JingceCallingBack = WatcherCallingBack<JingceModel>;

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, SpectroCallingBack,
                         ::testing::Values(LineModel(LineModel::Instant), LineModel::realistic()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, AnalyserCallingBack,
                         ::testing::Values(LineModel(LineModel::Instant), LineModel::realistic()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, LuminanceCallingBack,
                         ::testing::Values(LineModel(LineModel::Instant), LineModel::realistic()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchCallingBack,
                         ::testing::Values(LineModel(LineModel::Instant), LineModel::realistic()), LineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingceCallingBack,
                         ::testing::Values(LineModel(LineModel::Instant), LineModel::realistic()), LineName);

TEST_P(SpectroCallingBack, ReadDisconnectAndMeasureFromInsideEachNotificationDoNotHang) {
    everyRoundOfCallsReturns();
}

TEST_P(AnalyserCallingBack, ReadDisconnectAndMeasureFromInsideEachNotificationDoNotHang) {
    everyRoundOfCallsReturns();
}

TEST_P(LuminanceCallingBack, ReadDisconnectAndMeasureFromInsideEachNotificationDoNotHang) {
    everyRoundOfCallsReturns();
}

TEST_P(PhotoResearchCallingBack, ReadDisconnectAndMeasureFromInsideEachNotificationDoNotHang) {
    everyRoundOfCallsReturns();
}

TEST_P(JingceCallingBack, ReadDisconnectAndMeasureFromInsideEachNotificationDoNotHang) {
    everyRoundOfCallsReturns();
}

TEST_P(SpectroCallingBack, ReadDisconnectAndMeasureFromInsideAFailureNotificationDoNotHang) {
    roundOfCallsFromAFailureReturns();
}

TEST_P(AnalyserCallingBack, ReadDisconnectAndMeasureFromInsideAFailureNotificationDoNotHang) {
    roundOfCallsFromAFailureReturns();
}

TEST_P(LuminanceCallingBack, ReadDisconnectAndMeasureFromInsideAFailureNotificationDoNotHang) {
    roundOfCallsFromAFailureReturns();
}

TEST_P(PhotoResearchCallingBack, ReadDisconnectAndMeasureFromInsideAFailureNotificationDoNotHang) {
    roundOfCallsFromAFailureReturns();
}

TEST_P(JingceCallingBack, ReadDisconnectAndMeasureFromInsideAFailureNotificationDoNotHang) {
    roundOfCallsFromAFailureReturns();
}
