#include "ProtocolFloors.h"

#include "InstrumentFamilies.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {
// The answered exchanges of a family's own handshake (none for a type outside the table).
LineExchanges OwnExchanges(int type) {
    const InstrumentFamily* family = InstrumentFamilyOf(type);
    return family ? family->answeredHandshake : LineExchanges();
}
} // namespace

int FamilyBaud(int type) {
    const InstrumentFamily* family = InstrumentFamilyOf(type);
    return family ? family->baud : 0;
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
    // The mean over the latency timer's phase, in fine steps; with jitter, also over the lateness of
    // the reply's last packet (none with even odds, else 1 to usbJitterMs ms, uniformly).
    const int steps = 1000;
    const double period = line.usbPeriodMs();
    const int jitter = line.usbJitterMs();
    const int lateSteps = 50;
    double sum = 0;
    for (int i = 0; i < steps; ++i) {
        const double handed = crossed + (i + 0.5) * period / steps;
        if (jitter <= 0) {
            sum += FirstSliceEndMs(handed);
            continue;
        }
        double late = 0;
        for (int j = 0; j < lateSteps; ++j)
            late += FirstSliceEndMs(handed + 1.0 + (jitter - 1.0) * (j + 0.5) / lateSteps);
        sum += 0.5 * FirstSliceEndMs(handed) + 0.5 * late / lateSteps;
    }
    return sum / steps + kPortEmptyReadMs;
}

double DetectionFloorMs(int type, const LineModel& line) {
    double ms = 0;
    for (int before = 0; before < type; ++before)
        ms += SilentTrialMs(kInstrumentFamilies[before]);
    for (const LineExchange& exchange : OwnExchanges(type))
        ms += AnsweredExchangeOnLineMs(exchange.commandBytes, exchange.replyBytes, FamilyBaud(type), line);
    return ms;
}

QString DetectionFloorText(int type, const LineModel& line) {
    const bool lineTime = line.kind() != LineModel::Instant;
    QString text;
    for (int before = 0; before < type; ++before)
        text += QString::number(SilentTrialMs(kInstrumentFamilies[before])) + " + ";
    const LineExchanges own = OwnExchanges(type);
    if (!lineTime)
        return text + QString::number(own.count) + " x " + QString::number(AnsweredExchangeMs());
    QStringList parts;
    for (const LineExchange& exchange : own)
        parts << QString::number(
            AnsweredExchangeOnLineMs(exchange.commandBytes, exchange.replyBytes, FamilyBaud(type), line), 'f',
            1);
    return text + parts.join(QStringLiteral(" + "));
}

int LockedLatencyFloorMs(int instrumentMs, int waitMs) {
    const double result = kPortEmptyReadMs + instrumentMs;
    return int(WorkerReadFloorMs(result, result, waitMs));
}

double WorkerReadFloorMs(double firstMs, double lastMs, int waitMs) {
    // Walk the worker's reads and sleeps until a slice ends after the first piece is there.
    double readStart = 0;
    for (int read = 0; read < 100000; ++read) {
        for (int slice = 1; slice <= kPortSlices; ++slice) {
            const double found = readStart + slice * kPortSliceMs;
            if (found < firstMs)
                continue;
            // From there the slices run on without sleeping until one ends after the last piece.
            const double last =
                found + std::max(0.0, std::ceil((lastMs - found) / kPortSliceMs)) * kPortSliceMs;
            return last - lastMs + kPortEmptyReadMs;
        }
        readStart += kPortEmptyReadMs + waitMs;
    }
    return -1;
}

int MeasureReadWaitMs(int type) {
    switch (type) {
    case 0:
        return SpectroBudgets::kLong.waitMs; // "MEAS,1"
    case 1:
        return AnalyserBudgets::kMeasure.waitMs; // "MES,1"
    case 3:
        return PhotoResearchBudgets::kPoll.waitMs; // "M1"
    case 4:
        return JingceBudgets::kMeasure.waitMs; // "MES"
    case 2:
        return 0; // the luminance meter measures on the caller's thread: no worker waits
    default:
        return -1; // no family has this type
    }
}
