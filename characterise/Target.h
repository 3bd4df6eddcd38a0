#pragma once

#include "Eotf.h"
#include "RgbSpace.h"

#include <QString>

// What a display is measured against: a standard's primaries, a white and an EOTF. A patch's target is
// the light an ideal display of that kind, as bright as the measured one, would give.
class Target {
public:
    // sRGB primaries, D65, gamma 2.2.
    Target();

    // `space` srgb|p3|bt2020, `white` D65|D50|x,y, `eotf` gamma:G|srgb|bt1886. False (with a reason)
    // when one of them does not parse; `target` is then left as it was.
    static bool Parse(const QString& space, const QString& white, const QString& eotf, Target* target,
                      QString* error = nullptr);

    const QString& spaceName() const { return m_spaceName; }
    const RgbPrimaries& primaries() const { return m_primaries; }
    const QString& whiteName() const { return m_whiteName; }
    const Chromaticity& white() const { return m_white; }
    const Eotf& eotf() const { return m_eotf; }
    // Linear RGB to XYZ for the target's primaries and white, white's Y = 1.
    const Matrix3& matrix() const { return m_matrix; }

    // The target XYZ of device values r, g, b (0..1) on a display whose white measured `whiteY` and
    // black `blackY` (cd/m²). Only BT.1886 builds on the black; gamma and sRGB targets are black at 0.
    Xyz TargetXyz(double r, double g, double b, double whiteY, double blackY) const;
    // The target white at luminance `whiteY`: the reference white of the CIELAB ΔE2000 is taken in.
    Xyz WhiteXyz(double whiteY) const;
    // CIEDE2000 between a measured and a target XYZ, in the CIELAB of the target white at `whiteY`.
    double DeltaE2000(const Xyz& measured, const Xyz& target, double whiteY) const;

private:
    QString m_spaceName;
    RgbPrimaries m_primaries;
    QString m_whiteName;
    Chromaticity m_white;
    Eotf m_eotf;
    Matrix3 m_matrix;
};
