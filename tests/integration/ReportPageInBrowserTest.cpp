#include "CharacterisationPage.h"
#include "Figures.h"
#include "SyntheticDisplay.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

// The page as a browser draws it: headless Chromium takes a screenshot, and the screenshot must show
// a page with pictures on it, not an empty or one-colour canvas.
TEST(ReportPageInBrowser, ChromiumDrawsThePageWithItsPlots) {
    const QString chromium = QStandardPaths::findExecutable(QStringLiteral("chromium"));
    if (chromium.isEmpty())
        GTEST_SKIP() << "chromium is not installed (scripts/test installs it)";

    SyntheticDisplay display;
    display.primaries = P3Primaries();
    display.black = 0.15;
    display.peak = 160.0;
    display.eotf = SyntheticDisplay::gammaEotf(2.2);
    const QVector<Patch> patches = GreysAndPrimaries(11);
    const CharacterisationFigures figures = ComputeFigures(patches, display.Run(patches), Target());
    ReportHeader header;
    header.instrument = QStringLiteral("simulated colour analyser");
    header.displayName = QStringLiteral("wide-gamut test display");
    header.date = QDateTime(QDate(2026, 11, 25), QTime(14, 0), Qt::UTC);
    const CharacterisationPage page(figures, header);

    // Kept in the build tree for a person to look at.
    const QString dir = QStringLiteral(CHROMA_BINARY_DIR) + QStringLiteral("/report-page-test");
    QDir().mkpath(dir);
    const QString html = dir + QStringLiteral("/report.html");
    const QString png = dir + QStringLiteral("/report.png");
    QFile::remove(png);
    QString error;
    ASSERT_TRUE(page.write(html, &error)) << error.toStdString();

    QTemporaryDir profile;
    QProcess browser;
    browser.setProcessChannelMode(QProcess::MergedChannels);
    browser.start(chromium,
                  {QStringLiteral("--headless"), QStringLiteral("--no-sandbox"),
                   QStringLiteral("--disable-gpu"), QStringLiteral("--disable-quic"),
                   QStringLiteral("--no-first-run"), QStringLiteral("--disable-background-networking"),
                   QStringLiteral("--disable-component-update"), QStringLiteral("--disable-sync"),
                   QStringLiteral("--user-data-dir=") + profile.path(), QStringLiteral("--screenshot=") + png,
                   QStringLiteral("--window-size=1200,3000"), QUrl::fromLocalFile(html).toString()});
    ASSERT_TRUE(browser.waitForStarted(10000));
    ASSERT_TRUE(browser.waitForFinished(90000)) << "chromium did not finish";
    ASSERT_TRUE(QFile::exists(png)) << browser.readAll().toStdString();

    QImage image(png);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 1200);
    EXPECT_EQ(image.height(), 3000);
    QSet<QRgb> colours;
    int dark = 0;
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3) {
            const QRgb c = image.pixel(x, y);
            colours.insert(c);
            dark += qGray(c) < 100 ? 1 : 0;
        }
    }
    // Text, lines, swatches and antialiasing give hundreds of colours; a blank page gives one.
    EXPECT_GT(colours.size(), 50);
    EXPECT_GT(dark, 500) << "hardly anything dark on the page: no text or lines were drawn";
    // Large flat fills of the page come out in their own colours: the failed verdict's box and the
    // inside of the spectral locus on the chromaticity diagram, which only a drawn plot has.
    EXPECT_TRUE(colours.contains(qRgb(0xfb, 0xec, 0xee))) << "no verdict box";
    EXPECT_TRUE(colours.contains(qRgb(0xf2, 0xf5, 0xfa))) << "no chromaticity diagram";
}
