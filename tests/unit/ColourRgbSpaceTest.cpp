#include "RgbSpace.h"

#include <gtest/gtest.h>

namespace {
void expectMatrixNear(const Matrix3& actual, const Matrix3& expected, double tolerance) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_NEAR(actual[i][j], expected[i][j], tolerance) << "row " << i << ", column " << j;
}

const Matrix3 kIdentity = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
} // namespace

TEST(RgbSpace, SrgbMatrixFromItsPrimariesIsTheOnePublishedInIec61966) {
    // IEC 61966-2-1 gives the matrix to four decimals; computed from the primaries and D65 it
    // agrees to the rounding of those decimals.
    const Matrix3 published = {
        {{0.4124, 0.3576, 0.1805}, {0.2126, 0.7152, 0.0722}, {0.0193, 0.1192, 0.9505}}};
    expectMatrixNear(RgbToXyzMatrix(SrgbPrimaries(), kWhiteD65), published, 2e-4);
}

TEST(RgbSpace, Bt2020LuminanceRowIsItsPublishedLumaWeights) {
    // ITU-R BT.2020: Y = 0.2627 R + 0.6780 G + 0.0593 B.
    const Matrix3 m = RgbToXyzMatrix(Bt2020Primaries(), kWhiteD65);
    EXPECT_NEAR(m[1][0], 0.2627, 1e-4);
    EXPECT_NEAR(m[1][1], 0.6780, 1e-4);
    EXPECT_NEAR(m[1][2], 0.0593, 1e-4);
}

TEST(RgbSpace, EqualRgbAtFullGivesTheWhiteWithLuminanceOne) {
    for (const RgbPrimaries& p : {SrgbPrimaries(), P3Primaries(), Bt2020Primaries()}) {
        const Xyz white = Apply(RgbToXyzMatrix(p, kWhiteD65), 1.0, 1.0, 1.0);
        const Xyz expected = XyzFromChromaticity(kWhiteD65);
        EXPECT_NEAR(white.X, expected.X, 1e-12);
        EXPECT_NEAR(white.Y, 1.0, 1e-12);
        EXPECT_NEAR(white.Z, expected.Z, 1e-12);
    }
}

TEST(RgbSpace, InverseTimesMatrixIsTheIdentity) {
    for (const RgbPrimaries& p : {SrgbPrimaries(), P3Primaries(), Bt2020Primaries()}) {
        const Matrix3 m = RgbToXyzMatrix(p, kWhiteD50);
        expectMatrixNear(Multiply(Inverse(m), m), kIdentity, 1e-12);
        expectMatrixNear(Multiply(m, Inverse(m)), kIdentity, 1e-12);
    }
}

TEST(RgbSpace, BradfordFromD65ToD50IsLindbloomsPublishedMatrix) {
    // Lindbloom's table uses the whites D65 = (0.95047, 1, 1.08883) and D50 = (0.96422, 1, 0.82521).
    const Matrix3 published = {{{1.0478112, 0.0228866, -0.0501270},
                                {0.0295424, 0.9904844, -0.0170491},
                                {-0.0092345, 0.0150436, 0.7521316}}};
    const Matrix3 m = BradfordAdaptation({0.95047, 1.0, 1.08883}, {0.96422, 1.0, 0.82521});
    expectMatrixNear(m, published, 1e-6);
}

TEST(RgbSpace, BradfordTakesTheSourceWhiteToTheDestinationWhite) {
    const Xyz d65 = XyzFromChromaticity(kWhiteD65);
    const Xyz d50 = XyzFromChromaticity(kWhiteD50);
    const Xyz adapted = Apply(BradfordAdaptation(d65, d50), d65);
    EXPECT_NEAR(adapted.X, d50.X, 1e-12);
    EXPECT_NEAR(adapted.Y, d50.Y, 1e-12);
    EXPECT_NEAR(adapted.Z, d50.Z, 1e-12);
    expectMatrixNear(BradfordAdaptation(d65, d65), kIdentity, 1e-12);
}

TEST(RgbSpace, ChromaticityAndXyzConvertBothWays) {
    const Chromaticity c = ChromaticityOf(XyzFromChromaticity({0.4476, 0.4074}, 87.25));
    EXPECT_NEAR(c.x, 0.4476, 1e-12);
    EXPECT_NEAR(c.y, 0.4074, 1e-12);
    const Xyz none = XyzFromChromaticity({0.3, 0.0}, 5.0);
    EXPECT_EQ(none.X + none.Y + none.Z, 0.0);
    const Chromaticity black = ChromaticityOf({0.0, 0.0, 0.0});
    EXPECT_EQ(black.x + black.y, 0.0);
}

TEST(RgbSpace, PrimariesParserTakesTheNamedSpacesAndThreeChromaticities) {
    RgbPrimaries p;
    ASSERT_TRUE(ParsePrimaries(QStringLiteral("srgb"), &p));
    EXPECT_DOUBLE_EQ(p.red.x, SrgbPrimaries().red.x);
    ASSERT_TRUE(ParsePrimaries(QStringLiteral("P3"), &p));
    EXPECT_DOUBLE_EQ(p.green.y, P3Primaries().green.y);
    ASSERT_TRUE(ParsePrimaries(QStringLiteral("bt2020"), &p));
    EXPECT_DOUBLE_EQ(p.blue.x, Bt2020Primaries().blue.x);
    ASSERT_TRUE(ParsePrimaries(QStringLiteral("0.68:0.3/0.2:0.7/0.15:0.05"), &p));
    EXPECT_DOUBLE_EQ(p.red.x, 0.68);
    EXPECT_DOUBLE_EQ(p.green.y, 0.7);
    EXPECT_DOUBLE_EQ(p.blue.y, 0.05);
    // A primary on the spectral locus's straight red end (x + y = 1), as BT.2020's red is.
    ASSERT_TRUE(ParsePrimaries(QStringLiteral("0.708:0.292/0.170:0.797/0.131:0.046"), &p));
    EXPECT_DOUBLE_EQ(p.red.x, Bt2020Primaries().red.x);
    EXPECT_DOUBLE_EQ(p.red.y, Bt2020Primaries().red.y);
}

TEST(RgbSpace, PrimariesParserRejectsWhatIsNoColourSpace) {
    RgbPrimaries p = SrgbPrimaries();
    QString error;
    for (const char* text : {"adobe", "", "0.7:0.3/0.2:0.7", "0.7:0.3/0.2:0.7/0.15",
                             "0.7:0.3/0.2:0.9/0.15:0.05", "0:0.3/0.2:0.7/0.15:0.05", "a:b/c:d/e:f"}) {
        error.clear();
        EXPECT_FALSE(ParsePrimaries(QString::fromLatin1(text), &p, &error)) << text;
        EXPECT_FALSE(error.isEmpty()) << text;
    }
    EXPECT_DOUBLE_EQ(p.red.x, SrgbPrimaries().red.x); // untouched on failure
}

TEST(RgbSpace, WhiteParserTakesD65D50AndAChromaticity) {
    Chromaticity w;
    ASSERT_TRUE(ParseWhite(QStringLiteral("d65"), &w));
    EXPECT_DOUBLE_EQ(w.x, kWhiteD65.x);
    ASSERT_TRUE(ParseWhite(QStringLiteral("D50"), &w));
    EXPECT_DOUBLE_EQ(w.y, kWhiteD50.y);
    ASSERT_TRUE(ParseWhite(QStringLiteral("0.3127,0.329"), &w));
    EXPECT_DOUBLE_EQ(w.y, 0.329);
    ASSERT_TRUE(ParseWhite(QStringLiteral("0.31:0.32"), &w));
    EXPECT_DOUBLE_EQ(w.x, 0.31);
}

TEST(RgbSpace, WhiteParserRejectsWhatIsNoWhite) {
    Chromaticity w;
    QString error;
    for (const char* text : {"D75", "", "0.3127", "0.6,0.5", "0.7,0.3", "-0.1,0.3", "x,y", "0.3,0.3,0.3"}) {
        error.clear();
        EXPECT_FALSE(ParseWhite(QString::fromLatin1(text), &w, &error)) << text;
        EXPECT_FALSE(error.isEmpty()) << text;
    }
}
