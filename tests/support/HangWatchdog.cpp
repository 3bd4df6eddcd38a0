#include "HangWatchdog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

HangWatchdog::HangWatchdog(int seconds, std::string what) {
    m_thread = std::thread([this, seconds, what = std::move(what)] {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_done.wait_for(lock, std::chrono::seconds(seconds), [this] { return m_bCancelled; }))
            return;
        std::fprintf(stderr, "HANG: %s still running after %d s\n", what.c_str(), seconds);
        std::fflush(stderr);
        std::_Exit(3);
    });
}

HangWatchdog::~HangWatchdog() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bCancelled = true;
    }
    m_done.notify_all();
    m_thread.join();
}
