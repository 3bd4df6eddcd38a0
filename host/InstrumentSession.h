#pragma once

#include "PortReport.h"
#include "Reading.h"
#include "SessionSettings.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

class HostWatcher;
class IMinolta;
class InstrumentModel;
class StatusConsole;
class TrafficTap;

// A host of the plugin: where the ports come from (the system, a catalogue file, or
// the built-in simulator), detection through the factory's IMinolta, the watcher, and the way out.
class InstrumentSession : public QObject {
    Q_OBJECT

public:
    // Exit statuses (Interrupted: the shell's for a process ended by SIGINT).
    enum { Ok = 0, Failed = 1, UsageError = 2, NotFound = 3, Interrupted = 130 };

    InstrumentSession(const SessionSettings& settings, StatusConsole& console, QObject* parent = nullptr);
    ~InstrumentSession() override;

    // Gathers the ports (starting the simulator for --simulate). Ok, or an exit status with the
    // reason already written.
    int prepare();
    QList<PortListing> ports() const { return m_ports; }
    QString portSource() const { return m_portSource; }

    // Finds the instrument: Ok, or NotFound with the reason written.
    int detect();
    const InstrumentInfo& instrument() const { return m_info; }
    IMinolta* minolta() const { return m_minolta; }
    HostWatcher* watcher() const { return m_watcher; }
    InstrumentModel* simulator() const { return m_model.get(); }

    // Takes the instrument out of remote mode and releases the port, if detection found one.
    void disconnect();

private:
    bool readCatalogue(QString* error);
    void restrictToPort();
    QString lastConnectionFile() const;
    // Tells detection which family to try: only the one --family names, or the last connection's
    // first; the type, or -1.
    int hintDetection();
    void rememberConnection();

    SessionSettings m_settings;
    StatusConsole& m_console;
    std::unique_ptr<InstrumentModel> m_model;
    TrafficTap* m_tap = nullptr;
    QList<PortListing> m_ports;
    QString m_portSource;
    IMinolta* m_minolta = nullptr;
    HostWatcher* m_watcher = nullptr;
    bool m_connected = false;
    InstrumentInfo m_info;
};
