#pragma once

#include <QString>

// An electro-optical transfer function: how a display turns a device value (0..1) into light.
// Given as a fraction of white's luminance, so it serves any peak.
struct Eotf {
    enum class Kind { Gamma, Srgb, Bt1886 };
    Kind kind = Kind::Gamma;
    double gamma = 2.2; // the exponent of Gamma; BT.1886 is 2.4 by definition

    // Luminance at device value v as a fraction of white's, for a display whose black is
    // blackRatio = Lb / Lw. Gamma and sRGB give 0 at v = 0 whatever blackRatio is; BT.1886 is the
    // only one built on the black it is given (ITU-R BT.1886, Annex 1).
    double Luminance(double v, double blackRatio = 0.0) const;
    // The same with black removed and rescaled to 0..1: (L(v) − Lb) / (Lw − Lb).
    double Normalised(double v, double blackRatio = 0.0) const;

    // "gamma:G", "srgb" or "bt1886". False (with a reason) for anything else.
    static bool Parse(const QString& text, Eotf* eotf, QString* error = nullptr);
    // The text Parse reads back.
    QString Name() const;
};
