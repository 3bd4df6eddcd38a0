#include "ToneCurve.h"

#include <QtGlobal>

#include <algorithm>
#include <cmath>

namespace {
// The exponent of the power law through two steps above black, or none (0) when there is none.
double exponentBetween(const ToneStep& a, const ToneStep& b) {
    if (!(a.level > 0) || !(a.value > 0) || !(b.value > a.value) || !(b.level > a.level))
        return 0.0;
    return std::log(b.value / a.value) / std::log(b.level / a.level);
}

double between(const QVector<ToneStep>& s, int i, double v) {
    const ToneStep& a = s[i];
    const ToneStep& b = s[i + 1];
    const double t = (v - a.level) / (b.level - a.level);
    if (a.level > 0) {
        const double g = exponentBetween(a, b);
        if (g > 0)
            return a.value * std::pow(v / a.level, g);
        return a.value + t * (b.value - a.value);
    }
    // From black: the shape of the next interval, scaled to this one.
    double g = 0.0;
    if (i + 2 < s.size()) {
        const ToneStep lifted1{b.level, b.value - a.value};
        const ToneStep lifted2{s[i + 2].level, s[i + 2].value - a.value};
        g = exponentBetween(lifted1, lifted2);
    }
    if (!(g > 0))
        return a.value + t * (b.value - a.value);
    g = qBound(0.2, g, 5.0);
    return a.value + (b.value - a.value) * std::pow(t, g);
}
} // namespace

QVector<double> SampleToneCurve(QVector<ToneStep> steps, int samples) {
    steps.erase(std::remove_if(steps.begin(), steps.end(),
                               [](const ToneStep& s) {
                                   return !std::isfinite(s.level) || !std::isfinite(s.value) ||
                                          s.level <= 0.0 || s.level >= 1.0;
                               }),
                steps.end());
    steps.append({0.0, 0.0});
    steps.append({1.0, 1.0});
    std::stable_sort(steps.begin(), steps.end(),
                     [](const ToneStep& a, const ToneStep& b) { return a.level < b.level; });
    // One value a level (the first), inside 0..1 and never falling.
    QVector<ToneStep> s;
    for (const ToneStep& step : steps) {
        if (!s.isEmpty() && step.level - s.last().level < 1e-9)
            continue;
        double value = qBound(0.0, step.value, 1.0);
        if (!s.isEmpty())
            value = qMax(value, s.last().value);
        s.append({step.level, value});
    }
    s.last().value = 1.0;

    QVector<double> out;
    out.reserve(samples);
    int i = 0;
    for (int k = 0; k < samples; ++k) {
        const double v = samples > 1 ? double(k) / (samples - 1) : 1.0;
        while (i + 2 < s.size() && v > s[i + 1].level)
            ++i;
        out.append(qBound(0.0, between(s, i, v), 1.0));
    }
    return out;
}
