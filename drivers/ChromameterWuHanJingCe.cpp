#include "ChromameterWuHanJingCe.h"

#include "ColourTextExchange.h"
#include "ColourTextProtocol.h"
#include "DriverSupport.h"
#include "MinoltaVistor.h"

#include <QMutexLocker>

namespace {

using namespace JingceBudgets;

const char kComOn[] = "COM,1\r";
const char kComOff[] = "COM,0\r";
const char kZeroCommand[] = "ZRC\r";
const char kModeLvxy[] = "MDS,0\r";
const char kModeTcp[] = "MDS,1\r";
const ColourCommand kSignOffCommand = {kComOff, 6, kSignOff};
const ColourCommand kMeasureCommand = {"MES\r", 4, kMeasure};

} // namespace

CChromameterWuHanJingCe::CChromameterWuHanJingCe(CInstrumentLine& line)
    : m_dLv(0.0), m_dX(0.0), m_dY(0.0), m_dTcp(0.0), m_nReserved(0), m_nLimitTimes(kDefaultLimit),
      m_bReserved(false), m_bMeasureTcp(false), m_line(line) {
    m_nType = 4;
    m_bConnected = false;
    m_bMeasuring = false;
    m_bMeasureSucceed = false;
    m_bReaded = false;
}

CChromameterWuHanJingCe::~CChromameterWuHanJingCe() {}

unsigned long CChromameterWuHanJingCe::Connect() {
    // Leaving remote mode first resets an instrument left in it; whether it answers only shows in
    // the result.
    const unsigned long comOffOutcome =
        DriverSendAndRead(m_line, kComOff, 6, kHandshake, nullptr) ? RESULT_OK : RESULT_FAIL;

    if (!DriverSend(m_line, kComOn, 6))
        return RESULT_FAIL;
    if (!DriverRead(m_line, kHandshake, nullptr))
        return RESULT_FAIL;

    bool sent = false;
    QByteArray zeroReply;
    const bool zeroAnswered = ColourDatedZeroCalibration(m_line, '\r', kConnectZero, &sent, &zeroReply);
    const unsigned long outcome = zeroAnswered ? comOffOutcome : RESULT_FAIL;

    // This instrument proves itself by its zero-calibration answer.
    if (!sent || DriverReplyStatus(zeroReply) != 0)
        return RESULT_FAIL;

    CMinoltaVistor::GetInstance()->NotifyAll_Connected();
    m_bConnected = true;
    return outcome;
}

unsigned long CChromameterWuHanJingCe::Disconnect() {
    return ColourSignOffAndRelease(m_line, kSignOffCommand, &m_bConnected);
}

unsigned long CChromameterWuHanJingCe::Measure(bool bTcp) {
    return ColourStartMeasurement(&m_mutex, &m_bMeasureSucceed, &m_bMeasureTcp, bTcp,
                                  [this] { MeasureThread(this); });
}

unsigned long CChromameterWuHanJingCe::MeasureThread(void* self) {
    CChromameterWuHanJingCe* driver = static_cast<CChromameterWuHanJingCe*>(self);
    const DriverMeasureFlags flags = {&driver->m_bMeasuring, &driver->m_bMeasureSucceed, &driver->m_bReaded,
                                      &driver->m_bConnected};
    return ColourMeasureSequence(driver->m_line, driver, flags, &driver->m_bMeasureTcp, kModeLvxy, kModeTcp);
}

unsigned long CChromameterWuHanJingCe::ZeroCalibrate() {
    const CDriverWorkers::Started started = CDriverWorkers::Start([this] { ZeroCalibrateThread(this); });
    if (started == CDriverWorkers::Started::Yes)
        return RESULT_OK;
    // Asked by the host, a thread that cannot start is raised to it. Asked from inside a measurement
    // worker (an "OK02" reply), it is this zero calibration's failure, and the measurement goes on.
    if (started == CDriverWorkers::Started::Failed)
        CDriverWorkers::RaiseStartFailureOffWorker();
    return RESULT_FAIL;
}

unsigned long CChromameterWuHanJingCe::ZeroCalibrateThread(void* self) {
    CChromameterWuHanJingCe* driver = static_cast<CChromameterWuHanJingCe*>(self);
    QByteArray reply;
    bool answered;
    {
        QMutexLocker locker(&driver->m_mutex);
        answered = DriverSendAndRead(driver->m_line, kZeroCommand, 4, kZero, &reply);
    }
    const unsigned long result = answered ? RESULT_OK : RESULT_FAIL;
    // A zero calibration that failed is reported to nobody. The watchers are told with the lock
    // released: one may measure from inside the notification, and Measure takes it.
    if (answered && DriverReplyStatus(reply) == 0)
        CMinoltaVistor::GetInstance()->NotifyAll_ZeroCalibrated(result);
    return result;
}

bool CChromameterWuHanJingCe::ChangeDisplayMode(const char* command) {
    return ColourChangeDisplayMode(m_line, command, m_nLimitTimes, kMode);
}

bool CChromameterWuHanJingCe::DoMeasureLvxy() {
    m_bMeasuring = true;
    // An "OK02" reply only starts the zero calibration; the measurement goes on.
    return ColourMeasureLvxy(m_line, kMeasureCommand, m_nLimitTimes, JingceParseLvxy, &m_dX, &m_dY, &m_dLv,
                             [this] { ZeroCalibrate(); });
}

bool CChromameterWuHanJingCe::DoMeasureTcp() {
    return ColourMeasureTcp(m_line, kMeasureCommand, m_nLimitTimes, JingceParseTcp, &m_dTcp,
                            [this] { ZeroCalibrate(); });
}

double CChromameterWuHanJingCe::ReadLastestData() {
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ReadLvXy(data);
    return -1.0;
}

unsigned long CChromameterWuHanJingCe::ReadLvXy(SChromameterMeasureData& data) {
    return DriverCopyStoredLvXy(m_bMeasureSucceed, m_bReaded, m_dX, m_dY, m_dLv, m_dTcp, data);
}

unsigned long CChromameterWuHanJingCe::ReadSpectralData(QList<float>&, int&, int&) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterWuHanJingCe::ReadMeasureData(double&, double&, double&, double&, double&, double&,
                                                       double&) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterWuHanJingCe::MeasurementDataRead(char**, int, int, int) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterWuHanJingCe::RegisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterWuHanJingCe::UnregisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

void CChromameterWuHanJingCe::SetLimitTimes(int n) {
    m_nLimitTimes = n;
}
