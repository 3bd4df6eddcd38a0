#include "Target.h"

#include <gtest/gtest.h>

#include <cmath>

// Published values: the luminance coefficients of the primaries, ITU-R BT.709-6 item 3.2 (0.2126,
// 0.7152, 0.0722) and ITU-R BT.2020-2 table 4 (0.2627, 0.6780, 0.0593); the BT.1886 EOTF, ITU-R
// BT.1886 Annex 1: L = a·max(V + b, 0)^2.4, a = (Lw^(1/2.4) − Lb^(1/2.4))^2.4,
// b = Lb^(1/2.4) / (Lw^(1/2.4) − Lb^(1/2.4)).

namespace {
Chromaticity chromaticityOf(const Xyz& v) {
    const double sum = v.X + v.Y + v.Z;
    return {v.X / sum, v.Y / sum};
}
} // namespace

TEST(CharacteriseTarget, DefaultsToSrgbD65AndGamma22) {
    const Target t;
    EXPECT_EQ(t.spaceName(), "srgb");
    EXPECT_EQ(t.whiteName(), "D65");
    EXPECT_EQ(t.eotf().kind, Eotf::Kind::Gamma);
    EXPECT_DOUBLE_EQ(t.eotf().gamma, 2.2);
    const Xyz half = t.TargetXyz(0.5, 0.5, 0.5, 100.0, 0.0);
    EXPECT_NEAR(half.Y, 100.0 * std::pow(0.5, 2.2), 1e-9);
}

TEST(CharacteriseTarget, ParsesEachPartAndRejectsWhatItDoesNotKnow) {
    Target t;
    QString error;
    ASSERT_TRUE(Target::Parse("p3", "D50", "bt1886", &t, &error)) << error.toStdString();
    EXPECT_EQ(t.spaceName(), "p3");
    EXPECT_EQ(t.whiteName(), "D50");
    EXPECT_EQ(t.eotf().kind, Eotf::Kind::Bt1886);
    ASSERT_TRUE(Target::Parse("BT2020", "0.3,0.32", "gamma:2.4", &t, &error));
    EXPECT_EQ(t.spaceName(), "bt2020");
    EXPECT_DOUBLE_EQ(t.white().x, 0.3);
    EXPECT_DOUBLE_EQ(t.white().y, 0.32);

    const Target before = t;
    EXPECT_FALSE(Target::Parse("adobe", "D65", "srgb", &t, &error));
    EXPECT_TRUE(error.contains("adobe"));
    EXPECT_FALSE(Target::Parse("srgb", "D93", "srgb", &t, &error));
    EXPECT_TRUE(error.contains("D93"));
    EXPECT_FALSE(Target::Parse("srgb", "D65", "pq", &t, &error));
    EXPECT_TRUE(error.contains("pq"));
    EXPECT_EQ(t.spaceName(), before.spaceName());
    EXPECT_EQ(t.eotf().kind, before.eotf().kind);
}

TEST(CharacteriseTarget, WhiteIsTheTargetWhiteAtTheMeasuredLuminance) {
    Target t;
    ASSERT_TRUE(Target::Parse("srgb", "D50", "srgb", &t));
    const Xyz white = t.TargetXyz(1, 1, 1, 180.0, 0.3);
    EXPECT_NEAR(white.Y, 180.0, 1e-9);
    EXPECT_NEAR(chromaticityOf(white).x, 0.3457, 1e-9);
    EXPECT_NEAR(chromaticityOf(white).y, 0.3585, 1e-9);
}

TEST(CharacteriseTarget, PrimariesCarryTheirPublishedLuminanceCoefficients) {
    Target srgb;
    ASSERT_TRUE(Target::Parse("srgb", "D65", "gamma:2.2", &srgb));
    EXPECT_NEAR(srgb.TargetXyz(1, 0, 0, 1.0, 0.0).Y, 0.2126, 0.00005);
    EXPECT_NEAR(srgb.TargetXyz(0, 1, 0, 1.0, 0.0).Y, 0.7152, 0.00005);
    EXPECT_NEAR(srgb.TargetXyz(0, 0, 1, 1.0, 0.0).Y, 0.0722, 0.00005);
    const Chromaticity red = chromaticityOf(srgb.TargetXyz(1, 0, 0, 100.0, 0.0));
    EXPECT_NEAR(red.x, 0.64, 1e-9);
    EXPECT_NEAR(red.y, 0.33, 1e-9);

    Target bt2020;
    ASSERT_TRUE(Target::Parse("bt2020", "D65", "gamma:2.2", &bt2020));
    EXPECT_NEAR(bt2020.TargetXyz(1, 0, 0, 1.0, 0.0).Y, 0.2627, 0.00005);
    EXPECT_NEAR(bt2020.TargetXyz(0, 1, 0, 1.0, 0.0).Y, 0.6780, 0.00005);
    EXPECT_NEAR(bt2020.TargetXyz(0, 0, 1, 1.0, 0.0).Y, 0.0593, 0.00005);
}

TEST(CharacteriseTarget, Bt1886BuildsOnTheMeasuredBlackAndOthersDoNot) {
    const double lw = 250.0;
    const double lb = 0.2;
    Target bt1886;
    ASSERT_TRUE(Target::Parse("srgb", "D65", "bt1886", &bt1886));
    const double root = std::pow(lw, 1 / 2.4) - std::pow(lb, 1 / 2.4);
    const double a = std::pow(root, 2.4);
    const double b = std::pow(lb, 1 / 2.4) / root;
    for (double v : {0.0, 0.1, 0.5, 0.9, 1.0})
        EXPECT_NEAR(bt1886.TargetXyz(v, v, v, lw, lb).Y, a * std::pow(v + b, 2.4), 1e-9) << v;
    EXPECT_NEAR(bt1886.TargetXyz(0, 0, 0, lw, lb).Y, lb, 1e-9);

    Target gamma;
    ASSERT_TRUE(Target::Parse("srgb", "D65", "gamma:2.4", &gamma));
    EXPECT_EQ(gamma.TargetXyz(0, 0, 0, lw, lb).Y, 0.0);
    EXPECT_NEAR(gamma.TargetXyz(0.5, 0.5, 0.5, lw, lb).Y, lw * std::pow(0.5, 2.4), 1e-9);
}

TEST(CharacteriseTarget, DeltaEIsTakenAgainstTheTargetWhiteScaledToTheMeasuredWhite) {
    Target t;
    // The target white itself, whatever the display's luminance, is L* 100, a* = b* = 0.
    for (double whiteY : {1.0, 80.0, 250.0})
        EXPECT_NEAR(t.DeltaE2000(t.WhiteXyz(whiteY), t.TargetXyz(1, 1, 1, whiteY, 0), whiteY), 0.0, 1e-9);

    // Half the white's luminance against the white: a difference in lightness alone, so CIEDE2000 is
    // ΔL* / SL with SL = 1 + 0.015 (L̄ − 50)² / √(20 + (L̄ − 50)²).
    const double whiteY = 250.0;
    const Xyz white = t.WhiteXyz(whiteY);
    const Xyz half = {white.X / 2, white.Y / 2, white.Z / 2};
    const double lHalf = 116.0 * std::cbrt(0.5) - 16.0;
    const double lMean = (100.0 + lHalf) / 2.0;
    const double sl = 1.0 + 0.015 * std::pow(lMean - 50.0, 2) / std::sqrt(20.0 + std::pow(lMean - 50.0, 2));
    EXPECT_NEAR(t.DeltaE2000(half, white, whiteY), (100.0 - lHalf) / sl, 1e-6);

    // A D65 white against a D50 target is a colour error.
    Target d50;
    ASSERT_TRUE(Target::Parse("srgb", "D50", "gamma:2.2", &d50));
    EXPECT_GT(d50.DeltaE2000(XyzFromChromaticity(kWhiteD65, whiteY), d50.WhiteXyz(whiteY), whiteY), 5.0);
    EXPECT_TRUE(std::isnan(t.DeltaE2000(white, white, 0.0)));
}
