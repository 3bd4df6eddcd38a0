#include "SvgPlot.h"
#include "SvgText.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace {
bool wellFormed(const QString& svg) {
    QXmlStreamReader xml(svg);
    while (!xml.atEnd())
        xml.readNext();
    return !xml.hasError();
}

QStringList tickLabels(const QString& svg) {
    QStringList labels;
    const QRegularExpression tick("<text class=\"tick\"[^>]*>([^<]*)</text>");
    for (auto it = tick.globalMatch(svg); it.hasNext();)
        labels << it.next().captured(1);
    return labels;
}

// The points attribute of every polyline, as lists of "x,y".
QList<QStringList> polylines(const QString& svg) {
    QList<QStringList> lines;
    const QRegularExpression re("<polyline points=\"([^\"]*)\"");
    for (auto it = re.globalMatch(svg); it.hasNext();)
        lines << it.next().captured(1).split(' ');
    return lines;
}
} // namespace

TEST(ReportSvgPlot, LinearAxesGetRoundTicksAndTitles) {
    SvgPlot plot("p", "A plot");
    plot.setXAxis("level (%)", 0, 100);
    plot.setYAxis("Lv (cd/m²)", 0, 250);
    const QString svg = plot.svg();
    EXPECT_TRUE(wellFormed(svg));
    const QStringList labels = tickLabels(svg);
    for (const char* t : {"0", "20", "40", "60", "80", "100", "50", "150", "200", "250"})
        EXPECT_TRUE(labels.contains(t)) << t;
    EXPECT_TRUE(svg.contains(">level (%)</text>"));
    EXPECT_TRUE(svg.contains(">Lv (cd/m²)</text>"));
    EXPECT_TRUE(svg.contains("<title>A plot</title>"));
}

TEST(ReportSvgPlot, LogAxisIsLabelledAtDecades) {
    SvgPlot plot("p", "Log");
    plot.setXAxis("x", 0, 1);
    plot.setYAxis("y", 0.01, 1000, SvgPlot::Scale::Log);
    const QStringList labels = tickLabels(plot.svg());
    for (const char* t : {"0.01", "0.1", "1", "10", "100", "1000"})
        EXPECT_TRUE(labels.contains(t)) << t;
    EXPECT_FALSE(labels.contains("20")); // minor ticks carry no label over many decades
}

TEST(ReportSvgPlot, PointsThatCannotBeDrawnBreakTheLine) {
    SvgPlot plot("p", "Breaks");
    plot.setXAxis("x", 1, 100, SvgPlot::Scale::Log);
    plot.setYAxis("y", 0, 10);
    plot.addLine({{1, 1}, {10, 2}, {0, 3}, {20, 4}, {50, 5}, {100, qQNaN()}}, SvgPlot::Style());
    const QList<QStringList> lines = polylines(plot.svg());
    ASSERT_EQ(lines.size(), 2); // x = 0 has no place on a log axis, NaN none anywhere
    EXPECT_EQ(lines[0].size(), 2);
    EXPECT_EQ(lines[1].size(), 2);
}

TEST(ReportSvgPlot, DataMapsIntoTheFrameAndIsClippedToIt) {
    SvgPlot plot("frame", "Frame", 400, 200);
    plot.setXAxis("x", 0, 1);
    plot.setYAxis("y", 0, 1);
    plot.addLine({{0, 0}, {1, 1}}, SvgPlot::Style());
    const QString svg = plot.svg();
    const QList<QStringList> lines = polylines(svg);
    ASSERT_EQ(lines.size(), 1);
    const QStringList a = lines[0][0].split(',');
    const QStringList b = lines[0][1].split(',');
    EXPECT_NEAR(b[0].toDouble() - a[0].toDouble(), 400, 0.01); // the whole plot width
    EXPECT_NEAR(a[1].toDouble() - b[1].toDouble(), 200, 0.01); // y grows upwards
    EXPECT_TRUE(svg.contains("clip-path=\"url(#frame-clip)\""));
    EXPECT_TRUE(svg.contains("<clipPath id=\"frame-clip\">"));
}

TEST(ReportSvgPlot, LegendShowsEachSeriesWithItsDashAndMarker) {
    SvgPlot plot("p", "Legend");
    plot.setXAxis("x", 0, 1);
    plot.setYAxis("y", 0, 1);
    SvgPlot::Style dashed;
    dashed.dash = "6 4";
    SvgPlot::Style marked;
    marked.marker = SvgPlot::Marker::Square;
    plot.addLine({{0, 0}, {1, 1}}, dashed, "target");
    plot.addLine({{0, 1}, {1, 0}}, marked, "measured & more");
    const QString svg = plot.svg();
    EXPECT_TRUE(wellFormed(svg));
    const int legend = svg.indexOf("class=\"legend\"");
    ASSERT_GE(legend, 0);
    const QString part = svg.mid(legend);
    EXPECT_TRUE(part.contains("stroke-dasharray=\"6 4\""));
    EXPECT_TRUE(part.contains("<rect")); // the square marker
    EXPECT_TRUE(part.contains(">target</text>"));
    EXPECT_TRUE(part.contains(">measured &amp; more</text>"));
}

TEST(ReportSvgPlot, BarsRiseFromZeroWithTheirSwatchBelow) {
    SvgPlot plot("p", "Bars", 300, 100);
    plot.setXAxis("patch", 0.5, 3.5);
    plot.setYAxis("ΔE", 0, 10);
    SvgPlot::Style bar;
    bar.fill = "#999999";
    plot.addBar(1, 0.8, 5, bar, "patch 1", "#ff0000");
    plot.addBar(2, 0.8, 10, bar, "patch <2>", "#00ff00");
    const QString svg = plot.svg();
    EXPECT_TRUE(wellFormed(svg));
    const QRegularExpression re(
        "<rect class=\"bar\" x=\"[^\"]*\" y=\"([^\"]*)\" width=\"[^\"]*\" height=\"([^\"]*)\"");
    QList<double> heights;
    for (auto it = re.globalMatch(svg); it.hasNext();)
        heights << it.next().captured(2).toDouble();
    ASSERT_EQ(heights.size(), 2);
    EXPECT_NEAR(heights[0], 50, 0.01);
    EXPECT_NEAR(heights[1], 100, 0.01);
    EXPECT_EQ(svg.count("class=\"swatch\""), 2);
    EXPECT_TRUE(svg.contains("fill=\"#ff0000\""));
    EXPECT_TRUE(svg.contains("<title>patch &lt;2&gt;</title>"));
}

TEST(ReportSvgText, EscapesMarkupAndQuotes) {
    EXPECT_EQ(EscapeXml("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c&#39;");
    EXPECT_EQ(SvgNumber(12.5), "12.5");
    EXPECT_EQ(SvgNumber(-0.001), "0");
    EXPECT_EQ(TickText(0.6000000000000001, 0.2), "0.6");
}
