#pragma once

#include <functional>

// Waiting as a host does: the calling thread's Qt event loop keeps running, so queued calls to that
// thread (the port's work among them) are served while the test waits. Free of the library's headers,
// so that a test playing a host with its own copy of the interface can use it too.

// Runs the calling thread's Qt event loop until pred() holds or timeoutMs passes. True if it held.
bool waitUntil(const std::function<bool()>& pred, int timeoutMs);
// Runs the calling thread's Qt event loop for ms milliseconds.
void pumpEvents(int ms);
// Runs a real event loop (QEventLoop::exec) for ms milliseconds, as a host's main loop runs: unlike
// the waits above it also carries out deferred deletions (deleteLater) posted to this thread.
void runEventLoop(int ms);
