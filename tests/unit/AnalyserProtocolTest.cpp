#include "ColourTextProtocol.h"
#include "ReplyText.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <vector>

TEST(AnalyserProtocol, FieldsAreCutAtEveryComma) {
    const QStringList fields = ColourCutFields(QStringLiteral("OK00,1,2,0.3127"));
    EXPECT_EQ(fields, (QStringList{"OK00", "1", "2", "0.3127"}));
}

TEST(AnalyserProtocol, EmptyFieldBetweenTwoCommasCounts) {
    EXPECT_EQ(ColourCutFields(QStringLiteral("a,,b")), (QStringList{"a", "", "b"}));
}

TEST(AnalyserProtocol, TrailingCommaAddsNoEmptyField) {
    EXPECT_EQ(ColourCutFields(QStringLiteral("a,b,")), (QStringList{"a", "b"}));
}

TEST(AnalyserProtocol, LeadingCommaGivesAnEmptyFirstField) {
    EXPECT_EQ(ColourCutFields(QStringLiteral(",a")), (QStringList{"", "a"}));
}

TEST(AnalyserProtocol, LineEndStaysInTheLastField) {
    const QStringList fields = ColourCutFields(QStringLiteral("OK00,7\r\n"));
    ASSERT_EQ(fields.size(), 2);
    EXPECT_EQ(fields.at(1), QStringLiteral("7\r\n"));
}

TEST(AnalyserProtocol, EmptyTextHasNoFields) {
    EXPECT_TRUE(ColourCutFields(QString()).isEmpty());
}

TEST(AnalyserProtocol, EightFieldReplyGivesXYLvThroughSinglePrecision) {
    double x = -1, y = -1, Lv = -1;
    ASSERT_TRUE(Cas40ParseLvxy(QStringLiteral("OK00,1,2,0.3127,0.3290,120.5,6,7\r\n"), &x, &y, &Lv));
    EXPECT_EQ(x, static_cast<double>(0.3127f));
    EXPECT_EQ(y, static_cast<double>(0.3290f));
    EXPECT_EQ(Lv, 120.5);
    // Single precision, not the double the text would give.
    EXPECT_NE(x, 0.3127);
}

TEST(AnalyserProtocol, SevenFieldReplyIsRefusedAndLeavesValues) {
    double x = 9, y = 9, Lv = 9;
    EXPECT_FALSE(Cas40ParseLvxy(QStringLiteral("OK00,1,2,0.3127,0.3290,120.5,6\r\n"), &x, &y, &Lv));
    EXPECT_EQ(x, 9);
    EXPECT_EQ(y, 9);
    EXPECT_EQ(Lv, 9);
}

TEST(AnalyserProtocol, TrailingCommaDoesNotMakeAnEighthField) {
    double x = 0, y = 0, Lv = 0;
    EXPECT_FALSE(Cas40ParseLvxy(QStringLiteral("OK00,1,2,0.3127,0.3290,120.5,6,"), &x, &y, &Lv));
}

TEST(AnalyserProtocol, FieldThatDoesNotConvertGivesZero) {
    double x = 9, y = 9, Lv = 9;
    ASSERT_TRUE(Cas40ParseLvxy(QStringLiteral("OK00,1,2,abc,,120.5,6,7"), &x, &y, &Lv));
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    EXPECT_EQ(Lv, 120.5);
}

TEST(AnalyserProtocol, ExtraFieldsAreIgnored) {
    double x = 0, y = 0, Lv = 0;
    ASSERT_TRUE(Cas40ParseLvxy(QStringLiteral("OK00,P1,0,0.25,0.5,80,1,2,3,4,5"), &x, &y, &Lv));
    EXPECT_EQ(x, 0.25);
    EXPECT_EQ(y, 0.5);
    EXPECT_EQ(Lv, 80.0);
}

TEST(AnalyserProtocol, ColourTemperatureIsFieldThree) {
    double Tcp = 0;
    ASSERT_TRUE(Cas40ParseTcp(QStringLiteral("OK00,P1,0,6504,0.0032,120.5,1,2\r\n"), &Tcp));
    EXPECT_EQ(Tcp, 6504.0);
    double untouched = 5;
    EXPECT_FALSE(Cas40ParseTcp(QStringLiteral("OK00,P1,0,6504,0.0032,120.5,1"), &untouched));
    EXPECT_EQ(untouched, 5);
}

TEST(AnalyserProtocol, StatusIsFoundAnywhereUpToTheFirstNul) {
    EXPECT_TRUE(ColourReplyContains(QByteArray("xxOK04yy"), "OK04"));
    EXPECT_TRUE(ColourReplyContains(QByteArray("\r\nOK00,1"), "OK00"));
    EXPECT_FALSE(ColourReplyContains(QByteArray("ok00"), "OK00"));
    EXPECT_FALSE(ColourReplyContains(QByteArray("ER10\0OK00", 9), "OK00"));
    EXPECT_EQ(ReplyText(QByteArray("OK00\0junk", 9)), QByteArray("OK00"));
    EXPECT_EQ(ReplyText(QByteArray("OK00,1\r\n")), QByteArray("OK00,1\r\n"));
    EXPECT_EQ(ReplyText(QByteArray("\0OK00", 5)), QByteArray());
}

TEST(AnalyserProtocol, ZeroCalibrationCommandCarriesTheDateZeroPadded) {
    const QDateTime when(QDate(2024, 3, 5), QTime(14, 7, 9));
    const QByteArray command = ColourZeroCalibrationCommand(when, '\n');
    EXPECT_EQ(command, QByteArray("ZRC,1,2024,03,05,14,07,09\n"));
    EXPECT_EQ(command.size(), 26);
}

TEST(AnalyserProtocol, ZeroCalibrationCommandUsesTheTwentyFourHourClock) {
    const QDateTime when(QDate(2023, 12, 31), QTime(23, 59, 58));
    EXPECT_EQ(ColourZeroCalibrationCommand(when, '\r'), QByteArray("ZRC,1,2023,12,31,23,59,58\r"));
    const QDateTime midnight(QDate(2025, 1, 1), QTime(0, 0, 0));
    EXPECT_EQ(ColourZeroCalibrationCommand(midnight, '\n'), QByteArray("ZRC,1,2025,01,01,00,00,00\n"));
}

namespace {
// Drives the reply-wait loop with a list of read outcomes: an empty entry is a read that found
// nothing, anything else a reply. Counts the reads made.
struct LoopRun {
    std::vector<QByteArray> replies;
    bool portConnected = true;
    int reads = 0;
    QByteArray decided;

    bool run(int limitTimes, bool boundary) {
        ColourReplyLoopSteps steps;
        steps.read = [this](QByteArray* reply) {
            const QByteArray next = reads < int(replies.size()) ? replies[size_t(reads)] : QByteArray();
            ++reads;
            *reply = next;
            return !next.isEmpty();
        };
        steps.portConnected = [this] { return portConnected; };
        steps.decide = [this](const QByteArray& reply) {
            decided = reply;
            return reply.contains("OK00");
        };
        return ColourReplyLoop(limitTimes, boundary, steps);
    }
};
std::vector<QByteArray> silentThen(int silent, const QByteArray& reply) {
    std::vector<QByteArray> list(static_cast<size_t>(silent), QByteArray{});
    list.push_back(reply);
    return list;
}
} // namespace

TEST(AnalyserProtocol, FirstReplyDecidesWithoutFurtherReads) {
    LoopRun loop;
    loop.replies = {"ER10", "OK00"};
    EXPECT_FALSE(loop.run(10, true));
    EXPECT_EQ(loop.reads, 1);
    EXPECT_EQ(loop.decided, QByteArray("ER10"));
}

TEST(AnalyserProtocol, ReplyOnTheNinthReadStillSucceedsWithDefaultLimit) {
    LoopRun loop;
    loop.replies = silentThen(8, "OK00");
    EXPECT_TRUE(loop.run(10, true));
    EXPECT_EQ(loop.reads, 9);
}

TEST(AnalyserProtocol, ReplyOnTheTenthReadFailsAtTheSuccessBoundary) {
    LoopRun loop;
    loop.replies = silentThen(9, "OK00");
    EXPECT_FALSE(loop.run(10, true));
    EXPECT_EQ(loop.reads, 10);
    // The reply was still handed over for its values to be stored.
    EXPECT_EQ(loop.decided, QByteArray("OK00"));
}

TEST(AnalyserProtocol, DisplayModeReplyOnTheLastReadStillSucceeds) {
    LoopRun loop;
    loop.replies = silentThen(9, "OK00");
    EXPECT_TRUE(loop.run(10, false));
    EXPECT_EQ(loop.reads, 10);
}

TEST(AnalyserProtocol, LimitOfOneFailsEveryMeasurementButNotTheDisplayMode) {
    LoopRun measure;
    measure.replies = {"OK00"};
    EXPECT_FALSE(measure.run(1, true));
    EXPECT_EQ(measure.decided, QByteArray("OK00"));
    LoopRun mode;
    mode.replies = {"OK00"};
    EXPECT_TRUE(mode.run(1, false));
}

TEST(AnalyserProtocol, LimitOfZeroReadsNothing) {
    LoopRun loop;
    loop.replies = {"OK00"};
    EXPECT_FALSE(loop.run(0, false));
    EXPECT_EQ(loop.reads, 0);
}

TEST(AnalyserProtocol, SilenceThroughTheWholeLimitFails) {
    LoopRun loop;
    EXPECT_FALSE(loop.run(3, false));
    EXPECT_EQ(loop.reads, 3);
}

TEST(AnalyserProtocol, LostPortStopsTheWaitAtOnce) {
    LoopRun loop;
    loop.portConnected = false;
    loop.replies = silentThen(2, "OK00");
    EXPECT_FALSE(loop.run(10, false));
    EXPECT_EQ(loop.reads, 1);
}

TEST(AnalyserProtocol, NegativeLimitReadsOnWithoutBound) {
    LoopRun mode;
    mode.replies = silentThen(50, "OK00");
    EXPECT_TRUE(mode.run(-1, false));
    EXPECT_EQ(mode.reads, 51);
    // The counter never comes back above zero, so a measurement never counts as a success.
    LoopRun measure;
    measure.replies = silentThen(50, "OK00");
    EXPECT_FALSE(measure.run(-1, true));
    EXPECT_EQ(measure.reads, 51);
}
