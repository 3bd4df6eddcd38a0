#include "StatusConsole.h"

#include <cstdio>

namespace {
const char kSpinner[] = "|/-\\";
// Wipes the line the cursor is on.
const char kWipe[] = "\r\033[K";
} // namespace

StatusConsole::StatusConsole(bool terminal, Writer errorWriter, Writer outputWriter)
    : m_terminal(terminal), m_writer(std::move(errorWriter)), m_outputWriter(std::move(outputWriter)) {}

QString StatusConsole::ProgressText(const QString& label, double elapsedSec, int frame) {
    const int n = int(sizeof kSpinner) - 1;
    return QStringLiteral("%1 %2  %3 s")
        .arg(QLatin1Char(kSpinner[((frame % n) + n) % n]))
        .arg(label)
        .arg(elapsedSec, 0, 'f', 1);
}

void StatusConsole::writeLocked(const QByteArray& bytes) {
    if (m_writer) {
        m_writer(bytes);
        return;
    }
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

void StatusConsole::wipeLocked() {
    if (m_shown) {
        writeLocked(QByteArray(kWipe));
        m_shown = false;
    }
}

void StatusConsole::drawLocked() {
    if (!m_terminal || m_label.isEmpty())
        return;
    const double elapsed = double(m_clock.elapsed()) / 1000.0;
    QString text = ProgressText(m_label, elapsed, m_frame);
    // A line that wrapped could not be wiped in place.
    if (m_width > 1 && text.size() > m_width - 1)
        text = text.left(m_width - 2) + QChar(0x2026);
    writeLocked(QByteArray(kWipe) + text.toUtf8());
    m_shown = true;
}

void StatusConsole::setWidth(int columns) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_width = columns;
}

void StatusConsole::line(const QString& text) {
    std::lock_guard<std::mutex> lock(m_mutex);
    wipeLocked();
    writeLocked(text.toUtf8() + '\n');
    drawLocked();
}

void StatusConsole::print(const QString& text) {
    std::lock_guard<std::mutex> lock(m_mutex);
    wipeLocked();
    const QByteArray bytes = text.toUtf8();
    if (m_outputWriter) {
        m_outputWriter(bytes);
    } else {
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
        std::fflush(stdout);
    }
    drawLocked();
}

void StatusConsole::startProgress(const QString& label) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_label = label;
    m_clock.start();
    m_frame = 0;
    drawLocked();
}

void StatusConsole::tick() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_label.isEmpty())
        return;
    ++m_frame;
    drawLocked();
}

void StatusConsole::stopProgress() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_label.clear();
    wipeLocked();
}
