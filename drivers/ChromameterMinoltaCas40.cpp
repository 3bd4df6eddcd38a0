#include "ChromameterMinoltaCas40.h"

// Placeholder until this family's protocol is implemented: it never recognises an instrument.
CChromameterMinoltaCas40::CChromameterMinoltaCas40() {}
CChromameterMinoltaCas40::~CChromameterMinoltaCas40() {}
unsigned long CChromameterMinoltaCas40::Connect() { return RESULT_FAIL; }
unsigned long CChromameterMinoltaCas40::Disconnect() { return RESULT_FAIL; }
unsigned long CChromameterMinoltaCas40::Measure(bool) { return RESULT_OK; }
double CChromameterMinoltaCas40::ReadLastestData() { return -1.0; }
unsigned long CChromameterMinoltaCas40::ReadLvXy(SChromameterMeasureData&) { return RESULT_FAIL; }
unsigned long CChromameterMinoltaCas40::ReadSpectralData(QList<float>&, int&, int&) { return RESULT_FAIL; }
unsigned long CChromameterMinoltaCas40::ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) {
    return RESULT_FAIL;
}
unsigned long CChromameterMinoltaCas40::RegisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CChromameterMinoltaCas40::UnregisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CChromameterMinoltaCas40::MeasurementDataRead(char**, int, int, int) { return RESULT_FAIL; }
