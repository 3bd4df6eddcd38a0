#include "Eotf.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {
Eotf parsed(const char* text) {
    Eotf eotf;
    EXPECT_TRUE(Eotf::Parse(QString::fromLatin1(text), &eotf)) << text;
    return eotf;
}
} // namespace

TEST(Eotf, SrgbAtHalfIsThePublishedValue) {
    // IEC 61966-2-1: ((0.5 + 0.055) / 1.055)^2.4 = 0.214041.
    EXPECT_NEAR(parsed("srgb").Luminance(0.5), 0.214041, 1e-6);
}

TEST(Eotf, SrgbHasItsLinearToeBelowTheBreakPoint) {
    const Eotf srgb = parsed("srgb");
    EXPECT_NEAR(srgb.Luminance(0.04), 0.04 / 12.92, 1e-12);
    // The two pieces meet at the break point.
    EXPECT_NEAR(srgb.Luminance(0.04045), srgb.Luminance(0.0404501), 1e-7);
    EXPECT_EQ(srgb.Luminance(0.0), 0.0);
    EXPECT_NEAR(srgb.Luminance(1.0), 1.0, 1e-12);
}

TEST(Eotf, GammaIsAPowerOfTheDeviceValue) {
    const Eotf gamma = parsed("gamma:2.4");
    EXPECT_NEAR(gamma.Luminance(0.5), std::pow(0.5, 2.4), 1e-12);
    EXPECT_EQ(gamma.Luminance(0.0), 0.0);
    EXPECT_EQ(gamma.Luminance(1.0), 1.0);
    // Outside 0..1 a device value is clipped.
    EXPECT_EQ(gamma.Luminance(-0.2), 0.0);
    EXPECT_EQ(gamma.Luminance(1.5), 1.0);
}

TEST(Eotf, Bt1886EndsAtTheBlackRatioAndAtOne) {
    const Eotf bt1886 = parsed("bt1886");
    for (double black : {0.0, 0.0008, 0.01, 0.1}) {
        EXPECT_NEAR(bt1886.Luminance(0.0, black), black, 1e-12) << black;
        EXPECT_NEAR(bt1886.Luminance(1.0, black), 1.0, 1e-12) << black;
        EXPECT_NEAR(bt1886.Normalised(0.0, black), 0.0, 1e-12) << black;
        EXPECT_NEAR(bt1886.Normalised(1.0, black), 1.0, 1e-12) << black;
    }
    // With a black of zero it is a plain 2.4 power.
    EXPECT_NEAR(bt1886.Luminance(0.5, 0.0), std::pow(0.5, 2.4), 1e-12);
    // A raised black lifts the dark end.
    EXPECT_GT(bt1886.Luminance(0.1, 0.01), bt1886.Luminance(0.1, 0.0));
}

TEST(Eotf, ParserTakesTheThreeKindsAndNamesThemBack) {
    for (const char* text : {"srgb", "bt1886", "gamma:2.2", "gamma:2.4"}) {
        const Eotf eotf = parsed(text);
        EXPECT_EQ(eotf.Name(), QString::fromLatin1(text));
    }
    EXPECT_EQ(parsed("SRGB").kind, Eotf::Kind::Srgb);
    EXPECT_DOUBLE_EQ(parsed("gamma:1.8").gamma, 1.8);
    EXPECT_EQ(parsed("bt1886").kind, Eotf::Kind::Bt1886);
}

TEST(Eotf, ParserRejectsWhatIsNoTransferFunction) {
    for (const char* text : {"", "pq", "gamma", "gamma:", "gamma:abc", "gamma:0", "gamma:11", "gamma:-2.2"}) {
        Eotf eotf;
        eotf.gamma = 1.5;
        QString error;
        EXPECT_FALSE(Eotf::Parse(QString::fromLatin1(text), &eotf, &error)) << text;
        EXPECT_FALSE(error.isEmpty()) << text;
        EXPECT_DOUBLE_EQ(eotf.gamma, 1.5) << text; // untouched on failure
    }
}
