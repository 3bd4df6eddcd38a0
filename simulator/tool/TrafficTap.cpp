#include "TrafficTap.h"

#include "SimInstrument.h"

namespace {
// The record is taken whole at each poll, so it is emptied now and then to keep polls cheap in a
// long session. A chunk that lands between taking and emptying is missed by the log, never by the
// instrument.
const int kRecordLimit = 256;
} // namespace

TrafficTap::TrafficTap(SimInstrument* instrument, QObject* parent)
    : QObject(parent), m_instrument(instrument) {
    connect(&m_timer, &QTimer::timeout, this, &TrafficTap::poll);
}

void TrafficTap::start(int intervalMs) {
    m_timer.start(intervalMs);
}

void TrafficTap::stop() {
    m_timer.stop();
}

void TrafficTap::poll() {
    if (!m_instrument)
        return;
    // Recursive: a receiver may log, and logging may ask for a poll first.
    std::lock_guard<std::recursive_mutex> lock(m_pollMutex);
    const QList<ReceivedChunk> record = m_instrument->record();
    if (record.size() < m_seen)
        m_seen = 0;
    for (int i = m_seen; i < record.size(); ++i)
        emit received(record[i].atMs, record[i].baud, record[i].bytes);
    m_seen = record.size();
    if (m_seen > kRecordLimit) {
        m_instrument->clearRecord();
        m_seen = 0;
    }
    const qint64 sent = m_instrument->bytesSent();
    if (sent > m_sent) {
        const qint64 added = sent - m_sent;
        m_sent = sent;
        emit this->sent(added, sent);
    }
}

QString TrafficTap::Escape(const QByteArray& bytes, int limit) {
    QString text;
    const int shown = limit >= 0 && bytes.size() > limit ? limit : bytes.size();
    for (int i = 0; i < shown; ++i) {
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (c == '\r')
            text += QLatin1String("\\r");
        else if (c == '\n')
            text += QLatin1String("\\n");
        else if (c == '\t')
            text += QLatin1String("\\t");
        else if (c == '\\')
            text += QLatin1String("\\\\");
        else if (c >= 0x20 && c < 0x7F)
            text += QLatin1Char(char(c));
        else
            text += QStringLiteral("\\x%1").arg(uint(c), 2, 16, QLatin1Char('0'));
    }
    if (shown < bytes.size())
        text += QStringLiteral("... (%1 bytes)").arg(bytes.size());
    return text;
}
