#include "AfterDelay.h"

#include <chrono>

AfterDelay::AfterDelay(int delayMs, std::function<void()> action) {
    m_thread = std::thread([this, delayMs, action] {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (m_cv.wait_for(lock, std::chrono::milliseconds(delayMs), [this] { return m_cancel; }))
                return;
        }
        action();
        m_done = true;
    });
}

AfterDelay::~AfterDelay() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cancel = true;
    }
    m_cv.notify_all();
    m_thread.join();
}

bool AfterDelay::done() const {
    return m_done.load();
}
