#include "IMinolta.h"
#include "NumberText.h"
#include "ReadingFormatter.h"
#include "ResultText.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <gtest/gtest.h>

#include <cmath>

namespace {
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
    return r;
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

TEST(CliReadingFormatter, JsonLineCarriesTheReadingFamilyTypeAndResultInHex) {
    InstrumentInfo info = analyser();
    info.givesTcp = true;
    const QString line = ReadingFormatter(OutputFormat::Json, info).row(goodReading());
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

TEST(CliReadingFormatter, LuminanceMeterJsonHasLuminanceOnly) {
    InstrumentInfo info = analyser();
    info.family = QStringLiteral("luminance");
    info.type = 2;
    info.givesXy = false;
    const QJsonObject o = parse(ReadingFormatter(OutputFormat::Json, info).row(goodReading()));
    EXPECT_DOUBLE_EQ(o.value(QStringLiteral("Lv")).toDouble(), 120.5);
    EXPECT_FALSE(o.contains(QStringLiteral("x")));
    EXPECT_FALSE(o.contains(QStringLiteral("y")));
    EXPECT_FALSE(o.contains(QStringLiteral("Tcp")));
}

TEST(CliReadingFormatter, FailedReadingCarriesItsCodeAndMeaningButNoValues) {
    Reading r = goodReading();
    r.result = RESULT_PORT_LOST;
    r.error = QStringLiteral("the \"port\" was lost");
    const QJsonObject o = parse(ReadingFormatter(OutputFormat::Json, analyser()).row(r));
    EXPECT_EQ(o.value(QStringLiteral("result")).toString(), QStringLiteral("0xE0833000"));
    EXPECT_EQ(o.value(QStringLiteral("error")).toString(), QStringLiteral("the \"port\" was lost"));
    EXPECT_FALSE(o.contains(QStringLiteral("Lv")));

    const QString table = ReadingFormatter(OutputFormat::Table, analyser()).row(r);
    EXPECT_TRUE(table.contains(QStringLiteral("0xE0833000"))) << qPrintable(table);
    const QString csv = ReadingFormatter(OutputFormat::Csv, analyser()).row(r);
    EXPECT_TRUE(csv.endsWith(QStringLiteral(",\"the \"\"port\"\" was lost\"\n"))) << qPrintable(csv);
}

TEST(CliReadingFormatter, SpectroradiometerJsonNamesTheSevenValuesOfReadMeasureData) {
    InstrumentInfo info = analyser();
    info.givesMeasureData = true;
    Reading r = goodReading();
    const double values[7] = {30, 40, 50, 20, 60, 70, 120};
    for (int i = 0; i < 7; ++i)
        r.measureData[i] = values[i];
    const QJsonObject data = parse(ReadingFormatter(OutputFormat::Json, info).row(r))
                                 .value(QStringLiteral("measure_data"))
                                 .toObject();
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("value1")).toDouble(), 30);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("value3")).toDouble(), 50);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("Lv")).toDouble(), 20);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("y")).toDouble(), 70);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("value7")).toDouble(), 120);
}

TEST(CliReadingFormatter, CsvHeaderNamesEveryColumnOfItsRows) {
    InstrumentInfo info = analyser();
    info.givesTcp = true;
    ReadingFormatter csv(OutputFormat::Csv, info);
    const QStringList header = csv.header().trimmed().split(QLatin1Char(','));
    const QStringList row = csv.row(goodReading()).trimmed().split(QLatin1Char(','));
    ASSERT_EQ(header.size(), row.size());
    EXPECT_EQ(row[header.indexOf(QStringLiteral("Lv"))], QStringLiteral("120.5"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("x"))], QStringLiteral("0.3127"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("Tcp"))], QStringLiteral("6504"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("result"))], QStringLiteral("0x00000000"));
    EXPECT_EQ(row[header.indexOf(QStringLiteral("type"))], QStringLiteral("1"));
    EXPECT_FALSE(header.contains(QStringLiteral("value1")));
}

TEST(CliReadingFormatter, CsvQuotesFieldsThatHoldSeparators) {
    EXPECT_EQ(ReadingFormatter::CsvField(QStringLiteral("plain")), QStringLiteral("plain"));
    EXPECT_EQ(ReadingFormatter::CsvField(QStringLiteral("a,b")), QStringLiteral("\"a,b\""));
    EXPECT_EQ(ReadingFormatter::CsvField(QStringLiteral("say \"hi\"")), QStringLiteral("\"say \"\"hi\"\"\""));
}

TEST(CliReadingFormatter, JsonStringsEscapeQuotesBackslashesAndControls) {
    EXPECT_EQ(ReadingFormatter::JsonString(QStringLiteral("a\"b\\c\nd\x01")),
              QStringLiteral("\"a\\\"b\\\\c\\nd\\u0001\""));
}

TEST(CliReadingFormatter, TableNamesTheInstrumentAndShowsChromaticityToFourDecimals) {
    InstrumentInfo info = analyser();
    info.givesTcp = true;
    ReadingFormatter table(OutputFormat::Table, info);
    const QString header = table.header();
    EXPECT_TRUE(header.startsWith(
        QStringLiteral("Minolta colour analyser (analyser, type 1) on /dev/cu.usbserial-A1")));
    EXPECT_TRUE(header.contains(QStringLiteral("Tcp (K)")));
    const QStringList cells = table.row(goodReading()).simplified().split(QLatin1Char(' '));
    EXPECT_EQ(cells, (QStringList{QStringLiteral("2"), QStringLiteral("1.50"), QStringLiteral("s"),
                                  QStringLiteral("120.5"), QStringLiteral("0.3127"), QStringLiteral("0.3290"),
                                  QStringLiteral("6504"), QStringLiteral("0x00000000")}));
}
