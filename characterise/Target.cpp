#include "Target.h"

#include "Cielab.h"

#include <algorithm>
#include <cmath>

Target::Target()
    : m_spaceName("srgb"), m_primaries(SrgbPrimaries()), m_whiteName("D65"), m_white(kWhiteD65),
      m_matrix(RgbToXyzMatrix(SrgbPrimaries(), kWhiteD65)) {
    m_eotf.kind = Eotf::Kind::Gamma;
    m_eotf.gamma = 2.2;
}

bool Target::Parse(const QString& space, const QString& white, const QString& eotf, Target* target,
                   QString* error) {
    const QString spaceName = space.trimmed().toLower();
    // Only the standards a display is graded against; a display's own primaries are no target.
    if (spaceName != "srgb" && spaceName != "p3" && spaceName != "bt2020") {
        if (error)
            *error = QString("target space \"%1\": expected srgb, p3 or bt2020").arg(space);
        return false;
    }
    Target result;
    if (!ParsePrimaries(spaceName, &result.m_primaries, error))
        return false;
    if (!ParseWhite(white, &result.m_white, error))
        return false;
    if (!Eotf::Parse(eotf, &result.m_eotf, error))
        return false;
    result.m_spaceName = spaceName;
    const QString whiteName = white.trimmed().toUpper();
    result.m_whiteName = (whiteName == "D65" || whiteName == "D50")
                             ? whiteName
                             : QString("%1,%2").arg(result.m_white.x).arg(result.m_white.y);
    result.m_matrix = RgbToXyzMatrix(result.m_primaries, result.m_white);
    *target = result;
    return true;
}

Xyz Target::TargetXyz(double r, double g, double b, double whiteY, double blackY) const {
    const double blackRatio = whiteY > 0.0 ? std::max(blackY, 0.0) / whiteY : 0.0;
    const Xyz relative = Apply(m_matrix, m_eotf.Luminance(r, blackRatio), m_eotf.Luminance(g, blackRatio),
                               m_eotf.Luminance(b, blackRatio));
    return {relative.X * whiteY, relative.Y * whiteY, relative.Z * whiteY};
}

Xyz Target::WhiteXyz(double whiteY) const {
    return XyzFromChromaticity(m_white, whiteY);
}

double Target::DeltaE2000(const Xyz& measured, const Xyz& target, double whiteY) const {
    if (!(whiteY > 0.0))
        return std::nan("");
    return DeltaE2000Between(measured, target, WhiteXyz(whiteY));
}
