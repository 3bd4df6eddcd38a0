#include "DriverSupport.h"

#include "ChromameterCommand.h"
#include "ChromameterDetector.h"
#include "CmErrorEncode.h"
#include "IMinolta.h"
#include "MinoltaVistor.h"

#include <cstring>

bool DriverSend(const char* command, int length) {
    CChromameterCommand cmd;
    return cmd.Send(command, length);
}

bool DriverRead(int tries, int waitMs, QByteArray* reply) {
    CChromameterCommand cmd;
    char* buf = nullptr;
    int length = 0;
    const bool ok = cmd.Read(&buf, length, tries, waitMs);
    if (reply) {
        const int n = length < 0 ? 0 : (length > CHROMAMETER_REPLY_SIZE ? CHROMAMETER_REPLY_SIZE : length);
        *reply = ok ? QByteArray(buf, n) : QByteArray();
    }
    delete[] buf;
    return ok;
}

bool DriverSendAndRead(const char* command, int length, int tries, int waitMs, QByteArray* reply) {
    if (reply)
        reply->clear();
    if (!DriverSend(command, length))
        return false;
    return DriverRead(tries, waitMs, reply);
}

int64_t DriverReplyStatus(const QByteArray& reply) {
    char word[4] = {0, 0, 0, 0};
    std::memcpy(word, reply.constData(), reply.size() < 4 ? size_t(reply.size()) : 4u);
    return CM_ERROR_ENCODE(word);
}

bool DriverPortConnected() {
    return CChromameterDetector::GetInstance()->m_port.IsPortConnect();
}

void DriverClosePort() {
    CChromameterDetector::GetInstance()->m_port.Close();
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
