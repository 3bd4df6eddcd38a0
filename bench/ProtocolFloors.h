#pragma once

#include <QString>

// What the protocol's own waits cost with an instrument that answers at once: the floor the library
// is measured against. Every figure is built from the library's fixed read slices and the drivers'
// read budgets, so a change of those constants shows up here and nowhere else.

// One port read waits in 20 ms slices and tests for data only between them: a reply already there
// costs one slice; nothing there costs all four.
constexpr int kPortSliceMs = 20;
constexpr int kPortSlices = 4;
constexpr int kPortEmptyReadMs = kPortSlices * kPortSliceMs;

// An exchange the instrument answers at once: the slice that finds the reply, then the read that
// finds nothing more and so ends the reply.
constexpr int AnsweredExchangeMs() {
    return kPortSliceMs + kPortEmptyReadMs;
}

// The line speed each family talks at, and the time `bytes` spend on that line: 10 bits a byte.
int FamilyBaud(int type);
double LineMs(int bytes, int baud);

// An answered exchange on a real cable: the reply's last piece can be found no sooner than the
// command and the reply have crossed the line (and never before the first slice ends), then the
// empty read ends it. A USB adapter's latency timer may hold the last piece up to one more period;
// the floor counts none of that.
double AnsweredExchangeOnLineMs(int commandBytes, int replyBytes, int baud);

// An exchange nobody answers: every try is an empty port read plus the wait after it.
constexpr int SilentExchangeMs(int tries, int waitMs) {
    return (tries < 1 ? 1 : tries) * (kPortEmptyReadMs + waitMs);
}

// Detection of the family with this type number: its own handshake answered at once, after every
// driver tried before it has spent its budget on an instrument that does not answer it. With
// `lineTime`, every byte of the family's own exchanges also crosses the line at its speed.
double DetectionFloorMs(int type, bool lineTime);
// What the floor of one family is made of, for people.
QString DetectionFloorText(int type, bool lineTime);

// From the last byte of a result to the watcher: the slice in progress when it lands (0 to 20 ms,
// uniform when the landing moment is) and the empty read that ends the reply.
constexpr int LatencyFloorMinMs() {
    return kPortEmptyReadMs;
}
constexpr double LatencyFloorQuantileMs(double q) {
    return kPortEmptyReadMs + q * kPortSliceMs;
}

// The same latency as the conversation is laid out today: the worker's first read holds the port's
// lock, so its queued command leaves only when that read ends; the instrument then takes
// instrumentMs, and a result that lands while the worker sleeps between tries (waitMs) is seen only
// at the first slice after the sleep. Returns the milliseconds from the result to the callback.
int LockedLatencyFloorMs(int instrumentMs, int waitMs);
// The wait between reply reads of the family's measurement (the driver's interval).
int MeasureReadWaitMs(int type);
