#include "SimInstrument.h"

#include "PtyLink.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {
using Clock = std::chrono::steady_clock;

// How long the thread leaves the master alone after it reported a hang-up (nobody holds the
// device): long enough not to spin, short enough that a reopening host is served at once.
constexpr auto kHangupBackoff = std::chrono::milliseconds(20);
constexpr int kReadChunk = 4096;
} // namespace

struct SimInstrument::Impl {
    struct Scheduled {
        QByteArray bytes;
        bool unplug = false;
    };

    PtyLink link;

    // Serialises start() and stop() against each other.
    std::mutex lifecycle;
    std::thread thread;

    // Everything below is guarded by `mutex`.
    mutable std::mutex mutex;
    std::condition_variable cv;
    bool running = false;
    bool stopping = false;
    std::thread::id threadId;
    Clock::time_point started = Clock::now();
    bool everStarted = false;
    QList<ReceivedChunk> record;
    // Due time and a sequence number keep replies due at the same moment in the order they were
    // scheduled.
    std::map<std::pair<Clock::time_point, quint64>, Scheduled> schedule;
    quint64 sequence = 0;
    // Bytes that are due but did not fit into the device yet.
    QByteArray output;
    qint64 bytesSent = 0;
    Clock::time_point lastWrite{};
    quint64 unplugRequests = 0;
    quint64 unplugsDone = 0;

    int wakeRead = -1;
    int wakeWrite = -1;

    void wake() {
        if (wakeWrite >= 0) {
            const char c = 0;
            // A full pipe already guarantees a wake-up, so a failed write needs no handling.
            [[maybe_unused]] ssize_t n = ::write(wakeWrite, &c, 1);
        }
    }

    void schedule_(Clock::time_point due, Scheduled item) {
        schedule.emplace(std::make_pair(due, sequence++), std::move(item));
    }

    // Writes what the device takes; the rest waits for the next turn. Under `mutex`.
    void flushLocked() {
        if (output.isEmpty())
            return;
        const qint64 n = link.write(output);
        if (n > 0) {
            bytesSent += n;
            lastWrite = Clock::now();
            output.remove(0, int(n));
        } else if (n < 0 && !link.isPlugged()) {
            output.clear();
        }
    }

    // Pulls the adapter after writing whatever is already due. Under `mutex`.
    void unplugLocked() {
        flushLocked();
        link.unplug();
        output.clear();
        schedule.clear();
        unplugsDone = unplugRequests;
        cv.notify_all();
    }
};

SimInstrument::SimInstrument() : d(new Impl) {}

SimInstrument::~SimInstrument() {
    stop();
}

bool SimInstrument::start() {
    std::lock_guard<std::mutex> lifecycle(d->lifecycle);
    if (d->thread.joinable())
        return true;
    if (!d->link.open())
        return false;
    int fds[2];
    if (::pipe(fds) != 0) {
        d->link.unplug();
        return false;
    }
    for (int fd : fds) {
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->wakeRead = fds[0];
        d->wakeWrite = fds[1];
        d->running = true;
        d->stopping = false;
        d->started = Clock::now();
        d->everStarted = true;
        d->record.clear();
        d->schedule.clear();
        d->output.clear();
        d->bytesSent = 0;
        d->lastWrite = Clock::time_point{};
    }
    d->thread = std::thread([this] { run(); });
    return true;
}

void SimInstrument::stop() {
    std::lock_guard<std::mutex> lifecycle(d->lifecycle);
    if (d->thread.joinable()) {
        {
            std::lock_guard<std::mutex> lock(d->mutex);
            d->stopping = true;
            d->wake();
        }
        // Misuse (stop() from onReceived()): the thread cannot wait for itself. It ends at its next
        // turn; the owner's own stop() joins it later.
        if (d->thread.get_id() == std::this_thread::get_id())
            return;
        d->thread.join();
        std::lock_guard<std::mutex> lock(d->mutex);
        ::close(d->wakeRead);
        ::close(d->wakeWrite);
        d->wakeRead = d->wakeWrite = -1;
        d->schedule.clear();
        d->output.clear();
    }
    d->link.unplug();
}

void SimInstrument::run() {
    std::unique_lock<std::mutex> lock(d->mutex);
    d->threadId = std::this_thread::get_id();
    Clock::time_point quietUntil = Clock::time_point::min();
    QByteArray incoming;

    while (!d->stopping) {
        Clock::time_point now = Clock::now();
        if (d->unplugRequests != d->unplugsDone)
            d->unplugLocked();
        // Move what is due into the output, in order; a due unplug ends the turn's writing.
        while (!d->schedule.empty() && d->schedule.begin()->first.first <= now) {
            Impl::Scheduled item = std::move(d->schedule.begin()->second);
            d->schedule.erase(d->schedule.begin());
            if (item.unplug) {
                d->unplugLocked();
                break;
            }
            d->output += item.bytes;
        }
        d->flushLocked();

        const int master = d->link.masterFd();
        const bool watchMaster = master >= 0 && now >= quietUntil;
        pollfd fds[2];
        fds[0] = {d->wakeRead, POLLIN, 0};
        fds[1] = {master, short(POLLIN | (d->output.isEmpty() ? 0 : POLLOUT)), 0};
        const nfds_t count = watchMaster ? 2 : 1;

        Clock::time_point until = Clock::time_point::max();
        if (!d->schedule.empty())
            until = d->schedule.begin()->first.first;
        if (master >= 0 && !watchMaster && quietUntil < until)
            until = quietUntil;
        int timeoutMs = -1;
        if (until != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
            timeoutMs = left < 0 ? 0 : int(left);
        }

        lock.unlock();
        const int ready = ::poll(fds, count, timeoutMs);
        incoming.clear();
        if (ready > 0) {
            if (fds[0].revents & POLLIN) {
                char drain[64];
                while (::read(d->wakeRead, drain, sizeof drain) > 0) {
                }
            }
            if (watchMaster && fds[1].revents) {
                if (fds[1].revents & POLLIN) {
                    char buf[kReadChunk];
                    const ssize_t n = ::read(master, buf, sizeof buf);
                    if (n > 0)
                        incoming = QByteArray(buf, int(n));
                    else if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
                        quietUntil = Clock::now() + kHangupBackoff;
                } else if (fds[1].revents & (POLLHUP | POLLERR | POLLNVAL)) {
                    quietUntil = Clock::now() + kHangupBackoff;
                }
            }
        }
        if (!incoming.isEmpty()) {
            const int baud = d->link.baudRate();
            lock.lock();
            const qint64 at =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - d->started).count();
            d->record.append(ReceivedChunk{at, baud, incoming});
            lock.unlock();
            onReceived(incoming);
        }
        lock.lock();
    }
    d->running = false;
    d->cv.notify_all();
}

QString SimInstrument::portPath() const {
    return d->link.linkPath();
}

void SimInstrument::unplug() {
    std::unique_lock<std::mutex> lock(d->mutex);
    if (!d->running || std::this_thread::get_id() == d->threadId) {
        // Nobody polls the master concurrently: close it here.
        d->unplugLocked();
        return;
    }
    // The thread may be waiting on the master; it closes it itself so that the descriptor is never
    // closed under a poll().
    const quint64 ticket = ++d->unplugRequests;
    d->wake();
    d->cv.wait(lock, [&] { return d->unplugsDone >= ticket || !d->running; });
    if (d->unplugsDone < ticket)
        d->unplugLocked();
}

bool SimInstrument::isPlugged() const {
    return d->link.isPlugged();
}

int SimInstrument::lineBaud() const {
    return d->link.baudRate();
}

QByteArray SimInstrument::received() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    QByteArray all;
    for (const ReceivedChunk& chunk : d->record)
        all += chunk.bytes;
    return all;
}

QList<ReceivedChunk> SimInstrument::record() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    // A list of its own, not a shared copy: the caller drops it on its thread while this thread goes
    // on appending to the record, and Qt decides whether an append may grow a shared list in place
    // from a count it reads without ordering.
    QList<ReceivedChunk> copy;
    copy.reserve(d->record.size());
    for (const ReceivedChunk& chunk : d->record)
        copy.append(chunk);
    return copy;
}

void SimInstrument::clearRecord() {
    std::lock_guard<std::mutex> lock(d->mutex);
    d->record.clear();
}

int SimInstrument::countReceived(const QByteArray& needle) const {
    if (needle.isEmpty())
        return 0;
    return received().count(needle);
}

qint64 SimInstrument::elapsedMs() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    if (!d->everStarted)
        return 0;
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - d->started).count();
}

qint64 SimInstrument::bytesSent() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->bytesSent;
}

qint64 SimInstrument::lastWriteSteadyNs() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(d->lastWrite.time_since_epoch()).count();
}

void SimInstrument::reply(const QByteArray& bytes, int delayMs) {
    if (bytes.isEmpty())
        return;
    replyPieces({ReplyPiece{delayMs, bytes}});
}

void SimInstrument::replyPieces(const QList<ReplyPiece>& pieces) {
    std::lock_guard<std::mutex> lock(d->mutex);
    Clock::time_point due = Clock::now();
    for (const ReplyPiece& piece : pieces) {
        due += std::chrono::milliseconds(piece.delayMs > 0 ? piece.delayMs : 0);
        if (!piece.bytes.isEmpty())
            d->schedule_(due, Impl::Scheduled{piece.bytes, false});
    }
    d->wake();
}

void SimInstrument::cancelReplies() {
    std::lock_guard<std::mutex> lock(d->mutex);
    for (auto it = d->schedule.begin(); it != d->schedule.end();) {
        if (it->second.unplug)
            ++it;
        else
            it = d->schedule.erase(it);
    }
    d->output.clear();
}

void SimInstrument::unplugAfter(int delayMs) {
    std::lock_guard<std::mutex> lock(d->mutex);
    d->schedule_(Clock::now() + std::chrono::milliseconds(delayMs > 0 ? delayMs : 0),
                 Impl::Scheduled{{}, true});
    d->wake();
}
