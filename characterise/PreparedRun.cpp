#include "PreparedRun.h"

#include "MeasureOrder.h"
#include "RunPlan.h"

#include <QDir>

bool TargetFromSettings(const RunSettings& settings, PatchSetTarget* target, QString* error) {
    PatchSetTarget result;
    if (!ParsePrimaries(settings.targetSpace, &result.primaries, error) ||
        !ParseWhite(settings.targetWhite, &result.white, error) ||
        !Eotf::Parse(settings.targetEotf, &result.eotf, error))
        return false;
    *target = result;
    return true;
}

bool PrepareNewRun(const RunSettings& settings, const QString& journalPath, PreparedRun* run,
                   QString* error) {
    PatchSetTarget target;
    if (!TargetFromSettings(settings, &target, error))
        return false;
    PreparedRun result;
    result.mode = PreparedRun::Mode::New;
    result.journalPath = journalPath;
    result.header.settings = settings;
    if (!ParsePatchSets(settings.patchSets, target, &result.header.patches, error))
        return false;
    MeasureOrder order;
    if (!MeasureOrder::Parse(settings.order, &order, error))
        return false;
    result.header.settings.order = order.Text();
    result.header.sequence = MeasuringSequence(result.header.patches, order);
    result.ids = result.header.sequence;
    *run = std::move(result);
    return true;
}

namespace {
bool loadSaved(const QString& journalPath, PreparedRun::Mode mode, PreparedRun* run, QString* error) {
    JournalContents contents;
    if (!Journal::Load(journalPath, &contents, error))
        return false;
    run->mode = mode;
    run->journalPath = journalPath;
    run->header = contents.header;
    run->earlier = contents.readings;
    run->clockOriginMs = contents.firstReadingMs;
    return true;
}
} // namespace

bool PrepareResume(const QString& journalPath, PreparedRun* run, QString* error) {
    PreparedRun result;
    if (!loadSaved(journalPath, PreparedRun::Mode::Resume, &result, error))
        return false;
    JournalContents contents;
    contents.header = result.header;
    contents.readings = result.earlier;
    result.ids = IdsStillToMeasure(contents);
    *run = std::move(result);
    return true;
}

bool PrepareRetake(const QString& journalPath, const QString& ids, PreparedRun* run, QString* error) {
    PreparedRun result;
    if (!loadSaved(journalPath, PreparedRun::Mode::Retake, &result, error))
        return false;
    if (!ParsePatchIds(ids, result.header.patches, &result.ids, error))
        return false;
    *run = std::move(result);
    return true;
}

bool OpenJournal(PreparedRun* run, QString* error) {
    auto journal = std::make_unique<Journal>();
    const bool ok = run->mode == PreparedRun::Mode::New
                        ? journal->Create(run->journalPath, run->header, error)
                        : journal->Continue(run->journalPath,
                                            run->mode == PreparedRun::Mode::Resume ? "resume" : "retake",
                                            run->ids, error);
    if (!ok)
        return false;
    run->journal = std::move(journal);
    return true;
}

QString DefaultJournalPath(const QDateTime& now, const QString& directory) {
    return QDir(directory).filePath(
        QString("characterisation-%1.jsonl").arg(now.toUTC().toString("yyyyMMdd-HHmmss")));
}
