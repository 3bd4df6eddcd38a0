#pragma once

#include "IMinolta.h"

class CInstrumentLine;

// Photo Research instrument in its remote text mode: "PHOTO" to enter it, "M1\n" to measure,
// "D1\n" to read the last result, "Q" to leave. Detected as type 3, although m_nType stays -1.
class CPhotoResearch : public IMinolta {
public:
    // The driver talks on `line` (the detector's), which must outlive it.
    explicit CPhotoResearch(CInstrumentLine& line);
    ~CPhotoResearch() override;

    unsigned long Connect() override;
    unsigned long Disconnect() override;
    unsigned long Measure(bool flag) override;
    // Always 0.0: the instrument has no separate latest-luminance read; the call only refreshes the
    // stored values.
    double ReadLastestData() override;
    unsigned long ReadLvXy(SChromameterMeasureData& data) override;
    unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) override;
    unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                  double& y, double& value7) override;
    unsigned long RegisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) override;
    virtual unsigned long SetLimitTimes(int times);
    virtual unsigned long ZeroCalibrate();

    // Sends a command one character at a time.
    unsigned long SendData(const char* command);
    // Stores Lv, x, y of a report produced by `command`; other commands are accepted unparsed.
    unsigned long DealResultData(const char* reply, const char* command);
    // The measurement worker (a tracked thread of CDriverWorkers); `param` is the driver, which must
    // outlive it.
    static unsigned long MeasureThread(void* param);

protected:
    double m_dLv;
    double m_dX;
    double m_dY;
    int m_nLimitTimes;

private:
    CInstrumentLine& m_line;
};
