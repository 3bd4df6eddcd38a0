#pragma once

#include "ChromaticityPlot.h"
#include "CliOptions.h"
#include "Reading.h"
#include "ReadingStatistics.h"
#include "ReadingTaker.h"
#include "ReportWriter.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>

class InstrumentSession;
class QEventLoop;
class InterruptNotifier;
class StatusConsole;

// "chromameter measure": one reading, N readings or readings until interrupted, written as they come,
// with the summary, the plot and the reference the command line asks for.
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
    bool leftWorkBehind() const { return m_taker.leftWorkBehind(); }

private:
    Reading measureOnce(int index);
    void addColourQuantities(Reading* reading);
    void sleepUntil(qint64 msSinceStart);
    void onInterrupted();

    CliOptions m_options;
    InstrumentSession& m_session;
    StatusConsole& m_console;
    InterruptNotifier& m_interrupts;
    QElapsedTimer m_clock;
    ReadingTaker m_taker;
    std::unique_ptr<ReportWriter> m_writer;
    ChromaticityPlot m_plot;
    ReadingStatistics m_statistics;
    // The white readings are compared with, once known (--reference first: the first good reading).
    bool m_hasReference = false;
    ColourReference m_reference;

    bool m_measuring = false;
    bool m_interrupted = false;
    QEventLoop* m_wait = nullptr;
};
