#include "MeasurementOutcome.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <vector>

MeasurementOutcome MeasurementOutcome::heardBy(const RecordingWatcher& watcher, size_t from) {
    MeasurementOutcome outcome;
    const std::vector<RecordingWatcher::Event> events = watcher.events();
    for (size_t i = from; i < events.size(); ++i) {
        if (events[i].name == "finished" || events[i].name == "failed") {
            outcome.event = events[i].name;
            outcome.code = events[i].code;
            break;
        }
    }
    return outcome;
}

namespace {
MeasurementOutcome waitTimed(const QElapsedTimer& timer, const RecordingWatcher& watcher, int timeoutMs,
                             size_t from) {
    MeasurementOutcome outcome;
    if (waitUntil([&] { return MeasurementOutcome::heardBy(watcher, from).heard(); }, timeoutMs)) {
        outcome = MeasurementOutcome::heardBy(watcher, from);
        outcome.ms = timer.elapsed();
    }
    return outcome;
}
} // namespace

MeasurementOutcome MeasurementOutcome::waitFor(const RecordingWatcher& watcher, int timeoutMs, size_t from) {
    QElapsedTimer timer;
    timer.start();
    return waitTimed(timer, watcher, timeoutMs, from);
}

MeasurementOutcome MeasurementOutcome::measure(IMinolta& target, bool tcp, const RecordingWatcher& watcher,
                                               int timeoutMs) {
    const size_t before = watcher.events().size();
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(target.Measure(tcp), RESULT_OK);
    return waitTimed(timer, watcher, timeoutMs, before);
}
