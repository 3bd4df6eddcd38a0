#pragma once

#include <QPointF>
#include <QString>
#include <QVector>

// The picture of a measuring session as SVG: the readings on the CIE 1931 xy chromaticity diagram
// (spectral locus, purple line, grid, the Planckian locus with its temperatures, the reference) beside their
// luminance over time. Every reading's mark carries its values as data-* attributes, and each chart's frame
// carries its axis ranges, so a program can check the picture as well as a person can.
class ChromaticityPlot {
public:
    struct Point {
        int index;
        double elapsedSec;
        double Lv;
        bool hasXy;
        double x;
        double y;
    };

    // The title heads the picture; the subtitle (the port, say) goes in small print under it.
    explicit ChromaticityPlot(const QString& title = QString(), const QString& subtitle = QString());

    void add(const Point& point);
    // The white the readings are compared with, marked on the diagram.
    void setReference(double x, double y);
    int size() const { return m_points.size(); }

    QString svg() const;
    // Writes the picture to `path` (replacing the file as a whole). False with a reason on failure.
    bool write(const QString& path, QString* error = nullptr) const;

    // Where chromaticity (x, y) lands in the picture's coordinates.
    static QPointF ChromaticityPosition(double x, double y);

    // The chromaticity chart's frame and range, in picture coordinates and in x, y.
    static const double kXyLeft;
    static const double kXyTop;
    static const double kXyScale; // picture units per unit of x or y
    static const double kXMax;
    static const double kYMax;

private:
    QString chromaticityChart() const;
    QString planckianLocus() const;
    QString luminanceChart() const;

    QString m_title;
    QString m_subtitle;
    QVector<Point> m_points;
    bool m_hasReference = false;
    double m_referenceX = 0.0;
    double m_referenceY = 0.0;
};
