// The characterisation run over a display and a meter that only record what they were asked: order,
// settling, retries, white re-measures, Ctrl-C, resume and retake.

#include "CharacteriseRun.h"
#include "Journal.h"
#include "MeasureOrder.h"
#include "PatchDisplay.h"
#include "PatchMeter.h"
#include "PatchSets.h"
#include "RunPlan.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

namespace {
// A display that remembers what it shows and when.
struct FakeDisplay : PatchDisplay {
    QVector<Patch> shown;
    QVector<qint64> shownAtMs;
    QElapsedTimer clock;
    int failAtShow = 0; // 1-based; 0: never
    FakeDisplay() { clock.start(); }
    bool Show(const Patch& patch, QString* error) override {
        if (failAtShow == shown.size() + 1) {
            *error = "show command \"pgen\" failed with exit status 3";
            return false;
        }
        shown.append(patch);
        shownAtMs.append(clock.elapsed());
        return true;
    }
};

// A meter that reads the display's current patch through a known response, and fails on request.
struct FakeMeter : PatchMeter {
    const FakeDisplay* display;
    double gain = 100.0;
    int calls = 0;
    QVector<qint64> measuredAtMs;
    QHash<int, int> failuresLeft; // patch id -> how many of its next readings fail
    std::function<void()> onMeasure;
    explicit FakeMeter(const FakeDisplay* d) : display(d) {}
    bool Measure(PatchReading* out, QString* error) override {
        ++calls;
        measuredAtMs.append(display->clock.elapsed());
        if (onMeasure)
            onMeasure();
        const Patch& p = display->shown.last();
        int& fails = failuresLeft[p.id];
        if (fails > 0) {
            --fails;
            out->result = 0x80000008u;
            *error = "no reply";
            return false;
        }
        const double X = gain * (0.41 * p.r + 0.36 * p.g + 0.18 * p.b) + 0.05;
        const double Y = gain * (0.21 * p.r + 0.72 * p.g + 0.07 * p.b) + 0.05;
        const double Z = gain * (0.02 * p.r + 0.12 * p.g + 0.95 * p.b) + 0.05;
        out->hasColour = true;
        out->X = X;
        out->Y = Y;
        out->Z = Z;
        out->Lv = Y;
        out->x = X / (X + Y + Z);
        out->y = Y / (X + Y + Z);
        return true;
    }
};

QVector<Patch> patchesOf(const QString& sets) {
    QVector<Patch> patches;
    QString error;
    EXPECT_TRUE(ParsePatchSets(sets, PatchSetTarget(), &patches, &error)) << error.toStdString();
    return patches;
}

QVector<int> idsOf(const QVector<Patch>& patches) {
    QVector<int> ids;
    for (const Patch& p : patches)
        ids.append(p.id);
    return ids;
}

CharacteriseRun::Options fast(int whiteEvery = 0) {
    CharacteriseRun::Options o;
    o.settleMs = 0;
    o.retries = 1;
    o.whiteEvery = whiteEvery;
    return o;
}

JournalHeader headerFor(const QVector<Patch>& patches, const QVector<int>& sequence) {
    JournalHeader h;
    h.patches = patches;
    h.sequence = sequence;
    h.settings.started = QDateTime::currentDateTimeUtc();
    return h;
}

void expectSameReadings(const QVector<PatchReading>& a, const QVector<PatchReading>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (int i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].patchId, b[i].patchId);
        EXPECT_EQ(a[i].failed, b[i].failed);
        EXPECT_EQ(a[i].Lv, b[i].Lv) << "patch " << a[i].patchId;
        EXPECT_EQ(a[i].x, b[i].x);
        EXPECT_EQ(a[i].y, b[i].y);
        EXPECT_EQ(a[i].X, b[i].X);
        EXPECT_EQ(a[i].Z, b[i].Z);
    }
}

// A whole run into a fresh journal, `stopAfter` patches measured (0: to the end).
struct JournalledRun {
    QTemporaryDir dir;
    QString path;
    QVector<Patch> patches;
    QVector<int> sequence;
    CharacteriseRun::Outcome outcome = CharacteriseRun::Outcome::Failed;
    int meterCalls = 0;

    JournalledRun(const QString& sets, const QString& order, int stopAfter) {
        path = dir.filePath("run.jsonl");
        patches = patchesOf(sets);
        MeasureOrder measureOrder;
        EXPECT_TRUE(MeasureOrder::Parse(order, &measureOrder));
        sequence = MeasuringSequence(patches, measureOrder);
        Journal journal;
        QString error;
        EXPECT_TRUE(journal.Create(path, headerFor(patches, sequence), &error)) << error.toStdString();
        FakeDisplay display;
        FakeMeter meter(&display);
        std::atomic<bool> interrupt{false};
        CharacteriseRun run(&display, &meter, &journal);
        run.SetOptions(fast());
        run.SetInterruptFlag(&interrupt);
        run.SetProgressCallback([&](const CharacteriseRun::Progress& p) {
            if (stopAfter > 0 && p.index == stopAfter)
                interrupt = true;
        });
        outcome = run.Run(patches, sequence, &error);
        meterCalls = meter.calls;
    }
};
} // namespace

TEST(CharacteriseRun, MeasuresEachPatchOnceInTheGivenOrder) {
    const QVector<Patch> patches = patchesOf("grey:11,primaries");
    MeasureOrder order;
    ASSERT_TRUE(MeasureOrder::Parse("shuffle:5", &order));
    const QVector<int> sequence = MeasuringSequence(patches, order);
    FakeDisplay display;
    FakeMeter meter(&display);
    CharacteriseRun run(&display, &meter, nullptr);
    run.SetOptions(fast());
    QString error;
    ASSERT_EQ(run.Run(patches, sequence, &error), CharacteriseRun::Outcome::Finished) << error.toStdString();
    ASSERT_EQ(display.shown.size(), 17);
    EXPECT_EQ(idsOf(display.shown), sequence);
    ASSERT_EQ(run.Readings().size(), 17);
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(run.Readings()[i].patchId, sequence[i]);
        EXPECT_EQ(run.Readings()[i].kind, PatchReading::Kind::Patch);
        EXPECT_FALSE(run.Readings()[i].failed);
    }
    EXPECT_EQ(meter.calls, 17);
}

TEST(CharacteriseRun, WaitsTheSettleTimeBetweenShowingAndMeasuring) {
    const QVector<Patch> patches = patchesOf("grey:3");
    FakeDisplay display;
    FakeMeter meter(&display);
    CharacteriseRun run(&display, &meter, nullptr);
    CharacteriseRun::Options options = fast();
    options.settleMs = 120;
    run.SetOptions(options);
    QString error;
    ASSERT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Finished);
    ASSERT_EQ(meter.measuredAtMs.size(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_GE(meter.measuredAtMs[i] - display.shownAtMs[i], 120) << "patch " << i + 1;
}

TEST(CharacteriseRun, RetriesAFailedReadingAndKeepsTheRetry) {
    const QVector<Patch> patches = patchesOf("grey:3");
    FakeDisplay display;
    FakeMeter meter(&display);
    meter.failuresLeft[2] = 1;
    CharacteriseRun run(&display, &meter, nullptr);
    run.SetOptions(fast());
    QString error;
    ASSERT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Finished);
    EXPECT_EQ(meter.calls, 4);
    ASSERT_EQ(run.Readings().size(), 3);
    EXPECT_FALSE(run.Readings()[1].failed);
    EXPECT_GT(run.Readings()[1].Lv, 0.0);
    EXPECT_EQ(display.shown.size(), 3); // a retry measures again, it does not show again
}

TEST(CharacteriseRun, AReadingThatFailsEveryTryIsRecordedAsFailedAndTheRunGoesOn) {
    const QVector<Patch> patches = patchesOf("grey:4");
    FakeDisplay display;
    FakeMeter meter(&display);
    meter.failuresLeft[2] = 100;
    CharacteriseRun run(&display, &meter, nullptr);
    CharacteriseRun::Options options = fast();
    options.retries = 2;
    run.SetOptions(options);
    QVector<QString> messages;
    run.SetProgressCallback([&](const CharacteriseRun::Progress& p) { messages.append(p.message); });
    QString error;
    ASSERT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Finished);
    EXPECT_EQ(meter.calls, 3 + 3); // three tries of patch 2, one each of the others
    ASSERT_EQ(run.Readings().size(), 4);
    EXPECT_TRUE(run.Readings()[1].failed);
    EXPECT_EQ(run.Readings()[1].result, 0x80000008u);
    EXPECT_EQ(run.Readings()[1].Lv, 0.0);
    EXPECT_FALSE(run.Readings()[2].failed);
    EXPECT_FALSE(run.Readings()[3].failed);
    EXPECT_EQ(messages[1], "no reply");
    EXPECT_TRUE(messages[2].isEmpty());
}

TEST(CharacteriseRun, WhiteIsReMeasuredAtTheStartAfterEveryNPatchesAndAtTheEnd) {
    const QVector<Patch> patches = patchesOf("grey:7");
    FakeDisplay display;
    FakeMeter meter(&display);
    CharacteriseRun run(&display, &meter, nullptr);
    run.SetOptions(fast(3));
    QString error;
    ASSERT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Finished);
    // W 1 2 3 W 4 5 6 W 7 W; the set's own white (grey 100 %, id 7) is what is shown for W.
    QString kinds;
    for (const PatchReading& r : run.Readings())
        kinds += r.kind == PatchReading::Kind::DriftWhite ? "W" : QString::number(r.patchId);
    EXPECT_EQ(kinds, "W123W456W7W");
    for (const PatchReading& r : run.Readings()) {
        if (r.kind == PatchReading::Kind::DriftWhite) {
            EXPECT_EQ(r.patchId, 7);
        }
    }
    EXPECT_EQ(display.shown[0].r, 1.0);
    // Six patches: the white after the sixth is also the last one.
    EXPECT_EQ(CharacteriseRun::WhitePlacement(6, 3), (QVector<int>{0, 3, 6}));
    EXPECT_EQ(CharacteriseRun::WhitePlacement(7, 3), (QVector<int>{0, 3, 6, 7}));
    EXPECT_TRUE(CharacteriseRun::WhitePlacement(7, 0).isEmpty());
}

TEST(CharacteriseRun, WhiteIsShownAsAPatchOfItsOwnWhenTheSetHasNone) {
    const QVector<Patch> patches = patchesOf("primaries");
    FakeDisplay display;
    FakeMeter meter(&display);
    CharacteriseRun run(&display, &meter, nullptr);
    run.SetOptions(fast(4));
    QString error;
    ASSERT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Finished);
    ASSERT_EQ(run.Readings().size(), 6 + 3);
    EXPECT_EQ(run.Readings()[0].kind, PatchReading::Kind::DriftWhite);
    EXPECT_EQ(run.Readings()[0].patchId, 0);
    EXPECT_EQ(std::make_tuple(display.shown[0].r, display.shown[0].g, display.shown[0].b),
              std::make_tuple(1.0, 1.0, 1.0));
    EXPECT_EQ(run.Readings()[5].kind, PatchReading::Kind::DriftWhite);
}

TEST(CharacteriseRun, InterruptBetweenPatchesEndsCleanlyKeepingWhatWasMeasured) {
    JournalledRun run("grey:11,primaries", "set", 4);
    EXPECT_EQ(run.outcome, CharacteriseRun::Outcome::Interrupted);
    EXPECT_EQ(run.meterCalls, 4);
    JournalContents back;
    QString error;
    ASSERT_TRUE(Journal::Load(run.path, &back, &error)) << error.toStdString();
    EXPECT_EQ(back.readings.size(), 4);
    EXPECT_FALSE(back.tornTail);
}

TEST(CharacteriseRun, InterruptDuringTheSettleWaitEndsAtOnceWithoutReadingThatPatch) {
    const QVector<Patch> patches = patchesOf("grey:3");
    FakeDisplay display;
    FakeMeter meter(&display);
    std::atomic<bool> interrupt{false};
    CharacteriseRun run(&display, &meter, nullptr);
    CharacteriseRun::Options options = fast();
    options.settleMs = 5000;
    run.SetOptions(options);
    run.SetInterruptFlag(&interrupt);
    QTimer::singleShot(100, [&] { interrupt = true; });
    QElapsedTimer elapsed;
    elapsed.start();
    QString error;
    EXPECT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Interrupted);
    EXPECT_LT(elapsed.elapsed(), 1500);
    EXPECT_EQ(meter.calls, 0);
    EXPECT_TRUE(run.Readings().isEmpty());
}

TEST(CharacteriseRun, ADisplayThatCannotShowEndsTheRunWithItsMessage) {
    const QVector<Patch> patches = patchesOf("grey:5");
    FakeDisplay display;
    display.failAtShow = 3;
    FakeMeter meter(&display);
    CharacteriseRun run(&display, &meter, nullptr);
    run.SetOptions(fast());
    QString error;
    EXPECT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Failed);
    EXPECT_TRUE(error.contains("exit status 3")) << error.toStdString();
    EXPECT_EQ(run.Readings().size(), 2);
}

TEST(CharacteriseRun, ProgressCountsPatchesAndEstimatesTimeLeftFromTheMeanSoFar) {
    const QVector<Patch> patches = patchesOf("grey:5");
    FakeDisplay display;
    FakeMeter meter(&display);
    qint64 now = 1'000'000;
    meter.onMeasure = [&] { now += 2000; }; // each reading takes two seconds
    CharacteriseRun run(&display, &meter, nullptr);
    run.SetOptions(fast());
    run.SetClock([&] { return now; });
    QVector<CharacteriseRun::Progress> seen;
    run.SetProgressCallback([&](const CharacteriseRun::Progress& p) { seen.append(p); });
    QString error;
    ASSERT_EQ(run.Run(patches, idsOf(patches), &error), CharacteriseRun::Outcome::Finished);
    ASSERT_EQ(seen.size(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(seen[i].index, i + 1);
        EXPECT_EQ(seen[i].total, 5);
        EXPECT_EQ(seen[i].patch.id, i + 1);
        EXPECT_NEAR(seen[i].secondsLeft, 2.0 * (4 - i), 1e-9);
        // The run's clock starts at its first reading.
        EXPECT_NEAR(seen[i].reading.seconds, 2.0 * i, 1e-9);
    }
}

TEST(CharacteriseRun, ResumeAfterAStopAtPatchSixOfSeventeenMeasuresOnlyTheElevenLeft) {
    JournalledRun unbroken("grey:11,primaries", "shuffle:99", 0);
    ASSERT_EQ(unbroken.outcome, CharacteriseRun::Outcome::Finished);
    JournalledRun stopped("grey:11,primaries", "shuffle:99", 6);
    ASSERT_EQ(stopped.outcome, CharacteriseRun::Outcome::Interrupted);
    ASSERT_EQ(stopped.meterCalls, 6);

    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(stopped.path, &contents, &error)) << error.toStdString();
    const QVector<int> left = IdsStillToMeasure(contents);
    ASSERT_EQ(left.size(), 11);
    EXPECT_EQ(left, stopped.sequence.mid(6)); // the recorded order goes on where it stopped
    Journal journal;
    ASSERT_TRUE(journal.Continue(stopped.path, "resume", left, &error)) << error.toStdString();
    FakeDisplay display;
    FakeMeter meter(&display);
    CharacteriseRun resume(&display, &meter, &journal);
    resume.SetOptions(fast());
    resume.SetClockOrigin(contents.firstReadingMs);
    ASSERT_EQ(resume.Run(contents.header.patches, left, &error), CharacteriseRun::Outcome::Finished);
    EXPECT_EQ(meter.calls, 11);
    for (const PatchReading& r : resume.Readings())
        EXPECT_GE(r.seconds, 0.0); // the run's clock, not a new one

    JournalContents merged;
    JournalContents whole;
    ASSERT_TRUE(Journal::Load(stopped.path, &merged, &error));
    ASSERT_TRUE(Journal::Load(unbroken.path, &whole, &error));
    EXPECT_TRUE(IdsStillToMeasure(merged).isEmpty());
    const QVector<PatchReading> resumed = LatestPatchReadings(merged.readings, merged.header.patches);
    ASSERT_EQ(resumed.size(), 17);
    expectSameReadings(resumed, LatestPatchReadings(whole.readings, whole.header.patches));
}

TEST(CharacteriseRun, ResumeAfterACrashMidLineMeasuresWhatTheJournalLacks) {
    JournalledRun whole("grey:11,primaries", "set", 0);
    // A crash while writing the seventh reading: header, six readings, half a line.
    QFile file(whole.path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QByteArray cut;
    for (int i = 0; i < 7; ++i)
        cut += lines[i] + '\n';
    cut += lines[7].left(lines[7].size() / 2);
    file.resize(0);
    file.write(cut);
    file.close();

    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(whole.path, &contents, &error)) << error.toStdString();
    EXPECT_TRUE(contents.tornTail);
    const QVector<int> left = IdsStillToMeasure(contents);
    ASSERT_EQ(left.size(), 11);
    EXPECT_EQ(left.first(), 7);
    Journal journal;
    ASSERT_TRUE(journal.Continue(whole.path, "resume", left, &error));
    FakeDisplay display;
    FakeMeter meter(&display);
    CharacteriseRun resume(&display, &meter, &journal);
    resume.SetOptions(fast());
    ASSERT_EQ(resume.Run(contents.header.patches, left, &error), CharacteriseRun::Outcome::Finished);
    EXPECT_EQ(meter.calls, 11);
    ASSERT_TRUE(Journal::Load(whole.path, &contents, &error)) << error.toStdString();
    EXPECT_EQ(LatestPatchReadings(contents.readings, contents.header.patches).size(), 17);
}

TEST(CharacteriseRun, RetakeChangesOnlyTheChosenPatches) {
    JournalledRun original("grey:11,primaries", "set", 0);
    ASSERT_EQ(original.outcome, CharacteriseRun::Outcome::Finished);
    JournalContents before;
    QString error;
    ASSERT_TRUE(Journal::Load(original.path, &before, &error));
    const QVector<PatchReading> old = LatestPatchReadings(before.readings, before.header.patches);

    QVector<int> ids;
    ASSERT_TRUE(ParsePatchIds("3,12", before.header.patches, &ids, &error));
    Journal journal;
    ASSERT_TRUE(journal.Continue(original.path, "retake", ids, &error));
    FakeDisplay display;
    FakeMeter meter(&display);
    meter.gain = 150.0; // the display was adjusted: a retake reads something new
    CharacteriseRun retake(&display, &meter, &journal);
    retake.SetOptions(fast());
    retake.SetClockOrigin(before.firstReadingMs);
    ASSERT_EQ(retake.Run(before.header.patches, ids, &error), CharacteriseRun::Outcome::Finished);
    EXPECT_EQ(meter.calls, 2);
    EXPECT_EQ(idsOf(display.shown), ids);

    JournalContents after;
    ASSERT_TRUE(Journal::Load(original.path, &after, &error));
    const QVector<PatchReading> now = LatestPatchReadings(after.readings, after.header.patches);
    ASSERT_EQ(now.size(), 17);
    for (int i = 0; i < 17; ++i) {
        const int id = i + 1;
        if (id == 3 || id == 12) {
            EXPECT_NE(now[i].Lv, old[i].Lv) << "patch " << id;
            EXPECT_EQ(now[i].Lv, retake.Readings()[id == 3 ? 0 : 1].Lv);
        } else {
            EXPECT_EQ(now[i].Lv, old[i].Lv) << "patch " << id;
            EXPECT_EQ(now[i].x, old[i].x);
        }
    }
}
