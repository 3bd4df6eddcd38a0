#pragma once

#include "RgbSpace.h"

// CIELAB relative to a chosen white, and CIEDE2000 between two tristimulus values seen against it.

struct Lab {
    double L = 0.0;
    double a = 0.0;
    double b = 0.0;
};

// CIELAB of `xyz` with `white` as the reference white (any unit, the same for both).
Lab LabFromXyz(const Xyz& xyz, const Xyz& white);

// CIEDE2000 (kL = kC = kH = 1) between two tristimulus values in the CIELAB of `white`.
double DeltaE2000Between(const Xyz& first, const Xyz& second, const Xyz& white);
