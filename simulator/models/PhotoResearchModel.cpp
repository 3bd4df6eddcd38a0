#include "PhotoResearchModel.h"

#include <QString>

namespace {
const QByteArray kEnterRemote("PHOTO");
const QByteArray kGreeting(" REMOTE MODE\r\n");
// A line longer than this is no command of ours: keep only a tail that might still begin "PHOTO".
const int kMaxPending = 256;
} // namespace

PhotoResearchModel::PhotoResearchModel() {
    // The instrument's port runs at 9600 baud; at other speeds it hears only noise.
    setRequiredBaud(9600);
}

PhotoResearchModel::~PhotoResearchModel() {
    stop();
}

QByteArray PhotoResearchModel::reportLine() const {
    const SimReading r = measuredReading();
    // Status, units code, luminance, x, y.
    return QByteArray("00000,111,") + QByteArray::number(r.Lv, 'e', 4) + ',' +
           QByteArray::number(r.x, 'f', 4) + ',' + QByteArray::number(r.y, 'f', 4) + "\r\n";
}

bool PhotoResearchModel::inRemoteMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_remoteFlag;
}

QByteArray PhotoResearchModel::terminators() const {
    // "PHOTO" and "Q" have no terminator: take the bytes as they come and frame them here.
    return QByteArray();
}

void PhotoResearchModel::onCommand(const QByteArray& bytes) {
    for (char c : bytes)
        takeByte(c);
}

void PhotoResearchModel::takeByte(char c) {
    m_pending.append(c);

    // "PHOTO" is heard in any mode and after any noise; sent again in remote mode it greets again.
    if (m_pending.endsWith(kEnterRemote)) {
        m_pending.clear();
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_remoteFlag = true;
        }
        answer(kGreeting);
        return;
    }

    if (!inRemoteMode()) {
        // Out of remote mode nothing but "PHOTO" means anything.
        if (m_pending.size() > kEnterRemote.size())
            m_pending = m_pending.right(kEnterRemote.size() - 1);
        return;
    }

    if (c == '\n' || c == '\r') {
        const QByteArray line = m_pending.trimmed();
        m_pending.clear();
        if (!line.isEmpty())
            onLine(line);
        return;
    }

    // "Q" standing alone at the start of a command leaves remote mode at once.
    if (m_pending == "Q") {
        m_pending.clear();
        std::lock_guard<std::mutex> lock(m_stateMutex);
        m_remoteFlag = false;
        return;
    }

    if (m_pending.size() > kMaxPending)
        m_pending = m_pending.right(kEnterRemote.size() - 1);
}

void PhotoResearchModel::onLine(const QByteArray& line) {
    if (line == "M1") {
        takeMeasurement();
        answerMeasurement(reportLine(), measureDelayMs());
    } else if (line == "D1")
        answer(reportLine());
    // Other lines are someone else's commands; the instrument keeps quiet.
}
