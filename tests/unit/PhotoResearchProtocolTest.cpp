#include "PhotoResearchProtocol.h"
#include "IMinolta.h"

#include <gtest/gtest.h>

TEST(PhotoResearchProtocol, GreetingWithLineEndIsRemoteMode) {
    EXPECT_TRUE(PhotoResearchIsRemoteModeGreeting(QByteArray(" REMOTE MODE\r\n")));
}

TEST(PhotoResearchProtocol, GreetingWithoutLeadingBlankIsRefused) {
    EXPECT_FALSE(PhotoResearchIsRemoteModeGreeting(QByteArray("REMOTE MODE\r\n")));
}

TEST(PhotoResearchProtocol, GreetingCutShortByALetterIsRefused) {
    EXPECT_FALSE(PhotoResearchIsRemoteModeGreeting(QByteArray(" REMOTE MOD")));
    EXPECT_FALSE(PhotoResearchIsRemoteModeGreeting(QByteArray(" REMOTE MOD\r\n")));
}

TEST(PhotoResearchProtocol, GreetingIsJudgedOnItsFirstTwelveBytesOnly) {
    EXPECT_TRUE(PhotoResearchIsRemoteModeGreeting(QByteArray(" REMOTE MODE")));
    EXPECT_TRUE(PhotoResearchIsRemoteModeGreeting(QByteArray(" REMOTE MODEL 655 anything")));
    EXPECT_FALSE(PhotoResearchIsRemoteModeGreeting(QByteArray(" remote mode\r\n")));
}

TEST(PhotoResearchProtocol, EmptyReplyIsNoGreeting) {
    EXPECT_FALSE(PhotoResearchIsRemoteModeGreeting(QByteArray()));
    // A silent instrument leaves the reply buffer zero-filled.
    EXPECT_FALSE(PhotoResearchIsRemoteModeGreeting(QByteArray(1024, '\0')));
}

TEST(PhotoResearchProtocol, OnlyMeasureAndDataReadProduceReports) {
    EXPECT_TRUE(PhotoResearchIsReportCommand("M1\n"));
    EXPECT_TRUE(PhotoResearchIsReportCommand("D1\n"));
    EXPECT_FALSE(PhotoResearchIsReportCommand("M1"));
    EXPECT_FALSE(PhotoResearchIsReportCommand("D1\r\n"));
    EXPECT_FALSE(PhotoResearchIsReportCommand("M2\n"));
    EXPECT_FALSE(PhotoResearchIsReportCommand("PHOTO"));
    EXPECT_FALSE(PhotoResearchIsReportCommand(""));
    EXPECT_FALSE(PhotoResearchIsReportCommand(nullptr));
}

TEST(PhotoResearchProtocol, GoodReportYieldsLuminanceAndChromaticityAtSinglePrecision) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111,120.5,0.3127,0.3290\r\n");
    EXPECT_EQ(r.result, RESULT_OK);
    EXPECT_EQ(r.valuesTaken, 3);
    EXPECT_EQ(r.Lv, double(120.5f));
    EXPECT_EQ(r.x, double(0.3127f));
    EXPECT_EQ(r.y, double(0.3290f));
    // Narrowed through float, not parsed at double precision.
    EXPECT_NE(r.x, 0.3127);
}

TEST(PhotoResearchProtocol, SecondFieldIsNeverExamined) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,not a number at all,1.5e+02,0.31,0.32\n");
    EXPECT_EQ(r.result, RESULT_OK);
    EXPECT_EQ(r.Lv, double(150.0f));
    EXPECT_EQ(r.x, double(0.31f));
    EXPECT_EQ(r.y, double(0.32f));
}

TEST(PhotoResearchProtocol, NonZeroStatusFailsAndTakesNothing) {
    const PhotoResearchReport r = PhotoResearchParseReport("00001,111,120.5,0.3127,0.3290\r\n");
    EXPECT_EQ(r.result, RESULT_FAIL);
    EXPECT_EQ(r.valuesTaken, 0);
}

TEST(PhotoResearchProtocol, StatusMustBeExactlyFiveZeros) {
    EXPECT_EQ(PhotoResearchParseReport("0000,111,120.5,0.3127,0.3290\r\n").result, RESULT_FAIL);
    EXPECT_EQ(PhotoResearchParseReport("000000,111,120.5,0.3127,0.3290\r\n").result, RESULT_FAIL);
    EXPECT_EQ(PhotoResearchParseReport(" 00000,111,120.5,0.3127,0.3290\r\n").result, RESULT_FAIL);
    EXPECT_EQ(PhotoResearchParseReport("0000O,111,120.5,0.3127,0.3290\r\n").result, RESULT_FAIL);
}

TEST(PhotoResearchProtocol, ReportWithoutAnyCommaFails) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000\r\n");
    EXPECT_EQ(r.result, RESULT_FAIL);
    EXPECT_EQ(r.valuesTaken, 0);
}

TEST(PhotoResearchProtocol, ReportWithStatusOnlyAndSecondFieldFails) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111\r\n");
    EXPECT_EQ(r.result, RESULT_FAIL);
    EXPECT_EQ(r.valuesTaken, 0);
}

TEST(PhotoResearchProtocol, ReportCutAfterLuminanceFailsWithNothingTaken) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111,120.5\r\n");
    EXPECT_EQ(r.result, RESULT_FAIL);
    EXPECT_EQ(r.valuesTaken, 0);
}

TEST(PhotoResearchProtocol, ReportCutAfterXFailsWithLuminanceTaken) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111,120.5,0.3127\r\n");
    EXPECT_EQ(r.result, RESULT_FAIL);
    EXPECT_EQ(r.valuesTaken, 1);
    EXPECT_EQ(r.Lv, double(120.5f));
}

TEST(PhotoResearchProtocol, LuminanceThatIsNotANumberIsTakenAsZero) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111,OVER,0.3127,0.3290\r\n");
    EXPECT_EQ(r.result, RESULT_OK);
    EXPECT_EQ(r.valuesTaken, 3);
    EXPECT_EQ(r.Lv, 0.0);
    EXPECT_EQ(r.x, double(0.3127f));
}

TEST(PhotoResearchProtocol, YTakesAllTheRestSoFurtherFieldsSpoilIt) {
    // y is everything after the fourth comma; a trailing field makes it no number, stored as 0.
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111,120.5,0.3127,0.3290,17\r\n");
    EXPECT_EQ(r.result, RESULT_OK);
    EXPECT_EQ(r.Lv, double(120.5f));
    EXPECT_EQ(r.x, double(0.3127f));
    EXPECT_EQ(r.y, 0.0);
}

TEST(PhotoResearchProtocol, EmptyFieldsConvertToZero) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,,,,");
    EXPECT_EQ(r.result, RESULT_OK);
    EXPECT_EQ(r.Lv, 0.0);
    EXPECT_EQ(r.x, 0.0);
    EXPECT_EQ(r.y, 0.0);
}

TEST(PhotoResearchProtocol, NullOrEmptyReportFails) {
    EXPECT_EQ(PhotoResearchParseReport(nullptr).result, RESULT_FAIL);
    EXPECT_EQ(PhotoResearchParseReport("").result, RESULT_FAIL);
}

TEST(PhotoResearchProtocol, ScientificNotationOfTheInstrumentIsRead) {
    const PhotoResearchReport r = PhotoResearchParseReport("00000,111,1.2050e+02,0.3127,0.3290\r\n");
    EXPECT_EQ(r.result, RESULT_OK);
    EXPECT_EQ(r.Lv, double(120.5f));
}
