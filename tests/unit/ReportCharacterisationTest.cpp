#include "CharacterisationWriter.h"
#include "Cti3File.h"
#include "Figures.h"
#include "SyntheticDisplay.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <lcms2.h>

#include <cmath>

namespace {
QSet<QString> keysOf(const QJsonObject& o) {
    const QStringList keys = o.keys();
    return QSet<QString>(keys.begin(), keys.end());
}

QSet<QString> setOf(const QStringList& list) {
    return QSet<QString>(list.begin(), list.end());
}

QString write(const CharacterisationFigures& f, OutputFormat format) {
    QString text;
    QTextStream out(&text);
    MakeCharacterisationWriter(format)->Write(f, out);
    out.flush();
    return text;
}

QJsonObject characterisationJson(const CharacterisationFigures& f) {
    const QString text = write(f, OutputFormat::Json);
    EXPECT_TRUE(text.endsWith('\n'));
    EXPECT_EQ(text.count('\n'), 1); // one object on one line
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    EXPECT_EQ(doc.object().keys(), QStringList{"characterisation"});
    return doc.object().value("characterisation").toObject();
}

// A display with a raised black, read by a colorimeter (or a luminance meter), with one failed patch.
CharacterisationFigures figuresOf(bool colour, double black = 0.25, int whiteEvery = 0) {
    SyntheticDisplay display;
    display.colour = colour;
    display.black = black;
    display.peak = 160.0;
    display.eotf = SyntheticDisplay::gammaEotf(2.3);
    display.driftPerMinute = whiteEvery > 0 ? 5.0 : 0.0;
    const QVector<Patch> patches = GreysAndPrimaries(6);
    QVector<PatchReading> readings = display.Run(patches, 1.0, whiteEvery);
    for (PatchReading& r : readings) {
        if (r.patchId == 12 && r.kind == PatchReading::Kind::Patch) { // magenta
            r = PatchReading();
            r.patchId = 12;
            r.failed = true;
            r.result = 0x80000008;
        }
    }
    return ComputeFigures(patches, readings, Target());
}
} // namespace

TEST(ReportCharacterisation, JsonHasTheCharacterisationsKeysAndNoOthers) {
    const CharacterisationFigures f = figuresOf(true);
    const QJsonObject c = characterisationJson(f);
    EXPECT_EQ(keysOf(c), setOf({"target", "white", "black", "contrast", "greys", "gamma", "primaries",
                                "gamut", "delta_E2000", "patches"}));
    EXPECT_EQ(keysOf(c["target"].toObject()), setOf({"space", "white", "white_x", "white_y", "eotf"}));
    EXPECT_EQ(c["target"].toObject()["eotf"].toString(), "gamma:2.2");
    EXPECT_EQ(keysOf(c["white"].toObject()), setOf({"Lv", "x", "y", "CCT", "Duv", "delta_uv"}));
    EXPECT_NEAR(c["white"].toObject()["Lv"].toDouble(), 160.0, 1e-6);
    EXPECT_EQ(keysOf(c["black"].toObject()), setOf({"Lv", "x", "y"}));
    EXPECT_NEAR(c["contrast"].toDouble(), 160.0 / 0.25, 0.01);
    EXPECT_EQ(keysOf(c["gamma"].toObject()), setOf({"fitted"}));
    EXPECT_NEAR(c["gamma"].toObject()["fitted"].toDouble(), *f.gamma.fitted, 1e-4);

    const QJsonObject primaries = c["primaries"].toObject();
    EXPECT_EQ(keysOf(primaries), setOf({"red", "green", "blue"}));
    for (const char* p : {"red", "green", "blue"})
        EXPECT_EQ(keysOf(primaries[p].toObject()), setOf({"x", "y"}));
    EXPECT_NEAR(primaries["green"].toObject()["y"].toDouble(), f.primaries->green.y, 1e-6);
    const QJsonObject gamut = c["gamut"].toObject();
    EXPECT_EQ(keysOf(gamut), setOf({"srgb", "p3", "bt2020"}));
    for (const char* space : {"srgb", "p3", "bt2020"})
        EXPECT_EQ(keysOf(gamut[space].toObject()),
                  setOf({"coverage_xy", "area_ratio_xy", "coverage_uv", "area_ratio_uv"}));
    // The raised black pulls the primaries in: the measured triangle covers a little less than sRGB.
    EXPECT_NEAR(gamut["srgb"].toObject()["coverage_xy"].toDouble(), f.gamut[0].xy.coverage, 1e-5);
    EXPECT_LT(gamut["srgb"].toObject()["coverage_xy"].toDouble(), 1.0);
    EXPECT_EQ(keysOf(c["delta_E2000"].toObject()), setOf({"mean", "median", "max", "verdict"}));
    EXPECT_EQ(c["delta_E2000"].toObject()["verdict"].toString(), f.deltaE->verdict);

    const QJsonArray greys = c["greys"].toArray();
    ASSERT_EQ(greys.size(), 6);
    EXPECT_EQ(keysOf(greys[2].toObject()),
              setOf({"level", "Lv", "x", "y", "CCT", "Duv", "delta_uv", "target_Lv", "delta_E2000", "gamma",
                     "gamma_black_compensated", "failed"}));
    EXPECT_FALSE(greys[0].toObject().contains("gamma"));
    EXPECT_FALSE(greys[5].toObject().contains("gamma_black_compensated"));
    EXPECT_NEAR(greys[2].toObject()["gamma_black_compensated"].toDouble(), 2.3, 1e-4);

    const QJsonArray patches = c["patches"].toArray();
    ASSERT_EQ(patches.size(), f.patches.size());
    const QSet<QString> patchKeys = setOf(CharacterisationWriter::PatchColumns(true));
    EXPECT_EQ(keysOf(patches[0].toObject()), patchKeys);
    const QJsonObject red = patches[6].toObject();
    EXPECT_EQ(red["id"].toInt(), 7);
    EXPECT_EQ(red["set"].toString(), "primaries");
    EXPECT_EQ(red["rgb"].toArray(), QJsonArray({1, 0, 0}));
    EXPECT_NEAR(red["Y"].toDouble(), f.patches[6].light.xyz->Y, 1e-4);
    EXPECT_NEAR(red["target_X"].toDouble(), f.patches[6].target->X, 1e-4);
    EXPECT_FALSE(red["failed"].toBool());
}

TEST(ReportCharacterisation, JsonLeavesAFailedPatchesReadingOut) {
    const QJsonObject c = characterisationJson(figuresOf(true));
    const QJsonObject magenta = c["patches"].toArray()[11].toObject();
    EXPECT_EQ(magenta["id"].toInt(), 12);
    EXPECT_TRUE(magenta["failed"].toBool());
    for (const char* key : {"Lv", "x", "y", "X", "Y", "Z", "delta_E2000"})
        EXPECT_FALSE(magenta.contains(key)) << key;
    EXPECT_TRUE(magenta.contains("target_Y"));
}

TEST(ReportCharacterisation, JsonOfALuminanceMeterOmitsEveryColourKey) {
    const QJsonObject c = characterisationJson(figuresOf(false));
    EXPECT_EQ(keysOf(c), setOf({"target", "white", "black", "contrast", "greys", "gamma", "patches"}));
    EXPECT_EQ(keysOf(c["white"].toObject()), setOf({"Lv"}));
    EXPECT_EQ(keysOf(c["black"].toObject()), setOf({"Lv"}));
    EXPECT_EQ(keysOf(c["greys"].toArray()[2].toObject()),
              setOf({"level", "Lv", "target_Lv", "gamma", "gamma_black_compensated", "failed"}));
    EXPECT_EQ(keysOf(c["patches"].toArray()[0].toObject()),
              setOf(CharacterisationWriter::PatchColumns(false)));
    EXPECT_EQ(setOf(CharacterisationWriter::PatchColumns(false)),
              setOf({"id", "set", "rgb", "Lv", "target_Y", "failed"}));
}

TEST(ReportCharacterisation, JsonContrastIsNullWithAZeroBlackAndDriftAppearsWhenMeasured) {
    const QJsonObject zero = characterisationJson(figuresOf(true, 0.0));
    ASSERT_TRUE(zero.contains("contrast"));
    EXPECT_TRUE(zero["contrast"].isNull());
    EXPECT_FALSE(zero["black"].toObject().contains("x")); // no light, no chromaticity

    const QJsonObject drifting = characterisationJson(figuresOf(true, 0.25, 2));
    ASSERT_TRUE(drifting.contains("drift"));
    const QJsonObject drift = drifting["drift"].toObject();
    EXPECT_EQ(keysOf(drift),
              setOf({"luminance_change_percent", "max_delta_uv", "seconds", "white_readings", "normalised"}));
    EXPECT_GT(drift["luminance_change_percent"].toDouble(), 0.5);
}

TEST(ReportCharacterisation, CsvHasARowAPatchWithTheJsonColumns) {
    const CharacterisationFigures f = figuresOf(true);
    const QStringList lines = write(f, OutputFormat::Csv).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), f.patches.size() + 1);
    EXPECT_EQ(lines[0], "id,set,r,g,b,Lv,x,y,X,Y,Z,target_X,target_Y,target_Z,delta_E2000,failed");
    for (const QString& line : lines)
        EXPECT_EQ(line.count(','), 15) << line.toStdString();
    const QStringList white = lines[6].split(',');
    EXPECT_EQ(white[0], "6");
    EXPECT_EQ(white[2], "1");
    EXPECT_NEAR(white[5].toDouble(), 160.0, 0.01);
    EXPECT_EQ(white[15], "false");
    const QStringList magenta = lines[12].split(',');
    EXPECT_EQ(magenta[0], "12");
    EXPECT_TRUE(magenta[5].isEmpty());
    EXPECT_EQ(magenta[15], "true");
}

TEST(ReportCharacterisation, CsvOfALuminanceMeterHasNoColourColumns) {
    const QStringList lines = write(figuresOf(false), OutputFormat::Csv).split('\n', Qt::SkipEmptyParts);
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_EQ(lines[0], "id,set,r,g,b,Lv,target_Y,failed");
}

TEST(ReportCharacterisation, TableShowsTheFiguresWithinAHundredColumns) {
    const CharacterisationFigures f = figuresOf(true, 0.25, 2);
    const QString text = write(f, OutputFormat::Table);
    for (const QString& line : text.split('\n'))
        EXPECT_LE(line.size(), 100) << line.toStdString();
    for (const char* part : {"White", "Black", "Contrast", "Gamma", "Primaries", "Gamut", "ΔE2000", "Drift",
                             "Grey steps", "Patches", "failed (0x80000008)"})
        EXPECT_TRUE(text.contains(QString::fromUtf8(part))) << part;
    EXPECT_TRUE(text.contains(QString("%1:1").arg(*f.contrast->ratio, 0, 'f', 0)));
    EXPECT_TRUE(text.contains(f.deltaE->verdict));
}

TEST(ReportCharacterisation, TableOfALuminanceMeterSaysWhatItLeavesOut) {
    const QString text = write(figuresOf(false), OutputFormat::Table);
    EXPECT_FALSE(text.contains("Primaries"));
    EXPECT_FALSE(text.contains("Gamut"));
    EXPECT_FALSE(text.contains("median"));
    EXPECT_FALSE(text.contains("CCT"));
    EXPECT_TRUE(text.contains("Gamma"));
    EXPECT_TRUE(text.contains("luminance only"));
}

TEST(ReportCharacterisation, Cti3FileReadsBackWithTheValuesWritten) {
    const CharacterisationFigures f = figuresOf(true);
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath("display.ti3");
    QString error;
    ASSERT_TRUE(WriteCti3(f, path, &error)) << error.toStdString();

    cmsHANDLE it8 = cmsIT8LoadFromFile(nullptr, QFile::encodeName(path).constData());
    ASSERT_NE(it8, nullptr);
    EXPECT_STREQ(cmsIT8GetSheetType(it8), "CTI3");
    EXPECT_STREQ(cmsIT8GetProperty(it8, "DEVICE_CLASS"), "DISPLAY");
    EXPECT_STREQ(cmsIT8GetProperty(it8, "COLOR_REP"), "RGB_XYZ");
    const QStringList luminance = QString(cmsIT8GetProperty(it8, "LUMINANCE_XYZ_CDM2")).split(' ');
    ASSERT_EQ(luminance.size(), 3);
    const Xyz white = *f.white->light.xyz;
    EXPECT_NEAR(luminance[0].toDouble(), white.X, 1e-5);
    EXPECT_NEAR(luminance[1].toDouble(), white.Y, 1e-5);
    EXPECT_NEAR(luminance[2].toDouble(), white.Z, 1e-5);
    // Every patch with a reading, the failed one left out.
    EXPECT_EQ(int(cmsIT8GetPropertyDbl(it8, "NUMBER_OF_SETS")), f.patches.size() - 1);
    for (const char* field : {"SAMPLE_ID", "RGB_R", "RGB_G", "RGB_B", "XYZ_X", "XYZ_Y", "XYZ_Z"})
        EXPECT_GE(cmsIT8FindDataFormat(it8, field), 0) << field;
    for (const PatchFigures& p : f.patches) {
        const QByteArray id = QByteArray::number(p.patch.id);
        if (p.failed) {
            EXPECT_EQ(cmsIT8GetData(it8, id.constData(), "XYZ_Y"), nullptr);
            continue;
        }
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "RGB_R"), 100.0 * p.patch.r, 1e-6);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "RGB_G"), 100.0 * p.patch.g, 1e-6);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "RGB_B"), 100.0 * p.patch.b, 1e-6);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "XYZ_X"), 100.0 * p.light.xyz->X / white.Y, 1e-5);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "XYZ_Y"), 100.0 * p.light.xyz->Y / white.Y, 1e-5);
        EXPECT_NEAR(cmsIT8GetDataDbl(it8, id.constData(), "XYZ_Z"), 100.0 * p.light.xyz->Z / white.Y, 1e-5);
    }
    EXPECT_NEAR(cmsIT8GetDataDbl(it8, "6", "XYZ_Y"), 100.0, 1e-6); // the white
    cmsIT8Free(it8);
}

TEST(ReportCharacterisation, Cti3NeedsColourAndAWhite) {
    QTemporaryDir dir;
    QString error;
    EXPECT_FALSE(WriteCti3(figuresOf(false), dir.filePath("lum.ti3"), &error));
    EXPECT_TRUE(error.contains("luminance meter"));
    EXPECT_FALSE(QFile::exists(dir.filePath("lum.ti3")));
    EXPECT_FALSE(WriteCti3(figuresOf(true), dir.filePath("missing/dir/x.ti3"), &error));
    EXPECT_FALSE(error.isEmpty());
}
