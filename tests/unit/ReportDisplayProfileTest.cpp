#include "Cielab.h"
#include "DisplayProfile.h"
#include "Figures.h"
#include "SyntheticDisplay.h"
#include "ToneCurve.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace {
struct ProfileClose {
    void operator()(void* p) const { cmsCloseProfile(p); }
};
using Profile = std::unique_ptr<void, ProfileClose>;

SyntheticDisplay p3Gamma22(double black = 0.0) {
    SyntheticDisplay d;
    d.primaries = P3Primaries();
    d.eotf = SyntheticDisplay::gammaEotf(2.2);
    d.peak = 120.0;
    d.black = black;
    return d;
}

// Greys and primaries, then colours all over the cube (fixed seed), so the profile is tested away from
// the steps it was built from too.
QVector<Patch> richPatches() {
    QVector<Patch> patches = GreysAndPrimaries(11);
    std::mt19937 random(2026);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 40; ++i) {
        const int id = patches.size() + 1;
        patches.append({id, "rgb", QString("colour %1").arg(i), unit(random), unit(random), unit(random)});
    }
    return patches;
}

Profile openProfile(const DisplayProfile& profile) {
    const QByteArray data = profile.iccData();
    EXPECT_FALSE(data.isEmpty()) << profile.error().toStdString();
    return Profile(cmsOpenProfileFromMem(data.constData(), cmsUInt32Number(data.size())));
}

DisplayProfileSettings settings(int version = 2) {
    DisplayProfileSettings s;
    s.version = version;
    s.displayName = QStringLiteral("Studio monitor");
    s.date = QDateTime(QDate(2026, 11, 25), QTime(14, 0), Qt::UTC);
    return s;
}

QString infoText(cmsHPROFILE h, cmsInfoType info) {
    wchar_t buffer[256] = {};
    cmsGetProfileInfo(h, info, "en", "US", buffer, 256);
    return QString::fromWCharArray(buffer);
}

struct ErrorStats {
    double mean = 0.0;
    double max = 0.0;
};

// ΔE2000 between what the profile predicts for every patch (device RGB to PCS XYZ, relative
// colorimetric, taken back from D50 to the display's white) and what was measured, both relative to
// the measured white.
ErrorStats predictionError(const QVector<Patch>& patches, const SyntheticDisplay& display,
                           const Profile& profile) {
    cmsHPROFILE xyz = cmsCreateXYZProfile();
    cmsHTRANSFORM t =
        cmsCreateTransform(profile.get(), TYPE_RGB_DBL, xyz, TYPE_XYZ_DBL, INTENT_RELATIVE_COLORIMETRIC, 0);
    EXPECT_NE(t, nullptr);
    const Xyz white = display.Light(1, 1, 1);
    const Xyz whiteRelative{white.X / white.Y, 1.0, white.Z / white.Y};
    const Matrix3 back = BradfordAdaptation(Xyz{0.9642, 1.0, 0.8249}, whiteRelative);
    ErrorStats stats;
    for (const Patch& p : patches) {
        const double rgb[3] = {p.r, p.g, p.b};
        cmsCIEXYZ pcs;
        cmsDoTransform(t, rgb, &pcs, 1);
        const Xyz predicted = Apply(back, Xyz{pcs.X, pcs.Y, pcs.Z});
        const Xyz m = display.Light(p.r, p.g, p.b);
        const Xyz measured{m.X / white.Y, m.Y / white.Y, m.Z / white.Y};
        const double de = DeltaE2000Between(predicted, measured, whiteRelative);
        stats.mean += de / patches.size();
        stats.max = std::max(stats.max, de);
    }
    cmsDeleteTransform(t);
    cmsCloseProfile(xyz);
    return stats;
}

double curveAt(cmsHPROFILE h, cmsTagSignature tag, float v) {
    const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(h, tag));
    EXPECT_NE(curve, nullptr);
    return curve ? cmsEvalToneCurveFloat(curve, v) : -1.0;
}

// A display whose three channels follow different gammas, measured as per-channel ramps.
CharacterisationFigures rampsRun(const double gammas[3]) {
    SyntheticDisplay base = p3Gamma22();
    const Matrix3 m = RgbToXyzMatrix(base.primaries, base.white);
    QVector<Patch> patches = GreysAndPrimaries(5);
    const double levels[] = {0.125, 0.25, 0.375, 0.5, 0.625, 0.75, 0.875, 1.0};
    for (int c = 0; c < 3; ++c)
        for (double v : levels) {
            Patch p{patches.size() + 1, "ramps", QString("ramp %1 %2").arg(c).arg(v), 0, 0, 0};
            (c == 0 ? p.r : c == 1 ? p.g : p.b) = v;
            patches.append(p);
        }
    QVector<PatchReading> readings;
    for (const Patch& p : patches) {
        const Xyz xyz =
            Apply(m, std::pow(p.r, gammas[0]), std::pow(p.g, gammas[1]), std::pow(p.b, gammas[2]));
        PatchReading r;
        r.patchId = p.id;
        r.Lv = r.Y = 100.0 * xyz.Y;
        r.X = 100.0 * xyz.X;
        r.Z = 100.0 * xyz.Z;
        const Chromaticity c = ChromaticityOf(xyz);
        r.x = c.x;
        r.y = c.y;
        readings.append(r);
    }
    return ComputeFigures(patches, readings, Target());
}
} // namespace

TEST(ReportDisplayProfile, LittleCmsReadsVersion24ByDefaultWithEveryTag) {
    const SyntheticDisplay display = p3Gamma22(0.1);
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const DisplayProfile profile(ComputeFigures(patches, display.Run(patches), Target()), settings());
    ASSERT_TRUE(profile.isValid()) << profile.error().toStdString();
    const Profile h = openProfile(profile);
    ASSERT_TRUE(h);
    EXPECT_NEAR(cmsGetProfileVersion(h.get()), 2.4, 1e-9);
    EXPECT_EQ(cmsGetDeviceClass(h.get()), cmsSigDisplayClass);
    EXPECT_EQ(cmsGetColorSpace(h.get()), cmsSigRgbData);
    EXPECT_EQ(cmsGetPCS(h.get()), cmsSigXYZData);
    EXPECT_TRUE(cmsIsMatrixShaper(h.get()));
    for (cmsTagSignature tag :
         {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag, cmsSigRedTRCTag,
          cmsSigGreenTRCTag, cmsSigBlueTRCTag, cmsSigMediaWhitePointTag, cmsSigChromaticAdaptationTag,
          cmsSigLuminanceTag, cmsSigProfileDescriptionTag, cmsSigCopyrightTag})
        EXPECT_TRUE(cmsIsTag(h.get(), tag)) << std::hex << tag;
    EXPECT_EQ(infoText(h.get(), cmsInfoDescription), "Studio monitor, measured 2026-11-25");
    EXPECT_FALSE(infoText(h.get(), cmsInfoCopyright).isEmpty());
    const auto* lumi = static_cast<const cmsCIEXYZ*>(cmsReadTag(h.get(), cmsSigLuminanceTag));
    ASSERT_NE(lumi, nullptr);
    EXPECT_NEAR(lumi->Y, 120.0, 0.01); // the white's absolute Y, black included
    const auto* wtpt = static_cast<const cmsCIEXYZ*>(cmsReadTag(h.get(), cmsSigMediaWhitePointTag));
    ASSERT_NE(wtpt, nullptr);
    EXPECT_NEAR(wtpt->X, 0.9642, 1e-4);
    EXPECT_NEAR(wtpt->Y, 1.0, 1e-4);
    EXPECT_NEAR(wtpt->Z, 0.8249, 1e-4);
}

TEST(ReportDisplayProfile, Version4IsWrittenWhenAskedFor) {
    const SyntheticDisplay display = p3Gamma22();
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const DisplayProfile profile(ComputeFigures(patches, display.Run(patches), Target()), settings(4));
    const Profile h = openProfile(profile);
    ASSERT_TRUE(h);
    EXPECT_GE(cmsGetProfileVersion(h.get()), 4.0);
    EXPECT_LT(cmsGetProfileVersion(h.get()), 5.0);
    EXPECT_TRUE(cmsIsTag(h.get(), cmsSigChromaticAdaptationTag));
    EXPECT_EQ(infoText(h.get(), cmsInfoDescription), "Studio monitor, measured 2026-11-25");
}

TEST(ReportDisplayProfile, PredictsEveryPatchOfAGamma22P3Display) {
    for (int version : {2, 4}) {
        const SyntheticDisplay display = p3Gamma22();
        const QVector<Patch> patches = richPatches();
        const DisplayProfile profile(ComputeFigures(patches, display.Run(patches), Target()),
                                     settings(version));
        const ErrorStats e = predictionError(patches, display, openProfile(profile));
        EXPECT_LE(e.mean, 0.5) << "version " << version;
        EXPECT_LE(e.max, 1.5) << "version " << version;
        std::cout << "version " << version << ": mean ΔE2000 " << e.mean << ", max " << e.max << "\n";
    }
}

TEST(ReportDisplayProfile, PredictsADisplayWithARaisedBlackWithinThePassMarks) {
    const SyntheticDisplay display = p3Gamma22(0.12);
    const QVector<Patch> patches = richPatches();
    const DisplayProfile profile(ComputeFigures(patches, display.Run(patches), Target()), settings());
    const ErrorStats e = predictionError(patches, display, openProfile(profile));
    EXPECT_LE(e.mean, 0.5);
    EXPECT_LE(e.max, 1.5);
    std::cout << "black 0.12 cd/m²: mean ΔE2000 " << e.mean << ", max " << e.max << "\n";
}

TEST(ReportDisplayProfile, ColorantsAddUpToTheD50White) {
    SyntheticDisplay display = p3Gamma22(0.2);
    display.white = {0.3000, 0.3150}; // a bluish white, so the adaptation has work to do
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const Profile h =
        openProfile(DisplayProfile(ComputeFigures(patches, display.Run(patches), Target()), settings()));
    ASSERT_TRUE(h);
    cmsCIEXYZ sum{0, 0, 0};
    for (cmsTagSignature tag : {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag}) {
        const auto* c = static_cast<const cmsCIEXYZ*>(cmsReadTag(h.get(), tag));
        ASSERT_NE(c, nullptr);
        sum.X += c->X;
        sum.Y += c->Y;
        sum.Z += c->Z;
    }
    EXPECT_NEAR(sum.X, 0.9642, 0.002);
    EXPECT_NEAR(sum.Y, 1.0, 0.002);
    EXPECT_NEAR(sum.Z, 0.8249, 0.002);
    // 'chad' takes the display's white to D50.
    const auto* chad = static_cast<const double*>(cmsReadTag(h.get(), cmsSigChromaticAdaptationTag));
    ASSERT_NE(chad, nullptr);
    const Xyz w = XyzFromChromaticity(display.white, 1.0);
    EXPECT_NEAR(chad[0] * w.X + chad[1] * w.Y + chad[2] * w.Z, 0.9642, 0.001);
    EXPECT_NEAR(chad[6] * w.X + chad[7] * w.Y + chad[8] * w.Z, 0.8249, 0.001);
}

TEST(ReportDisplayProfile, GreysGiveOneSharedCurveFollowingTheDisplay) {
    SyntheticDisplay display = p3Gamma22(0.3);
    display.eotf = SyntheticDisplay::gammaEotf(2.4);
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const Profile h =
        openProfile(DisplayProfile(ComputeFigures(patches, display.Run(patches), Target()), settings()));
    ASSERT_TRUE(h);
    for (float v : {0.05f, 0.25f, 0.5f, 0.8f}) {
        const double red = curveAt(h.get(), cmsSigRedTRCTag, v);
        EXPECT_NEAR(red, std::pow(v, 2.4), 2e-4) << v; // black subtracted: the pure power law remains
        EXPECT_EQ(red, curveAt(h.get(), cmsSigGreenTRCTag, v));
        EXPECT_EQ(red, curveAt(h.get(), cmsSigBlueTRCTag, v));
    }
    EXPECT_EQ(curveAt(h.get(), cmsSigRedTRCTag, 0.0f), 0.0);
    EXPECT_NEAR(curveAt(h.get(), cmsSigRedTRCTag, 1.0f), 1.0, 1e-6);
}

TEST(ReportDisplayProfile, RampsRunGivesThreeDistinctCurves) {
    const double gammas[3] = {2.0, 2.2, 2.5};
    const DisplayProfile profile(rampsRun(gammas), settings());
    ASSERT_TRUE(profile.isValid()) << profile.error().toStdString();
    EXPECT_EQ(profile.curves().size(), 3);
    const Profile h = openProfile(profile);
    ASSERT_TRUE(h);
    const cmsTagSignature tags[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(curveAt(h.get(), tags[c], 0.4f), std::pow(0.4, gammas[c]), 2e-4) << c;
    EXPECT_GT(curveAt(h.get(), tags[0], 0.4f) - curveAt(h.get(), tags[1], 0.4f), 0.01);
    EXPECT_GT(curveAt(h.get(), tags[1], 0.4f) - curveAt(h.get(), tags[2], 0.4f), 0.01);
}

TEST(ReportDisplayProfile, NoProfileWithoutColourOrPrimaries) {
    SyntheticDisplay display = p3Gamma22();
    display.colour = false;
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const DisplayProfile luminanceOnly(ComputeFigures(patches, display.Run(patches), Target()), settings());
    EXPECT_FALSE(luminanceOnly.isValid());
    EXPECT_TRUE(luminanceOnly.error().contains("luminance only"));
    EXPECT_TRUE(luminanceOnly.iccData().isEmpty());

    display.colour = true;
    const QVector<Patch> greysOnly = GreysAndPrimaries(11).mid(0, 11);
    const DisplayProfile noPrimaries(ComputeFigures(greysOnly, display.Run(greysOnly), Target()), settings());
    EXPECT_FALSE(noPrimaries.isValid());
    QTemporaryDir dir;
    QString error;
    EXPECT_FALSE(noPrimaries.write(dir.filePath("display.icc"), &error));
    EXPECT_TRUE(error.contains("red, green and blue"));
    EXPECT_FALSE(QFile::exists(dir.filePath("display.icc")));
}

TEST(ReportDisplayProfile, WritesAFileLittleCmsOpens) {
    const SyntheticDisplay display = p3Gamma22();
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const DisplayProfile profile(ComputeFigures(patches, display.Run(patches), Target()), settings());
    QTemporaryDir dir;
    const QString path = dir.filePath("display.icc");
    QString error;
    ASSERT_TRUE(profile.write(path, &error)) << error.toStdString();
    Profile h(cmsOpenProfileFromFile(QFile::encodeName(path).constData(), "r"));
    ASSERT_TRUE(h);
    EXPECT_EQ(cmsGetDeviceClass(h.get()), cmsSigDisplayClass);
}

TEST(ReportToneCurve, FollowsAPowerLawBetweenAndBelowTheSteps) {
    QVector<ToneStep> steps;
    for (int i = 1; i < 10; ++i)
        steps.append({i / 10.0, std::pow(i / 10.0, 2.4)});
    const QVector<double> curve = SampleToneCurve(steps, 1001);
    ASSERT_EQ(curve.size(), 1001);
    EXPECT_EQ(curve.first(), 0.0);
    EXPECT_EQ(curve.last(), 1.0);
    for (int k : {20, 50, 150, 333, 950})
        EXPECT_NEAR(curve[k], std::pow(k / 1000.0, 2.4), 1e-9) << k;
}

TEST(ReportToneCurve, NoisyDarkStepsNeverMakeTheCurveFall) {
    const QVector<ToneStep> steps{{0.1, 0.004}, {0.2, 0.002}, {0.3, 0.07},
                                  {0.5, 0.2},   {0.7, 1.3},   {0.9, 0.8}};
    const QVector<double> curve = SampleToneCurve(steps, 256);
    for (int k = 1; k < curve.size(); ++k) {
        EXPECT_GE(curve[k], curve[k - 1]) << k;
        EXPECT_LE(curve[k], 1.0);
    }
}
