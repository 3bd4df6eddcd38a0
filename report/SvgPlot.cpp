#include "SvgPlot.h"

#include "SvgText.h"

#include <cmath>
#include <functional>

namespace {
const double kLeft = 72;   // room for the y ticks and the y axis title
const double kTop = 40;    // room for the title
const double kBottom = 46; // x ticks and the x axis title
const double kSwatchRow = 16;
const double kLegendGap = 18;
const double kLegendWidth = 190;
const double kNoteLine = 14;

QString n(double value) {
    return SvgNumber(value);
}

double toAxis(double v, SvgPlot::Scale scale) {
    return scale == SvgPlot::Scale::Log ? std::log10(v) : v;
}

// Log-axis tick text: 0.001, 0.01, 1, 10, 100 (no exponents: people read cd/m² as plain numbers).
QString logTickText(double value) {
    const int exponent = int(std::floor(std::log10(value) + 1e-9));
    return QString::number(value, 'f', exponent < 0 ? -exponent : 0);
}
} // namespace

SvgPlot::SvgPlot(const QString& id, const QString& title, double plotWidth, double plotHeight)
    : m_id(id), m_title(title), m_plotWidth(plotWidth), m_plotHeight(plotHeight) {}

void SvgPlot::setXAxis(const QString& title, double min, double max, Scale scale) {
    m_x = {title, min, max, scale};
}

void SvgPlot::setYAxis(const QString& title, double min, double max, Scale scale) {
    m_y = {title, min, max, scale};
}

void SvgPlot::setXTicks(const QVector<double>& values, const QStringList& labels) {
    m_customXTicks = true;
    m_xTickValues = values;
    m_xTickLabels = labels;
}

void SvgPlot::addLegend(const QString& text, const Style& style, bool area) {
    if (!text.isEmpty())
        m_legend.append({text, style, area});
}

void SvgPlot::addLine(const QVector<QPointF>& points, const Style& style, const QString& legend) {
    m_items.append({Kind::Line, points, style, QString(), QString()});
    addLegend(legend, style, false);
}

void SvgPlot::addPolygon(const QVector<QPointF>& points, const Style& style, const QString& legend) {
    m_items.append({Kind::Polygon, points, style, QString(), QString()});
    addLegend(legend, style, style.fill != QLatin1String("none"));
}

void SvgPlot::addPoints(const QVector<QPointF>& points, const Style& style, const QString& legend) {
    m_items.append({Kind::Points, points, style, QString(), QString()});
    Style mark = style;
    if (mark.marker == Marker::None)
        mark.marker = Marker::Circle;
    addLegend(legend, mark, false);
}

void SvgPlot::addHorizontalLine(double y, const Style& style, const QString& legend) {
    m_items.append({Kind::HLine, {QPointF(0, y)}, style, QString(), QString()});
    addLegend(legend, style, false);
}

void SvgPlot::addBar(double x, double width, double value, const Style& style, const QString& tooltip,
                     const QString& swatchColour) {
    Item it{Kind::Bar, {QPointF(x, value)}, style, tooltip, swatchColour};
    it.a = width;
    it.b = value;
    m_items.append(it);
    m_hasSwatches = m_hasSwatches || !swatchColour.isEmpty();
}

void SvgPlot::addLabel(const QPointF& at, const QString& text, const QString& colour, const QString& anchor,
                       double size) {
    Item it{Kind::Label, {at}, Style(), text, anchor};
    it.style.stroke = colour;
    it.a = size;
    m_items.append(it);
}

void SvgPlot::addNote(const QString& text) {
    m_notes.append(text);
}

double SvgPlot::px(double x) const {
    const double lo = toAxis(m_x.min, m_x.scale);
    const double hi = toAxis(m_x.max, m_x.scale);
    return kLeft + (toAxis(x, m_x.scale) - lo) / (hi - lo) * m_plotWidth;
}

double SvgPlot::py(double y) const {
    const double lo = toAxis(m_y.min, m_y.scale);
    const double hi = toAxis(m_y.max, m_y.scale);
    return kTop + (hi - toAxis(y, m_y.scale)) / (hi - lo) * m_plotHeight;
}

bool SvgPlot::drawable(const QPointF& p) const {
    if (!std::isfinite(p.x()) || !std::isfinite(p.y()))
        return false;
    if (m_x.scale == Scale::Log && !(p.x() > 0))
        return false;
    if (m_y.scale == Scale::Log && !(p.y() > 0))
        return false;
    return true;
}

QString SvgPlot::strokeAttributes(const Style& style) {
    QString out = QStringLiteral(" stroke=\"%1\" stroke-width=\"%2\"").arg(style.stroke, n(style.width));
    if (!style.dash.isEmpty())
        out += QStringLiteral(" stroke-dasharray=\"%1\"").arg(style.dash);
    return out;
}

QString SvgPlot::marker(const Style& style, double x, double y) {
    const double s = style.markerSize;
    // Marks are filled with white where the series has no fill, so open and filled marks differ in grey.
    const QString fill = style.fill == QLatin1String("none") ? QStringLiteral("#ffffff") : style.fill;
    const QString paint =
        QStringLiteral(" fill=\"%1\" stroke=\"%2\" stroke-width=\"1.2\"").arg(fill, style.stroke);
    switch (style.marker) {
    case Marker::None:
        return QString();
    case Marker::Circle:
        return QStringLiteral("<circle cx=\"%1\" cy=\"%2\" r=\"%3\"%4/>").arg(n(x), n(y), n(s), paint);
    case Marker::Square:
        return QStringLiteral("<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%3\"%4/>")
            .arg(n(x - s), n(y - s), n(2 * s), paint);
    case Marker::Triangle:
        return QStringLiteral("<path d=\"M %1 %2 L %3 %4 L %5 %4 Z\"%6/>")
            .arg(n(x), n(y - 1.2 * s), n(x + 1.1 * s), n(y + 0.8 * s), n(x - 1.1 * s), paint);
    case Marker::Diamond:
        return QStringLiteral("<path d=\"M %1 %2 L %3 %4 L %1 %5 L %6 %4 Z\"%7/>")
            .arg(n(x), n(y - 1.3 * s), n(x + 1.3 * s), n(y), n(y + 1.3 * s), n(x - 1.3 * s), paint);
    case Marker::Cross:
        return QStringLiteral("<path d=\"M %1 %2 L %3 %4 M %1 %4 L %3 %2\" fill=\"none\" stroke=\"%5\" "
                              "stroke-width=\"1.6\"/>")
            .arg(n(x - s), n(y - s), n(x + s), n(y + s), style.stroke);
    }
    return QString();
}

QString SvgPlot::axes() const {
    const double right = kLeft + m_plotWidth;
    const double bottom = kTop + m_plotHeight;
    QString grid;
    QString labels;
    const QString gridLine =
        QStringLiteral("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%4\" stroke=\"%5\"/>\n");
    const QString tickLine =
        QStringLiteral("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%4\" stroke=\"#444444\"/>\n");

    auto xTick = [&](double v, const QString& label, bool major) {
        const double x = px(v);
        if (x < kLeft - 0.5 || x > right + 0.5)
            return;
        grid += gridLine.arg(n(x), n(kTop), n(x), n(bottom),
                             major ? QStringLiteral("#dddddd") : QStringLiteral("#eeeeee"));
        labels += tickLine.arg(n(x), n(bottom), n(x), n(bottom + (major ? 5 : 3)));
        if (!label.isEmpty())
            labels +=
                QStringLiteral("<text class=\"tick\" x=\"%1\" y=\"%2\" text-anchor=\"middle\">%3</text>\n")
                    .arg(n(x), n(bottom + 17 + (m_hasSwatches ? kSwatchRow : 0)), EscapeXml(label));
    };
    auto yTick = [&](double v, const QString& label, bool major) {
        const double y = py(v);
        if (y < kTop - 0.5 || y > bottom + 0.5)
            return;
        grid += gridLine.arg(n(kLeft), n(y), n(right), n(y),
                             major ? QStringLiteral("#dddddd") : QStringLiteral("#eeeeee"));
        labels += tickLine.arg(n(kLeft - (major ? 5 : 3)), n(y), n(kLeft), n(y));
        if (!label.isEmpty())
            labels += QStringLiteral("<text class=\"tick\" x=\"%1\" y=\"%2\" text-anchor=\"end\">%3</text>\n")
                          .arg(n(kLeft - 8), n(y + 4), EscapeXml(label));
    };
    auto ticks = [&](const Axis& axis, const std::function<void(double, const QString&, bool)>& tick) {
        if (axis.scale == Scale::Log) {
            const int first = int(std::floor(std::log10(axis.min) + 1e-9));
            const int last = int(std::ceil(std::log10(axis.max) - 1e-9));
            const bool few = last - first <= 2;
            for (int e = first; e <= last; ++e) {
                for (int m = 1; m <= 9; ++m) {
                    const double v = m * std::pow(10.0, e);
                    if (v < axis.min * (1 - 1e-9) || v > axis.max * (1 + 1e-9))
                        continue;
                    const bool labelled = m == 1 || (few && (m == 2 || m == 5));
                    tick(v, labelled ? logTickText(v) : QString(), m == 1);
                }
            }
            return;
        }
        const double step = NiceTickStep(axis.max - axis.min, 6);
        for (double v = std::ceil(axis.min / step - 1e-9) * step; v <= axis.max + step * 1e-6; v += step)
            tick(v, TickText(v, step), true);
    };
    if (m_customXTicks) {
        for (int i = 0; i < m_xTickValues.size(); ++i)
            xTick(m_xTickValues[i], i < m_xTickLabels.size() ? m_xTickLabels[i] : QString(), true);
    } else {
        ticks(m_x, xTick);
    }
    ticks(m_y, yTick);

    QString out = QStringLiteral("<g class=\"grid\">\n") + grid + QStringLiteral("</g>\n");
    out += QStringLiteral("<rect class=\"frame\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"none\" "
                          "stroke=\"#444444\"/>\n")
               .arg(n(kLeft), n(kTop), n(m_plotWidth), n(m_plotHeight));
    out += QStringLiteral("<g class=\"ticks\" font-size=\"10\" fill=\"#333333\">\n") + labels +
           QStringLiteral("</g>\n");
    const double titleY = bottom + 36 + (m_hasSwatches ? kSwatchRow : 0);
    out += QStringLiteral("<text class=\"axis-title\" x=\"%1\" y=\"%2\" text-anchor=\"middle\">%3</text>\n")
               .arg(n(kLeft + m_plotWidth / 2), n(titleY), EscapeXml(m_x.title));
    out += QStringLiteral("<text class=\"axis-title\" x=\"%1\" y=\"%2\" text-anchor=\"middle\" "
                          "transform=\"rotate(-90 %1 %2)\">%3</text>\n")
               .arg(n(18), n(kTop + m_plotHeight / 2), EscapeXml(m_y.title));
    return out;
}

QString SvgPlot::item(const Item& it) const {
    const Style& s = it.style;
    switch (it.kind) {
    case Kind::Line:
    case Kind::Polygon: {
        QString out;
        QStringList run;
        QString marks;
        auto flush = [&]() {
            if (run.size() > 1) {
                const bool closed = it.kind == Kind::Polygon;
                out += QStringLiteral("<%1 points=\"%2\" fill=\"%3\" fill-opacity=\"%4\"%5 "
                                      "stroke-linejoin=\"round\"/>\n")
                           .arg(closed ? QStringLiteral("polygon") : QStringLiteral("polyline"),
                                run.join(QLatin1Char(' ')), closed ? s.fill : QStringLiteral("none"),
                                n(s.fillOpacity), strokeAttributes(s));
            }
            run.clear();
        };
        for (const QPointF& p : it.points) {
            if (!drawable(p)) {
                flush();
                continue;
            }
            run << n(px(p.x())) + QLatin1Char(',') + n(py(p.y()));
            marks += marker(s, px(p.x()), py(p.y()));
        }
        flush();
        return out + marks + (marks.isEmpty() ? QString() : QStringLiteral("\n"));
    }
    case Kind::Points: {
        Style mark = s;
        if (mark.marker == Marker::None)
            mark.marker = Marker::Circle;
        QString out;
        for (const QPointF& p : it.points)
            if (drawable(p))
                out += marker(mark, px(p.x()), py(p.y()));
        return out + QStringLiteral("\n");
    }
    case Kind::HLine: {
        const double y = it.points.first().y();
        if (!drawable(QPointF(m_x.min, y)))
            return QString();
        return QStringLiteral("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\"%4/>\n")
            .arg(n(kLeft), n(py(y)), n(kLeft + m_plotWidth), strokeAttributes(s));
    }
    case Kind::Bar: {
        const double x = it.points.first().x();
        const double base = m_y.scale == Scale::Log ? m_y.min : qBound(m_y.min, 0.0, m_y.max);
        const double top = qBound(m_y.min, it.b, m_y.max);
        const double x0 = px(x - it.a / 2);
        const double x1 = px(x + it.a / 2);
        const double y0 = py(qMax(top, base));
        const double y1 = py(qMin(top, base));
        QString out =
            QStringLiteral("<rect class=\"bar\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"%5\" "
                           "fill-opacity=\"%6\"%7>")
                .arg(n(x0), n(y0), n(x1 - x0), n(y1 - y0), s.fill, n(s.fillOpacity), strokeAttributes(s));
        if (!it.text.isEmpty())
            out += QStringLiteral("<title>%1</title>").arg(EscapeXml(it.text));
        out += QStringLiteral("</rect>\n");
        return out;
    }
    case Kind::Label:
        if (!drawable(it.points.first()))
            return QString();
        return QStringLiteral(
                   "<text x=\"%1\" y=\"%2\" font-size=\"%3\" text-anchor=\"%4\" fill=\"%5\">%6</text>\n")
            .arg(n(px(it.points.first().x())), n(py(it.points.first().y())), n(it.a), it.extra, s.stroke,
                 EscapeXml(it.text));
    }
    return QString();
}

QString SvgPlot::legend() const {
    if (m_legend.isEmpty())
        return QString();
    const double x = kLeft + m_plotWidth + kLegendGap;
    double y = kTop + 8;
    QString out = QStringLiteral("<g class=\"legend\" font-size=\"11\">\n");
    for (const LegendEntry& e : m_legend) {
        if (e.area) {
            out += QStringLiteral("<rect x=\"%1\" y=\"%2\" width=\"26\" height=\"10\" fill=\"%3\" "
                                  "fill-opacity=\"%4\"%5/>")
                       .arg(n(x), n(y - 5), e.style.fill, n(e.style.fillOpacity), strokeAttributes(e.style));
        } else if (e.style.width > 0 && e.style.stroke != QLatin1String("none")) {
            out += QStringLiteral("<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\"%4/>")
                       .arg(n(x), n(y), n(x + 26), strokeAttributes(e.style));
        }
        out += marker(e.style, x + 13, y);
        // Long entries wrap onto a second line rather than run off the picture.
        QString first = e.text;
        QString second;
        if (first.size() > 26) {
            const int cut = first.lastIndexOf(QLatin1Char(' '), 26);
            if (cut > 0) {
                second = first.mid(cut + 1);
                first = first.left(cut);
            }
        }
        out +=
            QStringLiteral("<text x=\"%1\" y=\"%2\">%3</text>\n").arg(n(x + 34), n(y + 4), EscapeXml(first));
        if (!second.isEmpty()) {
            y += 13;
            out += QStringLiteral("<text x=\"%1\" y=\"%2\">%3</text>\n")
                       .arg(n(x + 34), n(y + 4), EscapeXml(second));
        }
        y += 19;
    }
    out += QStringLiteral("</g>\n");
    return out;
}

QString SvgPlot::svg() const {
    const double width = kLeft + m_plotWidth + (m_legend.isEmpty() ? 20 : kLegendGap + kLegendWidth);
    const double height =
        kTop + m_plotHeight + kBottom + (m_hasSwatches ? kSwatchRow : 0) + m_notes.size() * kNoteLine + 4;
    const QString clip = m_id + QStringLiteral("-clip");
    QString out = QStringLiteral("<svg class=\"plot\" id=\"%1\" "
                                 "width=\"%2\" height=\"%3\" viewBox=\"0 0 %2 %3\" role=\"img\" "
                                 "font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\">\n")
                      .arg(EscapeXml(m_id), n(width), n(height));
    out += QStringLiteral("<title>%1</title>\n").arg(EscapeXml(m_title));
    out += QStringLiteral("<rect x=\"0\" y=\"0\" width=\"%1\" height=\"%2\" fill=\"#ffffff\"/>\n")
               .arg(n(width), n(height));
    out +=
        QStringLiteral("<text class=\"plot-title\" x=\"%1\" y=\"22\" font-size=\"14\" font-weight=\"bold\" "
                       "text-anchor=\"middle\">%2</text>\n")
            .arg(n(kLeft + m_plotWidth / 2), EscapeXml(m_title));
    out += QStringLiteral("<defs><clipPath id=\"%1\"><rect x=\"%2\" y=\"%3\" width=\"%4\" height=\"%5\"/>"
                          "</clipPath></defs>\n")
               .arg(EscapeXml(clip), n(kLeft), n(kTop), n(m_plotWidth), n(m_plotHeight));
    out += axes();
    out += QStringLiteral("<g class=\"data\" clip-path=\"url(#%1)\">\n").arg(EscapeXml(clip));
    QString swatches;
    for (const Item& it : m_items) {
        out += item(it);
        if (it.kind == Kind::Bar && !it.extra.isEmpty()) {
            const double x0 = px(it.points.first().x() - it.a / 2);
            const double x1 = px(it.points.first().x() + it.a / 2);
            swatches += QStringLiteral("<rect class=\"swatch\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"10\" "
                                       "fill=\"%4\" stroke=\"#777777\" stroke-width=\"0.5\"/>\n")
                            .arg(n(x0), n(kTop + m_plotHeight + 6), n(x1 - x0), it.extra);
        }
    }
    out += QStringLiteral("</g>\n");
    out += swatches;
    out += legend();
    double noteY = kTop + m_plotHeight + kBottom + (m_hasSwatches ? kSwatchRow : 0) + 6;
    for (const QString& note : m_notes) {
        out += QStringLiteral(
                   "<text class=\"note\" x=\"%1\" y=\"%2\" font-size=\"10\" fill=\"#555555\">%3</text>\n")
                   .arg(n(kLeft), n(noteY), EscapeXml(note));
        noteY += kNoteLine;
    }
    out += QStringLiteral("</svg>\n");
    return out;
}
