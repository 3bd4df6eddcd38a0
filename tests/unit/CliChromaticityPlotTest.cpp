#include "ChromaticityPlot.h"
#include "Colorimetry.h"
#include "SpectralLocus.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <cmath>

namespace {
// Even-odd rule on the locus, closed by the purple line.
bool insideLocus(double x, double y) {
    const QVector<LocusPoint>& locus = SpectralLocus();
    bool in = false;
    for (int i = 0, j = locus.size() - 1; i < locus.size(); j = i++) {
        const LocusPoint& a = locus[i];
        const LocusPoint& b = locus[j];
        if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x)
            in = !in;
    }
    return in;
}

struct Element {
    QString name;
    QXmlStreamAttributes attributes;
};

QList<Element> elements(const QString& svg, QString* error) {
    QList<Element> found;
    QXmlStreamReader xml(svg);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement)
            found.append({xml.name().toString(), xml.attributes()});
    }
    if (xml.hasError())
        *error = xml.errorString();
    return found;
}
} // namespace

TEST(CliSpectralLocus, CoversThreeEightyToSevenHundredNanometresInFiveNanometreSteps) {
    const QVector<LocusPoint>& locus = SpectralLocus();
    ASSERT_EQ(locus.size(), 65);
    for (int i = 0; i < locus.size(); ++i) {
        EXPECT_EQ(locus[i].nm, 380 + 5 * i);
        EXPECT_GT(locus[i].x, 0);
        EXPECT_GT(locus[i].y, 0);
        // z = 1 - x - y is never negative; past 650 nm it is nil to four decimals.
        EXPECT_LE(locus[i].x + locus[i].y, 1.0 + 1e-9);
    }
}

TEST(CliSpectralLocus, HoldsThePublishedCornerPoints) {
    const QVector<LocusPoint>& locus = SpectralLocus();
    auto at = [&locus](int nm) { return locus[(nm - 380) / 5]; };
    EXPECT_DOUBLE_EQ(at(380).x, 0.1741);
    EXPECT_DOUBLE_EQ(at(380).y, 0.0050);
    EXPECT_DOUBLE_EQ(at(520).y, 0.8338);
    EXPECT_DOUBLE_EQ(at(700).x, 0.7347);
    EXPECT_DOUBLE_EQ(at(700).y, 0.2653);
    // The green peak of the horseshoe is at 520 nm.
    for (const LocusPoint& p : locus)
        EXPECT_LE(p.y, at(520).y);
}

TEST(CliSpectralLocus, EnclosesTheWhitePointsAndNotTheCornersOfTheChart) {
    EXPECT_TRUE(insideLocus(0.3127, 0.3290));   // D65
    EXPECT_TRUE(insideLocus(0.4476, 0.4074));   // illuminant A
    EXPECT_TRUE(insideLocus(1.0 / 3, 1.0 / 3)); // equal energy
    EXPECT_FALSE(insideLocus(0.7, 0.7));
    EXPECT_FALSE(insideLocus(0.05, 0.05));
    EXPECT_FALSE(insideLocus(0.6, 0.1));
}

TEST(CliChromaticityPlot, ChromaticityMapsLinearlyWithYUpwards) {
    const QPointF origin = ChromaticityPlot::ChromaticityPosition(0, 0);
    const QPointF corner =
        ChromaticityPlot::ChromaticityPosition(ChromaticityPlot::kXMax, ChromaticityPlot::kYMax);
    EXPECT_DOUBLE_EQ(origin.x(), ChromaticityPlot::kXyLeft);
    EXPECT_DOUBLE_EQ(corner.y(), ChromaticityPlot::kXyTop);
    EXPECT_GT(origin.y(), corner.y());
    const QPointF d65 = ChromaticityPlot::ChromaticityPosition(0.3127, 0.3290);
    EXPECT_NEAR((d65.x() - origin.x()) / ChromaticityPlot::kXyScale, 0.3127, 1e-12);
    EXPECT_NEAR((origin.y() - d65.y()) / ChromaticityPlot::kXyScale, 0.3290, 1e-12);
}

TEST(CliChromaticityPlot, SvgIsWellFormedAndMarksEveryReadingAtItsChromaticity) {
    ChromaticityPlot plot(QStringLiteral("Lamp <A> & friends"));
    plot.add({1, 0.0, 80.0, true, 0.4476, 0.4074});
    plot.add({2, 0.5, 82.0, true, 0.3127, 0.3290});
    QString error;
    const QList<Element> found = elements(plot.svg(), &error);
    ASSERT_TRUE(error.isEmpty()) << qPrintable(error);
    ASSERT_FALSE(found.isEmpty());
    EXPECT_EQ(found.first().name, QStringLiteral("svg"));

    int readings = 0;
    int luminances = 0;
    bool locus = false;
    for (const Element& e : found) {
        const QString cls = e.attributes.value(QStringLiteral("class")).toString();
        if (e.attributes.value(QStringLiteral("id")) == QLatin1String("spectral-locus")) {
            locus = true;
            EXPECT_EQ(e.attributes.value(QStringLiteral("points")).toString().split(QLatin1Char(' ')).size(),
                      65);
        }
        if (cls == QLatin1String("reading")) {
            ++readings;
            const double x = e.attributes.value(QStringLiteral("data-x")).toDouble();
            const double y = e.attributes.value(QStringLiteral("data-y")).toDouble();
            const QPointF expected = ChromaticityPlot::ChromaticityPosition(x, y);
            EXPECT_NEAR(e.attributes.value(QStringLiteral("cx")).toDouble(), expected.x(), 0.01);
            EXPECT_NEAR(e.attributes.value(QStringLiteral("cy")).toDouble(), expected.y(), 0.01);
        }
        if (cls == QLatin1String("lv-reading"))
            ++luminances;
    }
    EXPECT_TRUE(locus);
    EXPECT_EQ(readings, 2);
    EXPECT_EQ(luminances, 2);
}

TEST(CliChromaticityPlot, LuminanceChartRangeHoldsEveryReading) {
    ChromaticityPlot plot;
    plot.add({1, 0.0, 95.0, true, 0.3, 0.3});
    plot.add({2, 2.4, 130.0, true, 0.3, 0.3});
    QString error;
    double lvMin = 1, lvMax = 0, tMax = 0;
    QList<double> cy;
    double top = 0, height = 0;
    for (const Element& e : elements(plot.svg(), &error)) {
        if (e.attributes.value(QStringLiteral("id")) == QLatin1String("lv-frame")) {
            lvMin = e.attributes.value(QStringLiteral("data-lv-min")).toDouble();
            lvMax = e.attributes.value(QStringLiteral("data-lv-max")).toDouble();
            tMax = e.attributes.value(QStringLiteral("data-t-max")).toDouble();
            top = e.attributes.value(QStringLiteral("y")).toDouble();
            height = e.attributes.value(QStringLiteral("height")).toDouble();
        }
        if (e.attributes.value(QStringLiteral("class")) == QLatin1String("lv-reading"))
            cy.append(e.attributes.value(QStringLiteral("cy")).toDouble());
    }
    ASSERT_TRUE(error.isEmpty());
    EXPECT_LE(lvMin, 95.0);
    EXPECT_GE(lvMax, 130.0);
    EXPECT_GE(tMax, 2.4);
    ASSERT_EQ(cy.size(), 2);
    EXPECT_NEAR(cy[1], top + (lvMax - 130.0) / (lvMax - lvMin) * height, 0.01);
    EXPECT_GT(cy[0], cy[1]) << "the brighter reading is drawn higher";
}

TEST(CliChromaticityPlot, LuminanceOnlyReadingsLeaveTheDiagramEmpty) {
    ChromaticityPlot plot;
    plot.add({1, 0.0, 120.5, false, 0, 0});
    const QString svg = plot.svg();
    EXPECT_FALSE(svg.contains(QStringLiteral("class=\"reading\"")));
    EXPECT_TRUE(svg.contains(QStringLiteral("class=\"lv-reading\"")));
    EXPECT_TRUE(svg.contains(QStringLiteral("no chromaticity measured")));
}

TEST(CliChromaticityPlot, WriteReplacesTheFileAndReportsAFolderThatIsNotThere) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("plot.svg"));
    ChromaticityPlot plot;
    plot.add({1, 0.0, 10.0, true, 0.3, 0.3});
    ASSERT_TRUE(plot.write(path));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("<svg"));
    QString error;
    EXPECT_FALSE(plot.write(dir.filePath(QStringLiteral("missing/plot.svg")), &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(CliChromaticityPlot, AxisTicksAreShortRoundNumbers) {
    ChromaticityPlot plot;
    plot.add({1, 0.0, 120.5, true, 0.3127, 0.329});
    plot.add({2, 0.45, 120.5, true, 0.3127, 0.329});
    plot.add({3, 0.89, 120.5, true, 0.3127, 0.329});
    QXmlStreamReader xml(plot.svg());
    QStringList ticks;
    bool inLuminance = false;
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement && xml.name() == QLatin1String("g"))
            inLuminance = xml.attributes().value(QStringLiteral("id")) == QLatin1String("luminance");
        if (token == QXmlStreamReader::StartElement && inLuminance && xml.name() == QLatin1String("text"))
            ticks << xml.readElementText();
    }
    EXPECT_TRUE(ticks.contains(QStringLiteral("0.6"))) << qPrintable(ticks.join(QLatin1Char(' ')));
    for (const QString& tick : ticks) {
        bool number = false;
        tick.toDouble(&number);
        if (number) {
            EXPECT_LE(tick.size(), 4) << qPrintable(tick);
        }
    }
}

TEST(CliChromaticityPlot, PlanckianLocusCarriesTemperatureTicksFromTwoToTenThousandKelvin) {
    ChromaticityPlot plot;
    QString error;
    const QList<Element> found = elements(plot.svg(), &error);
    ASSERT_TRUE(error.isEmpty()) << qPrintable(error);
    bool locus = false;
    QList<int> ticks;
    for (const Element& e : found) {
        const QXmlStreamAttributes& a = e.attributes;
        if (a.value(QStringLiteral("id")) == QLatin1String("planckian-locus")) {
            locus = true;
            // The curve runs through the drawing's range of temperatures inside the spectral locus.
            for (const QString& pair :
                 a.value(QStringLiteral("points")).toString().split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
                const QStringList xy = pair.split(QLatin1Char(','));
                const double x = (xy[0].toDouble() - ChromaticityPlot::kXyLeft) / ChromaticityPlot::kXyScale;
                const double y = ChromaticityPlot::kYMax -
                                 (xy[1].toDouble() - ChromaticityPlot::kXyTop) / ChromaticityPlot::kXyScale;
                EXPECT_TRUE(insideLocus(x, y)) << x << "," << y;
            }
        }
        if (a.value(QStringLiteral("class")) == QLatin1String("cct-tick")) {
            const int kelvin = a.value(QStringLiteral("data-kelvin")).toInt();
            ticks << kelvin;
            // The tick's middle is the locus at that temperature.
            const double x = a.value(QStringLiteral("data-x")).toDouble();
            const double y = a.value(QStringLiteral("data-y")).toDouble();
            const CctResult cct = CctFromXy(x, y);
            ASSERT_TRUE(cct.ok()) << kelvin;
            EXPECT_NEAR(cct.cct, kelvin, kelvin * 0.002);
            // (data-x and data-y carry four decimals: a twentieth of a picture unit.)
            auto number = [&a](const char* name) { return a.value(QLatin1String(name)).toDouble(); };
            const QPointF at = ChromaticityPlot::ChromaticityPosition(x, y);
            EXPECT_NEAR((number("x1") + number("x2")) / 2, at.x(), 0.05);
            EXPECT_NEAR((number("y1") + number("y2")) / 2, at.y(), 0.05);
        }
    }
    EXPECT_TRUE(locus);
    ASSERT_FALSE(ticks.isEmpty());
    EXPECT_EQ(ticks.first(), 2000);
    EXPECT_EQ(ticks.last(), 10000);
    EXPECT_TRUE(plot.svg().contains(QStringLiteral("6000 K")));
}

TEST(CliChromaticityPlot, ReferenceIsMarkedOnlyWhenThereIsOne) {
    ChromaticityPlot plot;
    EXPECT_FALSE(plot.svg().contains(QStringLiteral("id=\"reference\"")));
    plot.setReference(0.3457, 0.3585);
    QString error;
    int references = 0;
    for (const Element& e : elements(plot.svg(), &error)) {
        if (e.attributes.value(QStringLiteral("id")) != QLatin1String("reference"))
            continue;
        ++references;
        EXPECT_DOUBLE_EQ(e.attributes.value(QStringLiteral("data-x")).toDouble(), 0.3457);
        EXPECT_DOUBLE_EQ(e.attributes.value(QStringLiteral("data-y")).toDouble(), 0.3585);
    }
    ASSERT_TRUE(error.isEmpty()) << qPrintable(error);
    EXPECT_EQ(references, 1);
}
