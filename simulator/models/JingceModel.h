#pragma once

#include "ColourTextModel.h"

#include <QByteArray>

// A Wuhan Jingce colorimeter. It hears only at 115200 baud and speaks the colour-analyser family
// (ColourTextModel) with commands ended by a carriage return (blanks and a stray line feed around
// them ignored) and "MES" as its measure command; besides, "ZRC" (zero calibration, answered "OK00"
// zeroCalibrationDelayMs later). A measurement answers "OK00 <x*10000>;<y*10000>;<Lv>" in mode 0 and
// "OK00,P1,0,0,<Tcp>,<duv>,<Lv>,0" in mode 1. Anything else is ignored.
class JingceModel : public ColourTextModel {
public:
    JingceModel();
    ~JingceModel() override;

    // How many plain "ZRC" zero calibrations were asked for.
    int plainZeroCalibrationCount() const;
    void setZeroCalibrationDelayMs(int ms);
    QByteArray measurementLine(int mode) const override;

protected:
    void onOtherCommand(const QByteArray& line) override;

private:
    mutable std::mutex m_zeroMutex;
    int m_plainZeroCount = 0;
    int m_zeroDelayMs = 50;
};
