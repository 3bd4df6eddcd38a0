// "chromameter report" and the page and profile of "chromameter characterise", as a user runs them:
// the built program on the simulator's virtual display, then the saved run made into outputs again.

#include "ProgramRun.h"
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <lcms2.h>

namespace {
const QString kCli = QStringLiteral(CHROMA_BINARY_DIR "/cli/chromameter");

ProcessRun chromameter(const QStringList& args) {
    ProgramRunOptions options;
    options.timeoutMs = 120000;
    return RunProgram(kCli, args, options);
}

QJsonObject characterisation(const QByteArray& out) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(out.trimmed(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << out.constData();
    return document.object().value("characterisation").toObject();
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

TEST(CliReport, ReportOfASavedRunGivesTheSameFiguresAsTheRunAndWritesThePageAndProfile) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    const ProcessRun run = chromameter({"--simulate", "analyser", "--sim-display", "wide-lcd,noise=0.001",
                                        "characterise", "--settle", "0", "--format", "json", "--save",
                                        journal, "--report", dir.filePath("run.html"), "--icc",
                                        dir.filePath("run.icc"), "--display-name", "Wide LCD"});
    ASSERT_TRUE(run.finished);
    ASSERT_EQ(run.exitCode, 0) << run.err.constData();

    const ProcessRun again =
        chromameter({"report", journal, "--format", "json", "--report", dir.filePath("again.html"), "--icc",
                     dir.filePath("again.icc"), "--icc-version", "4", "--display-name", "Wide LCD"});
    ASSERT_TRUE(again.finished);
    EXPECT_EQ(again.exitCode, 0) << again.err.constData();
    const QJsonObject first = characterisation(run.out);
    ASSERT_FALSE(first.isEmpty());
    EXPECT_EQ(characterisation(again.out), first);

    // The same page from the run and from its journal; a profile from each that LittleCMS opens.
    const QByteArray page = contentsOf(dir.filePath("run.html"));
    EXPECT_TRUE(page.contains("<svg"));
    EXPECT_TRUE(page.contains("Wide LCD"));
    EXPECT_EQ(contentsOf(dir.filePath("again.html")), page);
    for (const char* name : {"run.icc", "again.icc"}) {
        cmsHPROFILE h = cmsOpenProfileFromFile(QFile::encodeName(dir.filePath(name)).constData(), "r");
        ASSERT_NE(h, nullptr) << name;
        EXPECT_EQ(cmsGetDeviceClass(h), cmsSigDisplayClass);
        EXPECT_NEAR(cmsGetProfileVersion(h), QByteArray(name) == "run.icc" ? 2.4 : 4.3, 1e-9) << name;
        cmsCloseProfile(h);
    }
}

TEST(CliReport, AnotherTargetChangesTheFiguresOfTheSameReadings) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    const ProcessRun run = chromameter({"--simulate", "analyser", "--sim-display", "wide-lcd", "characterise",
                                        "--settle", "0", "--format", "json", "--save", journal});
    ASSERT_EQ(run.exitCode, 0) << run.err.constData();
    const ProcessRun p3 = chromameter({"report", journal, "--format", "json", "--target-space", "p3"});
    ASSERT_EQ(p3.exitCode, 0) << p3.err.constData();
    const QJsonObject srgbFigures = characterisation(run.out);
    const QJsonObject p3Figures = characterisation(p3.out);
    EXPECT_EQ(srgbFigures["target"].toObject()["space"].toString(), "srgb");
    EXPECT_EQ(p3Figures["target"].toObject()["space"].toString(), "p3");
    // A wide-gamut display is far from sRGB and close to P3.
    const double srgbMean = srgbFigures["delta_E2000"].toObject()["mean"].toDouble();
    const double p3Mean = p3Figures["delta_E2000"].toObject()["mean"].toDouble();
    EXPECT_LT(p3Mean, srgbMean / 2) << srgbMean << " " << p3Mean;
    EXPECT_EQ(p3Figures["white"].toObject()["Lv"],
              srgbFigures["white"].toObject()["Lv"]); // the same readings
}

TEST(CliReport, MissingJournalIsAUsageError) {
    QTemporaryDir dir;
    const ProcessRun run = chromameter({"report", dir.filePath("none.jsonl")});
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_FALSE(run.err.isEmpty());
}

TEST(CliReport, LuminanceMeterRunWritesItsPageButNoProfile) {
    QTemporaryDir dir;
    const ProcessRun run =
        chromameter({"--simulate", "luminance", "--sim-display", "srgb-ideal", "characterise", "--settle",
                     "0", "--patches", "grey:5", "--save", dir.filePath("run.jsonl"), "--report",
                     dir.filePath("run.html"), "--icc", dir.filePath("run.icc")});
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("--icc")) << run.err.constData();
    EXPECT_TRUE(run.err.contains("luminance only")) << run.err.constData();
    EXPECT_FALSE(QFile::exists(dir.filePath("run.icc")));
    const QByteArray page = contentsOf(dir.filePath("run.html"));
    EXPECT_TRUE(page.contains("Tone response"));
    EXPECT_TRUE(page.contains("measures luminance only"));
}
