#pragma once

#include "CharacteriseCommandSettings.h"
#include "PreparedRun.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>

class InstrumentSession;
class InterruptNotifier;
class ReadingTaker;
class StatusConsole;

// "chromameter characterise": shows each patch, waits for the display to settle, measures it, keeps
// every reading in the run's journal, and ends with the readings and their figures.
class CharacteriseCommand : public QObject {
    Q_OBJECT

public:
    CharacteriseCommand(const CharacteriseCommandSettings& settings, StatusConsole& console,
                        InterruptNotifier& interrupts, QObject* parent = nullptr);
    ~CharacteriseCommand() override;

    // Everything that can be checked before the instrument is opened: the patch sets, the target,
    // the journal to resume or retake. Ok, or a usage error with the reason written.
    int prepare();
    // The run on a detected instrument; the exit status (130 after Ctrl-C, the journal kept).
    int run(InstrumentSession& session);
    // Whether the library still works on a reading that was given up on (see ReadingTaker).
    bool leftWorkBehind() const { return m_leftWorkBehind; }

private:
    // The figures in the chosen format, and the CTI3 file, page and profile when asked for; false
    // when one failed.
    bool writeResults(const JournalContents& contents);

    CharacteriseCommandSettings m_settings;
    StatusConsole& m_console;
    InterruptNotifier& m_interrupts;
    PreparedRun m_run;
    std::atomic<bool> m_interrupted{false};
    bool m_leftWorkBehind = false;
    // Kept beyond run(): a reading given up on leaves the process to end without destroying it.
    std::unique_ptr<ReadingTaker> m_taker;
};
