#pragma once

#include "LineModel.h"
#include "PortReadSlices.h"

#include <QString>

// What the protocol's own waits cost with an instrument that answers at once: the floor the library
// is measured against. Every figure is built from the library's fixed read slices and the drivers'
// read budgets, so a change of those constants shows up here and nowhere else.

// An exchange the instrument answers at once: the slice that finds the reply, then the read that
// finds nothing more and so ends the reply.
constexpr int AnsweredExchangeMs() {
    return kPortSliceMs + kPortEmptyReadMs;
}

// The line speed each family talks at, and the time `bytes` spend on that line: 10 bits a byte.
int FamilyBaud(int type);
double LineMs(int bytes, int baud);

// The end of the first read slice at or after `ms` (at the least the first slice).
double FirstSliceEndMs(double ms);

// An answered exchange on the line: the reply's last piece is found at the end of the first slice
// after it has arrived, then the empty read ends the reply. On the instant line it arrives at once;
// byte-wise, once the command and the reply have crossed the line; through a USB adapter, at the
// next expiry of its free-running latency timer after that, whose phase is any moment of the period
// (the floor takes the mean over the phase), and where packets come late, the mean over that too.
double AnsweredExchangeOnLineMs(int commandBytes, int replyBytes, int baud, const LineModel& line);

// Detection of the family with this type number: its own handshake answered at once, after every
// driver tried before it has spent its budget on an instrument that does not answer it; every byte of
// the family's own exchanges crosses `line` as that line delivers it.
double DetectionFloorMs(int type, const LineModel& line);
// What the floor of one family is made of, for people.
QString DetectionFloorText(int type, const LineModel& line);

// From the last byte of a result to the watcher: at the least the rest of the slice in progress when
// it lands (0 to 20 ms) and the empty read that ends the reply; WorkerReadFloorMs below walks the
// worker's reads to find that slice.

// The same latency as the conversation is laid out today: the worker's first read holds the port's
// lock, so its queued command leaves only when that read ends; the instrument then takes
// instrumentMs, and a result that lands while the worker sleeps between tries (waitMs) is seen only
// at the first slice after the sleep. Returns the milliseconds from the result to the callback.
int LockedLatencyFloorMs(int instrumentMs, int waitMs);
// The same walk for a result whose first piece lands firstMs and whose last piece lands lastMs after
// its command left (at once): the worker's reads of four 20 ms slices, each followed by a sleep of
// waitMs when it found nothing. The slice that finds the first piece ends the waiting; reads then go
// on without sleeping, and the slice that finds the last piece is followed by the empty read. On a
// real cable the line time (and a USB latency timer) can push the first piece past the first read,
// into the sleep. Returns the milliseconds from the last piece to the callback.
double WorkerReadFloorMs(double firstMs, double lastMs, int waitMs);
// The wait between reply reads of the family's measurement (the driver's interval); 0 for the
// luminance meter, which measures on the caller's thread; -1 for a type no family has.
int MeasureReadWaitMs(int type);
