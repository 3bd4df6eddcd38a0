#include "HostCallGuard.h"

namespace {
// Calls from the host in progress on this thread, outer one included.
thread_local int t_depth = 0;
} // namespace

HostCallGuard::HostCallGuard() : m_bReentrant(t_depth > 0) {
    ++t_depth;
}

HostCallGuard::~HostCallGuard() {
    --t_depth;
}

bool HostCallGuard::reentrant() const {
    return m_bReentrant;
}

bool HostCallGuard::active() {
    return t_depth > 0;
}
