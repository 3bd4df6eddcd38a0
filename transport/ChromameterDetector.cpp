#include "ChromameterDetector.h"

#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DriverWorkers.h"
#include "HostCallGuard.h"
#include "InstrumentFamilies.h"
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

// Opens the port for a trial: the line speed given, 8 data bits, no parity, one stop bit, no flow
// control.
bool openAt(SerialPortCross& port, const QString& portName, int baud) {
    return port.Open(portName, static_cast<QSerialPort::BaudRate>(baud), QSerialPort::NoParity,
                     QSerialPort::Data8, QSerialPort::OneStop, QSerialPort::NoFlowControl);
}
} // namespace

bool CChromameterDetector::TryConnect(QString portName) {
    stopWorkers(&m_port);
    m_nInstrumentType = -1;
    if (m_port.IsOpen())
        m_port.Close();
    // The families are tried in type order on one open port; the port is reopened only where a
    // family talks at another line speed (the Jingce colorimeter, at 115200 baud, comes last).
    int openBaud = kInstrumentFamilies[0].baud;
    if (!openAt(m_port, portName, openBaud))
        return false;
    // Nothing the previous conversation left unread (a reply still crossing when its read gave up, on
    // this port or another) may pass for an answer to the trials.
    m_port.DiscardInput();
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        if (family.baud != openBaud) {
            if (m_port.IsOpen())
                m_port.Close();
            // A failed reopen keeps the driver that failed last.
            if (!openAt(m_port, portName, family.baud))
                return false;
            openBaud = family.baud;
            m_port.DiscardInput();
        }
        // A watcher told of a trial's connection may already have started a measurement on it.
        if (m_pMinolta)
            dropDriver(&m_pMinolta, &m_port);
        m_pMinolta = createDriver(family.type);
        if (m_pMinolta->Connect() == 0) {
            m_nInstrumentType = family.type;
            return true;
        }
    }
    m_port.Close();
    return false;
}

void CChromameterDetector::ReleaseMinolta() {
    // Asked from the host's timer inside a call that is using the driver, it would delete that driver
    // under the call: such a release waits for the host to ask again.
    if (HostCallGuard::active())
        return;
    if (m_pMinolta)
        dropDriver(&m_pMinolta, &m_port);
}

void CChromameterDetector::ReleaseBuf(char** buf) {
    if (buf && *buf) {
        delete[] * buf;
        *buf = nullptr;
    }
}
