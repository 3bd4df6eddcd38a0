#include "DisplayProfile.h"

#include "ToneCurve.h"

#include <QSaveFile>

#include <lcms2.h>

#include <cmath>
#include <memory>
#include <string>

namespace {
struct ProfileClose {
    void operator()(void* p) const { cmsCloseProfile(p); }
};
struct CurveFree {
    void operator()(cmsToneCurve* c) const { cmsFreeToneCurve(c); }
};
struct MluFree {
    void operator()(cmsMLU* m) const { cmsMLUfree(m); }
};

Xyz minus(const Xyz& a, const Xyz& b) {
    return {a.X - b.X, a.Y - b.Y, a.Z - b.Z};
}

// The mean light of the patches at exactly these device values, if any of them has a reading.
std::optional<Xyz> lightAt(const CharacterisationFigures& f, double r, double g, double b) {
    Xyz sum;
    int count = 0;
    for (const PatchFigures& p : f.patches) {
        if (p.failed || !p.light.xyz || p.patch.r != r || p.patch.g != g || p.patch.b != b)
            continue;
        sum.X += p.light.xyz->X;
        sum.Y += p.light.xyz->Y;
        sum.Z += p.light.xyz->Z;
        ++count;
    }
    if (count == 0)
        return std::nullopt;
    return Xyz{sum.X / count, sum.Y / count, sum.Z / count};
}

bool writeText(cmsHPROFILE h, cmsTagSignature tag, const QString& text) {
    std::unique_ptr<cmsMLU, MluFree> mlu(cmsMLUalloc(nullptr, 1));
    const std::wstring wide = text.toStdWString();
    return mlu && cmsMLUsetWide(mlu.get(), "en", "US", wide.c_str()) && cmsWriteTag(h, tag, mlu.get());
}
} // namespace

DisplayProfile::DisplayProfile(const CharacterisationFigures& figures, const DisplayProfileSettings& settings)
    : m_settings(settings) {
    build(figures);
}

bool DisplayProfile::build(const CharacterisationFigures& f) {
    if (!f.hasColour) {
        m_error =
            QStringLiteral("a display profile needs colour, and the instrument measures luminance only");
        return false;
    }
    if (!f.white || !f.white->light.xyz) {
        m_error = QStringLiteral("a display profile needs the white, which was not measured");
        return false;
    }
    const Xyz black = f.black && f.black->light.xyz ? *f.black->light.xyz : Xyz{};
    const Xyz white = minus(*f.white->light.xyz, black);
    const std::optional<Xyz> red = lightAt(f, 1, 0, 0);
    const std::optional<Xyz> green = lightAt(f, 0, 1, 0);
    const std::optional<Xyz> blue = lightAt(f, 0, 0, 1);
    if (!red || !green || !blue) {
        m_error = QStringLiteral(
            "a display profile needs red, green and blue at 100 %, which were not all measured");
        return false;
    }
    if (!(white.Y > 0)) {
        m_error = QStringLiteral("the white is no brighter than the black: no profile");
        return false;
    }
    // The primaries' chromaticities with the white fix the matrix, so the colorants add up to the white
    // exactly even where the display's channels do not quite add up.
    const RgbPrimaries primaries{ChromaticityOf(minus(*red, black)), ChromaticityOf(minus(*green, black)),
                                 ChromaticityOf(minus(*blue, black))};
    const Chromaticity whiteXy = ChromaticityOf(white);
    const Matrix3 device = RgbToXyzMatrix(primaries, whiteXy);
    for (const auto& row : device)
        for (double v : row)
            if (!std::isfinite(v)) {
                m_error = QStringLiteral("the measured primaries do not span a gamut: no profile");
                return false;
            }
    const cmsCIEXYZ* d50 = cmsD50_XYZ();
    m_adaptation = BradfordAdaptation(XyzFromChromaticity(whiteXy, 1.0), Xyz{d50->X, d50->Y, d50->Z});
    m_colorants = Multiply(m_adaptation, device);
    m_whiteLuminance = f.white->light.xyz->Y;

    // Per-channel ramps, when every channel has a step between off and full.
    const double span[3] = {red->Y - black.Y, green->Y - black.Y, blue->Y - black.Y};
    QVector<ToneStep> ramps[3];
    for (const PatchFigures& p : f.patches) {
        if (p.failed || !p.light.xyz || p.patch.set != QLatin1String("ramps"))
            continue;
        const double v[3] = {p.patch.r, p.patch.g, p.patch.b};
        const int driven = (v[0] > 0) + (v[1] > 0) + (v[2] > 0);
        for (int c = 0; c < 3; ++c)
            if (driven == 1 && v[c] > 0 && v[c] < 1 && span[c] > 0)
                ramps[c].append({v[c], (p.light.xyz->Y - black.Y) / span[c]});
    }
    m_curves.clear();
    if (!ramps[0].isEmpty() && !ramps[1].isEmpty() && !ramps[2].isEmpty()) {
        for (const QVector<ToneStep>& steps : ramps)
            m_curves.append(SampleToneCurve(steps, kCurveSamples));
    } else {
        QVector<ToneStep> greys;
        for (const GreyStep& s : f.greys)
            if (!s.failed)
                greys.append({s.level, (s.light.Lv - black.Y) / white.Y});
        m_curves.append(SampleToneCurve(greys, kCurveSamples));
    }
    return true;
}

QString DisplayProfile::description() const {
    const QString name =
        m_settings.displayName.isEmpty() ? QStringLiteral("Display") : m_settings.displayName;
    const QDateTime date = m_settings.date.isValid() ? m_settings.date : QDateTime::currentDateTime();
    return QStringLiteral("%1, measured %2").arg(name, date.toString(QStringLiteral("yyyy-MM-dd")));
}

QByteArray DisplayProfile::iccData() const {
    if (!isValid())
        return QByteArray();
    std::unique_ptr<void, ProfileClose> profile(cmsCreateProfilePlaceholder(nullptr));
    if (!profile)
        return QByteArray();
    cmsHPROFILE h = profile.get();
    // The version first: LittleCMS chooses each tag's type by it (text and curve types differ).
    cmsSetProfileVersion(h, m_settings.version == 4 ? 4.3 : 2.4);
    cmsSetDeviceClass(h, cmsSigDisplayClass);
    cmsSetColorSpace(h, cmsSigRgbData);
    cmsSetPCS(h, cmsSigXYZData);
    cmsSetHeaderRenderingIntent(h, INTENT_PERCEPTUAL);

    bool ok =
        writeText(h, cmsSigProfileDescriptionTag, description()) &&
        writeText(h, cmsSigCopyrightTag, m_settings.copyright) &&
        writeText(h, cmsSigDeviceModelDescTag,
                  m_settings.displayName.isEmpty() ? QStringLiteral("Display") : m_settings.displayName);
    ok = ok && cmsWriteTag(h, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    // 'chad' is nine numbers, row by row.
    cmsFloat64Number chad[9];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            chad[3 * r + c] = m_adaptation[r][c];
    ok = ok && cmsWriteTag(h, cmsSigChromaticAdaptationTag, chad);
    const cmsTagSignature colorantTags[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                             cmsSigBlueColorantTag};
    for (int c = 0; c < 3; ++c) {
        const cmsCIEXYZ colorant{m_colorants[0][c], m_colorants[1][c], m_colorants[2][c]};
        ok = ok && cmsWriteTag(h, colorantTags[c], &colorant);
    }
    const cmsCIEXYZ luminance{0.0, m_whiteLuminance, 0.0};
    ok = ok && cmsWriteTag(h, cmsSigLuminanceTag, &luminance);
    const cmsTagSignature curveTags[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    for (int c = 0; c < 3 && ok; ++c) {
        const QVector<double>& values = m_curves[m_curves.size() == 3 ? c : 0];
        QVector<cmsUInt16Number> table;
        for (double v : values)
            table.append(cmsUInt16Number(std::lround(qBound(0.0, v, 1.0) * 65535.0)));
        std::unique_ptr<cmsToneCurve, CurveFree> curve(
            cmsBuildTabulatedToneCurve16(nullptr, cmsUInt32Number(table.size()), table.constData()));
        ok = curve && cmsWriteTag(h, curveTags[c], curve.get());
    }
    if (ok && m_settings.version == 4)
        ok = cmsMD5computeID(h);
    cmsUInt32Number size = 0;
    if (!ok || !cmsSaveProfileToMem(h, nullptr, &size) || size == 0)
        return QByteArray();
    QByteArray data(int(size), '\0');
    if (!cmsSaveProfileToMem(h, data.data(), &size))
        return QByteArray();
    data.resize(int(size));
    return data;
}

bool DisplayProfile::write(const QString& path, QString* error) const {
    const QByteArray data = iccData();
    if (data.isEmpty()) {
        if (error)
            *error = isValid() ? QStringLiteral("LittleCMS could not build the profile") : m_error;
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
