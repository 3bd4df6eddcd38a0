#pragma once

#include "IMinolta.h"

#include <QEventLoop>

#include <atomic>
#include <cstdint>

// A host's watcher that notes when each outcome arrives (steady clock, ns) and wakes the host's
// event loop that waits for it, so the host sleeps in its loop instead of polling.
class TimingWatcher : public IMinoltaWatcher {
public:
    void OnMeasureFinished() override;
    void OnMeasureFailed(unsigned long code) override;
    void OnConnected() override {}
    void OnDisconnected() override {}
    void OnZeroCalibrated(unsigned long) override {}

    // Forgets the last outcome; the next one will quit `loop` (which must live until it has).
    void arm(QEventLoop* loop);
    // Runs `loop` until the outcome or timeoutMs. True when the measurement finished.
    bool wait(QEventLoop& loop, int timeoutMs);
    std::int64_t finishedAtNs() const { return m_finishedAtNs.load(); }
    bool failed() const { return m_failed.load(); }

private:
    void settle(bool failed);
    std::atomic<QEventLoop*> m_loop{nullptr};
    std::atomic<std::int64_t> m_finishedAtNs{0};
    std::atomic<bool> m_done{false};
    std::atomic<bool> m_failed{false};
};
