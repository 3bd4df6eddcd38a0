#pragma once

#include "Quantity.h"
#include "Reading.h"

#include <QVector>

// Mean, standard deviation, minimum and maximum of every quantity over the readings of a run that
// succeeded, and how many failed. The standard deviation is the sample's (n - 1), as for repeated
// measurements of one thing; it needs two values.
class ReadingStatistics {
public:
    struct Summary {
        int count = 0; // values the figures are over
        double mean = 0.0;
        double sd = 0.0; // not a number with fewer than two values
        double min = 0.0;
        double max = 0.0;
        // One of the four figures, by Figure.
        double figure(int which) const;
    };
    // The figures of a summary, in the order the outputs give them.
    enum Figure { Mean, Sd, Min, Max, FigureCount };
    // "mean", "sd", "min", "max".
    static const char* FigureName(int which);

    void add(const Reading& reading);

    int readings() const { return m_succeeded + m_failed; }
    int succeeded() const { return m_succeeded; }
    int failed() const { return m_failed; }
    Summary of(Quantity quantity) const;

private:
    struct Accumulator {
        int count = 0;
        double mean = 0.0;
        double squares = 0.0; // sum of squared deviations from the mean (Welford)
        double min = 0.0;
        double max = 0.0;
    };

    int m_succeeded = 0;
    int m_failed = 0;
    QVector<Accumulator> m_accumulators = QVector<Accumulator>(AllQuantities().size());
};
