#include "Cielab.h"

#include "ColourQuantities.h"

#include <lcms2.h>

Lab LabFromXyz(const Xyz& xyz, const Xyz& white) {
    const cmsCIEXYZ w = {white.X, white.Y, white.Z};
    const cmsCIEXYZ sample = {xyz.X, xyz.Y, xyz.Z};
    cmsCIELab lab;
    cmsXYZ2Lab(&w, &lab, &sample);
    return {lab.L, lab.a, lab.b};
}

double DeltaE2000Between(const Xyz& first, const Xyz& second, const Xyz& white) {
    const Lab a = LabFromXyz(first, white);
    const Lab b = LabFromXyz(second, white);
    return DeltaE2000(a.L, a.a, a.b, b.L, b.a, b.b);
}
