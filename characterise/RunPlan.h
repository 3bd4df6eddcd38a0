#pragma once

#include "Journal.h"

#include <QString>
#include <QVector>

// What a resumed or retaken run measures, and what its readings add up to.

// The ids a resume still has to measure, in the recorded measuring sequence: those with no reading
// in the journal. A patch whose reading failed (after its retries) counts as read; retake it.
QVector<int> IdsStillToMeasure(const JournalContents& contents);

// "3,7,12" (ranges "3-7" too) as patch ids of `patches`, in the order given, without repeats. False
// with a message naming an id the run does not have.
bool ParsePatchIds(const QString& text, const QVector<Patch>& patches, QVector<int>* ids, QString* error);

// The reading that stands for each patch: the last one written of its id (a retake supersedes what
// it re-measured, everything else stays), in set order; patches never read are absent.
QVector<PatchReading> LatestPatchReadings(const QVector<PatchReading>& readings,
                                          const QVector<Patch>& patches);

// Every white re-measured to follow the display's drift, in the order of the run's clock.
QVector<PatchReading> DriftWhiteReadings(const QVector<PatchReading>& readings);
