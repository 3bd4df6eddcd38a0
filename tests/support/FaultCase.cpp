#include "FaultCase.h"

#include "InstrumentFamilies.h"
#include "SimFamilies.h"

std::vector<FaultCase> FamilyOnLines(const char* family, const std::vector<LineModel>& lines) {
    return FamiliesOnLines({family}, lines);
}

std::vector<FaultCase> FamiliesOnLines(const std::vector<const char*>& families,
                                       const std::vector<LineModel>& lines) {
    std::vector<FaultCase> cases;
    for (const char* family : families) {
        const int type = SimFamilyType(QString::fromLatin1(family));
        EXPECT_GE(type, 0) << family;
        for (const LineModel& line : lines)
            cases.push_back({type, line});
    }
    return cases;
}

std::vector<FaultCase> EveryFamilyOnLines(const std::vector<LineModel>& lines) {
    std::vector<FaultCase> cases;
    for (const InstrumentFamily& family : kInstrumentFamilies)
        for (const LineModel& line : lines)
            cases.push_back({family.type, line});
    return cases;
}

std::vector<FaultCase> EveryFamilyOnSlowLines() {
    std::vector<FaultCase> cases;
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        cases.push_back({family.type, LineModel(LineModel::Instant)});
        if (family.type < 2)
            cases.push_back({family.type, LineModel::realistic()});
    }
    return cases;
}

std::string FaultLineName(const ::testing::TestParamInfo<FaultCase>& info) {
    return LineName(::testing::TestParamInfo<LineModel>(info.param.line, info.index));
}

std::string FaultFamilyLineName(const ::testing::TestParamInfo<FaultCase>& info) {
    return std::string(kInstrumentFamilies[info.param.type].name) + "_" + FaultLineName(info);
}

void PrintTo(const FaultCase& cell, std::ostream* os) {
    *os << kInstrumentFamilies[cell.type].name << " on ";
    PrintTo(cell.line, os);
}
