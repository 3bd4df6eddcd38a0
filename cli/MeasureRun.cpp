#include "MeasureRun.h"

#include "InstrumentSession.h"
#include "InterruptNotifier.h"
#include "ResultText.h"
#include "StatusConsole.h"

#include <QEventLoop>
#include <QTimer>

MeasureRun::MeasureRun(const CliOptions& options, InstrumentSession& session, StatusConsole& console,
                       InterruptNotifier& interrupts, QObject* parent)
    : QObject(parent), m_options(options), m_session(session), m_console(console), m_interrupts(interrupts),
      m_taker(session, console),
      m_plot(QStringLiteral("%1 (%2, type %3)")
                 .arg(session.instrument().title, session.instrument().family)
                 .arg(session.instrument().type),
             QStringLiteral("on %1, %2")
                 .arg(session.instrument().port,
                      QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd hh:mm 'UTC'")))) {
    m_writer = ReportWriter::Create(options.format, options.columns(session.instrument()));
    if (options.hasReference && session.instrument().givesXy && !options.referenceFirst) {
        m_hasReference = true;
        m_reference = options.reference;
        m_plot.setReference(m_reference.x, m_reference.y);
    }
    connect(&interrupts, &InterruptNotifier::interrupted, this, &MeasureRun::onInterrupted);
    // An interrupt during detection counts too.
    m_interrupted = interrupts.count() > 0;
}

MeasureRun::~MeasureRun() = default;

void MeasureRun::onInterrupted() {
    // A second interrupt ends the process at once (main sees to that).
    if (m_interrupts.count() >= 2)
        return;
    m_interrupted = true;
    if (m_measuring) {
        m_console.line(
            QStringLiteral("chromameter: interrupted: finishing this measurement, then disconnecting "
                           "(Ctrl-C again leaves at once)"));
    } else if (m_wait) {
        m_wait->quit();
    }
}

void MeasureRun::sleepUntil(qint64 msSinceStart) {
    const qint64 wait = msSinceStart - m_clock.elapsed();
    if (wait <= 0 || m_interrupted)
        return;
    m_console.startProgress(QStringLiteral("waiting for the next reading"));
    QEventLoop loop;
    QTimer::singleShot(int(qMin<qint64>(wait, 2000000000)), &loop, &QEventLoop::quit);
    m_wait = &loop;
    loop.exec();
    m_wait = nullptr;
    m_console.stopProgress();
}

void MeasureRun::addColourQuantities(Reading* reading) {
    if (!reading->ok() || !m_session.instrument().givesXy)
        return;
    if (!m_hasReference && m_options.hasReference && m_options.referenceFirst) {
        m_hasReference = true;
        m_reference.x = reading->x;
        m_reference.y = reading->y;
        m_reference.hasLv = true;
        m_reference.Lv = reading->Lv;
        m_plot.setReference(m_reference.x, m_reference.y);
    }
    reading->hasColour = true;
    reading->colour = ColourQuantities::FromLvXy(reading->Lv, reading->x, reading->y,
                                                 m_hasReference ? &m_reference : nullptr);
}

Reading MeasureRun::measureOnce(int index) {
    Reading reading;
    reading.index = index;
    reading.time = QDateTime::currentDateTimeUtc();
    reading.elapsedSec = double(m_clock.elapsed()) / 1000.0;

    QString label = QStringLiteral("measuring");
    if (m_options.continuous)
        label += QStringLiteral(" (reading %1, Ctrl-C ends)").arg(index);
    else if (m_options.count > 1)
        label += QStringLiteral(" %1 of %2").arg(index).arg(m_options.count);
    m_console.startProgress(label);

    m_measuring = true;
    if (!m_taker.take(&reading, m_options.timeoutSec))
        reading.error += QStringLiteral(" (--timeout)");
    m_measuring = false;
    m_console.stopProgress();
    addColourQuantities(&reading);
    return reading;
}

int MeasureRun::run() {
    const InstrumentInfo& info = m_session.instrument();
    if (m_options.hasReference && !info.givesXy) {
        m_console.line(
            QStringLiteral("chromameter: note: the %1 gives no chromaticity; --reference has no effect")
                .arg(info.title));
    }
    if (m_options.session.readTcp && !info.givesTcp) {
        m_console.line(
            QStringLiteral("chromameter: note: the %1 gives no colour temperature; --tcp has no effect")
                .arg(info.title));
    }
    m_clock.start();

    int status = InstrumentSession::Ok;
    int taken = 0;
    for (int index = 1; !m_interrupted; ++index) {
        if (index == 1)
            m_console.print(m_writer->header());
        const qint64 startedMs = m_clock.elapsed();
        const Reading reading = measureOnce(index);
        ++taken;
        m_statistics.add(reading);
        m_console.print(m_writer->row(reading));
        if (!reading.ok()) {
            m_console.line(QStringLiteral("chromameter: measurement %1 failed: %2 (%3)")
                               .arg(index)
                               .arg(ResultCodeHex(reading.result), reading.error));
            status = InstrumentSession::Failed;
            break;
        }
        if (!m_options.plotFile.isEmpty()) {
            m_plot.add({reading.index, reading.elapsedSec, reading.Lv, info.givesXy, reading.x, reading.y});
            QString error;
            if (!m_plot.write(m_options.plotFile, &error)) {
                m_console.line(QStringLiteral("chromameter: cannot write the plot %1: %2")
                                   .arg(m_options.plotFile, error));
                status = InstrumentSession::Failed;
                break;
            }
        }
        if (!m_options.continuous && index >= m_options.count)
            break;
        sleepUntil(startedMs + qint64(m_options.intervalSec * 1000.0));
    }

    if (m_options.continuous || m_options.count > 1)
        m_console.print(m_writer->summary(m_statistics));

    if (leftWorkBehind()) {
        // The library is still waiting for that reading on a thread of its own. A colour instrument's
        // worker leaves this thread free to sign off; the luminance meter's read-out holds the line.
        if (!info.polledReading)
            m_session.disconnect();
        return status;
    }
    m_session.disconnect();
    if (m_interrupted) {
        m_console.line(
            QStringLiteral("chromameter: stopped after %1 reading%2; the instrument is disconnected")
                .arg(taken)
                .arg(taken == 1 ? QString() : QStringLiteral("s")));
        if (status == InstrumentSession::Ok && !m_options.continuous)
            status = InstrumentSession::Interrupted;
    }
    return status;
}
