#include "EndlessStream.h"

#include <chrono>
#include <utility>

namespace {
// Two sentences of a receiver with a fix, sent over and over.
const char kSentences[] = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n"
                          "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\r\n";
} // namespace

EndlessStream::~EndlessStream() {
    stop();
}

void EndlessStream::start(std::function<void(const QByteArray&)> send, int pieceBytes, int intervalMs) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_thread.joinable())
        return;
    m_send = std::move(send);
    m_pieceBytes = pieceBytes < 1 ? 1 : pieceBytes;
    m_intervalMs = intervalMs < 1 ? 1 : intervalMs;
    m_bStopping = false;
    m_thread = std::thread([this] { run(); });
}

void EndlessStream::stop() {
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bStopping = true;
        thread = std::move(m_thread);
    }
    m_wake.notify_all();
    if (thread.joinable())
        thread.join();
}

bool EndlessStream::running() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_thread.joinable() && !m_bStopping;
}

void EndlessStream::run() {
    const QByteArray text(kSentences);
    int at = 0;
    // Paced against the clock, not by the sleeps, so the rate holds on a busy machine.
    auto due = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_bStopping) {
        QByteArray piece;
        while (piece.size() < m_pieceBytes) {
            const QByteArray part = text.mid(at, m_pieceBytes - piece.size());
            piece += part;
            at = (at + part.size()) % text.size();
        }
        lock.unlock();
        m_send(piece);
        lock.lock();
        due += std::chrono::milliseconds(m_intervalMs);
        m_wake.wait_until(lock, due, [this] { return m_bStopping; });
    }
}
