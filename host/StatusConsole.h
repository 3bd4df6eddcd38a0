#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

#include <functional>
#include <mutex>

// chromameter's standard error: whole lines (errors, notes, trace) and, on a terminal only, one
// progress line that is redrawn in place ("| measuring 2 of 3  0.4 s") and wiped before any other
// line is written. Lines may come from any thread (the library logs from its worker threads).
class StatusConsole {
public:
    using Writer = std::function<void(const QByteArray&)>;

    // `terminal`: whether the progress line is shown. Without writers, lines go to stderr and
    // results to stdout.
    explicit StatusConsole(bool terminal, Writer errorWriter = Writer(), Writer outputWriter = Writer());

    bool isTerminal() const { return m_terminal; }
    // The terminal's width in columns: the progress line is cut to fit (0: not cut).
    void setWidth(int columns);

    // Writes one line to standard error (a line end is added).
    void line(const QString& text);
    // Writes results to standard output as they are (the progress line is wiped first).
    void print(const QString& text);
    // Starts showing `label` with the time since now; replaces the previous progress.
    void startProgress(const QString& label);
    // Redraws the progress line with the time elapsed and the next spinner frame.
    void tick();
    // Removes the progress line.
    void stopProgress();

    // The progress line's text: a spinner frame, the label and the seconds elapsed.
    static QString ProgressText(const QString& label, double elapsedSec, int frame);

private:
    void writeLocked(const QByteArray& bytes);
    void drawLocked();
    void wipeLocked();

    bool m_terminal;
    Writer m_writer;
    Writer m_outputWriter;
    std::mutex m_mutex;
    QString m_label;
    QElapsedTimer m_clock;
    int m_frame = 0;
    int m_width = 0;
    bool m_shown = false;
};
