#include "ChromameterMinoltaCas40.h"

#include "CmErrorEncode.h"
#include "ColourTextExchange.h"
#include "ColourTextProtocol.h"
#include "DriverSupport.h"
#include "MinoltaVistor.h"

#include <QMutexLocker>

namespace {

// Read budgets (tries x wait in ms) of each exchange.
const int kComOnTries = 20, kComOnWaitMs = 50;
const int kConnectZeroTries = 300, kConnectZeroWaitMs = 100;
const int kZeroTries = 100, kZeroWaitMs = 100;
const int kComOffTries = 5, kComOffWaitMs = 100;
const int kModeTries = 1000, kModeWaitMs = 30;
const int kMeasureTries = 1000, kMeasureWaitMs = 30;

const char kComOn[] = "COM,1\n";
const char kComOff[] = "COM,0\n";
const char kModeLvxy[] = "MDS,0\n";
const char kModeTcp[] = "MDS,1\n";
const char kMeasure[] = "MES,1\n";

} // namespace

CChromameterMinoltaCas40::CChromameterMinoltaCas40()
    : m_nReserved(0), m_dLv(0.0), m_dX(0.0), m_dY(0.0), m_dTcp(0.0), m_nLimitTimes(10), m_bMeasureTcp(false) {
    // m_dTcp starts at 0 too: a record read before any colour-temperature measurement then carries a
    // defined value instead of whatever the memory held.
    m_nType = 1;
    m_bConnected = false;
    m_bMeasuring = false;
    m_bMeasureSucceed = false;
    m_bReaded = false;
}

CChromameterMinoltaCas40::~CChromameterMinoltaCas40() {}

unsigned long CChromameterMinoltaCas40::Connect() {
    if (!DriverSend(kComOn, 6))
        return RESULT_FAIL;
    QByteArray comReply;
    if (!DriverRead(kComOnTries, kComOnWaitMs, &comReply))
        return RESULT_FAIL;

    // The instrument zero-calibrates as it enters remote mode; its answer only decides the result,
    // the connection itself stands or falls with the answer to "COM,1".
    bool sent = false;
    QByteArray zeroReply;
    const bool zeroAnswered =
        ColourDatedZeroCalibration('\n', kConnectZeroTries, kConnectZeroWaitMs, &sent, &zeroReply);
    const unsigned long outcome = (sent && zeroAnswered) ? RESULT_OK : RESULT_FAIL;

    if (DriverReplyStatus(comReply) != 0)
        return RESULT_FAIL;

    CMinoltaVistor::GetInstance()->NotifyAll_Connected();
    m_bConnected = true;
    return outcome;
}

unsigned long CChromameterMinoltaCas40::Disconnect() {
    unsigned long result = RESULT_FAIL;
    if (ColourSignOff(kComOff, 6, kComOffTries, kComOffWaitMs)) {
        m_bConnected = false;
        CMinoltaVistor::GetInstance()->NotifyAll_Disconnected();
        result = RESULT_OK;
    }
    // The port is released whatever the instrument said.
    DriverClosePort();
    m_bConnected = false;
    return result;
}

unsigned long CChromameterMinoltaCas40::Measure(bool bTcp) {
    QMutexLocker locker(&m_mutex);
    m_bMeasureSucceed = false;
    m_bMeasureTcp = bTcp;
    ColourStartDetached([this] { MeasureThread(this); });
    return RESULT_OK;
}

unsigned long CChromameterMinoltaCas40::MeasureThread(void* self) {
    CChromameterMinoltaCas40* driver = static_cast<CChromameterMinoltaCas40*>(self);
    ColourMeasureFlags flags = {&driver->m_bMeasuring, &driver->m_bMeasureSucceed, &driver->m_bReaded,
                                &driver->m_bConnected};
    return ColourRunMeasurement(flags, [driver] {
        if (!driver->ChangeDisplayMode(kModeLvxy) || !driver->DoMeasureLvxy())
            return false;
        // The instrument stays in the colour-temperature mode afterwards.
        return !driver->m_bMeasureTcp || (driver->ChangeDisplayMode(kModeTcp) && driver->DoMeasureTcp());
    });
}

bool CChromameterMinoltaCas40::ChangeDisplayMode(const char* command) {
    return ColourChangeDisplayMode(command, m_nLimitTimes, kModeTries, kModeWaitMs);
}

bool CChromameterMinoltaCas40::DoMeasureLvxy() {
    return ColourMeasureExchange(kMeasure, 6, m_nLimitTimes, kMeasureTries, kMeasureWaitMs,
                                 [this](const QByteArray& reply) {
                                     if (ColourReplyContains(reply, "OK00")) {
                                         if (Cas40ParseLvxy(ColourReplyText(reply), &m_dX, &m_dY, &m_dLv))
                                             return true;
                                         m_dX = m_dY = m_dLv = 0.0;
                                         return false;
                                     }
                                     m_dX = m_dY = m_dLv = 0.0;
                                     if (ColourReplyContains(reply, "OK04"))
                                         return true;
                                     if (ColourReplyContains(reply, "OK02")) {
                                         // The instrument asks for a zero calibration first.
                                         ZeroCalibrate();
                                         return true;
                                     }
                                     return false;
                                 });
}

bool CChromameterMinoltaCas40::DoMeasureTcp() {
    return ColourMeasureExchange(kMeasure, 6, m_nLimitTimes, kMeasureTries, kMeasureWaitMs,
                                 [this](const QByteArray& reply) {
                                     if (ColourReplyContains(reply, "OK00")) {
                                         if (Cas40ParseTcp(ColourReplyText(reply), &m_dTcp))
                                             return true;
                                         m_dTcp = 0.0;
                                         return false;
                                     }
                                     m_dTcp = 0.0;
                                     if (ColourReplyContains(reply, "OK02")) {
                                         ZeroCalibrate();
                                         return true;
                                     }
                                     return false;
                                 });
}

unsigned long CChromameterMinoltaCas40::ZeroCalibrate() {
    bool sent = false;
    QByteArray reply;
    const bool answered = ColourDatedZeroCalibration('\n', kZeroTries, kZeroWaitMs, &sent, &reply);
    return (sent && answered) ? RESULT_OK : RESULT_FAIL;
}

double CChromameterMinoltaCas40::ReadLastestData() {
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ReadLvXy(data);
    return -1.0;
}

unsigned long CChromameterMinoltaCas40::ReadLvXy(SChromameterMeasureData& data) {
    if (!m_bMeasureSucceed || !m_bReaded)
        return RESULT_FAIL;
    data.x = static_cast<float>(m_dX);
    data.y = static_cast<float>(m_dY);
    data.Lv = static_cast<float>(m_dLv);
    data.Tcp = static_cast<float>(m_dTcp);
    return RESULT_OK;
}

unsigned long CChromameterMinoltaCas40::ReadSpectralData(QList<float>&, int&, int&) {
    return RESULT_NOT_AVAILABLE;
}

unsigned long CChromameterMinoltaCas40::ReadMeasureData(double&, double&, double&, double& Lv, double& x,
                                                        double& y, double&) {
    if (!m_bMeasureSucceed || !m_bReaded)
        return RESULT_FAIL;
    Lv = m_dLv;
    x = m_dX;
    y = m_dY;
    return RESULT_OK;
}

unsigned long CChromameterMinoltaCas40::MeasurementDataRead(char**, int, int, int) {
    return 1;
}

unsigned long CChromameterMinoltaCas40::RegisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterMinoltaCas40::UnregisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

void CChromameterMinoltaCas40::SetLimitTimes(int n) {
    m_nLimitTimes = n;
}
