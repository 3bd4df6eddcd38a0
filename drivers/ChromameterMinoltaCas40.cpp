#include "ChromameterMinoltaCas40.h"

#include "ColourTextExchange.h"
#include "ColourTextProtocol.h"
#include "DriverSupport.h"
#include "MinoltaVistor.h"

namespace {

using namespace AnalyserBudgets;

const char kComOnCommand[] = "COM,1\n";
const char kComOffCommand[] = "COM,0\n";
const char kModeLvxy[] = "MDS,0\n";
const char kModeTcp[] = "MDS,1\n";
const ColourCommand kSignOff = {kComOffCommand, 6, kComOff};
const ColourCommand kMeasureCommand = {"MES,1\n", 6, kMeasure};

} // namespace

CChromameterMinoltaCas40::CChromameterMinoltaCas40(CInstrumentLine& line)
    : m_nReserved(0), m_dLv(0.0), m_dX(0.0), m_dY(0.0), m_dTcp(0.0), m_nLimitTimes(kDefaultLimit),
      m_bMeasureTcp(false), m_line(line) {
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
    if (!DriverSend(m_line, kComOnCommand, 6))
        return RESULT_FAIL;
    QByteArray comReply;
    if (!DriverRead(m_line, kComOn, &comReply))
        return RESULT_FAIL;

    // The instrument zero-calibrates as it enters remote mode; its answer only decides the result,
    // the connection itself stands or falls with the answer to "COM,1".
    bool sent = false;
    QByteArray zeroReply;
    const bool zeroAnswered = ColourDatedZeroCalibration(m_line, '\n', kConnectZero, &sent, &zeroReply);
    const unsigned long outcome = (sent && zeroAnswered) ? RESULT_OK : RESULT_FAIL;

    if (DriverReplyStatus(comReply) != 0)
        return RESULT_FAIL;

    CMinoltaVistor::GetInstance()->NotifyAll_Connected();
    m_bConnected = true;
    return outcome;
}

unsigned long CChromameterMinoltaCas40::Disconnect() {
    return ColourSignOffAndRelease(m_line, kSignOff, &m_bConnected);
}

unsigned long CChromameterMinoltaCas40::Measure(bool bTcp) {
    return ColourStartMeasurement(&m_mutex, &m_bMeasureSucceed, &m_bMeasureTcp, bTcp,
                                  [this] { MeasureThread(this); });
}

unsigned long CChromameterMinoltaCas40::MeasureThread(void* self) {
    CChromameterMinoltaCas40* driver = static_cast<CChromameterMinoltaCas40*>(self);
    const DriverMeasureFlags flags = {&driver->m_bMeasuring, &driver->m_bMeasureSucceed, &driver->m_bReaded,
                                      &driver->m_bConnected};
    return ColourMeasureSequence(driver->m_line, driver, flags, &driver->m_bMeasureTcp, kModeLvxy, kModeTcp);
}

bool CChromameterMinoltaCas40::ChangeDisplayMode(const char* command) {
    return ColourChangeDisplayMode(m_line, command, m_nLimitTimes, kMode);
}

bool CChromameterMinoltaCas40::DoMeasureLvxy() {
    // An "OK02" reply asks for a zero calibration first: it runs here, before the measurement ends.
    return ColourMeasureLvxy(m_line, kMeasureCommand, m_nLimitTimes, Cas40ParseLvxy, &m_dX, &m_dY, &m_dLv,
                             [this] { ZeroCalibrate(); });
}

bool CChromameterMinoltaCas40::DoMeasureTcp() {
    return ColourMeasureTcp(m_line, kMeasureCommand, m_nLimitTimes, Cas40ParseTcp, &m_dTcp,
                            [this] { ZeroCalibrate(); });
}

unsigned long CChromameterMinoltaCas40::ZeroCalibrate() {
    bool sent = false;
    QByteArray reply;
    const bool answered = ColourDatedZeroCalibration(m_line, '\n', kZero, &sent, &reply);
    return (sent && answered) ? RESULT_OK : RESULT_FAIL;
}

double CChromameterMinoltaCas40::ReadLastestData() {
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ReadLvXy(data);
    return -1.0;
}

unsigned long CChromameterMinoltaCas40::ReadLvXy(SChromameterMeasureData& data) {
    return DriverCopyStoredLvXy(m_bMeasureSucceed, m_bReaded, m_dX, m_dY, m_dLv, m_dTcp, data);
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
