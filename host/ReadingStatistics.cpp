#include "ReadingStatistics.h"

#include <cmath>

void ReadingStatistics::add(const Reading& reading) {
    if (!reading.ok()) {
        ++m_failed;
        return;
    }
    ++m_succeeded;
    const QVector<Quantity>& all = AllQuantities();
    for (int i = 0; i < all.size(); ++i) {
        const QuantityValue value = ValueOf(reading, all[i]);
        if (value.state != QuantityValue::Number)
            continue;
        Accumulator& a = m_accumulators[i];
        ++a.count;
        // Welford's update keeps the spread exact when the values differ only in their last digits.
        const double delta = value.value - a.mean;
        a.mean += delta / a.count;
        a.squares += delta * (value.value - a.mean);
        a.min = a.count == 1 ? value.value : std::fmin(a.min, value.value);
        a.max = a.count == 1 ? value.value : std::fmax(a.max, value.value);
    }
}

ReadingStatistics::Summary ReadingStatistics::of(Quantity quantity) const {
    const Accumulator& a = m_accumulators[AllQuantities().indexOf(quantity)];
    Summary s;
    s.count = a.count;
    if (a.count == 0) {
        s.mean = s.sd = s.min = s.max = std::nan("");
        return s;
    }
    s.mean = a.mean;
    s.sd = a.count > 1 ? std::sqrt(a.squares / (a.count - 1)) : std::nan("");
    s.min = a.min;
    s.max = a.max;
    return s;
}

double ReadingStatistics::Summary::figure(int which) const {
    switch (which) {
    case Mean:
        return mean;
    case Sd:
        return sd;
    case Min:
        return min;
    default:
        return max;
    }
}

const char* ReadingStatistics::FigureName(int which) {
    static const char* const names[FigureCount] = {"mean", "sd", "min", "max"};
    return which >= 0 && which < FigureCount ? names[which] : "";
}
