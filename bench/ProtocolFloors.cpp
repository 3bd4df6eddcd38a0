#include "ProtocolFloors.h"

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

// Answered exchanges of each driver's own handshake.
int OwnExchanges(int type) {
    switch (type) {
    case 0:
        return 2; // "STR,4" refused, "RMTS,1"
    case 1:
        return 2; // "COM,1", "ZRC,1,<date>"
    case 2:
        return 3; // three connect frames
    case 3:
        return 1; // "PHOTO"
    case 4:
        return 3; // "COM,0", "COM,1", "ZRC,1,<date>"
    default:
        return 0;
    }
}
} // namespace

int DetectionFloorMs(int type) {
    int ms = 0;
    for (int before = 0; before < type; ++before)
        ms += FailingHandshakeMs(before);
    return ms + OwnExchanges(type) * AnsweredExchangeMs();
}

QString DetectionFloorText(int type) {
    QString text;
    for (int before = 0; before < type; ++before)
        text += QString::number(FailingHandshakeMs(before)) + " + ";
    return text + QString::number(OwnExchanges(type)) + " x " + QString::number(AnsweredExchangeMs());
}

int LockedLatencyFloorMs(int instrumentMs, int waitMs) {
    const int result = kPortEmptyReadMs + instrumentMs;
    // Walk the worker's reads and sleeps until a slice ends after the result is there.
    int readStart = 0;
    for (int read = 0; read < 100000; ++read) {
        for (int slice = 1; slice <= kPortSlices; ++slice) {
            const int sliceEnd = readStart + slice * kPortSliceMs;
            if (sliceEnd >= result)
                return sliceEnd - result + kPortEmptyReadMs;
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
