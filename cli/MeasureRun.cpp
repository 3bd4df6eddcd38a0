#include "MeasureRun.h"

#include "HostWatcher.h"
#include "IMinolta.h"
#include "InstrumentSession.h"
#include "InterruptNotifier.h"
#include "ResultText.h"
#include "StatusConsole.h"

#include <QEventLoop>
#include <QTimer>

MeasureRun::MeasureRun(const CliOptions& options, InstrumentSession& session, StatusConsole& console,
                       InterruptNotifier& interrupts, QObject* parent)
    : QObject(parent), m_options(options), m_session(session), m_console(console), m_interrupts(interrupts),
      m_plot(QStringLiteral("%1 (%2, type %3)")
                 .arg(session.instrument().title, session.instrument().family)
                 .arg(session.instrument().type),
             QStringLiteral("on %1, %2")
                 .arg(session.instrument().port,
                      QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd hh:mm 'UTC'")))) {
    const bool compares = options.hasReference && session.instrument().givesXy;
    m_formatter.reset(
        new ReadingFormatter(options.format, session.instrument(), options.quantities, compares));
    if (compares && !options.referenceFirst) {
        m_hasReference = true;
        m_reference = options.reference;
        m_plot.setReference(m_reference.x, m_reference.y);
    }
    // The luminance meter's outcome comes with its read-out (startLuminanceMeasurement); the others'
    // from the watcher.
    if (!session.instrument().polledReading) {
        connect(session.watcher(), &HostWatcher::measureFinished, this, [this] {
            if (!m_measuring || m_outcome != Outcome::Pending)
                return;
            m_outcome = Outcome::Finished;
            if (m_wait)
                m_wait->quit();
        });
        connect(session.watcher(), &HostWatcher::measureFailed, this, [this](unsigned long code) {
            if (!m_measuring || m_outcome != Outcome::Pending)
                return;
            m_outcome = Outcome::Failed;
            m_failCode = code;
            if (m_wait)
                m_wait->quit();
        });
    }
    connect(&interrupts, &InterruptNotifier::interrupted, this, &MeasureRun::onInterrupted);
    // An interrupt during detection counts too.
    m_interrupted = interrupts.count() > 0;
}

MeasureRun::~MeasureRun() {
    if (m_helper.joinable())
        m_helper.detach();
}

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

MeasureRun::Outcome MeasureRun::waitForOutcome(double timeoutSec) {
    if (m_outcome != Outcome::Pending)
        return m_outcome;
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, [this, &loop] {
        if (m_outcome == Outcome::Pending)
            m_outcome = Outcome::TimedOut;
        loop.quit();
    });
    timer.start(int(qMin(timeoutSec * 1000.0, 2.0e9)));
    m_wait = &loop;
    while (m_outcome == Outcome::Pending)
        loop.exec();
    m_wait = nullptr;
    return m_outcome;
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

void MeasureRun::startLuminanceMeasurement() {
    IMinolta* minolta = m_session.minolta();
    HostWatcher* watcher = m_session.watcher();
    if (m_helper.joinable())
        m_helper.join();
    // The luminance meter measures and reads out on the calling thread, and its read-out waits for
    // as long as the meter says it is busy. It runs on a helper thread so that this thread keeps
    // the event loop going (the port's notifications, the time-out, Ctrl-C); the library queues the
    // helper's writes to the port's thread as it does for its own workers.
    m_helper = std::thread([this, minolta, watcher] {
        const int failedBefore = watcher->failedCount();
        minolta->Measure(false);
        const bool refused = watcher->failedCount() != failedBefore;
        const double value = refused ? -1.0 : minolta->ReadLastestData();
        QMetaObject::invokeMethod(
            this,
            [this, refused, value] {
                if (m_outcome != Outcome::Pending)
                    return;
                m_luminanceMeasureFailed = refused;
                m_luminance = value;
                m_outcome = Outcome::LuminanceRead;
                if (m_wait)
                    m_wait->quit();
            },
            Qt::QueuedConnection);
    });
}

void MeasureRun::readColourValues(Reading* reading) {
    IMinolta* minolta = m_session.minolta();
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    const unsigned long result = minolta->ReadLvXy(data);
    if (result != RESULT_OK) {
        reading->result = result;
        reading->error =
            QStringLiteral("the values could not be read (ReadLvXy): ") + ResultCodeMeaning(result);
        return;
    }
    reading->Lv = data.Lv;
    reading->x = data.x;
    reading->y = data.y;
    reading->Tcp = data.Tcp;
    if (!m_session.instrument().givesMeasureData)
        return;
    double* v = reading->measureData;
    const unsigned long more = minolta->ReadMeasureData(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
    if (more != RESULT_OK) {
        reading->result = more;
        reading->error = QStringLiteral("the further values could not be read (ReadMeasureData): ") +
                         ResultCodeMeaning(more);
    }
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
    const InstrumentInfo& info = m_session.instrument();
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

    m_outcome = Outcome::Pending;
    m_failCode = 0;
    m_luminance = 0.0;
    m_luminanceMeasureFailed = false;
    m_measuring = true;
    if (info.polledReading)
        startLuminanceMeasurement();
    else
        m_session.minolta()->Measure(info.givesTcp);
    const Outcome outcome = waitForOutcome(m_options.timeoutSec);
    m_measuring = false;

    switch (outcome) {
    case Outcome::TimedOut:
        reading.result = RESULT_FAIL;
        reading.error = QStringLiteral("no result within %1 s (--timeout)").arg(m_options.timeoutSec);
        m_leftWorkBehind = true;
        break;
    case Outcome::Failed:
        reading.result = m_failCode;
        reading.error = ResultCodeMeaning(m_failCode);
        break;
    case Outcome::LuminanceRead:
        if (m_helper.joinable())
            m_helper.join();
        if (m_luminanceMeasureFailed) {
            reading.result = RESULT_FAIL;
            reading.error = QStringLiteral("the luminance meter did not take the measurement: ") +
                            ResultCodeMeaning(RESULT_FAIL);
        } else if (m_luminance < 0) {
            // The read-out's own failure value.
            reading.result = RESULT_FAIL;
            reading.error =
                QStringLiteral("the luminance meter's read-out failed: ") + ResultCodeMeaning(RESULT_FAIL);
        } else {
            reading.Lv = m_luminance;
            if (m_luminance == 0.0)
                m_console.line(QStringLiteral("chromameter: note: the luminance meter's read-out carried no "
                                              "value (0 cd/m²)"));
        }
        break;
    case Outcome::Finished:
        readColourValues(&reading);
        break;
    case Outcome::Pending:
        break;
    }
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
    if (m_options.tcp && !info.givesTcp) {
        m_console.line(
            QStringLiteral("chromameter: note: the %1 gives no colour temperature; --tcp has no effect")
                .arg(info.title));
    }
    m_clock.start();

    int status = InstrumentSession::Ok;
    int taken = 0;
    for (int index = 1; !m_interrupted; ++index) {
        if (index == 1)
            m_console.print(m_formatter->header());
        const qint64 startedMs = m_clock.elapsed();
        const Reading reading = measureOnce(index);
        ++taken;
        m_statistics.add(reading);
        m_console.print(m_formatter->row(reading));
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
        m_console.print(m_formatter->summary(m_statistics));

    if (m_leftWorkBehind) {
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
            status = 130;
    }
    return status;
}
