#include "InstrumentModel.h"
#include "SimFamilies.h"
#include "SimReadingText.h"
#include "TrafficTap.h"

#include <gtest/gtest.h>

TEST(CliSimulatorTool, FamiliesHaveTheirDetectionTypeNumbers) {
    EXPECT_EQ(SimFamilyNames(),
              (QStringList{QStringLiteral("spectro"), QStringLiteral("analyser"), QStringLiteral("luminance"),
                           QStringLiteral("photoresearch"), QStringLiteral("jingce")}));
    for (int type = 0; type < 5; ++type) {
        EXPECT_EQ(SimFamilyType(SimFamilyName(type)), type);
        EXPECT_FALSE(SimFamilyTitle(type).isEmpty());
    }
    EXPECT_EQ(SimFamilyType(QStringLiteral("toaster")), -1);
    EXPECT_EQ(SimFamilyType(QStringLiteral("Analyser")), -1);
    EXPECT_TRUE(SimFamilyName(5).isEmpty());
    EXPECT_TRUE(SimFamilyName(-1).isEmpty());
}

TEST(CliSimulatorTool, EveryFamilyMakesAModelWithTheDefaultReading) {
    for (const QString& family : SimFamilyNames()) {
        std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
        ASSERT_NE(model, nullptr) << qPrintable(family);
        EXPECT_TRUE(SimFamilyProblem(family).isEmpty());
        EXPECT_DOUBLE_EQ(model->reading().Lv, 120.5);
        EXPECT_DOUBLE_EQ(model->reading().x, 0.3127);
    }
    EXPECT_EQ(CreateFamilyModel(QStringLiteral("toaster")), nullptr);
    EXPECT_TRUE(
        SimFamilyProblem(QStringLiteral("toaster")).contains(QStringLiteral("not an instrument family")));
}

TEST(CliSimulatorTool, ReadingTextGivesLvXyAndOptionallyTcp) {
    SimReading reading;
    ASSERT_TRUE(ParseSimReading(QStringLiteral("87.25,0.4476,0.4074"), &reading));
    EXPECT_DOUBLE_EQ(reading.Lv, 87.25);
    EXPECT_DOUBLE_EQ(reading.x, 0.4476);
    EXPECT_DOUBLE_EQ(reading.y, 0.4074);
    EXPECT_DOUBLE_EQ(reading.Tcp, 6504);
    ASSERT_TRUE(ParseSimReading(QStringLiteral("1, 0.3, 0.3, 2856"), &reading));
    EXPECT_DOUBLE_EQ(reading.Tcp, 2856);
}

TEST(CliSimulatorTool, ReadingTextRefusesWhatIsNoReading) {
    QString error;
    for (const char* text :
         {"", "1,2", "1,0.3,0.3,5000,7", "bright,0.3,0.3", "1,1.5,0.3", "-1,0.3,0.3", "1,0.3,nan"}) {
        error.clear();
        EXPECT_FALSE(ParseSimReading(QLatin1String(text), nullptr, &error)) << text;
        EXPECT_FALSE(error.isEmpty()) << text;
    }
}

TEST(CliSimulatorTool, TrafficIsShownReadablyAndCutWhenLong) {
    EXPECT_EQ(TrafficTap::Escape("COM,1\n"), QStringLiteral("COM,1\\n"));
    EXPECT_EQ(TrafficTap::Escape("STR,4\r"), QStringLiteral("STR,4\\r"));
    EXPECT_EQ(TrafficTap::Escape(QByteArray("A\0\x01\\", 4)), QStringLiteral("A\\x00\\x01\\\\"));
    EXPECT_EQ(TrafficTap::Escape(QByteArray(100, 'x'), 4), QStringLiteral("xxxx... (100 bytes)"));
}
