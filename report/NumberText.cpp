#include "NumberText.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
// The value with `digits` significant digits, in plain decimal notation unless it is very large or
// very small (a table column reads 100 better than 1e+02).
QString withDigits(double value, int digits) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*e", digits - 1, value);
    const char* e = std::strchr(buffer, 'e');
    const int exponent = e ? std::atoi(e + 1) : 0;
    if (exponent >= -5 && exponent < 16) {
        const int decimals = digits - 1 - exponent > 0 ? digits - 1 - exponent : 0;
        std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    } else {
        std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
    }
    return QString::fromLatin1(buffer);
}
} // namespace

QString ShortestNumberText(double value) {
    if (!std::isfinite(value))
        return QString();
    char buffer[64];
    const float asFloat = static_cast<float>(value);
    if (static_cast<double>(asFloat) == value) {
        for (int digits = 1; digits <= 9; ++digits) {
            std::snprintf(buffer, sizeof buffer, "%.*e", digits - 1, value);
            if (std::strtof(buffer, nullptr) == asFloat)
                return withDigits(value, digits);
        }
    }
    for (int digits = 1; digits <= 17; ++digits) {
        std::snprintf(buffer, sizeof buffer, "%.*e", digits - 1, value);
        if (std::strtod(buffer, nullptr) == value)
            return withDigits(value, digits);
    }
    return withDigits(value, 17);
}
