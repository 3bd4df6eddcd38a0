#include "DriftCorrection.h"

#include "Colorimetry.h"

#include <algorithm>
#include <cmath>

DriftCorrection::DriftCorrection(QVector<White> whites) {
    for (const White& w : whites)
        if (w.Y > 0.0 && std::isfinite(w.Y) && std::isfinite(w.seconds))
            m_whites.append(w);
    std::stable_sort(m_whites.begin(), m_whites.end(),
                     [](const White& a, const White& b) { return a.seconds < b.seconds; });
}

double DriftCorrection::WhiteYAt(double seconds) const {
    if (m_whites.isEmpty())
        return 0.0;
    if (seconds <= m_whites.first().seconds)
        return m_whites.first().Y;
    if (seconds >= m_whites.last().seconds)
        return m_whites.last().Y;
    for (int i = 1; i < m_whites.size(); ++i) {
        const White& before = m_whites[i - 1];
        const White& after = m_whites[i];
        if (seconds <= after.seconds) {
            const double span = after.seconds - before.seconds;
            if (!(span > 0.0))
                return after.Y;
            const double t = (seconds - before.seconds) / span;
            return before.Y + t * (after.Y - before.Y);
        }
    }
    return m_whites.last().Y;
}

double DriftCorrection::Factor(double seconds) const {
    if (m_whites.isEmpty())
        return 1.0;
    return m_whites.first().Y / WhiteYAt(seconds);
}

double DriftCorrection::LuminanceChangePercent() const {
    if (m_whites.isEmpty())
        return 0.0;
    return 100.0 * (m_whites.last().Y - m_whites.first().Y) / m_whites.first().Y;
}

std::optional<double> DriftCorrection::MaxDeltaUv() const {
    if (m_whites.isEmpty() || !m_whites.first().xy)
        return std::nullopt;
    const UvPoint first = UvPrimeFromXy(m_whites.first().xy->x, m_whites.first().xy->y);
    double largest = 0.0;
    for (const White& w : m_whites) {
        if (!w.xy)
            continue;
        const UvPoint uv = UvPrimeFromXy(w.xy->x, w.xy->y);
        largest = std::max(largest, std::hypot(uv.u - first.u, uv.v - first.v));
    }
    return largest;
}

double DriftCorrection::Seconds() const {
    return m_whites.isEmpty() ? 0.0 : m_whites.last().seconds - m_whites.first().seconds;
}
