#include "CharacteriseRun.h"

#include "InterruptibleWait.h"
#include "Journal.h"
#include "PatchDisplay.h"
#include "PatchMeter.h"

#include <QDateTime>
#include <QHash>

#include <algorithm>

namespace {
// The patch shown for a white re-measure: the set's own full white when it has one (so the drift
// readings and the white patch share an id), a white of its own otherwise.
Patch whitePatch(const QVector<Patch>& patches) {
    for (const Patch& p : patches) {
        if (p.r >= 1.0 && p.g >= 1.0 && p.b >= 1.0)
            return p;
    }
    Patch white;
    white.id = 0;
    white.set = "white";
    white.name = "white";
    white.r = white.g = white.b = 1.0;
    return white;
}
} // namespace

CharacteriseRun::CharacteriseRun(PatchDisplay* display, PatchMeter* meter, Journal* journal)
    : display_(display), meter_(meter), journal_(journal),
      clock_([] { return QDateTime::currentMSecsSinceEpoch(); }) {}

QVector<int> CharacteriseRun::WhitePlacement(int count, int whiteEvery) {
    QVector<int> before;
    if (whiteEvery <= 0 || count <= 0)
        return before;
    // At the start and at the end, so interpolating the white in time covers every patch.
    for (int i = 0; i < count; i += whiteEvery)
        before.append(i);
    before.append(count);
    return before;
}

CharacteriseRun::Outcome CharacteriseRun::Run(const QVector<Patch>& patches, const QVector<int>& ids,
                                              QString* error) {
    readings_.clear();
    stepsDone_ = 0;
    sessionStartMs_ = clock_();
    QHash<int, Patch> byId;
    for (const Patch& p : patches)
        byId.insert(p.id, p);
    for (int id : ids) {
        if (!byId.contains(id)) {
            if (error)
                *error = QString("patch %1 is not in the patch list").arg(id);
            return Outcome::Failed;
        }
    }
    const Patch white = whitePatch(patches);
    const QVector<int> whites = WhitePlacement(ids.size(), options_.whiteEvery);
    const int totalSteps = ids.size() + whites.size();

    int whiteIndex = 0;
    for (int i = 0; i <= ids.size(); ++i) {
        if (whiteIndex < whites.size() && whites[whiteIndex] == i) {
            ++whiteIndex;
            const StepResult r = step(white, PatchReading::Kind::DriftWhite, i, ids.size(),
                                      totalSteps - stepsDone_ - 1, error);
            if (r != StepResult::Done)
                return r == StepResult::Interrupted ? Outcome::Interrupted : Outcome::Failed;
        }
        if (i == ids.size())
            break;
        const StepResult r = step(byId.value(ids[i]), PatchReading::Kind::Patch, i + 1, ids.size(),
                                  totalSteps - stepsDone_ - 1, error);
        if (r != StepResult::Done)
            return r == StepResult::Interrupted ? Outcome::Interrupted : Outcome::Failed;
    }
    return Outcome::Finished;
}

CharacteriseRun::StepResult CharacteriseRun::step(const Patch& patch, PatchReading::Kind kind, int index,
                                                  int total, int stepsLeft, QString* error) {
    if (interrupted())
        return StepResult::Interrupted;
    QString message;
    if (!display_->Show(patch, &message)) {
        // A Ctrl-C that stopped the show command is an interrupt, not a failure of the display.
        if (interrupted())
            return StepResult::Interrupted;
        if (error)
            *error = message;
        return StepResult::Failed;
    }
    if (!InterruptibleWait(options_.settleMs, interrupt_))
        return StepResult::Interrupted;

    PatchReading reading;
    bool ok = false;
    const int tries = 1 + std::max(options_.retries, 0);
    for (int attempt = 0; attempt < tries && !ok; ++attempt) {
        if (attempt > 0 && interrupted())
            return StepResult::Interrupted;
        reading = PatchReading();
        message.clear();
        ok = meter_->Measure(&reading, &message);
        // A reading that failed because Ctrl-C stopped it says nothing about the patch.
        if (!ok && interrupted())
            return StepResult::Interrupted;
    }
    const qint64 now = clock_();
    if (originMs_ == 0)
        originMs_ = now;
    reading.kind = kind;
    reading.patchId = patch.id;
    reading.seconds = (now - originMs_) / 1000.0;
    reading.failed = !ok;
    if (!ok) {
        const quint32 result = reading.result;
        const double seconds = reading.seconds;
        reading = PatchReading();
        reading.kind = kind;
        reading.patchId = patch.id;
        reading.failed = true;
        reading.hasColour = false;
        reading.result = result;
        reading.seconds = seconds;
    }
    readings_.append(reading);
    if (journal_ && !journal_->Append(reading, now, message, error))
        return StepResult::Failed;

    ++stepsDone_;
    if (progress_) {
        Progress progress;
        progress.index = index;
        progress.total = total;
        progress.patch = patch;
        progress.reading = reading;
        progress.message = message;
        const double meanSeconds = (clock_() - sessionStartMs_) / 1000.0 / stepsDone_;
        progress.secondsLeft = meanSeconds * std::max(stepsLeft, 0);
        progress_(progress);
    }
    return StepResult::Done;
}
