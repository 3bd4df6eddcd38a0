#pragma once

#include "Patch.h"
#include "PatchSets.h"

#include <QString>
#include <QVector>

// The 24 patches of the classic colour checker, from their published CIELAB (D50) values, turned
// into the target's device values by LittleCMS (relative colorimetric, clipped to 0..1). Appends to
// `patches` with ids continuing from the last one there. False with a message if LittleCMS fails.
bool AddColorCheckerPatches(const PatchSetTarget& target, QVector<Patch>* patches, QString* error);
