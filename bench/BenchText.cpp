#include "BenchText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

void BenchLine(const QString& text) {
    std::printf("%s\n", text.toUtf8().constData());
    std::fflush(stdout);
}

double BenchQuantile(std::vector<double> values, double q) {
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t rank = size_t(std::ceil(q * double(values.size())));
    return values[rank == 0 ? 0 : rank - 1];
}

QString BenchGoal(bool met) {
    return met ? QStringLiteral("goal met") : QStringLiteral("GOAL MISSED");
}
