#pragma once

#include "ChromaticityPlot.h"
#include "CliOptions.h"
#include "Reading.h"
#include "ReadingFormatter.h"
#include "ReadingStatistics.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>
#include <thread>

class InstrumentSession;
class QEventLoop;
class InterruptNotifier;
class StatusConsole;

// "chromameter measure": one reading, N readings or readings until interrupted, each with the calls
// its family needs, while the host's thread keeps its Qt event loop running (the library queues its
// writes to this thread and tells the watchers from its worker threads).
class MeasureRun : public QObject {
    Q_OBJECT

public:
    MeasureRun(const CliOptions& options, InstrumentSession& session, StatusConsole& console,
               InterruptNotifier& interrupts, QObject* parent = nullptr);
    ~MeasureRun() override;

    // The exit status.
    int run();
    // Whether the library still works on something that was given up on (a reading that timed out):
    // the process must then end without waiting for it.
    bool leftWorkBehind() const { return m_leftWorkBehind; }

private:
    enum class Outcome { Pending, Finished, Failed, LuminanceRead, TimedOut };

    Reading measureOnce(int index);
    Outcome waitForOutcome(double timeoutSec);
    void readColourValues(Reading* reading);
    void addColourQuantities(Reading* reading);
    void startLuminanceMeasurement();
    void sleepUntil(qint64 msSinceStart);
    void onInterrupted();

    CliOptions m_options;
    InstrumentSession& m_session;
    StatusConsole& m_console;
    InterruptNotifier& m_interrupts;
    QElapsedTimer m_clock;
    std::unique_ptr<ReadingFormatter> m_formatter;
    ChromaticityPlot m_plot;
    ReadingStatistics m_statistics;
    // The white readings are compared with, once known (--reference first: the first good reading).
    bool m_hasReference = false;
    ColourReference m_reference;

    Outcome m_outcome = Outcome::Pending;
    unsigned long m_failCode = 0;
    double m_luminance = 0.0;
    bool m_luminanceMeasureFailed = false;
    std::thread m_helper;
    bool m_measuring = false;
    bool m_interrupted = false;
    bool m_leftWorkBehind = false;
    QEventLoop* m_wait = nullptr;
};
