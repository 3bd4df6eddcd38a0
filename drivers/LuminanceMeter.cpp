#include "LuminanceMeter.h"

// Placeholder until this family's protocol is implemented: it never recognises an instrument.
CLuminanceMeter::CLuminanceMeter() {}
CLuminanceMeter::~CLuminanceMeter() {}
unsigned long CLuminanceMeter::Connect() { return RESULT_FAIL; }
unsigned long CLuminanceMeter::Disconnect() { return RESULT_FAIL; }
unsigned long CLuminanceMeter::Measure(bool) { return RESULT_OK; }
double CLuminanceMeter::ReadLastestData() { return -1.0; }
unsigned long CLuminanceMeter::ReadLvXy(SChromameterMeasureData&) { return RESULT_FAIL; }
unsigned long CLuminanceMeter::ReadSpectralData(QList<float>&, int&, int&) { return RESULT_FAIL; }
unsigned long CLuminanceMeter::ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) {
    return RESULT_FAIL;
}
unsigned long CLuminanceMeter::RegisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CLuminanceMeter::UnregisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CLuminanceMeter::Polling() { return RESULT_FAIL; }
