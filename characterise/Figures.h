#pragma once

#include "CharacterisationFigures.h"
#include "Patch.h"
#include "PatchReading.h"
#include "Target.h"

#include <QVector>

// What the figures are computed with, beside the patches, readings and target.
struct FiguresSettings {
    // Scale each reading by the white interpolated in time to it, so that every reading is as if taken
    // at the first white's output.
    bool normaliseDrift = false;
};

// All figures of a characterisation from its patches (in set order), the readings taken of them in
// any order (with the re-measured whites, if any) and the target. A patch read more than once (a
// retake) counts with its last successful reading; failed patches are listed and left out of every
// statistic.
CharacterisationFigures ComputeFigures(const QVector<Patch>& patches, const QVector<PatchReading>& readings,
                                       const Target& target, const FiguresSettings& settings = {});

// Mean, median and max of ΔE2000 values and the verdict against the two pass marks.
DeltaEFigures DeltaEStatistics(QVector<double> values);
