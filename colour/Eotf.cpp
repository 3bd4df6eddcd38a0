#include "Eotf.h"

#include <algorithm>
#include <cmath>

namespace {
const double kBt1886Gamma = 2.4;

double srgbDecode(double v) {
    // IEC 61966-2-1: a linear toe below 0.04045, a 2.4 power above.
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}
} // namespace

double Eotf::Luminance(double v, double blackRatio) const {
    v = std::clamp(v, 0.0, 1.0);
    switch (kind) {
    case Kind::Gamma:
        return std::pow(v, gamma);
    case Kind::Srgb:
        return srgbDecode(v);
    case Kind::Bt1886: {
        // L = a · max(V + b, 0)^2.4 with a and b chosen so that L(0) = Lb and L(1) = Lw = 1.
        const double lb = std::max(blackRatio, 0.0);
        const double root = 1.0 - std::pow(lb, 1.0 / kBt1886Gamma);
        if (!(root > 0.0))
            return 1.0;
        const double a = std::pow(root, kBt1886Gamma);
        const double b = std::pow(lb, 1.0 / kBt1886Gamma) / root;
        return a * std::pow(std::max(v + b, 0.0), kBt1886Gamma);
    }
    }
    return 0.0;
}

double Eotf::Normalised(double v, double blackRatio) const {
    const double black = Luminance(0.0, blackRatio);
    const double span = Luminance(1.0, blackRatio) - black;
    return span > 0.0 ? (Luminance(v, blackRatio) - black) / span : 0.0;
}

bool Eotf::Parse(const QString& text, Eotf* eotf, QString* error) {
    const QString name = text.trimmed().toLower();
    Eotf result;
    if (name == "srgb") {
        result.kind = Kind::Srgb;
    } else if (name == "bt1886") {
        result.kind = Kind::Bt1886;
        result.gamma = kBt1886Gamma;
    } else if (name.startsWith("gamma:")) {
        bool ok = false;
        result.kind = Kind::Gamma;
        result.gamma = name.mid(6).toDouble(&ok);
        if (!ok || !(result.gamma >= 0.1 && result.gamma <= 10.0)) {
            if (error)
                *error = QString("EOTF \"%1\": the gamma must be a number from 0.1 to 10").arg(text);
            return false;
        }
    } else {
        if (error)
            *error = QString("EOTF \"%1\": expected gamma:G, srgb or bt1886").arg(text);
        return false;
    }
    *eotf = result;
    return true;
}

QString Eotf::Name() const {
    switch (kind) {
    case Kind::Gamma:
        return QString("gamma:%1").arg(gamma);
    case Kind::Srgb:
        return "srgb";
    case Kind::Bt1886:
        return "bt1886";
    }
    return QString();
}
