#include "SerialPortCross.h"

#include "PortReadSlices.h"
#include "ReplyText.h"

#include <QDebug>
#include <QEventLoop>
#include <QFileInfo>
#include <QMetaEnum>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>

#include <climits>
#include <cstring>
#include <poll.h>

namespace {

// A piece that follows the previous one (accepted or dropped) within this silence is the next piece
// of the same reply; a piece after a longer silence starts a new one and replaces whatever was left
// unread. A USB-serial adapter hands a reply over in pieces: byte-wise chips a byte or two at a time
// (about 1 ms apart at 9600 baud, 8 ms at 1200), FTDI-style chips in packets on a free-running
// latency timer, so up to 16 ms apart. An instrument, on the other hand, answers only after the
// command has crossed the line and it has worked on it, and late input from an earlier exchange lies
// idle until the next command's reply comes. 50 ms is three latency periods, room for USB frame
// jitter, and still below the 80 ms of silence after which a read ends empty and the command channel
// takes a reply as complete.
// The silence is one the port's thread saw: a timer of this length, restarted by every piece, that
// runs out with nothing waiting to be read. A thread that did not run its event loop for a while
// (a driver sleeping between reads on it, a busy host) finds the reply's later pieces waiting when it
// comes round, sees no silence, and joins them: when bytes are processed never splits a reply.
const int kReplyPauseMs = 50;
static_assert(kReplyPauseMs < kPortEmptyReadMs, "a pause inside a reply must not end a read");

// The most the receive buffer keeps between two reads: a whole reply buffer of the command channel
// and as much again. A device that streams without pause while nobody reads cannot grow it further;
// what comes beyond it is dropped and logged.
const int kReceiveBufferLimit = 2 * CHROMAMETER_REPLY_SIZE;

// The text of a chunk as the diagnostics show it.
QString chunkText(const QByteArray& chunk) {
    return QString::fromLatin1(ReplyText(chunk));
}
} // namespace

SerialPortCross::SerialPortCross()
    : QObject(nullptr), m_pSerialPort(nullptr), m_bReadyRead(false), m_bReplyEnded(true),
      m_bBufferStale(true), m_pPauseTimer(nullptr), m_bDeviceLost(false), m_lostErrorsLogged(0),
      m_openCount(0), m_readingThread(nullptr) {
    m_pSerialPort = new QSerialPort(nullptr);
    // A child: it lives on the port's thread and goes with this object.
    m_pPauseTimer = new QTimer(this);
    m_pPauseTimer->setSingleShot(true);
    m_pPauseTimer->setInterval(kReplyPauseMs);
    connect(m_pPauseTimer, &QTimer::timeout, this, &SerialPortCross::onPauseObserved);
}

SerialPortCross::~SerialPortCross() {
    if (m_pSerialPort->isOpen()) {
        m_pSerialPort->clear(QSerialPort::AllDirections);
        m_pSerialPort->close();
    }
    if (m_pSerialPort) {
        // Deleted here on its own thread, with the notifiers that close() left for deferred deletion
        // (its children): at unload a deferred deletion would run after Qt SerialPort's code is gone.
        // Only from another thread is it handed to its own.
        if (QThread::currentThread() == m_pSerialPort->thread())
            delete m_pSerialPort;
        else
            m_pSerialPort->deleteLater();
        m_pSerialPort = nullptr;
    }
}

bool SerialPortCross::Open(QString portName, QSerialPort::BaudRate baudRate, QSerialPort::Parity parity,
                           QSerialPort::DataBits dataBits, QSerialPort::StopBits stopBits,
                           QSerialPort::FlowControl flowControl) {
    if (m_pSerialPort->isOpen()) {
        m_pSerialPort->clear(QSerialPort::AllDirections);
        m_pSerialPort->close();
    }
    m_pSerialPort->setPortName(portName);
    if (!m_pSerialPort->open(QIODevice::ReadWrite)) {
        qDebug() << "打开失败!";
        return false;
    }
    qDebug() << "串口打开成功!";
    {
        QMutexLocker lock(&m_recvMutex);
        m_bDeviceLost = false;
        m_lostErrorsLogged = 0;
        m_strDevicePath = portName;
        ++m_openCount;
        // Whatever comes first on the fresh port starts a reply.
        m_bReplyEnded = true;
        m_bBufferStale = true;
    }
    stopPauseTimer();
    m_pSerialPort->setBaudRate(baudRate, QSerialPort::AllDirections);
    m_pSerialPort->setDataBits(dataBits);
    m_pSerialPort->setFlowControl(flowControl);
    m_pSerialPort->setParity(parity);
    m_pSerialPort->setStopBits(stopBits);
    // Connected afresh on every open and never broken: the extra deliveries are harmless.
    connect(m_pSerialPort, &QIODevice::readyRead, this, &SerialPortCross::onReceivedata);
    connect(m_pSerialPort, &QSerialPort::errorOccurred, this, &SerialPortCross::onError);
    return true;
}

void SerialPortCross::Close() {
    // The port belongs to its owner thread; a worker that finds the adapter gone hands the close
    // over instead of touching the port's notifiers from the wrong thread.
    // A close handed over is dropped if the port was opened again meanwhile: it was meant for the
    // port that was lost, not for the one detection has just opened.
    if (QThread::currentThread() != thread()) {
        quint64 openCount;
        {
            QMutexLocker lock(&m_recvMutex);
            openCount = m_openCount;
        }
        QMetaObject::invokeMethod(
            this,
            [this, openCount] {
                bool current;
                {
                    QMutexLocker lock(&m_recvMutex);
                    current = m_openCount == openCount;
                }
                if (current)
                    Close();
            },
            Qt::QueuedConnection);
        return;
    }
    if (m_pSerialPort->isOpen()) {
        m_pSerialPort->clear(QSerialPort::AllDirections);
        m_pSerialPort->close();
    }
}

void SerialPortCross::DiscardInput() {
    if (m_pSerialPort->isOpen())
        m_pSerialPort->clear(QSerialPort::Input);
    stopPauseTimer();
    QMutexLocker lock(&m_recvMutex);
    m_baRecvData.clear();
    m_bReadyRead = false;
    m_bReplyEnded = true;
    m_bBufferStale = true;
}

bool SerialPortCross::IsOpen() {
    return m_pSerialPort->isOpen();
}

bool SerialPortCross::IsPortConnect() {
    {
        QMutexLocker lock(&m_recvMutex);
        if (m_bDeviceLost)
            return false;
    }
    if (m_pSerialPort->isOpen())
        return true;
    return m_pSerialPort->error() != QSerialPort::DeviceNotFoundError;
}

unsigned int SerialPortCross::Read(void* lpBuf, unsigned int dwCount) {
    return Read(lpBuf, dwCount, UINT_MAX);
}

unsigned int SerialPortCross::Read(void* lpBuf, unsigned int, unsigned int capacity,
                                   unsigned int* chunkSize) {
    QMutexLocker lock(&m_mutex);
    if (chunkSize)
        *chunkSize = 0;
    if (!m_pSerialPort->isOpen()) {
        qDebug() << "no isOpen";
        return 0;
    }
    // Coarse waiting by design: the flag is looked at only between slices.
    m_readingThread.store(QThread::currentThreadId());
    for (int slice = 0; slice < kPortSlices; ++slice) {
        QEventLoop loop;
        QTimer::singleShot(kPortSliceMs, &loop, SLOT(quit()));
        loop.exec();
        QMutexLocker recvLock(&m_recvMutex);
        if (m_bReadyRead)
            break;
    }
    m_readingThread.store(nullptr);
    QByteArray chunk;
    {
        QMutexLocker recvLock(&m_recvMutex);
        if (m_baRecvData.size() < 1)
            return 0;
        chunk = m_baRecvData;
        m_baRecvData.clear();
        m_bReadyRead = false;
    }
    qDebug().noquote().nospace() << "接收" << chunkText(chunk);
    unsigned int n = unsigned(chunk.size());
    if (chunkSize)
        *chunkSize = n;
    if (n > capacity) {
        qDebug().nospace() << "reply too long: " << n << " bytes received, " << (n - capacity) << " dropped";
        n = capacity;
    }
    if (n > 0)
        std::memcpy(lpBuf, chunk.constData(), n);
    return n;
}

unsigned int SerialPortCross::Write(const void* lpBuf, unsigned int dwCount) {
    // Run from the wait slices of this thread's own Read, the lock is already this thread's: the read
    // only waits meanwhile, so the write goes ahead under it instead of locking a second time.
    const bool insideOwnRead = m_readingThread.load() == QThread::currentThreadId();
    QMutexLocker lock(insideOwnRead ? nullptr : &m_mutex);
    if (!m_pSerialPort->isOpen())
        return 0;
    const QByteArray data(static_cast<const char*>(lpBuf), int(dwCount));
    const qint64 written = m_pSerialPort->write(data);
    if (!m_pSerialPort->waitForBytesWritten(100))
        qDebug() << "Timeout writing data";
    if (written < 0)
        qDebug() << "Error write serial port:" << m_pSerialPort->errorString();
    return static_cast<unsigned int>(written);
}

void SerialPortCross::onReceivedata() {
    for (;;) {
        if (!(m_pSerialPort->bytesAvailable() > 0))
            return;
        const QByteArray chunk = m_pSerialPort->readAll();
        const QString text = chunkText(chunk);
        // Every piece is activity on the line, a dropped one too: the silence starts again.
        m_pPauseTimer->start();
        int discarded = 0;
        {
            QMutexLocker lock(&m_recvMutex);
            const bool startsReply = m_bReplyEnded;
            m_bReplyEnded = false;
            // A chunk that starts with NUL counts as nothing received, for every instrument. A piece
            // that continues a reply is no such chunk: a binary frame crosses the line in pieces, and
            // one of them may well begin with a NUL byte of the frame. The reply whose first piece is
            // dropped goes on all the same: its later pieces are not reply starts.
            if (text.isEmpty() && startsReply) {
                lock.unlock();
                qDebug().noquote().nospace() << "NULL " << text;
                return;
            }
            // After a pause the chunk starts a new reply: what is left unread is stale.
            if (m_bBufferStale)
                m_baRecvData.clear();
            m_bBufferStale = false;
            const int room = kReceiveBufferLimit - m_baRecvData.size();
            discarded = chunk.size() > room ? chunk.size() - room : 0;
            m_baRecvData.append(chunk.constData(), chunk.size() - discarded);
            m_bReadyRead = true;
        }
        qDebug().noquote().nospace() << "ready " << text;
        if (discarded > 0)
            qDebug().nospace() << "receive buffer full, " << discarded << " bytes discarded";
    }
}

void SerialPortCross::stopPauseTimer() {
    // A timer is stopped on its own thread only; elsewhere the flags just set make its run harmless.
    if (QThread::currentThread() == thread())
        m_pPauseTimer->stop();
}

bool SerialPortCross::inputPending() {
    if (!m_pSerialPort->isOpen())
        return false;
    if (m_pSerialPort->bytesAvailable() > 0)
        return true;
    // Bytes the system holds and Qt has not been told of yet (its notifier runs only with the event
    // loop). A zero-timeout poll: waitForReadyRead(0) would report a time-out as a port error.
    const int fd = int(m_pSerialPort->handle());
    if (fd < 0)
        return false;
    pollfd pending = {fd, POLLIN, 0};
    return ::poll(&pending, 1, 0) > 0 && (pending.revents & POLLIN) != 0;
}

void SerialPortCross::onPauseObserved() {
    // Late bytes waiting: the thread was not looking, there was no silence. Their notification
    // restarts the timer; until it comes, look again later.
    if (inputPending()) {
        m_pPauseTimer->start();
        return;
    }
    QMutexLocker lock(&m_recvMutex);
    m_bReplyEnded = true;
    m_bBufferStale = true;
}

void SerialPortCross::onError(QSerialPort::SerialPortError error) {
    if (error == QSerialPort::NoError)
        return;
    bool alreadyLost;
    QString devicePath;
    {
        QMutexLocker lock(&m_recvMutex);
        alreadyLost = m_bDeviceLost;
        devicePath = m_strDevicePath;
    }
    // Any error while the device node is gone is the loss of the adapter. Looked at outside the
    // lock; once the loss stands the flood of repeats skips the look.
    const bool vanished = error != QSerialPort::ResourceError && !alreadyLost && !devicePath.isEmpty() &&
                          !QFileInfo::exists(devicePath);
    bool log = true;
    {
        QMutexLocker lock(&m_recvMutex);
        if (error == QSerialPort::ResourceError || vanished)
            m_bDeviceLost = true;
        if (m_bDeviceLost) {
            // While the device is gone Qt repeats its errors very fast: say each one once.
            const quint32 bit = 1u << (unsigned(error) & 31u);
            log = (m_lostErrorsLogged & bit) == 0;
            m_lostErrorsLogged |= bit;
        }
    }
    if (log) {
        if (error == QSerialPort::ResourceError)
            qDebug() << "Resource error occurred.";
        else
            qDebug().noquote() << " error occurred."
                               << QMetaEnum::fromType<QSerialPort::SerialPortError>().valueToKey(error);
    }
    m_pSerialPort->clearError();
}
