// The built chromameter program and the window system: only `screens` and `characterise --show
// window` ask for one, every other command runs where there is no display at all.

#include "Journal.h"
#include "ProgramRun.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace {
const QString kCli = QStringLiteral(CHROMA_BINARY_DIR "/cli/chromameter");

// The environment with no display and no Qt platform named, as on a server or over ssh; `platform`
// names one when given.
QProcessEnvironment withoutDisplay(const QString& platform = QString()) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(QString::fromLatin1(name));
    if (!platform.isEmpty())
        env.insert("QT_QPA_PLATFORM", platform);
    return env;
}

// Runs chromameter; with `stopMarker`, sends SIGINT once stderr shows it.
ProcessRun chromameter(const QStringList& args, const QProcessEnvironment& env,
                       const QByteArray& stopMarker = QByteArray()) {
    ProgramRunOptions options;
    options.timeoutMs = 60000;
    options.hasEnvironment = true;
    options.environment = env;
    options.stopMarker = stopMarker;
    return RunProgram(kCli, args, options);
}
} // namespace

TEST(CliPatchWindow, MeasureRunsWithNoDisplayAndNoQtPlatformSet) {
    const ProcessRun run = chromameter({"--simulate", "analyser", "measure"}, withoutDisplay());
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitStatus, QProcess::NormalExit);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    EXPECT_TRUE(run.out.contains("120.5")) << run.out.constData();
}

TEST(CliPatchWindow, CommandsWithoutAWindowNeverLoadAQtPlatform) {
    // A platform that does not exist: any GUI application made would end the process at once.
    const QProcessEnvironment env = withoutDisplay(QStringLiteral("no-such-platform"));
    ProcessRun run = chromameter({"--simulate", "analyser", "measure"}, env);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    run = chromameter({"--simulate", "spectro", "detect"}, env);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    run = chromameter({"--simulate", "analyser", "ports"}, env);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    QTemporaryDir dir;
    run = chromameter({"--simulate", "analyser", "--sim-display", "srgb-ideal", "characterise", "--patches",
                       "grey:2", "--settle", "0", "--save", dir.filePath("run.jsonl")},
                      env);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
}

TEST(CliPatchWindow, ShowWindowWithoutADisplayIsAUsageErrorNotACrash) {
    QTemporaryDir dir;
    const ProcessRun run = chromameter(
        {"--simulate", "analyser", "characterise", "--show", "window", "--save", dir.filePath("run.jsonl")},
        withoutDisplay());
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitStatus, QProcess::NormalExit);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains("DISPLAY")) << run.err.constData();
    EXPECT_FALSE(QFile::exists(dir.filePath("run.jsonl")));
}

TEST(CliPatchWindow, ScreensListsEachScreenWithItsSize) {
    const ProcessRun run = chromameter({"screens"}, withoutDisplay("offscreen"));
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    const QStringList lines = QString::fromUtf8(run.out).split('\n', Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 2) << run.out.constData();
    EXPECT_TRUE(lines[0].startsWith("screen")) << qPrintable(lines[0]);
    EXPECT_TRUE(lines[1].contains(QRegularExpression("^0\\s+\\d+x\\d+\\s+0,0\\s"))) << qPrintable(lines[1]);
    EXPECT_TRUE(lines[1].contains("(primary)"));
}

TEST(CliPatchWindow, ScreenThatIsNotThereIsAUsageErrorBeforeTheInstrumentIsOpened) {
    QTemporaryDir dir;
    const ProcessRun run =
        chromameter({"--simulate", "analyser", "--sim-display", "srgb-ideal", "characterise", "--show",
                     "window", "--screen", "7", "--save", dir.filePath("run.jsonl")},
                    withoutDisplay("offscreen"));
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains("no screen 7")) << run.err.constData();
    EXPECT_FALSE(run.err.contains("measuring")) << run.err.constData();
}

TEST(CliPatchWindow, WindowRunWaitsForSpaceAndCtrlCStillEndsItWith130) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    const ProcessRun run =
        chromameter({"--simulate", "analyser", "--sim-display", "srgb-ideal", "characterise", "--show",
                     "window", "--patch-size", "full", "--background", "0.5", "--save", journal},
                    withoutDisplay("offscreen"), "press Space");
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 130) << run.err.constData();
    EXPECT_TRUE(run.err.contains("place the instrument on the marked area of screen 0"))
        << run.err.constData();
    // Nothing was measured while the window waited, and the journal of the run is there to resume.
    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(journal, &contents, &error)) << qPrintable(error);
    EXPECT_EQ(contents.readings.size(), 0);
}
