#pragma once

#include "Eotf.h"
#include "Patch.h"
#include "RgbSpace.h"

#include <QString>
#include <QVector>

// The colour space a characterisation aims at: what the colour checker's CIELAB values are turned
// into device values for.
struct PatchSetTarget {
    RgbPrimaries primaries = SrgbPrimaries();
    Chromaticity white = kWhiteD65;
    Eotf eotf; // gamma 2.2
};

// The patch sets a text names, comma-separated, in the order given:
//   grey:N         N grey levels evenly spaced from black to white (default 11)
//   primaries      red, green, blue, cyan, magenta, yellow at 100 %
//   saturations:N  each of those six at N saturation steps (default 5): step i of N lies i/N of the
//                  way from white to the full colour, so the last step is the colour itself
//   ramps:N        red, green and blue each at N levels i/N, i = 1..N (default 10); black is left
//                  to the grey set, which every run of curves needs once, not three times
//   colorchecker   the 24 patches of the classic colour checker in the target's device values
//   file:PATH      device values from a CGATS file (fields RGB_R, RGB_G, RGB_B, 0..100)
//   rgb:R,G,B;...  an explicit list, 0..1
// Ids run 1..N in set order. False with a message (nothing is added) on any error.
const char* const kDefaultPatchSets = "grey:11,primaries";
bool ParsePatchSets(const QString& sets, const PatchSetTarget& target, QVector<Patch>* patches,
                    QString* error);

// The single sets, each appending to `patches` with ids continuing from the last one there.
void AddGreyPatches(int levels, QVector<Patch>* patches);
void AddPrimaryPatches(QVector<Patch>* patches);
void AddSaturationPatches(int steps, QVector<Patch>* patches);
void AddRampPatches(int levels, QVector<Patch>* patches);
