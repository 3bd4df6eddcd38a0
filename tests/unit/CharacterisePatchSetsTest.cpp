// Patch sets, measuring orders and the --show text of a characterisation.

#include "CgatsPatchFile.h"
#include "ColorCheckerPatches.h"
#include "Eotf.h"
#include "MeasureOrder.h"
#include "PatchSets.h"
#include "RgbSpace.h"
#include "ShowMethod.h"

#include "ColourQuantities.h"

#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {
QVector<Patch> parse(const QString& sets, const PatchSetTarget& target = PatchSetTarget()) {
    QVector<Patch> patches;
    QString error;
    EXPECT_TRUE(ParsePatchSets(sets, target, &patches, &error)) << error.toStdString();
    return patches;
}

QString parseError(const QString& sets) {
    QVector<Patch> patches;
    QString error;
    EXPECT_FALSE(ParsePatchSets(sets, PatchSetTarget(), &patches, &error));
    EXPECT_TRUE(patches.isEmpty());
    return error;
}

// sRGB as the standard defines it, its own EOTF included.
PatchSetTarget srgbTarget() {
    PatchSetTarget target;
    target.eotf.kind = Eotf::Kind::Srgb;
    return target;
}

void writeFile(const QString& path, const QByteArray& text) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
}

// CIELAB of X, Y, Z relative to `white` (CIE 1976 definition).
void labOf(const Xyz& xyz, const Xyz& white, double* L, double* a, double* b) {
    auto f = [](double t) {
        return t > 216.0 / 24389.0 ? std::cbrt(t) : (24389.0 / 27.0 * t + 16.0) / 116.0;
    };
    const double fx = f(xyz.X / white.X);
    const double fy = f(xyz.Y / white.Y);
    const double fz = f(xyz.Z / white.Z);
    *L = 116.0 * fy - 16.0;
    *a = 500.0 * (fx - fy);
    *b = 200.0 * (fy - fz);
}
} // namespace

TEST(CharacterisePatchSets, GreyLevelsAreEvenlySpacedFromBlackToWhite) {
    const QVector<Patch> patches = parse("grey:5");
    ASSERT_EQ(patches.size(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(patches[i].id, i + 1);
        EXPECT_EQ(patches[i].set, "grey");
        EXPECT_DOUBLE_EQ(patches[i].r, i / 4.0);
        EXPECT_DOUBLE_EQ(patches[i].g, patches[i].r);
        EXPECT_DOUBLE_EQ(patches[i].b, patches[i].r);
    }
    EXPECT_EQ(parse("grey").size(), 11);
}

TEST(CharacterisePatchSets, DefaultSetsAreElevenGreysAndSixPrimariesNumberedInSetOrder) {
    const QVector<Patch> patches = parse(kDefaultPatchSets);
    ASSERT_EQ(patches.size(), 17);
    for (int i = 0; i < patches.size(); ++i)
        EXPECT_EQ(patches[i].id, i + 1);
    EXPECT_EQ(patches[10].set, "grey");
    EXPECT_DOUBLE_EQ(patches[10].r, 1.0);
    const Patch& red = patches[11];
    EXPECT_EQ(red.set, "primaries");
    EXPECT_EQ(red.name, "red");
    EXPECT_EQ(std::make_tuple(red.r, red.g, red.b), std::make_tuple(1.0, 0.0, 0.0));
    const Patch& yellow = patches[16];
    EXPECT_EQ(yellow.name, "yellow");
    EXPECT_EQ(std::make_tuple(yellow.r, yellow.g, yellow.b), std::make_tuple(1.0, 1.0, 0.0));
}

TEST(CharacterisePatchSets, SaturationStepsRunFromWhiteTowardTheFullColour) {
    const QVector<Patch> patches = parse("saturations:4");
    ASSERT_EQ(patches.size(), 24);
    // Red: the channels red lacks fall from white toward 0; step 4 of 4 is red itself.
    for (int i = 0; i < 4; ++i) {
        EXPECT_DOUBLE_EQ(patches[i].r, 1.0);
        EXPECT_DOUBLE_EQ(patches[i].g, 1.0 - (i + 1) / 4.0);
        EXPECT_DOUBLE_EQ(patches[i].b, 1.0 - (i + 1) / 4.0);
    }
    // Cyan (the fourth colour) keeps green and blue at full and lowers red.
    const Patch& cyanHalf = patches[3 * 4 + 1];
    EXPECT_EQ(std::make_tuple(cyanHalf.r, cyanHalf.g, cyanHalf.b), std::make_tuple(0.5, 1.0, 1.0));
}

TEST(CharacterisePatchSets, RampsGiveEachChannelAloneAtItsLevels) {
    const QVector<Patch> patches = parse("ramps:4");
    ASSERT_EQ(patches.size(), 12);
    EXPECT_EQ(std::make_tuple(patches[0].r, patches[0].g, patches[0].b), std::make_tuple(0.25, 0.0, 0.0));
    EXPECT_EQ(std::make_tuple(patches[7].r, patches[7].g, patches[7].b), std::make_tuple(0.0, 1.0, 0.0));
    EXPECT_EQ(std::make_tuple(patches[9].r, patches[9].g, patches[9].b), std::make_tuple(0.0, 0.0, 0.5));
}

TEST(CharacterisePatchSets, ExplicitRgbListCombinesWithOtherSetsInOrder) {
    const QVector<Patch> patches = parse("rgb:0.1,0.2,0.3;1,0.5,0,grey:2,rgb:0,0,1");
    ASSERT_EQ(patches.size(), 5);
    EXPECT_EQ(std::make_tuple(patches[0].r, patches[0].g, patches[0].b), std::make_tuple(0.1, 0.2, 0.3));
    EXPECT_EQ(std::make_tuple(patches[1].r, patches[1].g, patches[1].b), std::make_tuple(1.0, 0.5, 0.0));
    EXPECT_EQ(patches[2].set, "grey");
    EXPECT_EQ(patches[3].set, "grey");
    EXPECT_EQ(patches[4].set, "rgb");
    EXPECT_DOUBLE_EQ(patches[4].b, 1.0);
    EXPECT_EQ(patches[4].id, 5);
}

TEST(CharacterisePatchSets, MistakesAreMessagesNamingWhatIsWrong) {
    EXPECT_TRUE(parseError("greys:5").contains("greys:5"));
    EXPECT_TRUE(parseError("grey:1").contains("grey:1"));
    EXPECT_TRUE(parseError("grey:x").contains("grey:x"));
    EXPECT_TRUE(parseError("rgb:0.1,0.2").contains("0.1,0.2"));
    EXPECT_TRUE(parseError("rgb:0.1,0.2,1.5").contains("1.5"));
    EXPECT_FALSE(parseError("").isEmpty());
    EXPECT_TRUE(parseError("primaries,file:/no/such/file.ti1").contains("/no/such/file.ti1"));
}

TEST(CharacterisePatchSets, ColorCheckerInSrgbHas24SanePatchesWithANearlyNeutralWhite) {
    const QVector<Patch> patches = parse("colorchecker", srgbTarget());
    ASSERT_EQ(patches.size(), 24);
    for (const Patch& p : patches) {
        EXPECT_EQ(p.set, "colorchecker");
        for (double v : {p.r, p.g, p.b}) {
            EXPECT_GE(v, 0.0) << p.name.toStdString();
            EXPECT_LE(v, 1.0) << p.name.toStdString();
        }
    }
    // The chart's white (L* 95, slightly yellow) is a light grey of about 0.95 in sRGB, a little less
    // blue; its black (L* 21) about 0.2.
    const Patch& white = patches[18];
    for (double v : {white.r, white.g, white.b})
        EXPECT_NEAR(v, 0.94, 0.025);
    EXPECT_NEAR(std::max({white.r, white.g, white.b}) - std::min({white.r, white.g, white.b}), 0.0, 0.03);
    const Patch& black = patches[23];
    EXPECT_NEAR(black.g, 0.2, 0.03);
    // The reds and blues land where their names say.
    const Patch& red = patches[14];
    EXPECT_GT(red.r, red.g + 0.3);
    const Patch& blue = patches[12];
    EXPECT_GT(blue.b, blue.r + 0.2);
}

TEST(CharacterisePatchSets, ColorCheckerDeviceValuesReproduceThePublishedLabInsideTheGamut) {
    // Back from sRGB device values to CIELAB D50 by the colour library's own arithmetic: every patch
    // that was not clipped must land on its published value.
    const QVector<Patch> patches = parse("colorchecker", srgbTarget());
    ASSERT_EQ(patches.size(), 24);
    const double published[24][3] = {
        {37.54, 14.37, 14.92},  {64.66, 19.27, 17.50},   {49.32, -3.82, -22.54}, {43.46, -12.74, 22.72},
        {54.94, 9.61, -24.79},  {70.48, -32.26, -0.37},  {62.73, 35.83, 56.50},  {39.43, 10.75, -45.17},
        {50.57, 48.64, 16.67},  {30.10, 22.54, -20.87},  {71.77, -24.13, 58.19}, {71.51, 18.24, 67.37},
        {28.37, 15.42, -49.80}, {54.38, -39.72, 32.27},  {42.43, 51.05, 28.62},  {81.80, 2.67, 80.41},
        {50.63, 51.28, -14.12}, {49.57, -29.71, -28.32}, {95.19, -1.03, 2.93},   {81.29, -0.57, 0.44},
        {66.89, -0.75, -0.06},  {50.76, -0.13, 0.14},    {35.63, -0.46, -0.48},  {20.64, 0.07, -0.46}};
    Eotf srgb;
    srgb.kind = Eotf::Kind::Srgb;
    const Matrix3 toXyz = RgbToXyzMatrix(SrgbPrimaries(), kWhiteD65);
    const Xyz d65 = XyzFromChromaticity(kWhiteD65);
    const Xyz d50 = XyzFromChromaticity(kWhiteD50);
    const Matrix3 adapt = BradfordAdaptation(d65, d50);
    int compared = 0;
    for (int i = 0; i < 24; ++i) {
        const Patch& p = patches[i];
        if (std::min({p.r, p.g, p.b}) <= 0.0 || std::max({p.r, p.g, p.b}) >= 1.0)
            continue; // clipped: outside sRGB
        const Xyz xyz =
            Apply(adapt, Apply(toXyz, srgb.Luminance(p.r), srgb.Luminance(p.g), srgb.Luminance(p.b)));
        double L, a, b;
        labOf(xyz, d50, &L, &a, &b);
        EXPECT_LT(DeltaE2000(L, a, b, published[i][0], published[i][1], published[i][2]), 0.5)
            << p.name.toStdString() << ": " << L << " " << a << " " << b;
        ++compared;
    }
    EXPECT_GE(compared, 20);
}

TEST(CharacterisePatchSets, ColorCheckerFollowsTheTargetSpace) {
    PatchSetTarget p3;
    p3.primaries = P3Primaries();
    const QVector<Patch> inSrgb = parse("colorchecker");
    const QVector<Patch> inP3 = parse("colorchecker", p3);
    ASSERT_EQ(inP3.size(), 24);
    // A wider gamut needs less drive for the same saturated red.
    EXPECT_LT(inP3[14].r, inSrgb[14].r);
    EXPECT_GT(inP3[14].g, inSrgb[14].g);
}

TEST(CharacterisePatchSets, CgatsFileGivesDeviceValuesInItsRowOrder) {
    QTemporaryDir dir;
    const QString path = dir.filePath("patches.ti1");
    writeFile(path, "CTI1\n"
                    "DESCRIPTOR \"test patches\"\n"
                    "NUMBER_OF_FIELDS 4\n"
                    "BEGIN_DATA_FORMAT\n"
                    "SAMPLE_ID RGB_R RGB_G RGB_B\n"
                    "END_DATA_FORMAT\n"
                    "NUMBER_OF_SETS 3\n"
                    "BEGIN_DATA\n"
                    "1 100 100 100\n"
                    "2 50 25 0\n"
                    "3 0 0 12.5\n"
                    "END_DATA\n");
    const QVector<Patch> patches = parse("grey:2,file:" + path);
    ASSERT_EQ(patches.size(), 5);
    EXPECT_EQ(patches[2].set, "file");
    EXPECT_EQ(patches[2].id, 3);
    EXPECT_EQ(std::make_tuple(patches[2].r, patches[2].g, patches[2].b), std::make_tuple(1.0, 1.0, 1.0));
    EXPECT_EQ(std::make_tuple(patches[3].r, patches[3].g, patches[3].b), std::make_tuple(0.5, 0.25, 0.0));
    EXPECT_DOUBLE_EQ(patches[4].b, 0.125);
    EXPECT_EQ(patches[3].name, "sample 2");
}

TEST(CharacterisePatchSets, CgatsFileWithoutAnRgbFieldIsRefusedNamingFileAndField) {
    QTemporaryDir dir;
    const QString path = dir.filePath("xyz-only.ti3");
    writeFile(path, "CTI3\n"
                    "NUMBER_OF_FIELDS 3\n"
                    "BEGIN_DATA_FORMAT\n"
                    "RGB_R RGB_G XYZ_Y\n"
                    "END_DATA_FORMAT\n"
                    "NUMBER_OF_SETS 1\n"
                    "BEGIN_DATA\n"
                    "10 20 30\n"
                    "END_DATA\n");
    QVector<Patch> patches;
    QString error;
    EXPECT_FALSE(AddCgatsFilePatches(path, &patches, &error));
    EXPECT_TRUE(patches.isEmpty());
    EXPECT_TRUE(error.contains(path)) << error.toStdString();
    EXPECT_TRUE(error.contains("RGB_B")) << error.toStdString();
}

TEST(CharacterisePatchSets, CgatsValueOutsideZeroToHundredIsRefusedNamingTheRow) {
    QTemporaryDir dir;
    const QString path = dir.filePath("bad.ti1");
    writeFile(path, "CTI1\nNUMBER_OF_FIELDS 3\nBEGIN_DATA_FORMAT\nRGB_R RGB_G RGB_B\nEND_DATA_FORMAT\n"
                    "NUMBER_OF_SETS 2\nBEGIN_DATA\n0 0 0\n120 0 0\nEND_DATA\n");
    QVector<Patch> patches;
    QString error;
    EXPECT_FALSE(AddCgatsFilePatches(path, &patches, &error));
    EXPECT_TRUE(error.contains("row 2")) << error.toStdString();
    EXPECT_TRUE(error.contains("RGB_R")) << error.toStdString();
}

TEST(CharacterisePatchSets, GarbageFileIsRefusedWithoutACrash) {
    QTemporaryDir dir;
    const QString path = dir.filePath("garbage.ti1");
    writeFile(path, QByteArray("\x01\x02 not a cgats file at all\n\n BEGIN_DATA 5 5", 36));
    QVector<Patch> patches;
    QString error;
    EXPECT_FALSE(AddCgatsFilePatches(path, &patches, &error));
    EXPECT_TRUE(error.contains(path));
}

TEST(CharacteriseMeasureOrder, ShuffleIsAPermutationFixedByItsSeed) {
    const QVector<Patch> patches = parse("grey:11,primaries");
    MeasureOrder order;
    ASSERT_TRUE(MeasureOrder::Parse("shuffle:42", &order));
    const QVector<int> first = MeasuringSequence(patches, order);
    EXPECT_EQ(first, MeasuringSequence(patches, order));
    QVector<int> sorted = first;
    std::sort(sorted.begin(), sorted.end());
    QVector<int> ids;
    for (const Patch& p : patches)
        ids.append(p.id);
    EXPECT_EQ(sorted, ids);
    EXPECT_NE(first, ids);
    MeasureOrder other;
    ASSERT_TRUE(MeasureOrder::Parse("shuffle:43", &other));
    EXPECT_NE(MeasuringSequence(patches, other), first);
}

TEST(CharacteriseMeasureOrder, SetOrderKeepsIdsAndAShuffleWithoutSeedRecordsTheOneItPicked) {
    const QVector<Patch> patches = parse("grey:5");
    MeasureOrder order;
    ASSERT_TRUE(MeasureOrder::Parse("set", &order));
    EXPECT_EQ(MeasuringSequence(patches, order), (QVector<int>{1, 2, 3, 4, 5}));
    ASSERT_TRUE(MeasureOrder::Parse("shuffle", &order));
    MeasureOrder again;
    ASSERT_TRUE(MeasureOrder::Parse(order.Text(), &again));
    EXPECT_EQ(again.seed, order.seed);
    EXPECT_EQ(MeasuringSequence(parse("grey:20"), again), MeasuringSequence(parse("grey:20"), order));
    QString error;
    EXPECT_FALSE(MeasureOrder::Parse("random", &order, &error));
    EXPECT_TRUE(error.contains("random"));
    EXPECT_FALSE(MeasureOrder::Parse("shuffle:-3", &order, &error));
}

TEST(CharacteriseShowMethod, ParsesEachWayOfShowingAndKeepsTheCommandText) {
    ShowMethod method;
    ASSERT_TRUE(ShowMethod::Parse("manual", &method));
    EXPECT_EQ(method.kind, ShowMethod::Kind::Manual);
    ASSERT_TRUE(ShowMethod::Parse("simulator", &method));
    EXPECT_EQ(method.kind, ShowMethod::Kind::Simulator);
    ASSERT_TRUE(ShowMethod::Parse("command:pgen --rgb {R8},{G8},{B8}", &method));
    EXPECT_EQ(method.kind, ShowMethod::Kind::Command);
    EXPECT_EQ(method.command, "pgen --rgb {R8},{G8},{B8}");
    QString error;
    EXPECT_FALSE(ShowMethod::Parse("command:", &method, &error));
    ASSERT_TRUE(ShowMethod::Parse("Window", &method));
    EXPECT_EQ(method.kind, ShowMethod::Kind::Window);
    EXPECT_TRUE(method.command.isEmpty());
    EXPECT_FALSE(ShowMethod::Parse("projector", &method, &error));
    EXPECT_TRUE(error.contains("projector"));
    EXPECT_EQ(method.kind, ShowMethod::Kind::Window); // a failed parse changes nothing
}

TEST(CharacteriseShowMethod, PatchSizeIsAPercentageOfTheScreenOrFull) {
    double percent = 0.0;
    ASSERT_TRUE(ShowMethod::ParsePatchSize("25", &percent));
    EXPECT_DOUBLE_EQ(percent, 25.0);
    ASSERT_TRUE(ShowMethod::ParsePatchSize("2.5%", &percent));
    EXPECT_DOUBLE_EQ(percent, 2.5);
    ASSERT_TRUE(ShowMethod::ParsePatchSize("full", &percent));
    EXPECT_DOUBLE_EQ(percent, 100.0);
    QString error;
    for (const char* bad : {"0", "-5", "101", "half", ""}) {
        percent = 7.0;
        EXPECT_FALSE(ShowMethod::ParsePatchSize(bad, &percent, &error)) << bad;
        EXPECT_TRUE(error.contains("--patch-size")) << bad;
        EXPECT_DOUBLE_EQ(percent, 7.0) << bad;
    }
}

TEST(CharacteriseShowMethod, BackgroundIsAGreyLevelFromZeroToOne) {
    double level = -1.0;
    ASSERT_TRUE(ShowMethod::ParseBackground("0.18", &level));
    EXPECT_DOUBLE_EQ(level, 0.18);
    ASSERT_TRUE(ShowMethod::ParseBackground("1", &level));
    EXPECT_DOUBLE_EQ(level, 1.0);
    QString error;
    for (const char* bad : {"-0.1", "1.5", "grey", "nan"}) {
        EXPECT_FALSE(ShowMethod::ParseBackground(bad, &level, &error)) << bad;
        EXPECT_TRUE(error.contains("--background")) << bad;
    }
}
