#include "SpectroProtocol.h"

#include <QByteArray>
#include <QList>

#include <gtest/gtest.h>

#include <clocale>

TEST(SpectroCommand, DataReadCommandCarriesItsThreeArgumentsAndCrLf) {
    EXPECT_EQ(SpectroMedrCommand(2, 0, 2), QByteArray("MEDR,2,0,2\r\n"));
    EXPECT_EQ(SpectroMedrCommand(2, 0, 0), QByteArray("MEDR,2,0,0\r\n"));
    EXPECT_EQ(SpectroMedrCommand(1, 0, 4), QByteArray("MEDR,1,0,4\r\n"));
    EXPECT_EQ(SpectroMedrCommand(1, 0, 4).size(), 12);
    EXPECT_EQ(SpectroMedrCommand(-1, 10, 123), QByteArray("MEDR,-1,10,123\r\n"));
}

TEST(SpectroCommand, OverlongArgumentsAreCutToTheCommandBuffer) {
    const QByteArray command = SpectroMedrCommand(-2147483647 - 1, -2147483647 - 1, -2147483647 - 1);
    EXPECT_EQ(command.size(), 19);
    EXPECT_TRUE(command.startsWith("MEDR,-2147483648,-2"));
}

TEST(SpectroCompletion, SixByteOkWithLineEndCompletesAMeasurement) {
    EXPECT_TRUE(SpectroIsMeasureCompletion(QByteArray("OK00\r\n")));
}

TEST(SpectroCompletion, TenByteReplyCompletesOnlyWhenItBeginsWithOkAndLineEnd) {
    EXPECT_TRUE(SpectroIsMeasureCompletion(QByteArray("OK00\r\nabcd")));
    // The instrument's intermediate answer: ten bytes, but its fifth byte is a comma.
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("OK00,003\r\n")));
}

TEST(SpectroCompletion, OtherLengthsAndStatusesAreSkipped) {
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("OK00\r")));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("OK00\r\n\0", 7)));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("OK00\r\nabc")));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("OK00\r\nabcde")));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("ER00\r\n")));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("ok00\r\n")));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray("OK00\n\r")));
    EXPECT_FALSE(SpectroIsMeasureCompletion(QByteArray()));
}

TEST(SpectroAtof, ReadsTheNumberAtTheStartAndIgnoresWhatFollows) {
    EXPECT_DOUBLE_EQ(SpectroAtof("0.3127"), 0.3127);
    EXPECT_DOUBLE_EQ(SpectroAtof("120.5\r\n"), 120.5);
    EXPECT_DOUBLE_EQ(SpectroAtof("  -12.25abc"), -12.25);
    EXPECT_DOUBLE_EQ(SpectroAtof("+7"), 7.0);
    EXPECT_DOUBLE_EQ(SpectroAtof(".5"), 0.5);
    EXPECT_DOUBLE_EQ(SpectroAtof("5."), 5.0);
    EXPECT_DOUBLE_EQ(SpectroAtof("1.5e3,"), 1500.0);
    EXPECT_DOUBLE_EQ(SpectroAtof("2E-2"), 0.02);
    EXPECT_DOUBLE_EQ(SpectroAtof("3e"), 3.0);
    EXPECT_DOUBLE_EQ(SpectroAtof("3e+"), 3.0);
    EXPECT_DOUBLE_EQ(SpectroAtof("1.2.3"), 1.2);
}

TEST(SpectroAtof, TextThatIsNotANumberGivesZero) {
    EXPECT_EQ(SpectroAtof(""), 0.0);
    EXPECT_EQ(SpectroAtof("abc"), 0.0);
    EXPECT_EQ(SpectroAtof("\r\n"), 0.0);
    EXPECT_EQ(SpectroAtof("."), 0.0);
    EXPECT_EQ(SpectroAtof("-"), 0.0);
    EXPECT_EQ(SpectroAtof("-.e5"), 0.0);
    EXPECT_EQ(SpectroAtof(nullptr), 0.0);
}

TEST(SpectroAtof, DecimalPointIsReadTheSameUnderACommaLocale) {
    // Hosts may run with a locale whose decimal separator is a comma; the instrument's is a point.
    const char* previous = std::setlocale(LC_NUMERIC, nullptr);
    const std::string saved = previous ? previous : "C";
    const bool switched =
        std::setlocale(LC_NUMERIC, "de_DE.UTF-8") || std::setlocale(LC_NUMERIC, "fr_FR.UTF-8");
    EXPECT_DOUBLE_EQ(SpectroAtof("0.3127"), 0.3127);
    EXPECT_DOUBLE_EQ(SpectroAtof("120.5\r\n"), 120.5);
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (!switched)
        GTEST_SKIP() << "no comma locale installed; the C locale result was checked";
}

TEST(SpectroReplyValues, StatusIsSkippedAndEveryLaterFieldIsAValue) {
    const QList<double> values = SpectroReplyValues(QByteArray("OK00,0.3127,0.3290,120.5\r\n"));
    ASSERT_EQ(values.size(), 3);
    EXPECT_DOUBLE_EQ(values[0], 0.3127);
    EXPECT_DOUBLE_EQ(values[1], 0.3290);
    EXPECT_DOUBLE_EQ(values[2], 120.5);
}

TEST(SpectroReplyValues, TwelveValuesComeBackInOrder) {
    const QList<double> values =
        SpectroReplyValues(QByteArray("OK00,10,20,30,40,50,60,70,80,90,100,110,120\r\n"));
    ASSERT_EQ(values.size(), 12);
    for (int i = 0; i < 12; ++i)
        EXPECT_DOUBLE_EQ(values[i], 10.0 * (i + 1)) << i;
}

TEST(SpectroReplyValues, StatusAloneHasNoValues) {
    EXPECT_TRUE(SpectroReplyValues(QByteArray("OK00\r\n")).isEmpty());
    EXPECT_TRUE(SpectroReplyValues(QByteArray("OK00")).isEmpty());
    EXPECT_TRUE(SpectroReplyValues(QByteArray()).isEmpty());
}

TEST(SpectroReplyValues, FieldsThatAreNotNumbersGiveZero) {
    const QList<double> values = SpectroReplyValues(QByteArray("OK00,abc,1.5,-,\r\n"));
    ASSERT_EQ(values.size(), 4);
    EXPECT_EQ(values[0], 0.0);
    EXPECT_DOUBLE_EQ(values[1], 1.5);
    EXPECT_EQ(values[2], 0.0);
    // The line end after a trailing comma is a token of its own.
    EXPECT_EQ(values[3], 0.0);
}

TEST(SpectroReplyValues, EmptyFieldsAreNotTokens) {
    const QList<double> values = SpectroReplyValues(QByteArray(",OK00,,1,,,2\r\n"));
    ASSERT_EQ(values.size(), 2);
    EXPECT_DOUBLE_EQ(values[0], 1.0);
    EXPECT_DOUBLE_EQ(values[1], 2.0);
}

TEST(SpectroReplyValues, ReplyEndsAtItsFirstNul) {
    const QList<double> values = SpectroReplyValues(QByteArray("OK00,1,2\0,3,4", 14));
    ASSERT_EQ(values.size(), 2);
    EXPECT_DOUBLE_EQ(values[1], 2.0);
}

TEST(SpectroSpectralBlock, ValuesAfterTheStatusAreAppendedInSinglePrecision) {
    QList<float> values;
    SpectroAppendSpectralBlock(QByteArray("OK00,0.0012,0.0034,1.5e-3\r\n"), values);
    ASSERT_EQ(values.size(), 3);
    EXPECT_EQ(values[0], 0.0012f);
    EXPECT_EQ(values[1], 0.0034f);
    EXPECT_EQ(values[2], 1.5e-3f);
}

TEST(SpectroSpectralBlock, ListIsAppendedToNeverCleared) {
    QList<float> values{7.0f, 8.0f};
    SpectroAppendSpectralBlock(QByteArray("OK00,1,2\r\n"), values);
    SpectroAppendSpectralBlock(QByteArray("OK00,3\r\n"), values);
    EXPECT_EQ(values, (QList<float>{7.0f, 8.0f, 1.0f, 2.0f, 3.0f}));
}

TEST(SpectroSpectralBlock, FieldThatIsNotANumberGivesZero) {
    QList<float> values;
    SpectroAppendSpectralBlock(QByteArray("OK00,1,x,3"), values);
    EXPECT_EQ(values, (QList<float>{1.0f, 0.0f, 3.0f}));
}

TEST(SpectroSpectralBlock, EmptyFieldEndsTheSplitAndTheRestCountsAsOneValue) {
    QList<float> values;
    SpectroAppendSpectralBlock(QByteArray("OK00,1,,2,3\r\n"), values);
    // ",2,3\r\n" is converted whole and is not a number.
    EXPECT_EQ(values, (QList<float>{1.0f, 0.0f}));
}

TEST(SpectroSpectralBlock, TrailingCommaLeavesNoExtraValue) {
    QList<float> values;
    SpectroAppendSpectralBlock(QByteArray("OK00,1,2,"), values);
    EXPECT_EQ(values, (QList<float>{1.0f, 2.0f}));
}

TEST(SpectroSpectralBlock, LineEndAroundTheLastValueIsIgnored) {
    QList<float> values;
    SpectroAppendSpectralBlock(QByteArray("OK00,4.25\r\n"), values);
    EXPECT_EQ(values, (QList<float>{4.25f}));
    values.clear();
    // A line end alone after the last comma is still a field: it converts to nothing, so 0.
    SpectroAppendSpectralBlock(QByteArray("OK00,4.25,\r\n"), values);
    EXPECT_EQ(values, (QList<float>{4.25f, 0.0f}));
}

TEST(SpectroSpectralBlock, ReplyWithoutACommaCarriesNoValues) {
    QList<float> values{1.0f};
    SpectroAppendSpectralBlock(QByteArray("OK00\r\n"), values);
    SpectroAppendSpectralBlock(QByteArray(), values);
    SpectroAppendSpectralBlock(QByteArray("OK00,"), values);
    EXPECT_EQ(values, (QList<float>{1.0f}));
}

TEST(SpectroSpectralBlock, BlockEndsAtItsFirstNul) {
    QList<float> values;
    SpectroAppendSpectralBlock(QByteArray("OK00,1,2\0,3", 11), values);
    EXPECT_EQ(values, (QList<float>{1.0f, 2.0f}));
}

TEST(SpectroLvXy, FirstThreeValuesAreXYAndLuminance) {
    SpectroLvXy values = {-1, -1, -1};
    ASSERT_TRUE(SpectroParseLvXy(QByteArray("OK00,0.3127,0.3290,120.5\r\n"), &values));
    EXPECT_DOUBLE_EQ(values.x, 0.3127);
    EXPECT_DOUBLE_EQ(values.y, 0.3290);
    EXPECT_DOUBLE_EQ(values.Lv, 120.5);
}

TEST(SpectroLvXy, ReplyWithFewerThanThreeValuesIsRefusedAndLeavesTheRecord) {
    SpectroLvXy values = {-1, -2, -3};
    EXPECT_FALSE(SpectroParseLvXy(QByteArray("OK00,0.3127,0.3290\r\n"), &values));
    EXPECT_FALSE(SpectroParseLvXy(QByteArray("OK00\r\n"), &values));
    EXPECT_EQ(values.x, -1);
    EXPECT_EQ(values.y, -2);
    EXPECT_EQ(values.Lv, -3);
}

TEST(SpectroMeasureData, SevenOutputsComeFromTheirPositionsInTheReply) {
    // Value n is 100 + n, so every output shows which position it was taken from.
    QByteArray reply("OK00");
    for (int n = 0; n < 12; ++n)
        reply += "," + QByteArray::number(100 + n);
    SpectroMeasureData values = {};
    ASSERT_TRUE(SpectroParseMeasureData(reply + "\r\n", &values));
    EXPECT_EQ(values.value1, 102);
    EXPECT_EQ(values.value2, 103);
    EXPECT_EQ(values.value3, 104);
    EXPECT_EQ(values.Lv, 101);
    EXPECT_EQ(values.x, 105);
    EXPECT_EQ(values.y, 106);
    EXPECT_EQ(values.value7, 111);
}

TEST(SpectroMeasureData, ReplyWithFewerThanTwelveValuesIsRefusedAndLeavesTheRecord) {
    SpectroMeasureData values = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_FALSE(SpectroParseMeasureData(QByteArray("OK00,1,2,3,4,5,6,7,8,9,10,11\r\n"), &values));
    EXPECT_EQ(values.value1, 1);
    EXPECT_EQ(values.value7, 7);
    EXPECT_EQ(values.Lv, 4);
}

TEST(SpectroMeasureData, ValuesAfterTheFirstNulDoNotCount) {
    SpectroMeasureData values = {};
    static const char kReply[] = "OK00,1,2,3,4,5,6\0,7,8,9,10,11,12\r\n";
    const QByteArray reply(kReply, int(sizeof kReply) - 1);
    EXPECT_FALSE(SpectroParseMeasureData(reply, &values));
}
