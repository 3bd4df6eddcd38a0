#include "JingceModel.h"

#include <QRegularExpression>

namespace {
const QByteArray kOk("OK00\r\n");
const QByteArray kZeroPrefix("ZRC,1,");

QByteArray value(double v, int decimals) {
    return QByteArray::number(v, 'f', decimals);
}
} // namespace

JingceModel::JingceModel() {
    // The real instrument runs at 115200 baud; at 9600 it hears only noise and stays silent.
    setRequiredBaud(115200);
}

JingceModel::~JingceModel() {
    stop();
}

void JingceModel::queueMeasureReply(const QByteArray& line) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    m_queuedReplies.append(line + "\r\n");
}

QByteArray JingceModel::lastZeroCalibrationDate() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_lastZeroDate;
}

int JingceModel::plainZeroCalibrationCount() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_plainZeroCount;
}

void JingceModel::setZeroCalibrationDelayMs(int ms) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    m_zeroDelayMs = ms < 0 ? 0 : ms;
}

int JingceModel::displayMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_displayMode;
}

QByteArray JingceModel::measurementLine(int mode) const {
    const SimReading r = reading();
    if (mode == 1)
        return "OK00,P1,0,0," + value(r.Tcp, 0) + ",0.0032," + value(r.Lv, 4) + ",0\r\n";
    // Chromaticity travels scaled by 10000.
    return "OK00 " + value(r.x * 10000.0, 0) + ";" + value(r.y * 10000.0, 0) + ";" + value(r.Lv, 4) + "\r\n";
}

QByteArray JingceModel::terminators() const {
    return QByteArray("\r");
}

void JingceModel::onCommand(const QByteArray& command) {
    // A line feed left over from a CR LF sender belongs to no command.
    const QByteArray line = command.left(command.size() - 1).trimmed();
    if (line == "COM,1" || line == "COM,0") {
        answer(kOk);
    } else if (line.startsWith(kZeroPrefix)) {
        const QByteArray date = line.mid(kZeroPrefix.size());
        static const QRegularExpression stamp(QStringLiteral("^\\d{4},\\d{2},\\d{2},\\d{2},\\d{2},\\d{2}$"));
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_lastZeroDate = date;
        }
        answer(stamp.match(QString::fromLatin1(date)).hasMatch() ? kOk : QByteArray("ER02\r\n"));
    } else if (line == "ZRC") {
        int delay;
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            ++m_plainZeroCount;
            delay = m_zeroDelayMs;
        }
        answer(kOk, delay);
    } else if (line == "MDS,0" || line == "MDS,1") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_displayMode = line == "MDS,1" ? 1 : 0;
        }
        answer(kOk);
    } else if (line == "MES") {
        QByteArray reply;
        int mode;
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            if (!m_queuedReplies.isEmpty())
                reply = m_queuedReplies.takeFirst();
            mode = m_displayMode;
        }
        if (reply.isEmpty())
            reply = measurementLine(mode);
        answerMeasurement(reply, measureDelayMs());
    }
    // Anything else is not this instrument's command: it keeps quiet.
}
