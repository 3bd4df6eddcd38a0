#include "AnalyserModel.h"

namespace {
// Chromaticity deviations and Duv the instrument reports beside the main values.
const char kSideValues[] = "-0.0012,0.0008";
} // namespace

AnalyserModel::AnalyserModel() : ColourTextModel(ColourTextDialect{'\n', "MES,1", false}) {
    setRequiredBaud(9600);
}

AnalyserModel::~AnalyserModel() {
    stop();
}

QByteArray AnalyserModel::measurementLine(int mode) const {
    const SimReading r = measuredReading();
    if (mode == 1)
        return "OK00,P1,0," + fixed(r.Tcp, 0) + ",0.0032," + fixed(r.Lv, 4) + "," + kSideValues + "\r\n";
    return "OK00,P1,0," + fixed(r.x, 4) + "," + fixed(r.y, 4) + "," + fixed(r.Lv, 4) + "," + kSideValues +
           "\r\n";
}
