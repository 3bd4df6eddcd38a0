#pragma once

#include <QPointF>
#include <QString>
#include <QStringList>
#include <QVector>

// One chart as an inline SVG element: a framed plot area with axes (linear or logarithmic), ticks, a
// grid, axis titles with units, the data drawn as lines, polygons, marks and bars, and a legend beside
// it. Every series has a dash pattern or a marker besides its colour, so a chart printed in grey still
// tells its series apart. Data outside the axis ranges is clipped to the frame.
class SvgPlot {
public:
    enum class Scale { Linear, Log };
    enum class Marker { None, Circle, Square, Triangle, Diamond, Cross };

    struct Style {
        QString stroke = QStringLiteral("#000000");
        double width = 1.5;
        QString dash; // an SVG stroke-dasharray ("6 3"); empty for a solid line
        QString fill = QStringLiteral("none");
        double fillOpacity = 1.0;
        Marker marker = Marker::None;
        double markerSize = 3.5;
    };

    // `id` names the element (unique within a page); `title` heads the chart and is its SVG <title>.
    // The plot area is `plotWidth` × `plotHeight` picture units; margins and legend come on top.
    SvgPlot(const QString& id, const QString& title, double plotWidth = 440, double plotHeight = 280);

    void setXAxis(const QString& title, double min, double max, Scale scale = Scale::Linear);
    void setYAxis(const QString& title, double min, double max, Scale scale = Scale::Linear);
    // Ticks of the x axis at chosen places with chosen labels, instead of round steps.
    void setXTicks(const QVector<double>& values, const QStringList& labels);

    // A polyline through `points` in data units; a point that cannot be drawn (not finite, or not
    // positive on a log axis) breaks it. With a marker, every point is also marked.
    void addLine(const QVector<QPointF>& points, const Style& style, const QString& legend = QString());
    // A closed polygon.
    void addPolygon(const QVector<QPointF>& points, const Style& style, const QString& legend = QString());
    // Marks only.
    void addPoints(const QVector<QPointF>& points, const Style& style, const QString& legend = QString());
    // A horizontal line across the whole plot at `y`.
    void addHorizontalLine(double y, const Style& style, const QString& legend = QString());
    // A bar from the x axis's base to `value`, centred at `x`, `width` data units wide; `tooltip` goes in
    // its <title>. A swatch, when given a colour, sits under the axis below the bar.
    void addBar(double x, double width, double value, const Style& style, const QString& tooltip = QString(),
                const QString& swatchColour = QString());
    // A text at a data position (anchor "start", "middle" or "end").
    void addLabel(const QPointF& at, const QString& text, const QString& colour = QStringLiteral("#333333"),
                  const QString& anchor = QStringLiteral("start"), double size = 10);
    // A line of small print under the chart.
    void addNote(const QString& text);

    QString svg() const;

private:
    struct Axis {
        QString title;
        double min = 0.0;
        double max = 1.0;
        Scale scale = Scale::Linear;
    };
    enum class Kind { Line, Polygon, Points, HLine, Bar, Label };
    struct Item {
        Kind kind;
        QVector<QPointF> points;
        Style style;
        QString text;
        QString extra;  // the label's anchor and colour, the bar's swatch
        double a = 0.0; // the bar's width, the label's size
        double b = 0.0; // the bar's value
    };
    struct LegendEntry {
        QString text;
        Style style;
        bool area;
    };

    double px(double x) const;
    double py(double y) const;
    bool drawable(const QPointF& p) const;
    QString axes() const;
    QString item(const Item& it) const;
    QString legend() const;
    static QString marker(const Style& style, double x, double y);
    static QString strokeAttributes(const Style& style);
    void addLegend(const QString& text, const Style& style, bool area);

    QString m_id;
    QString m_title;
    double m_plotWidth;
    double m_plotHeight;
    Axis m_x;
    Axis m_y;
    bool m_customXTicks = false;
    QVector<double> m_xTickValues;
    QStringList m_xTickLabels;
    QVector<Item> m_items;
    QVector<LegendEntry> m_legend;
    QStringList m_notes;
    bool m_hasSwatches = false;
};
