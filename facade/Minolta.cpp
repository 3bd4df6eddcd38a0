#include "Minolta.h"

#include "ChromameterDetector.h"
#include "HostCallGuard.h"
#include "MinoltaVistor.h"

namespace {
IMinolta* currentDriver() {
    return CChromameterDetector::GetInstance()->m_pMinolta;
}
// The host sees one failure code for every driver failure, the stub codes included.
unsigned long folded(unsigned long result) {
    return result == RESULT_OK ? RESULT_OK : RESULT_FAIL;
}
} // namespace

unsigned long CreateChromameterMinolta(IMinolta** out) {
    *out = new CMinolta();
    return RESULT_OK;
}

CMinolta::CMinolta() {
    m_bConnected = false;
    m_bMeasuring = false;
    m_bMeasureSucceed = false;
    m_bReaded = false;
    m_nType = -1;
}

// Deleting the facade leaves the driver, the port and the watchers as they are.
CMinolta::~CMinolta() {}

// Every operation that may reach the port or the driver answers a call that arrives while another one
// runs on the same thread (the host's timer inside a read's event loop) at once with the failure code:
// the port's lock is that thread's already, and a second detection would delete the driver under the
// first. The flag queries and the watcher registry answer as usual.
unsigned long CMinolta::Connect() {
    HostCallGuard guard;
    if (guard.reentrant())
        return RESULT_FAIL;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    int port = -1;
    const bool found = detector->DetectByNumber(&port);
    if (found)
        m_nType = detector->m_nInstrumentType;
    m_bConnected = found;
    return found ? RESULT_OK : RESULT_FAIL;
}

unsigned long CMinolta::Disconnect() {
    HostCallGuard guard;
    if (guard.reentrant())
        return RESULT_FAIL;
    if (!m_bConnected)
        return RESULT_OK;
    IMinolta* driver = currentDriver();
    if (!driver)
        return RESULT_OK;
    if (driver->Disconnect() == RESULT_OK)
        m_bConnected = false;
    return RESULT_OK;
}

unsigned long CMinolta::Measure(bool flag) {
    HostCallGuard guard;
    if (guard.reentrant())
        return RESULT_FAIL;
    if (!m_bConnected)
        return RESULT_OK;
    // Connected implies a driver; a released one (ReleaseMinolta) must not crash the host.
    if (IMinolta* driver = currentDriver())
        driver->Measure(flag);
    return RESULT_OK;
}

double CMinolta::ReadLastestData() {
    HostCallGuard guard;
    if (guard.reentrant())
        return -1.0;
    if (!m_bConnected)
        return -1.0;
    IMinolta* driver = currentDriver();
    return driver ? driver->ReadLastestData() : -1.0;
}

unsigned long CMinolta::ReadLvXy(SChromameterMeasureData& data) {
    HostCallGuard guard;
    if (guard.reentrant())
        return RESULT_FAIL;
    // The host must connect first; with no driver at all the read fails instead of crashing.
    IMinolta* driver = currentDriver();
    return driver ? folded(driver->ReadLvXy(data)) : RESULT_FAIL;
}

unsigned long CMinolta::ReadSpectralData(QList<float>& values, int& startNm, int& endNm) {
    HostCallGuard guard;
    if (guard.reentrant())
        return RESULT_FAIL;
    // The host must connect first; with no driver at all the read fails instead of crashing.
    IMinolta* driver = currentDriver();
    return driver ? folded(driver->ReadSpectralData(values, startNm, endNm)) : RESULT_FAIL;
}

unsigned long CMinolta::ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                        double& y, double& value7) {
    HostCallGuard guard;
    if (guard.reentrant())
        return RESULT_FAIL;
    // The host must connect first; with no driver at all the read fails instead of crashing.
    IMinolta* driver = currentDriver();
    return driver ? folded(driver->ReadMeasureData(value1, value2, value3, Lv, x, y, value7)) : RESULT_FAIL;
}

bool CMinolta::IsConnected() {
    IMinolta* driver = currentDriver();
    return driver ? driver->IsConnected() : m_bConnected;
}

unsigned long CMinolta::RegisterWatcher(IMinoltaWatcher* watcher) {
    CMinoltaVistor::GetInstance()->Register(watcher);
    return 1;
}

unsigned long CMinolta::UnregisterWatcher(IMinoltaWatcher* watcher) {
    CMinoltaVistor::GetInstance()->Unregister(watcher);
    return 1;
}

unsigned long CMinolta::ZeroCalibrate() {
    return RESULT_NOT_AVAILABLE;
}
