#include "Colorimetry.h"
#include "ColourQuantities.h"

#include <gtest/gtest.h>

#include <cmath>

// Published values: CIE 15:2004 for the illuminants' chromaticity, u′v′ and CCT (c2 = 1.4388e-2 m·K);
// Ohno (2014) for D65's Duv; Sharma, Wu and Dalal (2005), table 1, for CIEDE2000.

TEST(CliColorimetry, D65HasItsPublishedUvPrimeCctAndDuv) {
    const UvPoint uv = UvPrimeFromXy(0.3127, 0.3290);
    EXPECT_NEAR(uv.u, 0.1978, 0.00005);
    EXPECT_NEAR(uv.v, 0.4683, 0.00005);
    const CctResult cct = CctFromXy(0.3127, 0.3290);
    ASSERT_TRUE(cct.ok());
    EXPECT_NEAR(cct.cct, 6504, 3);
    EXPECT_NEAR(cct.duv, 0.0032, 0.0003);
}

TEST(CliColorimetry, IlluminantALiesOnThePlanckianLocusAt2856Kelvin) {
    const CctResult cct = CctFromXy(0.4476, 0.4074);
    ASSERT_TRUE(cct.ok());
    EXPECT_NEAR(cct.cct, 2856, 3);
    EXPECT_LT(std::fabs(cct.duv), 0.0005);
}

TEST(CliColorimetry, D50HasItsPublishedCct) {
    const CctResult cct = CctFromXy(0.3457, 0.3585);
    ASSERT_TRUE(cct.ok());
    EXPECT_NEAR(cct.cct, 5003, 3);
    EXPECT_GT(cct.duv, 0);
}

TEST(CliColorimetry, PlanckianPointsGiveBackTheirOwnTemperatureWithNoDuv) {
    for (double kelvin : {1200.0, 2000.0, 2700.0, 4000.0, 6500.0, 9300.0, 15000.0}) {
        double x, y;
        XyFromUv1960(PlanckianUv(kelvin), &x, &y);
        const CctResult cct = CctFromXy(x, y);
        ASSERT_TRUE(cct.ok()) << kelvin;
        EXPECT_NEAR(cct.cct / kelvin, 1.0, 1e-5) << kelvin;
        EXPECT_NEAR(cct.duv, 0.0, 1e-6) << kelvin;
    }
}

TEST(CliColorimetry, DuvIsTheSignedDistanceAlongTheIsotherm) {
    // A point 0.01 above and below the locus at 5000 K, along the normal in the CIE 1960 diagram.
    const UvPoint before = PlanckianUv(4990);
    const UvPoint after = PlanckianUv(5010);
    const UvPoint at = PlanckianUv(5000);
    const double du = after.u - before.u;
    const double dv = after.v - before.v;
    const double length = std::hypot(du, dv);
    // The normal to the locus that points up in v (towards green).
    double nu = -dv / length;
    double nv = du / length;
    if (nv < 0) {
        nu = -nu;
        nv = -nv;
    }
    for (double offset : {0.01, -0.01, 0.03}) {
        const UvPoint off{at.u + nu * offset, at.v + nv * offset};
        double x, y;
        XyFromUv1960(off, &x, &y);
        const CctResult cct = CctFromXy(x, y);
        ASSERT_TRUE(cct.ok()) << offset;
        EXPECT_NEAR(cct.duv, offset, 0.0002) << offset;
        EXPECT_NEAR(cct.cct, 5000, 60) << offset;
    }
}

TEST(CliColorimetry, PointFarOffTheLocusHasNoCct) {
    // A green well above the locus, and a purple well below it.
    EXPECT_EQ(CctFromXy(0.30, 0.45).status, CctResult::OffLocus);
    EXPECT_GT(CctFromXy(0.30, 0.45).duv, 0.05);
    EXPECT_EQ(CctFromXy(0.40, 0.25).status, CctResult::OffLocus);
    EXPECT_LT(CctFromXy(0.40, 0.25).duv, -0.05);
}

TEST(CliColorimetry, PointBeyondTheTemperatureRangeHasNoCct) {
    // Deep red near the locus's end below 1000 K, a blue beyond 20000 K, and no chromaticity at all.
    double x, y;
    XyFromUv1960(PlanckianUv(800), &x, &y);
    EXPECT_EQ(CctFromXy(x, y).status, CctResult::OutOfRange);
    XyFromUv1960(PlanckianUv(40000), &x, &y);
    EXPECT_EQ(CctFromXy(x, y).status, CctResult::OutOfRange);
    EXPECT_EQ(CctFromXy(0.3, 0.0).status, CctResult::OutOfRange);
    EXPECT_EQ(CctFromXy(std::nan(""), 0.3).status, CctResult::OutOfRange);
}

TEST(CliColorimetry, LocusForDrawingRunsFromWarmToCoolInsideTheDiagram) {
    const QVector<XyPoint> locus = PlanckianLocusXy(1000, 20000, 50);
    ASSERT_EQ(locus.size(), 50);
    EXPECT_DOUBLE_EQ(locus.first().kelvin, 1000);
    EXPECT_NEAR(locus.last().kelvin, 20000, 1e-6);
    for (int i = 1; i < locus.size(); ++i)
        EXPECT_LT(locus[i].x, locus[i - 1].x) << "x falls as the temperature rises";
    EXPECT_NEAR(locus.first().x, 0.6528, 0.001);
    EXPECT_NEAR(locus.first().y, 0.3444, 0.001);
}

TEST(CliColorimetry, UvPrimeAndUv1960DifferOnlyInV) {
    const UvPoint prime = UvPrimeFromXy(0.4476, 0.4074);
    const UvPoint old = Uv1960FromXy(0.4476, 0.4074);
    EXPECT_DOUBLE_EQ(prime.u, old.u);
    EXPECT_NEAR(old.v, prime.v * 2.0 / 3.0, 1e-12);
    double x, y;
    XyFromUv1960(old, &x, &y);
    EXPECT_NEAR(x, 0.4476, 1e-12);
    EXPECT_NEAR(y, 0.4074, 1e-12);
}

TEST(CliColorimetry, DeltaE2000MatchesTheSharmaWuDalalPairs) {
    struct Pair {
        double lab1[3];
        double lab2[3];
        double deltaE;
    };
    // Pairs 1, 7, 17, 25, 33 and 34 of the published table.
    const Pair pairs[] = {
        {{50.0, 2.6772, -79.7751}, {50.0, 0.0, -82.7485}, 2.0425},
        {{50.0, 0.0, 0.0}, {50.0, -1.0, 2.0}, 2.3669},
        {{50.0, 2.5, 0.0}, {73.0, 25.0, -18.0}, 27.1492},
        {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
        {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
        {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const Pair& p : pairs) {
        EXPECT_NEAR(DeltaE2000(p.lab1[0], p.lab1[1], p.lab1[2], p.lab2[0], p.lab2[1], p.lab2[2]), p.deltaE,
                    0.00005);
        EXPECT_NEAR(DeltaE2000(p.lab2[0], p.lab2[1], p.lab2[2], p.lab1[0], p.lab1[1], p.lab1[2]), p.deltaE,
                    0.00005);
    }
}

TEST(CliColourQuantities, TristimulusValuesCarryTheLuminanceAsY) {
    const ColourQuantities q = ColourQuantities::FromLvXy(120.5, 0.3127, 0.3290);
    EXPECT_DOUBLE_EQ(q.Y, 120.5);
    EXPECT_NEAR(q.X, 120.5 * 0.3127 / 0.3290, 1e-9);
    EXPECT_NEAR(q.Z, 120.5 * (1 - 0.3127 - 0.3290) / 0.3290, 1e-9);
    EXPECT_NEAR(q.uPrime, 0.1978, 0.00005);
    EXPECT_NEAR(q.vPrime, 0.4683, 0.00005);
    EXPECT_TRUE(q.cct.ok());
    EXPECT_FALSE(q.hasReference);
}

TEST(CliColourQuantities, ReadingEqualToItsReferenceDiffersByNothing) {
    ColourReference white;
    white.x = 0.3127;
    white.y = 0.3290;
    white.hasLv = true;
    white.Lv = 120.5;
    const ColourQuantities q = ColourQuantities::FromLvXy(120.5, 0.3127, 0.3290, &white);
    ASSERT_TRUE(q.hasReference);
    EXPECT_NEAR(q.deltaUv, 0, 1e-12);
    EXPECT_NEAR(q.deltaE2000, 0, 1e-9);
}

TEST(CliColourQuantities, DifferencesFollowTheChromaticityAndTheReferenceLuminance) {
    ColourReference white;
    white.x = 0.3127;
    white.y = 0.3290;
    const ColourQuantities shifted = ColourQuantities::FromLvXy(100, 0.3227, 0.3390, &white);
    const UvPoint a = UvPrimeFromXy(0.3227, 0.3390);
    const UvPoint b = UvPrimeFromXy(0.3127, 0.3290);
    EXPECT_NEAR(shifted.deltaUv, std::hypot(a.u - b.u, a.v - b.v), 1e-12);
    EXPECT_GT(shifted.deltaE2000, 1);

    // Without a luminance of its own the reference takes the reading's: a dimmer reading of the same
    // chromaticity does not differ.
    EXPECT_NEAR(ColourQuantities::FromLvXy(50, 0.3127, 0.3290, &white).deltaE2000, 0, 1e-9);
    // With one, the dimmer reading is darker than the white: L* below 100.
    white.hasLv = true;
    white.Lv = 100;
    const double darker = ColourQuantities::FromLvXy(50, 0.3127, 0.3290, &white).deltaE2000;
    EXPECT_GT(darker, 10);
    // CIEDE2000 of L* 100 against L* of Y/Yn = 0.5 (L* 76.07), neutral: the lightness term alone.
    const double lStar = 116 * std::cbrt(0.5) - 16;
    EXPECT_NEAR(darker, DeltaE2000(100, 0, 0, lStar, 0, 0), 1e-6);
}
