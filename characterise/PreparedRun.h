#pragma once

#include "Journal.h"
#include "PatchSets.h"

#include <QDateTime>
#include <QString>
#include <QVector>

#include <memory>

// One session of a characterisation, ready to run: the run's header (settings, patches, measuring
// sequence), what this session measures, the clock it keeps, and the journal it writes to. A new
// run, a resume and a retake differ only in how they get here.
struct PreparedRun {
    enum class Mode { New, Resume, Retake };
    Mode mode = Mode::New;
    QString journalPath;
    JournalHeader header;
    QVector<int> ids;              // this session's patches, in measuring order
    QVector<PatchReading> earlier; // what the journal held before this session
    qint64 clockOriginMs = 0;      // the run's first reading (0: this session's first starts the clock)
    std::unique_ptr<Journal> journal;
};

// The target a run's settings name, as the patch sets need it. False with a message when a setting
// is not understood.
bool TargetFromSettings(const RunSettings& settings, PatchSetTarget* target, QString* error);

// A new run: resolves the patch sets against the target and the measuring order (a shuffle without
// a seed gets one here, recorded in settings.order). Nothing is written yet.
bool PrepareNewRun(const RunSettings& settings, const QString& journalPath, PreparedRun* run, QString* error);
// The rest of an interrupted run, in its recorded order, with its recorded settings.
bool PrepareResume(const QString& journalPath, PreparedRun* run, QString* error);
// Chosen patches of a saved run measured again ("3,7,12" or ranges "3-7").
bool PrepareRetake(const QString& journalPath, const QString& ids, PreparedRun* run, QString* error);

// Creates the journal of a new run (with its header) or opens the saved one to add this session.
bool OpenJournal(PreparedRun* run, QString* error);

// Where a run is saved when no path is given: a time-stamped file in `directory`.
QString DefaultJournalPath(const QDateTime& now, const QString& directory);
