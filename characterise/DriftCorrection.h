#pragma once

#include "RgbSpace.h"

#include <QVector>

#include <optional>

// A display's drift as its white tells it: the white measured at several times during a run, and the
// factor that takes a reading back to the first white's output.
class DriftCorrection {
public:
    struct White {
        double seconds = 0.0; // since the run's first reading
        double Y = 0.0;       // cd/m²
        std::optional<Chromaticity> xy;
    };

    // The whites in any order; those without light are left out.
    explicit DriftCorrection(QVector<White> whites);

    const QVector<White>& whites() const { return m_whites; }
    bool empty() const { return m_whites.isEmpty(); }

    // The white's luminance at `seconds`: linear between the two whites around it, and held at the
    // first (last) white before (after) them; extrapolating a drift from a few noisy whites would
    // move the ends of a run more than the drift itself.
    double WhiteYAt(double seconds) const;
    // What a reading taken at `seconds` is multiplied by to read as if taken at the first white's
    // output; 1 without whites.
    double Factor(double seconds) const;

    // The last white's luminance against the first's, in percent.
    double LuminanceChangePercent() const;
    // The largest Δu′v′ of a white from the first white; none when the whites have no chromaticity.
    std::optional<double> MaxDeltaUv() const;
    double Seconds() const;

private:
    QVector<White> m_whites; // in time order
};
