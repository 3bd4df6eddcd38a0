#include "DetectorPort.h"

#include "ChromameterDetector.h"

#include <QSerialPort>

SerialPortCross& detectorPort() {
    return CChromameterDetector::GetInstance()->m_port;
}

CInstrumentLine& detectorLine() {
    return CChromameterDetector::GetInstance()->m_line;
}

bool openDetectorPort(const QString& path, int baud) {
    return detectorPort().Open(path, QSerialPort::BaudRate(baud), QSerialPort::NoParity, QSerialPort::Data8,
                               QSerialPort::OneStop, QSerialPort::NoFlowControl);
}
