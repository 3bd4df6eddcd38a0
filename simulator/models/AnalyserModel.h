#pragma once

#include "ColourTextModel.h"

#include <QByteArray>

// A Minolta colour analyser at 9600 baud, speaking the colour-analyser family (ColourTextModel) with
// commands ended by a line feed and "MES,1" as its measure command. A measurement answers
// "OK00,P1,0,<x>,<y>,<Lv>,<dx>,<dy>" in mode 0 and "OK00,P1,0,<Tcp>,<duv>,<Lv>,<dx>,<dy>" in mode 1.
// Anything else (another instrument's probe, a CR-terminated command swallowed into the next line) is
// ignored.
class AnalyserModel : public ColourTextModel {
public:
    AnalyserModel();
    ~AnalyserModel() override;

    QByteArray measurementLine(int mode) const override;
};
