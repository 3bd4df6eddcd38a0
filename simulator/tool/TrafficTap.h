#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

#include <mutex>

class SimInstrument;

// Watches a simulated instrument's line from the host's side of the story: what the host wrote to
// it (every stretch of bytes the instrument received, with the line speed) and how many bytes the
// instrument answered. Polls on the owner's thread, so it also reports while that thread is inside a
// nested event loop (a library call waiting for its reply).
class TrafficTap : public QObject {
    Q_OBJECT

public:
    explicit TrafficTap(SimInstrument* instrument, QObject* parent = nullptr);

    // Polls every intervalMs from now on.
    void start(int intervalMs = 10);
    void stop();
    // Reports what arrived since the last poll, now. Any thread may call it; the signals are then
    // emitted on that thread.
    void poll();

    // The bytes as a log shows them: printable ASCII as it is, CR, LF and TAB as \r \n \t, other
    // bytes as \xHH; at most `limit` bytes are shown, then "... (N bytes)".
    static QString Escape(const QByteArray& bytes, int limit = 64);

signals:
    // Bytes the host wrote, `atMs` after the simulator started, at the line speed then set.
    void received(qint64 atMs, int baud, const QByteArray& bytes);
    // The instrument wrote `newBytes` more bytes to the host (`totalBytes` so far).
    void sent(qint64 newBytes, qint64 totalBytes);

private:
    SimInstrument* m_instrument;
    QTimer m_timer;
    std::recursive_mutex m_pollMutex;
    int m_seen = 0;
    qint64 m_sent = 0;
};
