#pragma once

#include "Reading.h"

#include <QObject>

#include <atomic>
#include <thread>

class InstrumentSession;
class QEventLoop;
class StatusConsole;

// Takes one reading from a connected instrument with the calls its family needs, while the host's
// thread keeps its Qt event loop running (the library queues its writes to this thread and tells
// the watchers from its worker threads), and gives up after a time-out.
class ReadingTaker : public QObject {
    Q_OBJECT

public:
    ReadingTaker(InstrumentSession& session, StatusConsole& console, QObject* parent = nullptr);
    // Waits for the luminance meter's read-out thread, if one still runs, with the event loop
    // turning (the read-out needs it): nothing this object started outlives it. A host that would
    // rather not wait for a reading it gave up on (leftWorkBehind) ends the process instead.
    ~ReadingTaker() override;

    // What a reading brings back: every value the family gives, or Lv and x, y alone (the further
    // values of the spectroradiometer cost an exchange of their own, over 100 ms a reading).
    enum class Values { All, LvXy };

    // Measures and fills `reading`'s result, error and values (not its index and times). False when
    // no outcome came within `timeoutSec` and the reading was given up on.
    bool take(Reading* reading, double timeoutSec, Values values = Values::All);
    // Gives up on the reading being waited for at once (a host's Ctrl-C): take() returns false as
    // after a time-out. Call it on the thread that called take(), from inside its wait.
    void interrupt();
    // Whether the library still works on something that was given up on (a reading that timed out):
    // the process must then end without waiting for it.
    bool leftWorkBehind() const { return m_leftWorkBehind; }

private:
    enum class Outcome { Pending, Finished, Failed, LuminanceRead, TimedOut, Interrupted };

    Outcome waitForOutcome(double timeoutSec);
    void readColourValues(Reading* reading, Values values);
    void startLuminanceMeasurement();
    void settle(Outcome outcome);
    // Takes a watcher's outcome for the colour reading given up on, if one is still owed; true then.
    bool endAbandoned();
    // Waits for the read-out thread, if any, with the event loop turning; then joins it.
    void finishHelper();

    InstrumentSession& m_session;
    StatusConsole& m_console;
    Outcome m_outcome = Outcome::Pending;
    unsigned long m_failCode = 0;
    double m_luminance = 0.0;
    bool m_luminanceMeasureFailed = false;
    bool m_measuring = false;
    bool m_leftWorkBehind = false;
    bool m_abandoned = false; // a colour reading given up on has not told its outcome yet
    std::thread m_helper;
    std::atomic<bool> m_helperDone{true};
    QEventLoop* m_wait = nullptr;
};
