#include "QuantityText.h"

#include "NumberText.h"
#include "Reading.h"

#include <cmath>

namespace {
struct QuantityLook {
    Quantity quantity;
    const char* title;
    // Fixed decimals for the table and CSV, or -1: the instrument's own digits (Lv), or -2: four
    // significant digits (tristimulus values, which span the luminance range).
    int decimals;
};

const QuantityLook kLooks[] = {
    {Quantity::Lv, "Lv (cd/m²)", -1}, {Quantity::x, "x", 4},           {Quantity::y, "y", 4},
    {Quantity::X, "X", -2},           {Quantity::Y, "Y", -2},          {Quantity::Z, "Z", -2},
    {Quantity::UPrime, "u′", 4},      {Quantity::VPrime, "v′", 4},     {Quantity::CCT, "CCT (K)", 0},
    {Quantity::Duv, "Duv", 4},        {Quantity::DeltaUv, "Δu′v′", 4}, {Quantity::DeltaE2000, "ΔE2000", 2},
};

const QuantityLook& rule(Quantity quantity) {
    for (const QuantityLook& r : kLooks) {
        if (r.quantity == quantity)
            return r;
    }
    return kLooks[0];
}

int significantDecimals(double value, int digits) {
    if (value == 0 || !std::isfinite(value))
        return digits - 1;
    const int magnitude = int(std::floor(std::log10(std::fabs(value))));
    return qBound(0, digits - 1 - magnitude, 6);
}
} // namespace

QString QuantityTitle(Quantity quantity) {
    return QString::fromUtf8(rule(quantity).title);
}

QString QuantityText(Quantity quantity, double value, bool statistic) {
    if (!std::isfinite(value))
        return QString();
    const int decimals = rule(quantity).decimals;
    if (decimals == -1 && !statistic)
        return ShortestNumberText(value);
    if (decimals == -1) {
        // A mean of the instrument's values, to five significant digits and no trailing zeros.
        const double scale = std::pow(10.0, significantDecimals(value, 5));
        return ShortestNumberText(std::round(value * scale) / scale + 0.0);
    }
    const int places = decimals == -2 ? significantDecimals(value, 4) : decimals;
    QString text = QString::number(value, 'f', places);
    // No "-0.0000" for a difference that rounds to nothing.
    if (text.startsWith(QLatin1Char('-')) && text.toDouble() == 0)
        text.remove(0, 1);
    return text;
}

QString QuantityJson(Quantity quantity, double value, bool statistic) {
    if (!std::isfinite(value))
        return QStringLiteral("null");
    const int decimals = rule(quantity).decimals;
    if (decimals == -1 && !statistic)
        return ShortestNumberText(value);
    // Two digits more than the table shows: enough to average, no digits of rounding noise.
    const int places = (decimals == -1   ? significantDecimals(value, 5)
                        : decimals == -2 ? significantDecimals(value, 4)
                                         : decimals) +
                       2;
    const double scale = std::pow(10.0, places);
    const double rounded = std::round(value * scale) / scale;
    const QString text = ShortestNumberText(rounded == 0 ? 0.0 : rounded);
    return text.isEmpty() ? QStringLiteral("null") : text;
}

QString OutOfRangeText(const Reading& reading) {
    if (!reading.hasColour)
        return QString();
    switch (reading.colour.cct.status) {
    case CctResult::OffLocus:
        return QStringLiteral("off locus");
    case CctResult::OutOfRange:
        return QStringLiteral("out of range");
    case CctResult::Ok:
        break;
    }
    return QString();
}
