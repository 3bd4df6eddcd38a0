#include "CharacterisationPage.h"
#include "Figures.h"
#include "SyntheticDisplay.h"

#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace {
CharacterisationFigures figuresOf(bool colour) {
    SyntheticDisplay display;
    display.colour = colour;
    display.primaries = P3Primaries();
    display.black = 0.2;
    display.peak = 180.0;
    display.eotf = SyntheticDisplay::gammaEotf(2.4);
    const QVector<Patch> patches = GreysAndPrimaries(11);
    return ComputeFigures(patches, display.Run(patches), Target());
}

ReportHeader headerOf(const QString& displayName = QStringLiteral("Desk monitor")) {
    ReportHeader h;
    h.instrument = QStringLiteral("Minolta colour analyser (analyser)");
    h.displayName = displayName;
    h.date = QDateTime(QDate(2026, 11, 25), QTime(13, 30), Qt::UTC);
    h.patchSets = QStringLiteral("grey:11,primaries");
    return h;
}

QStringList svgElements(const QString& html) {
    QStringList out;
    int from = 0;
    while (true) {
        const int start = html.indexOf(QStringLiteral("<svg"), from);
        if (start < 0)
            break;
        const int end = html.indexOf(QStringLiteral("</svg>"), start);
        if (end < 0) {
            out << html.mid(start); // unterminated: the parser will say so
            break;
        }
        out << html.mid(start, end + 6 - start);
        from = end + 6;
    }
    return out;
}

// The first <title> of an SVG element, read as XML; empty when it does not parse.
QString svgTitle(const QString& svg, QString* error) {
    QXmlStreamReader xml(svg);
    QString title;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("title") && title.isEmpty())
            title = xml.readElementText();
    }
    if (xml.hasError()) {
        *error = xml.errorString() + QStringLiteral(" at line %1").arg(xml.lineNumber());
        return QString();
    }
    return title;
}

QStringList plotTitles(const QString& html) {
    QStringList titles;
    for (const QString& svg : svgElements(html)) {
        QString error;
        const QString title = svgTitle(svg, &error);
        EXPECT_TRUE(error.isEmpty()) << error.toStdString() << "\n" << svg.left(300).toStdString();
        titles << title;
    }
    return titles;
}
} // namespace

TEST(ReportCharacterisationPage, EveryPlotIsOneWellFormedSvgWithItsTitle) {
    const QString html = CharacterisationPage(figuresOf(true), headerOf()).html();
    const QStringList titles = plotTitles(html);
    EXPECT_EQ(titles,
              (QStringList{"Tone response", "Tone response, log axes", "Point gamma per grey step",
                           "Grey tracking: Δu′v′ to the target white",
                           "Grey tracking: correlated colour temperature", "CIE 1931 xy chromaticity diagram",
                           "CIE 1976 u′v′ chromaticity diagram", "ΔE2000 of every patch"}));
}

TEST(ReportCharacterisationPage, LuminanceMeterRunHasTheTonePlotsOnlyAndSaysWhy) {
    const QString html = CharacterisationPage(figuresOf(false), headerOf()).html();
    EXPECT_EQ(plotTitles(html),
              (QStringList{"Tone response", "Tone response, log axes", "Point gamma per grey step"}));
    EXPECT_TRUE(html.contains("measures luminance only"))
        << "the page must say why the colour plots are missing";
    EXPECT_TRUE(html.contains("No verdict"));
    EXPECT_FALSE(html.contains("CIE 1931"));
}

TEST(ReportCharacterisationPage, PageFetchesNothingAndRunsNoScript) {
    for (bool colour : {true, false}) {
        const QString html = CharacterisationPage(figuresOf(colour), headerOf()).html();
        EXPECT_FALSE(html.contains("http", Qt::CaseInsensitive));
        EXPECT_FALSE(html.contains("src=", Qt::CaseInsensitive));
        EXPECT_FALSE(html.contains("@import", Qt::CaseInsensitive));
        EXPECT_FALSE(
            html.contains("url(", Qt::CaseInsensitive) &&
            html.contains(QRegularExpression("url\\((?!#)", QRegularExpression::CaseInsensitiveOption)));
        EXPECT_FALSE(html.contains("<script", Qt::CaseInsensitive));
        EXPECT_FALSE(html.contains("<link", Qt::CaseInsensitive));
        EXPECT_TRUE(html.startsWith("<!DOCTYPE html>"));
        EXPECT_TRUE(html.trimmed().endsWith("</html>"));
    }
}

TEST(ReportCharacterisationPage, HeaderNamesDisplayInstrumentDateAndTargetWithTextEscaped) {
    const QString name = QStringLiteral("<b>Lab & \"studio\"</b>");
    const QString html = CharacterisationPage(figuresOf(true), headerOf(name)).html();
    EXPECT_FALSE(html.contains(name));
    EXPECT_FALSE(html.contains("<b>Lab"));
    EXPECT_TRUE(html.contains("&lt;b&gt;Lab &amp; &quot;studio&quot;&lt;/b&gt;"));
    EXPECT_TRUE(html.contains("Minolta colour analyser (analyser)"));
    EXPECT_TRUE(html.contains("2026-11-25 13:30"));
    EXPECT_TRUE(html.contains("sRGB primaries, white D65"));
    EXPECT_TRUE(html.contains("gamma:2.2"));
}

TEST(ReportCharacterisationPage, VerdictFollowsTheDeltaEFigures) {
    CharacterisationFigures f = figuresOf(true);
    ASSERT_TRUE(f.deltaE);
    // A P3 display against an sRGB target fails: its primaries are far from the target's.
    EXPECT_EQ(f.deltaE->verdict, "fail");
    EXPECT_TRUE(CharacterisationPage(f, headerOf()).html().contains("class=\"verdict fail\""));
    f.deltaE->verdict = "pass-recommended";
    EXPECT_TRUE(CharacterisationPage(f, headerOf()).html().contains("class=\"verdict pass-recommended\""));
}

TEST(ReportCharacterisationPage, DeltaEPlotHasABarAndASwatchForEveryPatchAndThePassMarks) {
    const CharacterisationFigures f = figuresOf(true);
    const QString html = CharacterisationPage(f, headerOf()).html();
    const QStringList svgs = svgElements(html);
    const QString bars = svgs.last();
    ASSERT_TRUE(bars.contains("ΔE2000 of every patch"));
    int withDeltaE = 0;
    for (const PatchFigures& p : f.patches)
        withDeltaE += p.deltaE2000 ? 1 : 0;
    EXPECT_EQ(bars.count("class=\"bar\""), withDeltaE);
    EXPECT_EQ(bars.count("class=\"swatch\""), withDeltaE);
    EXPECT_TRUE(bars.contains("fill=\"#ff0000\"")); // the red patch's swatch
    EXPECT_TRUE(bars.contains("fill=\"#00ffff\"")); // cyan's
    for (const char* mark :
         {"nominal: max ≤ 4", "recommended: max ≤ 3", "nominal: mean ≤ 1.5", "recommended: mean ≤ 1"})
        EXPECT_TRUE(bars.contains(QString::fromUtf8(mark))) << mark;
}

TEST(ReportCharacterisationPage, PlotsHaveAxisTitlesTicksAndALegend) {
    const QString html = CharacterisationPage(figuresOf(true), headerOf()).html();
    for (const QString& svg : svgElements(html)) {
        EXPECT_EQ(svg.count("class=\"axis-title\""), 2) << svg.left(120).toStdString();
        EXPECT_GE(svg.count("class=\"tick\""), 6) << svg.left(120).toStdString();
        EXPECT_TRUE(svg.contains("class=\"legend\"")) << svg.left(120).toStdString();
        // Series differ in dash pattern or marker, not only in colour.
        EXPECT_TRUE(svg.contains("stroke-dasharray")) << svg.left(120).toStdString();
    }
    EXPECT_TRUE(html.contains("luminance (cd/m²)"));
    EXPECT_TRUE(html.contains("CCT (K)"));
}

TEST(ReportCharacterisationPage, PrintsOnA4WithAPageBreakBetweenSections) {
    const QString html = CharacterisationPage(figuresOf(true), headerOf()).html();
    EXPECT_TRUE(html.contains("@page { size: A4"));
    EXPECT_TRUE(html.contains("@media print"));
    EXPECT_GE(html.count("<section class=\"break\""), 3);
}

TEST(ReportCharacterisationPage, TableListsEveryPatchAndMarksFailedOnes) {
    SyntheticDisplay display;
    const QVector<Patch> patches = GreysAndPrimaries(5);
    QVector<PatchReading> readings = display.Run(patches);
    readings[6].failed = true; // green
    readings[6].result = 0x80000008;
    const QString html = CharacterisationPage(ComputeFigures(patches, readings, Target()), headerOf()).html();
    const int start = html.indexOf("id=\"patch-table\"");
    ASSERT_GE(start, 0);
    const QString table = html.mid(start, html.indexOf("</table>", start) - start);
    EXPECT_EQ(table.count("<tr>") - 1, patches.size()); // one header row
    EXPECT_TRUE(table.contains("failed (0x80000008)"));
}

TEST(ReportCharacterisationPage, WritesThePageToAFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath("report.html");
    const CharacterisationPage page(figuresOf(true), headerOf());
    QString error;
    ASSERT_TRUE(page.write(path, &error)) << error.toStdString();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(file.readAll()), page.html());
    EXPECT_FALSE(page.write(dir.filePath("missing/report.html"), &error));
    EXPECT_FALSE(error.isEmpty());
}
