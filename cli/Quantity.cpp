#include "Quantity.h"

#include "NumberText.h"
#include "Reading.h"

#include <cmath>

namespace {
struct QuantityRule {
    Quantity quantity;
    const char* key;
    const char* title;
    // Fixed decimals for the table and CSV, or -1: the instrument's own digits (Lv), or -2: four
    // significant digits (tristimulus values, which span the luminance range).
    int decimals;
};

const QuantityRule kRules[] = {
    {Quantity::Lv, "Lv", "Lv (cd/m²)", -1},
    {Quantity::x, "x", "x", 4},
    {Quantity::y, "y", "y", 4},
    {Quantity::X, "X", "X", -2},
    {Quantity::Y, "Y", "Y", -2},
    {Quantity::Z, "Z", "Z", -2},
    {Quantity::UPrime, "u_prime", "u′", 4},
    {Quantity::VPrime, "v_prime", "v′", 4},
    {Quantity::CCT, "CCT", "CCT (K)", 0},
    {Quantity::Duv, "Duv", "Duv", 4},
    {Quantity::DeltaUv, "delta_uv", "Δu′v′", 4},
    {Quantity::DeltaE2000, "delta_E2000", "ΔE2000", 2},
};

const QuantityRule& rule(Quantity quantity) {
    for (const QuantityRule& r : kRules) {
        if (r.quantity == quantity)
            return r;
    }
    return kRules[0];
}

int significantDecimals(double value, int digits) {
    if (value == 0 || !std::isfinite(value))
        return digits - 1;
    const int magnitude = int(std::floor(std::log10(std::fabs(value))));
    return qBound(0, digits - 1 - magnitude, 6);
}

QuantityValue number(double value) {
    QuantityValue v;
    v.state = std::isfinite(value) ? QuantityValue::Number : QuantityValue::Absent;
    v.value = value;
    return v;
}
} // namespace

QString QuantityKey(Quantity quantity) {
    return QLatin1String(rule(quantity).key);
}

QString QuantityTitle(Quantity quantity) {
    return QString::fromUtf8(rule(quantity).title);
}

bool IsDifference(Quantity quantity) {
    return quantity == Quantity::DeltaUv || quantity == Quantity::DeltaE2000;
}

const QVector<Quantity>& AllQuantities() {
    static const QVector<Quantity> all = [] {
        QVector<Quantity> list;
        for (const QuantityRule& r : kRules)
            list.append(r.quantity);
        return list;
    }();
    return all;
}

bool ParseQuantityList(const QString& text, QVector<Quantity>* out, QString* error) {
    QVector<Quantity> list;
    for (const QString& part : text.split(QLatin1Char(','))) {
        const QString name = part.trimmed();
        if (name == QLatin1String("all")) {
            for (Quantity q : AllQuantities()) {
                if (!list.contains(q))
                    list.append(q);
            }
            continue;
        }
        bool known = false;
        for (const QuantityRule& r : kRules) {
            if (name == QLatin1String(r.key)) {
                known = true;
                if (!list.contains(r.quantity))
                    list.append(r.quantity);
            }
        }
        if (!known) {
            QStringList keys;
            for (const QuantityRule& r : kRules)
                keys << QLatin1String(r.key);
            *error = QStringLiteral("\"%1\" is not a quantity (%2, or all)")
                         .arg(name, keys.join(QStringLiteral(", ")));
            return false;
        }
    }
    *out = list;
    return true;
}

QuantityValue ValueOf(const Reading& reading, Quantity quantity) {
    if (!reading.ok())
        return QuantityValue();
    if (quantity == Quantity::Lv)
        return number(reading.Lv);
    if (!reading.hasColour)
        return QuantityValue();
    const ColourQuantities& c = reading.colour;
    switch (quantity) {
    case Quantity::x:
        return number(reading.x);
    case Quantity::y:
        return number(reading.y);
    case Quantity::X:
        return number(c.X);
    case Quantity::Y:
        return number(c.Y);
    case Quantity::Z:
        return number(c.Z);
    case Quantity::UPrime:
        return number(c.uPrime);
    case Quantity::VPrime:
        return number(c.vPrime);
    case Quantity::CCT:
    case Quantity::Duv: {
        if (!c.cct.ok()) {
            QuantityValue v;
            v.state = QuantityValue::OutOfRange;
            return v;
        }
        return number(quantity == Quantity::CCT ? c.cct.cct : c.cct.duv);
    }
    case Quantity::DeltaUv:
        return c.hasReference ? number(c.deltaUv) : QuantityValue();
    case Quantity::DeltaE2000:
        return c.hasReference ? number(c.deltaE2000) : QuantityValue();
    case Quantity::Lv:
        break;
    }
    return QuantityValue();
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
