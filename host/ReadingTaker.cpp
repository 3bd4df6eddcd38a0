#include "ReadingTaker.h"

#include "HostWatcher.h"
#include "IMinolta.h"
#include "InstrumentSession.h"
#include "ResultText.h"
#include "StatusConsole.h"

#include <QEventLoop>
#include <QTimer>

ReadingTaker::ReadingTaker(InstrumentSession& session, StatusConsole& console, QObject* parent)
    : QObject(parent), m_session(session), m_console(console) {
    // The luminance meter's outcome comes with its read-out (startLuminanceMeasurement); the others'
    // from the watcher.
    if (session.instrument().polledReading)
        return;
    connect(session.watcher(), &HostWatcher::measureFinished, this, [this] {
        if (endAbandoned())
            return;
        if (m_measuring && m_outcome == Outcome::Pending)
            settle(Outcome::Finished);
    });
    connect(session.watcher(), &HostWatcher::measureFailed, this, [this](unsigned long code) {
        if (endAbandoned() || !m_measuring || m_outcome != Outcome::Pending)
            return;
        m_failCode = code;
        settle(Outcome::Failed);
    });
}

bool ReadingTaker::endAbandoned() {
    if (!m_abandoned)
        return false;
    // The outcome of the reading given up on: it belongs to no reading taken now.
    m_abandoned = false;
    if (m_measuring && m_outcome == Outcome::Pending)
        settle(Outcome::Finished);
    return true;
}

ReadingTaker::~ReadingTaker() {
    finishHelper();
}

void ReadingTaker::finishHelper() {
    if (!m_helper.joinable())
        return;
    // A read-out still running needs this thread's event loop (the library hands the port's work to
    // it), so the loop keeps turning until the thread has ended; only then is it joined.
    if (!m_helperDone.load()) {
        QEventLoop loop;
        QTimer poll;
        connect(&poll, &QTimer::timeout, &loop, [this, &loop] {
            if (m_helperDone.load())
                loop.quit();
        });
        poll.start(10);
        loop.exec();
    }
    m_helper.join();
}

void ReadingTaker::settle(Outcome outcome) {
    m_outcome = outcome;
    if (m_wait)
        m_wait->quit();
}

void ReadingTaker::interrupt() {
    if (m_measuring && m_outcome == Outcome::Pending)
        settle(Outcome::Interrupted);
}

ReadingTaker::Outcome ReadingTaker::waitForOutcome(double timeoutSec) {
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

void ReadingTaker::startLuminanceMeasurement() {
    IMinolta* minolta = m_session.minolta();
    HostWatcher* watcher = m_session.watcher();
    // A read-out given up on before ends first: one conversation at a time.
    finishHelper();
    // The luminance meter measures and reads out on the calling thread, and its read-out waits for
    // as long as the meter says it is busy. It runs on a helper thread so that this thread keeps
    // the event loop going (the port's notifications, the time-out, Ctrl-C); the library queues the
    // helper's writes to the port's thread as it does for its own workers.
    m_helperDone.store(false);
    m_helper = std::thread([this, minolta, watcher] {
        const int failedBefore = watcher->failedCount();
        minolta->Measure(false);
        const bool refused = watcher->failedCount() != failedBefore;
        const double value = refused ? -1.0 : minolta->ReadLastestData();
        m_helperDone.store(true);
        QMetaObject::invokeMethod(
            this,
            [this, refused, value] {
                if (m_outcome != Outcome::Pending)
                    return;
                m_luminanceMeasureFailed = refused;
                m_luminance = value;
                settle(Outcome::LuminanceRead);
            },
            Qt::QueuedConnection);
    });
}

void ReadingTaker::readColourValues(Reading* reading, Values values) {
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
    if (values == Values::LvXy || !m_session.instrument().givesMeasureData)
        return;
    double* v = reading->measureData;
    const unsigned long more = minolta->ReadMeasureData(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
    if (more != RESULT_OK) {
        reading->result = more;
        reading->error = QStringLiteral("the further values could not be read (ReadMeasureData): ") +
                         ResultCodeMeaning(more);
    }
}

bool ReadingTaker::take(Reading* reading, double timeoutSec, Values values) {
    const InstrumentInfo& info = m_session.instrument();
    if (m_abandoned) {
        // A colour reading given up on before (a time-out, an interrupt) still runs in the library:
        // its outcome comes first, and must not pass for this reading's.
        m_outcome = Outcome::Pending;
        m_measuring = true;
        const Outcome earlier = waitForOutcome(timeoutSec);
        m_measuring = false;
        if (earlier == Outcome::TimedOut || earlier == Outcome::Interrupted) {
            m_abandoned = false;
            reading->result = RESULT_FAIL;
            reading->error = earlier == Outcome::Interrupted
                                 ? QStringLiteral("interrupted")
                                 : QStringLiteral("the reading given up on before gave no result within %1 s")
                                       .arg(timeoutSec);
            return false;
        }
    }
    m_outcome = Outcome::Pending;
    m_failCode = 0;
    m_luminance = 0.0;
    m_luminanceMeasureFailed = false;
    m_measuring = true;
    if (info.polledReading)
        startLuminanceMeasurement();
    else
        m_session.minolta()->Measure(info.givesTcp);
    const Outcome outcome = waitForOutcome(timeoutSec);
    m_measuring = false;

    switch (outcome) {
    case Outcome::TimedOut:
        reading->result = RESULT_FAIL;
        reading->error = QStringLiteral("no result within %1 s").arg(timeoutSec);
        m_leftWorkBehind = true;
        m_abandoned = !info.polledReading;
        break;
    case Outcome::Interrupted:
        reading->result = RESULT_FAIL;
        reading->error = QStringLiteral("interrupted");
        m_leftWorkBehind = true;
        m_abandoned = !info.polledReading;
        break;
    case Outcome::Failed:
        reading->result = m_failCode;
        reading->error = ResultCodeMeaning(m_failCode);
        break;
    case Outcome::LuminanceRead:
        finishHelper();
        if (m_luminanceMeasureFailed) {
            reading->result = RESULT_FAIL;
            reading->error = QStringLiteral("the luminance meter did not take the measurement: ") +
                             ResultCodeMeaning(RESULT_FAIL);
        } else if (m_luminance < 0) {
            // The read-out's own failure value.
            reading->result = RESULT_FAIL;
            reading->error =
                QStringLiteral("the luminance meter's read-out failed: ") + ResultCodeMeaning(RESULT_FAIL);
        } else {
            reading->Lv = m_luminance;
            if (m_luminance == 0.0)
                m_console.line(QStringLiteral("chromameter: note: the luminance meter's read-out carried no "
                                              "value (0 cd/m²)"));
        }
        break;
    case Outcome::Finished:
        readColourValues(reading, values);
        break;
    case Outcome::Pending:
        break;
    }
    return outcome != Outcome::TimedOut && outcome != Outcome::Interrupted;
}
