#include "SimInstrument.h"

#include "PtyLink.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <poll.h>
#include <random>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {
using Clock = std::chrono::steady_clock;

// How long the thread leaves the master alone after it reported a hang-up (nobody holds the
// device): long enough not to spin, short enough that a reopening host is served at once.
constexpr auto kHangupBackoff = std::chrono::milliseconds(20);
constexpr int kReadChunk = 4096;
constexpr auto kUnplugGrace = std::chrono::milliseconds(5);

// Waits on the descriptors until `until` (Clock::time_point::max(): for ever). The byte-wise line
// hands over a byte every 87 us at 115200 baud, so the wait is finer than a millisecond where it can be.
int pollUntil(pollfd* fds, nfds_t count, Clock::time_point until) {
    if (until == Clock::time_point::max())
        return ::poll(fds, count, -1);
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(until - Clock::now()).count();
#ifdef __linux__
    timespec timeout{};
    if (left > 0) {
        timeout.tv_sec = time_t(left / 1000000000);
        timeout.tv_nsec = long(left % 1000000000);
    }
    return ::ppoll(fds, count, &timeout, nullptr);
#else
    return ::poll(fds, count, left > 0 ? int((left + 999999) / 1000000) : 0);
#endif
}
} // namespace

struct SimInstrument::Impl {
    struct Scheduled {
        QByteArray bytes;
        bool unplug = false;
    };
    // A byte on its way to the library, and when its stop bit has crossed the line.
    struct WireByte {
        Clock::time_point crossed;
        char byte;
    };
    // Bytes from the library, and when the instrument has them (their last bit has crossed the line).
    struct Inbound {
        Clock::time_point crossed;
        QByteArray bytes;
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
    LineModel line;
    // Replies on the line, not yet handed over by the adapter, and when the line is free again.
    std::deque<WireByte> wire;
    Clock::time_point wireFreeAt{};
    // The next expiry of the adapter's free-running latency timer (USB model).
    Clock::time_point usbTick{};
    // The USB model's random draws (the timer's phase, late packets), and the seed they started from.
    std::mt19937 random;
    quint32 seedUsed = 0;
    // Packets the USB adapter has handed over that reach the host late (jitter), in order, with when.
    std::deque<std::pair<Clock::time_point, QByteArray>> latePackets;
    // When the adapter last handed bytes over: an unplug due meanwhile leaves the host a moment to
    // take them, as an adapter passes on what it holds before it goes.
    Clock::time_point lastHandOver{};
    // What the library sent that is still crossing the line towards the instrument.
    std::deque<Inbound> inbound;
    Clock::time_point inboundFreeAt{};
    // Bytes the adapter has handed over that did not fit into the device yet.
    QByteArray output;
    qint64 bytesSent = 0;
    Clock::time_point lastWrite{};
    Clock::time_point lastReceive{};
    Clock::time_point lastAnswerStart{};
    bool answerStarted = false;
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

    // Puts a due reply on the line: at the line speed the library set, behind what is already on it.
    // Under `mutex`.
    void transmitLocked(const QByteArray& bytes, Clock::time_point now) {
        if (line.kind() == LineModel::Instant) {
            output += bytes;
            return;
        }
        const std::chrono::nanoseconds byteTime(LineModel::byteTimeNs(link.baudRate()));
        Clock::time_point at = std::max(now, wireFreeAt);
        for (const char byte : bytes) {
            at += byteTime;
            wire.push_back(WireByte{at, byte});
        }
        wireFreeAt = at;
    }

    void handOver(size_t count) {
        if (count > 0)
            lastHandOver = Clock::now();
        for (size_t i = 0; i < count; ++i) {
            output += wire.front().byte;
            wire.pop_front();
        }
    }

    // Whether bytes of a reply are still on their way: on the line, or in a late packet.
    bool lineBusy() const { return !wire.empty() || !latePackets.empty(); }

    // Draws the seed of the line's random draws (a fresh one unless the line names its own) and the
    // latency timer's phase, its first expiry after `from`. Under `mutex`.
    void seedLineLocked(Clock::time_point from) {
        seedUsed = line.seed() != 0 ? line.seed() : std::random_device()();
        random.seed(seedUsed);
        const qint64 periodNs = qint64(line.usbPeriodMs()) * 1000000;
        usbTick =
            from + std::chrono::nanoseconds(std::uniform_int_distribution<qint64>(0, periodNs - 1)(random));
        latePackets.clear();
    }

    // A USB packet of the next `count` bytes on the line. With jitter, one packet in two reaches the
    // host 1 to usbJitterMs ms late, and those behind it wait for it. Under `mutex`.
    void handOverPacket(size_t count, Clock::time_point now) {
        if (count == 0)
            return;
        const int jitterMs = line.usbJitterMs();
        Clock::time_point due = now;
        if (jitterMs > 0 && std::uniform_int_distribution<int>(0, 1)(random) == 1)
            due +=
                std::chrono::microseconds(std::uniform_int_distribution<int>(1000, jitterMs * 1000)(random));
        if (!latePackets.empty())
            due = std::max(due, latePackets.back().first);
        if (due <= now) {
            handOver(count);
            return;
        }
        QByteArray packet;
        for (size_t i = 0; i < count; ++i) {
            packet += wire.front().byte;
            wire.pop_front();
        }
        latePackets.emplace_back(due, packet);
    }

    // Hands over the late packets due by `now`. Under `mutex`.
    void deliverLatePackets(Clock::time_point now) {
        while (!latePackets.empty() && latePackets.front().first <= now) {
            output += latePackets.front().second;
            latePackets.pop_front();
            lastHandOver = Clock::now();
        }
    }

    // Hands over what the adapter delivers by `now`; returns when it next delivers something
    // (Clock::time_point::max() when the line is idle). Under `mutex`.
    Clock::time_point deliverLocked(Clock::time_point now) {
        deliverLatePackets(now);
        const Clock::time_point nextLate =
            latePackets.empty() ? Clock::time_point::max() : latePackets.front().first;
        if (wire.empty())
            return nextLate;
        if (line.kind() == LineModel::ByteWise) {
            // Each byte as it crosses; a late turn hands over what crossed meanwhile together.
            size_t crossed = 0;
            while (crossed < wire.size() && wire[crossed].crossed <= now)
                ++crossed;
            handOver(crossed);
            return wire.empty() ? Clock::time_point::max() : wire.front().crossed;
        }
        // USB: a full packet goes at once; otherwise what has crossed waits for the latency timer.
        const size_t packet = size_t(LineModel::kUsbPacketBytes);
        while (wire.size() >= packet && wire[packet - 1].crossed <= now)
            handOverPacket(packet, now);
        if (now >= usbTick) {
            size_t crossed = 0;
            while (crossed < wire.size() && wire[crossed].crossed <= now)
                ++crossed;
            handOverPacket(crossed, now);
            // The timer runs freely, whether or not anything was sent, at the phase drawn at start.
            const std::chrono::nanoseconds period(qint64(line.usbPeriodMs()) * 1000000);
            usbTick += period * ((now - usbTick) / period + 1);
        }
        if (wire.empty())
            return latePackets.empty() ? Clock::time_point::max() : latePackets.front().first;
        Clock::time_point next = usbTick;
        if (!latePackets.empty())
            next = std::min(next, latePackets.front().first);
        if (wire.size() >= packet)
            next = std::min(next, wire[packet - 1].crossed);
        return next;
    }

    // Writes what the device takes; the rest waits for the next turn. Under `mutex`.
    void flushLocked() {
        if (output.isEmpty())
            return;
        const qint64 n = link.write(output);
        if (n > 0) {
            bytesSent += n;
            lastWrite = Clock::now();
            if (!answerStarted)
                lastAnswerStart = lastWrite;
            answerStarted = true;
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
        // Whatever was still on the cable is lost with it, in both directions.
        wire.clear();
        latePackets.clear();
        inbound.clear();
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
        d->wire.clear();
        d->inbound.clear();
        d->wireFreeAt = d->inboundFreeAt = d->started;
        d->seedLineLocked(d->started);
        d->bytesSent = 0;
        d->lastWrite = Clock::time_point{};
        d->lastReceive = Clock::time_point{};
        d->lastAnswerStart = Clock::time_point{};
        d->answerStarted = false;
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
        d->wire.clear();
        d->latePackets.clear();
        d->inbound.clear();
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
        // Move what is due onto the line, in order. A due unplug waits until what went before it has
        // crossed the line, and ends the turn's writing.
        bool unplugWaits = false;
        while (!d->schedule.empty() && d->schedule.begin()->first.first <= now) {
            if (d->schedule.begin()->second.unplug) {
                d->deliverLocked(now);
                if (d->lineBusy() || now < d->lastHandOver + kUnplugGrace) {
                    unplugWaits = true;
                    break;
                }
                d->schedule.erase(d->schedule.begin());
                d->unplugLocked();
                break;
            }
            Impl::Scheduled item = std::move(d->schedule.begin()->second);
            d->schedule.erase(d->schedule.begin());
            d->transmitLocked(item.bytes, now);
        }
        const Clock::time_point nextDelivery = d->deliverLocked(now);
        d->flushLocked();

        // Commands that have crossed the line reach the instrument now, in order.
        while (!d->inbound.empty() && d->inbound.front().crossed <= now) {
            const QByteArray bytes = d->inbound.front().bytes;
            d->inbound.pop_front();
            lock.unlock();
            onReceived(bytes);
            lock.lock();
            if (d->stopping)
                break;
        }
        if (d->stopping)
            break;

        const int master = d->link.masterFd();
        const bool watchMaster = master >= 0 && now >= quietUntil;
        pollfd fds[2];
        fds[0] = {d->wakeRead, POLLIN, 0};
        fds[1] = {master, short(POLLIN | (d->output.isEmpty() ? 0 : POLLOUT)), 0};
        const nfds_t count = watchMaster ? 2 : 1;

        Clock::time_point until = nextDelivery;
        if (!d->schedule.empty() && !unplugWaits)
            until = std::min(until, d->schedule.begin()->first.first);
        else if (unplugWaits && !d->lineBusy())
            until = std::min(until, d->lastHandOver + kUnplugGrace);
        if (!d->inbound.empty())
            until = std::min(until, d->inbound.front().crossed);
        if (master >= 0 && !watchMaster)
            until = std::min(until, quietUntil);

        lock.unlock();
        const int ready = pollUntil(fds, count, until);
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
        lock.lock();
        if (!incoming.isEmpty()) {
            const int baud = d->link.baudRate();
            const Clock::time_point arrived = Clock::now();
            const qint64 at =
                std::chrono::duration_cast<std::chrono::milliseconds>(arrived - d->started).count();
            // The record shows when the library sent the bytes; the instrument has them only once
            // they have crossed the line.
            d->record.append(ReceivedChunk{at, baud, incoming});
            d->lastReceive = arrived;
            d->answerStarted = false;
            Clock::time_point crossed = arrived;
            if (d->line.kind() != LineModel::Instant) {
                crossed = std::max(arrived, d->inboundFreeAt) +
                          std::chrono::nanoseconds(LineModel::byteTimeNs(baud) * incoming.size());
                d->inboundFreeAt = crossed;
            }
            d->inbound.push_back(Impl::Inbound{crossed, incoming});
        }
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

qint64 SimInstrument::lastAnswerStartSteadyNs() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(d->lastAnswerStart.time_since_epoch())
        .count();
}

qint64 SimInstrument::lastReceiveSteadyNs() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(d->lastReceive.time_since_epoch()).count();
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
    d->wire.clear();
    d->latePackets.clear();
}

void SimInstrument::unplugAfter(int delayMs) {
    std::lock_guard<std::mutex> lock(d->mutex);
    d->schedule_(Clock::now() + std::chrono::milliseconds(delayMs > 0 ? delayMs : 0),
                 Impl::Scheduled{{}, true});
    d->wake();
}

void SimInstrument::setLine(const LineModel& line) {
    std::lock_guard<std::mutex> lock(d->mutex);
    d->line = line;
    if (d->running)
        d->seedLineLocked(Clock::now());
    d->wake();
}

quint32 SimInstrument::lineSeed() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->seedUsed;
}

LineModel SimInstrument::line() const {
    std::lock_guard<std::mutex> lock(d->mutex);
    return d->line;
}
