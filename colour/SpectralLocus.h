#pragma once

#include <QVector>

// One point of the spectral locus: the chromaticity of monochromatic light of that wavelength.
struct LocusPoint {
    int nm;
    double x;
    double y;
};

// The CIE 1931 2° standard observer's spectral locus, 380 nm to 700 nm in 5 nm steps, as published
// (chromaticity coordinates to four decimals). Beyond 700 nm the locus does not move visibly.
const QVector<LocusPoint>& SpectralLocus();
