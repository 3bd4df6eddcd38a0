#include "SignalWatch.h"

#include <pybind11/pybind11.h>

namespace {
// Ctrl-C is noticed within this long (well inside the second a user waits).
const int kCheckMs = 50;
} // namespace

SignalWatch::SignalWatch(std::function<void()> onRaised) : m_onRaised(std::move(onRaised)) {
    QObject::connect(&m_timer, &QTimer::timeout, [this] { check(); });
    m_timer.start(kCheckMs);
}

SignalWatch::~SignalWatch() {
    m_timer.stop();
}

void SignalWatch::check() {
    if (m_raised)
        return;
    pybind11::gil_scoped_acquire gil;
    // An exception already pending (a show callable's) is the caller's to throw; leave it be.
    if (PyErr_Occurred())
        return;
    if (PyErr_CheckSignals() != 0) {
        m_raised = true;
        m_timer.stop();
        if (m_onRaised)
            m_onRaised();
    }
}
