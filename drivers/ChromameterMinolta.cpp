#include "ChromameterMinolta.h"

#include "ChromameterCommand.h"
#include "CmErrorEncode.h"
#include "DriverSupport.h"
#include "MinoltaVistor.h"
#include "ReplyText.h"
#include "SpectroProtocol.h"

#include <QMutexLocker>

#include <cstring>

namespace {

using namespace SpectroBudgets;

// Rounds to single precision through memory. GCC 12 at -O2 folds the double-float-double round trip
// of neighbouring values into nothing, which would keep more precision than the record carries.
float toSingle(double value) {
    volatile float narrowed = static_cast<float>(value);
    return narrowed;
}

CMinoltaVistor* watchers() {
    return CMinoltaVistor::GetInstance();
}

// One colorimetric "MEDR" exchange of `driver`, its reply parsed into *values. A reply without the
// values wanted clears *readed: later calls must ask the instrument again.
template <class Values>
bool readColorimetric(IChromameter* driver, int block, bool (*parse)(const QByteArray&, Values*),
                      Values* values, bool* readed) {
    char* reply = nullptr;
    if (driver->MeasurementDataRead(&reply, SPECTRO_MEDR_COLORIMETRIC, 0, block) != RESULT_OK || !reply) {
        delete[] reply;
        return false;
    }
    const bool parsed = parse(QByteArray(reply), values);
    delete[] reply;
    if (!parsed)
        *readed = false;
    return parsed;
}

} // namespace

CChromameterMinolta::CChromameterMinolta(CInstrumentLine& line)
    : m_nReserved(0), m_dLv(0.0), m_dX(0.0), m_dY(0.0), m_dMeasure1(0.0), m_dMeasure2(0.0), m_dMeasure3(0.0),
      m_dMeasure7(0.0), m_nLimitTimes(kDefaultLimit), m_line(line) {
    m_bConnected = false;
    m_bMeasuring = false;
    m_bMeasureSucceed = false;
    m_bReaded = false;
    m_nType = 0;
}

CChromameterMinolta::~CChromameterMinolta() {}

unsigned long CChromameterMinolta::Connect() {
    // "STR,4" belongs to the colour analysers: this instrument must refuse it with "ER00". An
    // instrument that accepts it is another family's; one that stays silent is given the benefit of
    // the doubt for remote mode, but still reported as not recognised.
    unsigned long outcome = RESULT_FAIL;
    QByteArray reply;
    if (DriverSendAndRead(m_line, "STR,4\r", 6, kHandshake, &reply)) {
        if (!ReplyText(reply).contains("ER00"))
            return RESULT_FAIL;
        outcome = RESULT_OK;
    }

    if (!DriverSend(m_line, "RMTS,1\r\n", 8))
        return RESULT_FAIL;
    if (!DriverRead(m_line, kHandshake, &reply))
        return RESULT_FAIL;
    if (DriverReplyStatus(reply) != 0)
        return RESULT_FAIL;

    watchers()->NotifyAll_Connected();
    m_bConnected = true;
    return outcome;
}

unsigned long CChromameterMinolta::Disconnect() {
    unsigned long result = RESULT_FAIL;
    QByteArray reply;
    if (DriverSendAndRead(m_line, "RMTS,0\r\n", 8, kRemoteOff, &reply) && DriverReplyStatus(reply) == 0) {
        m_bConnected = false;
        watchers()->NotifyAll_Disconnected();
        result = RESULT_OK;
    }
    // The port goes whether or not the instrument confirmed: the host is done with it.
    DriverClosePort(m_line);
    return result;
}

unsigned long CChromameterMinolta::Measure(bool) {
    CDriverWorkers::Started started;
    {
        QMutexLocker lock(&m_mutex);
        m_bMeasureSucceed = false;
        started = CDriverWorkers::Start([this] { MeasureThread(this); });
    }
    return DriverMeasurementStarted(started);
}

unsigned long CChromameterMinolta::MeasureThread(void* self) {
    CChromameterMinolta* driver = static_cast<CChromameterMinolta*>(self);
    driver->m_bMeasuring = true;

    unsigned long code = RESULT_FAIL;
    bool succeeded = false;
    if (!DriverSend(driver->m_line, "MEAS,1\r\n", 8)) {
        if (DriverPortConnected(driver->m_line)) {
            code = RESULT_FAIL;
        } else {
            DriverClosePort(driver->m_line);
            code = RESULT_PORT_LOST;
        }
    } else {
        // The instrument may answer with intermediate replies before the completion; only reads are
        // repeated, the command is sent once. A completion on the last allowed read comes too late.
        // 64 bits: a negative limit then counts down for ever instead of overflowing.
        long long counter = static_cast<long long>(driver->m_nLimitTimes) + 1;
        while (counter != 1) {
            QByteArray reply;
            const bool received = DriverRead(driver->m_line, kLong, &reply);
            --counter;
            if (received && SpectroIsMeasureCompletion(reply)) {
                succeeded = counter > 1;
                break;
            }
            // Nothing more will come: the worker is being stopped, or the adapter is gone (the read
            // has closed the port), whatever the limit.
            if (!received && CDriverWorkers::StopRequested())
                break;
            if (!received && !DriverPortConnected(driver->m_line)) {
                code = RESULT_PORT_LOST;
                break;
            }
        }
    }

    if (succeeded) {
        driver->m_bMeasuring = false;
        driver->m_bMeasureSucceed = true;
        driver->m_bReaded = false;
        watchers()->NotifyAll_MeasureFinished();
        return RESULT_OK;
    }
    driver->m_bMeasuring = false;
    driver->m_bMeasureSucceed = false;
    driver->m_bReaded = false;
    watchers()->NotifyAll_MeasureFailed(code);
    return RESULT_FAIL;
}

unsigned long CChromameterMinolta::MeasurementDataRead(char** data, int kind, int zero, int block) {
    if (!data)
        return RESULT_FAIL;
    const QByteArray command = SpectroMedrCommand(kind, zero, block);
    m_bReaded = false;
    if (!DriverSend(m_line, command.constData(), command.size()))
        return RESULT_FAIL;

    for (int attempt = 0; attempt < kDataReadAttempts; ++attempt) {
        QByteArray reply;
        if (DriverRead(m_line, kLong, &reply)) {
            if (DriverReplyStatus(reply) != 0)
                return RESULT_FAIL;
            // The last byte stays NUL so the copy is always a terminated string.
            char* copy = new char[CHROMAMETER_REPLY_SIZE]();
            const int n = reply.size() < CHROMAMETER_REPLY_SIZE ? reply.size() : CHROMAMETER_REPLY_SIZE - 1;
            std::memcpy(copy, reply.constData(), size_t(n));
            *data = copy;
            m_bReaded = true;
            return RESULT_OK;
        }
        if (!DriverPortConnected(m_line)) {
            DriverClosePort(m_line);
            return RESULT_PORT_LOST;
        }
    }
    // An instrument that never answers leaves no buffer; callers test the pointer as well.
    return RESULT_OK;
}

unsigned long CChromameterMinolta::ReadLvXy(SChromameterMeasureData& data) {
    if (m_bMeasureSucceed && m_bReaded) {
        data.x = static_cast<float>(m_dX);
        data.y = static_cast<float>(m_dY);
        data.Lv = static_cast<float>(m_dLv);
        return RESULT_OK;
    }

    SpectroLvXy values;
    if (!readColorimetric(this, SPECTRO_MEDR_LVXY_BLOCK, SpectroParseLvXy, &values, &m_bReaded))
        return RESULT_FAIL;

    const float x = toSingle(values.x);
    const float y = toSingle(values.y);
    const float lv = toSingle(values.Lv);
    data.x = x;
    data.y = y;
    data.Lv = lv;
    m_dX = x;
    m_dY = y;
    m_dLv = lv;
    return RESULT_OK;
}

unsigned long CChromameterMinolta::ReadMeasureData(double& value1, double& value2, double& value3, double& Lv,
                                                   double& x, double& y, double& value7) {
    SpectroMeasureData values;
    if (!readColorimetric(this, SPECTRO_MEDR_MEASURE_DATA_BLOCK, SpectroParseMeasureData, &values,
                          &m_bReaded))
        return RESULT_FAIL;

    value1 = values.value1;
    value2 = values.value2;
    value3 = values.value3;
    Lv = values.Lv;
    x = values.x;
    y = values.y;
    value7 = values.value7;

    m_dLv = Lv;
    m_dX = x;
    m_dY = y;
    m_dMeasure1 = value1;
    m_dMeasure2 = value2;
    m_dMeasure3 = value3;
    m_dMeasure7 = value7;
    return RESULT_OK;
}

unsigned long CChromameterMinolta::ReadSpectralData(QList<float>& values, int& startNm, int& endNm) {
    startNm = SPECTRO_SPECTRUM_START_NM;
    endNm = SPECTRO_SPECTRUM_END_NM;
    for (int block = 1; block <= SPECTRO_SPECTRAL_BLOCKS; ++block) {
        char* reply = nullptr;
        // Hosts have always received a failure here right after the first block and rely on it: the
        // test of the exchange's result stays the way round it has always been.
        if (MeasurementDataRead(&reply, SPECTRO_MEDR_SPECTRAL, 0, block) == RESULT_OK) {
            delete[] reply;
            return RESULT_FAIL;
        }
        if (!reply)
            return RESULT_FAIL;
        SpectroAppendSpectralBlock(QByteArray(reply), values);
        delete[] reply;
    }
    return RESULT_OK;
}

double CChromameterMinolta::ReadLastestData() {
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ReadLvXy(data);
    return -1.0;
}

void CChromameterMinolta::SetLimitTimes(int times) {
    m_nLimitTimes = times;
}

unsigned long CChromameterMinolta::RegisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterMinolta::UnregisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CChromameterMinolta::ZeroCalibrate() {
    return RESULT_NOT_AVAILABLE;
}
