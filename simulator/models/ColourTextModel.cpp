#include "ColourTextModel.h"

#include <QRegularExpression>

namespace {
const QByteArray kOk("OK00\r\n");
const QByteArray kZeroPrefix("ZRC,1,");
} // namespace

ColourTextModel::ColourTextModel(const ColourTextDialect& dialect) : m_dialect(dialect) {}

ColourTextModel::~ColourTextModel() {
    stop();
}

void ColourTextModel::queueMeasureReply(const QByteArray& line) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    m_queuedReplies.append(line + "\r\n");
}

QByteArray ColourTextModel::lastZeroCalibrationDate() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_lastZeroDate;
}

int ColourTextModel::zeroCalibrationCount() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_zeroCount;
}

int ColourTextModel::displayMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_displayMode;
}

bool ColourTextModel::inRemoteMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_remote;
}

QByteArray ColourTextModel::terminators() const {
    return QByteArray(1, m_dialect.terminator);
}

void ColourTextModel::onOtherCommand(const QByteArray&) {}

void ColourTextModel::answerOk(int delayMs) {
    answer(kOk, delayMs);
}

QByteArray ColourTextModel::fixed(double value, int decimals) {
    return QByteArray::number(value, 'f', decimals);
}

void ColourTextModel::onCommand(const QByteArray& command) {
    QByteArray line = command.left(command.size() - 1);
    if (m_dialect.ignoreSurroundingBlanks)
        line = line.trimmed();
    if (line == "COM,1" || line == "COM,0") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_remote = line == "COM,1";
        }
        answerOk();
    } else if (line.startsWith(kZeroPrefix)) {
        const QByteArray date = line.mid(kZeroPrefix.size());
        static const QRegularExpression stamp(QStringLiteral("^\\d{4},\\d{2},\\d{2},\\d{2},\\d{2},\\d{2}$"));
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_lastZeroDate = date;
            ++m_zeroCount;
        }
        answer(stamp.match(QString::fromLatin1(date)).hasMatch() ? kOk : QByteArray("ER02\r\n"));
    } else if (line == "MDS,0" || line == "MDS,1") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_displayMode = line == "MDS,1" ? 1 : 0;
        }
        answerOk();
    } else if (line == m_dialect.measureCommand) {
        QByteArray reply;
        int mode;
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            if (!m_queuedReplies.isEmpty())
                reply = m_queuedReplies.takeFirst();
            mode = m_displayMode;
        }
        if (reply.isEmpty()) {
            takeMeasurement();
            reply = measurementLine(mode);
        }
        answerMeasurement(reply, measureDelayMs());
    } else {
        onOtherCommand(line);
    }
}
