#include "AnalyserModel.h"

#include <QRegularExpression>

namespace {
const QByteArray kOk("OK00\r\n");
const QByteArray kZeroPrefix("ZRC,1,");
// Chromaticity deviations and Duv the instrument reports beside the main values.
const char kSideValues[] = "-0.0012,0.0008";

QByteArray value(double v, int decimals) {
    return QByteArray::number(v, 'f', decimals);
}
} // namespace

AnalyserModel::AnalyserModel() {
    setRequiredBaud(9600);
}

AnalyserModel::~AnalyserModel() {
    stop();
}

void AnalyserModel::queueMeasureReply(const QByteArray& line) {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    m_queuedReplies.append(line + "\r\n");
}

QByteArray AnalyserModel::lastZeroCalibrationDate() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_lastZeroDate;
}

int AnalyserModel::zeroCalibrationCount() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_zeroCount;
}

int AnalyserModel::displayMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_displayMode;
}

bool AnalyserModel::inRemoteMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_remote;
}

QByteArray AnalyserModel::measurementLine(int mode) const {
    const SimReading r = reading();
    if (mode == 1)
        return "OK00,P1,0," + value(r.Tcp, 0) + ",0.0032," + value(r.Lv, 4) + "," + kSideValues + "\r\n";
    return "OK00,P1,0," + value(r.x, 4) + "," + value(r.y, 4) + "," + value(r.Lv, 4) + "," + kSideValues +
           "\r\n";
}

QByteArray AnalyserModel::terminators() const {
    return QByteArray("\n");
}

void AnalyserModel::onCommand(const QByteArray& command) {
    const QByteArray line = command.left(command.size() - 1);
    if (line == "COM,1" || line == "COM,0") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_remote = line == "COM,1";
        }
        answer(kOk);
    } else if (line.startsWith(kZeroPrefix)) {
        const QByteArray date = line.mid(kZeroPrefix.size());
        static const QRegularExpression stamp(QStringLiteral("^\\d{4},\\d{2},\\d{2},\\d{2},\\d{2},\\d{2}$"));
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_lastZeroDate = date;
            ++m_zeroCount;
        }
        // A date the instrument cannot read is a parameter error.
        answer(stamp.match(QString::fromLatin1(date)).hasMatch() ? kOk : QByteArray("ER02\r\n"));
    } else if (line == "MDS,0" || line == "MDS,1") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_displayMode = line == "MDS,1" ? 1 : 0;
        }
        answer(kOk);
    } else if (line == "MES,1") {
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
