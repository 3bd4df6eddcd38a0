#pragma once

#include "IMinolta.h"

#include <QMutex>

class CInstrumentLine;

// Minolta colour analyser: line-feed-terminated "COM", "ZRC", "MDS", "MES" commands at 9600 baud.
// Measurements run on a worker thread (tracked, so it can be stopped and joined); results go to the
// watchers of CMinoltaVistor.
class CChromameterMinoltaCas40 : public IChromameter, public IMinolta {
public:
    // The driver talks on `line` (the detector's), which must outlive it.
    explicit CChromameterMinoltaCas40(CInstrumentLine& line);
    ~CChromameterMinoltaCas40() override;

    unsigned long Connect() override;
    unsigned long Disconnect() override;
    unsigned long Measure(bool bTcp) override;
    double ReadLastestData() override;
    unsigned long ReadLvXy(SChromameterMeasureData& data) override;
    unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) override;
    unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                  double& y, double& value7) override;
    unsigned long MeasurementDataRead(char** reply, int a, int b, int c) override;
    unsigned long RegisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) override;
    virtual void SetLimitTimes(int n);
    virtual unsigned long ZeroCalibrate();

    // Sends a display-mode command and waits for "OK00".
    bool ChangeDisplayMode(const char* command);
    // One measurement exchange each: luminance and chromaticity, or the colour-temperature value.
    bool DoMeasureLvxy();
    bool DoMeasureTcp();
    // Body of the measurement thread; `self` is the driver.
    static unsigned long MeasureThread(void* self);

protected:
    int m_nReserved;
    QMutex m_mutex;
    double m_dLv;
    double m_dX;
    double m_dY;
    double m_dTcp;
    int m_nLimitTimes;
    bool m_bMeasureTcp;

private:
    CInstrumentLine& m_line;
};
