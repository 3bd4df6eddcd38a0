#include "ChromameterCommand.h"

#include "DriverWorkers.h"
#include "InstrumentLine.h"
#include "SerialPortCross.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QMetaObject>
#include <QSharedPointer>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

namespace {

// How long a sender off the port's thread waits for its command to leave: the write's own drain limit.
const int kQueuedWriteWaitMs = 100;

// A device that never stops sending (a GPS receiver, a data logger) must not keep one read, and with
// it detection or a measurement, going for ever. Input that keeps coming once the reply buffer is full
// is taken (and dropped) for at most kDrainAfterFullMs more, so an overlong reply leaves little behind
// while a stream at 9600 baud (the buffer full after about 1.1 s) ends the read after about 2 s.
// Input that trickles too slowly ever to fill the buffer ends it kLongestReplyMs after its first byte:
// the slowest real reply, a 200-byte frame a byte at a time, takes about 3 s.
const qint64 kDrainAfterFullMs = 1000;
const qint64 kLongestReplyMs = 10000;

// Raised by the port's thread once it has run the writes queued before it. Shared by the poster and
// the queued call, so a call that runs after its sender stopped waiting still finds it alive.
struct QueuedWriteMark {
    std::mutex mutex;
    std::condition_variable ran;
    bool done = false;
};

// Waits, at most timeoutMs, until the port's thread has run every write this thread queued to it.
// The mark is queued to the same thread behind those writes, and that thread runs its queued calls in
// the order they were posted. A write still queued when the wait gives up runs later all the same.
void waitForQueuedWrites(SerialPortCross& port, int timeoutMs) {
    // Qt's shared pointer: std::make_shared would export a unique symbol, which also keeps the library
    // from ever unloading.
    const QSharedPointer<QueuedWriteMark> mark = QSharedPointer<QueuedWriteMark>::create();
    QMetaObject::invokeMethod(
        &port,
        [mark] {
            std::lock_guard<std::mutex> lock(mark->mutex);
            mark->done = true;
            mark->ran.notify_all();
        },
        Qt::QueuedConnection);
    std::unique_lock<std::mutex> lock(mark->mutex);
    mark->ran.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&mark] { return mark->done; });
}

} // namespace

bool CChromameterCommand::Send(const char* data, int length) {
    const bool sent = m_line.Write(data, unsigned(length)) == unsigned(length);
    // From any other thread the write is queued to the port's thread. Wait (briefly) for it to run:
    // the sender's next step is a read that holds the port's lock, and a write still queued behind it
    // would leave only after that read had found nothing. The port's own thread wrote at once and
    // must never wait for itself.
    SerialPortCross& port = m_line.Port();
    // A worker being stopped does not wait: the port's thread may be the one waiting for it to end.
    if (QThread::currentThread() != port.thread() && !CDriverWorkers::StopRequested())
        waitForQueuedWrites(port, kQueuedWriteWaitMs);
    return sent;
}

bool CChromameterCommand::Read(char** reply, int& length, int tries, int waitMs) {
    // Allocated first, so the caller frees it on every path.
    *reply = new char[CHROMAMETER_REPLY_SIZE];
    std::memset(*reply, 0, CHROMAMETER_REPLY_SIZE);
    SerialPortCross& port = m_line.Port();
    int total = 0;
    // A worker being stopped reads nothing more: its exchange is over.
    if (CDriverWorkers::StopRequested()) {
        length = 0;
        return false;
    }
    QElapsedTimer sinceFirstByte;
    QElapsedTimer sinceFull;
    for (;;) {
        // The last byte always stays NUL, so the reply is a terminated string however long it was.
        const unsigned room = unsigned(CHROMAMETER_REPLY_SIZE - 1 - total);
        unsigned received = 0;
        const unsigned n = port.Read(*reply + total, 100, room, &received);
        total += int(n);
        if (total == 0) {
            if (!port.IsPortConnect()) {
                // The adapter is gone: stop waiting at once.
                port.Close();
                length = total;
                return false;
            }
            --tries;
            // The wait between reads gives way at once when the worker is asked to stop.
            if (!CDriverWorkers::Pause(waitMs)) {
                length = 0;
                return false;
            }
        }
        // Bytes still flowing keep the exchange going, also those dropped because the buffer is full:
        // the whole reply is taken, and nothing of it is left for the next exchange. But not for
        // longer than any reply lasts: input that does not stop is no reply.
        if (received != 0) {
            if (!sinceFirstByte.isValid())
                sinceFirstByte.start();
            if (total >= CHROMAMETER_REPLY_SIZE - 1 && !sinceFull.isValid())
                sinceFull.start();
            const bool overran = sinceFull.isValid() && sinceFull.elapsed() >= kDrainAfterFullMs;
            if (!overran && sinceFirstByte.elapsed() < kLongestReplyMs)
                continue;
            qDebug().nospace() << "input did not stop: reply ended after " << sinceFirstByte.elapsed()
                               << " ms";
            length = total;
            return total != 0;
        }
        if (total != 0 || tries < 1) {
            length = total;
            return total != 0;
        }
    }
}
