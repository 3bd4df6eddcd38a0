#pragma once

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QSerialPort>
#include <QString>

// The library's one serial port: opened by the detector, written through the detector's doWrite
// signal, read by the command channel.
class SerialPortCross : public QObject {
    Q_OBJECT

public:
    SerialPortCross();
    ~SerialPortCross() override;

    bool Open(QString portName, QSerialPort::BaudRate baudRate, QSerialPort::Parity parity,
              QSerialPort::DataBits dataBits, QSerialPort::StopBits stopBits,
              QSerialPort::FlowControl flowControl);
    void Close();
    bool IsOpen();
    bool IsPortConnect();
    unsigned int Read(void* lpBuf, unsigned int dwCount);
    // As Read, but never writes more than `capacity` bytes to lpBuf: the rest of the chunk is
    // dropped and logged. The command channel reads through this into its fixed-size buffer.
    unsigned int Read(void* lpBuf, unsigned int dwCount, unsigned int capacity);
    unsigned int Write(const void* lpBuf, unsigned int dwCount);

    void onReceivedata();
    void onError(QSerialPort::SerialPortError error);

private:
    QSerialPort* m_pSerialPort;
    QMutex m_mutex;
    QString m_strPortName;
    bool m_bReadyRead;
    QByteArray m_baRecvData;

    // The receive buffer and its flag are handed between the port's thread and a reading thread
    // under this short lock; m_mutex is held across an event loop and cannot serve here.
    QMutex m_recvMutex;
    // Set when the device vanished (resource error) and kept until the next successful Open, so a
    // pulled adapter reads as lost instead of looking connected for ever.
    bool m_bDeviceLost;
    // The last error logged while the loss stands, so a flood of the same error is logged once.
    QSerialPort::SerialPortError m_lastLostError;
};
