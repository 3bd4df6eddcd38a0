#include "CharacterisationPage.h"

#include "Colorimetry.h"
#include "FigureText.h"
#include "QuantityText.h"
#include "SpectralLocus.h"
#include "SvgPlot.h"
#include "SvgText.h"

#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace {
using Style = SvgPlot::Style;
using Marker = SvgPlot::Marker;

// Colours that stay apart in grey print too: each series also has its own dash or marker.
const char* const kMeasured = "#1f4e9c";
const char* const kSecond = "#c0392b";
const char* const kTarget = "#222222";

Style line(const QString& colour, const QString& dash = QString(), Marker marker = Marker::None,
           double width = 1.6) {
    Style s;
    s.stroke = colour;
    s.dash = dash;
    s.marker = marker;
    s.width = width;
    return s;
}

QString esc(const QString& text) {
    return EscapeXml(text);
}

QString q(Quantity quantity, double value) {
    return QuantityText(quantity, value, true);
}

QString opt(Quantity quantity, const std::optional<double>& value) {
    return value ? q(quantity, *value) : QStringLiteral("–");
}

// The device values as a CSS colour: the swatch shows the patch as the display was asked to show it.
QString deviceColour(const Patch& p) {
    auto byte = [](double v) { return int(std::lround(qBound(0.0, v, 1.0) * 255.0)); };
    return QStringLiteral("#%1%2%3")
        .arg(byte(p.r), 2, 16, QLatin1Char('0'))
        .arg(byte(p.g), 2, 16, QLatin1Char('0'))
        .arg(byte(p.b), 2, 16, QLatin1Char('0'));
}

// A range for values from `low` to `high` with round ends and a little room.
void roundRange(double low, double high, double* min, double* max) {
    if (!(high > low)) {
        low -= 0.5;
        high += 0.5;
    }
    const double step = NiceTickStep(high - low, 5);
    *min = std::floor(low / step) * step;
    *max = std::ceil(high / step) * step;
}

double decadeBelow(double v) {
    return std::pow(10.0, std::floor(std::log10(v) + 1e-9));
}

double decadeAbove(double v) {
    return std::pow(10.0, std::ceil(std::log10(v) - 1e-9));
}

const char* const kCss = R"(
body { font-family: Helvetica, Arial, sans-serif; color: #111; background: #fff; margin: 24px auto;
       max-width: 1000px; padding: 0 16px; line-height: 1.35; }
h1 { font-size: 24px; margin: 0 0 6px; }
h2 { font-size: 18px; margin: 18px 0 8px; border-bottom: 1px solid #999; padding-bottom: 3px; }
dl.header { display: grid; grid-template-columns: max-content 1fr; gap: 2px 14px; margin: 8px 0 12px; }
dl.header dt { font-weight: bold; }
dl.header dd { margin: 0; }
.verdict { border: 2px solid #333; padding: 8px 12px; margin: 10px 0; font-size: 16px; }
.verdict.pass-recommended { border-color: #2b7a2b; background: #eef7ee; }
.verdict.pass-nominal { border-color: #a07000; background: #fbf5e6; }
.verdict.fail { border-color: #b00020; background: #fbecee; border-style: double; border-width: 4px; }
.verdict.none { border-style: dashed; }
.verdict strong { font-size: 18px; }
table { border-collapse: collapse; margin: 6px 0 12px; font-size: 12px; }
div.wide { overflow-x: auto; }
#patch-table { font-size: 11px; }
th, td { border: 1px solid #bbb; padding: 2px 6px; text-align: right; }
th { background: #f0f0f0; }
td.text, th.text { text-align: left; }
td.failed { color: #b00020; font-weight: bold; }
.swatch { display: inline-block; width: 22px; height: 12px; border: 1px solid #777; vertical-align: middle; }
figure { margin: 10px 0 16px; break-inside: avoid; page-break-inside: avoid; }
figure svg { max-width: 100%; height: auto; }
ul.notes { font-size: 13px; color: #333; }
p.why { font-style: italic; }
footer { font-size: 11px; color: #555; margin-top: 20px; }
* { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
@page { size: A4; margin: 12mm; }
@media print {
  body { margin: 0; max-width: none; padding: 0; font-size: 11px; }
  section.break { break-before: page; page-break-before: always; }
  table { font-size: 9px; }
  #patch-table { font-size: 7.5px; }
  th, td { padding: 1px 3px; }
  tr { break-inside: avoid; page-break-inside: avoid; }
  thead { display: table-header-group; }
}
)";
} // namespace

CharacterisationPage::CharacterisationPage(const CharacterisationFigures& figures, const ReportHeader& header)
    : m_f(figures), m_header(header) {}

QString CharacterisationPage::html() const {
    const QString title = m_header.displayName.isEmpty()
                              ? QStringLiteral("Display characterisation")
                              : QStringLiteral("Display characterisation: %1").arg(m_header.displayName);
    QString out;
    out += QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n");
    out += QStringLiteral("<title>%1</title>\n<style>%2</style>\n</head>\n<body>\n")
               .arg(esc(title), QString::fromUtf8(kCss));
    out += QStringLiteral("<section id=\"summary\">\n<h1>%1</h1>\n").arg(esc(title));
    out += header();
    out += verdict();
    out += summary();
    out += QStringLiteral("</section>\n");
    out += tonePlots();
    out += colourPlots();
    out += greyTable();
    out += patchTable();
    out += QStringLiteral("<footer>Made by chromameter from %1 reading%2.</footer>\n</body>\n</html>\n")
               .arg(m_f.patches.size())
               .arg(m_f.patches.size() == 1 ? QString() : QStringLiteral("s"));
    return out;
}

QString CharacterisationPage::header() const {
    const Target& t = m_f.target;
    auto row = [](const QString& name, const QString& value) {
        return QStringLiteral("<dt>%1</dt><dd>%2</dd>\n").arg(esc(name), esc(value));
    };
    QString out = QStringLiteral("<dl class=\"header\">\n");
    if (!m_header.displayName.isEmpty())
        out += row(QStringLiteral("Display"), m_header.displayName);
    out += row(QStringLiteral("Instrument"),
               m_header.instrument.isEmpty() ? QStringLiteral("not recorded") : m_header.instrument);
    if (m_header.date.isValid())
        out += row(QStringLiteral("Date"), m_header.date.toString(QStringLiteral("yyyy-MM-dd HH:mm t")));
    out += row(QStringLiteral("Target"), QStringLiteral("%1 primaries, white %2 (x %3, y %4), EOTF %5")
                                             .arg(SpaceTitle(t.spaceName()), t.whiteName())
                                             .arg(q(Quantity::x, t.white().x), q(Quantity::y, t.white().y))
                                             .arg(t.eotf().Name()));
    QString patches = QString::number(m_f.patches.size());
    if (!m_header.patchSets.isEmpty())
        patches += QStringLiteral(" (%1)").arg(m_header.patchSets);
    out += row(QStringLiteral("Patches"), patches);
    if (m_f.driftNormalised)
        out += row(QStringLiteral("Drift"), QStringLiteral("readings normalised to the white over time"));
    out += QStringLiteral("</dl>\n");
    return out;
}

QString CharacterisationPage::verdict() const {
    if (!m_f.deltaE) {
        const QString why =
            m_f.hasColour ? QStringLiteral("no white was measured, so there is no target to compare with")
                          : QStringLiteral("the instrument measures luminance only; ΔE2000 needs colour");
        return QStringLiteral(
                   "<div class=\"verdict none\" id=\"verdict\"><strong>No verdict</strong>: %1.</div>\n")
            .arg(esc(why));
    }
    const DeltaEFigures& d = *m_f.deltaE;
    const QString words = d.verdict == QLatin1String("pass-recommended")
                              ? QStringLiteral("Passes the recommended marks")
                          : d.verdict == QLatin1String("pass-nominal")
                              ? QStringLiteral("Passes the nominal marks (not the recommended ones)")
                              : QStringLiteral("Fails the nominal marks");
    return QStringLiteral(
               "<div class=\"verdict %1\" id=\"verdict\"><strong>%2</strong>: ΔE2000 mean %3, max %4 "
               "over %5 patches.<br><small>Nominal: mean ≤ 1.5 and max ≤ 4; recommended: mean ≤ 1 "
               "and max ≤ 3.</small></div>\n")
        .arg(esc(d.verdict), esc(words), q(Quantity::DeltaE2000, d.mean), q(Quantity::DeltaE2000, d.max))
        .arg(d.count);
}

QString CharacterisationPage::summary() const {
    QString out = QStringLiteral("<h2>Summary</h2>\n<table id=\"figures\">\n");
    auto row = [&](const QString& name, const QString& value) {
        out += QStringLiteral("<tr><th class=\"text\">%1</th><td class=\"text\">%2</td></tr>\n")
                   .arg(esc(name), esc(value));
    };
    auto light = [](const MeasuredLight& l) {
        QString text = q(Quantity::Lv, l.Lv) + QStringLiteral(" cd/m²");
        if (l.xy)
            text += QStringLiteral(", x %1, y %2").arg(q(Quantity::x, l.xy->x), q(Quantity::y, l.xy->y));
        return text;
    };
    if (m_f.white) {
        QString text = light(m_f.white->light);
        const WhitenessFigures& w = m_f.white->whiteness;
        if (m_f.white->light.xy) {
            text += w.cct ? QStringLiteral(", CCT %1 K, Duv %2")
                                .arg(q(Quantity::CCT, *w.cct), opt(Quantity::Duv, w.duv))
                          : QStringLiteral(", no CCT (off the Planckian locus)");
            if (w.deltaUvToTarget)
                text += QStringLiteral(", Δu′v′ to target %1").arg(q(Quantity::DeltaUv, *w.deltaUvToTarget));
        }
        row(QStringLiteral("White"), text);
    }
    if (m_f.black)
        row(QStringLiteral("Black"), light(m_f.black->light));
    if (m_f.contrast)
        row(QStringLiteral("Contrast"), m_f.contrast->ratio
                                            ? FigureText(*m_f.contrast->ratio, 0) + QStringLiteral(":1")
                                            : QStringLiteral("none (black measured as zero)"));
    if (m_f.gamma.fitted)
        row(QStringLiteral("Gamma"), QStringLiteral("%1, fitted over %2 grey steps%3")
                                         .arg(FigureText(*m_f.gamma.fitted, 2))
                                         .arg(m_f.gamma.steps)
                                         .arg(m_f.black ? QStringLiteral(", black compensated") : QString()));
    if (m_f.primaries) {
        auto xy = [](const Chromaticity& c) {
            return QStringLiteral("%1, %2").arg(q(Quantity::x, c.x), q(Quantity::y, c.y));
        };
        row(QStringLiteral("Primaries (x, y)"),
            QStringLiteral("red %1; green %2; blue %3")
                .arg(xy(m_f.primaries->red), xy(m_f.primaries->green), xy(m_f.primaries->blue)));
    }
    if (m_f.deltaE)
        row(QStringLiteral("ΔE2000"),
            QStringLiteral("mean %1, median %2, max %3 over %4 patches")
                .arg(q(Quantity::DeltaE2000, m_f.deltaE->mean), q(Quantity::DeltaE2000, m_f.deltaE->median),
                     q(Quantity::DeltaE2000, m_f.deltaE->max))
                .arg(m_f.deltaE->count));
    if (m_f.drift) {
        const DriftFigures& d = *m_f.drift;
        QString text = QStringLiteral("white %1%2 % over %3 s (%4 readings)")
                           .arg(d.luminanceChangePercent >= 0 ? QStringLiteral("+") : QString())
                           .arg(FigureText(d.luminanceChangePercent, 2))
                           .arg(FigureText(d.seconds, 1))
                           .arg(d.whiteReadings);
        if (d.maxDeltaUv)
            text += QStringLiteral(", largest Δu′v′ %1").arg(q(Quantity::DeltaUv, *d.maxDeltaUv));
        if (d.normalised)
            text += QStringLiteral("; readings normalised");
        row(QStringLiteral("Drift"), text);
    }
    out += QStringLiteral("</table>\n");
    if (!m_f.gamut.isEmpty()) {
        out += QStringLiteral(
            "<table id=\"gamut\">\n<thead><tr><th class=\"text\">Gamut against</th><th>coverage xy</th>"
            "<th>area xy</th><th>coverage u′v′</th><th>area u′v′</th></tr></thead>\n");
        for (const GamutFigures& g : m_f.gamut)
            out += QStringLiteral(
                       "<tr><td class=\"text\">%1</td><td>%2</td><td>%3</td><td>%4</td><td>%5</td></tr>\n")
                       .arg(esc(SpaceTitle(g.space)), PercentText(g.xy.coverage), PercentText(g.xy.areaRatio),
                            PercentText(g.uv.coverage), PercentText(g.uv.areaRatio));
        out += QStringLiteral("</table>\n");
    }
    if (!m_f.notes.isEmpty()) {
        out += QStringLiteral("<ul class=\"notes\">\n");
        for (const QString& note : m_f.notes)
            out += QStringLiteral("<li>%1</li>\n").arg(esc(note));
        out += QStringLiteral("</ul>\n");
    }
    return out;
}

QString CharacterisationPage::tonePlots() const {
    QString out = QStringLiteral("<section class=\"break\" id=\"tone\">\n<h2>Tone response</h2>\n");
    if (m_f.greys.isEmpty()) {
        out +=
            QStringLiteral("<p class=\"why\">No grey steps were measured: no tone response to show.</p>\n");
    } else {
        out += QStringLiteral("<figure>%1</figure>\n<figure>%2</figure>\n<figure>%3</figure>\n")
                   .arg(toneLinear(), toneLog(), pointGamma());
    }
    out += QStringLiteral("</section>\n");
    return out;
}

QString CharacterisationPage::colourPlots() const {
    QString out = QStringLiteral("<section class=\"break\" id=\"colour\">\n<h2>Colour</h2>\n");
    if (!m_f.hasColour) {
        out += QStringLiteral("<p class=\"why\">The instrument measures luminance only: without chromaticity "
                              "there is no grey tracking, no gamut on the chromaticity diagrams and no "
                              "ΔE2000, so only the tone plots are shown.</p>\n</section>\n");
        return out;
    }
    if (!m_f.greys.isEmpty())
        out += QStringLiteral("<figure>%1</figure>\n<figure>%2</figure>\n").arg(greyDeltaUv(), greyCct());
    out +=
        QStringLiteral("<figure>%1</figure>\n<figure>%2</figure>\n").arg(chromaticityXy(), chromaticityUv());
    if (m_f.deltaE)
        out += QStringLiteral("<figure>%1</figure>\n").arg(deltaEBars());
    out += QStringLiteral("</section>\n");
    return out;
}

namespace {
struct TonePoint {
    double level;
    double Lv;
};

QVector<TonePoint> measuredTone(const CharacterisationFigures& f) {
    QVector<TonePoint> points;
    for (const GreyStep& s : f.greys)
        if (!s.failed)
            points.append({s.level, s.light.Lv});
    return points;
}

// The target's luminance at grey level v, when there is a white to scale it to.
std::optional<double> targetLv(const CharacterisationFigures& f, double v) {
    if (!f.white)
        return std::nullopt;
    const double blackY = f.black ? f.black->light.Lv : 0.0;
    return f.target.TargetXyz(v, v, v, f.white->light.Lv, blackY).Y;
}
} // namespace

QString CharacterisationPage::toneLinear() const {
    SvgPlot plot(QStringLiteral("plot-tone-linear"), QStringLiteral("Tone response"));
    QVector<QPointF> measured;
    double top = 0;
    for (const TonePoint& p : measuredTone(m_f)) {
        measured.append(QPointF(100 * p.level, p.Lv));
        top = qMax(top, p.Lv);
    }
    QVector<QPointF> target;
    for (int i = 0; i <= 100; ++i)
        if (const auto t = targetLv(m_f, i / 100.0)) {
            target.append(QPointF(i, *t));
            top = qMax(top, *t);
        }
    double yMin, yMax;
    roundRange(0, top, &yMin, &yMax);
    plot.setXAxis(QStringLiteral("grey level (%)"), 0, 100);
    plot.setYAxis(QStringLiteral("luminance (cd/m²)"), 0, yMax);
    if (!target.isEmpty())
        plot.addLine(target, line(kTarget, QStringLiteral("6 4")),
                     QStringLiteral("target (%1)").arg(m_f.target.eotf().Name()));
    plot.addLine(measured, line(kMeasured, QString(), Marker::Circle), QStringLiteral("measured"));
    return plot.svg();
}

QString CharacterisationPage::toneLog() const {
    SvgPlot plot(QStringLiteral("plot-tone-log"), QStringLiteral("Tone response, log axes"));
    QVector<QPointF> measured;
    double low = 0, high = 0;
    auto extend = [&](double lv) {
        if (!(lv > 0))
            return;
        low = low > 0 ? qMin(low, lv) : lv;
        high = qMax(high, lv);
    };
    for (const TonePoint& p : measuredTone(m_f)) {
        if (p.level > 0 && p.Lv > 0) {
            measured.append(QPointF(100 * p.level, p.Lv));
            extend(p.Lv);
        }
    }
    QVector<QPointF> target;
    for (int i = 0; i <= 60; ++i) {
        const double v = std::pow(10.0, -2.0 + 2.0 * i / 60.0); // 1 % to 100 %
        if (const auto t = targetLv(m_f, v)) {
            target.append(QPointF(100 * v, *t));
            extend(*t);
        }
    }
    if (!(low > 0)) {
        low = 0.1;
        high = 100;
    }
    plot.setXAxis(QStringLiteral("grey level (%, log scale)"), 1, 100, SvgPlot::Scale::Log);
    plot.setYAxis(QStringLiteral("luminance (cd/m², log scale)"), decadeBelow(low), decadeAbove(high),
                  SvgPlot::Scale::Log);
    if (!target.isEmpty())
        plot.addLine(target, line(kTarget, QStringLiteral("6 4")),
                     QStringLiteral("target (%1)").arg(m_f.target.eotf().Name()));
    plot.addLine(measured, line(kMeasured, QString(), Marker::Circle), QStringLiteral("measured"));
    plot.addNote(QStringLiteral("Black (level 0) has no place on a log axis and is left out."));
    return plot.svg();
}

QString CharacterisationPage::pointGamma() const {
    SvgPlot plot(QStringLiteral("plot-point-gamma"), QStringLiteral("Point gamma per grey step"));
    QVector<QPointF> plain, compensated, target;
    double low = 1e9, high = -1e9;
    auto extend = [&](double g) {
        low = qMin(low, g);
        high = qMax(high, g);
    };
    for (const GreyStep& s : m_f.greys) {
        if (s.failed)
            continue;
        if (s.gamma) {
            plain.append(QPointF(100 * s.level, *s.gamma));
            extend(*s.gamma);
        }
        if (s.gammaBlackCompensated) {
            compensated.append(QPointF(100 * s.level, *s.gammaBlackCompensated));
            extend(*s.gammaBlackCompensated);
        }
    }
    if (m_f.white) {
        const double white = *targetLv(m_f, 1.0);
        for (int i = 2; i <= 98; ++i) {
            const double v = i / 100.0;
            const double t = *targetLv(m_f, v);
            if (t > 0 && white > 0) {
                target.append(QPointF(i, std::log(t / white) / std::log(v)));
                extend(target.last().y());
            }
        }
    }
    if (m_f.gamma.fitted)
        extend(*m_f.gamma.fitted);
    if (low > high) {
        low = 1.8;
        high = 2.6;
    }
    double yMin, yMax;
    roundRange(low - 0.1, high + 0.1, &yMin, &yMax);
    plot.setXAxis(QStringLiteral("grey level (%)"), 0, 100);
    plot.setYAxis(QStringLiteral("gamma (exponent, no unit)"), yMin, yMax);
    if (!target.isEmpty())
        plot.addLine(target, line(kTarget, QStringLiteral("6 4")),
                     QStringLiteral("target (%1)").arg(m_f.target.eotf().Name()));
    if (m_f.gamma.fitted)
        plot.addHorizontalLine(*m_f.gamma.fitted,
                               line(QStringLiteral("#7a7a7a"), QStringLiteral("10 3 2 3"), Marker::None, 1.2),
                               QStringLiteral("fitted %1").arg(FigureText(*m_f.gamma.fitted, 2)));
    plot.addLine(plain, line(kMeasured, QString(), Marker::Circle),
                 QStringLiteral("point gamma log(Y/Yw)/log(v)"));
    if (!compensated.isEmpty())
        plot.addLine(compensated, line(kSecond, QStringLiteral("3 2"), Marker::Square),
                     QStringLiteral("black compensated"));
    return plot.svg();
}

QString CharacterisationPage::greyDeltaUv() const {
    SvgPlot plot(QStringLiteral("plot-grey-delta-uv"),
                 QStringLiteral("Grey tracking: Δu′v′ to the target white"));
    QVector<QPointF> points;
    double high = 0.005;
    for (const GreyStep& s : m_f.greys) {
        if (!s.failed && s.whiteness.deltaUvToTarget) {
            points.append(QPointF(100 * s.level, *s.whiteness.deltaUvToTarget));
            high = qMax(high, *s.whiteness.deltaUvToTarget);
        }
    }
    double yMin, yMax;
    roundRange(0, high * 1.1, &yMin, &yMax);
    plot.setXAxis(QStringLiteral("grey level (%)"), 0, 100);
    plot.setYAxis(QStringLiteral("Δu′v′ (CIE 1976 UCS)"), 0, yMax);
    plot.addHorizontalLine(0, line(kTarget, QStringLiteral("6 4"), Marker::None, 2),
                           QStringLiteral("target white %1 (Δu′v′ = 0)").arg(m_f.target.whiteName()));
    plot.addHorizontalLine(0.004, line(QStringLiteral("#888888"), QStringLiteral("2 3"), Marker::None, 1.2),
                           QStringLiteral("0.004, about a just-visible tint"));
    plot.addLine(points, line(kMeasured, QString(), Marker::Circle), QStringLiteral("measured grey"));
    if (points.isEmpty())
        plot.addNote(QStringLiteral("No grey step has a chromaticity and a target white."));
    return plot.svg();
}

QString CharacterisationPage::greyCct() const {
    SvgPlot plot(QStringLiteral("plot-grey-cct"),
                 QStringLiteral("Grey tracking: correlated colour temperature"));
    QVector<QPointF> points;
    double low = 1e9, high = -1e9;
    for (const GreyStep& s : m_f.greys) {
        if (!s.failed && s.whiteness.cct) {
            points.append(QPointF(100 * s.level, *s.whiteness.cct));
            low = qMin(low, *s.whiteness.cct);
            high = qMax(high, *s.whiteness.cct);
        }
    }
    const CctResult target = CctFromXy(m_f.target.white().x, m_f.target.white().y);
    if (target.ok()) {
        low = qMin(low, target.cct);
        high = qMax(high, target.cct);
    }
    if (low > high) {
        low = 5000;
        high = 7000;
    }
    double yMin, yMax;
    roundRange(low - 200, high + 200, &yMin, &yMax);
    plot.setXAxis(QStringLiteral("grey level (%)"), 0, 100);
    plot.setYAxis(QStringLiteral("CCT (K)"), yMin, yMax);
    if (target.ok())
        plot.addHorizontalLine(
            target.cct, line(kTarget, QStringLiteral("6 4"), Marker::None, 2),
            QStringLiteral("target %1 (%2 K)").arg(m_f.target.whiteName()).arg(q(Quantity::CCT, target.cct)));
    plot.addLine(points, line(kMeasured, QString(), Marker::Circle), QStringLiteral("measured grey"));
    plot.addNote(
        QStringLiteral("Steps whose chromaticity is off the Planckian locus (black, often) have no CCT."));
    return plot.svg();
}

namespace {
struct Diagram {
    bool uv; // CIE 1976 u′v′ instead of CIE 1931 xy
    QPointF at(double x, double y) const {
        if (!uv)
            return QPointF(x, y);
        const UvPoint p = UvPrimeFromXy(x, y);
        return QPointF(p.u, p.v);
    }
    QPointF at(const Chromaticity& c) const { return at(c.x, c.y); }
};

QVector<QPointF> triangle(const Diagram& d, const RgbPrimaries& p) {
    return {d.at(p.red), d.at(p.green), d.at(p.blue)};
}

// Both diagrams carry the same furniture; only the coordinates differ.
QString chromaticityDiagram(const CharacterisationFigures& f, const Diagram& d) {
    const QString id = d.uv ? QStringLiteral("plot-uv") : QStringLiteral("plot-xy");
    const QString title = d.uv ? QStringLiteral("CIE 1976 u′v′ chromaticity diagram")
                               : QStringLiteral("CIE 1931 xy chromaticity diagram");
    const double xMax = d.uv ? 0.65 : 0.8;
    const double yMax = d.uv ? 0.6 : 0.9;
    const double scale = d.uv ? 640 : 500; // the same units on both axes
    SvgPlot plot(id, title, xMax * scale, yMax * scale);
    plot.setXAxis(d.uv ? QStringLiteral("u′") : QStringLiteral("x"), 0, xMax);
    plot.setYAxis(d.uv ? QStringLiteral("v′") : QStringLiteral("y"), 0, yMax);

    QVector<QPointF> locus;
    for (const LocusPoint& p : SpectralLocus())
        locus.append(d.at(p.x, p.y));
    Style locusStyle = line(QStringLiteral("#333333"), QString(), Marker::None, 1.2);
    locusStyle.fill = QStringLiteral("#f2f5fa");
    plot.addPolygon(locus, locusStyle, QStringLiteral("spectral locus"));
    for (const LocusPoint& p : SpectralLocus()) {
        // In u′v′ the green end of the locus is short: 540 nm would sit on 520 nm.
        const bool crowded = d.uv && p.nm == 540;
        if (!crowded && (p.nm == 460 || p.nm == 480 || p.nm == 500 || p.nm == 520 || p.nm == 540 ||
                         p.nm == 560 || p.nm == 580 || p.nm == 600 || p.nm == 620)) {
            const QPointF at = d.at(p.x, p.y);
            const bool leftSide = p.nm <= 500;
            plot.addLabel(at + QPointF(leftSide ? -0.01 : 0.01, 0), QStringLiteral("%1 nm").arg(p.nm),
                          QStringLiteral("#555555"),
                          leftSide ? QStringLiteral("end") : QStringLiteral("start"), 9);
        }
    }
    QVector<QPointF> planck;
    for (const XyPoint& p : PlanckianLocusXy(kCctMinKelvin, kCctMaxKelvin, 80))
        planck.append(d.at(p.x, p.y));
    plot.addLine(planck, line(QStringLiteral("#8a5a00"), QString(), Marker::None, 1.0),
                 QStringLiteral("Planckian locus"));

    plot.addPolygon(triangle(d, SrgbPrimaries()),
                    line(QStringLiteral("#555555"), QString(), Marker::None, 1.0), QStringLiteral("sRGB"));
    plot.addPolygon(triangle(d, P3Primaries()),
                    line(QStringLiteral("#2a7a2a"), QStringLiteral("7 3"), Marker::None, 1.2),
                    QStringLiteral("DCI-P3"));
    plot.addPolygon(triangle(d, Bt2020Primaries()),
                    line(QStringLiteral("#7a3fa0"), QStringLiteral("2 3"), Marker::None, 1.4),
                    QStringLiteral("BT.2020"));
    if (f.primaries) {
        RgbPrimaries measured{f.primaries->red, f.primaries->green, f.primaries->blue};
        Style s = line(kSecond, QString(), Marker::Square, 2.2);
        s.markerSize = 3;
        plot.addPolygon(triangle(d, measured), s, QStringLiteral("measured gamut"));
    }
    plot.addPoints({d.at(f.target.white())}, line(kTarget, QString(), Marker::Diamond),
                   QStringLiteral("target white %1").arg(f.target.whiteName()));
    if (f.white && f.white->light.xy) {
        Style s = line(kMeasured, QString(), Marker::Cross);
        s.markerSize = 5;
        plot.addPoints({d.at(*f.white->light.xy)}, s, QStringLiteral("measured white"));
    }
    if (!f.primaries)
        plot.addNote(QStringLiteral("Red, green and blue at 100 % were not all measured: no gamut to draw."));
    return plot.svg();
}
} // namespace

QString CharacterisationPage::chromaticityXy() const {
    return chromaticityDiagram(m_f, Diagram{false});
}

QString CharacterisationPage::chromaticityUv() const {
    return chromaticityDiagram(m_f, Diagram{true});
}

QString CharacterisationPage::deltaEBars() const {
    QVector<const PatchFigures*> bars;
    for (const PatchFigures& p : m_f.patches)
        if (!p.failed && p.deltaE2000)
            bars.append(&p);
    const double plotWidth = qBound(440.0, bars.size() * 16.0, 640.0);
    SvgPlot plot(QStringLiteral("plot-delta-e"), QStringLiteral("ΔE2000 of every patch"), plotWidth, 260);
    double high = 4.5;
    for (const PatchFigures* p : bars)
        high = qMax(high, *p->deltaE2000);
    double yMin, yMax;
    roundRange(0, high * 1.05, &yMin, &yMax);
    plot.setXAxis(QStringLiteral("patch (id, in set order; swatch: the device colour)"), 0.4,
                  bars.size() + 0.6);
    plot.setYAxis(QStringLiteral("ΔE2000"), 0, yMax);
    QVector<double> ticks;
    QStringList labels;
    const int every = bars.size() > 40 ? 5 : bars.size() > 20 ? 2 : 1;
    Style bar = line(QStringLiteral("#333333"), QString(), Marker::None, 0.8);
    bar.fill = QStringLiteral("#9aa8bd");
    for (int i = 0; i < bars.size(); ++i) {
        const PatchFigures& p = *bars[i];
        const QString name = p.patch.name.isEmpty() ? p.patch.set : p.patch.name;
        plot.addBar(i + 1, 0.7, *p.deltaE2000, bar,
                    QStringLiteral("patch %1 (%2): ΔE2000 %3")
                        .arg(p.patch.id)
                        .arg(name, q(Quantity::DeltaE2000, *p.deltaE2000)),
                    deviceColour(p.patch));
        if (i % every == 0) {
            ticks.append(i + 1);
            labels.append(QString::number(p.patch.id));
        }
    }
    plot.setXTicks(ticks, labels);
    plot.addHorizontalLine(4, line(QStringLiteral("#b00020"), QStringLiteral("9 4"), Marker::None, 1.6),
                           QStringLiteral("nominal: max ≤ 4"));
    plot.addHorizontalLine(3, line(QStringLiteral("#d35400"), QStringLiteral("4 3"), Marker::None, 1.6),
                           QStringLiteral("recommended: max ≤ 3"));
    plot.addHorizontalLine(1.5, line(QStringLiteral("#b00020"), QStringLiteral("9 3 2 3"), Marker::None, 1.2),
                           QStringLiteral("nominal: mean ≤ 1.5"));
    plot.addHorizontalLine(1, line(QStringLiteral("#d35400"), QStringLiteral("1.5 2.5"), Marker::None, 1.6),
                           QStringLiteral("recommended: mean ≤ 1"));
    plot.addHorizontalLine(
        m_f.deltaE->mean, line(kMeasured, QString(), Marker::None, 2),
        QStringLiteral("mean of this run %1").arg(q(Quantity::DeltaE2000, m_f.deltaE->mean)));
    return plot.svg();
}

QString CharacterisationPage::greyTable() const {
    if (m_f.greys.isEmpty())
        return QString();
    const bool colour = m_f.hasColour;
    QString out =
        QStringLiteral("<section class=\"break\" id=\"tables\">\n<h2>Grey steps</h2>\n<table id=\"greys\">\n"
                       "<thead><tr><th>level</th><th>Lv (cd/m²)</th>");
    if (colour)
        out += QStringLiteral("<th>x</th><th>y</th><th>CCT (K)</th><th>Duv</th><th>Δu′v′</th>");
    out += QStringLiteral("<th>target Lv</th>");
    if (colour)
        out += QStringLiteral("<th>ΔE2000</th>");
    out += QStringLiteral("<th>gamma</th><th>gamma, black compensated</th></tr></thead>\n<tbody>\n");
    for (const GreyStep& s : m_f.greys) {
        out += QStringLiteral("<tr><td>%1</td>").arg(FigureText(s.level, 3));
        if (s.failed) {
            out += QStringLiteral("<td class=\"failed text\" colspan=\"%1\">failed: no reading</td></tr>\n")
                       .arg(colour ? 10 : 4);
            continue;
        }
        out += QStringLiteral("<td>%1</td>").arg(q(Quantity::Lv, s.light.Lv));
        if (colour)
            out += QStringLiteral("<td>%1</td><td>%2</td><td>%3</td><td>%4</td><td>%5</td>")
                       .arg(s.light.xy ? q(Quantity::x, s.light.xy->x) : QStringLiteral("–"),
                            s.light.xy ? q(Quantity::y, s.light.xy->y) : QStringLiteral("–"),
                            opt(Quantity::CCT, s.whiteness.cct), opt(Quantity::Duv, s.whiteness.duv),
                            opt(Quantity::DeltaUv, s.whiteness.deltaUvToTarget));
        out += QStringLiteral("<td>%1</td>").arg(opt(Quantity::Lv, s.targetLv));
        if (colour)
            out += QStringLiteral("<td>%1</td>").arg(opt(Quantity::DeltaE2000, s.deltaE2000));
        out +=
            QStringLiteral("<td>%1</td><td>%2</td></tr>\n")
                .arg(s.gamma ? FigureText(*s.gamma, 2) : QStringLiteral("–"),
                     s.gammaBlackCompensated ? FigureText(*s.gammaBlackCompensated, 2) : QStringLiteral("–"));
    }
    out += QStringLiteral("</tbody>\n</table>\n</section>\n");
    return out;
}

QString CharacterisationPage::patchTable() const {
    const bool colour = m_f.hasColour;
    QString out =
        QStringLiteral("<section class=\"break\" id=\"patches\">\n<h2>Every patch</h2>\n<div "
                       "class=\"wide\"><table id=\"patch-table\">\n"
                       "<thead><tr><th>id</th><th class=\"text\">set</th><th class=\"text\">name</th>"
                       "<th class=\"text\">colour</th><th>R</th><th>G</th><th>B</th><th>Lv (cd/m²)</th>");
    if (colour)
        out += QStringLiteral(
            "<th>x</th><th>y</th><th>X</th><th>Y</th><th>Z</th><th>target X</th><th>target Y</th>"
            "<th>target Z</th><th>ΔE2000</th>");
    else
        out += QStringLiteral("<th>target Lv</th>");
    out += QStringLiteral("</tr></thead>\n<tbody>\n");
    for (const PatchFigures& p : m_f.patches) {
        out += QStringLiteral("<tr><td>%1</td><td class=\"text\">%2</td><td class=\"text\">%3</td>"
                              "<td class=\"text\"><span class=\"swatch\" style=\"background:%4\"></span></td>"
                              "<td>%5</td><td>%6</td><td>%7</td>")
                   .arg(p.patch.id)
                   .arg(esc(p.patch.set), esc(p.patch.name), deviceColour(p.patch), FigureText(p.patch.r, 3),
                        FigureText(p.patch.g, 3), FigureText(p.patch.b, 3));
        if (p.failed) {
            out += QStringLiteral("<td class=\"failed text\" colspan=\"%1\">failed (0x%2)</td></tr>\n")
                       .arg(colour ? 11 : 2)
                       .arg(p.result, 8, 16, QLatin1Char('0'));
            continue;
        }
        out += QStringLiteral("<td>%1</td>").arg(q(Quantity::Lv, p.light.Lv));
        if (colour) {
            const auto v = [](Quantity quantity, const std::optional<Xyz>& xyz, int which) {
                if (!xyz)
                    return QStringLiteral("–");
                return q(quantity, which == 0 ? xyz->X : which == 1 ? xyz->Y : xyz->Z);
            };
            out += QStringLiteral("<td>%1</td><td>%2</td>")
                       .arg(p.light.xy ? q(Quantity::x, p.light.xy->x) : QStringLiteral("–"),
                            p.light.xy ? q(Quantity::y, p.light.xy->y) : QStringLiteral("–"));
            out += QStringLiteral(
                       "<td>%1</td><td>%2</td><td>%3</td><td>%4</td><td>%5</td><td>%6</td><td>%7</td>")
                       .arg(v(Quantity::X, p.light.xyz, 0), v(Quantity::Y, p.light.xyz, 1),
                            v(Quantity::Z, p.light.xyz, 2), v(Quantity::X, p.target, 0),
                            v(Quantity::Y, p.target, 1), v(Quantity::Z, p.target, 2),
                            opt(Quantity::DeltaE2000, p.deltaE2000));
        } else {
            out += QStringLiteral("<td>%1</td>")
                       .arg(p.target ? q(Quantity::Lv, p.target->Y) : QStringLiteral("–"));
        }
        out += QStringLiteral("</tr>\n");
    }
    out += QStringLiteral("</tbody>\n</table></div>\n</section>\n");
    return out;
}

bool CharacterisationPage::write(const QString& path, QString* error) const {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    file.write(html().toUtf8());
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
