#include "ReadingStatistics.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {
Reading colourReading(double Lv, double x, double y) {
    Reading r;
    r.Lv = Lv;
    r.x = x;
    r.y = y;
    r.hasColour = true;
    r.colour = ColourQuantities::FromLvXy(Lv, x, y);
    return r;
}
} // namespace

TEST(CliReadingStatistics, MeanSampleDeviationMinimumAndMaximumOfEachQuantity) {
    ReadingStatistics stats;
    for (double lv : {100.0, 102.0, 104.0, 106.0})
        stats.add(colourReading(lv, 0.3127, 0.3290));
    const ReadingStatistics::Summary lv = stats.of(Quantity::Lv);
    EXPECT_EQ(lv.count, 4);
    EXPECT_DOUBLE_EQ(lv.mean, 103);
    // Deviations -3, -1, 1, 3: squares sum to 20, over n - 1 = 3.
    EXPECT_NEAR(lv.sd, std::sqrt(20.0 / 3.0), 1e-12);
    EXPECT_DOUBLE_EQ(lv.min, 100);
    EXPECT_DOUBLE_EQ(lv.max, 106);
    const ReadingStatistics::Summary y = stats.of(Quantity::Y);
    EXPECT_DOUBLE_EQ(y.mean, 103);
    EXPECT_NEAR(stats.of(Quantity::x).sd, 0, 1e-15);
}

TEST(CliReadingStatistics, FailedReadingsAreCountedButNotAveraged) {
    ReadingStatistics stats;
    stats.add(colourReading(100, 0.31, 0.32));
    Reading failed = colourReading(5000, 0.6, 0.3);
    failed.result = 0x80000008;
    stats.add(failed);
    stats.add(colourReading(110, 0.33, 0.34));
    EXPECT_EQ(stats.readings(), 3);
    EXPECT_EQ(stats.succeeded(), 2);
    EXPECT_EQ(stats.failed(), 1);
    EXPECT_DOUBLE_EQ(stats.of(Quantity::Lv).mean, 105);
    EXPECT_DOUBLE_EQ(stats.of(Quantity::x).max, 0.33);
}

TEST(CliReadingStatistics, CctOutOfRangeIsLeftOutOfItsFigures) {
    ReadingStatistics stats;
    stats.add(colourReading(100, 0.3127, 0.3290));
    stats.add(colourReading(100, 0.30, 0.45)); // far above the locus
    EXPECT_EQ(stats.of(Quantity::CCT).count, 1);
    EXPECT_EQ(stats.of(Quantity::x).count, 2);
    EXPECT_NEAR(stats.of(Quantity::CCT).mean, 6504, 3);
}

TEST(CliReadingStatistics, OneValueHasNoSpreadAndNoneHasNoFigures) {
    ReadingStatistics stats;
    stats.add(colourReading(100, 0.3127, 0.3290));
    EXPECT_TRUE(std::isnan(stats.of(Quantity::Lv).sd));
    EXPECT_DOUBLE_EQ(stats.of(Quantity::Lv).mean, 100);
    // No reference: no differences.
    EXPECT_EQ(stats.of(Quantity::DeltaUv).count, 0);
    EXPECT_TRUE(std::isnan(stats.of(Quantity::DeltaUv).mean));
    Reading luminance;
    luminance.Lv = 50;
    ReadingStatistics lvOnly;
    lvOnly.add(luminance);
    EXPECT_EQ(lvOnly.of(Quantity::x).count, 0);
    EXPECT_EQ(lvOnly.of(Quantity::Lv).count, 1);
}
