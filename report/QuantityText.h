#pragma once

#include "Quantity.h"

#include <QString>

struct Reading;

// How the outputs show a quantity: its column title and its value rounded to what it means.

// The column title of the table, with its unit: "Lv (cd/m²)", "Δu′v′".
QString QuantityTitle(Quantity quantity);
// The value as text for the table and CSV, rounded to what it means (x, y and u′v′ to four decimals,
// CCT to the kelvin, ...), or empty for a value that is not a number.
// A statistic of the quantity (a mean, a spread) has no digits of the instrument's own: it is
// rounded like a derived value.
QString QuantityText(Quantity quantity, double value, bool statistic = false);
// The value as a JSON number, to the digits that mean something (derived values carry no noise
// digits), or "null".
QString QuantityJson(Quantity quantity, double value, bool statistic = false);
// Why a CCT or Duv is missing, in words ("off the Planckian locus", ...), as the table and CSV show it.
QString OutOfRangeText(const Reading& reading);
