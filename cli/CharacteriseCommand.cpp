#include "CharacteriseCommand.h"

#include "CharacterisationOutputs.h"
#include "CharacteriseRun.h"
#include "CommandPatchDisplay.h"
#include "InstrumentModel.h"
#include "InstrumentSession.h"
#include "InterruptNotifier.h"
#include "ManualPatchDisplay.h"
#include "MirroredPatchDisplay.h"
#include "ProgressText.h"
#include "ReadingPatchMeter.h"
#include "ReadingTaker.h"
#include "RunPlan.h"
#include "ScreenList.h"
#include "SimulatorPatchDisplay.h"
#include "StatusConsole.h"
#include "Target.h"
#include "WindowPatchDisplay.h"

#include <QDir>
#include <QTextStream>

#include <cstdio>
#include <memory>
#include <unistd.h>

CharacteriseCommand::CharacteriseCommand(const CharacteriseCommandSettings& settings, StatusConsole& console,
                                         InterruptNotifier& interrupts, QObject* parent)
    : QObject(parent), m_settings(settings), m_console(console), m_interrupts(interrupts) {
    connect(&interrupts, &InterruptNotifier::interrupted, this, [this] {
        if (m_interrupts.count() < 2 && !m_interrupted)
            m_console.line(
                QStringLiteral("chromameter: interrupted: ending the run after this reading, every "
                               "reading kept (Ctrl-C again leaves at once)"));
        m_interrupted = true;
    });
}

CharacteriseCommand::~CharacteriseCommand() = default;

int CharacteriseCommand::prepare() {
    QString error;
    bool ok = false;
    if (!m_settings.resumePath.isEmpty()) {
        ok = PrepareResume(m_settings.resumePath, &m_run, &error);
    } else if (!m_settings.retakePath.isEmpty()) {
        ok = PrepareRetake(m_settings.retakePath, m_settings.retakeIds, &m_run, &error);
    } else {
        const QString path = m_settings.savePath.isEmpty()
                                 ? DefaultJournalPath(QDateTime::currentDateTimeUtc(), QDir::currentPath())
                                 : m_settings.savePath;
        ok = PrepareNewRun(m_settings.run, path, &m_run, &error);
        if (ok && QFile::exists(path)) {
            ok = false;
            error = QStringLiteral("the journal %1 exists already: resume it (--resume), retake patches of "
                                   "it (--retake) or save elsewhere (--save)")
                        .arg(path);
        }
    }
    if (ok && m_settings.show.kind == ShowMethod::Kind::Window) {
        error = ScreenProblem(m_settings.show.screen);
        ok = error.isEmpty();
        if (!ok)
            error = QStringLiteral("--show window: ") + error;
    }
    if (!ok) {
        m_console.line(QStringLiteral("chromameter: ") + error);
        return InstrumentSession::UsageError;
    }
    return InstrumentSession::Ok;
}

int CharacteriseCommand::run(InstrumentSession& session) {
    const InstrumentInfo& instrument = session.instrument();
    std::unique_ptr<PatchDisplay> display;
    // The patch window, and the simulator's display it mirrors to on a simulated run.
    std::unique_ptr<WindowPatchDisplay> window;
    std::unique_ptr<PatchDisplay> mirrored;
    QTextStream prompts(stderr);
    QFile answers;
    answers.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered);
    switch (m_settings.show.kind) {
    case ShowMethod::Kind::Simulator: {
        InstrumentModel* model = session.simulator();
        if (!model || !model->display()) {
            m_console.line(
                QStringLiteral("chromameter: --show simulator needs the simulator's virtual display: "
                               "--simulate FAMILY --sim-display DISPLAY"));
            return InstrumentSession::UsageError;
        }
        display = std::make_unique<SimulatorPatchDisplay>(model->display());
        break;
    }
    case ShowMethod::Kind::Manual:
        display = std::make_unique<ManualPatchDisplay>(&prompts, &answers, &m_interrupted);
        break;
    case ShowMethod::Kind::Command:
        display = std::make_unique<CommandPatchDisplay>(m_settings.show.command, &m_interrupted);
        break;
    case ShowMethod::Kind::Window: {
        window = std::make_unique<WindowPatchDisplay>(m_settings.show, &m_interrupted);
        window->SetNoticeCallback([this](const QString& text) { m_console.line("chromameter: " + text); });
        // A resume with nothing left to measure goes straight to the figures, without a window.
        QString problem;
        if (!m_run.ids.isEmpty() && !window->Open(&problem)) {
            m_console.line(QStringLiteral("chromameter: --show window: ") + problem);
            return InstrumentSession::UsageError;
        }
        InstrumentModel* model = session.simulator();
        if (model && model->display()) {
            // The simulated instrument measures its virtual display: it is shown each patch too.
            mirrored = std::make_unique<SimulatorPatchDisplay>(model->display());
            display = std::make_unique<MirroredPatchDisplay>(window.get(), mirrored.get());
        }
        break;
    }
    }
    PatchDisplay* shown = display ? display.get() : window.get();

    if (m_run.mode == PreparedRun::Mode::New) {
        RunSettings& s = m_run.header.settings;
        s.instrumentFamily = instrument.family;
        s.port = instrument.port;
        s.started = QDateTime::currentDateTimeUtc();
    } else if (m_run.header.settings.instrumentFamily != instrument.family) {
        m_console.line(
            QStringLiteral("chromameter: note: the run was measured with the %1, this session with "
                           "the %2")
                .arg(m_run.header.settings.instrumentFamily, instrument.family));
    }
    QString error;
    if (!OpenJournal(&m_run, &error)) {
        m_console.line(QStringLiteral("chromameter: ") + error);
        return InstrumentSession::Failed;
    }
    m_console.line(QStringLiteral("chromameter: %1 %2 patch%3; every reading is saved to %4")
                       .arg(m_run.mode == PreparedRun::Mode::New      ? QStringLiteral("measuring")
                            : m_run.mode == PreparedRun::Mode::Resume ? QStringLiteral("resuming with")
                                                                      : QStringLiteral("retaking"))
                       .arg(m_run.ids.size())
                       .arg(m_run.ids.size() == 1 ? QString() : QStringLiteral("es"))
                       .arg(m_run.journalPath));
    if (m_run.ids.isEmpty())
        m_console.line(
            QStringLiteral("chromameter: every patch of the run has its reading; the figures follow"));

    m_taker = std::make_unique<ReadingTaker>(session, m_console);
    ReadingPatchMeter meter(*m_taker, instrument, m_settings.timeoutSec);
    CharacteriseRun run(shown, &meter, m_run.journal.get());
    CharacteriseRun::Options options;
    options.settleMs = m_run.header.settings.settleMs;
    options.retries = m_run.header.settings.retries;
    options.whiteEvery = m_run.header.settings.whiteEvery;
    run.SetOptions(options);
    run.SetClockOrigin(m_run.clockOriginMs);
    if (m_interrupts.count() > 0)
        m_interrupted = true;
    run.SetInterruptFlag(&m_interrupted);
    run.SetProgressCallback(
        [this](const CharacteriseRun::Progress& progress) { m_console.line(ProgressLine(progress)); });
    const CharacteriseRun::Outcome outcome = run.Run(m_run.header.patches, m_run.ids, &error);
    // The window goes before the figures come: the screen is the user's again.
    const bool endedByUser = window && window->EndedByUser();
    display.reset();
    window.reset();
    m_leftWorkBehind = m_taker->leftWorkBehind();
    m_run.journal.reset();
    if (!m_leftWorkBehind)
        session.disconnect();

    if (outcome == CharacteriseRun::Outcome::Interrupted && endedByUser && m_interrupts.count() == 0) {
        // Esc is the user's way to stop a run they mean to end: an orderly end, not an interruption.
        m_console.line(QStringLiteral("chromameter: ended with Esc; %1 reading%2 of this session kept in %3 "
                                      "(continue with --resume %3)")
                           .arg(run.Readings().size())
                           .arg(run.Readings().size() == 1 ? QString() : QStringLiteral("s"))
                           .arg(m_run.journalPath));
        return InstrumentSession::Ok;
    }
    if (outcome == CharacteriseRun::Outcome::Interrupted) {
        m_console.line(QStringLiteral("chromameter: interrupted; %1 reading%2 of this session kept in %3 "
                                      "(continue with --resume %3)")
                           .arg(run.Readings().size())
                           .arg(run.Readings().size() == 1 ? QString() : QStringLiteral("s"))
                           .arg(m_run.journalPath));
        return InstrumentSession::Interrupted;
    }
    if (outcome == CharacteriseRun::Outcome::Failed) {
        m_console.line(QStringLiteral("chromameter: the run ended: %1 (every reading so far is kept in %2)")
                           .arg(error, m_run.journalPath));
        return InstrumentSession::Failed;
    }
    JournalContents contents;
    if (!Journal::Load(m_run.journalPath, &contents, &error)) {
        m_console.line(QStringLiteral("chromameter: ") + error);
        return InstrumentSession::Failed;
    }
    if (!writeResults(contents))
        return InstrumentSession::Failed;
    for (const PatchReading& r : LatestPatchReadings(contents.readings, contents.header.patches)) {
        if (r.failed)
            return InstrumentSession::Failed;
    }
    return InstrumentSession::Ok;
}

bool CharacteriseCommand::writeResults(const JournalContents& contents) {
    const RunSettings& s = contents.header.settings;
    Target target;
    QString error;
    if (!Target::Parse(s.targetSpace, s.targetWhite, s.targetEotf, &target, &error)) {
        m_console.line(QStringLiteral("chromameter: the run's target: ") + error);
        return false;
    }
    return WriteCharacterisationOutputs(contents, target, m_settings.outputs(), m_console);
}
