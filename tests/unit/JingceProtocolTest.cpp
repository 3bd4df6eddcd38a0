#include "ColourTextProtocol.h"

#include <gtest/gtest.h>

TEST(JingceProtocol, ScaledChromaticityAndLuminanceAreStored) {
    double x = 0, y = 0, Lv = 0;
    ASSERT_TRUE(JingceParseLvxy(QStringLiteral("OK00 3127;3290;120.5\r\n"), &x, &y, &Lv));
    EXPECT_EQ(x, static_cast<double>(3127.0f / 10000.0f));
    EXPECT_EQ(y, static_cast<double>(3290.0f / 10000.0f));
    EXPECT_EQ(Lv, 120.5);
    EXPECT_NEAR(x, 0.3127, 1e-6);
    EXPECT_NEAR(y, 0.3290, 1e-6);
}

TEST(JingceProtocol, TwoPiecesFindNoValues) {
    double x = 7, y = 7, Lv = 7;
    EXPECT_FALSE(JingceParseLvxy(QStringLiteral("OK00 3127;3290"), &x, &y, &Lv));
    EXPECT_EQ(x, 7);
    EXPECT_EQ(y, 7);
    EXPECT_EQ(Lv, 7);
}

TEST(JingceProtocol, ReplyWithoutBlankFindsNoValues) {
    double x = 7, y = 7, Lv = 7;
    EXPECT_FALSE(JingceParseLvxy(QStringLiteral("OK00,3127;3290;120.5"), &x, &y, &Lv));
    EXPECT_EQ(Lv, 7);
}

TEST(JingceProtocol, PiecesAfterTheThirdAreIgnored) {
    double x = 0, y = 0, Lv = 0;
    ASSERT_TRUE(JingceParseLvxy(QStringLiteral("OK00 3000;4000;55.25;99;junk"), &x, &y, &Lv));
    EXPECT_EQ(x, static_cast<double>(3000.0f / 10000.0f));
    EXPECT_EQ(y, static_cast<double>(4000.0f / 10000.0f));
    EXPECT_EQ(Lv, 55.25);
}

TEST(JingceProtocol, OnlyTheSecondBlankSeparatedPartIsRead) {
    double x = 0, y = 0, Lv = 0;
    ASSERT_TRUE(JingceParseLvxy(QStringLiteral("OK00 1000;2000;10 5000;5000;99"), &x, &y, &Lv));
    EXPECT_EQ(Lv, 10.0);
    // A doubled blank leaves an empty second part: no pieces, no values.
    EXPECT_FALSE(JingceParseLvxy(QStringLiteral("OK00  3127;3290;120.5"), &x, &y, &Lv));
}

TEST(JingceProtocol, PieceThatDoesNotConvertGivesZero) {
    double x = 9, y = 9, Lv = 9;
    ASSERT_TRUE(JingceParseLvxy(QStringLiteral("OK00 abc;;120.5"), &x, &y, &Lv));
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    EXPECT_EQ(Lv, 120.5);
}

TEST(JingceProtocol, ColourTemperatureIsFieldFour) {
    double Tcp = 0;
    ASSERT_TRUE(JingceParseTcp(QStringLiteral("OK00,P1,0,0,6504,0.0032,120.5,0\r\n"), &Tcp));
    EXPECT_EQ(Tcp, 6504.0);
}

TEST(JingceProtocol, ColourTemperatureNeedsEightFields) {
    double Tcp = 3;
    EXPECT_FALSE(JingceParseTcp(QStringLiteral("OK00,P1,0,0,6504,0.0032,120.5"), &Tcp));
    EXPECT_EQ(Tcp, 3);
}

TEST(JingceProtocol, ZeroCalibrationCommandEndsInCarriageReturn) {
    const QByteArray command =
        ColourZeroCalibrationCommand(QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9)), '\r');
    EXPECT_EQ(command, QByteArray("ZRC,1,2024,03,05,14,07,09\r"));
    EXPECT_EQ(command.size(), 26);
}
