#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct Reading;

// The quantities a reading can carry, by the names the output uses for them (JSON keys, CSV column
// names, --quantities). All but Lv come from the chromaticity, which the luminance meter does not give.
enum class Quantity { Lv, x, y, X, Y, Z, UPrime, VPrime, CCT, Duv, DeltaUv, DeltaE2000 };

struct QuantityValue {
    enum State { Absent, Number, OutOfRange };
    State state = Absent;
    double value = 0.0;
};

// "u_prime", "delta_E2000", ...
QString QuantityKey(Quantity quantity);
// Whether the quantity compares with a reference (Δu′v′, ΔE2000).
bool IsDifference(Quantity quantity);
// Every quantity, in the order the output lists them.
const QVector<Quantity>& AllQuantities();
// A comma-separated list of keys ("Lv,x,y,CCT"); "all" stands for every quantity. False with a reason
// for a name that is not a quantity.
bool ParseQuantityList(const QString& text, QVector<Quantity>* out, QString* error);

// What `reading` holds of `quantity`: nothing (a failed reading, a quantity its instrument does not
// give, a difference without a reference), a number, or a CCT or Duv out of range.
QuantityValue ValueOf(const Reading& reading, Quantity quantity);
