// Getting a characterisation session ready: a new run, a resume and a retake from their journal.

#include "PreparedRun.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {
PatchReading reading(int id, double Lv) {
    PatchReading r;
    r.patchId = id;
    r.Lv = r.Y = Lv;
    r.x = 0.31;
    r.y = 0.33;
    return r;
}
} // namespace

TEST(CharacterisePreparedRun, NewRunResolvesPatchesOrderAndTargetBeforeWritingAnything) {
    QTemporaryDir dir;
    RunSettings settings;
    settings.patchSets = "grey:3,colorchecker";
    settings.order = "shuffle";
    settings.targetSpace = "p3";
    PreparedRun run;
    QString error;
    ASSERT_TRUE(PrepareNewRun(settings, dir.filePath("run.jsonl"), &run, &error)) << error.toStdString();
    EXPECT_EQ(run.header.patches.size(), 27);
    EXPECT_EQ(run.ids, run.header.sequence);
    EXPECT_EQ(run.ids.size(), 27);
    // The seed picked for a bare shuffle is what the journal keeps.
    EXPECT_TRUE(run.header.settings.order.startsWith("shuffle:")) << run.header.settings.order.toStdString();
    EXPECT_FALSE(QFile::exists(dir.filePath("run.jsonl")));

    ASSERT_TRUE(OpenJournal(&run, &error)) << error.toStdString();
    ASSERT_TRUE(run.journal->Append(reading(run.ids[0], 5.0), 1000, QString(), &error));
    PreparedRun resumed;
    ASSERT_TRUE(PrepareResume(dir.filePath("run.jsonl"), &resumed, &error)) << error.toStdString();
    EXPECT_EQ(resumed.mode, PreparedRun::Mode::Resume);
    EXPECT_EQ(resumed.header.settings.order, run.header.settings.order);
    EXPECT_EQ(resumed.ids, run.ids.mid(1));
    EXPECT_EQ(resumed.clockOriginMs, 1000);
    EXPECT_EQ(resumed.earlier.size(), 1);
}

TEST(CharacterisePreparedRun, SettingsThatAreNotUnderstoodAreMessages) {
    QTemporaryDir dir;
    PreparedRun run;
    QString error;
    RunSettings settings;
    settings.targetEotf = "gamma:abc";
    EXPECT_FALSE(PrepareNewRun(settings, dir.filePath("a.jsonl"), &run, &error));
    EXPECT_TRUE(error.contains("gamma:abc")) << error.toStdString();
    settings = RunSettings();
    settings.targetWhite = "D93x";
    EXPECT_FALSE(PrepareNewRun(settings, dir.filePath("a.jsonl"), &run, &error));
    EXPECT_TRUE(error.contains("D93x"));
    settings = RunSettings();
    settings.order = "backwards";
    EXPECT_FALSE(PrepareNewRun(settings, dir.filePath("a.jsonl"), &run, &error));
    EXPECT_TRUE(error.contains("backwards"));
    settings = RunSettings();
    settings.patchSets = "grey:3,blues";
    EXPECT_FALSE(PrepareNewRun(settings, dir.filePath("a.jsonl"), &run, &error));
    EXPECT_TRUE(error.contains("blues"));
}

TEST(CharacterisePreparedRun, RetakeMeasuresTheChosenIdsOfASavedRun) {
    QTemporaryDir dir;
    const QString path = dir.filePath("run.jsonl");
    RunSettings settings;
    PreparedRun run;
    QString error;
    ASSERT_TRUE(PrepareNewRun(settings, path, &run, &error));
    ASSERT_TRUE(OpenJournal(&run, &error));
    for (int id : run.ids)
        ASSERT_TRUE(run.journal->Append(reading(id, id), 1000 + id, QString(), &error));
    run.journal.reset();

    PreparedRun retake;
    ASSERT_TRUE(PrepareRetake(path, "12,3", &retake, &error)) << error.toStdString();
    EXPECT_EQ(retake.ids, (QVector<int>{12, 3}));
    EXPECT_EQ(retake.earlier.size(), 17);
    ASSERT_TRUE(OpenJournal(&retake, &error)) << error.toStdString();
    EXPECT_FALSE(PrepareRetake(path, "18", &retake, &error));
    EXPECT_TRUE(error.contains("18"));
    // A finished run has nothing left to resume.
    PreparedRun resume;
    ASSERT_TRUE(PrepareResume(path, &resume, &error));
    EXPECT_TRUE(resume.ids.isEmpty());
}

TEST(CharacterisePreparedRun, DefaultJournalIsATimeStampedFileInTheGivenFolder) {
    const QDateTime when(QDate(2026, 11, 25), QTime(13, 4, 5), Qt::UTC);
    EXPECT_EQ(DefaultJournalPath(when, "/tmp/x"), "/tmp/x/characterisation-20261125-130405.jsonl");
}
