#include "DriftCorrection.h"

#include <gtest/gtest.h>

TEST(CharacteriseDriftCorrection, InterpolatesTheWhiteLinearlyAndHoldsItBeyondTheEnds) {
    // Given out of time order on purpose.
    const DriftCorrection drift(
        {{20.0, 120.0, std::nullopt}, {10.0, 100.0, std::nullopt}, {30.0, 90.0, std::nullopt}});
    EXPECT_DOUBLE_EQ(drift.WhiteYAt(15.0), 110.0);
    EXPECT_DOUBLE_EQ(drift.WhiteYAt(25.0), 105.0);
    EXPECT_DOUBLE_EQ(drift.WhiteYAt(0.0), 100.0);
    EXPECT_DOUBLE_EQ(drift.WhiteYAt(99.0), 90.0);
    // The reference is the first white in time.
    EXPECT_DOUBLE_EQ(drift.Factor(10.0), 1.0);
    EXPECT_DOUBLE_EQ(drift.Factor(20.0), 100.0 / 120.0);
    EXPECT_DOUBLE_EQ(drift.LuminanceChangePercent(), -10.0);
    EXPECT_DOUBLE_EQ(drift.Seconds(), 20.0);
    EXPECT_FALSE(drift.MaxDeltaUv());
}

TEST(CharacteriseDriftCorrection, LargestColourShiftIsMeasuredFromTheFirstWhite) {
    const Chromaticity d65 = kWhiteD65;
    const Chromaticity d50 = kWhiteD50;
    const DriftCorrection drift({{0.0, 100.0, d65}, {5.0, 100.0, d50}, {10.0, 100.0, d65}});
    ASSERT_TRUE(drift.MaxDeltaUv());
    // D65 u′v′ (0.1978, 0.4683), D50 (0.2092, 0.4881): 0.0229 apart.
    EXPECT_NEAR(*drift.MaxDeltaUv(), 0.0229, 0.0002);
}

TEST(CharacteriseDriftCorrection, WithoutWhitesNothingIsScaled) {
    const DriftCorrection drift({{3.0, 0.0, std::nullopt}});
    EXPECT_TRUE(drift.empty());
    EXPECT_DOUBLE_EQ(drift.Factor(12.0), 1.0);
    EXPECT_DOUBLE_EQ(drift.LuminanceChangePercent(), 0.0);
}
