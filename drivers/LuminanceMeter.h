#pragma once

#include "IMinolta.h"

class CInstrumentLine;

// The luminance meter: fixed 100-byte binary command frames, each answered by a frame that must match
// the expected one over 200 bytes. Everything runs on the caller's thread, the measurement included.
class CLuminanceMeter : public ILuminanceMeter, public IMinolta {
public:
    // The driver talks on `line` (the detector's), which must outlive it.
    explicit CLuminanceMeter(CInstrumentLine& line);

    unsigned long Connect() override;
    unsigned long Disconnect() override;
    // Synchronous: the flag is ignored and the watchers are told before this returns.
    unsigned long Measure(bool flag) override;
    // The luminance of the last measurement, 0.0 when the instrument sent none back, -1.0 when the
    // read-out could not be completed.
    double ReadLastestData() override;
    unsigned long ReadLvXy(SChromameterMeasureData& data) override;
    unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) override;
    unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                  double& y, double& value7) override;
    // Asks for the measurement state until the instrument reports it finished; no other bound.
    unsigned long Polling() override;
    ~CLuminanceMeter() override;
    unsigned long RegisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) override;
    virtual unsigned long ZeroCalibrate();

    // Sends each command in turn and compares its reply with the expected frame at the same index.
    unsigned long DoExcute(char (*commands)[100], char (*replies)[200], int count);

private:
    // Throws away replies still on their way from the last read-out, so the next exchange does not
    // take them for its own.
    void DrainStaleReplies();

    // Set once read-out frames whose replies nobody reads have been sent.
    bool m_bStaleReplies;
    CInstrumentLine& m_line;
};
