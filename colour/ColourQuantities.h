#pragma once

#include "Colorimetry.h"

// The white a reading is compared with: a chromaticity, with or without a luminance.
struct ColourReference {
    double x = 0.0;
    double y = 0.0;
    bool hasLv = false;
    double Lv = 0.0;
};

// Everything a colour reading's Lv, x and y tell: tristimulus values (cd/m², Y = Lv), CIE 1976 u′v′,
// CCT and Duv, and with a reference the distance from it.
struct ColourQuantities {
    double X = 0.0;
    double Y = 0.0;
    double Z = 0.0;
    double uPrime = 0.0;
    double vPrime = 0.0;
    CctResult cct;

    bool hasReference = false;
    double deltaUv = 0.0;    // Δu′v′: the distance in the CIE 1976 UCS diagram
    double deltaE2000 = 0.0; // CIEDE2000 in CIELAB with the reference as the white

    static ColourQuantities FromLvXy(double Lv, double x, double y,
                                     const ColourReference* reference = nullptr);
};

// CIEDE2000 between two CIELAB colours (kL = kC = kH = 1).
double DeltaE2000(double L1, double a1, double b1, double L2, double a2, double b2);
