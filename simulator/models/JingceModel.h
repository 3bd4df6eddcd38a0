#pragma once

#include "InstrumentModel.h"

#include <QByteArray>
#include <QList>

// A Wuhan Jingce colorimeter. It hears only at 115200 baud; commands end in a carriage return:
// "COM,0" / "COM,1", "ZRC,1,<yyyy,MM,dd,hh,mm,ss>" (dated zero calibration), "ZRC" (zero calibration,
// answered zeroCalibrationDelayMs later), "MDS,0" / "MDS,1", "MES" (measure, answered measureDelayMs
// later). Each is answered "OK00" with CR LF. A measurement answers "OK00 <x*10000>;<y*10000>;<Lv>" in
// mode 0 and "OK00,P1,0,0,<Tcp>,<duv>,<Lv>,0" in mode 1. Anything else is ignored.
class JingceModel : public InstrumentModel {
public:
    JingceModel();
    ~JingceModel() override;

    // The next measurements answer these lines (CR LF appended) instead of a reading, one each.
    void queueMeasureReply(const QByteArray& line);
    // The date text of the last "ZRC,1,..." command (without its carriage return); empty if none.
    QByteArray lastZeroCalibrationDate() const;
    // How many plain "ZRC" zero calibrations were asked for.
    int plainZeroCalibrationCount() const;
    void setZeroCalibrationDelayMs(int ms);
    int displayMode() const;
    QByteArray measurementLine(int mode) const;

protected:
    QByteArray terminators() const override;
    void onCommand(const QByteArray& command) override;

private:
    mutable std::mutex m_stateMutex;
    QList<QByteArray> m_queuedReplies;
    QByteArray m_lastZeroDate;
    int m_plainZeroCount = 0;
    int m_zeroDelayMs = 50;
    int m_displayMode = 0;
};
