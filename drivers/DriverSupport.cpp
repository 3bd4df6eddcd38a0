#include "DriverSupport.h"

#include "ChromameterCommand.h"
#include "CmErrorEncode.h"
#include "IMinolta.h"
#include "InstrumentLine.h"
#include "MinoltaVistor.h"
#include "SerialPortCross.h"

#include <cstring>

bool DriverSend(CInstrumentLine& line, const char* command, int length) {
    CChromameterCommand cmd(line);
    return cmd.Send(command, length);
}

bool DriverRead(CInstrumentLine& line, ReadBudget budget, QByteArray* reply) {
    CChromameterCommand cmd(line);
    char* buf = nullptr;
    int length = 0;
    const bool ok = cmd.Read(&buf, length, budget.tries, budget.waitMs);
    if (reply) {
        const int n = length < 0 ? 0 : (length > CHROMAMETER_REPLY_SIZE ? CHROMAMETER_REPLY_SIZE : length);
        *reply = ok ? QByteArray(buf, n) : QByteArray();
    }
    delete[] buf;
    return ok;
}

bool DriverSendAndRead(CInstrumentLine& line, const char* command, int length, ReadBudget budget,
                       QByteArray* reply) {
    if (reply)
        reply->clear();
    if (!DriverSend(line, command, length))
        return false;
    return DriverRead(line, budget, reply);
}

int64_t DriverReplyStatus(const QByteArray& reply) {
    char word[4] = {0, 0, 0, 0};
    std::memcpy(word, reply.constData(), reply.size() < 4 ? size_t(reply.size()) : 4u);
    return CM_ERROR_ENCODE(word);
}

bool DriverPortConnected(CInstrumentLine& line) {
    return line.Port().IsPortConnect();
}

void DriverClosePort(CInstrumentLine& line) {
    line.Port().Close();
}

unsigned long DriverMeasurementStarted(CDriverWorkers::Started started) {
    if (started == CDriverWorkers::Started::Yes)
        return RESULT_OK;
    if (started == CDriverWorkers::Started::Failed) {
        CDriverWorkers::RaiseStartFailureOffWorker();
        CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(RESULT_FAIL);
    }
    return RESULT_FAIL;
}

unsigned long DriverRunMeasurement(CInstrumentLine& line, const DriverMeasureFlags& flags,
                                   const std::function<bool()>& exchanges) {
    *flags.measuring = true;
    const bool ok = exchanges();
    *flags.measuring = false;

    if (ok) {
        *flags.succeed = true;
        *flags.readed = true;
        CMinoltaVistor::GetInstance()->NotifyAll_MeasureFinished();
        return RESULT_OK;
    }

    unsigned long code = RESULT_FAIL;
    // A worker stopped for a new detection leaves the port to it.
    if (!CDriverWorkers::StopRequested() && !DriverPortConnected(line)) {
        DriverClosePort(line);
        *flags.connected = false;
        code = RESULT_PORT_LOST;
    }
    *flags.succeed = false;
    *flags.readed = false;
    CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(code);
    return RESULT_FAIL;
}

unsigned long DriverCopyStoredLvXy(bool succeed, bool readed, double x, double y, double Lv, double Tcp,
                                   SChromameterMeasureData& data) {
    if (!succeed || !readed)
        return RESULT_FAIL;
    data.x = static_cast<float>(x);
    data.y = static_cast<float>(y);
    data.Lv = static_cast<float>(Lv);
    data.Tcp = static_cast<float>(Tcp);
    return RESULT_OK;
}
