#include "Figures.h"

#include "Colorimetry.h"
#include "DriftCorrection.h"

#include <QHash>
#include <QMap>

#include <algorithm>
#include <cmath>

namespace {
// Device values closer than this are the same value (sets give them to at most six decimals).
const double kSameValue = 1e-6;

const double kNominalMean = 1.5;
const double kNominalMax = 4.0;
const double kRecommendedMean = 1.0;
const double kRecommendedMax = 3.0;

bool same(double a, double b) {
    return std::fabs(a - b) <= kSameValue;
}

bool isGrey(const Patch& p) {
    return same(p.r, p.g) && same(p.g, p.b);
}

bool isDeviceValue(const Patch& p, double r, double g, double b) {
    return same(p.r, r) && same(p.g, g) && same(p.b, b);
}

MeasuredLight lightOf(const PatchReading& reading, double factor) {
    MeasuredLight light;
    light.Lv = reading.Lv * factor;
    if (!reading.hasColour)
        return light;
    Xyz xyz = {reading.X, reading.Y, reading.Z};
    // An instrument that reports Lv, x, y only: its tristimulus values follow from them.
    if (!(xyz.X + xyz.Y + xyz.Z > 0.0) && reading.Lv > 0.0 && reading.y > 0.0)
        xyz = XyzFromChromaticity({reading.x, reading.y}, reading.Lv);
    xyz = {xyz.X * factor, xyz.Y * factor, xyz.Z * factor};
    light.xyz = xyz;
    if (xyz.X + xyz.Y + xyz.Z > 0.0)
        light.xy = ChromaticityOf(xyz);
    return light;
}

MeasuredLight average(const QVector<MeasuredLight>& lights) {
    MeasuredLight mean;
    if (lights.isEmpty())
        return mean;
    bool allColour = true;
    Xyz sum;
    for (const MeasuredLight& l : lights) {
        mean.Lv += l.Lv;
        if (l.xyz) {
            sum.X += l.xyz->X;
            sum.Y += l.xyz->Y;
            sum.Z += l.xyz->Z;
        } else {
            allColour = false;
        }
    }
    const double n = lights.size();
    mean.Lv /= n;
    if (allColour) {
        mean.xyz = Xyz{sum.X / n, sum.Y / n, sum.Z / n};
        if (sum.X + sum.Y + sum.Z > 0.0)
            mean.xy = ChromaticityOf(*mean.xyz);
    }
    return mean;
}

WhitenessFigures whitenessOf(const MeasuredLight& light, const Target& target) {
    WhitenessFigures w;
    if (!light.xy)
        return w;
    const CctResult cct = CctFromXy(light.xy->x, light.xy->y);
    if (cct.ok()) {
        w.cct = cct.cct;
        w.duv = cct.duv;
    }
    const UvPoint own = UvPrimeFromXy(light.xy->x, light.xy->y);
    const UvPoint ref = UvPrimeFromXy(target.white().x, target.white().y);
    w.deltaUvToTarget = std::hypot(own.u - ref.u, own.v - ref.v);
    return w;
}

double median(QVector<double> values) {
    std::sort(values.begin(), values.end());
    const int n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

// The reading of each patch that counts: its last successful one, or its last failed one.
QHash<int, const PatchReading*> countingReadings(const QVector<PatchReading>& readings) {
    QHash<int, const PatchReading*> chosen;
    for (const PatchReading& r : readings) {
        if (r.kind != PatchReading::Kind::Patch)
            continue;
        const PatchReading* current = chosen.value(r.patchId, nullptr);
        if (!current || !r.failed || current->failed)
            chosen.insert(r.patchId, &r);
    }
    return chosen;
}

struct GreyGroup {
    double level = 0.0;
    int patchId = 0;
    int patchCount = 0;
    QVector<MeasuredLight> lights;
};

void computeGammas(CharacterisationFigures* f) {
    if (!f->white)
        return;
    const double yw = f->white->light.Lv;
    const bool hasBlack = f->black.has_value();
    const double yb = hasBlack ? f->black->light.Lv : 0.0;
    double sxy = 0.0;
    double sxx = 0.0;
    int steps = 0;
    for (GreyStep& step : f->greys) {
        if (step.failed || !(step.level > kSameValue) || !(step.level < 1.0 - kSameValue))
            continue;
        const double x = std::log(step.level);
        const double y = step.light.Lv;
        if (y > 0.0 && yw > 0.0)
            step.gamma = std::log(y / yw) / x;
        const bool compensable = y - yb > 0.0 && yw - yb > 0.0;
        if (hasBlack && compensable)
            step.gammaBlackCompensated = std::log((y - yb) / (yw - yb)) / x;
        if (compensable) {
            sxy += x * std::log((y - yb) / (yw - yb));
            sxx += x * x;
            ++steps;
        }
    }
    f->gamma.steps = steps;
    if (steps > 0)
        f->gamma.fitted = sxy / sxx;
    if (!hasBlack)
        f->notes << "no black measured: gamma without black compensation";
}

void computeGamut(CharacterisationFigures* f, const QVector<Patch>& patches,
                  const QHash<int, MeasuredLight>& lights) {
    const double primaries[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    Chromaticity found[3];
    for (int i = 0; i < 3; ++i) {
        QVector<MeasuredLight> measured;
        for (const Patch& p : patches)
            if (isDeviceValue(p, primaries[i][0], primaries[i][1], primaries[i][2]) && lights.contains(p.id))
                measured.append(lights.value(p.id));
        const MeasuredLight mean = average(measured);
        if (measured.isEmpty() || !mean.xy)
            return;
        found[i] = *mean.xy;
    }
    f->primaries = PrimaryFigures{found[0], found[1], found[2]};
    const RgbPrimaries own = {found[0], found[1], found[2]};
    const struct {
        const char* name;
        RgbPrimaries primaries;
    } references[] = {{"srgb", SrgbPrimaries()}, {"p3", P3Primaries()}, {"bt2020", Bt2020Primaries()}};
    for (const auto& ref : references) {
        GamutFigures g;
        g.space = ref.name;
        g.xy = CompareGamut(own, ref.primaries, ChromaticityPlane::Xy);
        g.uv = CompareGamut(own, ref.primaries, ChromaticityPlane::UvPrime);
        f->gamut.append(g);
    }
}
} // namespace

DeltaEFigures DeltaEStatistics(QVector<double> values) {
    DeltaEFigures d;
    d.count = values.size();
    if (values.isEmpty())
        return d;
    double sum = 0.0;
    for (double v : values) {
        sum += v;
        d.max = std::max(d.max, v);
    }
    d.mean = sum / values.size();
    d.median = median(values);
    d.passesNominal = d.mean <= kNominalMean && d.max <= kNominalMax;
    d.passesRecommended = d.mean <= kRecommendedMean && d.max <= kRecommendedMax;
    d.verdict = d.passesRecommended ? "pass-recommended" : d.passesNominal ? "pass-nominal" : "fail";
    return d;
}

CharacterisationFigures ComputeFigures(const QVector<Patch>& patches, const QVector<PatchReading>& readings,
                                       const Target& target, const FiguresSettings& settings) {
    CharacterisationFigures f;
    f.target = target;
    for (const PatchReading& r : readings)
        if (!r.failed && r.hasColour)
            f.hasColour = true;

    QHash<int, const Patch*> patchById;
    for (const Patch& p : patches)
        patchById.insert(p.id, &p);
    const QHash<int, const PatchReading*> counting = countingReadings(readings);

    // The whites of the run, in time: those re-measured for the drift and the white patch itself.
    QVector<DriftCorrection::White> whites;
    int driftWhites = 0;
    const PatchReading* firstDriftWhite = nullptr;
    for (const PatchReading& r : readings) {
        if (r.failed)
            continue;
        const Patch* p = patchById.value(r.patchId, nullptr);
        const bool whitePatch = r.kind == PatchReading::Kind::Patch && p && isDeviceValue(*p, 1, 1, 1);
        if (r.kind != PatchReading::Kind::DriftWhite && !whitePatch)
            continue;
        const MeasuredLight light = lightOf(r, 1.0);
        whites.append({r.seconds, light.Lv, light.xy});
        if (r.kind == PatchReading::Kind::DriftWhite) {
            ++driftWhites;
            if (!firstDriftWhite || r.seconds < firstDriftWhite->seconds)
                firstDriftWhite = &r;
        }
    }
    const DriftCorrection drift(whites);
    f.driftNormalised = settings.normaliseDrift && driftWhites > 0 && drift.whites().size() >= 2;
    if (settings.normaliseDrift && !f.driftNormalised)
        f.notes << "the white was not re-measured during the run: no drift to normalise";
    if (driftWhites > 0) {
        DriftFigures d;
        d.whiteReadings = drift.whites().size();
        d.seconds = drift.Seconds();
        d.luminanceChangePercent = drift.LuminanceChangePercent();
        if (f.hasColour)
            d.maxDeltaUv = drift.MaxDeltaUv();
        d.normalised = f.driftNormalised;
        f.drift = d;
    }

    // Each patch's light, scaled to the first white's output when asked.
    QHash<int, MeasuredLight> lights;
    for (const Patch& p : patches) {
        PatchFigures pf;
        pf.patch = p;
        const PatchReading* r = counting.value(p.id, nullptr);
        pf.failed = !r || r->failed;
        if (r && r->failed)
            pf.result = r->result;
        if (!pf.failed) {
            pf.light = lightOf(*r, f.driftNormalised ? drift.Factor(r->seconds) : 1.0);
            lights.insert(p.id, pf.light);
        }
        f.patches.append(pf);
    }

    // Grey steps in level order, one a level.
    QMap<qint64, GreyGroup> groups;
    for (const Patch& p : patches) {
        if (!isGrey(p))
            continue;
        GreyGroup& g = groups[qRound64(p.r / kSameValue)];
        if (g.patchCount == 0) {
            g.level = p.r;
            g.patchId = p.id;
        }
        ++g.patchCount;
        if (lights.contains(p.id))
            g.lights.append(lights.value(p.id));
    }
    for (const GreyGroup& g : groups) {
        GreyStep step;
        step.level = g.level;
        step.patchId = g.patchId;
        step.patchCount = g.patchCount;
        step.failed = g.lights.isEmpty();
        if (!step.failed)
            step.light = average(g.lights);
        f.greys.append(step);
    }

    for (GreyStep& step : f.greys) {
        if (step.failed)
            continue;
        step.whiteness = whitenessOf(step.light, target);
        if (same(step.level, 1.0))
            f.white = WhiteFigures{step.patchId, step.light, {}};
        if (same(step.level, 0.0))
            f.black = BlackFigures{step.patchId, step.light};
    }
    if (!f.white && firstDriftWhite) {
        // The white patch failed, but the white was measured for the drift: the first such reading is
        // the reference the others are scaled to.
        f.white = WhiteFigures{firstDriftWhite->patchId, lightOf(*firstDriftWhite, 1.0), {}};
        f.notes << "white taken from the first white re-measured for the drift";
    }
    if (f.white)
        f.white->whiteness = whitenessOf(f.white->light, target);
    else
        f.notes << "no white measured: no target, ΔE2000 or gamma";
    if (f.white && f.black) {
        ContrastFigures c;
        if (f.black->light.Lv > 0.0)
            c.ratio = f.white->light.Lv / f.black->light.Lv;
        else
            f.notes << "black measured as zero: no contrast ratio";
        f.contrast = c;
    }

    // Targets and colour errors.
    QVector<double> deltaEs;
    if (f.white) {
        const double whiteY = f.white->light.Lv;
        const double blackY = f.black ? f.black->light.Lv : 0.0;
        for (PatchFigures& pf : f.patches) {
            const Patch& p = pf.patch;
            pf.target = target.TargetXyz(p.r, p.g, p.b, whiteY, blackY);
            if (!pf.failed && pf.light.xyz) {
                pf.deltaE2000 = target.DeltaE2000(*pf.light.xyz, *pf.target, whiteY);
                if (std::isfinite(*pf.deltaE2000))
                    deltaEs.append(*pf.deltaE2000);
                else
                    pf.deltaE2000.reset();
            }
        }
        for (GreyStep& step : f.greys) {
            const Xyz t = target.TargetXyz(step.level, step.level, step.level, whiteY, blackY);
            step.targetLv = t.Y;
            if (!step.failed && step.light.xyz) {
                const double de = target.DeltaE2000(*step.light.xyz, t, whiteY);
                if (std::isfinite(de))
                    step.deltaE2000 = de;
            }
        }
    }
    if (!deltaEs.isEmpty())
        f.deltaE = DeltaEStatistics(deltaEs);

    computeGammas(&f);
    if (f.hasColour)
        computeGamut(&f, patches, lights);
    else
        f.notes << "the instrument gives luminance only: tone figures without chromaticity, gamut or ΔE2000";
    return f;
}
