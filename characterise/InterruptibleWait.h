#pragma once

#include <atomic>

// Waits `ms` milliseconds while the thread's event loop keeps running (the instrument library needs
// it on the host's thread). Returns early, false, as soon as *interrupt is set; true after the full
// wait. `interrupt` may be null.
bool InterruptibleWait(int ms, const std::atomic<bool>* interrupt);
