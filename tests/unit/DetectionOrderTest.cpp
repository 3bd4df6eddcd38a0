// The order of detection's trials under a host's hint: pure logic of the hint.
#include "DetectionHint.h"
#include "InstrumentFamilies.h"

#include <gtest/gtest.h>

TEST(DetectionOrder, NoHintIsTheTypeOrder) {
    EXPECT_EQ(FamilyTrialOrder({}), QVector<int>({0, 1, 2, 3, 4}));
}

TEST(DetectionOrder, HintedFamiliesComeFirstInTheHostsOrderAndTheRestFollowInTypeOrder) {
    EXPECT_EQ(FamilyTrialOrder({4}), QVector<int>({4, 0, 1, 2, 3}));
    EXPECT_EQ(FamilyTrialOrder({3, 1}), QVector<int>({3, 1, 0, 2, 4}));
    EXPECT_EQ(FamilyTrialOrder({2, 4, 0, 1, 3}), QVector<int>({2, 4, 0, 1, 3}));
}

TEST(DetectionOrder, RepeatsAndNumbersOutsideTheTableArePassedOver) {
    EXPECT_EQ(FamilyTrialOrder({1, 1, 9, -1}), QVector<int>({1, 0, 2, 3, 4}));
    EXPECT_EQ(FamilyTrialOrder({kInstrumentFamilyCount}).size(), kInstrumentFamilyCount);
}

TEST(DetectionOrder, HintedPortMovesToTheFrontByNameOrByPath) {
    const QList<QPair<QString, QString>> ports = {
        qMakePair(QStringLiteral("cu.usbserial-A"), QString()),
        qMakePair(QStringLiteral("cu.usbserial-B"), QString()),
        qMakePair(QStringLiteral("/x/dev/cu.usbserial-C"), QString())};
    bool found = false;
    auto byName = PortsHintedFirst(ports, QStringLiteral("cu.usbserial-B"), &found);
    EXPECT_TRUE(found);
    EXPECT_EQ(byName[0].first, QStringLiteral("cu.usbserial-B"));
    EXPECT_EQ(byName[1].first, QStringLiteral("cu.usbserial-A"));
    auto byPath = PortsHintedFirst(ports, QStringLiteral("/dev/cu.usbserial-B"), &found);
    EXPECT_TRUE(found);
    EXPECT_EQ(byPath[0].first, QStringLiteral("cu.usbserial-B"));
    auto asIs = PortsHintedFirst(ports, QStringLiteral("/x/dev/cu.usbserial-C"), &found);
    EXPECT_TRUE(found);
    EXPECT_EQ(asIs[0].first, QStringLiteral("/x/dev/cu.usbserial-C"));
    EXPECT_EQ(asIs.size(), 3);
}

TEST(DetectionOrder, UnlistedOrNoHintedPortLeavesTheListAsItIs) {
    const QList<QPair<QString, QString>> ports = {qMakePair(QStringLiteral("cu.usbserial-A"), QString()),
                                                  qMakePair(QStringLiteral("cu.usbserial-B"), QString())};
    bool found = true;
    EXPECT_EQ(PortsHintedFirst(ports, QStringLiteral("cu.usbserial-Z"), &found), ports);
    EXPECT_FALSE(found);
    EXPECT_EQ(PortsHintedFirst(ports, QString(), &found), ports);
    EXPECT_FALSE(found);
}

TEST(DetectionOrder, OnlyHintTriesTheNamedFamiliesAloneInTheHostsOrder) {
    DetectionHint hint;
    hint.families = {3, 1};
    EXPECT_EQ(HintedTrialOrder(hint), QVector<int>({3, 1, 0, 2, 4}));
    hint.only = true;
    EXPECT_EQ(HintedTrialOrder(hint), QVector<int>({3, 1}));
    hint.families = {4, 4, 9, -1};
    EXPECT_EQ(HintedTrialOrder(hint), QVector<int>({4}));
}

TEST(DetectionOrder, EmptyHintGivesTheTypeOrder) {
    EXPECT_EQ(HintedTrialOrder(DetectionHint()), QVector<int>({0, 1, 2, 3, 4}));
}
