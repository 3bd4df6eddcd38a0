// "chromameter characterise" as a user runs it: the built program on the built-in simulator, whose
// instrument measures a virtual display of known light. Judged by exit status, JSON, progress on
// stderr and the journal a run leaves behind.

#include "Journal.h"
#include "ProgramRun.h"
#include "VirtualDisplay.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <QFile>

#include <cmath>
#include <csignal>

namespace {
const QString kCli = QStringLiteral(CHROMA_BINARY_DIR "/cli/chromameter");
const QString kSim = QStringLiteral(CHROMA_BINARY_DIR "/simulator/tool/chromameter-sim");

ProcessRun chromameter(const QStringList& args, const QString& workDir = QString(), int timeoutMs = 120000) {
    ProgramRunOptions options;
    options.workDir = workDir;
    options.timeoutMs = timeoutMs;
    return RunProgram(kCli, args, options);
}

// Runs chromameter until its progress on stderr shows `marker`, then sends it `signal`.
ProcessRun stopAt(const QStringList& args, const QString& marker, int signal) {
    ProgramRunOptions options;
    options.timeoutMs = 30000;
    options.stopMarker = marker.toUtf8();
    options.stopSignal = signal;
    return RunProgram(kCli, args, options);
}

QJsonObject characterisation(const ProcessRun& run) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(run.out.trimmed(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << run.out.constData();
    return document.object().value("characterisation").toObject();
}

QJsonArray patchesOf(const ProcessRun& run) {
    return characterisation(run).value("patches").toArray();
}

int progressLines(const QByteArray& err, int total) {
    return int(QString::fromUtf8(err).count(
        QRegularExpression(QString("^patch \\d+ of %1 ").arg(total), QRegularExpression::MultilineOption)));
}

QStringList simulated(const QString& family, const QString& display) {
    return {"--simulate", family, "--sim-display", display, "characterise"};
}
} // namespace

TEST(CliCharacterise, AnalyserOnAnIdealDisplayMeasuresTheDefaultSetAndGivesJson) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    QElapsedTimer clock;
    clock.start();
    const ProcessRun run =
        chromameter(simulated("analyser", "srgb-ideal") + QStringList{"--format", "json", "--save", journal});
    const qint64 took = clock.elapsed();
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    EXPECT_LT(took, 30000);
    EXPECT_EQ(progressLines(run.err, 17), 17) << run.err.constData();
    EXPECT_TRUE(run.err.contains(journal.toUtf8())); // the journal is named in the progress output

    // Every patch reads what the display gives for it, within the instrument's resolution.
    VirtualDisplaySettings settings;
    ASSERT_TRUE(VirtualDisplay::Parse("srgb-ideal", &settings));
    const VirtualDisplay truth(settings);
    const QJsonArray patches = patchesOf(run);
    ASSERT_EQ(patches.size(), 17);
    for (int i = 0; i < patches.size(); ++i) {
        const QJsonObject p = patches[i].toObject();
        EXPECT_EQ(p.value("id").toInt(), i + 1);
        EXPECT_FALSE(p.value("failed").toBool());
        const QJsonArray rgb = p.value("rgb").toArray();
        const Xyz light = truth.SteadyLight(rgb[0].toDouble(), rgb[1].toDouble(), rgb[2].toDouble());
        EXPECT_NEAR(p.value("Lv").toDouble(), light.Y, 0.001 * light.Y + 0.01) << "patch " << i + 1;
        if (light.Y > 0.0) {
            EXPECT_NEAR(p.value("x").toDouble(), truth.x(light), 2e-4) << "patch " << i + 1;
            EXPECT_NEAR(p.value("y").toDouble(), truth.y(light), 2e-4) << "patch " << i + 1;
        }
    }
    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(journal, &contents, &error)) << error.toStdString();
    EXPECT_EQ(contents.readings.size(), 17);
    EXPECT_EQ(contents.header.settings.instrumentFamily, "analyser");
}

TEST(CliCharacterise, EveryFamilyCharacterisesOnTheSimulatorTheLuminanceMeterWithoutColour) {
    // Slow: the luminance meter polls for its result (about four seconds a reading).
    for (const QString family : {"spectro", "analyser", "luminance", "photoresearch", "jingce"}) {
        QTemporaryDir dir;
        const bool luminance = family == "luminance";
        const QString patchSets = luminance ? "grey:3" : "grey:3,primaries";
        const ProcessRun run = chromameter(simulated(family, "srgb-ideal") +
                                           QStringList{"--patches", patchSets, "--settle", "0", "--format",
                                                       "json", "--save", dir.filePath("run.jsonl")});
        ASSERT_TRUE(run.finished) << family.toStdString();
        EXPECT_EQ(run.exitCode, 0) << family.toStdString() << ": " << run.err.constData();
        const QJsonArray patches = patchesOf(run);
        ASSERT_EQ(patches.size(), luminance ? 3 : 9) << family.toStdString();
        for (const QJsonValue& value : patches) {
            const QJsonObject p = value.toObject();
            EXPECT_FALSE(p.value("failed").toBool()) << family.toStdString();
            EXPECT_TRUE(p.contains("Lv"));
            // A luminance meter gives Lv alone: no chromaticity is made up for it (nor for black).
            const bool lit = p.value("Lv").toDouble() > 0.0;
            EXPECT_EQ(p.contains("x"), !luminance && lit) << family.toStdString();
            EXPECT_EQ(p.contains("X"), !luminance) << family.toStdString();
        }
        EXPECT_NEAR(patches[2].toObject().value("Lv").toDouble(), 120.0, 0.2) << family.toStdString();
        // The tone response from every family; gamut and colour error only with colour.
        const QJsonObject figures = characterisation(run);
        EXPECT_TRUE(figures.contains("gamma")) << family.toStdString();
        EXPECT_TRUE(figures.contains("white")) << family.toStdString();
        EXPECT_EQ(figures.contains("gamut"), !luminance) << family.toStdString();
        EXPECT_EQ(figures.contains("delta_E2000"), !luminance) << family.toStdString();
    }
}

TEST(CliCharacterise, ResumeAfterARunKilledAtPatchSixOfSeventeenMeasuresOnlyTheElevenLeft) {
    QTemporaryDir dir;
    const QString whole = dir.filePath("whole.jsonl");
    const QString killed = dir.filePath("killed.jsonl");
    const QStringList base = simulated("analyser", "srgb-ideal") +
                             QStringList{"--settle", "0", "--order", "shuffle:11", "--format", "json"};
    const ProcessRun unbroken = chromameter(base + QStringList{"--save", whole});
    ASSERT_EQ(unbroken.exitCode, 0) << unbroken.err.constData();

    // Killed outright (no chance to tidy up) once the sixth reading is reported.
    const ProcessRun first = stopAt(base + QStringList{"--save", killed}, "patch 6 of 17 ", SIGKILL);
    ASSERT_TRUE(first.finished);
    EXPECT_EQ(first.exitStatus, QProcess::CrashExit);
    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(killed, &contents, &error)) << error.toStdString();
    ASSERT_EQ(contents.readings.size(), 6);

    const ProcessRun resumed = chromameter({"--simulate", "analyser", "--sim-display", "srgb-ideal",
                                            "characterise", "--resume", killed, "--format", "json"});
    ASSERT_TRUE(resumed.finished);
    EXPECT_EQ(resumed.exitCode, 0) << resumed.err.constData();
    EXPECT_EQ(progressLines(resumed.err, 11), 11) << resumed.err.constData();
    EXPECT_EQ(progressLines(resumed.err, 17), 0);

    const QJsonArray a = patchesOf(unbroken);
    const QJsonArray b = patchesOf(resumed);
    ASSERT_EQ(a.size(), 17);
    ASSERT_EQ(b.size(), 17);
    for (int i = 0; i < 17; ++i) {
        const QJsonObject pa = a[i].toObject();
        const QJsonObject pb = b[i].toObject();
        for (const char* key : {"id", "Lv", "x", "y", "X", "Y", "Z", "failed"})
            EXPECT_EQ(pa.value(key), pb.value(key)) << "patch " << i + 1 << " " << key;
    }
}

TEST(CliCharacterise, CtrlCEndsWithStatus130AndKeepsTheJournal) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    const ProcessRun run = stopAt(simulated("analyser", "srgb-ideal") + QStringList{"--save", journal},
                                  "patch 3 of 17 ", SIGINT);
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitStatus, QProcess::NormalExit);
    EXPECT_EQ(run.exitCode, 130) << run.err.constData();
    EXPECT_TRUE(run.err.contains("--resume")) << run.err.constData();
    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(journal, &contents, &error)) << error.toStdString();
    EXPECT_GE(contents.readings.size(), 3);
    EXPECT_LT(contents.readings.size(), 17);
    EXPECT_FALSE(contents.tornTail);
}

TEST(CliCharacterise, RetakeChangesOnlyTheChosenPatches) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    const ProcessRun original =
        chromameter(simulated("analyser", "srgb-ideal") +
                    QStringList{"--settle", "0", "--format", "json", "--save", journal});
    ASSERT_EQ(original.exitCode, 0) << original.err.constData();
    // The display was turned up before the retake: the retaken patches read brighter.
    const ProcessRun retaken =
        chromameter({"--simulate", "analyser", "--sim-display", "srgb-ideal,peak=200", "characterise",
                     "--retake", journal, "--ids", "6,13", "--format", "json"});
    ASSERT_EQ(retaken.exitCode, 0) << retaken.err.constData();
    EXPECT_EQ(progressLines(retaken.err, 2), 2) << retaken.err.constData();
    const QJsonArray before = patchesOf(original);
    const QJsonArray after = patchesOf(retaken);
    ASSERT_EQ(after.size(), 17);
    for (int i = 0; i < 17; ++i) {
        const int id = i + 1;
        const double was = before[i].toObject().value("Lv").toDouble();
        const double now = after[i].toObject().value("Lv").toDouble();
        if (id == 6 || id == 13)
            EXPECT_NEAR(now / was, 200.0 / 120.0, 0.01) << "patch " << id;
        else
            EXPECT_EQ(now, was) << "patch " << id;
    }
}

TEST(CliCharacterise, AFailingShowCommandEndsTheRunNamingItsExitStatus) {
    QTemporaryDir dir;
    const ProcessRun run = chromameter(simulated("analyser", "srgb-ideal") +
                                       QStringList{"--show", "command:test {R8} -lt 100 || exit 4",
                                                   "--settle", "0", "--save", dir.filePath("run.jsonl")});
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 1) << run.err.constData();
    EXPECT_TRUE(run.err.contains("exit status 4")) << run.err.constData();
    // Black and the greys below 100 were shown and measured before the command failed.
    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(dir.filePath("run.jsonl"), &contents, &error));
    EXPECT_EQ(contents.readings.size(), 4);
}

TEST(CliCharacterise, ShowCommandDrivesASeparateSimulatorsDisplay) {
    // chromameter-sim serves an instrument in front of a virtual display and prints its port, then
    // the display's control path; each patch is shown through that control by the show command.
    QProcess sim;
    sim.start(kSim, {"analyser", "--sim-display", "srgb-ideal", "--quiet"});
    ASSERT_TRUE(sim.waitForStarted(10000));
    QByteArray out;
    QElapsedTimer clock;
    clock.start();
    while (out.count('\n') < 2 && clock.elapsed() < 10000) {
        sim.waitForReadyRead(100);
        out += sim.readAllStandardOutput();
    }
    const QList<QByteArray> printed = out.split('\n');
    ASSERT_GE(printed.size(), 3) << out.constData();
    const QString port = QString::fromUtf8(printed[0].trimmed());
    const QString control = QString::fromUtf8(printed[1].trimmed());

    QTemporaryDir dir;
    const ProcessRun run =
        chromameter({"--port", port, "characterise", "--patches", "grey:3,primaries", "--settle", "0",
                     "--show", QString("command:'%1' show '%2' {r} {g} {b}").arg(kSim, control), "--format",
                     "json", "--save", dir.filePath("run.jsonl")});
    sim.kill();
    sim.waitForFinished(5000);
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    VirtualDisplaySettings settings;
    ASSERT_TRUE(VirtualDisplay::Parse("srgb-ideal", &settings));
    const VirtualDisplay truth(settings);
    const QJsonArray patches = patchesOf(run);
    ASSERT_EQ(patches.size(), 9);
    for (const QJsonValue& value : patches) {
        const QJsonObject p = value.toObject();
        const QJsonArray rgb = p.value("rgb").toArray();
        const Xyz light = truth.SteadyLight(rgb[0].toDouble(), rgb[1].toDouble(), rgb[2].toDouble());
        EXPECT_NEAR(p.value("Lv").toDouble(), light.Y, 0.001 * light.Y + 0.01) << p.value("id").toInt();
    }
}

TEST(CliCharacterise, WhiteReMeasuresFollowADriftingDisplayAndNormalisingRemovesIt) {
    // A display whose whole output rises 20 % a minute, measured slowly enough to drift a few percent.
    const QString display = "srgb-ideal,eotf=gamma:2.4,drift=20";
    auto gammaOf = [&](bool normalise, QJsonObject* drift) {
        QTemporaryDir dir;
        QStringList args = simulated("analyser", display) +
                           QStringList{"--settle", "300",  "--white-every", "3",
                                       "--format", "json", "--save",        dir.filePath("run.jsonl")};
        if (normalise)
            args << "--normalise-drift";
        const ProcessRun run = chromameter(args);
        EXPECT_EQ(run.exitCode, 0) << run.err.constData();
        const QJsonObject c = characterisation(run);
        *drift = c.value("drift").toObject();
        return c.value("gamma").toObject().value("fitted").toDouble();
    };
    QJsonObject drift;
    const double normalised = gammaOf(true, &drift);
    EXPECT_TRUE(drift.value("normalised").toBool());
    // White at the start, after every three patches and at the end: 1 + 5 + 1 + 1.
    EXPECT_EQ(drift.value("white_readings").toInt(), 8);
    const double truth = 20.0 * drift.value("seconds").toDouble() / 60.0;
    EXPECT_GT(truth, 2.0);
    EXPECT_NEAR(drift.value("luminance_change_percent").toDouble(), truth, 0.1 * truth);
    const double raw = gammaOf(false, &drift);
    EXPECT_NEAR(normalised, 2.4, 0.03);
    // Normalising did something: without it the fit is clearly further from the truth.
    EXPECT_GT(std::abs(raw - 2.4), 2.0 * std::abs(normalised - 2.4) + 0.003) << raw << " vs " << normalised;
}

TEST(CliCharacterise, Ti3OptionWritesACti3SheetOfEveryPatch) {
    QTemporaryDir dir;
    const QString ti3 = dir.filePath("display.ti3");
    const ProcessRun run =
        chromameter(simulated("analyser", "srgb-ideal") +
                    QStringList{"--settle", "0", "--ti3", ti3, "--save", dir.filePath("run.jsonl")});
    ASSERT_EQ(run.exitCode, 0) << run.err.constData();
    QFile file(ti3);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.startsWith("CTI3"));
    EXPECT_TRUE(text.contains("NUMBER_OF_SETS\t17")) << text.constData();
    EXPECT_TRUE(text.contains("RGB_XYZ"));
}

namespace {
QJsonObject figuresOn(const QString& display, const QStringList& options) {
    QTemporaryDir dir;
    const ProcessRun run = chromameter(simulated("analyser", display) + options +
                                       QStringList{"--format", "json", "--save", dir.filePath("run.jsonl")});
    EXPECT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    return characterisation(run);
}
} // namespace

TEST(CliCharacterise, FiguresOfVirtualDisplaysMatchTheirKnownTruth) {
    // An ideal sRGB display against sRGB with its own EOTF hardly differs at all.
    const QJsonObject ideal = figuresOn("srgb-ideal", {"--settle", "0", "--target-eotf", "srgb"});
    EXPECT_LT(ideal.value("delta_E2000").toObject().value("mean").toDouble(), 0.3);

    // A gamma 2.4 display with a 0.2 cd/m² black and a 250 cd/m² white.
    const QJsonObject tone = figuresOn("srgb-ideal,eotf=gamma:2.4,black=0.2,peak=250", {"--settle", "0"});
    EXPECT_NEAR(tone.value("gamma").toObject().value("fitted").toDouble(), 2.40, 0.02);
    EXPECT_NEAR(tone.value("contrast").toDouble(), 1250.0, 0.02 * 1250.0);
    EXPECT_NEAR(tone.value("white").toObject().value("Lv").toDouble(), 250.0, 0.5);

    // DCI-P3 primaries cover sRGB entirely, with 1.36 times its area.
    const QJsonObject wide = figuresOn("srgb-ideal,primaries=p3,black=0", {"--settle", "0"});
    const QJsonObject srgb = wide.value("gamut").toObject().value("srgb").toObject();
    EXPECT_NEAR(srgb.value("coverage_xy").toDouble(), 1.000, 0.005);
    EXPECT_NEAR(srgb.value("area_ratio_xy").toDouble(), 1.36, 0.01);
}

TEST(CliCharacterise, ASlowDisplayMeasuredWithoutSettlingShowsLargerErrors) {
    // Each patch takes 400 ms to appear: measured at once, a reading still holds the previous patch.
    const QString display = "srgb-ideal,response=400";
    const QStringList options{"--patches", "grey:5,primaries", "--target-eotf", "srgb"};
    const double hurried = figuresOn(display, options + QStringList{"--settle", "0"})
                               .value("delta_E2000")
                               .toObject()
                               .value("mean")
                               .toDouble();
    const double settled = figuresOn(display, options + QStringList{"--settle", "500"})
                               .value("delta_E2000")
                               .toObject()
                               .value("mean")
                               .toDouble();
    EXPECT_LT(settled, 0.3);
    EXPECT_GT(hurried, 10.0 * settled + 1.0) << hurried << " vs " << settled;
}
