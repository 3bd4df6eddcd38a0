#include "VirtualDisplay.h"
#include "InstrumentModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

namespace {

// A clock the test moves by hand.
struct FakeClock {
    std::shared_ptr<double> ms = std::make_shared<double>(1000.0);
    VirtualDisplay::Clock clock() const {
        auto now = ms;
        return [now] { return *now; };
    }
    void advance(double by) { *ms += by; }
};

VirtualDisplaySettings parsed(const QString& text) {
    VirtualDisplaySettings settings;
    QString error;
    EXPECT_TRUE(VirtualDisplay::Parse(text, &settings, &error)) << qPrintable(error);
    return settings;
}

QString refusal(const QString& text) {
    VirtualDisplaySettings settings;
    QString error;
    EXPECT_FALSE(VirtualDisplay::Parse(text, &settings, &error)) << qPrintable(text);
    return error;
}

double chromaX(const Xyz& v) {
    return v.X / (v.X + v.Y + v.Z);
}

double chromaY(const Xyz& v) {
    return v.Y / (v.X + v.Y + v.Z);
}

} // namespace

TEST(VirtualDisplay, DefaultsAreAGamma22SrgbDisplayAt120WithATenthOfACandelaBlack) {
    const VirtualDisplaySettings s = parsed("peak=120");
    EXPECT_EQ(s.black, 0.1);
    EXPECT_EQ(s.white.x, 0.3127);
    EXPECT_EQ(s.white.y, 0.3290);
    EXPECT_EQ(s.primaries.red.x, 0.64);
    EXPECT_EQ(s.primaries.green.y, 0.60);
    EXPECT_EQ(s.eotf.kind, Eotf::Kind::Gamma);
    EXPECT_EQ(s.eotf.gamma, 2.2);
    EXPECT_EQ(s.noise, 0.0);
    EXPECT_EQ(s.driftPerMinute, 0.0);
    EXPECT_EQ(s.responseMs, 0.0);
}

TEST(VirtualDisplay, EveryKeyIsRead) {
    const VirtualDisplaySettings s = parsed(" peak=250 , black=0.2,white=0.3457:0.3585,primaries=bt2020,"
                                            "eotf=bt1886,noise=0.01,drift=-5,response=400,seed=42");
    EXPECT_EQ(s.peak, 250.0);
    EXPECT_EQ(s.black, 0.2);
    EXPECT_EQ(s.white.x, 0.3457);
    EXPECT_EQ(s.white.y, 0.3585);
    EXPECT_EQ(s.primaries.red.x, 0.708);
    EXPECT_EQ(s.eotf.kind, Eotf::Kind::Bt1886);
    EXPECT_EQ(s.noise, 0.01);
    EXPECT_EQ(s.driftPerMinute, -5.0);
    EXPECT_EQ(s.responseMs, 400.0);
    EXPECT_EQ(s.seed, 42u);
}

TEST(VirtualDisplay, PrimariesAreGivenByNameOrAsThreeChromaticities) {
    const VirtualDisplaySettings p3 = parsed("primaries=p3");
    EXPECT_EQ(p3.primaries.green.x, 0.265);
    EXPECT_EQ(p3.primaries.green.y, 0.69);
    const VirtualDisplaySettings own = parsed("primaries=0.7:0.29/0.2:0.75/0.14:0.05,eotf=gamma:2.4");
    EXPECT_EQ(own.primaries.red.x, 0.7);
    EXPECT_EQ(own.primaries.red.y, 0.29);
    EXPECT_EQ(own.primaries.green.y, 0.75);
    EXPECT_EQ(own.primaries.blue.x, 0.14);
    EXPECT_EQ(own.eotf.gamma, 2.4);
}

TEST(VirtualDisplay, PresetsAreTheIdealSrgbDisplayAWideGamutLcdAndAnOled) {
    EXPECT_EQ(VirtualDisplay::PresetNames(), QStringList({"srgb-ideal", "wide-lcd", "oled"}));
    const VirtualDisplaySettings ideal = parsed("srgb-ideal");
    EXPECT_EQ(ideal.black, 0.0);
    EXPECT_EQ(ideal.eotf.kind, Eotf::Kind::Srgb);
    EXPECT_EQ(ideal.primaries.red.x, 0.64);
    EXPECT_EQ(ideal.white.x, 0.3127);

    const VirtualDisplaySettings lcd = parsed("wide-lcd");
    EXPECT_EQ(lcd.primaries.red.x, 0.68);
    EXPECT_EQ(lcd.eotf.gamma, 2.2);
    EXPECT_NEAR(lcd.black / lcd.peak, 0.001, 1e-9);

    const VirtualDisplaySettings oled = parsed("oled");
    EXPECT_LT(oled.black / oled.peak, 1e-5);
    EXPECT_LT(oled.black, lcd.black / 100.0);
}

TEST(VirtualDisplay, KeysAfterAPresetOverrideIt) {
    const VirtualDisplaySettings s = parsed("oled,peak=400,noise=0.002");
    VirtualDisplaySettings oled;
    ASSERT_TRUE(VirtualDisplay::Preset("oled", &oled));
    EXPECT_EQ(s.peak, 400.0);
    EXPECT_EQ(s.noise, 0.002);
    EXPECT_EQ(s.black, oled.black);
    EXPECT_EQ(s.primaries.red.x, oled.primaries.red.x);
}

TEST(VirtualDisplay, WhatIsNoDisplayIsRefusedWithItsReason) {
    EXPECT_TRUE(refusal("").contains("empty"));
    EXPECT_TRUE(refusal("crt").contains("neither a preset"));
    EXPECT_TRUE(refusal("peak=100,oled").contains("must come first"));
    EXPECT_TRUE(refusal("brightness=100").contains("unknown key \"brightness\""));
    EXPECT_TRUE(refusal("peak=bright").contains("peak: \"bright\" is not a number"));
    EXPECT_TRUE(refusal("peak=0").contains("above 0"));
    EXPECT_TRUE(refusal("black=-1").contains("0 or more"));
    EXPECT_TRUE(refusal("noise=-0.1").contains("0 or more"));
    EXPECT_TRUE(refusal("response=-5").contains("0 or more"));
    EXPECT_TRUE(refusal("peak=1,black=2").contains("must be below peak"));
    EXPECT_TRUE(refusal("peak=100,black=100").contains("must be below peak"));
    EXPECT_TRUE(refusal("white=warm").contains("white"));
    EXPECT_TRUE(refusal("primaries=adobe").contains("primaries"));
    EXPECT_TRUE(refusal("eotf=pq").contains("EOTF"));
    EXPECT_TRUE(refusal("seed=-3").contains("seed"));
    EXPECT_TRUE(refusal("peak=100,").contains("not key=value"));
    // Three primaries on one line enclose no white.
    EXPECT_TRUE(refusal("primaries=0.3:0.3/0.31:0.31/0.32:0.32").contains("triangle"));
    EXPECT_TRUE(refusal("white=0.7:0.25").contains("triangle"));
}

TEST(VirtualDisplay, WhiteIsPeakAtTheWhitesChromaticity) {
    VirtualDisplay display(parsed("peak=250,black=0.2,white=0.3457:0.3585"));
    const Xyz white = display.SteadyLight(1, 1, 1);
    EXPECT_NEAR(white.Y, 250.0, 1e-9);
    EXPECT_NEAR(chromaX(white), 0.3457, 1e-12);
    EXPECT_NEAR(chromaY(white), 0.3585, 1e-12);
}

TEST(VirtualDisplay, BlackIsTheBlackLuminanceTimesTheWhite) {
    VirtualDisplay display(parsed("peak=250,black=0.2"));
    const Xyz black = display.SteadyLight(0, 0, 0);
    EXPECT_NEAR(black.X, 0.2 * 0.3127 / 0.3290, 1e-12);
    EXPECT_NEAR(black.Y, 0.2, 1e-12);
    EXPECT_NEAR(black.Z, 0.2 * (1 - 0.3127 - 0.3290) / 0.3290, 1e-12);
}

TEST(VirtualDisplay, AGreysLuminanceFollowsTheGammaFromBlackToPeak) {
    VirtualDisplay display(parsed("peak=120,black=0.1,eotf=gamma:2.2"));
    // 0.1 + 119.9 × 0.5^2.2
    EXPECT_NEAR(display.SteadyLight(0.5, 0.5, 0.5).Y, 26.194753134801, 1e-9);
    const Xyz grey = display.SteadyLight(0.25, 0.25, 0.25);
    EXPECT_NEAR(grey.Y, 0.1 + 119.9 * std::pow(0.25, 2.2), 1e-9);
    // A grey keeps the white's chromaticity.
    EXPECT_NEAR(chromaX(grey), 0.3127, 1e-12);
    EXPECT_NEAR(chromaY(grey), 0.3290, 1e-12);
}

TEST(VirtualDisplay, Bt1886GreysAreTheRecommendationsCurveOnTheDisplaysBlackAndWhite) {
    const double lw = 250.0, lb = 0.2;
    VirtualDisplay display(parsed("peak=250,black=0.2,eotf=bt1886"));
    // ITU-R BT.1886: L = a·max(V + b, 0)^2.4, a = (Lw^(1/2.4) − Lb^(1/2.4))^2.4,
    // b = Lb^(1/2.4) / (Lw^(1/2.4) − Lb^(1/2.4)).
    const double root = std::pow(lw, 1 / 2.4) - std::pow(lb, 1 / 2.4);
    const double a = std::pow(root, 2.4);
    const double b = std::pow(lb, 1 / 2.4) / root;
    for (double v : {0.0, 0.1, 0.5, 0.9, 1.0})
        EXPECT_NEAR(display.SteadyLight(v, v, v).Y, a * std::pow(v + b, 2.4), 1e-9) << v;
}

TEST(VirtualDisplay, SrgbEotfHasItsLinearToe) {
    VirtualDisplay display(parsed("srgb-ideal,peak=100"));
    EXPECT_NEAR(display.SteadyLight(0.02, 0.02, 0.02).Y, 100.0 * 0.02 / 12.92, 1e-9);
    EXPECT_NEAR(display.SteadyLight(0.5, 0.5, 0.5).Y, 100.0 * std::pow(0.555 / 1.055, 2.4), 1e-9);
    EXPECT_EQ(display.SteadyLight(0, 0, 0).Y, 0.0);
}

TEST(VirtualDisplay, PrimariesShowTheirOwnChromaticities) {
    VirtualDisplay display(parsed("peak=200,black=0,primaries=0.7:0.29/0.2:0.75/0.14:0.05"));
    const Xyz red = display.SteadyLight(1, 0, 0);
    const Xyz green = display.SteadyLight(0, 1, 0);
    const Xyz blue = display.SteadyLight(0, 0, 1);
    EXPECT_NEAR(chromaX(red), 0.7, 1e-12);
    EXPECT_NEAR(chromaY(red), 0.29, 1e-12);
    EXPECT_NEAR(chromaX(green), 0.2, 1e-12);
    EXPECT_NEAR(chromaY(green), 0.75, 1e-12);
    EXPECT_NEAR(chromaX(blue), 0.14, 1e-12);
    EXPECT_NEAR(chromaY(blue), 0.05, 1e-12);
    // Additive: the three together make the white.
    EXPECT_NEAR(red.Y + green.Y + blue.Y, 200.0, 1e-9);
}

TEST(VirtualDisplay, SrgbPrimariesCarryTheStandardsLuminanceShares) {
    VirtualDisplay display(parsed("srgb-ideal,peak=100"));
    // IEC 61966-2-1: Y = 0.2126 R + 0.7152 G + 0.0722 B.
    EXPECT_NEAR(display.SteadyLight(1, 0, 0).Y, 21.26, 0.01);
    EXPECT_NEAR(display.SteadyLight(0, 1, 0).Y, 71.52, 0.01);
    EXPECT_NEAR(display.SteadyLight(0, 0, 1).Y, 7.22, 0.01);
}

TEST(VirtualDisplay, ShowChangesTheLightAtOnceWithoutAResponseTime) {
    FakeClock clock;
    VirtualDisplay display(parsed("srgb-ideal,peak=100"), clock.clock());
    // It starts out white.
    EXPECT_NEAR(display.LightNow().Y, 100.0, 1e-9);
    display.Show(1, 0, 0);
    EXPECT_NEAR(display.LightNow().Y, display.SteadyLight(1, 0, 0).Y, 1e-12);
    double r = -1, g = -1, b = -1;
    display.Shown(&r, &g, &b);
    EXPECT_EQ(r, 1.0);
    EXPECT_EQ(g, 0.0);
    EXPECT_EQ(b, 0.0);
    // Values outside 0..1 are what a display does with them: clipped.
    display.Show(2, -1, 0.5);
    display.Shown(&r, &g, &b);
    EXPECT_EQ(r, 1.0);
    EXPECT_EQ(g, 0.0);
    EXPECT_NEAR(display.LightNow().Y, display.SteadyLight(1, 0, 0.5).Y, 1e-12);
}

TEST(VirtualDisplay, DriftScalesTheWholeOutputLinearlyFromTheFirstReading) {
    FakeClock clock;
    VirtualDisplay display(parsed("srgb-ideal,peak=100,drift=10"), clock.clock());
    // Time before the first reading does not count.
    clock.advance(5 * 60000.0);
    EXPECT_NEAR(display.LightNow().Y, 100.0, 1e-9);
    clock.advance(30000.0);
    EXPECT_NEAR(display.LightNow().Y, 105.0, 1e-9);
    clock.advance(30000.0);
    const Xyz later = display.LightNow();
    EXPECT_NEAR(later.Y, 110.0, 1e-9);
    // The whole output: the chromaticity stays.
    EXPECT_NEAR(chromaX(later), 0.3127, 1e-12);
    display.Show(0.5, 0.5, 0.5);
    EXPECT_NEAR(display.LightNow().Y, 1.1 * display.SteadyLight(0.5, 0.5, 0.5).Y, 1e-9);
    // A reading asked for at a later moment carries that moment's drift.
    EXPECT_NEAR(display.LightAt(clock.ms.operator*() + 60000.0).Y, 1.2 * display.SteadyLight(0.5, 0.5, 0.5).Y,
                1e-9);
}

TEST(VirtualDisplay, ANegativeDriftDimsTheDisplay) {
    FakeClock clock;
    VirtualDisplay display(parsed("peak=200,drift=-20"), clock.clock());
    display.LightNow();
    clock.advance(60000.0);
    EXPECT_NEAR(display.LightNow().Y, 160.0, 1e-9);
}

TEST(VirtualDisplay, DuringTheResponseTimeTheOldAndNewPatchMixLinearly) {
    FakeClock clock;
    VirtualDisplay display(parsed("srgb-ideal,peak=100,response=200"), clock.clock());
    // Each step: what is asked for (none: nothing new), how long after it, the luminance then.
    struct Step {
        double show; // grey level, or -1
        double afterMs;
        double Y;
    };
    const Step steps[] = {
        {0.0, 0, 100.0},
        {-1, 50, 75.0},
        {-1, 50, 50.0},
        // Asked for white again half way: it starts from the half-shown black.
        {1.0, 0, 50.0},
        {-1, 100, 75.0},
        {-1, 100, 100.0},
        {-1, 1000, 100.0},
    };
    for (const Step& step : steps) {
        if (step.show >= 0)
            display.Show(step.show, step.show, step.show);
        clock.advance(step.afterMs);
        EXPECT_NEAR(display.LightNow().Y, step.Y, 1e-9) << "at " << *clock.ms;
    }
}

TEST(VirtualDisplay, ResponseMixesTheColoursNotJustTheLuminance) {
    FakeClock clock;
    VirtualDisplay display(parsed("srgb-ideal,peak=100,response=100"), clock.clock());
    display.Show(1, 0, 0);
    clock.advance(100);
    display.Show(0, 0, 1);
    clock.advance(25);
    const Xyz red = display.SteadyLight(1, 0, 0);
    const Xyz blue = display.SteadyLight(0, 0, 1);
    const Xyz mixed = display.LightNow();
    EXPECT_NEAR(mixed.X, 0.75 * red.X + 0.25 * blue.X, 1e-9);
    EXPECT_NEAR(mixed.Z, 0.75 * red.Z + 0.25 * blue.Z, 1e-9);
}

TEST(VirtualDisplay, NoiseHasTheGivenRelativeDeviationAndRepeatsWithItsSeed) {
    FakeClock clock;
    VirtualDisplay display(parsed("peak=100,noise=0.02,seed=7"), clock.clock());
    VirtualDisplay same(parsed("peak=100,noise=0.02,seed=7"), clock.clock());
    VirtualDisplay other(parsed("peak=100,noise=0.02,seed=8"), clock.clock());
    const int n = 20000;
    double sum = 0, sumSquares = 0, sumX = 0;
    int differentFromOther = 0;
    for (int i = 0; i < n; ++i) {
        const Xyz a = display.LightNow();
        const Xyz b = same.LightNow();
        ASSERT_EQ(a.Y, b.Y);
        ASSERT_EQ(a.X, b.X);
        if (other.LightNow().Y != a.Y)
            ++differentFromOther;
        sum += a.Y;
        sumSquares += a.Y * a.Y;
        sumX += chromaX(a);
    }
    const double mean = sum / n;
    const double sd = std::sqrt((sumSquares - n * mean * mean) / (n - 1));
    // Standard error of the mean 100 × 0.02 / √20000 ≈ 0.014; of the deviation about 0.5 %.
    EXPECT_NEAR(mean, 100.0, 0.07);
    EXPECT_NEAR(sd / mean, 0.02, 0.001);
    EXPECT_EQ(differentFromOther, n);
    // Each tristimulus value has its own noise, so the chromaticity moves, around the white.
    EXPECT_NEAR(sumX / n, 0.3127, 0.0005);
}

TEST(VirtualDisplay, WithoutNoiseEveryReadingIsTheSame) {
    VirtualDisplay display(parsed("peak=100"));
    const Xyz first = display.LightNow();
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(display.LightNow().Y, first.Y);
}

TEST(VirtualDisplay, BlackWithoutLightKeepsTheWhitesChromaticity) {
    VirtualDisplay display(parsed("srgb-ideal"));
    display.Show(0, 0, 0);
    const Xyz black = display.LightNow();
    EXPECT_EQ(VirtualDisplay::Lv(black), 0.0);
    EXPECT_EQ(display.x(black), 0.3127);
    EXPECT_EQ(display.y(black), 0.3290);

    const SimReading reading = SimReadingOfLight(display, black);
    EXPECT_EQ(reading.Lv, 0.0);
    EXPECT_EQ(reading.x, 0.3127);
    EXPECT_EQ(reading.y, 0.3290);
    EXPECT_NEAR(reading.Tcp, 6504, 2);
}

TEST(VirtualDisplay, AnInstrumentsReadingOfAPrimaryHasNoColourTemperature) {
    VirtualDisplay display(parsed("srgb-ideal,peak=100"));
    const SimReading red = SimReadingOfLight(display, display.SteadyLight(1, 0, 0));
    EXPECT_NEAR(red.x, 0.64, 1e-12);
    EXPECT_NEAR(red.y, 0.33, 1e-12);
    EXPECT_NEAR(red.Lv, 21.26, 0.01);
    EXPECT_EQ(red.Tcp, 0.0);
}

TEST(VirtualDisplay, FromTextGivesADisplayOrTheReason) {
    QString error;
    EXPECT_EQ(VirtualDisplay::FromText("peak=nope", &error), nullptr);
    EXPECT_FALSE(error.isEmpty());
    const std::shared_ptr<VirtualDisplay> display = VirtualDisplay::FromText("wide-lcd", &error);
    ASSERT_NE(display, nullptr);
    EXPECT_NEAR(display->SteadyLight(1, 1, 1).Y, display->settings().peak, 1e-9);
}
