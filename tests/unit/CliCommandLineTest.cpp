#include "CommandLine.h"

#include <gtest/gtest.h>

namespace {
CommandLine::Result parse(const QStringList& args) {
    return CommandLine::Parse(QStringList{QStringLiteral("chromameter")} + args);
}
} // namespace

TEST(CliCommandLine, MeasureTakesItsOptionsWithSpaceOrEquals) {
    const CommandLine::Result r =
        parse({QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("3"),
               QStringLiteral("--interval=0.5"), QStringLiteral("--tcp"), QStringLiteral("--format"),
               QStringLiteral("csv"), QStringLiteral("--timeout=7"), QStringLiteral("--plot"),
               QStringLiteral("out.svg")});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.command, CliCommand::Measure);
    EXPECT_EQ(r.options.count, 3);
    EXPECT_DOUBLE_EQ(r.options.intervalSec, 0.5);
    EXPECT_TRUE(r.options.session.readTcp);
    EXPECT_EQ(r.options.format, OutputFormat::Csv);
    EXPECT_DOUBLE_EQ(r.options.timeoutSec, 7);
    EXPECT_EQ(r.options.plotFile, QStringLiteral("out.svg"));
}

TEST(CliCommandLine, GlobalOptionsMayComeBeforeOrAfterTheCommand) {
    const CommandLine::Result before = parse({QStringLiteral("--simulate"), QStringLiteral("jingce"),
                                              QStringLiteral("--trace"), QStringLiteral("detect")});
    ASSERT_TRUE(before.ok()) << qPrintable(before.error);
    EXPECT_EQ(before.options.session.simulate, QStringLiteral("jingce"));
    EXPECT_TRUE(before.options.session.trace);
    const CommandLine::Result after =
        parse({QStringLiteral("detect"), QStringLiteral("--port"), QStringLiteral("cu.usbserial-A1")});
    ASSERT_TRUE(after.ok()) << qPrintable(after.error);
    EXPECT_EQ(after.options.command, CliCommand::Detect);
    EXPECT_EQ(after.options.session.port, QStringLiteral("cu.usbserial-A1"));
}

TEST(CliCommandLine, DefaultsAreOneReadingAsATableWithASixtySecondTimeout) {
    const CommandLine::Result r = parse({QStringLiteral("measure")});
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.options.count, 1);
    EXPECT_FALSE(r.options.continuous);
    EXPECT_DOUBLE_EQ(r.options.intervalSec, 0);
    EXPECT_EQ(r.options.format, OutputFormat::Table);
    EXPECT_DOUBLE_EQ(r.options.timeoutSec, 60);
    EXPECT_FALSE(r.options.session.readTcp);
}

TEST(CliCommandLine, ContinuousMeasuringWaitsOneSecondBetweenReadingsUnlessTold) {
    const CommandLine::Result plain = parse({QStringLiteral("measure"), QStringLiteral("--continuous")});
    ASSERT_TRUE(plain.ok());
    EXPECT_TRUE(plain.options.continuous);
    EXPECT_DOUBLE_EQ(plain.options.intervalSec, 1.0);
    const CommandLine::Result fast = parse({QStringLiteral("measure"), QStringLiteral("--continuous"),
                                            QStringLiteral("--interval"), QStringLiteral("0")});
    ASSERT_TRUE(fast.ok());
    EXPECT_DOUBLE_EQ(fast.options.intervalSec, 0);
}

TEST(CliCommandLine, HelpAndVersionNeedNoCommand) {
    EXPECT_TRUE(parse({QStringLiteral("--help")}).options.help);
    EXPECT_TRUE(parse({QStringLiteral("-h")}).options.help);
    EXPECT_TRUE(parse({QStringLiteral("--version")}).options.version);
    EXPECT_TRUE(parse({QStringLiteral("--help")}).ok());
    EXPECT_TRUE(CommandLine::VersionText().startsWith(QStringLiteral("chromameter ")));
}

TEST(CliCommandLine, SimulatorSettingsAreCheckedBeforeAnythingRuns) {
    EXPECT_TRUE(parse({QStringLiteral("--simulate"), QStringLiteral("analyser"),
                       QStringLiteral("--sim-values"), QStringLiteral("100,0.3,0.31,5000"),
                       QStringLiteral("--sim-fault"), QStringLiteral("unplug"), QStringLiteral("measure")})
                    .ok());
    EXPECT_FALSE(
        parse({QStringLiteral("--simulate"), QStringLiteral("toaster"), QStringLiteral("measure")}).ok());
    EXPECT_FALSE(
        parse({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("--sim-values"),
               QStringLiteral("100,2,0.3"), QStringLiteral("measure")})
            .ok());
    EXPECT_FALSE(parse({QStringLiteral("--simulate"), QStringLiteral("analyser"),
                        QStringLiteral("--sim-fault"), QStringLiteral("smoke"), QStringLiteral("measure")})
                     .ok());
    // Simulator settings without a simulator, or a simulator with a real port, make no sense.
    EXPECT_FALSE(
        parse({QStringLiteral("--sim-fault"), QStringLiteral("slow"), QStringLiteral("measure")}).ok());
    EXPECT_FALSE(parse({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("--port"),
                        QStringLiteral("cu.usbserial-A1"), QStringLiteral("measure")})
                     .ok());
}

TEST(CliCommandLine, MistakesAreUsageErrorsThatSayWhat) {
    struct Case {
        QStringList args;
        const char* says;
    };
    const QList<Case> cases = {
        {{}, "no command"},
        {{QStringLiteral("calibrate")}, "unknown command"},
        {{QStringLiteral("ports"), QStringLiteral("detect")}, "one command"},
        {{QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("0")}, "--count"},
        {{QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("two")}, "--count"},
        {{QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("2"),
          QStringLiteral("--continuous")},
         "do not go together"},
        {{QStringLiteral("measure"), QStringLiteral("--interval"), QStringLiteral("-1")}, "--interval"},
        {{QStringLiteral("measure"), QStringLiteral("--timeout"), QStringLiteral("0")}, "--timeout"},
        {{QStringLiteral("measure"), QStringLiteral("--timeout")}, "needs a value"},
        {{QStringLiteral("measure"), QStringLiteral("--format"), QStringLiteral("xml")}, "--format"},
        {{QStringLiteral("measure"), QStringLiteral("--tcp=yes")}, "takes no value"},
        {{QStringLiteral("detect"), QStringLiteral("--plot"), QStringLiteral("a.svg")}, "option of measure"},
        {{QStringLiteral("measure"), QStringLiteral("--frobnicate")}, "unknown option"},
        {{QStringLiteral("measure"), QStringLiteral("--reference"), QStringLiteral("0.3")}, "--reference"},
        {{QStringLiteral("measure"), QStringLiteral("--reference"), QStringLiteral("0.7,0.6")},
         "--reference"},
        {{QStringLiteral("measure"), QStringLiteral("--reference"), QStringLiteral("0.31,0.33,0")},
         "luminance"},
        {{QStringLiteral("measure"), QStringLiteral("--reference"), QStringLiteral("last")}, "--reference"},
        {{QStringLiteral("measure"), QStringLiteral("--quantities"), QStringLiteral("Lv,colour")}, "colour"},
        {{QStringLiteral("measure"), QStringLiteral("--quantities"), QStringLiteral("x,delta_E2000")},
         "needs --reference"},
        {{QStringLiteral("detect"), QStringLiteral("--reference"), QStringLiteral("first")},
         "option of measure"},
    };
    for (const Case& c : cases) {
        const CommandLine::Result r = parse(c.args);
        EXPECT_FALSE(r.ok()) << qPrintable(c.args.join(QLatin1Char(' ')));
        EXPECT_TRUE(r.error.contains(QLatin1String(c.says))) << qPrintable(r.error);
    }
}

TEST(CliCommandLine, ReferenceIsAWhiteWithOrWithoutLuminanceOrTheFirstReading) {
    const CommandLine::Result white =
        parse({QStringLiteral("measure"), QStringLiteral("--reference"), QStringLiteral("0.3127,0.329")});
    ASSERT_TRUE(white.ok()) << qPrintable(white.error);
    EXPECT_TRUE(white.options.hasReference);
    EXPECT_FALSE(white.options.referenceFirst);
    EXPECT_DOUBLE_EQ(white.options.reference.x, 0.3127);
    EXPECT_DOUBLE_EQ(white.options.reference.y, 0.329);
    EXPECT_FALSE(white.options.reference.hasLv);
    const CommandLine::Result bright =
        parse({QStringLiteral("measure"), QStringLiteral("--reference=0.31,0.33,250")});
    ASSERT_TRUE(bright.ok()) << qPrintable(bright.error);
    EXPECT_TRUE(bright.options.reference.hasLv);
    EXPECT_DOUBLE_EQ(bright.options.reference.Lv, 250);
    const CommandLine::Result first =
        parse({QStringLiteral("measure"), QStringLiteral("--reference"), QStringLiteral("first")});
    ASSERT_TRUE(first.ok()) << qPrintable(first.error);
    EXPECT_TRUE(first.options.hasReference);
    EXPECT_TRUE(first.options.referenceFirst);
    EXPECT_FALSE(parse({QStringLiteral("measure")}).options.hasReference);
}

TEST(CliCommandLine, QuantitiesAreAListOfNamesOrAll) {
    const CommandLine::Result some = parse(
        {QStringLiteral("measure"), QStringLiteral("--quantities"), QStringLiteral("CCT, Duv,u_prime")});
    ASSERT_TRUE(some.ok()) << qPrintable(some.error);
    EXPECT_EQ(some.options.quantities, (QVector<Quantity>{Quantity::CCT, Quantity::Duv, Quantity::UPrime}));
    const CommandLine::Result all = parse({QStringLiteral("measure"), QStringLiteral("--quantities=all"),
                                           QStringLiteral("--reference"), QStringLiteral("first")});
    ASSERT_TRUE(all.ok()) << qPrintable(all.error);
    EXPECT_EQ(all.options.quantities, AllQuantities());
    EXPECT_TRUE(parse({QStringLiteral("measure")}).options.quantities.isEmpty());
}

TEST(CliCommandLine, FormatIsAnOptionOfEveryCommand) {
    EXPECT_EQ(
        parse({QStringLiteral("ports"), QStringLiteral("--format"), QStringLiteral("json")}).options.format,
        OutputFormat::Json);
    EXPECT_EQ(parse({QStringLiteral("detect"), QStringLiteral("--format=csv")}).options.format,
              OutputFormat::Csv);
}

TEST(CliCommandLine, UsageNamesEveryCommandAndOption) {
    const QString usage = CommandLine::UsageText();
    for (const char* word :
         {"ports",       "detect",    "measure", "--count",    "--continuous", "--interval",  "--tcp",
          "--format",    "--timeout", "--plot",  "--simulate", "--sim-values", "--sim-fault", "--port",
          "--catalogue", "--trace",   "--help",  "--version",  "Exit status",  "--reference", "--quantities",
          "summary",     "CCT",       "Duv",     "u_prime",    "delta_E2000"})
        EXPECT_TRUE(usage.contains(QLatin1String(word))) << word;
}

TEST(CliCommandLine, SimulatorLineIsAKnownModelAndGoesWithSimulateOnly) {
    for (const char* line : {"usb", "usb:8", "bytewise", "instant"})
        EXPECT_TRUE(
            parse({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("--sim-line"),
                   QString::fromLatin1(line), QStringLiteral("measure")})
                .ok())
            << line;
    EXPECT_FALSE(parse({QStringLiteral("--simulate"), QStringLiteral("analyser"),
                        QStringLiteral("--sim-line"), QStringLiteral("usb:0"), QStringLiteral("measure")})
                     .ok());
    EXPECT_FALSE(
        parse({QStringLiteral("--sim-line"), QStringLiteral("usb"), QStringLiteral("measure")}).ok());
    EXPECT_TRUE(CommandLine::UsageText().contains(QLatin1String("--sim-line")));
}

TEST(CliCommandLine, UsageSaysFamilyIsTheOnlyOneDetectionTries) {
    const QString usage = CommandLine::UsageText();
    const int at = usage.indexOf(QLatin1String("--family NAME"));
    ASSERT_GE(at, 0);
    const QString entry = usage.mid(at, usage.indexOf(QLatin1String("--no-remember"), at) - at);
    EXPECT_TRUE(entry.contains(QLatin1String("only this family"))) << entry.toStdString();
    EXPECT_FALSE(entry.contains(QLatin1String("first"))) << entry.toStdString();
}
