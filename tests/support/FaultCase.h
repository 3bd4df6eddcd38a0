#pragma once

// The parameter of a fault cell: which family of the family table it drives, and on which line.

#include "LineParams.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

// The family (its type number) a fault cell drives and how its cable delivers.
struct FaultCase {
    int type;
    LineModel line;
};
// `family` on each of `lines`.
std::vector<FaultCase> FamilyOnLines(const char* family, const std::vector<LineModel>& lines);
// Each of `families` on each of `lines`.
std::vector<FaultCase> FamiliesOnLines(const std::vector<const char*>& families,
                                       const std::vector<LineModel>& lines);
// Every family of the table on each of `lines`.
std::vector<FaultCase> EveryFamilyOnLines(const std::vector<LineModel>& lines);
// The slow cells' lines: the instant line, and the USB one for the two families detection tries
// first (quick to reach; the others would add every earlier trial's wait to each cell).
std::vector<FaultCase> EveryFamilyOnSlowLines();
// The last part of a cell's name: the line ("usb16jitter8") where the fixture names the family, or
// the family and the line ("analyser_usb16jitter8") where one fixture serves several.
std::string FaultLineName(const ::testing::TestParamInfo<FaultCase>& info);
std::string FaultFamilyLineName(const ::testing::TestParamInfo<FaultCase>& info);
void PrintTo(const FaultCase& cell, std::ostream* os);
