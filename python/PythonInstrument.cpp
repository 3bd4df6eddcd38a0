#include "PythonInstrument.h"

#include "IMinolta.h"
#include "InstrumentFailure.h"
#include "QtApplication.h"
#include "SignalWatch.h"

#include <QDateTime>

PythonInstrument::PythonInstrument(const Options& options) : m_options(options) {
    EnsureQtApplication();
    m_thread = QThread::currentThread();
    // What the session and the reading taker would tell a user on the terminal becomes the message
    // of the exception raised.
    m_console = std::make_unique<StatusConsole>(false, [this](const QByteArray& bytes) {
        std::lock_guard<std::mutex> lock(m_messagesMutex);
        QString text = QString::fromUtf8(bytes).trimmed();
        if (text.startsWith(QStringLiteral("chromameter: ")))
            text = text.mid(13);
        if (!text.isEmpty())
            m_messages.append(text);
    });
    m_session = std::make_unique<InstrumentSession>(options.session, *m_console);
    const int prepared = m_session->prepare();
    if (prepared == InstrumentSession::UsageError)
        throw InstrumentFailure(InstrumentFailure::Kind::Usage, 0, lastMessage());
    if (prepared != InstrumentSession::Ok)
        throw InstrumentFailure(InstrumentFailure::Kind::Instrument, RESULT_FAIL, lastMessage());
    if (m_session->detect() != InstrumentSession::Ok)
        throw InstrumentFailure(InstrumentFailure::Kind::NoInstrument, RESULT_FAIL, lastMessage());
    m_open = true;
    m_taker = std::make_unique<ReadingTaker>(*m_session, *m_console);
}

PythonInstrument::~PythonInstrument() {
    close();
}

QString PythonInstrument::lastMessage() {
    std::lock_guard<std::mutex> lock(m_messagesMutex);
    return m_messages.isEmpty() ? QStringLiteral("the instrument failed") : m_messages.last();
}

void PythonInstrument::checkUsable() const {
    if (!m_open)
        throw InstrumentFailure(InstrumentFailure::Kind::Usage, 0,
                                QStringLiteral("the instrument is closed"));
    if (QThread::currentThread() != m_thread)
        throw InstrumentFailure(InstrumentFailure::Kind::Usage, 0,
                                QStringLiteral("an Instrument is used from the thread that opened it"));
}

bool PythonInstrument::measure(Reading* reading, double timeoutSec) {
    checkUsable();
    reading->time = QDateTime::currentDateTimeUtc();
    bool ok = false;
    {
        SignalWatch watch([this] { m_taker->interrupt(); });
        ok = m_taker->take(reading, timeoutSec);
        if (watch.raised())
            return false;
    }
    if (!ok)
        throw InstrumentFailure(InstrumentFailure::Kind::Timeout, reading->result,
                                QStringLiteral("no reading within %1 s").arg(timeoutSec));
    if (!reading->ok())
        throw InstrumentFailure(InstrumentFailure::Kind::Instrument, reading->result, reading->error);
    if (info().givesXy) {
        reading->hasColour = true;
        reading->colour = ColourQuantities::FromLvXy(reading->Lv, reading->x, reading->y);
    }
    return true;
}

void PythonInstrument::close() {
    if (!m_open)
        return;
    m_open = false;
    // A luminance read-out given up on still holds the line: the taker waits for it as it goes.
    const bool polled = info().polledReading;
    if (m_taker && m_taker->leftWorkBehind() && !polled) {
        m_session->disconnect();
        m_taker.reset();
    } else {
        m_taker.reset();
        m_session->disconnect();
    }
    m_session.reset();
}
