// chromameter-sim: serves one simulated instrument on a pseudo-terminal until interrupted, so a host
// developer can point a host (or chromameter --port) at it without an instrument on the desk.

#include "DisplayControl.h"
#include "DisplayControlServer.h"
#include "InstrumentModel.h"
#include "InterruptNotifier.h"
#include "SimFamilies.h"
#include "SimReadingText.h"
#include "TrafficTap.h"
#include "VirtualDisplay.h"

#include <QDir>
#include <QFileInfo>

#include <QCoreApplication>
#include <QStringList>
#include <QTimer>

#include <cstdio>

namespace {
const char kUsage[] =
    "Usage: chromameter-sim FAMILY [--values Lv,x,y[,Tcp]] [--fault MODE] [--measure-ms MS]\n"
    "                       [--line MODEL] [--sim-display DISPLAY [--control PATH]] [--quiet]\n"
    "       chromameter-sim show CONTROL R G B [--timeout MS]\n"
    "\n"
    "Serves one simulated instrument on a pseudo-terminal and prints, on the first line of standard\n"
    "output, the path a host opens. Runs until interrupted (Ctrl-C).\n"
    "\n"
    "  FAMILY            spectro, analyser, luminance, photoresearch or jingce\n"
    "  --values V        the reading it reports (default 120.5,0.3127,0.3290,6504)\n"
    "  --fault MODE      misbehave: silent, garbage, overlong, cut, split (one byte at a time),\n"
    "                    unplug (the adapter is pulled when a measurement starts),\n"
    "                    slow (a measurement takes 20 times longer); none is the default\n"
    "  --measure-ms MS   how long a measurement takes (default 50)\n"
    "  --line MODEL      how the cable delivers, every byte at the line speed the host set:\n"
    "                    usb[:PERIOD][:jitter=MS][:seed=N] packets of at most 62 bytes on a\n"
    "                    latency timer of PERIOD ms at a random phase, one in two late by 1 to MS\n"
    "                    ms, the random draws from seed N (an FTDI-style adapter; the default,\n"
    "                    usb:16:jitter=8 with a fresh seed), bytewise (a byte or two at a time, as\n"
    "                    Prolific and CH340 adapters), instant (whole replies at once, no line time)\n"
    "  --sim-display DISPLAY  the instrument measures a virtual display instead of a fixed reading:\n"
    "                    a preset (srgb-ideal, wide-lcd, oled) and/or key=value pairs separated\n"
    "                    by commas: peak, black (cd/m2), white (x:y), primaries (srgb, p3, bt2020\n"
    "                    or xr:yr/xg:yg/xb:yb), eotf (gamma:G, srgb, bt1886), noise (relative\n"
    "                    standard deviation), drift (% a minute), response (ms), seed.\n"
    "                    The second line of standard output is then the display's control path.\n"
    "  --control PATH    where the display's control socket listens (default: beside the port)\n"
    "  --quiet           do not log the traffic on standard error\n"
    "  --help            show this text\n"
    "\n"
    "show CONTROL R G B  makes the display served at CONTROL show device values R, G, B (0 to 1) and\n"
    "                    returns once it does (exit status 0; 1 if no display answered in time,\n"
    "                    --timeout MS, default 5000).\n"
    "\n"
    "Example: chromameter-sim analyser &  then  chromameter --port <printed path> measure\n"
    "         chromameter-sim analyser --sim-display wide-lcd   (prints the port, then CONTROL)\n"
    "         chromameter characterise --port <port> --show 'command:chromameter-sim show CONTROL {r} {g} "
    "{b}'\n";

const int kDefaultShowTimeoutMs = 5000;

int usageError(const QString& message) {
    std::fprintf(stderr, "chromameter-sim: %s\nTry 'chromameter-sim --help'.\n", qPrintable(message));
    return 2;
}

struct Options {
    QString family;
    SimReading reading;
    bool valuesGiven = false;
    SimFault fault = SimFault::None;
    int measureMs = -1;
    LineModel line = LineModel::realistic();
    QString display;
    QString control;
    bool quiet = false;
};

// 0 to go on, otherwise the exit status; -1 for --help.
int parse(const QStringList& args, Options* options) {
    for (int i = 1; i < args.size(); ++i) {
        const QString& arg = args[i];
        auto value = [&](QString* out) {
            const int eq = arg.indexOf(QLatin1Char('='));
            if (arg.startsWith(QLatin1String("--")) && eq > 0) {
                *out = arg.mid(eq + 1);
                return true;
            }
            if (i + 1 >= args.size())
                return false;
            *out = args[++i];
            return true;
        };
        const QString name = arg.section(QLatin1Char('='), 0, 0);
        QString text;
        if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            return -1;
        } else if (arg == QLatin1String("--quiet")) {
            options->quiet = true;
        } else if (name == QLatin1String("--values")) {
            QString error;
            if (!value(&text))
                return usageError(QStringLiteral("--values needs Lv,x,y[,Tcp]"));
            if (!ParseSimReading(text, &options->reading, &error))
                return usageError(QStringLiteral("--values: ") + error);
            options->valuesGiven = true;
        } else if (name == QLatin1String("--fault")) {
            if (!value(&text))
                return usageError(QStringLiteral("--fault needs a mode"));
            if (!parseSimFault(text, &options->fault))
                return usageError(QStringLiteral("unknown fault mode \"%1\"").arg(text));
        } else if (name == QLatin1String("--measure-ms")) {
            bool ok = false;
            if (!value(&text) || (options->measureMs = text.toInt(&ok), !ok) || options->measureMs < 0)
                return usageError(QStringLiteral("--measure-ms needs a number of milliseconds"));
        } else if (name == QLatin1String("--line")) {
            if (!value(&text))
                return usageError(QStringLiteral("--line needs a model: usb[:PERIOD], bytewise or instant"));
            if (!LineModel::parse(text, &options->line))
                return usageError(QStringLiteral("unknown line model \"%1\"").arg(text));
        } else if (name == QLatin1String("--sim-display")) {
            QString error;
            if (!value(&text))
                return usageError(QStringLiteral("--sim-display needs a display, for example srgb-ideal"));
            if (!VirtualDisplay::Parse(text, nullptr, &error))
                return usageError(QStringLiteral("--sim-display: ") + error);
            options->display = text;
        } else if (name == QLatin1String("--control")) {
            if (!value(&text) || text.isEmpty())
                return usageError(QStringLiteral("--control needs a path"));
            options->control = text;
        } else if (arg.startsWith(QLatin1Char('-'))) {
            return usageError(QStringLiteral("unknown option %1").arg(arg));
        } else if (options->family.isEmpty()) {
            options->family = arg;
        } else {
            return usageError(QStringLiteral("one family only (got %1 and %2)").arg(options->family, arg));
        }
    }
    if (options->family.isEmpty())
        return usageError(
            QStringLiteral("which family? One of %1").arg(SimFamilyNames().join(QStringLiteral(", "))));
    if (!SimFamilyProblem(options->family).isEmpty())
        return usageError(SimFamilyProblem(options->family));
    if (!options->control.isEmpty() && options->display.isEmpty())
        return usageError(QStringLiteral("--control needs --sim-display"));
    if (options->valuesGiven && !options->display.isEmpty())
        return usageError(QStringLiteral("--values and --sim-display exclude each other: the display "
                                         "decides what the instrument reads"));
    return 0;
}

// chromameter-sim show CONTROL R G B [--timeout MS]
int show(const QStringList& args) {
    QStringList positional;
    int timeoutMs = kDefaultShowTimeoutMs;
    for (int i = 2; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (arg == QLatin1String("--timeout") || arg.startsWith(QLatin1String("--timeout="))) {
            QString text = arg.section(QLatin1Char('='), 1);
            if (!arg.contains(QLatin1Char('=')) && i + 1 < args.size())
                text = args[++i];
            bool ok = false;
            timeoutMs = text.toInt(&ok);
            if (!ok || timeoutMs <= 0)
                return usageError(QStringLiteral("--timeout needs a number of milliseconds"));
        } else if (arg.startsWith(QLatin1String("--"))) {
            return usageError(QStringLiteral("unknown option %1").arg(arg));
        } else {
            positional.append(arg);
        }
    }
    if (positional.size() != 4)
        return usageError(
            QStringLiteral("show needs CONTROL R G B (the control path and three values 0 to 1)"));
    double rgb[3];
    QString error;
    if (!ParseDisplayValues(positional[1], positional[2], positional[3], rgb, &error))
        return usageError(error);
    if (!SendDisplayShow(positional[0], rgb[0], rgb[1], rgb[2], timeoutMs, &error)) {
        std::fprintf(stderr, "chromameter-sim: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}

void logLine(const QString& text) {
    std::fprintf(stderr, "%s\n", qPrintable(text));
    std::fflush(stderr);
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (app.arguments().size() > 1 && app.arguments()[1] == QLatin1String("show"))
        return show(app.arguments());
    Options options;
    const int parsed = parse(app.arguments(), &options);
    if (parsed == -1) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (parsed != 0)
        return parsed;

    InterruptNotifier interrupts;
    std::shared_ptr<VirtualDisplay> display;
    if (!options.display.isEmpty())
        display = VirtualDisplay::FromText(options.display);
    std::unique_ptr<InstrumentModel> model = CreateFamilyModel(options.family, display);
    model->setReading(options.reading);
    model->setFault(options.fault);
    if (options.measureMs >= 0)
        model->setMeasureDelayMs(options.measureMs);
    model->setLine(options.line);
    if (!model->start()) {
        std::fprintf(stderr, "chromameter-sim: could not create a pseudo-terminal\n");
        return 1;
    }

    // The display's control socket lives in the simulator's own temporary folder unless told
    // otherwise, so it goes with it.
    DisplayControlServer control(display);
    if (display) {
        const QString path =
            !options.control.isEmpty()
                ? options.control
                : QFileInfo(model->portPath()).dir().absoluteFilePath(QStringLiteral("../display"));
        QString error;
        if (!control.listen(QDir::cleanPath(path), &error)) {
            model->stop();
            std::fprintf(stderr, "chromameter-sim: %s\n", qPrintable(error));
            return 1;
        }
    }

    // The path alone on the first line, so a script can read it; the display's control path, if
    // any, on the second.
    std::printf("%s\n", qPrintable(model->portPath()));
    if (display)
        std::printf("%s\n", qPrintable(control.path()));
    std::fflush(stdout);

    const int type = SimFamilyType(options.family);
    // With the seed drawn, so that a run's packet timing can be replayed with --line.
    const LineModel lineShown =
        options.line.kind() == LineModel::Usb ? options.line.withSeed(model->lineSeed()) : options.line;
    logLine(QStringLiteral("chromameter-sim: %1 (%2, type %3) at %4, %5 line")
                .arg(SimFamilyTitle(type), options.family)
                .arg(type)
                .arg(model->portPath(), lineShown.name()));
    logLine(QStringLiteral("Point a host at it, for example: chromameter --port %1 measure")
                .arg(model->portPath()));
    if (display) {
        logLine(QStringLiteral("Virtual display: %1").arg(VirtualDisplay::Describe(display->settings())));
        logLine(QStringLiteral("Show a patch with: chromameter-sim show %1 R G B").arg(control.path()));
        QObject::connect(&control, &DisplayControlServer::shown,
                         [&options, &model](double r, double g, double b) {
                             if (!options.quiet)
                                 logLine(QStringLiteral("%1 s  display shows %2 %3 %4")
                                             .arg(double(model->elapsedMs()) / 1000.0, 9, 'f', 3)
                                             .arg(r)
                                             .arg(g)
                                             .arg(b));
                         });
    }
    logLine(QStringLiteral("Ctrl-C stops it."));

    TrafficTap tap(model.get());
    if (!options.quiet) {
        QObject::connect(&tap, &TrafficTap::received, [](qint64 atMs, int baud, const QByteArray& bytes) {
            logLine(QStringLiteral("%1 s  host -> instrument  %2 baud  %3")
                        .arg(double(atMs) / 1000.0, 9, 'f', 3)
                        .arg(baud, 6)
                        .arg(TrafficTap::Escape(bytes)));
        });
        QObject::connect(&tap, &TrafficTap::sent, [&model](qint64 newBytes, qint64) {
            logLine(QStringLiteral("%1 s  instrument -> host  %2 bytes")
                        .arg(double(model->elapsedMs()) / 1000.0, 9, 'f', 3)
                        .arg(newBytes));
        });
        tap.start(10);
    }
    bool wasPlugged = true;
    QTimer plugWatch;
    QObject::connect(&plugWatch, &QTimer::timeout, [&] {
        if (wasPlugged && !model->isPlugged()) {
            wasPlugged = false;
            logLine(
                QStringLiteral("chromameter-sim: the adapter is pulled (%1 is gone)").arg(model->portPath()));
        }
    });
    plugWatch.start(50);

    QObject::connect(&interrupts, &InterruptNotifier::interrupted, &app, [&app] {
        // A second interrupt while stopping ends the process at once.
        InterruptNotifier::restoreDefaultHandlers();
        app.quit();
    });
    app.exec();

    tap.poll();
    control.close();
    model->stop();
    logLine(QStringLiteral("chromameter-sim: stopped"));
    return 0;
}
