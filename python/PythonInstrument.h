#pragma once

#include "InstrumentSession.h"
#include "Reading.h"
#include "ReadingTaker.h"
#include "SessionSettings.h"
#include "StatusConsole.h"

#include <QString>
#include <QStringList>
#include <QThread>

#include <memory>
#include <mutex>

// One instrument opened from Python: the host's session (ports, the simulator, detection) and its
// reading taker, used from the thread that opened it, whose Qt event loop turns while it waits.
// Every call here is made with the GIL released; a wait gives Python's signal handlers their turn.
class PythonInstrument {
public:
    struct Options {
        SessionSettings session;
        double timeoutSec = 10.0; // for one reading
    };

    // Finds the instrument; throws InstrumentFailure (NoInstrument when none answered).
    explicit PythonInstrument(const Options& options);
    ~PythonInstrument();

    const InstrumentInfo& info() const { return m_session->instrument(); }
    bool isOpen() const { return m_open; }
    double timeoutSec() const { return m_options.timeoutSec; }

    // One reading, with its colour quantities where the family gives chromaticity. Throws
    // InstrumentFailure for a failed reading or a time-out; returns false when a signal handler
    // raised during the wait (its exception is pending).
    bool measure(Reading* reading, double timeoutSec);
    // Takes the instrument out of remote mode and releases the port; the object is then closed.
    void close();

    // For a characterisation on this instrument (open, on its thread).
    InstrumentSession& session() { return *m_session; }
    ReadingTaker& taker() { return *m_taker; }
    // Throws unless the instrument is open and this is the thread that opened it.
    void checkUsable() const;

private:
    QString lastMessage();

    Options m_options;
    std::mutex m_messagesMutex;
    QStringList m_messages;
    std::unique_ptr<StatusConsole> m_console;
    std::unique_ptr<InstrumentSession> m_session;
    std::unique_ptr<ReadingTaker> m_taker;
    QThread* m_thread = nullptr;
    bool m_open = false;
};
