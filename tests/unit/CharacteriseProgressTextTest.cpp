// The progress line a person watches during a characterisation.

#include "ProgressText.h"

#include <gtest/gtest.h>

namespace {
CharacteriseRun::Progress progress() {
    CharacteriseRun::Progress p;
    p.index = 3;
    p.total = 17;
    p.patch.id = 3;
    p.patch.name = "grey 20 %";
    p.patch.r = p.patch.g = p.patch.b = 0.2;
    p.reading.patchId = 3;
    p.reading.Lv = 4.21532;
    p.reading.x = 0.31271;
    p.reading.y = 0.32902;
    p.secondsLeft = 12.4;
    return p;
}
} // namespace

TEST(CharacteriseProgressText, NamesThePatchItsValuesItsReadingAndTheTimeLeft) {
    EXPECT_EQ(ProgressLine(progress()), "patch 3 of 17 (id 3, grey 20 %, 0.2000 0.2000 0.2000): Lv 4.2153 x "
                                        "0.3127 y 0.3290, about 12 s left");
}

TEST(CharacteriseProgressText, LuminanceOnlyFailedAndWhiteReadingsSayWhatTheyAre) {
    CharacteriseRun::Progress p = progress();
    p.reading.hasColour = false;
    EXPECT_TRUE(ProgressLine(p).contains(": Lv 4.2153, about")) << ProgressLine(p).toStdString();
    p.reading.failed = true;
    p.message = "no reply";
    EXPECT_TRUE(ProgressLine(p).contains(": failed: no reply,")) << ProgressLine(p).toStdString();
    p = progress();
    p.reading.kind = PatchReading::Kind::DriftWhite;
    EXPECT_TRUE(ProgressLine(p).startsWith("white (drift), after patch 3 of 17: Lv"));
    p.secondsLeft = -1.0;
    EXPECT_FALSE(ProgressLine(p).contains("left"));
    p.index = 0; // the white measured before the first patch
    EXPECT_TRUE(ProgressLine(p).startsWith("white (drift), before patch 1 of 17: Lv"));
}

TEST(CharacteriseProgressText, DurationsReadAsSecondsMinutesOrHours) {
    EXPECT_EQ(DurationText(0.4), "0 s");
    EXPECT_EQ(DurationText(59.4), "59 s");
    EXPECT_EQ(DurationText(185), "3 min 05 s");
    EXPECT_EQ(DurationText(3720), "1 h 02 min");
}
