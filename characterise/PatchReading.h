#pragma once

#include <QtGlobal>

// One reading taken during a characterisation: of a patch, or of the white re-measured to follow the
// display's drift.
struct PatchReading {
    enum class Kind { Patch, DriftWhite };
    Kind kind = Kind::Patch;
    int patchId = 0;       // the Patch's id (for a DriftWhite, the white patch's id or 0)
    bool failed = false;   // no reading: the instrument failed after the retries
    quint32 result = 0;    // the instrument's result code of the last try when failed
    bool hasColour = true; // false for a luminance meter, which gives Lv only
    double Lv = 0.0;       // cd/m²
    double x = 0.0;        // CIE 1931 chromaticity, when hasColour
    double y = 0.0;
    double X = 0.0; // cd/m² (Y = Lv); X and Z only when hasColour
    double Y = 0.0;
    double Z = 0.0;
    double seconds = 0.0; // since the run's first reading: drift is a function of it
};
