#include "ChromameterWuHanJingCe.h"

// Placeholder until this family's protocol is implemented: it never recognises an instrument.
CChromameterWuHanJingCe::CChromameterWuHanJingCe() {}
CChromameterWuHanJingCe::~CChromameterWuHanJingCe() {}
unsigned long CChromameterWuHanJingCe::Connect() { return RESULT_FAIL; }
unsigned long CChromameterWuHanJingCe::Disconnect() { return RESULT_FAIL; }
unsigned long CChromameterWuHanJingCe::Measure(bool) { return RESULT_OK; }
double CChromameterWuHanJingCe::ReadLastestData() { return -1.0; }
unsigned long CChromameterWuHanJingCe::ReadLvXy(SChromameterMeasureData&) { return RESULT_FAIL; }
unsigned long CChromameterWuHanJingCe::ReadSpectralData(QList<float>&, int&, int&) { return RESULT_FAIL; }
unsigned long CChromameterWuHanJingCe::ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) {
    return RESULT_FAIL;
}
unsigned long CChromameterWuHanJingCe::RegisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CChromameterWuHanJingCe::UnregisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CChromameterWuHanJingCe::MeasurementDataRead(char**, int, int, int) { return RESULT_FAIL; }
