#include "ChromaticityPlot.h"

#include "Colorimetry.h"
#include "NumberText.h"
#include "SpectralLocus.h"
#include "SvgText.h"

#include <QSaveFile>
#include <QStringList>

#include <cmath>

const double ChromaticityPlot::kXyLeft = 70;
const double ChromaticityPlot::kXyTop = 50;
const double ChromaticityPlot::kXyScale = 400;
const double ChromaticityPlot::kXMax = 0.8;
const double ChromaticityPlot::kYMax = 0.9;

namespace {
const double kWidth = 940;
const double kHeight = 470;
// The luminance chart, right of the chromaticity chart.
const double kLvLeft = 540;
const double kLvTop = 50;
const double kLvWidth = 360;
const double kLvHeight = 360;
// Wavelengths named along the locus.
const int kLabelledNm[] = {460, 480, 490, 500, 510, 520, 540, 560, 580, 600, 620, 700};
// Temperatures marked on the Planckian locus, and those named (the high ones crowd together).
const int kTickKelvin[] = {2000, 3000, 4000, 5000, 6000, 7000, 8000, 9000, 10000};
const int kLabelledKelvin[] = {2000, 3000, 4000, 6000, 10000};

QString num(double value) {
    return SvgNumber(value);
}

// A range from 0 (or below, for negative values) to a round value above the largest.
void niceRange(double low, double high, double* rangeLow, double* rangeHigh, double* step) {
    if (low > 0)
        low = 0;
    if (!(high > low))
        high = low + 1;
    *step = NiceTickStep(high - low, 5);
    *rangeLow = std::floor(low / *step) * *step;
    *rangeHigh = std::ceil(high / *step) * *step;
}
} // namespace

ChromaticityPlot::ChromaticityPlot(const QString& title, const QString& subtitle)
    : m_title(title), m_subtitle(subtitle) {}

void ChromaticityPlot::add(const Point& point) {
    m_points.append(point);
}

void ChromaticityPlot::setReference(double x, double y) {
    m_hasReference = true;
    m_referenceX = x;
    m_referenceY = y;
}

QString ChromaticityPlot::planckianLocus() const {
    QString out = QStringLiteral("<g id=\"planckian\">\n");
    QStringList points;
    for (const XyPoint& p : PlanckianLocusXy(kCctMinKelvin, kCctMaxKelvin, 120)) {
        const QPointF at = ChromaticityPosition(p.x, p.y);
        points << num(at.x()) + QLatin1Char(',') + num(at.y());
    }
    out += QStringLiteral("<polyline id=\"planckian-locus\" points=\"%1\" fill=\"none\" stroke=\"#b35900\" "
                          "stroke-width=\"1.2\"/>\n")
               .arg(points.join(QLatin1Char(' ')));
    for (int kelvin : kTickKelvin) {
        // A short stroke across the locus: perpendicular to it where it passes this temperature.
        double x0, y0, x1, y1;
        XyFromUv1960(PlanckianUv(kelvin * 0.99), &x0, &y0);
        XyFromUv1960(PlanckianUv(kelvin * 1.01), &x1, &y1);
        const QPointF a = ChromaticityPosition(x0, y0);
        const QPointF b = ChromaticityPosition(x1, y1);
        QPointF across(-(b.y() - a.y()), b.x() - a.x());
        const double length = std::hypot(across.x(), across.y());
        if (length > 0)
            across /= length;
        // Labels go above the curve (towards green): below it sit the D65 mark and most readings.
        if (across.y() > 0)
            across = -across;
        double x, y;
        XyFromUv1960(PlanckianUv(kelvin), &x, &y);
        const QPointF at = ChromaticityPosition(x, y);
        out += QStringLiteral("<line class=\"cct-tick\" x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%4\" "
                              "stroke=\"#b35900\" data-kelvin=\"%5\" data-x=\"%6\" data-y=\"%7\"/>\n")
                   .arg(num(at.x() - across.x() * 4), num(at.y() - across.y() * 4),
                        num(at.x() + across.x() * 4), num(at.y() + across.y() * 4))
                   .arg(kelvin)
                   .arg(QString::number(x, 'f', 4), QString::number(y, 'f', 4));
        bool labelled = false;
        for (int k : kLabelledKelvin)
            labelled = labelled || k == kelvin;
        if (labelled) {
            const bool beside = across.x() < -0.3;
            const QPointF label = at + across * (beside ? 8 : 11);
            const QString anchor = beside ? QStringLiteral("end") : QStringLiteral("middle");
            out += QStringLiteral("<text class=\"cct-label\" x=\"%1\" y=\"%2\" font-size=\"9\" "
                                  "text-anchor=\"%3\" fill=\"#b35900\">%4 K</text>\n")
                       .arg(num(label.x()), num(label.y() - 1), anchor)
                       .arg(kelvin);
        }
    }
    out += QStringLiteral("</g>\n");
    return out;
}

QPointF ChromaticityPlot::ChromaticityPosition(double x, double y) {
    return QPointF(kXyLeft + x * kXyScale, kXyTop + (kYMax - y) * kXyScale);
}

QString ChromaticityPlot::svg() const {
    QString out;
    out += QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    out += QStringLiteral(
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" viewBox=\"0 0 %1 %2\" "
               "font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\">\n")
               .arg(num(kWidth), num(kHeight));
    const QString title = m_title.isEmpty() ? QStringLiteral("chromameter readings") : m_title;
    out += QStringLiteral("<title>%1</title>\n").arg(EscapeXml(title));
    out += QStringLiteral("<rect x=\"0\" y=\"0\" width=\"%1\" height=\"%2\" fill=\"#ffffff\"/>\n")
               .arg(num(kWidth), num(kHeight));
    out += QStringLiteral("<text x=\"%1\" y=\"22\" font-size=\"15\" text-anchor=\"middle\">%2</text>\n")
               .arg(num(kWidth / 2), EscapeXml(title));
    if (!m_subtitle.isEmpty()) {
        out += QStringLiteral("<text x=\"%1\" y=\"%2\" font-size=\"10\" text-anchor=\"middle\" "
                              "fill=\"#777777\">%3</text>\n")
                   .arg(num(kWidth / 2), num(kHeight - 8), EscapeXml(m_subtitle));
    }
    out += chromaticityChart();
    out += luminanceChart();
    out += QStringLiteral("</svg>\n");
    return out;
}

QString ChromaticityPlot::chromaticityChart() const {
    const double width = kXMax * kXyScale;
    const double height = kYMax * kXyScale;
    QString out = QStringLiteral("<g id=\"chromaticity\">\n");
    out += QStringLiteral(
               "<rect id=\"xy-frame\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" data-x-min=\"0\" "
               "data-x-max=\"%5\" data-y-min=\"0\" data-y-max=\"%6\" fill=\"#fbfbfb\" stroke=\"#888888\"/>\n")
               .arg(num(kXyLeft), num(kXyTop), num(width), num(height), num(kXMax), num(kYMax));
    // Grid every 0.1, labelled.
    for (int i = 1; i * 0.1 < kXMax - 1e-9; ++i) {
        const QPointF p = ChromaticityPosition(i * 0.1, 0);
        out += QStringLiteral(
                   "<line class=\"grid\" x1=\"%1\" y1=\"%2\" x2=\"%1\" y2=\"%3\" stroke=\"#e4e4e4\"/>\n")
                   .arg(num(p.x()), num(kXyTop), num(kXyTop + height));
    }
    for (int i = 1; i * 0.1 < kYMax - 1e-9; ++i) {
        const QPointF p = ChromaticityPosition(0, i * 0.1);
        out += QStringLiteral(
                   "<line class=\"grid\" x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"#e4e4e4\"/>\n")
                   .arg(num(kXyLeft), num(p.y()), num(kXyLeft + width));
    }
    for (int i = 0; i * 0.1 <= kXMax + 1e-9; ++i) {
        const QPointF p = ChromaticityPosition(i * 0.1, 0);
        out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\" fill=\"#555555\">%3</text>\n")
                   .arg(num(p.x()), num(p.y() + 16), QString::number(i * 0.1, 'f', 1));
    }
    for (int i = 0; i * 0.1 <= kYMax + 1e-9; ++i) {
        const QPointF p = ChromaticityPosition(0, i * 0.1);
        out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"end\" fill=\"#555555\">%3</text>\n")
                   .arg(num(p.x() - 6), num(p.y() + 4), QString::number(i * 0.1, 'f', 1));
    }
    out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\">x</text>\n")
               .arg(num(kXyLeft + width / 2), num(kXyTop + height + 34));
    out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\">y</text>\n")
               .arg(num(kXyLeft - 44), num(kXyTop + height / 2));

    // The spectral locus, closed by the purple line from 700 nm back to 380 nm.
    QStringList points;
    for (const LocusPoint& p : SpectralLocus()) {
        const QPointF at = ChromaticityPosition(p.x, p.y);
        points << num(at.x()) + QLatin1Char(',') + num(at.y());
    }
    out += QStringLiteral("<polygon id=\"spectral-locus\" points=\"%1\" fill=\"#eef3fb\" stroke=\"#333333\" "
                          "stroke-width=\"1.2\" stroke-linejoin=\"round\"/>\n")
               .arg(points.join(QLatin1Char(' ')));
    for (const LocusPoint& p : SpectralLocus()) {
        bool labelled = false;
        for (int nm : kLabelledNm)
            labelled = labelled || nm == p.nm;
        if (!labelled)
            continue;
        const QPointF at = ChromaticityPosition(p.x, p.y);
        // Labels sit outside the horseshoe: away from its middle.
        const QPointF centre = ChromaticityPosition(0.33, 0.33);
        QPointF away = at - centre;
        const double length = std::hypot(away.x(), away.y());
        if (length > 0)
            away /= length;
        QPointF label = at + away * 14;
        QString anchor = away.x() < -0.3  ? QStringLiteral("end")
                         : away.x() > 0.3 ? QStringLiteral("start")
                                          : QStringLiteral("middle");
        // About how far the label reaches left of its anchor point (10-unit text, 6 characters).
        const double reachLeft = anchor == QLatin1String("end")      ? 34
                                 : anchor == QLatin1String("middle") ? 17
                                                                     : 0;
        if (label.x() - reachLeft < kXyLeft + 2 || label.y() > kXyTop + kYMax * kXyScale - 4) {
            // Outside the frame the label would run into the axis labels: inside, right of the mark.
            label = QPointF(at.x() + 7, at.y());
            anchor = QStringLiteral("start");
        }
        out +=
            QStringLiteral("<circle class=\"locus-mark\" cx=\"%1\" cy=\"%2\" r=\"1.8\" fill=\"#333333\"/>\n")
                .arg(num(at.x()), num(at.y()));
        out +=
            QStringLiteral("<text class=\"wavelength\" x=\"%1\" y=\"%2\" font-size=\"10\" text-anchor=\"%3\" "
                           "fill=\"#333333\">%4 nm</text>\n")
                .arg(num(label.x()), num(label.y() + 3), anchor)
                .arg(p.nm);
    }
    out += planckianLocus();
    // The D65 white point, for orientation.
    const QPointF white = ChromaticityPosition(0.3127, 0.3290);
    out += QStringLiteral(
               "<g id=\"white-point\"><line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"#999999\"/>"
               "<line x1=\"%4\" y1=\"%5\" x2=\"%4\" y2=\"%6\" stroke=\"#999999\"/>"
               "<text x=\"%7\" y=\"%8\" font-size=\"10\" fill=\"#777777\">D65</text></g>\n")
               .arg(num(white.x() - 6), num(white.y()), num(white.x() + 6), num(white.x()),
                    num(white.y() - 6), num(white.y() + 6), num(white.x() + 8), num(white.y() + 14));

    if (m_hasReference) {
        const QPointF at = ChromaticityPosition(m_referenceX, m_referenceY);
        out += QStringLiteral(
                   "<g id=\"reference\" data-x=\"%1\" data-y=\"%2\"><path d=\"M %3 %4 L %5 %6 L %3 %7 "
                   "L %8 %6 Z\" fill=\"none\" stroke=\"#2ca02c\" stroke-width=\"1.5\"/>"
                   "<text x=\"%9\" y=\"%7\" font-size=\"10\" fill=\"#2ca02c\">reference</text></g>\n")
                   .arg(ShortestNumberText(m_referenceX), ShortestNumberText(m_referenceY), num(at.x()),
                        num(at.y() - 7), num(at.x() + 7), num(at.y()), num(at.y() + 7), num(at.x() - 7),
                        num(at.x() + 10));
    }

    int withXy = 0;
    for (const Point& p : m_points) {
        if (!p.hasXy)
            continue;
        ++withXy;
        const QPointF at = ChromaticityPosition(p.x, p.y);
        out += QStringLiteral(
                   "<circle class=\"reading\" cx=\"%1\" cy=\"%2\" r=\"4.5\" fill=\"#d62728\" "
                   "fill-opacity=\"0.75\" stroke=\"#7f0000\" data-n=\"%3\" data-x=\"%4\" data-y=\"%5\"/>\n")
                   .arg(num(at.x()), num(at.y()))
                   .arg(p.index)
                   .arg(ShortestNumberText(p.x), ShortestNumberText(p.y));
    }
    const QString caption = withXy > 0 || m_points.isEmpty()
                                ? QStringLiteral("CIE 1931 xy chromaticity")
                                : QStringLiteral("CIE 1931 xy chromaticity (no chromaticity measured)");
    out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\" font-size=\"13\">%3</text>\n")
               .arg(num(kXyLeft + width / 2), num(kXyTop - 10), caption);
    out += QStringLiteral("</g>\n");
    return out;
}

QString ChromaticityPlot::luminanceChart() const {
    double tMax = 0;
    double lvMin = 0;
    double lvMax = 0;
    for (const Point& p : m_points) {
        tMax = qMax(tMax, p.elapsedSec);
        lvMin = qMin(lvMin, p.Lv);
        lvMax = qMax(lvMax, p.Lv);
    }
    double t0, t1, tStep, lv0, lv1, lvStep;
    niceRange(0, tMax, &t0, &t1, &tStep);
    niceRange(lvMin, lvMax * 1.05, &lv0, &lv1, &lvStep);
    auto tx = [&](double t) { return kLvLeft + (t - t0) / (t1 - t0) * kLvWidth; };
    auto ly = [&](double lv) { return kLvTop + (lv1 - lv) / (lv1 - lv0) * kLvHeight; };

    QString out = QStringLiteral("<g id=\"luminance\">\n");
    out +=
        QStringLiteral("<rect id=\"lv-frame\" x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" data-t-min=\"%5\" "
                       "data-t-max=\"%6\" data-lv-min=\"%7\" data-lv-max=\"%8\" fill=\"#fbfbfb\" "
                       "stroke=\"#888888\"/>\n")
            .arg(num(kLvLeft), num(kLvTop), num(kLvWidth), num(kLvHeight), ShortestNumberText(t0),
                 ShortestNumberText(t1), ShortestNumberText(lv0), ShortestNumberText(lv1));
    for (double t = t0; t <= t1 + tStep * 1e-6; t += tStep) {
        out += QStringLiteral(
                   "<line class=\"grid\" x1=\"%1\" y1=\"%2\" x2=\"%1\" y2=\"%3\" stroke=\"#e4e4e4\"/>\n")
                   .arg(num(tx(t)), num(kLvTop), num(kLvTop + kLvHeight));
        out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\" fill=\"#555555\">%3</text>\n")
                   .arg(num(tx(t)), num(kLvTop + kLvHeight + 16), TickText(t, tStep));
    }
    for (double lv = lv0; lv <= lv1 + lvStep * 1e-6; lv += lvStep) {
        out += QStringLiteral(
                   "<line class=\"grid\" x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%2\" stroke=\"#e4e4e4\"/>\n")
                   .arg(num(kLvLeft), num(ly(lv)), num(kLvLeft + kLvWidth));
        out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"end\" fill=\"#555555\">%3</text>\n")
                   .arg(num(kLvLeft - 6), num(ly(lv) + 4), TickText(lv, lvStep));
    }
    out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\">time (s)</text>\n")
               .arg(num(kLvLeft + kLvWidth / 2), num(kLvTop + kLvHeight + 34));
    out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\" transform=\"rotate(-90 %1 %2)\">Lv "
                          "(cd/m²)</text>\n")
               .arg(num(kLvLeft - 48), num(kLvTop + kLvHeight / 2));
    out += QStringLiteral("<text x=\"%1\" y=\"%2\" text-anchor=\"middle\" font-size=\"13\">Luminance over "
                          "time</text>\n")
               .arg(num(kLvLeft + kLvWidth / 2), num(kLvTop - 10));
    if (m_points.size() > 1) {
        QStringList line;
        for (const Point& p : m_points)
            line << num(tx(p.elapsedSec)) + QLatin1Char(',') + num(ly(p.Lv));
        out += QStringLiteral("<polyline class=\"lv-line\" points=\"%1\" fill=\"none\" stroke=\"#1f77b4\" "
                              "stroke-width=\"1.5\"/>\n")
                   .arg(line.join(QLatin1Char(' ')));
    }
    for (const Point& p : m_points) {
        out += QStringLiteral("<circle class=\"lv-reading\" cx=\"%1\" cy=\"%2\" r=\"3.5\" fill=\"#1f77b4\" "
                              "data-n=\"%3\" data-t=\"%4\" data-lv=\"%5\"/>\n")
                   .arg(num(tx(p.elapsedSec)), num(ly(p.Lv)))
                   .arg(p.index)
                   .arg(QString::number(p.elapsedSec, 'f', 3), ShortestNumberText(p.Lv));
    }
    out += QStringLiteral("</g>\n");
    return out;
}

bool ChromaticityPlot::write(const QString& path, QString* error) const {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    file.write(svg().toUtf8());
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
