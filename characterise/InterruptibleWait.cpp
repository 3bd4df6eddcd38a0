#include "InterruptibleWait.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace {
// Ctrl-C is noticed within this long.
const int kSliceMs = 20;

bool interrupted(const std::atomic<bool>* interrupt) {
    return interrupt && interrupt->load();
}
} // namespace

bool InterruptibleWait(int ms, const std::atomic<bool>* interrupt) {
    QDeadlineTimer deadline(std::max(ms, 0));
    const bool withEvents = QCoreApplication::instance() != nullptr;
    while (!interrupted(interrupt)) {
        const qint64 left = deadline.remainingTime();
        if (left <= 0)
            return true;
        const int slice = int(std::min<qint64>(left, kSliceMs));
        if (withEvents) {
            QEventLoop loop;
            QTimer::singleShot(slice, Qt::PreciseTimer, &loop, &QEventLoop::quit);
            loop.exec();
        } else {
            QThread::msleep(ulong(slice));
        }
    }
    return false;
}
