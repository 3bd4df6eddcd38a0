#include "ColourQuantities.h"

#include <lcms2.h>

#include <cmath>

namespace {
cmsCIEXYZ xyzOf(double Y, double x, double y) {
    const cmsCIExyY xyY = {x, y, Y};
    cmsCIEXYZ xyz;
    cmsxyY2XYZ(&xyz, &xyY);
    return xyz;
}
} // namespace

ColourQuantities ColourQuantities::FromLvXy(double Lv, double x, double y, const ColourReference* reference) {
    ColourQuantities q;
    if (y > 0) {
        const cmsCIEXYZ xyz = xyzOf(Lv, x, y);
        q.X = xyz.X;
        q.Y = xyz.Y;
        q.Z = xyz.Z;
    }
    const UvPoint uv = UvPrimeFromXy(x, y);
    q.uPrime = uv.u;
    q.vPrime = uv.v;
    q.cct = CctFromXy(x, y);
    if (!reference)
        return q;

    q.hasReference = true;
    const UvPoint refUv = UvPrimeFromXy(reference->x, reference->y);
    q.deltaUv = std::hypot(q.uPrime - refUv.u, q.vPrime - refUv.v);
    // The reference is the white of CIELAB; without a luminance of its own it takes the reading's, so
    // that only the difference in colour counts.
    const double whiteY = reference->hasLv ? reference->Lv : Lv;
    if (!(whiteY > 0) || !(reference->y > 0) || !(y > 0)) {
        q.deltaE2000 = std::nan("");
        return q;
    }
    const cmsCIEXYZ white = xyzOf(whiteY, reference->x, reference->y);
    const cmsCIEXYZ sample = xyzOf(Lv, x, y);
    // LittleCMS takes the white as given; the white itself maps to L* 100, a* = b* = 0.
    cmsCIELab lab;
    cmsCIELab whiteLab;
    cmsXYZ2Lab(&white, &lab, &sample);
    cmsXYZ2Lab(&white, &whiteLab, &white);
    q.deltaE2000 = DeltaE2000(lab.L, lab.a, lab.b, whiteLab.L, whiteLab.a, whiteLab.b);
    return q;
}

double DeltaE2000(double L1, double a1, double b1, double L2, double a2, double b2) {
    const cmsCIELab first = {L1, a1, b1};
    const cmsCIELab second = {L2, a2, b2};
    return cmsCIE2000DeltaE(&first, &second, 1.0, 1.0, 1.0);
}
