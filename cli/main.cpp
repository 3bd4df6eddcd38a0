// chromameter: a command-line host of the ChromameterMinolta plugin. It uses the library only as a
// host does (the factory, IMinolta, a watcher, the port catalogue and the exported detector) and
// keeps the Qt event loop of its main thread running while the library works.

#include "CharacteriseCommand.h"
#include "ChromaticityPlot.h"
#include "CommandLine.h"
#include "InstrumentSession.h"
#include "InterruptNotifier.h"
#include "MeasureRun.h"
#include "QtGuiLeakSuppressions.h"
#include "ReportCommand.h"
#include "ReportWriter.h"
#include "ScreenList.h"
#include "StatusConsole.h"
#include "TraceLog.h"
#include "WindowSystem.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
int runPorts(const CliOptions& options, StatusConsole& console) {
    InstrumentSession session(options.session, console);
    const int prepared = session.prepare();
    if (prepared != InstrumentSession::Ok)
        return prepared;
    console.print(ReportWriter::Create(options.format)->ports(session.ports(), session.portSource()));
    return InstrumentSession::Ok;
}

int runScreens(StatusConsole& console) {
    const QVector<ScreenInfo> screens = ListScreens();
    if (screens.isEmpty()) {
        console.line(QStringLiteral("chromameter: the window system has no screens"));
        return InstrumentSession::Failed;
    }
    console.print(ScreenListText(screens));
    return InstrumentSession::Ok;
}

// A window system is asked for only when the command shows a window: every other command runs on a
// machine without a display. Decided on the raw arguments, before any application object exists.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv, QString* problem) {
    QStringList raw;
    for (int i = 0; i < argc; ++i)
        raw.append(QString::fromLocal8Bit(argv[i]));
    const CommandLine::Result first = CommandLine::Parse(raw);
    if (first.ok() && !first.options.help && !first.options.version && first.options.needsWindowSystem()) {
        const QString missing = WindowSystemProblem();
        if (!missing.isEmpty()) {
            *problem = first.options.command == CliCommand::Screens
                           ? QStringLiteral("screens needs a window system: ") + missing
                           : QStringLiteral("--show window needs a window system: ") + missing +
                                 QStringLiteral("; --show manual or command:CMD work without one");
            return nullptr;
        }
        return std::make_unique<QApplication>(argc, argv);
    }
    return std::make_unique<QCoreApplication>(argc, argv);
}

int runWithInstrument(const CliOptions& options, StatusConsole& console, InterruptNotifier& interrupts) {
    if (options.command == CliCommand::Measure && !options.plotFile.isEmpty()) {
        // A plot that cannot be written is found out before the instrument is touched.
        QString error;
        if (!ChromaticityPlot().write(options.plotFile, &error)) {
            console.line(
                QStringLiteral("chromameter: cannot write the plot %1: %2").arg(options.plotFile, error));
            return InstrumentSession::UsageError;
        }
    }
    // A characterisation's patch sets and journal are checked before the instrument is touched.
    std::unique_ptr<CharacteriseCommand> characterise;
    if (options.command == CliCommand::Characterise) {
        characterise = std::make_unique<CharacteriseCommand>(options.characterise, console, interrupts);
        const int prepared = characterise->prepare();
        if (prepared != InstrumentSession::Ok)
            return prepared;
    }
    InstrumentSession session(options.session, console);
    int status = session.prepare();
    if (status != InstrumentSession::Ok)
        return status;
    status = session.detect();
    if (status != InstrumentSession::Ok)
        return status;

    if (options.command == CliCommand::Detect) {
        console.print(ReportWriter::Create(options.format)->instrument(session.instrument()));
        session.disconnect();
        return interrupts.count() > 0 ? InstrumentSession::Interrupted : InstrumentSession::Ok;
    }
    if (characterise) {
        status = characterise->run(session);
        if (characterise->leftWorkBehind()) {
            std::fflush(stdout);
            std::fflush(stderr);
            ::_exit(status);
        }
        return status;
    }
    MeasureRun run(options, session, console, interrupts);
    status = run.run();
    if (run.leftWorkBehind()) {
        // A library thread still waits for the reading that was given up on; ending the process
        // without the usual teardown keeps it from meeting objects already destroyed.
        std::fflush(stdout);
        std::fflush(stderr);
        ::_exit(status);
    }
    return status;
}
} // namespace

int main(int argc, char** argv) {
    QString windowProblem;
    const std::unique_ptr<QCoreApplication> app = makeApplication(argc, argv, &windowProblem);
    if (!app) {
        std::fprintf(stderr, "chromameter: %s\n", qPrintable(windowProblem));
        return InstrumentSession::UsageError;
    }
    QCoreApplication::setApplicationName(QStringLiteral("chromameter"));

    const CommandLine::Result parsed = CommandLine::Parse(QCoreApplication::arguments());
    if (parsed.options.help) {
        std::fputs(qPrintable(CommandLine::UsageText()), stdout);
        return 0;
    }
    if (parsed.options.version) {
        std::fputs(qPrintable(CommandLine::VersionText()), stdout);
        return 0;
    }
    if (!parsed.ok()) {
        std::fprintf(stderr, "chromameter: %s\nTry 'chromameter --help'.\n", qPrintable(parsed.error));
        return InstrumentSession::UsageError;
    }
    const CliOptions& options = parsed.options;

    StatusConsole console(::isatty(STDERR_FILENO) == 1);
    struct winsize size = {};
    if (console.isTerminal() && ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0)
        console.setWidth(size.ws_col);
    TraceLog::Install(&console, options.session.trace);
    InterruptNotifier interrupts;
    QObject::connect(&interrupts, &InterruptNotifier::interrupted, [&console, &interrupts] {
        if (interrupts.count() < 2)
            return;
        // The first interrupt asked for a clean end; the second one will not wait for it.
        console.stopProgress();
        console.line(QStringLiteral("chromameter: interrupted again: leaving without disconnecting"));
        std::fflush(stdout);
        ::_exit(InstrumentSession::Interrupted);
    });

    // The progress line moves while the library waits in its own event loops, detection included.
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&console] { console.tick(); });
    if (console.isTerminal())
        ticker.start(100);

    int status = InstrumentSession::Ok;
    if (options.command == CliCommand::Ports)
        status = runPorts(options, console);
    else if (options.command == CliCommand::Screens)
        status = runScreens(console);
    else if (options.command == CliCommand::Report)
        status = ReportCommand(options.report, options.characterise, console).run();
    else
        status = runWithInstrument(options, console, interrupts);

    ticker.stop();
    console.stopProgress();
    TraceLog::Uninstall();
    return status;
}
