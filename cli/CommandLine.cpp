#include "CommandLine.h"

#include "Eotf.h"
#include "InstrumentModel.h"
#include "MeasureOrder.h"
#include "RgbSpace.h"
#include "SimFamilies.h"
#include "SimReadingText.h"
#include "VirtualDisplay.h"

#include <cmath>

#ifndef CHROMAMETER_VERSION
#define CHROMAMETER_VERSION "0.0.0"
#endif

namespace {
// Readings: options of both measure and characterise. Results: of characterise and report, which
// make the same outputs from a run.
enum class Scope { Global, AnyCommand, Measure, Characterise, Readings, Results };

struct OptionRule {
    const char* name;
    bool takesValue;
    Scope scope;
};

const OptionRule kOptions[] = {
    {"--simulate", true, Scope::Global},
    {"--sim-values", true, Scope::Global},
    {"--sim-fault", true, Scope::Global},
    {"--port", true, Scope::Global},
    {"--catalogue", true, Scope::Global},
    {"--trace", false, Scope::Global},
    {"--family", true, Scope::Global},
    {"--no-remember", false, Scope::Global},
    {"--help", false, Scope::Global},
    {"--version", false, Scope::Global},
    {"--format", true, Scope::AnyCommand},
    {"--count", true, Scope::Measure},
    {"--continuous", false, Scope::Measure},
    {"--interval", true, Scope::Measure},
    {"--tcp", false, Scope::Measure},
    {"--timeout", true, Scope::Readings},
    {"--plot", true, Scope::Measure},
    {"--reference", true, Scope::Measure},
    {"--quantities", true, Scope::Measure},
    {"--sim-line", true, Scope::Global},
    {"--sim-display", true, Scope::Global},
    {"--patches", true, Scope::Characterise},
    {"--order", true, Scope::Characterise},
    {"--settle", true, Scope::Characterise},
    {"--show", true, Scope::Characterise},
    {"--save", true, Scope::Characterise},
    {"--resume", true, Scope::Characterise},
    {"--retake", true, Scope::Characterise},
    {"--ids", true, Scope::Characterise},
    {"--retries", true, Scope::Characterise},
    {"--white-every", true, Scope::Characterise},
    {"--normalise-drift", false, Scope::Results},
    {"--target-space", true, Scope::Results},
    {"--target-white", true, Scope::Results},
    {"--target-eotf", true, Scope::Results},
    {"--ti3", true, Scope::Results},
    {"--report", true, Scope::Results},
    {"--icc", true, Scope::Results},
    {"--icc-version", true, Scope::Results},
    {"--display-name", true, Scope::Results},
    {"--screen", true, Scope::Characterise},
    {"--patch-size", true, Scope::Characterise},
    {"--background", true, Scope::Characterise},
};

// A whole number from `minimum` up.
bool parseCount(const QString& text, int minimum, int* out) {
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    if (!ok || value < minimum)
        return false;
    *out = value;
    return true;
}

const OptionRule* findOption(const QString& name) {
    for (const OptionRule& option : kOptions) {
        if (name == QLatin1String(option.name))
            return &option;
    }
    return nullptr;
}

bool parseSeconds(const QString& text, double* out) {
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < 0)
        return false;
    *out = value;
    return true;
}

// "first", or a white "x,y" or "x,y,Lv".
bool parseReference(const QString& text, CliOptions* o, QString* error) {
    if (text.trimmed() == QLatin1String("first")) {
        o->referenceFirst = true;
        o->hasReference = true;
        return true;
    }
    const QStringList parts = text.split(QLatin1Char(','));
    double values[3] = {0, 0, 0};
    bool ok = parts.size() == 2 || parts.size() == 3;
    for (int i = 0; ok && i < parts.size(); ++i) {
        values[i] = parts[i].trimmed().toDouble(&ok);
        ok = ok && std::isfinite(values[i]);
    }
    if (!ok) {
        *error = QStringLiteral("--reference is first, or x,y or x,y,Lv, not \"%1\"").arg(text);
        return false;
    }
    if (!(values[0] > 0 && values[1] > 0 && values[0] + values[1] < 1)) {
        *error = QStringLiteral("--reference: x and y above 0 with x + y below 1, not \"%1\"").arg(text);
        return false;
    }
    if (parts.size() == 3 && !(values[2] > 0)) {
        *error = QStringLiteral("--reference: the luminance must be above 0, not \"%1\"").arg(parts[2]);
        return false;
    }
    o->hasReference = true;
    o->referenceFirst = false;
    o->reference.x = values[0];
    o->reference.y = values[1];
    o->reference.hasLv = parts.size() == 3;
    o->reference.Lv = values[2];
    return true;
}

QString commandName(CliCommand command) {
    switch (command) {
    case CliCommand::Ports:
        return QStringLiteral("ports");
    case CliCommand::Detect:
        return QStringLiteral("detect");
    case CliCommand::Measure:
        return QStringLiteral("measure");
    case CliCommand::Characterise:
        return QStringLiteral("characterise");
    case CliCommand::Screens:
        return QStringLiteral("screens");
    case CliCommand::Report:
        return QStringLiteral("report");
    case CliCommand::None:
        break;
    }
    return QString();
}
} // namespace

CommandLine::Result CommandLine::Parse(const QStringList& args) {
    Result result;
    CliOptions& o = result.options;
    QStringList measureOnly;
    QStringList characteriseOnly;
    QStringList resultsOnly;
    // Options a resume or a retake takes from the run's journal instead.
    QStringList runDefining;
    // Options of the patch window alone.
    QStringList windowOnly;
    CharacteriseCommandSettings& c = o.characterise;

    for (int i = 1; i < args.size(); ++i) {
        const QString arg = args[i];
        if (arg == QLatin1String("-h")) {
            o.help = true;
            continue;
        }
        if (!arg.startsWith(QLatin1Char('-')) || arg == QLatin1String("-")) {
            if (o.command == CliCommand::Report && o.report.journalPath.isEmpty()) {
                o.report.journalPath = arg;
                continue;
            }
            CliCommand command = CliCommand::None;
            if (arg == QLatin1String("ports"))
                command = CliCommand::Ports;
            else if (arg == QLatin1String("detect"))
                command = CliCommand::Detect;
            else if (arg == QLatin1String("measure"))
                command = CliCommand::Measure;
            else if (arg == QLatin1String("characterise") || arg == QLatin1String("characterize"))
                command = CliCommand::Characterise;
            else if (arg == QLatin1String("screens"))
                command = CliCommand::Screens;
            else if (arg == QLatin1String("report"))
                command = CliCommand::Report;
            if (command == CliCommand::None) {
                result.error = QStringLiteral("unknown command \"%1\" (commands: ports, detect, measure, "
                                              "characterise, report, screens)")
                                   .arg(arg);
                return result;
            }
            if (o.command != CliCommand::None) {
                result.error =
                    QStringLiteral("one command at a time (got %1 and %2)").arg(commandName(o.command), arg);
                return result;
            }
            o.command = command;
            continue;
        }

        const int eq = arg.indexOf(QLatin1Char('='));
        const QString name = eq > 0 ? arg.left(eq) : arg;
        const OptionRule* option = findOption(name);
        if (!option) {
            result.error = QStringLiteral("unknown option %1").arg(name);
            return result;
        }
        QString value;
        if (option->takesValue) {
            if (eq > 0) {
                value = arg.mid(eq + 1);
            } else if (i + 1 < args.size()) {
                value = args[++i];
            } else {
                result.error = QStringLiteral("%1 needs a value").arg(name);
                return result;
            }
        } else if (eq > 0) {
            result.error = QStringLiteral("%1 takes no value").arg(name);
            return result;
        }
        if (option->scope == Scope::Measure)
            measureOnly.append(name);
        if (option->scope == Scope::Characterise)
            characteriseOnly.append(name);
        if (option->scope == Scope::Results)
            resultsOnly.append(name);

        if (name == QLatin1String("--simulate")) {
            o.session.simulate = value;
        } else if (name == QLatin1String("--sim-values")) {
            o.session.simValues = value;
        } else if (name == QLatin1String("--sim-fault")) {
            o.session.simFault = value;
        } else if (name == QLatin1String("--sim-line")) {
            o.session.simLine = value;
        } else if (name == QLatin1String("--port")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--port needs a port name");
                return result;
            }
            o.session.port = value;
        } else if (name == QLatin1String("--catalogue")) {
            o.session.catalogue = value;
        } else if (name == QLatin1String("--family")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--family needs a family name");
                return result;
            }
            o.session.family = value;
        } else if (name == QLatin1String("--no-remember")) {
            o.session.remember = false;
        } else if (name == QLatin1String("--trace")) {
            o.session.trace = true;
        } else if (name == QLatin1String("--help")) {
            o.help = true;
        } else if (name == QLatin1String("--version")) {
            o.version = true;
        } else if (name == QLatin1String("--format")) {
            if (value == QLatin1String("table"))
                o.format = OutputFormat::Table;
            else if (value == QLatin1String("json"))
                o.format = OutputFormat::Json;
            else if (value == QLatin1String("csv"))
                o.format = OutputFormat::Csv;
            else {
                result.error = QStringLiteral("--format is table, json or csv, not \"%1\"").arg(value);
                return result;
            }
        } else if (name == QLatin1String("--count")) {
            bool ok = false;
            o.count = value.trimmed().toInt(&ok);
            if (!ok || o.count < 1) {
                result.error =
                    QStringLiteral("--count needs a whole number of at least 1, not \"%1\"").arg(value);
                return result;
            }
            o.countGiven = true;
        } else if (name == QLatin1String("--continuous")) {
            o.continuous = true;
        } else if (name == QLatin1String("--interval")) {
            if (!parseSeconds(value, &o.intervalSec)) {
                result.error = QStringLiteral("--interval needs seconds (0 or more), not \"%1\"").arg(value);
                return result;
            }
            o.intervalGiven = true;
        } else if (name == QLatin1String("--tcp")) {
            o.session.readTcp = true;
        } else if (name == QLatin1String("--timeout")) {
            if (!parseSeconds(value, &o.timeoutSec) || o.timeoutSec <= 0) {
                result.error =
                    QStringLiteral("--timeout needs a number of seconds above 0, not \"%1\"").arg(value);
                return result;
            }
        } else if (name == QLatin1String("--plot")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--plot needs a file name");
                return result;
            }
            o.plotFile = value;
        } else if (name == QLatin1String("--reference")) {
            if (!parseReference(value, &o, &result.error))
                return result;
        } else if (name == QLatin1String("--sim-display")) {
            QString problem;
            if (!VirtualDisplay::Parse(value, nullptr, &problem)) {
                result.error = QStringLiteral("--sim-display: ") + problem;
                return result;
            }
            o.session.simDisplay = value;
        } else if (name == QLatin1String("--patches")) {
            c.run.patchSets = value;
            runDefining.append(name);
        } else if (name == QLatin1String("--order")) {
            MeasureOrder order;
            if (!MeasureOrder::Parse(value, &order, &result.error))
                return result;
            c.run.order = value;
            runDefining.append(name);
        } else if (name == QLatin1String("--settle")) {
            if (!parseCount(value, 0, &c.run.settleMs)) {
                result.error =
                    QStringLiteral("--settle needs milliseconds (0 or more), not \"%1\"").arg(value);
                return result;
            }
            runDefining.append(name);
        } else if (name == QLatin1String("--retries")) {
            if (!parseCount(value, 0, &c.run.retries)) {
                result.error =
                    QStringLiteral("--retries needs a whole number (0 or more), not \"%1\"").arg(value);
                return result;
            }
            runDefining.append(name);
        } else if (name == QLatin1String("--white-every")) {
            if (!parseCount(value, 1, &c.run.whiteEvery)) {
                result.error =
                    QStringLiteral("--white-every needs a whole number of patches (1 or more), not \"%1\"")
                        .arg(value);
                return result;
            }
            runDefining.append(name);
        } else if (name == QLatin1String("--target-space")) {
            RgbPrimaries primaries;
            if (!ParsePrimaries(value, &primaries, &result.error))
                return result;
            c.run.targetSpace = value;
            o.report.targetSpace = value;
            runDefining.append(name);
        } else if (name == QLatin1String("--target-white")) {
            Chromaticity white;
            if (!ParseWhite(value, &white, &result.error))
                return result;
            c.run.targetWhite = value;
            o.report.targetWhite = value;
            runDefining.append(name);
        } else if (name == QLatin1String("--target-eotf")) {
            Eotf eotf;
            if (!Eotf::Parse(value, &eotf, &result.error))
                return result;
            c.run.targetEotf = value;
            o.report.targetEotf = value;
            runDefining.append(name);
        } else if (name == QLatin1String("--show")) {
            if (!ShowMethod::Parse(value, &c.show, &result.error))
                return result;
            c.showGiven = true;
        } else if (name == QLatin1String("--screen")) {
            if (!parseCount(value, 0, &c.show.screen)) {
                result.error =
                    QStringLiteral("--screen needs a screen's number (0 or more; chromameter screens lists "
                                   "them), not \"%1\"")
                        .arg(value);
                return result;
            }
            windowOnly.append(name);
        } else if (name == QLatin1String("--patch-size")) {
            if (!ShowMethod::ParsePatchSize(value, &c.show.patchPercent, &result.error))
                return result;
            windowOnly.append(name);
        } else if (name == QLatin1String("--background")) {
            if (!ShowMethod::ParseBackground(value, &c.show.background, &result.error))
                return result;
            windowOnly.append(name);
        } else if (name == QLatin1String("--save")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--save needs a file name");
                return result;
            }
            c.savePath = value;
        } else if (name == QLatin1String("--resume")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--resume needs the run's journal");
                return result;
            }
            c.resumePath = value;
        } else if (name == QLatin1String("--retake")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--retake needs the run's journal");
                return result;
            }
            c.retakePath = value;
        } else if (name == QLatin1String("--ids")) {
            c.retakeIds = value;
        } else if (name == QLatin1String("--normalise-drift")) {
            c.normaliseDrift = true;
        } else if (name == QLatin1String("--ti3")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--ti3 needs a file name");
                return result;
            }
            c.ti3Path = value;
        } else if (name == QLatin1String("--report")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--report needs a file name");
                return result;
            }
            c.reportPath = value;
        } else if (name == QLatin1String("--icc")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--icc needs a file name");
                return result;
            }
            c.iccPath = value;
        } else if (name == QLatin1String("--icc-version")) {
            if (value.trimmed() == QLatin1String("2") || value.trimmed() == QLatin1String("4")) {
                c.iccVersion = value.trimmed().toInt();
            } else {
                result.error = QStringLiteral("--icc-version is 2 or 4, not \"%1\"").arg(value);
                return result;
            }
        } else if (name == QLatin1String("--display-name")) {
            c.displayName = value;
        } else if (name == QLatin1String("--quantities")) {
            QString problem;
            if (!ParseQuantityList(value, &o.quantities, &problem)) {
                result.error = QStringLiteral("--quantities: ") + problem;
                return result;
            }
        }
    }

    if (o.help || o.version)
        return result;
    if (o.command == CliCommand::None) {
        result.error =
            QStringLiteral("no command given (ports, detect, measure, characterise, report or screens)");
        return result;
    }
    if (o.command != CliCommand::Measure && !measureOnly.isEmpty()) {
        result.error = QStringLiteral("%1 is an option of measure, not of %2")
                           .arg(measureOnly.first(), commandName(o.command));
        return result;
    }
    if (o.command != CliCommand::Characterise && !characteriseOnly.isEmpty()) {
        result.error = QStringLiteral("%1 is an option of characterise, not of %2")
                           .arg(characteriseOnly.first(), commandName(o.command));
        return result;
    }
    if (o.command != CliCommand::Characterise && o.command != CliCommand::Report && !resultsOnly.isEmpty()) {
        result.error = QStringLiteral("%1 is an option of characterise and report, not of %2")
                           .arg(resultsOnly.first(), commandName(o.command));
        return result;
    }
    if (o.command == CliCommand::Report) {
        c.format = o.format;
        if (o.report.journalPath.isEmpty()) {
            result.error = QStringLiteral("report needs the run's journal: chromameter report JOURNAL");
            return result;
        }
    }
    if (o.command == CliCommand::Characterise) {
        c.format = o.format;
        c.timeoutSec = o.timeoutSec;
        c.simulated = !o.session.simulate.isEmpty();
        const bool continues = !c.resumePath.isEmpty() || !c.retakePath.isEmpty();
        if (!c.resumePath.isEmpty() && !c.retakePath.isEmpty()) {
            result.error = QStringLiteral("--resume and --retake do not go together");
            return result;
        }
        if (!c.retakePath.isEmpty() && c.retakeIds.isEmpty()) {
            result.error = QStringLiteral("--retake needs --ids ID,... (the patches to measure again)");
            return result;
        }
        if (c.retakePath.isEmpty() && !c.retakeIds.isEmpty()) {
            result.error = QStringLiteral("--ids goes with --retake");
            return result;
        }
        if (continues && !c.savePath.isEmpty()) {
            result.error =
                QStringLiteral("--save does not go with %1: the run's own journal is continued")
                    .arg(c.resumePath.isEmpty() ? QStringLiteral("--retake") : QStringLiteral("--resume"));
            return result;
        }
        if (continues && !runDefining.isEmpty()) {
            result.error = QStringLiteral("%1 does not go with %2: the run's journal keeps its settings")
                               .arg(runDefining.first(), c.resumePath.isEmpty() ? QStringLiteral("--retake")
                                                                                : QStringLiteral("--resume"));
            return result;
        }
        if (c.showGiven && c.show.kind == ShowMethod::Kind::Simulator &&
            (o.session.simulate.isEmpty() || o.session.simDisplay.isEmpty())) {
            result.error = QStringLiteral("--show simulator needs --simulate FAMILY --sim-display DISPLAY");
            return result;
        }
        if (!c.showGiven && !o.session.simulate.isEmpty() && o.session.simDisplay.isEmpty()) {
            result.error = QStringLiteral("characterise on the simulator needs a display to measure: "
                                          "--sim-display DISPLAY (for example srgb-ideal)");
            return result;
        }
        // The simulator shows its patches on its own display; on a real one, the patch window does.
        if (!c.showGiven)
            c.show.kind = c.simulated ? ShowMethod::Kind::Simulator : ShowMethod::Kind::Window;
        if (c.show.kind != ShowMethod::Kind::Window && !windowOnly.isEmpty()) {
            result.error = QStringLiteral("%1 goes with --show window").arg(windowOnly.first());
            return result;
        }
    }
    if (o.continuous && o.countGiven) {
        result.error = QStringLiteral("--count and --continuous do not go together");
        return result;
    }
    if (o.continuous && !o.intervalGiven)
        o.intervalSec = 1.0;
    for (Quantity q : o.quantities) {
        if (IsDifference(q) && !o.hasReference) {
            result.error = QStringLiteral("--quantities: %1 needs --reference").arg(QuantityKey(q));
            return result;
        }
    }

    if (!o.session.simulate.isEmpty()) {
        const QString problem = SimFamilyProblem(o.session.simulate);
        if (!problem.isEmpty()) {
            result.error = QStringLiteral("--simulate: ") + problem;
            return result;
        }
        if (!o.session.port.isEmpty() || !o.session.catalogue.isEmpty()) {
            result.error =
                QStringLiteral("--simulate serves its own port; it does not go with --port or --catalogue");
            return result;
        }
    } else if (!o.session.simValues.isEmpty() || !o.session.simFault.isEmpty() ||
               !o.session.simLine.isEmpty() || !o.session.simDisplay.isEmpty()) {
        result.error = QStringLiteral("%1 needs --simulate FAMILY")
                           .arg(!o.session.simValues.isEmpty()  ? QStringLiteral("--sim-values")
                                : !o.session.simFault.isEmpty() ? QStringLiteral("--sim-fault")
                                : !o.session.simLine.isEmpty()  ? QStringLiteral("--sim-line")
                                                                : QStringLiteral("--sim-display"));
        return result;
    }
    if (!o.session.simLine.isEmpty() && !LineModel::parse(o.session.simLine, nullptr)) {
        result.error =
            QStringLiteral("--sim-line: unknown line model \"%1\" (usb[:PERIOD], bytewise or instant)")
                .arg(o.session.simLine);
        return result;
    }
    if (!o.session.simValues.isEmpty()) {
        QString problem;
        if (!ParseSimReading(o.session.simValues, nullptr, &problem)) {
            result.error = QStringLiteral("--sim-values: ") + problem;
            return result;
        }
    }
    if (!o.session.simFault.isEmpty() && !parseSimFault(o.session.simFault, nullptr)) {
        result.error =
            QStringLiteral("--sim-fault: unknown mode \"%1\" (silent, garbage, overlong, cut, split, "
                           "unplug, slow, none)")
                .arg(o.session.simFault);
        return result;
    }
    return result;
}

QString CommandLine::UsageText() {
    return QStringLiteral(
        "Usage: chromameter [global options] COMMAND [options]\n"
        "\n"
        "Finds the light-measuring instrument on a USB-serial adapter through the ChromameterMinolta\n"
        "plugin and measures with it.\n"
        "\n"
        "Commands:\n"
        "  ports               list the serial ports and whether detection tries each one, or why not\n"
        "  detect              find the instrument; print its family, type number and port\n"
        "  measure             take readings: Lv, x, y, and from them X, Y, Z, u′v′, CCT and Duv\n"
        "                      (the luminance meter: Lv only)\n"
        "  characterise        measure a display: show a series of patches, measure each one, and\n"
        "                      report the readings and their figures\n"
        "  report JOURNAL      the figures and outputs of a saved run again, without measuring: the\n"
        "                      same options as characterise's outputs (--format, --ti3, --report,\n"
        "                      --icc, --normalise-drift), and --target-* for another target\n"
        "  screens             list the screens the patch window can go on, with their size\n"
        "\n"
        "Options of measure:\n"
        "  --count N           take N readings (default 1)\n"
        "  --continuous        take readings until interrupted (Ctrl-C disconnects and ends)\n"
        "  --interval SEC      from the start of one reading to the start of the next\n"
        "                      (default 0, or 1 with --continuous)\n"
        "  --tcp               also read the colour temperature, where the instrument gives it\n"
        "  --timeout SEC       give up on a reading that takes longer (default 60)\n"
        "  --plot FILE.svg     draw the readings on the CIE 1931 xy chromaticity diagram (with the\n"
        "                      Planckian locus and the reference), and Lv over time\n"
        "  --reference W       compare every reading with the white W: x,y or x,y,Lv, or first (the\n"
        "                      first reading); adds Δu′v′ (delta_uv) and ΔE2000 (delta_E2000, CIELAB\n"
        "                      with W as the white; without Lv, the reading's own Y is its Y)\n"
        "  --quantities LIST   the columns of the table and CSV, comma-separated, or all: Lv, x, y,\n"
        "                      X, Y, Z, u_prime, v_prime, CCT, Duv, delta_uv, delta_E2000 (default\n"
        "                      Lv,x,y,CCT,Duv, and delta_uv with --reference); JSON carries them all\n"
        "  --format FORMAT     table (default), json (one object per line) or csv; also for\n"
        "                      ports and detect. With --count N (N > 1) or --continuous a summary\n"
        "                      ends the output: mean, sd, min and max of every quantity, and how\n"
        "                      many readings failed (CSV: rows told apart by the kind column; JSON:\n"
        "                      one last object with \"summary\")\n"
        "\n"
        "Options of characterise:\n"
        "  --patches SETS      the patch sets, comma-separated (default grey:11,primaries): grey:N\n"
        "                      (N levels from black to white), primaries (red, green, blue, cyan,\n"
        "                      magenta, yellow), saturations:N (each of those six from white toward\n"
        "                      the full colour in N steps), ramps:N (red, green and blue at N levels),\n"
        "                      colorchecker (the 24 patches of the classic chart in the target space),\n"
        "                      file:PATH (a CGATS file with RGB_R, RGB_G, RGB_B in 0..100) and\n"
        "                      rgb:R,G,B;R,G,B (0..1). Patch ids run 1..N in set order\n"
        "  --order ORDER       set (default), or shuffle[:SEED]: measure in a random order, the seed\n"
        "                      recorded so a resume follows it; figures are always in set order\n"
        "  --settle MS         wait after showing a patch before measuring it (default 200)\n"
        "  --show HOW          window (a full-screen patch window; the default without --simulate),\n"
        "                      simulator (the simulator's display; the default with --simulate),\n"
        "                      manual (print the values, wait for Enter) or command:CMD (run CMD\n"
        "                      through /bin/sh once a patch, with {r} {g} {b} as 0..1 and {R8} {G8}\n"
        "                      {B8} as 0..255; a failing command ends the run). The window waits for\n"
        "                      Space before the first patch; Space pauses, Esc ends the run with every\n"
        "                      reading kept (exit status 0). With --simulate it also shows the\n"
        "                      patches to the simulator's display\n"
        "  --screen N          the screen of the patch window (default 0; see chromameter screens)\n"
        "  --patch-size PCT    the patch's share of the screen's area in percent, a centred square\n"
        "                      (default 10), or full (the whole screen)\n"
        "  --background LEVEL  the grey around the patch, 0 (black, the default) to 1 (white)\n"
        "  --save PATH         the run's journal: every reading is written to it as it is taken\n"
        "                      (default characterisation-DATE-TIME.jsonl in the working folder)\n"
        "  --resume PATH       continue an interrupted run with the patches it has not measured\n"
        "  --retake PATH       measure chosen patches of a saved run again (with --ids ID,...);\n"
        "  --ids ID,...        the new readings replace the old ones of those patches\n"
        "  --retries N         try a failed reading N more times, then record it as failed and go on\n"
        "                      (default 1)\n"
        "  --white-every N     measure white again after every N patches (and at the start and the\n"
        "                      end) to follow the display's drift\n"
        "  --normalise-drift   scale each reading by the white interpolated in time to it\n"
        "  --target-space S    srgb (default), p3, bt2020 or xr:yr/xg:yg/xb:yb\n"
        "  --target-white W    D65 (default), D50 or x,y\n"
        "  --target-eotf E     gamma:G (default gamma:2.2), srgb or bt1886\n"
        "  --ti3 PATH          also write the readings as a CGATS CTI3 file for profiling tools\n"
        "  --report PATH.html  also write the report page: verdict, figures, plots and tables in one\n"
        "                      self-contained HTML file that prints on A4\n"
        "  --icc PATH.icc      also write a matrix/shaper ICC display profile of the display\n"
        "  --icc-version V     2 (default: ICC 2.4, read by the most programs) or 4\n"
        "  --display-name NAME the display's name, on the page and in the profile's description\n"
        "  --timeout SEC, --format FORMAT as for measure\n"
        "\n"
        "CCT and Duv are from the CIE 1931 2° Planckian locus (Ohno's method), given from 1000 K to\n"
        "20000 K and up to 0.05 from the locus; beyond that, \"out of range\" or \"off locus\".\n"
        "\n"
        "Global options:\n"
        "  --simulate FAMILY   measure on the built-in simulator: spectro, analyser, luminance,\n"
        "                      photoresearch or jingce\n"
        "  --sim-values V      the simulator's reading, Lv,x,y[,Tcp] (default 120.5,0.3127,0.3290,6504)\n"
        "  --sim-fault MODE    make the simulator misbehave: silent, garbage, overlong, cut, split,\n"
        "                      unplug (pulled during a measurement), slow (slow completion)\n"
        "  --sim-line MODEL    how the simulator's cable delivers, at the line speed: usb[:PERIOD]\n"
        "                      [:jitter=MS][:seed=N] (packets on a PERIOD ms latency timer, one in\n"
        "                      two up to MS ms late; default usb:16:jitter=8), bytewise, or instant\n"
        "                      (whole replies at once)\n"
        "  --sim-display D     the simulated instrument measures a virtual display: a preset\n"
        "                      (srgb-ideal, wide-lcd, oled) and/or key=value pairs: peak, black,\n"
        "                      white, primaries, eotf, noise, drift, response\n"
        "  --port NAME         detection tries this port only\n"
        "  --catalogue FILE    use the ports listed in FILE, one per line as NAME, a tab and a\n"
        "                      description, instead of the system's list\n"
        "  --family NAME       detection tries only this family (spectro, analyser, luminance,\n"
        "                      photoresearch or jingce) and no other\n"
        "  --no-remember       neither use nor keep the last connection (family and port, kept in\n"
        "                      $XDG_CACHE_HOME/chromameter/last-connection) that makes detection\n"
        "                      try the same instrument first\n"
        "  --trace             print the library's diagnostics and the serial traffic to stderr\n"
        "  --help, --version\n"
        "\n"
        "Exit status: 0 success; 1 the instrument or a measurement failed; 2 usage error;\n"
        "3 no instrument found; 130 interrupted by Ctrl-C (measure --continuous, which Ctrl-C ends,\n"
        "gives 0, as does a characterisation ended with Esc in its patch window).\n"
        "\n"
        "Examples: chromameter --simulate analyser measure --count 3\n"
        "          chromameter characterise --screen 1 --patch-size 15\n"
        "          chromameter --simulate analyser --sim-display srgb-ideal characterise --format json\n"
        "          chromameter report characterisation-20261125-1400.jsonl --report display.html\n");
}

QString CommandLine::VersionText() {
    return QStringLiteral("chromameter " CHROMAMETER_VERSION "\n");
}
