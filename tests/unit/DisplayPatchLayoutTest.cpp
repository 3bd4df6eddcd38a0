// Where the patch goes on a screen, and the 8-bit levels device values become.

#include "PatchLayout.h"

#include <gtest/gtest.h>

namespace {
double shareOf(const QRect& area, const QSize& screen) {
    return double(area.width()) * area.height() / (double(screen.width()) * screen.height());
}
} // namespace

TEST(DisplayPatchLayout, PatchIsACentredSquareOfTheAskedShareOfTheScreen) {
    for (const QSize screen : {QSize(1920, 1080), QSize(1080, 1920), QSize(800, 800), QSize(3840, 2160)}) {
        for (double percent : {1.0, 10.0, 25.0}) {
            const QRect area = PatchArea(screen, percent);
            EXPECT_EQ(area.width(), area.height()) << screen.width() << "x" << screen.height();
            EXPECT_NEAR(shareOf(area, screen), percent / 100.0, 0.003) << percent;
            // Centred to the pixel: the margins either side differ by at most one.
            EXPECT_LE(std::abs(area.left() - (screen.width() - 1 - area.right())), 1);
            EXPECT_LE(std::abs(area.top() - (screen.height() - 1 - area.bottom())), 1);
        }
    }
    EXPECT_EQ(PatchArea(QSize(1000, 1000), 10.0), QRect(342, 342, 316, 316));
}

TEST(DisplayPatchLayout, PatchTooLargeForASquareKeepsTheShortSideAndWidens) {
    const QSize wide(1920, 1080);
    const QRect area = PatchArea(wide, 80.0);
    EXPECT_EQ(area.height(), 1080);
    EXPECT_NEAR(shareOf(area, wide), 0.80, 0.001);
    EXPECT_EQ(area.top(), 0);
    const QSize tall(1080, 1920);
    const QRect upright = PatchArea(tall, 80.0);
    EXPECT_EQ(upright.width(), 1080);
    EXPECT_NEAR(shareOf(upright, tall), 0.80, 0.001);
}

TEST(DisplayPatchLayout, FullPatchIsTheWholeScreen) {
    EXPECT_EQ(PatchArea(QSize(1920, 1080), 100.0), QRect(0, 0, 1920, 1080));
    EXPECT_EQ(PatchArea(QSize(640, 480), 150.0), QRect(0, 0, 640, 480));
}

TEST(DisplayPatchLayout, DeviceValuesRoundToTheNearestEightBitLevel) {
    EXPECT_EQ(EightBitLevel(0.0), 0);
    EXPECT_EQ(EightBitLevel(1.0), 255);
    EXPECT_EQ(EightBitLevel(0.5), 128); // 127.5 rounds up
    EXPECT_EQ(EightBitLevel(0.1), 26);  // 25.5
    EXPECT_EQ(EightBitLevel(100.0 / 255), 100);
    EXPECT_EQ(EightBitLevel(0.001), 0);
    EXPECT_EQ(EightBitLevel(-0.2), 0);
    EXPECT_EQ(EightBitLevel(1.3), 255);
}
