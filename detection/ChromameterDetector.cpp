#include "ChromameterDetector.h"

#include "DetectionHint.h"
#include "DriverWorkers.h"
#include "FamilyDriverFactory.h"
#include "HostCallGuard.h"
#include "InstrumentFamilies.h"
#include "PortCatalogue.h"
#include "PortFilter.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDebug>
#include <QMetaType>
#include <QStringList>
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

CChromameterDetector::CChromameterDetector()
    : QObject(nullptr), m_nInstrumentType(-1), m_pMinolta(nullptr),
      m_line(m_port, [this](const void* lpBuf, unsigned int dwCount) { return Write(lpBuf, dwCount); }) {
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

namespace {
bool tryFamilies(CChromameterDetector& detector, const QString& portName, const QVector<int>& order);
} // namespace

int CChromameterDetector::FindProlificComNumber() {
    // A measurement still running on the current driver ends before its driver and port are reused.
    stopWorkers(&m_port);
    // One look at the host's hint for the whole scan: a hint set meanwhile applies from the next one.
    const DetectionHint hint = DetectionHintSnapshot();
    const QVector<int> order = HintedTrialOrder(hint);
    if (hint.only) {
        QStringList names;
        for (int type : order)
            names << QLatin1String(InstrumentFamilyOf(type)->name);
        qDebug().noquote()
            << QStringLiteral("detection hint: only %1 tried").arg(names.join(QStringLiteral(", ")));
    }
    bool hintedPortListed = false;
    const QList<QPair<QString, QString>> ports =
        PortsHintedFirst(PortCatalogueEntries(), hint.port, &hintedPortListed);
    if (!hint.port.isEmpty() && !hintedPortListed)
        qDebug().noquote()
            << QStringLiteral("detection hint: port %1 is not in the list, ignored").arg(hint.port);
    int result = -1;
    for (const auto& entry : ports) {
        if (ClassifyPort(entry.first, entry.second) != PortVerdict::Candidate)
            continue;
        if (tryFamilies(*this, CandidatePortPath(entry.first), order)) {
            result = 1;
            break;
        }
    }
    return result;
}

namespace {
// Opens the port for a trial: the line speed given, 8 data bits, no parity, one stop bit, no flow
// control.
bool openAt(SerialPortCross& port, const QString& portName, int baud) {
    return port.Open(portName, static_cast<QSerialPort::BaudRate>(baud), QSerialPort::NoParity,
                     QSerialPort::Data8, QSerialPort::OneStop, QSerialPort::NoFlowControl);
}
} // namespace

namespace {
// The families' trials on one port, in `order`. The port stays open across trials at one line speed
// and is reopened only where the next family talks at another (in the plain order only the Jingce
// colorimeter, at 115200 baud, which comes last).
bool tryFamilies(CChromameterDetector& detector, const QString& portName, const QVector<int>& order) {
    SerialPortCross& port = detector.m_port;
    stopWorkers(&port);
    detector.m_nInstrumentType = -1;
    if (port.IsOpen())
        port.Close();
    int openBaud = 0;
    for (int type : order) {
        const InstrumentFamily& family = *InstrumentFamilyOf(type);
        if (family.baud != openBaud) {
            if (port.IsOpen())
                port.Close();
            // A failed reopen keeps the driver that failed last.
            if (!openAt(port, portName, family.baud))
                return false;
            openBaud = family.baud;
            // Nothing the previous conversation left unread (a reply still crossing when its read gave
            // up, on this port or another) may pass for an answer to the trials.
            port.DiscardInput();
        }
        // A watcher told of a trial's connection may already have started a measurement on it.
        if (detector.m_pMinolta)
            dropDriver(&detector.m_pMinolta, &port);
        qDebug().noquote() << QStringLiteral("detection tries %1 (type %2) at %3 baud on %4")
                                  .arg(QLatin1String(family.name))
                                  .arg(family.type)
                                  .arg(family.baud)
                                  .arg(portName);
        detector.m_pMinolta = CreateFamilyDriver(family.type, detector.m_line);
        if (detector.m_pMinolta && detector.m_pMinolta->Connect() == 0) {
            detector.m_nInstrumentType = family.type;
            return true;
        }
    }
    port.Close();
    return false;
}
} // namespace

bool CChromameterDetector::TryConnect(QString portName) {
    return tryFamilies(*this, portName, HintedTrialOrder(DetectionHintSnapshot()));
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
