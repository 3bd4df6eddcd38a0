#pragma once

// What every benchmark row is made of: a line on standard output, a quantile of its samples and the
// verdict on its goal.

#include <QString>

#include <vector>

// Prints `text` and a line end on standard output, at once (a long run shows its rows as they come).
void BenchLine(const QString& text);

// The q-quantile (0 < q <= 1) of `values` by the nearest rank: the median at 0.5 (the lower one of an
// even count). 0 for no values.
double BenchQuantile(std::vector<double> values, double q);

// "goal met", or "GOAL MISSED" in capitals so that it stands out in a long result file.
QString BenchGoal(bool met);
