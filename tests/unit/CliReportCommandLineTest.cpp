// The command line of "chromameter report" and of the outputs it shares with characterise.

#include "CommandLineParse.h"

#include <gtest/gtest.h>

TEST(CliReportCommandLine, TakesTheJournalTheOutputsAndAnotherTarget) {
    const CommandLine::Result r = parseCommandLine(
        {"report", "run.jsonl", "--format", "json", "--report", "page.html", "--icc", "display.icc",
         "--icc-version", "4", "--display-name", "Desk <left>", "--target-space", "p3", "--target-eotf",
         "srgb", "--normalise-drift", "--ti3", "run.ti3"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.command, CliCommand::Report);
    EXPECT_EQ(r.options.report.journalPath, "run.jsonl");
    EXPECT_EQ(r.options.report.targetSpace, "p3");
    EXPECT_EQ(r.options.report.targetEotf, "srgb");
    EXPECT_TRUE(r.options.report.targetWhite.isEmpty()); // the run's own
    const CharacteriseCommandSettings& c = r.options.characterise;
    EXPECT_EQ(c.format, OutputFormat::Json);
    EXPECT_EQ(c.reportPath, "page.html");
    EXPECT_EQ(c.iccPath, "display.icc");
    EXPECT_EQ(c.iccVersion, 4);
    EXPECT_EQ(c.displayName, "Desk <left>");
    EXPECT_EQ(c.ti3Path, "run.ti3");
    EXPECT_TRUE(c.normaliseDrift);
}

TEST(CliReportCommandLine, CharacteriseTakesThePageAndProfileWithVersion2ByDefault) {
    const CommandLine::Result r =
        parseCommandLine({"--simulate", "analyser", "--sim-display", "srgb-ideal", "characterise", "--report",
                          "page.html", "--icc", "display.icc"});
    ASSERT_TRUE(r.ok()) << qPrintable(r.error);
    EXPECT_EQ(r.options.characterise.reportPath, "page.html");
    EXPECT_EQ(r.options.characterise.iccPath, "display.icc");
    EXPECT_EQ(r.options.characterise.iccVersion, 2);
    EXPECT_TRUE(r.options.characterise.displayName.isEmpty());
}

TEST(CliReportCommandLine, RefusesWhatDoesNotGo) {
    EXPECT_TRUE(commandLineError({"report"}).contains("needs the run's journal"));
    EXPECT_TRUE(commandLineError({"report", "a.jsonl", "b.jsonl"}).contains("unknown command"));
    EXPECT_TRUE(commandLineError({"report", "run.jsonl", "--icc-version", "3"}).contains("2 or 4"));
    EXPECT_TRUE(commandLineError({"report", "run.jsonl", "--icc", ""}).contains("--icc needs a file name"));
    EXPECT_TRUE(
        commandLineError({"report", "run.jsonl", "--patches", "grey:3"}).contains("option of characterise"));
    EXPECT_TRUE(
        commandLineError({"measure", "--report", "page.html"}).contains("option of characterise and report"));
    EXPECT_TRUE(commandLineError({"detect", "--icc", "x.icc"}).contains("option of characterise and report"));
    EXPECT_TRUE(commandLineError({"report", "run.jsonl", "--target-space", "adobe"}).contains("adobe"));
}

TEST(CliReportCommandLine, HelpNamesTheCommandAndItsOptions) {
    const QString usage = CommandLine::UsageText();
    for (const char* text :
         {"report JOURNAL", "--report PATH.html", "--icc PATH.icc", "--icc-version", "--display-name NAME"})
        EXPECT_TRUE(usage.contains(text)) << text;
}
