#include "PhotoResearch.h"

#include "DriverSupport.h"
#include "MinoltaVistor.h"
#include "PhotoResearchProtocol.h"

#include <QByteArray>
#include <QThread>

namespace {
using namespace PhotoResearchBudgets;

const char kEnterRemote[] = "PHOTO";
const char kMeasure[] = "M1\n";
const char kReadData[] = "D1\n";
const char kQuit[] = "Q";
const unsigned long kQuitDrainMs = 50;
} // namespace

CPhotoResearch::CPhotoResearch(CInstrumentLine& line)
    : m_dLv(0.0), m_dX(0.0), m_dY(0.0), m_nLimitTimes(kDefaultLimit), m_line(line) {
    m_bConnected = false;
    m_bMeasuring = false;
    m_bMeasureSucceed = false;
    m_bReaded = false;
    m_nType = -1;
}

CPhotoResearch::~CPhotoResearch() {}

unsigned long CPhotoResearch::SendData(const char* command) {
    if (!command || !*command)
        return RESULT_FAIL;
    // The instrument takes its commands a character at a time.
    for (const char* p = command; *p; ++p) {
        const char one[2] = {*p, '\0'};
        if (!DriverSend(m_line, one, 1))
            return RESULT_FAIL;
    }
    return RESULT_OK;
}

unsigned long CPhotoResearch::Connect() {
    const unsigned long sent = SendData(kEnterRemote);
    if (sent != RESULT_OK)
        return sent;

    QByteArray reply;
    const bool read = DriverRead(m_line, kAnswer, &reply);
    if (!PhotoResearchIsRemoteModeGreeting(reply))
        return RESULT_FAIL;
    const unsigned long result = read ? RESULT_OK : RESULT_FAIL;

    // Watchers hear of the connection before the flag is raised, so one asking IsConnected from
    // inside the notification still sees false.
    CMinoltaVistor::GetInstance()->NotifyAll_Connected();
    m_bConnected = true;
    return result;
}

unsigned long CPhotoResearch::Disconnect() {
    const unsigned long sent = SendData(kQuit);
    if (sent != RESULT_OK)
        return sent;
    m_bConnected = false;
    CMinoltaVistor::GetInstance()->NotifyAll_Disconnected();
    // Closing discards whatever the adapter has not sent yet; give the one byte time to leave, or
    // the instrument would stay in remote mode.
    QThread::msleep(kQuitDrainMs);
    DriverClosePort(m_line);
    return RESULT_OK;
}

unsigned long CPhotoResearch::Measure(bool) {
    if (!m_bConnected || m_bMeasuring)
        return RESULT_FAIL;
    m_bMeasureSucceed = false;
    m_bReaded = false;
    // The worker raises the busy flag itself; the outcome comes through the flags and the watchers.
    return DriverMeasurementStarted(CDriverWorkers::Start([this] { MeasureThread(this); }));
}

unsigned long CPhotoResearch::MeasureThread(void* param) {
    CPhotoResearch* self = static_cast<CPhotoResearch*>(param);
    self->m_bMeasuring = true;

    unsigned long result = RESULT_FAIL;
    QByteArray reply;
    bool replied = false;

    if (self->SendData(kMeasure) != RESULT_OK) {
        self->m_bMeasuring = false;
        self->m_bMeasureSucceed = false;
        self->m_bReaded = false;
        CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(RESULT_FAIL);
        return RESULT_FAIL;
    }

    int budget = self->m_nLimitTimes;
    if (budget != 0) {
        for (;;) {
            if (DriverRead(self->m_line, kPoll, &reply)) {
                replied = true;
                break;
            }
            // No report can come any more: the worker is being stopped, or the adapter is gone.
            if (CDriverWorkers::StopRequested() || !DriverPortConnected(self->m_line))
                break;
            // Only exactly 0 ends the polling; a negative limit wraps round the whole range of int.
            budget = int(unsigned(budget) - 1u);
            if (budget == 0)
                break;
        }
    }
    self->m_bMeasuring = false;

    // A reply counts only within the first m_nLimitTimes - 1 polls: the last poll is a margin, and
    // a report that only turns up there is not trusted.
    if (replied && budget >= 2)
        result = self->DealResultData(reply.constData(), kMeasure);

    if (replied && budget >= 2 && result == RESULT_OK) {
        self->m_bMeasureSucceed = true;
        self->m_bReaded = true;
        CMinoltaVistor::GetInstance()->NotifyAll_MeasureFinished();
        return RESULT_OK;
    }

    self->m_bMeasureSucceed = false;
    self->m_bReaded = false;
    // Watchers always hear the generic failure, never a code taken from the instrument.
    CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(RESULT_FAIL);
    return RESULT_FAIL;
}

unsigned long CPhotoResearch::DealResultData(const char* reply, const char* command) {
    if (!reply || !*reply || !command || !*command)
        return RESULT_FAIL;
    if (!PhotoResearchIsReportCommand(command))
        return RESULT_OK;

    const PhotoResearchReport report = PhotoResearchParseReport(reply);
    // A report that gives out after its luminance has already replaced the stored Lv.
    if (report.valuesTaken >= 1)
        m_dLv = report.Lv;
    if (report.valuesTaken >= 3) {
        m_dX = report.x;
        m_dY = report.y;
    }
    return report.result;
}

unsigned long CPhotoResearch::ReadLvXy(SChromameterMeasureData& data) {
    if (!(m_bMeasureSucceed && m_bReaded)) {
        // Nothing measured here yet: ask the instrument for the result it holds.
        const unsigned long sent = SendData(kReadData);
        if (sent != RESULT_OK)
            return sent;
        QByteArray reply;
        if (!DriverRead(m_line, kAnswer, &reply))
            return RESULT_FAIL;
        if (DealResultData(reply.constData(), kReadData) != RESULT_OK)
            return RESULT_FAIL;
    }
    data.Lv = float(m_dLv);
    data.x = float(m_dX);
    data.y = float(m_dY);
    return RESULT_OK;
}

double CPhotoResearch::ReadLastestData() {
    SChromameterMeasureData scratch = {0.0f, 0.0f, 0.0f, 0.0f};
    ReadLvXy(scratch);
    return 0.0;
}

unsigned long CPhotoResearch::ReadSpectralData(QList<float>&, int&, int&) {
    return RESULT_NOT_AVAILABLE;
}

unsigned long CPhotoResearch::ReadMeasureData(double&, double&, double&, double&, double&, double&, double&) {
    return RESULT_NOT_AVAILABLE;
}

unsigned long CPhotoResearch::RegisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CPhotoResearch::UnregisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CPhotoResearch::SetLimitTimes(int times) {
    m_nLimitTimes = times;
    return RESULT_OK;
}

unsigned long CPhotoResearch::ZeroCalibrate() {
    return RESULT_NOT_AVAILABLE;
}
