#pragma once

#include <functional>

// The drivers' worker threads (measurements, the Jingce zero calibration), tracked so that detection,
// ReleaseMinolta and unloading the library can stop them and wait until they have ended before the
// driver they use is deleted or the port is touched again.
//
// A worker asked to stop gives up its waits at once: its reads find nothing, its reply loops end, and
// it reports the outcome it has reached (a measurement tells the watchers it failed) on its way out.
class CDriverWorkers {
public:
    enum class Started {
        Yes,
        // No thread could be created: the operation that wanted it has failed.
        Failed,
        // The workers are being stopped (a watcher asking from inside the last notification of a
        // worker being stopped): nothing is started.
        Refused,
    };

    // Runs `body` on a new tracked thread.
    static Started Start(std::function<void()> body);
    // Asks every worker to stop and waits until each has ended (the calling thread excepted, when it is
    // a worker itself). The number of workers that were still running.
    static int StopAll();
    // Whether the calling thread is a worker asked to stop.
    static bool StopRequested();
    // Whether the calling thread is one of the workers.
    static bool OnWorker();
    // A thread that could not be created for a call from the host's side is raised to the caller as
    // the standard library raises it ("thread constructor failed"): hosts were built to expect that.
    // A worker never raises (that would end the process): there the operation fails instead, so this
    // returns normally on a worker and the caller reports the failure.
    static void RaiseStartFailureOffWorker();
    // Waits `ms` milliseconds; a worker asked to stop returns at once (or as soon as it is asked), with
    // false.
    static bool Pause(int ms);
    // Makes the next Start fail as if the system had no thread to give (for tests of that failure).
    static void FailNextStart();
};
