#include "ProtocolFloors.h"

#include <QList>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {
// The handshake each driver spends on an instrument that is not its own (nothing answers).
int FailingHandshakeMs(int type) {
    switch (type) {
    case 0: // spectroradiometer: "STR,4" unanswered goes on to "RMTS,1", unanswered too; 3 x 100 ms each
        return 2 * SilentExchangeMs(3, 100);
    case 1: // colour analyser: "COM,1" unanswered, 20 x 50 ms
        return SilentExchangeMs(20, 50);
    case 2: // luminance meter: the first connect frame unanswered, 3 x 100 ms
        return SilentExchangeMs(3, 100);
    case 3: // Photo Research: "PHOTO" unanswered, 3 x 100 ms
        return SilentExchangeMs(3, 100);
    default:
        return 0;
    }
}

// The answered exchanges of each driver's own handshake: command and reply bytes.
struct OwnExchange {
    int command;
    int reply;
};

QList<OwnExchange> OwnExchanges(int type) {
    switch (type) {
    case 0:
        return {{6, 6}, {8, 6}}; // "STR,4" refused "ER00", "RMTS,1" "OK00"
    case 1:
        return {{6, 6}, {26, 6}}; // "COM,1", "ZRC,1,<date and time>"
    case 2:
        return {{100, 200}, {100, 200}, {100, 200}}; // three connect frames
    case 3:
        return {{5, 14}}; // "PHOTO" and its greeting
    case 4:
        return {{6, 6}, {6, 6}, {26, 6}}; // "COM,0", "COM,1", "ZRC,1,<date and time>"
    default:
        return {};
    }
}
} // namespace

int FamilyBaud(int type) {
    return type == 4 ? 115200 : 9600;
}

double LineMs(int bytes, int baud) {
    return double(bytes) * 10.0 * 1000.0 / double(baud);
}

double FirstSliceEndMs(double ms) {
    return std::max(1.0, std::ceil(ms / kPortSliceMs)) * kPortSliceMs;
}

double AnsweredExchangeOnLineMs(int commandBytes, int replyBytes, int baud, const LineModel& line) {
    if (line.kind() == LineModel::Instant)
        return AnsweredExchangeMs();
    const double crossed = LineMs(commandBytes + replyBytes, baud);
    if (line.kind() == LineModel::ByteWise)
        return FirstSliceEndMs(crossed) + kPortEmptyReadMs;
    // The mean over the latency timer's phase, in fine steps.
    const int steps = 1000;
    const double period = line.usbPeriodMs();
    double sum = 0;
    for (int i = 0; i < steps; ++i)
        sum += FirstSliceEndMs(crossed + (i + 0.5) * period / steps);
    return sum / steps + kPortEmptyReadMs;
}

double DetectionFloorMs(int type, const LineModel& line) {
    double ms = 0;
    for (int before = 0; before < type; ++before)
        ms += FailingHandshakeMs(before);
    for (const OwnExchange& exchange : OwnExchanges(type))
        ms += AnsweredExchangeOnLineMs(exchange.command, exchange.reply, FamilyBaud(type), line);
    return ms;
}

QString DetectionFloorText(int type, const LineModel& line) {
    const bool lineTime = line.kind() != LineModel::Instant;
    QString text;
    for (int before = 0; before < type; ++before)
        text += QString::number(FailingHandshakeMs(before)) + " + ";
    const QList<OwnExchange> own = OwnExchanges(type);
    if (!lineTime)
        return text + QString::number(own.size()) + " x " + QString::number(AnsweredExchangeMs());
    QStringList parts;
    for (const OwnExchange& exchange : own)
        parts << QString::number(
            AnsweredExchangeOnLineMs(exchange.command, exchange.reply, FamilyBaud(type), line), 'f', 1);
    return text + parts.join(QStringLiteral(" + "));
}

int LockedLatencyFloorMs(int instrumentMs, int waitMs) {
    return int(WorkerReadFloorMs(kPortEmptyReadMs + instrumentMs, waitMs));
}

double WorkerReadFloorMs(double resultMs, int waitMs) {
    // Walk the worker's reads and sleeps until a slice ends after the result is there.
    double readStart = 0;
    for (int read = 0; read < 100000; ++read) {
        for (int slice = 1; slice <= kPortSlices; ++slice) {
            const double sliceEnd = readStart + slice * kPortSliceMs;
            if (sliceEnd >= resultMs)
                return sliceEnd - resultMs + kPortEmptyReadMs;
        }
        readStart += kPortEmptyReadMs + waitMs;
    }
    return -1;
}

int MeasureReadWaitMs(int type) {
    switch (type) {
    case 0:
        return 1000; // "MEAS,1": reads of 10 x 1000 ms
    case 1:
        return 30; // "MES,1": reads of 1000 x 30 ms
    case 3:
        return 1000; // "M1": polls of 1 x 1000 ms
    case 4:
        return 250; // "MES": reads of 500 x 250 ms
    default:
        return 0;
    }
}
