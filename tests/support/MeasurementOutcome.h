#pragma once

// How a measurement ended, as a host hears it: the watcher's "finished" or "failed" and its code,
// and how long after the call it came. Every test that measures waits for it the same way: the
// host's event loop runs meanwhile (a worker's writes are queued to this thread).

#include "IMinolta.h"
#include "TestSupport.h"

#include <QString>

#include <cstddef>

class MeasurementOutcome {
public:
    // "finished", "failed", or empty when nothing was heard in time.
    QString event;
    unsigned long code = 0;
    // From the call (or the start of the wait) to the outcome; -1 when none came.
    qint64 ms = -1;

    bool heard() const { return !event.isEmpty(); }

    // The first outcome `watcher` heard after its first `from` events, if any yet.
    static MeasurementOutcome heardBy(const RecordingWatcher& watcher, size_t from = 0);
    // Runs the calling thread's event loop until `watcher` hears an outcome after its first `from`
    // events, or `timeoutMs` passes.
    static MeasurementOutcome waitFor(const RecordingWatcher& watcher, int timeoutMs, size_t from = 0);
    // Calls `target`'s Measure (which must accept it) and waits for the outcome `watcher` hears
    // after the call; timed from the call.
    static MeasurementOutcome measure(IMinolta& target, bool tcp, const RecordingWatcher& watcher,
                                      int timeoutMs);
};
