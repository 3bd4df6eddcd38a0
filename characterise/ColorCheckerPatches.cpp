#include "ColorCheckerPatches.h"

#include <lcms2.h>

#include <algorithm>
#include <memory>

namespace {
struct CheckerPatch {
    const char* name;
    double L, a, b;
};

// The ColorChecker Classic as X-Rite publishes it for charts made from November 2014 on: CIELAB,
// illuminant D50, 2° observer, measured under M0 (X-Rite's reference data file for the chart, the
// "ColorChecker24 - After November 2014" set). In the chart's order, row by row.
const CheckerPatch kCheckerPatches[24] = {
    {"dark skin", 37.54, 14.37, 14.92},     {"light skin", 64.66, 19.27, 17.50},
    {"blue sky", 49.32, -3.82, -22.54},     {"foliage", 43.46, -12.74, 22.72},
    {"blue flower", 54.94, 9.61, -24.79},   {"bluish green", 70.48, -32.26, -0.37},
    {"orange", 62.73, 35.83, 56.50},        {"purplish blue", 39.43, 10.75, -45.17},
    {"moderate red", 50.57, 48.64, 16.67},  {"purple", 30.10, 22.54, -20.87},
    {"yellow green", 71.77, -24.13, 58.19}, {"orange yellow", 71.51, 18.24, 67.37},
    {"blue", 28.37, 15.42, -49.80},         {"green", 54.38, -39.72, 32.27},
    {"red", 42.43, 51.05, 28.62},           {"yellow", 81.80, 2.67, 80.41},
    {"magenta", 50.63, 51.28, -14.12},      {"cyan", 49.57, -29.71, -28.32},
    {"white 9.5", 95.19, -1.03, 2.93},      {"neutral 8", 81.29, -0.57, 0.44},
    {"neutral 6.5", 66.89, -0.75, -0.06},   {"neutral 5", 50.76, -0.13, 0.14},
    {"neutral 3.5", 35.63, -0.46, -0.48},   {"black 2", 20.64, 0.07, -0.46},
};

struct ProfileCloser {
    void operator()(void* p) const { cmsCloseProfile(p); }
};
struct TransformDeleter {
    void operator()(void* t) const { cmsDeleteTransform(t); }
};
struct CurveFreer {
    void operator()(cmsToneCurve* c) const { cmsFreeToneCurve(c); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
using Curve = std::unique_ptr<cmsToneCurve, CurveFreer>;

// The target's EOTF as a LittleCMS tone curve. BT.1886 depends on the display's black; for the
// target's device values it is taken at a zero black, where it is a pure 2.4 power.
Curve toneCurve(const Eotf& eotf) {
    switch (eotf.kind) {
    case Eotf::Kind::Srgb: {
        // IEC 61966-2-1 as LittleCMS's parametric type 4: Y = ((aX + b)^g for X >= d, cX below).
        const cmsFloat64Number params[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
        return Curve(cmsBuildParametricToneCurve(nullptr, 4, params));
    }
    case Eotf::Kind::Bt1886:
        return Curve(cmsBuildGamma(nullptr, 2.4));
    case Eotf::Kind::Gamma:
        break;
    }
    return Curve(cmsBuildGamma(nullptr, eotf.gamma));
}

cmsCIExyY xyY(const Chromaticity& c) {
    return {c.x, c.y, 1.0};
}
} // namespace

bool AddColorCheckerPatches(const PatchSetTarget& target, QVector<Patch>* patches, QString* error) {
    auto fail = [error](const char* what) {
        if (error)
            *error = QString("colorchecker: LittleCMS could not %1").arg(what);
        return false;
    };
    Curve curve = toneCurve(target.eotf);
    if (!curve)
        return fail("build the target's tone curve");
    cmsToneCurve* curves[3] = {curve.get(), curve.get(), curve.get()};
    const cmsCIExyY white = xyY(target.white);
    const cmsCIExyYTRIPLE primaries = {xyY(target.primaries.red), xyY(target.primaries.green),
                                       xyY(target.primaries.blue)};
    Profile rgb(cmsCreateRGBProfile(&white, &primaries, curves));
    Profile lab(cmsCreateLab4Profile(cmsD50_xyY()));
    if (!rgb || !lab)
        return fail("build the target's profile");
    std::unique_ptr<void, TransformDeleter> transform(cmsCreateTransform(
        lab.get(), TYPE_Lab_DBL, rgb.get(), TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
    if (!transform)
        return fail("convert CIELAB into the target space");

    int id = patches->isEmpty() ? 1 : patches->last().id + 1;
    for (const CheckerPatch& source : kCheckerPatches) {
        const cmsCIELab lab = {source.L, source.a, source.b};
        double device[3] = {0, 0, 0};
        cmsDoTransform(transform.get(), &lab, device, 1);
        Patch patch;
        patch.id = id++;
        patch.set = "colorchecker";
        patch.name = source.name;
        // Colours outside the target's gamut are shown as the nearest it can show.
        patch.r = std::clamp(device[0], 0.0, 1.0);
        patch.g = std::clamp(device[1], 0.0, 1.0);
        patch.b = std::clamp(device[2], 0.0, 1.0);
        patches->append(patch);
    }
    return true;
}
