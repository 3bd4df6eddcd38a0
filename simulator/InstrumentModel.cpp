#include "InstrumentModel.h"

#include "Colorimetry.h"
#include "VirtualDisplay.h"

namespace {
// Commands are short; a host that never sends a terminator must not make the buffer grow for ever.
constexpr int kBufferLimit = 8 * 1024;
// Large enough to overflow any reply buffer of the library several times over.
constexpr int kOverlongSize = 5000;
// The gap between bytes of a reply sent one byte at a time.
constexpr int kSplitGapMs = 15;
constexpr int kSlowFactor = 20;
// Printable bytes that occur in none of the protocols (no letters, digits, separators or signs
// that a reply parser could take for a value).
const char kGarbageAlphabet[] = "#$%&*/<=>?@^_`|~!";

// The reply's trailing line ending (CR and LF bytes), which the fault filters keep in place.
int trailingEndingSize(const QByteArray& bytes) {
    int n = 0;
    while (n < bytes.size()) {
        const char c = bytes[bytes.size() - 1 - n];
        if (c != '\r' && c != '\n')
            break;
        ++n;
    }
    return n;
}
} // namespace

bool parseSimFault(const QString& name, SimFault* fault) {
    static const struct {
        const char* name;
        SimFault fault;
    } names[] = {
        {"none", SimFault::None},
        {"silent", SimFault::Silent},
        {"garbage", SimFault::Garbage},
        {"overlong", SimFault::Overlong},
        {"cut", SimFault::Cut},
        {"split", SimFault::SplitBytes},
        {"unplug", SimFault::UnplugDuringMeasure},
        {"slow", SimFault::SlowCompletion},
    };
    const QString key = name.trimmed().toLower();
    for (const auto& entry : names) {
        if (key == QLatin1String(entry.name)) {
            if (fault)
                *fault = entry.fault;
            return true;
        }
    }
    return false;
}

InstrumentModel::InstrumentModel() = default;

InstrumentModel::~InstrumentModel() {
    // Too late for a concrete model's onCommand(); each model stops in its own destructor.
    stop();
}

void InstrumentModel::setReading(const SimReading& reading) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_reading = reading;
}

SimReading InstrumentModel::reading() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_reading;
}

void InstrumentModel::setFault(SimFault fault) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_fault = fault;
}

SimFault InstrumentModel::fault() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_fault;
}

void InstrumentModel::setMeasureDelayMs(int ms) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_measureDelayMs = ms < 0 ? 0 : ms;
}

int InstrumentModel::measureDelayMs() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_measureDelayMs;
}

void InstrumentModel::setRequiredBaud(int baud) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requiredBaud = baud;
}

void InstrumentModel::attachDisplay(std::shared_ptr<VirtualDisplay> display) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_display = std::move(display);
    m_hasMeasured = false;
}

std::shared_ptr<VirtualDisplay> InstrumentModel::display() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_display;
}

SimReading InstrumentModel::measuredReading() const {
    std::shared_ptr<VirtualDisplay> display;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_display)
            return m_reading;
        if (m_hasMeasured)
            return m_measured;
        display = m_display;
    }
    return SimReadingOfLight(*display, display->LightNow());
}

void InstrumentModel::takeMeasurement() {
    const std::shared_ptr<VirtualDisplay> display = this->display();
    if (!display)
        return;
    // The instrument integrates up to the end of its measurement time, so a patch still appearing
    // (or a host that did not wait for it) shows in the result.
    const double endsAt = display->Now() + effectiveMeasureDelayMs();
    const SimReading reading = SimReadingOfLight(*display, display->LightAt(endsAt));
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_display != display)
        return;
    m_measured = reading;
    m_hasMeasured = true;
}

SimReading SimReadingOfLight(const VirtualDisplay& display, const Xyz& light) {
    SimReading reading;
    reading.Lv = VirtualDisplay::Lv(light);
    reading.x = display.x(light);
    reading.y = display.y(light);
    // Off the locus (a saturated colour) there is no colour temperature to show; the instruments
    // then send 0.
    const CctResult cct = CctFromXy(reading.x, reading.y);
    reading.Tcp = cct.ok() ? cct.cct : 0.0;
    return reading;
}

int InstrumentModel::effectiveMeasureDelayMs() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_fault == SimFault::SlowCompletion ? m_measureDelayMs * kSlowFactor : m_measureDelayMs;
}

void InstrumentModel::onReceived(const QByteArray& bytes) {
    int requiredBaud;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        requiredBaud = m_requiredBaud;
    }
    // A real instrument at another line speed hears only noise and says nothing.
    if (requiredBaud != 0 && lineBaud() != requiredBaud)
        return;

    const QByteArray ends = terminators();
    if (ends.isEmpty()) {
        onCommand(bytes);
        return;
    }
    // The buffer is only touched on the simulator thread, so onCommand() runs without the lock
    // (it calls answer(), which takes it).
    m_buffer += bytes;
    int start = 0;
    for (int i = 0; i < m_buffer.size(); ++i) {
        if (ends.contains(m_buffer[i])) {
            if (i > start)
                onCommand(m_buffer.mid(start, i + 1 - start));
            start = i + 1;
        }
    }
    m_buffer.remove(0, start);
    if (m_buffer.size() > kBufferLimit)
        m_buffer.remove(0, m_buffer.size() - kBufferLimit);
}

void InstrumentModel::answer(const QByteArray& bytes, int delayMs) {
    if (bytes.isEmpty())
        return;
    const SimFault fault = this->fault();
    const int ending = trailingEndingSize(bytes);
    switch (fault) {
    case SimFault::Silent:
        return;
    case SimFault::Garbage: {
        // Same length and line ending as the reply, so a host sees a complete answer it cannot use.
        QByteArray garbage = bytes;
        const int alphabet = int(sizeof kGarbageAlphabet) - 1;
        quint32 seed = quint32(bytes.size()) * 2654435761u;
        for (int i = 0; i < bytes.size() - ending; ++i) {
            seed = seed * 1664525u + 1013904223u;
            garbage[i] = kGarbageAlphabet[(seed >> 16) % quint32(alphabet)];
        }
        if (ending == bytes.size())
            garbage[0] = kGarbageAlphabet[0];
        reply(garbage, delayMs);
        return;
    }
    case SimFault::Overlong: {
        // The reply's text padded before its line ending: one line of several kilobytes.
        QByteArray longer = bytes.left(bytes.size() - ending);
        const int pad = kOverlongSize - bytes.size();
        if (pad > 0)
            longer += QByteArray(pad, 'X');
        longer += bytes.right(ending);
        reply(longer, delayMs);
        return;
    }
    case SimFault::Cut:
        reply(bytes.left(bytes.size() / 2), delayMs);
        return;
    case SimFault::SplitBytes: {
        QList<ReplyPiece> pieces;
        for (int i = 0; i < bytes.size(); ++i)
            pieces.append(ReplyPiece{i == 0 ? delayMs : kSplitGapMs, bytes.mid(i, 1)});
        replyPieces(pieces);
        return;
    }
    case SimFault::None:
    case SimFault::UnplugDuringMeasure:
    case SimFault::SlowCompletion:
        reply(bytes, delayMs);
        return;
    }
}

void InstrumentModel::answerMeasurement(const QByteArray& bytes, int delayMs) {
    switch (fault()) {
    case SimFault::UnplugDuringMeasure:
        // Pulled while measuring: the host has just sent its command and waits for the result.
        unplugAfter(0);
        return;
    case SimFault::SlowCompletion:
        answer(bytes, delayMs * kSlowFactor);
        return;
    default:
        answer(bytes, delayMs);
        return;
    }
}
