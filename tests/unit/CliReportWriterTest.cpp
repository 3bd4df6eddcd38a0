#include "FieldText.h"
#include "IMinolta.h"
#include "NumberText.h"
#include "ReadingStatistics.h"
#include "ReportWriter.h"
#include "ResultText.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <gtest/gtest.h>

#include <cmath>

namespace {
// The writer of `format` for a run on `instrument`.
std::unique_ptr<ReportWriter> writer(OutputFormat format, const InstrumentInfo& instrument,
                                     const QVector<Quantity>& quantities = QVector<Quantity>(),
                                     bool hasReference = false) {
    return ReportWriter::Create(format, Columns(instrument, quantities, hasReference));
}

InstrumentInfo analyser() {
    InstrumentInfo info;
    info.family = QStringLiteral("analyser");
    info.type = 1;
    info.title = QStringLiteral("Minolta colour analyser");
    info.port = QStringLiteral("/dev/cu.usbserial-A1");
    return info;
}

Reading goodReading() {
    Reading r;
    r.index = 2;
    r.time = QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9, 250), Qt::UTC);
    r.elapsedSec = 1.5;
    r.Lv = double(120.5f);
    r.x = double(0.3127f);
    r.y = double(0.3290f);
    r.Tcp = double(6504.0f);
    r.hasColour = true;
    r.colour = ColourQuantities::FromLvXy(r.Lv, r.x, r.y);
    return r;
}

Reading comparedReading(double Lv, double x, double y, const ColourReference& reference) {
    Reading r = goodReading();
    r.Lv = Lv;
    r.x = x;
    r.y = y;
    r.colour = ColourQuantities::FromLvXy(Lv, x, y, &reference);
    return r;
}

ColourReference d65() {
    ColourReference white;
    white.x = 0.3127;
    white.y = 0.3290;
    return white;
}

QStringList csvLines(const QString& text) {
    return text.trimmed().split(QLatin1Char('\n'));
}

QJsonObject parse(const QString& line) {
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(line.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << qPrintable(line);
    return doc.object();
}
} // namespace

TEST(CliNumberText, FloatsFromTheRecordShowAsTheInstrumentSentThem) {
    EXPECT_EQ(ShortestNumberText(double(0.3127f)), QStringLiteral("0.3127"));
    EXPECT_EQ(ShortestNumberText(double(0.3290f)), QStringLiteral("0.329"));
    EXPECT_EQ(ShortestNumberText(double(120.5f)), QStringLiteral("120.5"));
    EXPECT_EQ(ShortestNumberText(0.1), QStringLiteral("0.1"));
}

TEST(CliNumberText, WholeAndLargeNumbersStayInPlainNotation) {
    EXPECT_EQ(ShortestNumberText(100), QStringLiteral("100"));
    EXPECT_EQ(ShortestNumberText(6504), QStringLiteral("6504"));
    EXPECT_EQ(ShortestNumberText(0), QStringLiteral("0"));
    EXPECT_EQ(ShortestNumberText(-2.5), QStringLiteral("-2.5"));
    EXPECT_EQ(ShortestNumberText(1e-9), QStringLiteral("1e-09"));
}

TEST(CliNumberText, DoublesReadBackExactly) {
    for (double value : {0.1 + 0.2, 1.0 / 3.0, 123456.789, 2.0 / 7.0})
        EXPECT_EQ(ShortestNumberText(value).toDouble(), value);
}

TEST(CliNumberText, NotANumberHasNoText) {
    EXPECT_TRUE(ShortestNumberText(std::nan("")).isEmpty());
    EXPECT_TRUE(ShortestNumberText(HUGE_VAL).isEmpty());
}

TEST(CliResultText, CodesShowAsEightHexDigits) {
    EXPECT_EQ(ResultCodeHex(RESULT_OK), QStringLiteral("0x00000000"));
    EXPECT_EQ(ResultCodeHex(RESULT_FAIL), QStringLiteral("0x80000008"));
    EXPECT_EQ(ResultCodeHex(RESULT_PORT_LOST), QStringLiteral("0xE0833000"));
    EXPECT_EQ(ResultCodeHex(RESULT_NOT_AVAILABLE), QStringLiteral("0xE0830003"));
}

TEST(CliResultText, EveryLibraryCodeHasItsOwnMeaning) {
    QStringList meanings = {ResultCodeMeaning(RESULT_OK),
                            ResultCodeMeaning(RESULT_FAIL),
                            ResultCodeMeaning(RESULT_PORT_LOST),
                            ResultCodeMeaning(RESULT_NOT_SUPPORTED),
                            ResultCodeMeaning(RESULT_NOT_AVAILABLE),
                            ResultCodeMeaning(0x1234)};
    EXPECT_EQ(meanings.removeDuplicates(), 0);
    EXPECT_TRUE(ResultCodeMeaning(RESULT_PORT_LOST).contains(QStringLiteral("port")));
}

TEST(CliReportWriter, JsonLineCarriesTheReadingFamilyTypeAndResultInHex) {
    InstrumentInfo info = analyser();
    info.givesTcp = true;
    const QString line = writer(OutputFormat::Json, info)->row(goodReading());
    EXPECT_TRUE(line.endsWith(QLatin1Char('\n')));
    EXPECT_EQ(line.count(QLatin1Char('\n')), 1);
    EXPECT_TRUE(line.contains(QStringLiteral("\"x\":0.3127"))) << qPrintable(line);
    const QJsonObject o = parse(line);
    EXPECT_EQ(o.value(QStringLiteral("n")).toInt(), 2);
    EXPECT_EQ(o.value(QStringLiteral("family")).toString(), QStringLiteral("analyser"));
    EXPECT_EQ(o.value(QStringLiteral("type")).toInt(), 1);
    EXPECT_EQ(o.value(QStringLiteral("port")).toString(), QStringLiteral("/dev/cu.usbserial-A1"));
    EXPECT_EQ(o.value(QStringLiteral("result")).toString(), QStringLiteral("0x00000000"));
    EXPECT_EQ(o.value(QStringLiteral("time")).toString(), QStringLiteral("2024-03-05T14:07:09.250Z"));
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("elapsed_s")).toDouble(), 1.5);
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("Lv")).toDouble(), 120.5);
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("y")).toDouble(), 0.329);
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("Tcp")).toDouble(), 6504);
}

TEST(CliReportWriter, LuminanceMeterJsonHasLuminanceOnly) {
    InstrumentInfo info = analyser();
    info.family = QStringLiteral("luminance");
    info.type = 2;
    info.givesXy = false;
    const QJsonObject o = parse(writer(OutputFormat::Json, info)->row(goodReading()));
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("Lv")).toDouble(), 120.5);
    EXPECT_FALSE(o.contains(QStringLiteral("x")));
    EXPECT_FALSE(o.contains(QStringLiteral("y")));
    EXPECT_FALSE(o.contains(QStringLiteral("Tcp")));
}

TEST(CliReportWriter, FailedReadingCarriesItsCodeAndMeaningButNoValues) {
    Reading r = goodReading();
    r.result = RESULT_PORT_LOST;
    r.error = QStringLiteral("the \"port\" was lost");
    const QJsonObject o = parse(writer(OutputFormat::Json, analyser())->row(r));
    EXPECT_EQ(o.value(QStringLiteral("result")).toString(), QStringLiteral("0xE0833000"));
    EXPECT_EQ(o.value(QStringLiteral("error")).toString(), QStringLiteral("the \"port\" was lost"));
    EXPECT_FALSE(o.contains(QStringLiteral("Lv")));

    const QString table = writer(OutputFormat::Table, analyser())->row(r);
    EXPECT_TRUE(table.contains(QStringLiteral("0xE0833000"))) << qPrintable(table);
    const QString csv = writer(OutputFormat::Csv, analyser())->row(r);
    EXPECT_TRUE(csv.endsWith(QStringLiteral(",\"the \"\"port\"\" was lost\"\n"))) << qPrintable(csv);
}

TEST(CliReportWriter, SpectroradiometerJsonNamesTheSevenValuesOfReadMeasureData) {
    InstrumentInfo info = analyser();
    info.givesMeasureData = true;
    Reading r = goodReading();
    const double values[7] = {30, 40, 50, 20, 60, 70, 120};
    for (int i = 0; i < 7; ++i)
        r.measureData[i] = values[i];
    const QJsonObject data =
        parse(writer(OutputFormat::Json, info)->row(r)).value(QStringLiteral("measure_data")).toObject();
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("value1")).toDouble(), 30);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("value3")).toDouble(), 50);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("Lv")).toDouble(), 20);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("y")).toDouble(), 70);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("value7")).toDouble(), 120);
}

TEST(CliReportWriter, CsvHeaderNamesEveryColumnOfItsRows) {
    InstrumentInfo info = analyser();
    info.givesTcp = true;
    const auto csv = writer(OutputFormat::Csv, info);
    const QStringList header = csv->header().trimmed().split(QLatin1Char(','));
    const QStringList row = csv->row(goodReading()).trimmed().split(QLatin1Char(','));
    ASSERT_EQ(header.size(), row.size());
    EXPECT_EQ(row[header.indexOf(QStringLiteral("Lv"))], QStringLiteral("120.5"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("x"))], QStringLiteral("0.3127"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("Tcp"))], QStringLiteral("6504"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("result"))], QStringLiteral("0x00000000"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("type"))], QStringLiteral("1"));
    EXPECT_FALSE(header.contains(QStringLiteral("value1")));
}

TEST(CliReportWriter, CsvQuotesFieldsThatHoldSeparators) {
    EXPECT_EQ(CsvField(QStringLiteral("plain")), QStringLiteral("plain"));
    EXPECT_EQ(CsvField(QStringLiteral("a,b")), QStringLiteral("\"a,b\""));
    EXPECT_EQ(CsvField(QStringLiteral("say \"hi\"")), QStringLiteral("\"say \"\"hi\"\"\""));
}

TEST(CliReportWriter, JsonStringsEscapeQuotesBackslashesAndControls) {
    EXPECT_EQ(JsonString(QStringLiteral("a\"b\\c\nd\x01")), QStringLiteral("\"a\\\"b\\\\c\\nd\\u0001\""));
}

TEST(CliReportWriter, TableNamesTheInstrumentAndShowsChromaticityToFourDecimals) {
    InstrumentInfo info = analyser();
    info.givesTcp = true;
    const auto table = writer(OutputFormat::Table, info);
    const QString header = table->header();
    EXPECT_TRUE(header.startsWith(
        QStringLiteral("Minolta colour analyser (analyser, type 1) on /dev/cu.usbserial-A1")));
    EXPECT_TRUE(header.contains(QStringLiteral("Tcp (K)")));
    const QStringList cells = table->row(goodReading()).simplified().split(QLatin1Char(' '));
    const Reading r = goodReading();
    EXPECT_EQ(cells, (QStringList{QStringLiteral("2"), QStringLiteral("1.50"), QStringLiteral("s"),
                                  QStringLiteral("120.5"), QStringLiteral("0.3127"), QStringLiteral("0.3290"),
                                  QString::number(r.colour.cct.cct, 'f', 0),
                                  QString::number(r.colour.cct.duv, 'f', 4), QStringLiteral("6504"),
                                  QStringLiteral("0x00000000")}));
}

TEST(CliReportWriter, JsonCarriesEveryColourQuantityUnderItsKey) {
    const QJsonObject o = parse(writer(OutputFormat::Json, analyser())->row(goodReading()));
    const ColourQuantities& c = goodReading().colour;
    EXPECT_NEAR(o.value(QStringLiteral("X")).toDouble(), c.X, 1e-3);
    EXPECT_NEAR(o.value(QStringLiteral("Y")).toDouble(), 120.5, 1e-9);
    EXPECT_NEAR(o.value(QStringLiteral("Z")).toDouble(), c.Z, 1e-3);
    EXPECT_NEAR(o.value(QStringLiteral("u_prime")).toDouble(), 0.1978, 0.00005);
    EXPECT_NEAR(o.value(QStringLiteral("v_prime")).toDouble(), 0.4683, 0.00005);
    EXPECT_NEAR(o.value(QStringLiteral("CCT")).toDouble(), 6504, 3);
    EXPECT_NEAR(o.value(QStringLiteral("Duv")).toDouble(), 0.0032, 0.0003);
    // No reference: no differences.
    EXPECT_FALSE(o.contains(QStringLiteral("delta_uv")));
    EXPECT_FALSE(o.contains(QStringLiteral("delta_E2000")));
    EXPECT_FALSE(o.contains(QStringLiteral("CCT_note")));
}

TEST(CliReportWriter, JsonOfTheLuminanceMeterHasNoColourQuantities) {
    InstrumentInfo info = analyser();
    info.givesXy = false;
    Reading r = goodReading();
    r.hasColour = false;
    const QJsonObject o = parse(writer(OutputFormat::Json, info)->row(r));
    for (const char* key : {"X", "Y", "Z", "u_prime", "v_prime", "CCT", "Duv", "delta_uv", "delta_E2000"})
        EXPECT_FALSE(o.contains(QLatin1String(key))) << key;
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("Lv")).toDouble(), 120.5);
}

TEST(CliReportWriter, ReferenceAddsTheDifferencesAndTheTableShowsDeltaUv) {
    const Reading r = comparedReading(100, 0.3227, 0.3390, d65());
    const QJsonObject o = parse(writer(OutputFormat::Json, analyser(), {}, true)->row(r));
    EXPECT_NEAR(o.value(QStringLiteral("delta_uv")).toDouble(), r.colour.deltaUv, 1e-6);
    EXPECT_NEAR(o.value(QStringLiteral("delta_E2000")).toDouble(), r.colour.deltaE2000, 1e-4);
    EXPECT_GT(o.value(QStringLiteral("delta_E2000")).toDouble(), 0);

    const auto table = writer(OutputFormat::Table, analyser(), {}, true);
    EXPECT_TRUE(table->header().contains(QStringLiteral("Δu′v′")));
    EXPECT_FALSE(table->header().contains(QStringLiteral("ΔE2000")));
    EXPECT_TRUE(table->row(r).contains(QString::number(r.colour.deltaUv, 'f', 4)))
        << qPrintable(table->row(r));
}

TEST(CliReportWriter, ChosenQuantitiesAreTheColumnsOfTableAndCsv) {
    const QVector<Quantity> chosen = {Quantity::UPrime, Quantity::VPrime, Quantity::DeltaE2000};
    const Reading r = comparedReading(100, 0.3227, 0.3390, d65());
    const auto csv = writer(OutputFormat::Csv, analyser(), chosen, true);
    const QStringList header = csv->header().trimmed().split(QLatin1Char(','));
    for (const char* absent : {"Lv", "x", "y", "CCT", "Duv", "delta_uv"})
        EXPECT_FALSE(header.contains(QLatin1String(absent))) << absent;
    const QStringList row = csv->row(r).trimmed().split(QLatin1Char(','));
    ASSERT_EQ(row.size(), header.size());
    EXPECT_EQ(row[header.indexOf(QStringLiteral("kind"))], QStringLiteral("reading"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("u_prime"))], QString::number(r.colour.uPrime, 'f', 4));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("delta_E2000"))],
              QString::number(r.colour.deltaE2000, 'f', 2));

    const QString tableHeader = writer(OutputFormat::Table, analyser(), chosen, true)->header();
    EXPECT_TRUE(tableHeader.contains(QStringLiteral("u′")));
    EXPECT_TRUE(tableHeader.contains(QStringLiteral("ΔE2000")));
    EXPECT_FALSE(tableHeader.contains(QStringLiteral("CCT")));
    // JSON carries everything whatever was chosen.
    const QJsonObject o = parse(writer(OutputFormat::Json, analyser(), chosen, true)->row(r));
    EXPECT_TRUE(o.contains(QStringLiteral("CCT")));
    EXPECT_TRUE(o.contains(QStringLiteral("x")));
}

TEST(CliReportWriter, CctFarOffTheLocusIsSaidInsteadOfANumber) {
    Reading r = goodReading();
    r.x = 0.30;
    r.y = 0.45;
    r.colour = ColourQuantities::FromLvXy(r.Lv, r.x, r.y);
    ASSERT_FALSE(r.colour.cct.ok());
    const QString table = writer(OutputFormat::Table, analyser())->row(r);
    EXPECT_TRUE(table.contains(QStringLiteral("off locus"))) << qPrintable(table);
    const QJsonObject o = parse(writer(OutputFormat::Json, analyser())->row(r));
    EXPECT_TRUE(o.contains(QStringLiteral("CCT")));
    EXPECT_TRUE(o.value(QStringLiteral("CCT")).isNull());
    EXPECT_TRUE(o.value(QStringLiteral("Duv")).isNull());
    EXPECT_TRUE(o.value(QStringLiteral("CCT_note")).toString().contains(QStringLiteral("locus")));
    const auto csv = writer(OutputFormat::Csv, analyser());
    const QStringList header = csv->header().trimmed().split(QLatin1Char(','));
    const QStringList row = csv->row(r).trimmed().split(QLatin1Char(','));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("CCT"))], QStringLiteral("off locus"));
}

TEST(CliReportWriter, JsonSummaryIsOneFinalObjectWithEveryQuantity) {
    ReadingStatistics stats;
    stats.add(comparedReading(100, 0.3127, 0.3290, d65()));
    stats.add(comparedReading(110, 0.3137, 0.3300, d65()));
    Reading failed = goodReading();
    failed.result = RESULT_FAIL;
    stats.add(failed);
    const QString text = writer(OutputFormat::Json, analyser(), {}, true)->summary(stats);
    EXPECT_EQ(text.count(QLatin1Char('\n')), 1);
    const QJsonObject summary = parse(text).value(QStringLiteral("summary")).toObject();
    EXPECT_EQ(summary.value(QStringLiteral("readings")).toInt(), 3);
    EXPECT_EQ(summary.value(QStringLiteral("succeeded")).toInt(), 2);
    EXPECT_EQ(summary.value(QStringLiteral("failed")).toInt(), 1);
    const QJsonObject lv = summary.value(QStringLiteral("Lv")).toObject();
    EXPECT_EQ(lv.value(QStringLiteral("n")).toInt(), 2);
    EXPECT_DOUBLE_EQ(lv.value(QStringLiteral("mean")).toDouble(), 105);
    EXPECT_NEAR(lv.value(QStringLiteral("sd")).toDouble(), std::sqrt(50.0), 1e-3);
    EXPECT_DOUBLE_EQ(lv.value(QStringLiteral("min")).toDouble(), 100);
    EXPECT_DOUBLE_EQ(lv.value(QStringLiteral("max")).toDouble(), 110);
    for (const char* key :
         {"x", "y", "X", "Y", "Z", "u_prime", "v_prime", "CCT", "Duv", "delta_uv", "delta_E2000"})
        EXPECT_TRUE(summary.value(QLatin1String(key)).isObject()) << key;
    EXPECT_DOUBLE_EQ(
        summary.value(QStringLiteral("delta_uv")).toObject().value(QStringLiteral("min")).toDouble(), 0);
}

TEST(CliReportWriter, CsvSummaryRowsAreToldApartByTheirKind) {
    ReadingStatistics stats;
    stats.add(comparedReading(100, 0.3127, 0.3290, d65()));
    stats.add(comparedReading(110, 0.3127, 0.3290, d65()));
    const auto csv = writer(OutputFormat::Csv, analyser(), {}, true);
    const QStringList header = csv->header().trimmed().split(QLatin1Char(','));
    const QStringList rows = csvLines(csv->summary(stats));
    QStringList kinds;
    for (const QString& line : rows) {
        const QStringList fields = line.split(QLatin1Char(','));
        ASSERT_EQ(fields.size(), header.size()) << qPrintable(line);
        kinds << fields[header.indexOf(QStringLiteral("kind"))];
        const QString lv = fields[header.indexOf(QStringLiteral("Lv"))];
        const QString cct = fields[header.indexOf(QStringLiteral("CCT"))];
        const QString n = fields[header.indexOf(QStringLiteral("n"))];
        if (kinds.last() == QLatin1String("mean")) {
            EXPECT_EQ(lv.toDouble(), 105);
        } else if (kinds.last() == QLatin1String("max")) {
            EXPECT_EQ(lv.toDouble(), 110);
        } else if (kinds.last() == QLatin1String("count")) {
            EXPECT_EQ(cct, QStringLiteral("2"));
            EXPECT_EQ(n, QStringLiteral("2"));
        } else if (kinds.last() == QLatin1String("failed")) {
            EXPECT_EQ(n, QStringLiteral("0"));
        }
    }
    EXPECT_EQ(kinds, (QStringList{QStringLiteral("mean"), QStringLiteral("sd"), QStringLiteral("min"),
                                  QStringLiteral("max"), QStringLiteral("count"), QStringLiteral("failed")}));
}

TEST(CliReportWriter, TableSummaryIsABlockUnderTheColumns) {
    ReadingStatistics stats;
    stats.add(comparedReading(100, 0.3127, 0.3290, d65()));
    stats.add(comparedReading(104, 0.3127, 0.3290, d65()));
    const auto table = writer(OutputFormat::Table, analyser(), {}, true);
    const QStringList header = table->header().split(QLatin1Char('\n'));
    const QString columns = header.value(2);
    const QStringList block = table->summary(stats).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(block.size(), 5) << qPrintable(table->summary(stats));
    EXPECT_TRUE(block[0].trimmed().startsWith(QStringLiteral("mean")));
    EXPECT_TRUE(block[1].trimmed().startsWith(QStringLiteral("sd")));
    // The mean of Lv stands right-aligned under its title.
    const int lvEnd = columns.indexOf(QStringLiteral("Lv (cd/m²)")) + QStringLiteral("Lv (cd/m²)").size();
    EXPECT_EQ(block[0].mid(0, lvEnd).trimmed().split(QLatin1Char(' ')).last(), QStringLiteral("102"));
    EXPECT_TRUE(block[4].contains(QStringLiteral("2 readings: 2 succeeded, 0 failed")))
        << qPrintable(block[4]);
}

TEST(CliReportWriter, TableSummaryOfRunWithoutAGoodReadingIsTheCountAlone) {
    ReadingStatistics stats;
    Reading failed = goodReading();
    failed.result = RESULT_PORT_LOST;
    stats.add(failed);
    const QString text = writer(OutputFormat::Table, analyser())->summary(stats);
    EXPECT_EQ(text.trimmed(), QStringLiteral("1 reading: 0 succeeded, 1 failed"));
}

TEST(CliReportWriter, InstrumentFoundIsNamedInEveryFormat) {
    const InstrumentInfo info = analyser();
    const QString table = ReportWriter::Create(OutputFormat::Table)->instrument(info);
    EXPECT_TRUE(table.contains(QStringLiteral("family: analyser\n"))) << qPrintable(table);
    EXPECT_TRUE(table.contains(QStringLiteral("port:   /dev/cu.usbserial-A1\n"))) << qPrintable(table);
    const QJsonObject o = parse(ReportWriter::Create(OutputFormat::Json)->instrument(info));
    EXPECT_EQ(o.value(QStringLiteral("title")).toString(), info.title);
    EXPECT_EQ(o.value(QStringLiteral("type")).toInt(), 1);
    EXPECT_EQ(o.value(QStringLiteral("result")).toString(), QStringLiteral("0x00000000"));
    const QStringList csv =
        ReportWriter::Create(OutputFormat::Csv)->instrument(info).split(QLatin1Char('\n'));
    ASSERT_GE(csv.size(), 2);
    EXPECT_EQ(csv[0], QStringLiteral("family,type,title,port"));
    EXPECT_EQ(csv[1], QStringLiteral("analyser,1,Minolta colour analyser,/dev/cu.usbserial-A1"));
}
