#pragma once

#include "IMinolta.h"

class CChromameterMinolta : public IChromameter, public IMinolta {
public:
    CChromameterMinolta();
    ~CChromameterMinolta() override;

    unsigned long Connect() override;
    unsigned long Disconnect() override;
    unsigned long Measure(bool flag) override;
    double ReadLastestData() override;
    unsigned long ReadLvXy(SChromameterMeasureData& data) override;
    unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) override;
    unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                  double& y, double& value7) override;
    unsigned long RegisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long MeasurementDataRead(char** reply, int a, int b, int c) override;
};
