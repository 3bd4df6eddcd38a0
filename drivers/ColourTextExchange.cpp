#include "ColourTextExchange.h"

#include "ColourTextProtocol.h"
#include "DriverSupport.h"
#include "DriverWorkers.h"
#include "IMinolta.h"
#include "MinoltaVistor.h"

#include <QDateTime>
#include <QMutex>
#include <QMutexLocker>

#include <cstring>

namespace {

bool waitForReply(CInstrumentLine& line, int limitTimes, bool boundary, ReadBudget budget,
                  const std::function<bool(const QByteArray&)>& decide) {
    ColourReplyLoopSteps steps;
    steps.read = [budget, &line](QByteArray* reply) { return DriverRead(line, budget, reply); };
    // A worker asked to stop reads no more, as if the port were gone.
    steps.portConnected = [&line] { return DriverPortConnected(line) && !CDriverWorkers::StopRequested(); };
    steps.decide = decide;
    return ColourReplyLoop(limitTimes, boundary, steps);
}

} // namespace

bool ColourChangeDisplayMode(CInstrumentLine& line, const char* command, int limitTimes, ReadBudget budget) {
    if (!DriverSend(line, command, int(std::strlen(command))))
        return false;
    return waitForReply(line, limitTimes, false, budget,
                        [](const QByteArray& reply) { return ColourReplyContains(reply, "OK00"); });
}

bool ColourMeasureExchange(CInstrumentLine& line, const ColourCommand& measure, int limitTimes,
                           const std::function<bool(const QByteArray&)>& decide) {
    if (!DriverSend(line, measure.bytes, measure.length))
        return false;
    return waitForReply(line, limitTimes, true, measure.budget, decide);
}

bool ColourMeasureLvxy(CInstrumentLine& line, const ColourCommand& measure, int limitTimes,
                       bool (*parse)(const QString&, double*, double*, double*), double* x, double* y,
                       double* Lv, const std::function<void()>& zeroCalibrate) {
    return ColourMeasureExchange(line, measure, limitTimes, [&](const QByteArray& reply) {
        return ColourDecideMeasureReply(
            reply, [&](const QString& text) { return parse(text, x, y, Lv); }, {x, y, Lv}, true,
            zeroCalibrate);
    });
}

bool ColourMeasureTcp(CInstrumentLine& line, const ColourCommand& measure, int limitTimes,
                      bool (*parse)(const QString&, double*), double* Tcp,
                      const std::function<void()>& zeroCalibrate) {
    return ColourMeasureExchange(line, measure, limitTimes, [&](const QByteArray& reply) {
        return ColourDecideMeasureReply(
            reply, [&](const QString& text) { return parse(text, Tcp); }, {Tcp}, false, zeroCalibrate);
    });
}

bool ColourDatedZeroCalibration(CInstrumentLine& line, char terminator, ReadBudget budget, bool* sent,
                                QByteArray* reply) {
    const QByteArray command = ColourZeroCalibrationCommand(QDateTime::currentDateTime(), terminator);
    reply->clear();
    *sent = DriverSend(line, command.constData(), command.size());
    if (!*sent)
        return false;
    return DriverRead(line, budget, reply);
}

unsigned long ColourSignOffAndRelease(CInstrumentLine& line, const ColourCommand& signOff, bool* connected) {
    unsigned long result = RESULT_FAIL;
    QByteArray reply;
    if (DriverSendAndRead(line, signOff.bytes, signOff.length, signOff.budget, &reply) &&
        DriverReplyStatus(reply) == 0) {
        *connected = false;
        CMinoltaVistor::GetInstance()->NotifyAll_Disconnected();
        result = RESULT_OK;
    }
    // The port is released whatever the instrument said.
    DriverClosePort(line);
    *connected = false;
    return result;
}

unsigned long ColourStartMeasurement(QMutex* mutex, bool* succeed, bool* measureTcp, bool withTcp,
                                     std::function<void()> thread) {
    CDriverWorkers::Started started;
    {
        QMutexLocker locker(mutex);
        *succeed = false;
        *measureTcp = withTcp;
        started = CDriverWorkers::Start(std::move(thread));
    }
    // Outside the lock: a watcher told of a failed start may measure again at once.
    return DriverMeasurementStarted(started);
}
