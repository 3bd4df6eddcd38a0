#include "Figures.h"
#include "SyntheticDisplay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {
Target targetOf(const char* space, const char* white, const char* eotf) {
    Target t;
    EXPECT_TRUE(Target::Parse(space, white, eotf, &t));
    return t;
}

const GreyStep* stepAt(const CharacterisationFigures& f, double level) {
    for (const GreyStep& s : f.greys)
        if (std::fabs(s.level - level) < 1e-9)
            return &s;
    return nullptr;
}

const GamutFigures* gamutOf(const CharacterisationFigures& f, const QString& space) {
    for (const GamutFigures& g : f.gamut)
        if (g.space == space)
            return &g;
    return nullptr;
}
} // namespace

TEST(CharacteriseFigures, Gamma24DisplayWithRaisedBlackGivesItsGammaContrastAndWhite) {
    SyntheticDisplay display;
    display.eotf = SyntheticDisplay::gammaEotf(2.4);
    display.black = 0.2;
    display.peak = 250.0;
    const QVector<Patch> patches = GreysAndPrimaries(11);
    QVector<PatchReading> readings = display.Run(patches);
    // Measured in a random order: the figures come in set and level order all the same.
    std::shuffle(readings.begin(), readings.end(), std::mt19937(7));

    const CharacterisationFigures f = ComputeFigures(patches, readings, Target());
    ASSERT_TRUE(f.white);
    EXPECT_NEAR(f.white->light.Lv, 250.0, 0.5);
    ASSERT_TRUE(f.black);
    EXPECT_NEAR(f.black->light.Lv, 0.2, 1e-9);
    ASSERT_TRUE(f.contrast && f.contrast->ratio);
    EXPECT_NEAR(*f.contrast->ratio, 1250.0, 1250.0 * 0.02);
    ASSERT_TRUE(f.gamma.fitted);
    EXPECT_NEAR(*f.gamma.fitted, 2.40, 0.02);
    EXPECT_EQ(f.gamma.steps, 9);

    ASSERT_EQ(f.greys.size(), 11);
    for (int i = 1; i < f.greys.size(); ++i)
        EXPECT_LT(f.greys[i - 1].level, f.greys[i].level);
    EXPECT_FALSE(f.greys.first().gamma);
    EXPECT_FALSE(f.greys.last().gamma);
    EXPECT_FALSE(f.greys.last().gammaBlackCompensated);
    // With black removed every step shows the display's own exponent; without, the raised black
    // flattens the dark end.
    const GreyStep* dark = stepAt(f, 0.1);
    ASSERT_TRUE(dark && dark->gamma && dark->gammaBlackCompensated);
    EXPECT_NEAR(*dark->gammaBlackCompensated, 2.4, 1e-6);
    EXPECT_LT(*dark->gamma, 2.35);
    EXPECT_NEAR(*dark->gamma, std::log((0.2 + 249.8 * std::pow(0.1, 2.4)) / 250.0) / std::log(0.1), 1e-6);
    ASSERT_EQ(f.patches.size(), patches.size());
    for (int i = 0; i < patches.size(); ++i)
        EXPECT_EQ(f.patches[i].patch.id, patches[i].id);
}

TEST(CharacteriseFigures, IdealSrgbDisplayMeetsAnSrgbTarget) {
    const SyntheticDisplay display; // sRGB primaries, D65, sRGB EOTF, no black
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const QVector<PatchReading> readings = display.Run(patches);

    const CharacterisationFigures f = ComputeFigures(patches, readings, targetOf("srgb", "D65", "srgb"));
    ASSERT_TRUE(f.deltaE);
    EXPECT_EQ(f.deltaE->count, patches.size());
    EXPECT_LT(f.deltaE->mean, 0.3);
    EXPECT_EQ(f.deltaE->verdict, "pass-recommended");
    ASSERT_TRUE(f.white);
    ASSERT_TRUE(f.white->whiteness.deltaUvToTarget);
    EXPECT_LT(*f.white->whiteness.deltaUvToTarget, 1e-6);
    ASSERT_TRUE(f.white->whiteness.cct);
    EXPECT_NEAR(*f.white->whiteness.cct, 6504, 5);
    // The same display against a gamma 2.2 target errs in the tone, most in the darks.
    const CharacterisationFigures other =
        ComputeFigures(patches, readings, targetOf("srgb", "D65", "gamma:2.2"));
    ASSERT_TRUE(other.deltaE);
    EXPECT_GT(other.deltaE->max, 1.0);
    EXPECT_GT(other.deltaE->mean, f.deltaE->mean + 0.3);
}

TEST(CharacteriseFigures, P3DisplayCoversSrgbAndIsAThirdLarger) {
    SyntheticDisplay display;
    display.primaries = P3Primaries();
    display.black = 0.0;
    const QVector<Patch> patches = GreysAndPrimaries(5);
    const CharacterisationFigures f = ComputeFigures(patches, display.Run(patches), Target());
    ASSERT_TRUE(f.primaries);
    EXPECT_NEAR(f.primaries->red.x, 0.680, 1e-6);
    EXPECT_NEAR(f.primaries->green.y, 0.690, 1e-6);
    ASSERT_EQ(f.gamut.size(), 3);
    const GamutFigures* srgb = gamutOf(f, "srgb");
    ASSERT_TRUE(srgb);
    EXPECT_NEAR(srgb->xy.coverage, 1.000, 0.005);
    EXPECT_NEAR(srgb->xy.areaRatio, 1.36, 0.01);
    EXPECT_NEAR(srgb->uv.coverage, 1.000, 0.005);
    const GamutFigures* p3 = gamutOf(f, "p3");
    ASSERT_TRUE(p3);
    EXPECT_NEAR(p3->xy.coverage, 1.0, 1e-6);
    EXPECT_NEAR(p3->uv.areaRatio, 1.0, 1e-6);
    const GamutFigures* bt2020 = gamutOf(f, "bt2020");
    ASSERT_TRUE(bt2020);
    EXPECT_LT(bt2020->xy.coverage, 0.75);
    EXPECT_NEAR(bt2020->xy.areaRatio, 0.152 / 0.2118665, 1e-4);
    // Contrast needs a black with light in it.
    ASSERT_TRUE(f.contrast);
    EXPECT_FALSE(f.contrast->ratio);
}

TEST(CharacteriseFigures, NormalisingDriftRecoversTheGammaAndReportsTheDrift) {
    SyntheticDisplay display;
    display.eotf = SyntheticDisplay::gammaEotf(2.2);
    display.black = 0.1;
    display.peak = 200.0;
    display.driftPerMinute = 20.0;
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const QVector<PatchReading> readings = display.Run(patches, 3.0, 3);

    FiguresSettings normalise;
    normalise.normaliseDrift = true;
    const CharacterisationFigures fixed = ComputeFigures(patches, readings, Target(), normalise);
    const CharacterisationFigures raw = ComputeFigures(patches, readings, Target());
    ASSERT_TRUE(fixed.gamma.fitted && raw.gamma.fitted);
    const double fixedError = std::fabs(*fixed.gamma.fitted - 2.2);
    const double rawError = std::fabs(*raw.gamma.fitted - 2.2);
    EXPECT_LT(fixedError, 0.03);
    EXPECT_GT(rawError, 0.05);
    EXPECT_GT(rawError, 3 * fixedError);
    EXPECT_TRUE(fixed.driftNormalised);
    EXPECT_FALSE(raw.driftNormalised);

    // The truth: the output grows by 20 % a minute from the first reading, so from the first white
    // (t1) to the last (t2) by (1 + r·t2) / (1 + r·t1) − 1.
    ASSERT_TRUE(raw.drift);
    double first = 1e9;
    double last = -1e9;
    for (const PatchReading& r : readings) {
        if (r.kind == PatchReading::Kind::DriftWhite || r.patchId == 11) {
            first = std::min(first, r.seconds);
            last = std::max(last, r.seconds);
        }
    }
    const double rate = 0.20 / 60.0;
    const double truth = 100.0 * ((1 + rate * last) / (1 + rate * first) - 1);
    EXPECT_NEAR(raw.drift->luminanceChangePercent, truth, 0.1 * truth);
    EXPECT_NEAR(raw.drift->seconds, last - first, 1e-9);
    EXPECT_GE(raw.drift->whiteReadings, 6);
    ASSERT_TRUE(raw.drift->maxDeltaUv);
    EXPECT_LT(*raw.drift->maxDeltaUv, 1e-9); // the whole output drifts, its colour does not
    // Normalised, the white patch reads as the first white did.
    ASSERT_TRUE(fixed.white);
    EXPECT_NEAR(fixed.white->light.Lv, 200.0 * (1 + rate * first), 1e-6);
}

TEST(CharacteriseFigures, NormalisingWithoutReMeasuredWhitesChangesNothingAndSaysSo) {
    SyntheticDisplay display;
    const QVector<Patch> patches = GreysAndPrimaries(5);
    FiguresSettings normalise;
    normalise.normaliseDrift = true;
    const CharacterisationFigures f = ComputeFigures(patches, display.Run(patches), Target(), normalise);
    EXPECT_FALSE(f.driftNormalised);
    EXPECT_FALSE(f.drift);
    EXPECT_TRUE(f.notes.join(" ").contains("drift"));
}

TEST(CharacteriseFigures, VerdictFollowsBothPassMarksAtTheirBoundaries) {
    // Mean 1.0 and max 3.0: exactly on the recommended marks.
    DeltaEFigures d = DeltaEStatistics({0.5, 0.5, 0.0, 3.0});
    EXPECT_DOUBLE_EQ(d.mean, 1.0);
    EXPECT_DOUBLE_EQ(d.max, 3.0);
    EXPECT_DOUBLE_EQ(d.median, 0.5);
    EXPECT_TRUE(d.passesRecommended);
    EXPECT_TRUE(d.passesNominal);
    EXPECT_EQ(d.verdict, "pass-recommended");
    // Max just above 3: nominal only.
    d = DeltaEStatistics({0.5, 0.5, 0.0, 3.001});
    EXPECT_FALSE(d.passesRecommended);
    EXPECT_TRUE(d.passesNominal);
    EXPECT_EQ(d.verdict, "pass-nominal");
    // Mean 1.5 and max 4.0: exactly on the nominal marks.
    d = DeltaEStatistics({4.0, 0.5, 0.0});
    EXPECT_DOUBLE_EQ(d.mean, 1.5);
    EXPECT_DOUBLE_EQ(d.median, 0.5);
    EXPECT_TRUE(d.passesNominal);
    EXPECT_FALSE(d.passesRecommended);
    // Just above either nominal mark: a fail.
    EXPECT_EQ(DeltaEStatistics({4.0, 0.5, 0.01}).verdict, "fail");
    EXPECT_EQ(DeltaEStatistics({4.01, 0.1, 0.0}).verdict, "fail");
    // Mean over 1 with a small max: nominal only.
    EXPECT_EQ(DeltaEStatistics({1.2, 1.2}).verdict, "pass-nominal");
    EXPECT_EQ(DeltaEStatistics({}).count, 0);
}

TEST(CharacteriseFigures, FailedReadingsAreMarkedAndLeftOutOfStatistics) {
    const SyntheticDisplay display;
    const QVector<Patch> patches = GreysAndPrimaries(11);
    QVector<PatchReading> readings = display.Run(patches);
    for (PatchReading& r : readings) {
        if (r.patchId == 6 || r.patchId == 12) { // grey 50 % and red
            const int id = r.patchId;
            r = PatchReading();
            r.patchId = id;
            r.failed = true;
            r.result = 0x80000008;
        }
    }
    const CharacterisationFigures f = ComputeFigures(patches, readings, targetOf("srgb", "D65", "srgb"));
    EXPECT_TRUE(f.patches[5].failed);
    EXPECT_EQ(f.patches[5].result, 0x80000008u);
    EXPECT_FALSE(f.patches[5].deltaE2000);
    EXPECT_FALSE(f.patches[5].light.xyz);
    EXPECT_TRUE(f.patches[5].target); // the target stands without a reading
    const GreyStep* half = stepAt(f, 0.5);
    ASSERT_TRUE(half);
    EXPECT_TRUE(half->failed);
    EXPECT_FALSE(half->gamma);
    ASSERT_TRUE(f.deltaE);
    EXPECT_EQ(f.deltaE->count, patches.size() - 2);
    EXPECT_EQ(f.gamma.steps, 8);
    // Without red there is no gamut triangle.
    EXPECT_FALSE(f.primaries);
    EXPECT_TRUE(f.gamut.isEmpty());
}

TEST(CharacteriseFigures, LuminanceMeterGivesToneFiguresOnly) {
    SyntheticDisplay display;
    display.colour = false;
    display.eotf = SyntheticDisplay::gammaEotf(2.2);
    display.black = 0.5;
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const CharacterisationFigures f = ComputeFigures(patches, display.Run(patches), Target());
    EXPECT_FALSE(f.hasColour);
    ASSERT_TRUE(f.white);
    EXPECT_NEAR(f.white->light.Lv, 100.0, 1e-9);
    EXPECT_FALSE(f.white->light.xy);
    EXPECT_FALSE(f.white->whiteness.cct);
    EXPECT_FALSE(f.white->whiteness.deltaUvToTarget);
    ASSERT_TRUE(f.contrast && f.contrast->ratio);
    EXPECT_NEAR(*f.contrast->ratio, 200.0, 1e-9);
    ASSERT_TRUE(f.gamma.fitted);
    EXPECT_NEAR(*f.gamma.fitted, 2.2, 1e-6);
    const GreyStep* half = stepAt(f, 0.5);
    ASSERT_TRUE(half && half->targetLv);
    EXPECT_NEAR(*half->targetLv, 100.0 * std::pow(0.5, 2.2), 1e-9);
    EXPECT_FALSE(half->deltaE2000);
    EXPECT_FALSE(half->light.xy);
    EXPECT_FALSE(f.primaries);
    EXPECT_TRUE(f.gamut.isEmpty());
    EXPECT_FALSE(f.deltaE);
    for (const PatchFigures& p : f.patches) {
        EXPECT_FALSE(p.light.xyz);
        EXPECT_FALSE(p.deltaE2000);
    }
    EXPECT_TRUE(f.notes.join(" ").contains("luminance only"));
}

TEST(CharacteriseFigures, TheSameGreyMeasuredTwiceIsOneStepWithItsReadingsAveraged) {
    const SyntheticDisplay display;
    QVector<Patch> patches = GreysAndPrimaries(3);
    patches.append({10, "rgb", "", 0.5, 0.5, 0.5});
    QVector<PatchReading> readings = display.Run(patches);
    for (PatchReading& r : readings) {
        if (r.patchId == 2 || r.patchId == 10) {
            const double k = r.patchId == 2 ? 0.9 : 1.1;
            r.Lv *= k;
            r.X *= k;
            r.Y *= k;
            r.Z *= k;
        }
    }
    const CharacterisationFigures f = ComputeFigures(patches, readings, Target());
    ASSERT_EQ(f.greys.size(), 3);
    const GreyStep* half = stepAt(f, 0.5);
    ASSERT_TRUE(half);
    EXPECT_EQ(half->patchCount, 2);
    EXPECT_EQ(half->patchId, 2);
    EXPECT_NEAR(half->light.Lv, display.Light(0.5, 0.5, 0.5).Y, 1e-9);
}

TEST(CharacteriseFigures, ARetakeCountsWithItsLastSuccessfulReading) {
    const SyntheticDisplay display;
    const QVector<Patch> patches = GreysAndPrimaries(3);
    QVector<PatchReading> readings = display.Run(patches);
    PatchReading retake = display.Read(patches[1], 100.0);
    retake.Lv *= 1.2;
    retake.Y *= 1.2;
    readings.append(retake);
    PatchReading failedAgain;
    failedAgain.patchId = patches[1].id;
    failedAgain.failed = true;
    readings.append(failedAgain);
    const CharacterisationFigures f = ComputeFigures(patches, readings, Target());
    EXPECT_FALSE(f.patches[1].failed);
    EXPECT_NEAR(f.patches[1].light.Lv, 1.2 * display.Light(0.5, 0.5, 0.5).Y, 1e-9);
}

TEST(CharacteriseFigures, WithoutAWhiteThereIsNoTargetAndNoGamma) {
    const SyntheticDisplay display;
    const QVector<Patch> patches = {{1, "rgb", "", 0.5, 0.5, 0.5}, {2, "rgb", "", 0.0, 0.0, 0.0}};
    const CharacterisationFigures f = ComputeFigures(patches, display.Run(patches), Target());
    EXPECT_FALSE(f.white);
    EXPECT_FALSE(f.contrast);
    EXPECT_FALSE(f.gamma.fitted);
    EXPECT_FALSE(f.deltaE);
    EXPECT_FALSE(f.patches[0].target);
    EXPECT_TRUE(f.black);
}
