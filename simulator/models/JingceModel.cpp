#include "JingceModel.h"

// Blanks around a command are ignored: a line feed left over from a CR LF sender belongs to no command.
JingceModel::JingceModel() : ColourTextModel(ColourTextDialect{'\r', "MES", true}) {
    // The real instrument runs at 115200 baud; at 9600 it hears only noise and stays silent.
    setRequiredBaud(115200);
}

JingceModel::~JingceModel() {
    stop();
}

int JingceModel::plainZeroCalibrationCount() const {
    std::lock_guard<std::mutex> lock(m_zeroMutex);
    return m_plainZeroCount;
}

void JingceModel::setZeroCalibrationDelayMs(int ms) {
    std::lock_guard<std::mutex> lock(m_zeroMutex);
    m_zeroDelayMs = ms < 0 ? 0 : ms;
}

QByteArray JingceModel::measurementLine(int mode) const {
    const SimReading r = measuredReading();
    if (mode == 1)
        return "OK00,P1,0,0," + fixed(r.Tcp, 0) + ",0.0032," + fixed(r.Lv, 4) + ",0\r\n";
    // Chromaticity travels scaled by 10000.
    return "OK00 " + fixed(r.x * 10000.0, 0) + ";" + fixed(r.y * 10000.0, 0) + ";" + fixed(r.Lv, 4) + "\r\n";
}

void JingceModel::onOtherCommand(const QByteArray& line) {
    if (line != "ZRC")
        return;
    int delay;
    {
        std::lock_guard<std::mutex> lock(m_zeroMutex);
        ++m_plainZeroCount;
        delay = m_zeroDelayMs;
    }
    answerOk(delay);
}
