#include "CommandLine.h"

#include "InstrumentModel.h"
#include "SimFamilies.h"
#include "SimReadingText.h"

#include <cmath>

#ifndef CHROMAMETER_VERSION
#define CHROMAMETER_VERSION "0.0.0"
#endif

namespace {
enum class Scope { Global, AnyCommand, Measure };

struct OptionRule {
    const char* name;
    bool takesValue;
    Scope scope;
};

const OptionRule kOptions[] = {
    {"--simulate", true, Scope::Global},     {"--sim-values", true, Scope::Global},
    {"--sim-fault", true, Scope::Global},    {"--port", true, Scope::Global},
    {"--catalogue", true, Scope::Global},    {"--trace", false, Scope::Global},
    {"--help", false, Scope::Global},        {"--version", false, Scope::Global},
    {"--format", true, Scope::AnyCommand},   {"--count", true, Scope::Measure},
    {"--continuous", false, Scope::Measure}, {"--interval", true, Scope::Measure},
    {"--tcp", false, Scope::Measure},        {"--timeout", true, Scope::Measure},
    {"--plot", true, Scope::Measure},        {"--reference", true, Scope::Measure},
    {"--quantities", true, Scope::Measure},  {"--sim-line", true, Scope::Global},
};

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

    for (int i = 1; i < args.size(); ++i) {
        const QString arg = args[i];
        if (arg == QLatin1String("-h")) {
            o.help = true;
            continue;
        }
        if (!arg.startsWith(QLatin1Char('-')) || arg == QLatin1String("-")) {
            CliCommand command = CliCommand::None;
            if (arg == QLatin1String("ports"))
                command = CliCommand::Ports;
            else if (arg == QLatin1String("detect"))
                command = CliCommand::Detect;
            else if (arg == QLatin1String("measure"))
                command = CliCommand::Measure;
            if (command == CliCommand::None) {
                result.error =
                    QStringLiteral("unknown command \"%1\" (commands: ports, detect, measure)").arg(arg);
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

        if (name == QLatin1String("--simulate")) {
            o.simulate = value;
        } else if (name == QLatin1String("--sim-values")) {
            o.simValues = value;
        } else if (name == QLatin1String("--sim-fault")) {
            o.simFault = value;
        } else if (name == QLatin1String("--sim-line")) {
            o.simLine = value;
        } else if (name == QLatin1String("--port")) {
            if (value.isEmpty()) {
                result.error = QStringLiteral("--port needs a port name");
                return result;
            }
            o.port = value;
        } else if (name == QLatin1String("--catalogue")) {
            o.catalogue = value;
        } else if (name == QLatin1String("--trace")) {
            o.trace = true;
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
            o.tcp = true;
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
        result.error = QStringLiteral("no command given (ports, detect or measure)");
        return result;
    }
    if (o.command != CliCommand::Measure && !measureOnly.isEmpty()) {
        result.error = QStringLiteral("%1 is an option of measure, not of %2")
                           .arg(measureOnly.first(), commandName(o.command));
        return result;
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

    if (!o.simulate.isEmpty()) {
        const QString problem = SimFamilyProblem(o.simulate);
        if (!problem.isEmpty()) {
            result.error = QStringLiteral("--simulate: ") + problem;
            return result;
        }
        if (!o.port.isEmpty() || !o.catalogue.isEmpty()) {
            result.error =
                QStringLiteral("--simulate serves its own port; it does not go with --port or --catalogue");
            return result;
        }
    } else if (!o.simValues.isEmpty() || !o.simFault.isEmpty() || !o.simLine.isEmpty()) {
        result.error = QStringLiteral("%1 needs --simulate FAMILY")
                           .arg(!o.simValues.isEmpty()  ? QStringLiteral("--sim-values")
                                : !o.simFault.isEmpty() ? QStringLiteral("--sim-fault")
                                                        : QStringLiteral("--sim-line"));
        return result;
    }
    if (!o.simLine.isEmpty() && !LineModel::parse(o.simLine, nullptr)) {
        result.error =
            QStringLiteral("--sim-line: unknown line model \"%1\" (usb[:PERIOD], bytewise or instant)")
                .arg(o.simLine);
        return result;
    }
    if (!o.simValues.isEmpty()) {
        QString problem;
        if (!ParseSimReading(o.simValues, nullptr, &problem)) {
            result.error = QStringLiteral("--sim-values: ") + problem;
            return result;
        }
    }
    if (!o.simFault.isEmpty() && !parseSimFault(o.simFault, nullptr)) {
        result.error =
            QStringLiteral("--sim-fault: unknown mode \"%1\" (silent, garbage, overlong, cut, split, "
                           "unplug, slow, none)")
                .arg(o.simFault);
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
        "  --port NAME         detection tries this port only\n"
        "  --catalogue FILE    use the ports listed in FILE, one per line as NAME, a tab and a\n"
        "                      description, instead of the system's list\n"
        "  --trace             print the library's diagnostics and the serial traffic to stderr\n"
        "  --help, --version\n"
        "\n"
        "Exit status: 0 success; 1 the instrument or a measurement failed; 2 usage error;\n"
        "3 no instrument found.\n"
        "\n"
        "Example: chromameter --simulate analyser measure --count 3\n");
}

QString CommandLine::VersionText() {
    return QStringLiteral("chromameter " CHROMAMETER_VERSION "\n");
}
