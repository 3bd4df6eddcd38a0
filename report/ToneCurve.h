#pragma once

#include <QVector>

// A display's tone curve from a few measured steps: device level (0..1) against light normalised to
// 0 at black and 1 at full drive.
struct ToneStep {
    double level = 0.0;
    double value = 0.0;
};

// The curve through `steps` sampled at `samples` evenly spaced levels from 0 to 1. Between two steps
// it follows the power law through them (exact for a display that follows a gamma, where straight
// lines would bend the dark end); the first interval takes the exponent of the next. Ends are pinned
// at (0, 0) and (1, 1), values are kept in 0..1 and never fall with the level (noise on a dark step
// must not make a curve that cannot be inverted).
QVector<double> SampleToneCurve(QVector<ToneStep> steps, int samples);
