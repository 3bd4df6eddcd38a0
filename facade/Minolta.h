#pragma once

#include "ChromameterMinoltaApi.h"
#include "IMinolta.h"

// The facade the host holds: forwards every call to the detector's current driver.
class CMinolta : public IMinolta {
public:
    CMinolta();
    ~CMinolta() override;

    unsigned long Connect() override;
    unsigned long Disconnect() override;
    unsigned long Measure(bool flag) override;
    double ReadLastestData() override;
    unsigned long ReadLvXy(SChromameterMeasureData& data) override;
    unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) override;
    unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                  double& y, double& value7) override;
    bool IsConnected() override;
    unsigned long RegisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) override;
    virtual unsigned long ZeroCalibrate();
};
