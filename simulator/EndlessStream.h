#pragma once

#include <QByteArray>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// What a device that is no instrument sends on a serial line and never stops sending: a GPS
// receiver's NMEA sentences, back to back at the pace of a 9600-baud line (about a byte a
// millisecond) unless told a slower pace, handed out in small pieces from a thread of its own until
// stop().
class EndlessStream {
public:
    // The pieces' size and spacing: ten bytes every ten milliseconds is 9600 baud at ten bits a byte.
    static constexpr int kPieceBytes = 10;
    static constexpr int kPieceIntervalMs = 10;

    EndlessStream() = default;
    ~EndlessStream();
    EndlessStream(const EndlessStream&) = delete;
    EndlessStream& operator=(const EndlessStream&) = delete;

    // Starts handing pieces of `pieceBytes` every `intervalMs` to `send` (on the stream's thread). Does
    // nothing if already running.
    void start(std::function<void(const QByteArray&)> send, int pieceBytes = kPieceBytes,
               int intervalMs = kPieceIntervalMs);
    // Stops the stream and waits until `send` is no longer called. Idempotent.
    void stop();
    bool running() const;

private:
    void run();

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_bStopping = false;
    std::function<void(const QByteArray&)> m_send;
    int m_pieceBytes = kPieceBytes;
    int m_intervalMs = kPieceIntervalMs;
    std::thread m_thread;
};
