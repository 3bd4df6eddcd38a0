#pragma once

#include "CharacteriseRun.h"

#include <QString>

// One line of a characterisation's progress, for a person watching the run:
//   "patch 3 of 17 (grey 20 %, 0.2000 0.2000 0.2000): Lv 4.215 x 0.3127 y 0.3290, about 12 s left"
// A white re-measure reads "white (drift)", a failed reading "failed: <why>", a luminance meter's
// reading Lv alone.
QString ProgressLine(const CharacteriseRun::Progress& progress);

// A duration for a person: "12 s", "3 min 05 s", "1 h 02 min".
QString DurationText(double seconds);
