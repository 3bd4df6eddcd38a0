// The command line of "chromameter characterise": its options, what goes together and what does not.

#include "CommandLineParse.h"

#include <gtest/gtest.h>

TEST(CliCharacteriseCommandLine, TakesTheRunsSettingsAndTheTarget) {
    const CommandLine::Result r = parseCommandLine({"--simulate",
                                                    "analyser",
                                                    "--sim-display",
                                                    "wide-lcd,noise=0",
                                                    "characterise",
                                                    "--patches",
                                                    "grey:5,colorchecker",
                                                    "--order",
                                                    "shuffle:3",
                                                    "--settle",
                                                    "350",
                                                    "--retries",
                                                    "2",
                                                    "--white-every",
                                                    "4",
                                                    "--normalise-drift",
                                                    "--target-space",
                                                    "p3",
                                                    "--target-white",
                                                    "D50",
                                                    "--target-eotf",
                                                    "bt1886",
                                                    "--format",
                                                    "json",
                                                    "--save",
                                                    "run.jsonl",
                                                    "--ti3",
                                                    "run.ti3",
                                                    "--timeout",
                                                    "9"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.command, CliCommand::Characterise);
    EXPECT_EQ(r.options.session.simDisplay, "wide-lcd,noise=0");
    const CharacteriseCommandSettings& c = r.options.characterise;
    EXPECT_EQ(c.run.patchSets, "grey:5,colorchecker");
    EXPECT_EQ(c.run.order, "shuffle:3");
    EXPECT_EQ(c.run.settleMs, 350);
    EXPECT_EQ(c.run.retries, 2);
    EXPECT_EQ(c.run.whiteEvery, 4);
    EXPECT_TRUE(c.normaliseDrift);
    EXPECT_EQ(c.run.targetSpace, "p3");
    EXPECT_EQ(c.run.targetWhite, "D50");
    EXPECT_EQ(c.run.targetEotf, "bt1886");
    EXPECT_EQ(c.format, OutputFormat::Json);
    EXPECT_EQ(c.savePath, "run.jsonl");
    EXPECT_EQ(c.ti3Path, "run.ti3");
    EXPECT_DOUBLE_EQ(c.timeoutSec, 9.0);
    EXPECT_TRUE(c.simulated);
    EXPECT_FALSE(c.showGiven);
}

TEST(CliCharacteriseCommandLine, DefaultsAreTheDefaultSetSettledFor200MsAndRetriedOnce) {
    const CommandLine::Result r = parseCommandLine({"characterise"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    const CharacteriseCommandSettings& c = r.options.characterise;
    EXPECT_EQ(c.run.patchSets, "grey:11,primaries");
    EXPECT_EQ(c.run.order, "set");
    EXPECT_EQ(c.run.settleMs, 200);
    EXPECT_EQ(c.run.retries, 1);
    EXPECT_EQ(c.run.whiteEvery, 0);
    EXPECT_EQ(c.run.targetSpace, "srgb");
    EXPECT_EQ(c.run.targetWhite, "D65");
    EXPECT_EQ(c.run.targetEotf, "gamma:2.2");
    EXPECT_FALSE(c.simulated);
}

TEST(CliCharacteriseCommandLine, ShowTakesSimulatorManualOrACommand) {
    CommandLine::Result r = parseCommandLine({"characterise", "--show", "command:pgen {R8} {G8} {B8}"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.characterise.show.kind, ShowMethod::Kind::Command);
    EXPECT_EQ(r.options.characterise.show.command, "pgen {R8} {G8} {B8}");
    r = parseCommandLine({"characterise", "--show", "manual"});
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.options.characterise.show.kind, ShowMethod::Kind::Manual);
    EXPECT_TRUE(commandLineError({"characterise", "--show", "simulator"}).contains("--sim-display"));
    r = parseCommandLine(
        {"--simulate", "analyser", "--sim-display", "oled", "characterise", "--show", "window"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.characterise.show.kind, ShowMethod::Kind::Window);
    EXPECT_TRUE(r.options.needsWindowSystem());
    EXPECT_TRUE(commandLineError({"characterise", "--show", "projector"}).contains("projector"));
}

TEST(CliCharacteriseCommandLine, PatchWindowIsTheDefaultOnARealDisplayAndTheSimulatorsOtherwise) {
    CommandLine::Result r = parseCommandLine({"characterise"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.characterise.show.kind, ShowMethod::Kind::Window);
    EXPECT_TRUE(r.options.needsWindowSystem());
    r = parseCommandLine({"characterise", "--resume", "run.jsonl"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.characterise.show.kind, ShowMethod::Kind::Window);
    r = parseCommandLine({"--simulate", "analyser", "--sim-display", "srgb-ideal", "characterise"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.characterise.show.kind, ShowMethod::Kind::Simulator);
    EXPECT_FALSE(r.options.needsWindowSystem());
    r = parseCommandLine({"characterise", "--show", "manual"});
    EXPECT_FALSE(r.options.needsWindowSystem());
    // Only the screens list and the patch window need a window system.
    for (const char* command : {"ports", "detect", "measure"})
        EXPECT_FALSE(parseCommandLine({"--simulate", "analyser", command}).options.needsWindowSystem())
            << command;
    r = parseCommandLine({"screens"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.command, CliCommand::Screens);
    EXPECT_TRUE(r.options.needsWindowSystem());
}

TEST(CliCharacteriseCommandLine, WindowTakesItsScreenPatchSizeAndBackground) {
    CommandLine::Result r =
        parseCommandLine({"characterise", "--screen", "1", "--patch-size", "4.5", "--background", "0.25"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    const ShowMethod& show = r.options.characterise.show;
    EXPECT_EQ(show.screen, 1);
    EXPECT_DOUBLE_EQ(show.patchPercent, 4.5);
    EXPECT_DOUBLE_EQ(show.background, 0.25);
    r = parseCommandLine({"characterise", "--patch-size", "full"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_DOUBLE_EQ(r.options.characterise.show.patchPercent, 100.0);
    // Defaults: screen 0, a tenth of the screen, on black.
    r = parseCommandLine({"characterise", "--show", "window"});
    EXPECT_EQ(r.options.characterise.show.screen, 0);
    EXPECT_DOUBLE_EQ(r.options.characterise.show.patchPercent, 10.0);
    EXPECT_DOUBLE_EQ(r.options.characterise.show.background, 0.0);

    EXPECT_TRUE(commandLineError({"characterise", "--screen", "-1"}).contains("--screen"));
    EXPECT_TRUE(commandLineError({"characterise", "--patch-size", "0"}).contains("--patch-size"));
    EXPECT_TRUE(commandLineError({"characterise", "--background", "2"}).contains("--background"));
    // They are the window's: another way of showing takes none of them.
    EXPECT_TRUE(
        commandLineError({"characterise", "--show", "manual", "--screen", "1"}).contains("--show window"));
    EXPECT_TRUE(commandLineError({"--simulate", "analyser", "--sim-display", "oled", "characterise",
                                  "--background", "0.5"})
                    .contains("--background"));
    EXPECT_TRUE(commandLineError({"measure", "--patch-size", "5"}).contains("option of characterise"));
}

TEST(CliCharacteriseCommandLine, ResumeAndRetakeKeepTheirJournalsSettings) {
    EXPECT_TRUE(parseCommandLine({"characterise", "--resume", "run.jsonl"}).ok());
    EXPECT_TRUE(parseCommandLine({"characterise", "--retake", "run.jsonl", "--ids", "3,7"}).ok());
    EXPECT_TRUE(
        parseCommandLine({"characterise", "--resume", "run.jsonl", "--normalise-drift", "--format", "csv"})
            .ok());
    EXPECT_TRUE(commandLineError({"characterise", "--resume", "a", "--retake", "b", "--ids", "1"})
                    .contains("--retake"));
    EXPECT_TRUE(commandLineError({"characterise", "--retake", "run.jsonl"}).contains("--ids"));
    EXPECT_TRUE(commandLineError({"characterise", "--ids", "3"}).contains("--retake"));
    EXPECT_TRUE(commandLineError({"characterise", "--resume", "a", "--save", "b"}).contains("--save"));
    EXPECT_TRUE(
        commandLineError({"characterise", "--resume", "a", "--patches", "grey:3"}).contains("--patches"));
    EXPECT_TRUE(commandLineError({"characterise", "--retake", "a", "--ids", "1", "--settle", "0"})
                    .contains("--settle"));
}

TEST(CliCharacteriseCommandLine, BadValuesAreUsageErrorsNamingThem) {
    EXPECT_TRUE(commandLineError({"characterise", "--settle", "-5"}).contains("-5"));
    EXPECT_TRUE(commandLineError({"characterise", "--retries", "x"}).contains("--retries"));
    EXPECT_TRUE(commandLineError({"characterise", "--white-every", "0"}).contains("--white-every"));
    EXPECT_TRUE(commandLineError({"characterise", "--order", "backwards"}).contains("backwards"));
    EXPECT_TRUE(commandLineError({"characterise", "--target-space", "adobe"}).contains("adobe"));
    EXPECT_TRUE(commandLineError({"characterise", "--target-white", "D93"}).contains("D93"));
    EXPECT_TRUE(commandLineError({"characterise", "--target-eotf", "pq"}).contains("pq"));
    EXPECT_TRUE(commandLineError({"--simulate", "analyser", "--sim-display", "peak=-3", "characterise"})
                    .contains("--sim-display"));
    EXPECT_TRUE(commandLineError({"--sim-display", "srgb-ideal", "characterise"}).contains("--simulate"));
    // The simulator's fixed reading is no display to characterise.
    EXPECT_TRUE(commandLineError({"--simulate", "analyser", "characterise"}).contains("--sim-display"));
}

TEST(CliCharacteriseCommandLine, ItsOptionsBelongToItAlone) {
    EXPECT_TRUE(commandLineError({"measure", "--patches", "grey:3"}).contains("option of characterise"));
    EXPECT_TRUE(commandLineError({"characterise", "--count", "3"}).contains("option of measure"));
    EXPECT_TRUE(parseCommandLine({"characterise", "--timeout", "5"}).ok());
}

TEST(CliCharacteriseCommandLine, HelpListsEveryOptionAndTheInterruptedStatus) {
    const QString help = CommandLine::UsageText();
    for (const char* option : {"characterise",   "--patches",      "--order",
                               "--settle",       "--show",         "--save",
                               "--resume",       "--retake",       "--ids",
                               "--retries",      "--white-every",  "--normalise-drift",
                               "--target-space", "--target-white", "--target-eotf",
                               "--ti3",          "--sim-display",  "130",
                               "window",         "--screen",       "--patch-size",
                               "--background",   "screens",        "Esc"})
        EXPECT_TRUE(help.contains(option)) << option;
}
