#pragma once

#include "InstrumentModel.h"

#include <QByteArray>
#include <QList>

// A Minolta colour analyser at 9600 baud. Commands end in a line feed: "COM,1" / "COM,0" (remote
// communication on and off), "ZRC,1,<yyyy,MM,dd,hh,mm,ss>" (zero calibration stamped with the host's
// clock), "MDS,0" / "MDS,1" (luminance-and-chromaticity or colour-temperature display), "MES,1"
// (measure; the result comes measureDelayMs later). Each is answered "OK00" with CR LF. A measurement
// answers "OK00,P1,0,<x>,<y>,<Lv>,<dx>,<dy>" in mode 0 and "OK00,P1,0,<Tcp>,<duv>,<Lv>,<dx>,<dy>" in
// mode 1. Anything else (another instrument's probe, a CR-terminated command swallowed into the next
// line) is ignored.
class AnalyserModel : public InstrumentModel {
public:
    AnalyserModel();
    ~AnalyserModel() override;

    // The next measurements answer these lines (CR LF appended) instead of a reading, one each, in
    // order; for example "OK04", "OK02" or "ER10".
    void queueMeasureReply(const QByteArray& line);
    // The date text of the last "ZRC,1,..." command (without its line feed); empty if none came.
    QByteArray lastZeroCalibrationDate() const;
    int zeroCalibrationCount() const;
    // The display mode last selected with "MDS" (0 until then).
    int displayMode() const;
    bool inRemoteMode() const;
    // The measurement reply for the current reading in the given display mode.
    QByteArray measurementLine(int mode) const;

protected:
    QByteArray terminators() const override;
    void onCommand(const QByteArray& command) override;

private:
    mutable std::mutex m_stateMutex;
    QList<QByteArray> m_queuedReplies;
    QByteArray m_lastZeroDate;
    int m_zeroCount = 0;
    int m_displayMode = 0;
    bool m_remote = false;
};
