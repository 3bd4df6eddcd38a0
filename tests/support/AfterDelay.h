#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// Runs `action` on a helper thread after `delayMs`, unless destroyed first; joins on destruction.
class AfterDelay {
public:
    AfterDelay(int delayMs, std::function<void()> action);
    ~AfterDelay();
    AfterDelay(const AfterDelay&) = delete;
    AfterDelay& operator=(const AfterDelay&) = delete;
    bool done() const;

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_cancel = false;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};
