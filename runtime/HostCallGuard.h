#pragma once

// Marks the calling thread as inside a call from the host for as long as it lives. A read made on
// the host's thread runs an event loop, so the host's own timers and slots run inside it and may call
// the library again on that same thread. Such a call must not reach the port (whose lock that thread
// already holds) nor disturb the exchange in progress: it asks reentrant() and answers at once.
class HostCallGuard {
public:
    HostCallGuard();
    ~HostCallGuard();
    HostCallGuard(const HostCallGuard&) = delete;
    HostCallGuard& operator=(const HostCallGuard&) = delete;

    // True when this thread was already inside a call from the host when the guard was made.
    bool reentrant() const;
    // True while some guard is alive on the calling thread.
    static bool active();

private:
    bool m_bReentrant;
};
