#include "Quantity.h"

#include "Reading.h"

#include <cmath>

namespace {
struct QuantityRule {
    Quantity quantity;
    const char* key;
};

const QuantityRule kRules[] = {
    {Quantity::Lv, "Lv"},
    {Quantity::x, "x"},
    {Quantity::y, "y"},
    {Quantity::X, "X"},
    {Quantity::Y, "Y"},
    {Quantity::Z, "Z"},
    {Quantity::UPrime, "u_prime"},
    {Quantity::VPrime, "v_prime"},
    {Quantity::CCT, "CCT"},
    {Quantity::Duv, "Duv"},
    {Quantity::DeltaUv, "delta_uv"},
    {Quantity::DeltaE2000, "delta_E2000"},
};

const QuantityRule& rule(Quantity quantity) {
    for (const QuantityRule& r : kRules) {
        if (r.quantity == quantity)
            return r;
    }
    return kRules[0];
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
