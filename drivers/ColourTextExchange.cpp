#include "ColourTextExchange.h"

#include "ColourTextProtocol.h"
#include "DriverSupport.h"
#include "IMinolta.h"
#include "MinoltaVistor.h"

#include <QDateTime>

#include <cstring>
#include <system_error>
#include <thread>

namespace {

bool waitForReply(int limitTimes, bool boundary, int tries, int waitMs,
                  const std::function<bool(const QByteArray&)>& decide) {
    ColourReplyLoopSteps steps;
    steps.read = [tries, waitMs](QByteArray* reply) { return DriverRead(tries, waitMs, reply); };
    steps.portConnected = [] { return DriverPortConnected(); };
    steps.decide = decide;
    return ColourReplyLoop(limitTimes, boundary, steps);
}

} // namespace

bool ColourChangeDisplayMode(const char* command, int limitTimes, int tries, int waitMs) {
    if (!DriverSend(command, int(std::strlen(command))))
        return false;
    return waitForReply(limitTimes, false, tries, waitMs,
                        [](const QByteArray& reply) { return ColourReplyContains(reply, "OK00"); });
}

bool ColourMeasureExchange(const char* command, int length, int limitTimes, int tries, int waitMs,
                           const std::function<bool(const QByteArray&)>& decide) {
    if (!DriverSend(command, length))
        return false;
    return waitForReply(limitTimes, true, tries, waitMs, decide);
}

bool ColourDatedZeroCalibration(char terminator, int tries, int waitMs, bool* sent, QByteArray* reply) {
    const QByteArray command = ColourZeroCalibrationCommand(QDateTime::currentDateTime(), terminator);
    reply->clear();
    *sent = DriverSend(command.constData(), command.size());
    if (!*sent)
        return false;
    return DriverRead(tries, waitMs, reply);
}

bool ColourSignOff(const char* command, int length, int tries, int waitMs) {
    QByteArray reply;
    if (!DriverSendAndRead(command, length, tries, waitMs, &reply))
        return false;
    return DriverReplyStatus(reply) == 0;
}

unsigned long ColourRunMeasurement(const ColourMeasureFlags& flags, const std::function<bool()>& exchanges) {
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
    if (!DriverPortConnected()) {
        DriverClosePort();
        *flags.connected = false;
        code = RESULT_PORT_LOST;
    }
    *flags.succeed = false;
    *flags.readed = false;
    CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(code);
    return RESULT_FAIL;
}

void ColourStartDetached(std::function<void()> body) {
    try {
        std::thread worker(std::move(body));
        worker.detach();
    } catch (const std::system_error& e) {
        throw std::system_error(e.code(), "thread constructor failed");
    }
}
