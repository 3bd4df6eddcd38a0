#include "InstrumentModel.h"

#include <gtest/gtest.h>

TEST(SimFaultNames, EveryFaultHasItsName) {
    const struct {
        const char* name;
        SimFault fault;
    } names[] = {
        {"none", SimFault::None},
        {"silent", SimFault::Silent},
        {"garbage", SimFault::Garbage},
        {"overlong", SimFault::Overlong},
        {"cut", SimFault::Cut},
        {"split", SimFault::SplitBytes},
        {"unplug", SimFault::UnplugDuringMeasure},
        {"slow", SimFault::SlowCompletion},
    };
    for (const auto& entry : names) {
        SimFault fault = entry.name == QByteArray("none") ? SimFault::Silent : SimFault::None;
        EXPECT_TRUE(parseSimFault(QString::fromLatin1(entry.name), &fault)) << entry.name;
        EXPECT_EQ(fault, entry.fault) << entry.name;
    }
}

TEST(SimFaultNames, NamesIgnoreCaseAndSurroundingBlanks) {
    SimFault fault = SimFault::None;
    EXPECT_TRUE(parseSimFault(" Garbage\n", &fault));
    EXPECT_EQ(fault, SimFault::Garbage);
}

TEST(SimFaultNames, UnknownNameIsRefusedAndLeavesTheFaultAlone) {
    SimFault fault = SimFault::Cut;
    EXPECT_FALSE(parseSimFault("splitbytes", &fault));
    EXPECT_FALSE(parseSimFault("", &fault));
    EXPECT_EQ(fault, SimFault::Cut);
    EXPECT_TRUE(parseSimFault("slow", nullptr));
}
