#include "PhotoResearch.h"

// Placeholder until this family's protocol is implemented: it never recognises an instrument.
CPhotoResearch::CPhotoResearch() {}
CPhotoResearch::~CPhotoResearch() {}
unsigned long CPhotoResearch::Connect() { return RESULT_FAIL; }
unsigned long CPhotoResearch::Disconnect() { return RESULT_FAIL; }
unsigned long CPhotoResearch::Measure(bool) { return RESULT_OK; }
double CPhotoResearch::ReadLastestData() { return -1.0; }
unsigned long CPhotoResearch::ReadLvXy(SChromameterMeasureData&) { return RESULT_FAIL; }
unsigned long CPhotoResearch::ReadSpectralData(QList<float>&, int&, int&) { return RESULT_FAIL; }
unsigned long CPhotoResearch::ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) {
    return RESULT_FAIL;
}
unsigned long CPhotoResearch::RegisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
unsigned long CPhotoResearch::UnregisterWatcher(IMinoltaWatcher*) { return RESULT_NOT_SUPPORTED; }
