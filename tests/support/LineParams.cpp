#include "LineParams.h"

#include "SimInstrument.h"

#include <iostream>

std::vector<LineModel> AllLines() {
    return {LineModel(LineModel::Instant), LineModel(LineModel::ByteWise), LineModel::realistic()};
}

std::vector<LineModel> InstantLine() {
    return {LineModel(LineModel::Instant)};
}

std::vector<LineModel> InstantAndUsbLines() {
    return {LineModel(LineModel::Instant), LineModel::realistic()};
}

std::vector<LineModel> RealisticLines() {
    return {LineModel(LineModel::ByteWise), LineModel::realistic()};
}

std::string LineName(const ::testing::TestParamInfo<LineModel>& info) {
    std::string name = info.param.name().toStdString();
    std::string plain;
    for (const char c : name) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            plain += c;
    }
    return plain;
}

void PrintTo(const LineModel& line, std::ostream* os) {
    *os << line.name().toStdString();
}

void ShowLine(const SimInstrument& sim) {
    const LineModel line = sim.line();
    if (line.kind() != LineModel::Usb)
        return;
    std::cout << "line " << line.withSeed(sim.lineSeed()).name().toStdString() << std::endl;
    ::testing::Test::RecordProperty("sim_line", line.withSeed(sim.lineSeed()).name().toStdString());
}
