#pragma once

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QSerialPort>
#include <QString>
#include <QTimer>

#include <atomic>

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
    // Drops whatever was received and not yet read (the receive buffer, its flag and the port's pending
    // input): bytes left over from an earlier conversation, perhaps on another device or at another
    // line speed, are no reply to the next one. On the port's thread.
    void DiscardInput();
    bool IsOpen();
    bool IsPortConnect();
    // Hands out everything received since the last read: the pieces of one reply, joined in order.
    unsigned int Read(void* lpBuf, unsigned int dwCount);
    // As Read, but never writes more than `capacity` bytes to lpBuf: the rest of what was received is
    // dropped and logged. *chunkSize (if given) receives the size of what was taken, dropped bytes
    // included, so a caller whose buffer is full can still tell that bytes keep arriving. The
    // command channel reads through this into its fixed-size buffer.
    unsigned int Read(void* lpBuf, unsigned int dwCount, unsigned int capacity,
                      unsigned int* chunkSize = nullptr);
    unsigned int Write(const void* lpBuf, unsigned int dwCount);

    void onReceivedata();
    void onError(QSerialPort::SerialPortError error);

private:
    // The pause timer ran out: a pause counts only if no input is waiting, in Qt's buffer or the
    // system's. A thread that comes round late finds the late bytes waiting, and no pause is credited.
    void onPauseObserved();
    // Whether bytes from the device wait to be read (Qt's buffer or the system's).
    bool inputPending();
    void stopPauseTimer();

    QSerialPort* m_pSerialPort;
    QMutex m_mutex;
    QString m_strPortName;
    bool m_bReadyRead;
    QByteArray m_baRecvData;

    // The receive buffer and its flag are handed between the port's thread and a reading thread
    // under this short lock; m_mutex is held across an event loop and cannot serve here.
    QMutex m_recvMutex;
    // Whether the line has been seen quiet since the last piece: the next piece then starts a new
    // reply (and replaces what is unread); otherwise it is the next piece of the same reply and is
    // appended. Set by a pause the port's thread observed (onPauseObserved), by Open and DiscardInput.
    bool m_bReplyEnded;
    // Whether what the receive buffer holds came before the last observed pause: the next stored
    // piece replaces it. Stays set when a reply's first piece is dropped (it began with NUL), so the
    // rest of that reply does not join what was left unread of the one before.
    bool m_bBufferStale;
    // Restarted by every piece, accepted or dropped; when it runs out the line may have gone quiet.
    QTimer* m_pPauseTimer;
    // Set when the device vanished and kept until the next successful Open, so a pulled adapter
    // reads as lost instead of looking connected for ever.
    bool m_bDeviceLost;
    // The device path of the last successful Open: a port error while it no longer exists means the
    // adapter was pulled, whatever error Qt names (a hung-up line reads as end of file, which Qt
    // reports as a read error, not a resource error).
    QString m_strDevicePath;
    // One bit per error already logged while the loss stands, so a flood of repeats (interleaved
    // as they may be) logs each kind of error once.
    quint32 m_lostErrorsLogged;
    // Successful opens so far, so a close handed over from a worker thread can tell whether the
    // port it meant is still the open one.
    quint64 m_openCount;
    // The thread inside Read, holding m_mutex, while it waits. A write queued from a worker runs on
    // the port's thread, also inside that thread's own Read (its wait slices run the event loop);
    // there it must not take m_mutex again, which would hang the thread for good.
    std::atomic<Qt::HANDLE> m_readingThread;
};
