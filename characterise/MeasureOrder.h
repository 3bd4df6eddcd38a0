#pragma once

#include "Patch.h"

#include <QString>
#include <QVector>

// The order patches are measured in: the set's own, or shuffled by a seed. A shuffle spreads the
// display's drift and its memory of the previous patch over the whole set instead of along a ramp.
// Figures are always reported in set order, whatever the measuring order.
struct MeasureOrder {
    bool shuffle = false;
    quint32 seed = 0;

    // "set", "shuffle" (a seed is picked here, so it can be recorded and a resume follows the same
    // order) or "shuffle:SEED". False with a message for anything else.
    static bool Parse(const QString& text, MeasureOrder* order, QString* error = nullptr);
    // The text Parse reads back to this very order ("set" or "shuffle:SEED").
    QString Text() const;
};

// The patches' ids in measuring order: a permutation of the set, the same for the same seed on every
// platform (its own Fisher–Yates over mt19937, whose output the standard fixes).
QVector<int> MeasuringSequence(const QVector<Patch>& patches, const MeasureOrder& order);
