#include "InstrumentSession.h"

#include "ChromameterMinoltaApi.h"
#include "HostWatcher.h"
#include "InstrumentModel.h"
#include "LastConnection.h"
#include "SimFamilies.h"
#include "SimReadingText.h"
#include "StatusConsole.h"
#include "TraceLog.h"
#include "TrafficTap.h"
#include "VirtualDisplay.h"
#include "drivers/InstrumentFamilies.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSerialPortInfo>
#include <QStringList>
#include <QTextStream>
#include <QVector>

namespace {
// The family detection recorded: the facade keeps its driver's type number in IMinolta's protected
// state, which a class derived from the interface may name.
struct DetectedType : IMinolta {
    static int of(IMinolta* minolta) { return minolta->*(&DetectedType::m_nType); }
};

PortListing listing(const QString& name, const QString& description) {
    PortListing port;
    port.name = name;
    port.description = description;
    // The library's own verdict, so this list can never disagree with what detection does.
    port.verdict = ClassifyPort(name, description);
    if (port.verdict == PortVerdict::Candidate)
        port.path = CandidatePortPath(name);
    return port;
}

// Points the library's detection at exactly this port.
void pointDetectionAt(const PortListing& port) {
    const QByteArray name = port.name.toUtf8();
    const QByteArray description = port.description.toUtf8();
    const char* names[1] = {name.constData()};
    const char* descriptions[1] = {description.constData()};
    ChromameterSetPortCatalogue(names, descriptions, 1);
}

int familyType(const QString& name) {
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        if (name == QLatin1String(family.name))
            return family.type;
    }
    return -1;
}
} // namespace

InstrumentSession::InstrumentSession(const SessionSettings& settings, StatusConsole& console, QObject* parent)
    : QObject(parent), m_settings(settings), m_console(console) {}

InstrumentSession::~InstrumentSession() {
    if (m_minolta && m_watcher)
        m_minolta->UnregisterWatcher(m_watcher);
    // The host owns the facade; deleting it leaves the driver and the port to the library.
    delete m_minolta;
    m_minolta = nullptr;
    if (m_tap) {
        TraceLog::SetBeforeLibraryLine(nullptr);
        m_tap->poll();
    }
    if (m_model)
        m_model->stop();
}

bool InstrumentSession::readCatalogue(QString* error) {
    QFile file(m_settings.catalogue);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error =
            QStringLiteral("cannot read the catalogue %1: %2").arg(m_settings.catalogue, file.errorString());
        return false;
    }
    QTextStream in(&file);
    in.setCodec("UTF-8");
    while (!in.atEnd()) {
        const QString line = in.readLine();
        if (line.trimmed().isEmpty() || line.trimmed().startsWith(QLatin1Char('#')))
            continue;
        const int tab = line.indexOf(QLatin1Char('\t'));
        const QString name = (tab < 0 ? line : line.left(tab)).trimmed();
        const QString description = tab < 0 ? QString() : line.mid(tab + 1).trimmed();
        m_ports.append(listing(name, description));
    }
    return true;
}

void InstrumentSession::restrictToPort() {
    const QString wanted = m_settings.port;
    for (const PortListing& port : m_ports) {
        if (port.name == wanted || (!port.path.isEmpty() && port.path == wanted)) {
            m_ports = {port};
            m_portSource = QStringLiteral("--port %1").arg(wanted);
            return;
        }
    }
    // A port the list does not show (a pseudo-terminal, a link) is taken as named.
    m_ports = {listing(wanted, QString())};
    m_portSource = QStringLiteral("--port %1").arg(wanted);
}

int InstrumentSession::prepare() {
    m_ports.clear();
    if (!m_settings.simulate.isEmpty()) {
        std::shared_ptr<VirtualDisplay> display;
        if (!m_settings.simDisplay.isEmpty()) {
            QString error;
            display = VirtualDisplay::FromText(m_settings.simDisplay, &error);
            if (!display) {
                m_console.line(QStringLiteral("chromameter: --sim-display: ") + error);
                return UsageError;
            }
        }
        m_model = CreateFamilyModel(m_settings.simulate, display);
        if (!m_model) {
            m_console.line(QStringLiteral("chromameter: ") + SimFamilyProblem(m_settings.simulate));
            return UsageError;
        }
        SimReading reading;
        if (!m_settings.simValues.isEmpty())
            ParseSimReading(m_settings.simValues, &reading);
        m_model->setReading(reading);
        SimFault fault = SimFault::None;
        if (!m_settings.simFault.isEmpty())
            parseSimFault(m_settings.simFault, &fault);
        m_model->setFault(fault);
        LineModel line = LineModel::realistic();
        if (!m_settings.simLine.isEmpty())
            LineModel::parse(m_settings.simLine, &line);
        m_model->setLine(line);
        if (!m_model->start()) {
            m_console.line(QStringLiteral("chromameter: the simulator could not create its pseudo-terminal"));
            return Failed;
        }
        if (m_settings.trace) {
            m_tap = new TrafficTap(m_model.get(), this);
            // Direct connections: a poll made from a library thread reports on that thread.
            connect(m_tap, &TrafficTap::received, [](qint64, int baud, const QByteArray& bytes) {
                TraceLog::Traffic("host -> instrument",
                                  QStringLiteral("(%1 baud) %2").arg(baud).arg(TrafficTap::Escape(bytes)));
            });
            connect(m_tap, &TrafficTap::sent, [](qint64 newBytes, qint64) {
                TraceLog::Traffic("instrument -> host", QStringLiteral("%1 bytes").arg(newBytes));
            });
            TrafficTap* tap = m_tap;
            TraceLog::SetBeforeLibraryLine([tap] { tap->poll(); });
            m_tap->start(5);
        }
        const int type = SimFamilyType(m_settings.simulate);
        m_ports.append(
            listing(m_model->portPath(), QStringLiteral("simulated %1").arg(SimFamilyTitle(type))));
        m_portSource = QStringLiteral("the built-in simulator");
    } else if (!m_settings.catalogue.isEmpty()) {
        QString error;
        if (!readCatalogue(&error)) {
            m_console.line(QStringLiteral("chromameter: ") + error);
            return UsageError;
        }
        m_portSource = QStringLiteral("from %1").arg(m_settings.catalogue);
    } else {
        for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
            m_ports.append(listing(info.portName(), info.description()));
        m_portSource = QStringLiteral("the system's list");
    }
    if (!m_settings.port.isEmpty())
        restrictToPort();
    return Ok;
}

QString InstrumentSession::lastConnectionFile() const {
    return m_settings.lastConnectionFile.isEmpty() ? LastConnection::DefaultPath()
                                                   : m_settings.lastConnectionFile;
}

int InstrumentSession::hintDetection() {
    int type = -1;
    if (!m_settings.family.isEmpty()) {
        type = familyType(m_settings.family);
    } else if (m_settings.remember) {
        LastConnection last;
        QString note;
        if (LastConnection::Read(lastConnectionFile(), &last, &note)) {
            type = familyType(last.family);
            if (!last.port.isEmpty()) {
                // The port it was found on is tried first; one no longer listed is no reason to fail.
                int at = -1;
                for (int i = 0; i < m_ports.size() && at < 0; ++i) {
                    if (m_ports[i].path == last.port || m_ports[i].name == last.port)
                        at = i;
                }
                if (at >= 0)
                    m_ports.move(at, 0);
                else
                    m_console.line(QStringLiteral("chromameter: note: the last connection's port %1 is not "
                                                  "listed now; trying every port")
                                       .arg(last.port));
            }
        } else if (!note.isEmpty()) {
            m_console.line(QStringLiteral("chromameter: note: ") + note + QStringLiteral("; ignored"));
        }
    }
    // This host scans its ports one at a time itself: the hint names only the family. A family the
    // user named is the only one tried; the last connection's goes first and the others follow.
    QVector<int> families;
    if (type >= 0)
        families.append(type);
    const bool only = !m_settings.family.isEmpty() && type >= 0;
    ChromameterSetDetectionHintEx(families.constData(), families.size(), nullptr,
                                  only ? CHROMAMETER_DETECT_ONLY_HINTED : 0u);
    if (type >= 0)
        TraceLog::Session(QStringLiteral("detection hint: %1 %2")
                              .arg(QLatin1String(kInstrumentFamilies[type].name),
                                   only ? QStringLiteral("only") : QStringLiteral("first")));
    return type;
}

void InstrumentSession::rememberConnection() {
    if (!m_settings.remember)
        return;
    LastConnection last;
    last.family = m_info.family;
    // A simulator's pseudo-terminal is a new path every run: only its family is worth keeping.
    last.port = m_model ? QString() : m_info.port;
    QString error;
    if (!LastConnection::Write(lastConnectionFile(), last, &error))
        m_console.line(QStringLiteral("chromameter: note: ") + error);
}

int InstrumentSession::detect() {
    if (!m_minolta) {
        CreateChromameterMinolta(&m_minolta);
        m_watcher = new HostWatcher(this);
        m_minolta->RegisterWatcher(m_watcher);
    }
    const int onlyType = m_settings.family.isEmpty() ? -1 : familyType(m_settings.family);
    if (!m_settings.family.isEmpty() && onlyType < 0) {
        m_console.line(
            QStringLiteral("chromameter: --family: no family is named \"%1\"").arg(m_settings.family));
        return UsageError;
    }
    hintDetection();
    QList<PortListing> tried;
    int skipped = 0;
    // The library scans its port list in order and keeps the first port where an instrument answers;
    // doing the same one port at a time tells which port that was.
    for (const PortListing& port : m_ports) {
        if (port.verdict != PortVerdict::Candidate) {
            ++skipped;
            continue;
        }
        tried.append(port);
        pointDetectionAt(port);
        m_console.startProgress(
            QStringLiteral("looking for the instrument on %1").arg(QFileInfo(port.name).fileName()));
        QElapsedTimer connectTime;
        connectTime.start();
        const unsigned long result = m_minolta->Connect();
        m_console.stopProgress();
        TraceLog::Session(
            QStringLiteral("connect on %1: %2 in %3 ms")
                .arg(port.path, result == RESULT_OK ? QStringLiteral("found") : QStringLiteral("nothing"))
                .arg(connectTime.elapsed()));
        if (result != RESULT_OK)
            continue;
        const int type = DetectedType::of(m_minolta);
        m_connected = true;
        m_info.type = type;
        const InstrumentFamily* family = InstrumentFamilyOf(type);
        m_info.family = family ? QString::fromLatin1(family->name) : QStringLiteral("unknown");
        m_info.title = family ? QString::fromLatin1(family->title) : QStringLiteral("unknown");
        m_info.port = port.path;
        m_info.givesXy = InstrumentFamilyCan(type, CapColour);
        m_info.givesTcp = m_settings.readTcp && InstrumentFamilyCan(type, CapColourTemperature);
        m_info.givesMeasureData = InstrumentFamilyCan(type, CapMeasureData);
        m_info.polledReading = InstrumentFamilyCan(type, CapPolledReading);
        if (family)
            rememberConnection();
        return Ok;
    }

    QString reason;
    if (m_ports.isEmpty()) {
        reason = QStringLiteral("no serial port is listed (%1)").arg(m_portSource);
    } else if (tried.isEmpty()) {
        if (m_ports.size() == 1)
            reason = QStringLiteral("detection does not try %1: %2")
                         .arg(m_ports.first().name, PortReport::Reason(m_ports.first().verdict));
        else
            reason = QStringLiteral("detection tries none of the %1 listed ports (see chromameter ports)")
                         .arg(m_ports.size());
    } else {
        QStringList names;
        for (const PortListing& port : tried)
            names << port.path;
        reason = QStringLiteral("no instrument answered on %1").arg(names.join(QStringLiteral(", ")));
        if (skipped > 0)
            reason += QStringLiteral(" (%1 other port%2 skipped; see chromameter ports)")
                          .arg(skipped)
                          .arg(skipped == 1 ? QString() : QStringLiteral("s"));
    }
    if (onlyType >= 0 && !tried.isEmpty()) {
        QStringList names;
        for (const PortListing& port : tried)
            names << port.path;
        reason = QStringLiteral("the %1 family did not answer on %2")
                     .arg(m_settings.family, names.join(QStringLiteral(", ")));
    }
    m_console.line(QStringLiteral("chromameter: no instrument found: ") + reason);
    return NotFound;
}

void InstrumentSession::disconnect() {
    if (!m_minolta || !m_connected)
        return;
    m_console.startProgress(QStringLiteral("disconnecting"));
    // The facade answers 0 whatever happened; the instrument leaves remote mode and the port closes.
    m_minolta->Disconnect();
    m_console.stopProgress();
    m_connected = false;
}
