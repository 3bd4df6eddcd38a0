#include "ChromameterDetector.h"

#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DriverWorkers.h"
#include "LuminanceMeter.h"
#include "PhotoResearch.h"
#include "PortCatalogue.h"
#include "PortFilter.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QMetaType>
#include <QThread>

CChromameterDetector* CChromameterDetector::m_pInstance = nullptr;
CChromameterDetector::CClear CChromameterDetector::m_clear;

CChromameterDetector::CClear::~CClear() {
    delete m_pInstance;
    m_pInstance = nullptr;
}

CChromameterDetector* CChromameterDetector::GetInstance() {
    if (!m_pInstance)
        m_pInstance = new CChromameterDetector();
    return m_pInstance;
}

CChromameterDetector::CChromameterDetector() : QObject(nullptr), m_nInstrumentType(-1), m_pMinolta(nullptr) {
    qRegisterMetaType<DWORD>("DWORD");
    // Direct on the port's own thread, queued from any other. A queued write carries a copy of the
    // bytes: senders may release their buffer as soon as the signal returns.
    connect(
        this, &CChromameterDetector::doWrite, this,
        [this](const void* lpBuf, DWORD dwCount) -> DWORD {
            if (QThread::currentThread() == m_port.thread())
                return m_port.Write(lpBuf, dwCount);
            const QByteArray copy(static_cast<const char*>(lpBuf), int(dwCount));
            QMetaObject::invokeMethod(
                &m_port, [this, copy] { m_port.Write(copy.constData(), unsigned(copy.size())); },
                Qt::QueuedConnection);
            return 0;
        },
        Qt::DirectConnection);
}

namespace {

// Stops the drivers' workers and waits until they have ended, before a driver is deleted or detection
// touches the port. What a stopped worker queued for the port's thread (its command, a close of the
// port) is dropped with it: none of the old exchange may reach the next one.
void stopWorkers(SerialPortCross* port) {
    if (CDriverWorkers::StopAll() > 0 && QThread::currentThread() == port->thread())
        QCoreApplication::removePostedEvents(port, QEvent::MetaCall);
}

// Deletes the current driver once no worker runs it any more.
void dropDriver(IMinolta** driver, SerialPortCross* port) {
    stopWorkers(port);
    delete *driver;
    *driver = nullptr;
}

} // namespace

CChromameterDetector::~CChromameterDetector() {
    stopWorkers(&m_port);
    if (m_port.IsOpen())
        m_port.Close();
    if (m_pMinolta)
        dropDriver(&m_pMinolta, &m_port);
}

unsigned int CChromameterDetector::Write(const void* lpBuf, unsigned int dwCount) {
    // The sender never learns of a short or failed write: it looks for failure in the reply.
    emit doWrite(lpBuf, dwCount);
    return dwCount;
}

bool CChromameterDetector::DetectByNumber(int* port) {
    if (!port)
        return false;
    *port = FindProlificComNumber();
    return *port > 0;
}

int CChromameterDetector::FindProlificComNumber() {
    // A measurement still running on the current driver ends before its driver and port are reused.
    stopWorkers(&m_port);
    int result = -1;
    const QList<QPair<QString, QString>> ports = PortCatalogueEntries();
    for (const auto& entry : ports) {
        if (ClassifyPort(entry.first, entry.second) != PortVerdict::Candidate)
            continue;
        if (TryConnect(CandidatePortPath(entry.first))) {
            result = 1;
            break;
        }
    }
    return result;
}

namespace {
IMinolta* createDriver(int type) {
    switch (type) {
    case 0:
        return new CChromameterMinolta();
    case 1:
        return new CChromameterMinoltaCas40();
    case 2:
        return new CLuminanceMeter();
    case 3:
        return new CPhotoResearch();
    default:
        return new CChromameterWuHanJingCe();
    }
}
} // namespace

bool CChromameterDetector::TryConnect(QString portName) {
    stopWorkers(&m_port);
    m_nInstrumentType = -1;
    if (m_port.IsOpen())
        m_port.Close();
    if (!m_port.Open(portName, QSerialPort::Baud9600, QSerialPort::NoParity, QSerialPort::Data8,
                     QSerialPort::OneStop, QSerialPort::NoFlowControl))
        return false;
    for (int type = 0; type <= 3; ++type) {
        // A watcher told of a trial's connection may already have started a measurement on it.
        if (m_pMinolta)
            dropDriver(&m_pMinolta, &m_port);
        m_pMinolta = createDriver(type);
        if (m_pMinolta->Connect() == 0) {
            m_nInstrumentType = type;
            return true;
        }
    }
    // The Jingce colorimeter only talks at 115200 baud, so it is tried last on a reopened port.
    if (m_port.IsOpen())
        m_port.Close();
    if (!m_port.Open(portName, QSerialPort::Baud115200, QSerialPort::NoParity, QSerialPort::Data8,
                     QSerialPort::OneStop, QSerialPort::NoFlowControl))
        return false;
    dropDriver(&m_pMinolta, &m_port);
    m_pMinolta = createDriver(4);
    if (m_pMinolta->Connect() == 0) {
        m_nInstrumentType = 4;
        return true;
    }
    m_port.Close();
    return false;
}

void CChromameterDetector::ReleaseMinolta() {
    if (m_pMinolta)
        dropDriver(&m_pMinolta, &m_port);
}

void CChromameterDetector::ReleaseBuf(char** buf) {
    if (buf && *buf) {
        delete[] * buf;
        *buf = nullptr;
    }
}
