#include "TimingWatcher.h"

#include <QTimer>

#include <chrono>

void TimingWatcher::OnMeasureFinished() {
    // Take the time first: this is the moment the host learns of the result.
    m_finishedAtNs = std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::steady_clock::now().time_since_epoch())
                         .count();
    settle(false);
}

void TimingWatcher::OnMeasureFailed(unsigned long) {
    settle(true);
}

void TimingWatcher::settle(bool failed) {
    m_failed = failed;
    m_done = true;
    if (QEventLoop* loop = m_loop.load())
        QMetaObject::invokeMethod(loop, "quit", Qt::QueuedConnection);
}

void TimingWatcher::arm(QEventLoop* loop) {
    m_done = false;
    m_failed = false;
    m_finishedAtNs = 0;
    m_loop = loop;
}

bool TimingWatcher::wait(QEventLoop& loop, int timeoutMs) {
    if (!m_done.load()) {
        QTimer timer;
        timer.setSingleShot(true);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        timer.start(timeoutMs);
        loop.exec();
    }
    m_loop = nullptr;
    return m_done.load() && !m_failed.load();
}
