#include "DriverWorkers.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>

namespace {

struct Worker {
    std::thread thread;
    std::atomic<bool> stop{false};
    bool ended = false; // under the registry's mutex
};

// Every worker started and not yet joined. A worker that ends by itself is joined by the next Start or
// StopAll; its thread is gone by then, so that join is immediate.
class Registry {
public:
    ~Registry();

    std::mutex mutex;
    std::condition_variable changed;
    std::list<Worker> workers;
    int stopping = 0;
    bool failNext = false;

    // Joins and forgets the workers that have ended, the calling thread's own record excepted.
    void reapEnded() {
        for (auto it = workers.begin(); it != workers.end();) {
            if (it->ended && it->thread.get_id() != std::this_thread::get_id()) {
                it->thread.join();
                it = workers.erase(it);
            } else {
                ++it;
            }
        }
    }
};

Registry g_registry;
// Set once the registry is gone (at unload, or at exit): nothing is started or stopped any more. A
// plain flag, so it can be read after the registry's destruction.
bool g_registryGone = false;

// The calling thread's own record, when it is a worker.
thread_local Worker* t_worker = nullptr;

Registry::~Registry() {
    // Unloading the library: no worker may still run its code afterwards.
    CDriverWorkers::StopAll();
    g_registryGone = true;
}

void runWorker(Worker* worker, const std::function<void()>& body) {
    t_worker = worker;
    body();
    t_worker = nullptr;
    std::lock_guard<std::mutex> lock(g_registry.mutex);
    worker->ended = true;
    g_registry.changed.notify_all();
}

} // namespace

CDriverWorkers::Started CDriverWorkers::Start(std::function<void()> body) {
    if (g_registryGone)
        return Started::Refused;
    std::lock_guard<std::mutex> lock(g_registry.mutex);
    g_registry.reapEnded();
    if (g_registry.stopping > 0)
        return Started::Refused;
    if (g_registry.failNext) {
        g_registry.failNext = false;
        return Started::Failed;
    }
    g_registry.workers.emplace_back();
    Worker* worker = &g_registry.workers.back();
    try {
        // The new thread waits for the lock before it can record its end, so the record is complete
        // by then.
        worker->thread = std::thread([worker, body] { runWorker(worker, body); });
    } catch (const std::system_error&) {
        g_registry.workers.pop_back();
        return Started::Failed;
    }
    return Started::Yes;
}

int CDriverWorkers::StopAll() {
    if (g_registryGone)
        return 0;
    std::unique_lock<std::mutex> lock(g_registry.mutex);
    ++g_registry.stopping;
    int running = 0;
    for (Worker& worker : g_registry.workers) {
        if (!worker.ended) {
            worker.stop = true;
            ++running;
        }
    }
    g_registry.changed.notify_all();
    // A worker asking (a watcher calling back from its notification) cannot wait for itself.
    g_registry.changed.wait(lock, [] {
        for (const Worker& worker : g_registry.workers)
            if (!worker.ended && &worker != t_worker)
                return false;
        return true;
    });
    g_registry.reapEnded();
    --g_registry.stopping;
    return running;
}

bool CDriverWorkers::StopRequested() {
    return t_worker && t_worker->stop;
}

bool CDriverWorkers::OnWorker() {
    return t_worker != nullptr;
}

void CDriverWorkers::RaiseStartFailureOffWorker() {
    if (!OnWorker())
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                                "thread constructor failed");
}

bool CDriverWorkers::Pause(int ms) {
    if (!t_worker) {
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        return true;
    }
    std::unique_lock<std::mutex> lock(g_registry.mutex);
    g_registry.changed.wait_for(lock, std::chrono::milliseconds(ms), [] { return t_worker->stop.load(); });
    return !t_worker->stop;
}

void CDriverWorkers::FailNextStart() {
    std::lock_guard<std::mutex> lock(g_registry.mutex);
    g_registry.failNext = true;
}
