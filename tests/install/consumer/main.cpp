// my-host: a minimal host of the ChromameterMinolta plugin. It finds the instrument, measures once,
// prints Lv, x, y and lets go of the instrument.
//
//   my-host          look for the instrument on the system's serial ports
//   my-host PORT     look on PORT only (for example the path that chromameter-sim prints)
//   my-host --none   look on no port at all (shows what "nothing found" looks like)
//
// Exit status: 0 measured; 1 the measurement failed; 3 no instrument found.

#include <ChromameterMinoltaApi.h> // CreateChromameterMinolta, ChromameterSetPortCatalogue, IMinolta.h

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

// The library calls OnMeasureFinished / OnMeasureFailed on its own worker thread, and OnConnected /
// OnDisconnected on the thread that called Connect / Disconnect. Keep the work done here small and
// thread-safe: record the outcome and let the host thread act on it.
class Watcher : public IMinoltaWatcher {
public:
    enum { Running, Finished, Failed };
    std::atomic<int> outcome{Running};
    std::atomic<unsigned long> failureCode{RESULT_OK};

    void OnMeasureFinished() override { outcome = Finished; }
    void OnMeasureFailed(unsigned long code) override {
        failureCode = code;
        outcome = Failed;
    }
    void OnConnected() override { std::printf("watcher: instrument connected\n"); }
    void OnDisconnected() override { std::printf("watcher: instrument disconnected\n"); }
    void OnZeroCalibrated(unsigned long) override {}
};

// Runs this thread's Qt event loop until the watcher has heard the outcome or timeoutMs passed. The
// library needs the loop: a measurement's commands are written to the port from this thread.
bool waitForOutcome(const Watcher& watcher, int timeoutMs) {
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (watcher.outcome != Watcher::Running)
            loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    poll.start(10);
    loop.exec();
    return watcher.outcome != Watcher::Running;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv); // the library is Qt-based: a Qt application object comes first

    // Choose where detection looks. Without a call it scans the system's serial ports.
    if (argc > 1 && std::strcmp(argv[1], "--none") == 0) {
        ChromameterSetPortCatalogue(nullptr, nullptr, 0);
    } else if (argc > 1) {
        const char* names[] = {argv[1]};
        const char* descriptions[] = {"chosen on the command line"};
        ChromameterSetPortCatalogue(names, descriptions, 1);
    }

    IMinolta* minolta = nullptr;
    if (CreateChromameterMinolta(&minolta) != RESULT_OK || !minolta)
        return 1;
    Watcher watcher;
    minolta->RegisterWatcher(&watcher); // returns 1, whatever happened: nothing to check

    // Connect tries every supported instrument on every candidate port; it blocks for a few seconds
    // per port when nothing answers.
    const unsigned long connected = minolta->Connect();
    if (connected != RESULT_OK) {
        std::printf("no instrument found (0x%08lX)\n", connected);
        minolta->UnregisterWatcher(&watcher);
        delete minolta;
        return 3;
    }

    // Measure returns at once (0); the outcome comes through the watcher. The luminance meter
    // measures during the call and has already told the watcher when it returns.
    minolta->Measure(false);
    if (!waitForOutcome(watcher, 60000) || watcher.outcome == Watcher::Failed) {
        std::printf("measurement failed (0x%08lX)\n", watcher.failureCode.load());
        // Disconnect only once no measurement is running: the instrument no longer answers or the
        // outcome has been reported.
        minolta->Disconnect();
        minolta->UnregisterWatcher(&watcher);
        delete minolta;
        return 1;
    }

    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    if (minolta->ReadLvXy(data) == RESULT_OK) {
        std::printf("Lv %.4g cd/m2  x %.4f  y %.4f\n", data.Lv, data.x, data.y);
    } else {
        // The luminance meter gives no chromaticity; ReadLastestData fetches its luminance.
        const double lv = minolta->ReadLastestData();
        std::printf("Lv %.4g cd/m2 (no chromaticity from this instrument)\n", lv);
    }

    minolta->Disconnect(); // returns 0 always; the instrument leaves remote mode, the port closes
    minolta->UnregisterWatcher(&watcher);
    delete minolta; // the driver and the port stay with the library until it is unloaded
    return 0;
}
