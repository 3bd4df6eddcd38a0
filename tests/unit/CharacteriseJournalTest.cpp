// The characterisation journal: written a line at a time, read back after a crash, and what a
// resume or a retake makes of it.

#include "Journal.h"
#include "PatchSets.h"
#include "RunPlan.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {
JournalHeader header(const QString& sets = "grey:5") {
    JournalHeader h;
    QString error;
    EXPECT_TRUE(ParsePatchSets(sets, PatchSetTarget(), &h.patches, &error));
    for (const Patch& p : h.patches)
        h.sequence.prepend(p.id); // measured backwards: the sequence is the journal's, not the set's
    h.settings.patchSets = sets;
    h.settings.order = "shuffle:7";
    h.settings.settleMs = 350;
    h.settings.retries = 2;
    h.settings.whiteEvery = 4;
    h.settings.targetSpace = "p3";
    h.settings.targetWhite = "D50";
    h.settings.targetEotf = "bt1886";
    h.settings.instrumentFamily = "analyser";
    h.settings.port = "/dev/cu.usbserial-SIM0";
    h.settings.started = QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7, 890), Qt::UTC);
    return h;
}

PatchReading reading(int id, double Lv, double seconds) {
    PatchReading r;
    r.patchId = id;
    r.Lv = r.Y = Lv;
    r.x = 0.3127 + id * 1e-3;
    r.y = 0.329 - id * 1e-3;
    r.X = Lv * r.x / r.y;
    r.Z = Lv * (1 - r.x - r.y) / r.y;
    r.seconds = seconds;
    return r;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

void appendRaw(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write(bytes);
}
} // namespace

TEST(CharacteriseJournal, HeaderAndReadingsReadBackAsWritten) {
    QTemporaryDir dir;
    const QString path = dir.filePath("run.jsonl");
    const JournalHeader written = header();
    Journal journal;
    QString error;
    ASSERT_TRUE(journal.Create(path, written, &error)) << error.toStdString();
    PatchReading failed;
    failed.patchId = 4;
    failed.failed = true;
    failed.hasColour = false;
    failed.result = 0x80000008u;
    failed.seconds = 1.25;
    PatchReading white = reading(5, 250.125, 2.5);
    white.kind = PatchReading::Kind::DriftWhite;
    PatchReading lumaOnly;
    lumaOnly.patchId = 3;
    lumaOnly.hasColour = false;
    lumaOnly.Lv = lumaOnly.Y = 0.123456789012345;
    ASSERT_TRUE(journal.Append(reading(5, 1.0 / 3.0, 0.0), 1000, QString(), &error));
    ASSERT_TRUE(journal.Append(failed, 2250, "instrument timed out", &error));
    ASSERT_TRUE(journal.Append(white, 3500, QString(), &error));
    ASSERT_TRUE(journal.Append(lumaOnly, 3600, QString(), &error));

    JournalContents back;
    ASSERT_TRUE(Journal::Load(path, &back, &error)) << error.toStdString();
    EXPECT_FALSE(back.tornTail);
    EXPECT_EQ(back.firstReadingMs, 1000);
    const RunSettings& s = back.header.settings;
    EXPECT_EQ(s.patchSets, "grey:5");
    EXPECT_EQ(s.order, "shuffle:7");
    EXPECT_EQ(s.settleMs, 350);
    EXPECT_EQ(s.retries, 2);
    EXPECT_EQ(s.whiteEvery, 4);
    EXPECT_EQ(s.targetSpace, "p3");
    EXPECT_EQ(s.targetWhite, "D50");
    EXPECT_EQ(s.targetEotf, "bt1886");
    EXPECT_EQ(s.instrumentFamily, "analyser");
    EXPECT_EQ(s.port, "/dev/cu.usbserial-SIM0");
    EXPECT_EQ(s.started, written.settings.started);
    EXPECT_EQ(back.header.sequence, written.sequence);
    ASSERT_EQ(back.header.patches.size(), 5);
    EXPECT_EQ(back.header.patches[2].name, written.patches[2].name);
    EXPECT_DOUBLE_EQ(back.header.patches[2].g, 0.5);

    ASSERT_EQ(back.readings.size(), 4);
    // Numbers survive exactly: a resumed run's figures must equal an unbroken run's.
    EXPECT_EQ(back.readings[0].Lv, 1.0 / 3.0);
    EXPECT_EQ(back.readings[0].x, reading(5, 1.0 / 3.0, 0).x);
    EXPECT_EQ(back.readings[0].Z, reading(5, 1.0 / 3.0, 0).Z);
    EXPECT_TRUE(back.readings[1].failed);
    EXPECT_EQ(back.readings[1].result, 0x80000008u);
    EXPECT_EQ(back.readings[1].patchId, 4);
    EXPECT_EQ(back.readings[1].seconds, 1.25);
    EXPECT_EQ(back.readings[2].kind, PatchReading::Kind::DriftWhite);
    EXPECT_EQ(back.readings[2].Lv, 250.125);
    EXPECT_FALSE(back.readings[3].hasColour);
    EXPECT_EQ(back.readings[3].Lv, 0.123456789012345);
    EXPECT_TRUE(readAll(path).contains("instrument timed out"));
}

TEST(CharacteriseJournal, EveryReadingIsInTheFileAsSoonAsAppendReturns) {
    QTemporaryDir dir;
    const QString path = dir.filePath("run.jsonl");
    Journal journal;
    QString error;
    ASSERT_TRUE(journal.Create(path, header(), &error));
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(journal.Append(reading(i, 10.0 * i, i), 1000 * i, QString(), &error));
        // Read by another handle while the journal is still open, as after a crash.
        JournalContents back;
        ASSERT_TRUE(Journal::Load(path, &back, &error));
        ASSERT_EQ(back.readings.size(), i);
        EXPECT_EQ(back.readings.last().Lv, 10.0 * i);
    }
}

TEST(CharacteriseJournal, TornLastLineIsIgnoredAndCutBeforeTheRunContinues) {
    QTemporaryDir dir;
    const QString path = dir.filePath("run.jsonl");
    {
        Journal journal;
        QString error;
        ASSERT_TRUE(journal.Create(path, header(), &error));
        ASSERT_TRUE(journal.Append(reading(5, 1.0, 0.0), 1000, QString(), &error));
        ASSERT_TRUE(journal.Append(reading(4, 2.0, 1.0), 2000, QString(), &error));
    }
    appendRaw(path, "{\"kind\":\"patch\",\"id\":3,\"time\":3000,\"Lv\":4.");
    JournalContents back;
    QString error;
    ASSERT_TRUE(Journal::Load(path, &back, &error)) << error.toStdString();
    EXPECT_TRUE(back.tornTail);
    ASSERT_EQ(back.readings.size(), 2);
    EXPECT_EQ(IdsStillToMeasure(back), (QVector<int>{3, 2, 1}));

    Journal resumed;
    ASSERT_TRUE(resumed.Continue(path, "resume", {3, 2, 1}, &error)) << error.toStdString();
    ASSERT_TRUE(resumed.Append(reading(3, 3.0, 2.0), 3000, QString(), &error));
    ASSERT_TRUE(Journal::Load(path, &back, &error)) << error.toStdString();
    EXPECT_FALSE(back.tornTail);
    ASSERT_EQ(back.readings.size(), 3);
    EXPECT_EQ(back.readings[2].patchId, 3);
    EXPECT_EQ(back.readings[2].Lv, 3.0);
    EXPECT_FALSE(readAll(path).contains("\"Lv\":4."));
}

TEST(CharacteriseJournal, CorruptLineInTheMiddleIsAnErrorNamingTheLine) {
    QTemporaryDir dir;
    const QString path = dir.filePath("run.jsonl");
    {
        Journal journal;
        QString error;
        ASSERT_TRUE(journal.Create(path, header(), &error));
        ASSERT_TRUE(journal.Append(reading(5, 1.0, 0.0), 1000, QString(), &error));
    }
    appendRaw(path, "this is no json\n");
    {
        Journal journal;
        QString error;
        ASSERT_FALSE(journal.Continue(path, "resume", {}, &error));
    }
    JournalContents back;
    QString error;
    EXPECT_FALSE(Journal::Load(path, &back, &error));
    EXPECT_TRUE(error.contains("line 3")) << error.toStdString();
}

TEST(CharacteriseJournal, ANewRunNeverOverwritesAnExistingFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath("run.jsonl");
    Journal first;
    QString error;
    ASSERT_TRUE(first.Create(path, header(), &error));
    ASSERT_TRUE(first.Append(reading(5, 1.0, 0.0), 1000, QString(), &error));
    Journal second;
    EXPECT_FALSE(second.Create(path, header("grey:3"), &error));
    EXPECT_TRUE(error.contains(path));
    JournalContents back;
    ASSERT_TRUE(Journal::Load(path, &back, &error));
    EXPECT_EQ(back.readings.size(), 1);
    EXPECT_EQ(back.header.patches.size(), 5);
}

TEST(CharacteriseJournal, FilesThatAreNoJournalAreRefused) {
    QTemporaryDir dir;
    JournalContents back;
    QString error;
    EXPECT_FALSE(Journal::Load(dir.filePath("missing.jsonl"), &back, &error));
    EXPECT_TRUE(error.contains("missing.jsonl"));
    const QString other = dir.filePath("other.json");
    appendRaw(other, "{\"kind\":\"something\"}\n");
    EXPECT_FALSE(Journal::Load(other, &back, &error));
    EXPECT_TRUE(error.contains("not a characterisation journal"));
}

TEST(CharacteriseRunPlan, RetakenReadingsSupersedeOnlyTheirIds) {
    const JournalHeader h = header();
    QVector<PatchReading> readings;
    for (int id : h.sequence)
        readings.append(reading(id, 10.0 * id, id));
    PatchReading white = reading(5, 99.0, 0.5);
    white.kind = PatchReading::Kind::DriftWhite;
    readings.append(white);
    readings.append(reading(2, 222.0, 20)); // the retake of 2
    PatchReading failedRetake;
    failedRetake.patchId = 4;
    failedRetake.failed = true;
    readings.append(failedRetake); // the retake of 4 failed: it stands as failed
    const QVector<PatchReading> latest = LatestPatchReadings(readings, h.patches);
    ASSERT_EQ(latest.size(), 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(latest[i].patchId, i + 1); // set order
    EXPECT_EQ(latest[0].Lv, 10.0);
    EXPECT_EQ(latest[1].Lv, 222.0);
    EXPECT_EQ(latest[2].Lv, 30.0);
    EXPECT_TRUE(latest[3].failed);
    EXPECT_EQ(latest[4].Lv, 50.0);
    EXPECT_EQ(latest[4].kind, PatchReading::Kind::Patch);
    const QVector<PatchReading> whites = DriftWhiteReadings(readings);
    ASSERT_EQ(whites.size(), 1);
    EXPECT_EQ(whites[0].Lv, 99.0);
}

TEST(CharacteriseRunPlan, PatchIdsAreCheckedAgainstTheRun) {
    const QVector<Patch> patches = header("grey:11").patches;
    QVector<int> ids;
    QString error;
    ASSERT_TRUE(ParsePatchIds("7,3-5,3", patches, &ids, &error)) << error.toStdString();
    EXPECT_EQ(ids, (QVector<int>{7, 3, 4, 5}));
    EXPECT_FALSE(ParsePatchIds("12", patches, &ids, &error));
    EXPECT_TRUE(error.contains("12"));
    EXPECT_FALSE(ParsePatchIds("0", patches, &ids, &error));
    EXPECT_FALSE(ParsePatchIds("a", patches, &ids, &error));
    EXPECT_FALSE(ParsePatchIds("5-3", patches, &ids, &error));
    EXPECT_FALSE(ParsePatchIds("", patches, &ids, &error));
}
