#pragma once

#include "IMinolta.h"

#include <QMutex>

class CInstrumentLine;

// Wuhan Jingce colorimeter: the colour analyser's command family ended by carriage returns, at
// 115200 baud, with its own measurement reply and a zero calibration that runs in the background.
class CChromameterWuHanJingCe : public IChromameter, public IMinolta {
public:
    // The driver talks on `line` (the detector's), which must outlive it.
    explicit CChromameterWuHanJingCe(CInstrumentLine& line);
    ~CChromameterWuHanJingCe() override;

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
    // Starts the background zero calibration and returns at once.
    virtual unsigned long ZeroCalibrate();
    virtual void SetLimitTimes(int n);

    // Sends a display-mode command and waits for "OK00".
    bool ChangeDisplayMode(const char* command);
    // One measurement exchange each: luminance and chromaticity, or the colour-temperature value.
    bool DoMeasureLvxy();
    bool DoMeasureTcp();
    // Bodies of the measurement and zero-calibration threads; `self` is the driver.
    static unsigned long MeasureThread(void* self);
    static unsigned long ZeroCalibrateThread(void* self);

protected:
    double m_dLv;
    QMutex m_mutex;
    double m_dX;
    double m_dY;
    double m_dTcp;
    int m_nReserved;
    int m_nLimitTimes;
    bool m_bReserved;
    bool m_bMeasureTcp;

private:
    CInstrumentLine& m_line;
};
