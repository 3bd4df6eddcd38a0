#include "ChromameterMinolta.h"

// Placeholder until this family's protocol is implemented: it never recognises an instrument.
CChromameterMinolta::CChromameterMinolta() {}
CChromameterMinolta::~CChromameterMinolta() {}
unsigned long CChromameterMinolta::Connect() { return RESULT_FAIL; }
unsigned long CChromameterMinolta::Disconnect() { return RESULT_FAIL; }
unsigned long CChromameterMinolta::Measure(bool) { return RESULT_OK; }
double CChromameterMinolta::ReadLastestData() { return -1.0; }
unsigned long CChromameterMinolta::ReadLvXy(SChromameterMeasureData&) { return RESULT_FAIL; }
unsigned long CChromameterMinolta::ReadSpectralData(QList<float>&, int&, int&) { return RESULT_FAIL; }
unsigned long CChromameterMinolta::ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) {
    return RESULT_FAIL;
}
unsigned long CChromameterMinolta::RegisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CChromameterMinolta::UnregisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CChromameterMinolta::MeasurementDataRead(char**, int, int, int) { return RESULT_FAIL; }
