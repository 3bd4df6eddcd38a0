#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

// Ends the test process with a message when it is still alive after `seconds`: a deadlocked host
// thread can never fail a test by itself, so a scenario that would hang reports as a failure instead.
class HangWatchdog {
public:
    HangWatchdog(int seconds, std::string what);
    ~HangWatchdog();
    HangWatchdog(const HangWatchdog&) = delete;
    HangWatchdog& operator=(const HangWatchdog&) = delete;

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_bCancelled = false;
    std::thread m_thread;
};
