#pragma once

#include "Patch.h"
#include "PatchReading.h"

#include <QString>
#include <QVector>

#include <atomic>
#include <functional>

class Journal;
class PatchDisplay;
class PatchMeter;

// One session of a characterisation: shows each patch, waits for the display to settle, measures it
// (retrying a failed reading), re-measures white to follow the display's drift, and writes every
// reading to the journal as it is taken. A resume or a retake is a session over the ids it still
// needs, on the journal it continues, with the clock of the run it belongs to.
class CharacteriseRun {
public:
    struct Options {
        int settleMs = 200;
        int retries = 1;    // further tries of a failed reading before it is recorded as failed
        int whiteEvery = 0; // re-measure white after every N patches, and at the start and the end
    };

    struct Progress {
        int index = 0; // patches measured so far in this session, this one included
        int total = 0; // patches this session measures (white re-measures not counted)
        Patch patch;
        PatchReading reading;      // kind DriftWhite for a white re-measure
        QString message;           // why the reading failed, when it did
        double secondsLeft = -1.0; // estimate from the mean time a step took so far
    };

    enum class Outcome { Finished, Interrupted, Failed };

    // The display, the meter and the journal stay the caller's; the journal may be null (nothing kept).
    CharacteriseRun(PatchDisplay* display, PatchMeter* meter, Journal* journal);

    void SetOptions(const Options& options) { options_ = options; }
    // Checked between patches and during every wait: set it (from a signal handler too) to end the
    // session cleanly, keeping everything measured.
    void SetInterruptFlag(const std::atomic<bool>* interrupt) { interrupt_ = interrupt; }
    void SetProgressCallback(std::function<void(const Progress&)> callback) {
        progress_ = std::move(callback);
    }
    // Milliseconds since the epoch; replaceable so tests can run a clock of their own.
    void SetClock(std::function<qint64()> clock) { clock_ = std::move(clock); }
    // The time of the run's first reading (a resumed run keeps the clock it started with); left at
    // 0, the first reading of this session starts the clock.
    void SetClockOrigin(qint64 epochMs) { originMs_ = epochMs; }

    // Measures the patches of `ids` (ids of `patches`) in that order. Finished when all were measured
    // (some may have failed), Interrupted when the flag ended it, Failed with a message when a patch
    // could not be shown or the journal could not be written.
    Outcome Run(const QVector<Patch>& patches, const QVector<int>& ids, QString* error);

    // The readings this session took, in the order taken.
    const QVector<PatchReading>& Readings() const { return readings_; }

    // Where the white re-measures fall for `count` patches: the indexes (0..count) before which a
    // white is measured, count meaning after the last patch. Empty when whiteEvery is 0 or count 0.
    static QVector<int> WhitePlacement(int count, int whiteEvery);

private:
    enum class StepResult { Done, Interrupted, Failed };
    StepResult step(const Patch& patch, PatchReading::Kind kind, int index, int total, int stepsLeft,
                    QString* error);
    bool interrupted() const { return interrupt_ && interrupt_->load(); }

    PatchDisplay* display_;
    PatchMeter* meter_;
    Journal* journal_;
    Options options_;
    const std::atomic<bool>* interrupt_ = nullptr;
    std::function<void(const Progress&)> progress_;
    std::function<qint64()> clock_;
    qint64 originMs_ = 0;
    QVector<PatchReading> readings_;
    qint64 sessionStartMs_ = 0;
    int stepsDone_ = 0;
};
