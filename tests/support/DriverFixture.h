#pragma once

// Shared pieces of the driver tests: a driver the test constructs itself, talking through the
// detector's port opened on a simulated instrument, with a watcher registered; a view of the
// drivers' protected state; and the checks every driver's tests make the same way.

#include "ChromameterDetector.h"
#include "DetectorPort.h"
#include "DriverWorkers.h"
#include "IMinolta.h"
#include "MeasurementOutcome.h"
#include "MinoltaVistor.h"
#include "TestSupport.h"

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

// A driver keeps no watchers of its own: registering `other` and unregistering `registered` (which
// the test registered with the registry) through it are refused, and the registry is left as it was.
void expectDriverRefusesWatchers(IMinolta& driver, IMinoltaWatcher* other, IMinoltaWatcher* registered);

// Gives the tests a view of a driver's own state. Only the accessors a test calls are instantiated,
// so a family without one of these members still compiles.
template <class Driver> class DriverProbe : public Driver {
public:
    using Driver::Driver;
    double lv() const { return this->m_dLv; }
    double x() const { return this->m_dX; }
    double y() const { return this->m_dY; }
    double tcp() const { return this->m_dTcp; }
    int type() const { return this->m_nType; }
    int limitTimes() const { return this->m_nLimitTimes; }
    int reserved() const { return this->m_nReserved; }
    bool connectedFlag() const { return this->m_bConnected; }
    bool busy() const { return this->m_bMeasuring; }
    bool valid() const { return this->m_bMeasureSucceed; }
    bool readed() const { return this->m_bReaded; }
};

// One driver of type `Probe` on the detector's port, opened at `Baud` on a started `Sim`, with
// `watcher` registered for the test's length.
template <class Sim, class Probe, int Baud = 9600> class DriverFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(sim.start());
        ASSERT_TRUE(openDetectorPort(sim.portPath(), Baud));
        CMinoltaVistor::GetInstance()->Register(&watcher);
    }

    void TearDown() override {
        // Let a worker that has just notified return before the driver and the watcher go away.
        waitUntil([&] { return workersDone(); }, 60000);
        // And wait until each worker has really ended (stopping any still running).
        CDriverWorkers::StopAll();
        pumpEvents(50);
        CMinoltaVistor::GetInstance()->Unregister(&watcher);
    }

    // Whether no worker thread of the driver is still running.
    virtual bool workersDone() { return !driver.busy(); }

    // Pumps the event loop (a worker's writes are queued to this thread) until a measurement's
    // outcome reaches the watcher.
    bool waitForOutcome(int timeoutMs = 10000) {
        return MeasurementOutcome::waitFor(watcher, timeoutMs).heard();
    }

    // Starts a measurement and waits for its outcome, keeping what the watcher heard before.
    bool measureUntilOutcome(int timeoutMs) {
        EXPECT_EQ(driver.Measure(false), RESULT_OK);
        return waitForOutcome(timeoutMs);
    }

    // One measurement from start to its outcome, with the watcher's record cleared first: the
    // outcome's name ("finished" or "failed"), or empty when none came in time.
    QString measure(bool tcp = false, int timeoutMs = 15000) {
        watcher.clear();
        if (!MeasurementOutcome::measure(driver, tcp, watcher, timeoutMs).heard())
            return QString();
        waitUntil([&] { return !driver.busy(); }, 1000);
        return lastOutcome();
    }

    // The name of the last outcome the watcher heard, or empty.
    QString lastOutcome() const {
        const std::vector<RecordingWatcher::Event> events = watcher.events();
        for (auto it = events.rbegin(); it != events.rend(); ++it)
            if (it->name == "finished" || it->name == "failed")
                return it->name;
        return QString();
    }

    // The code of the first failure the watcher heard, or 0.
    unsigned long lastFailureCode() const {
        for (const RecordingWatcher::Event& e : watcher.events())
            if (e.name == "failed")
                return e.code;
        return 0;
    }

    // The watcher heard one failure, before anything else, with `code`.
    ::testing::AssertionResult failedOnceWith(unsigned long code) const {
        const std::vector<RecordingWatcher::Event> events = watcher.events();
        if (watcher.count("failed") != 1 || events.empty() || events[0].name != "failed")
            return ::testing::AssertionFailure()
                   << watcher.count("failed") << " failures heard, first " << events.size() << " events";
        if (events[0].code != code)
            return ::testing::AssertionFailure() << "failure code " << events[0].code << ", not " << code;
        return ::testing::AssertionSuccess();
    }

    // A driver as constructed: of `type`, allowed `limitTimes` reads, no values stored, no flag up.
    void expectAsConstructed(int type, int limitTimes) {
        EXPECT_EQ(driver.type(), type);
        EXPECT_EQ(driver.limitTimes(), limitTimes);
        EXPECT_EQ(driver.lv(), 0.0);
        EXPECT_EQ(driver.x(), 0.0);
        EXPECT_EQ(driver.y(), 0.0);
        EXPECT_FALSE(driver.IsConnected());
        EXPECT_FALSE(driver.IsMeasureSucced());
        EXPECT_FALSE(driver.IsReaded());
    }

    Sim sim;
    RecordingWatcher watcher;
    Probe driver{detectorLine()};
};
