// A host that loads the plugin, uses it and unloads it, more than once in the same process. At unload
// the library's clearers delete the detector (closing its port) and the watcher registry; a later
// load must start from nothing and work as the first one did.
#include "AnalyserModel.h"
#include "IMinolta.h"
#include "TestSupport.h"

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <iostream>

namespace {

typedef unsigned long (*CreateFn)(IMinolta**);
typedef void (*SetCatalogueFn)(const char* const*, const char* const*, int);

// Whether the plugin is mapped in this process right now (a probe that loads nothing).
bool pluginIsLoaded() {
    void* handle = dlopen(CHROMA_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD);
    if (!handle)
        return false;
    dlclose(handle);
    return true;
}

// How many descriptors this process holds open on `device`.
int descriptorsOn(const QString& device) {
    const QDir fds(QStringLiteral("/proc/self/fd"));
    int n = 0;
    for (const QString& fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        if (QFile::symLinkTarget(fds.filePath(fd)) == device)
            ++n;
    return n;
}

class Plugin {
public:
    Plugin() {
        m_handle = dlopen(CHROMA_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
        if (!m_handle) {
            m_error = QString::fromLocal8Bit(dlerror());
            return;
        }
        create = reinterpret_cast<CreateFn>(dlsym(m_handle, "CreateChromameterMinolta"));
        setCatalogue = reinterpret_cast<SetCatalogueFn>(dlsym(m_handle, "ChromameterSetPortCatalogue"));
    }
    ~Plugin() { unload(); }

    bool loaded() const { return m_handle != nullptr; }
    QString error() const { return m_error; }

    // Points the plugin's own detection at one simulated adapter.
    void pointAt(const QString& path) const {
        const QByteArray name = path.toUtf8();
        const char* names[] = {name.constData()};
        const char* descriptions[] = {"USB-Serial Controller"};
        setCatalogue(names, descriptions, 1);
    }

    // dlclose's own result: 0 when the handle was released.
    int unload() {
        if (!m_handle)
            return 0;
        const int result = dlclose(m_handle);
        m_handle = nullptr;
        return result;
    }

    CreateFn create = nullptr;
    SetCatalogueFn setCatalogue = nullptr;

private:
    void* m_handle = nullptr;
    QString m_error;
};

// Everything a host does in one session with a freshly loaded plugin: create a facade, register a
// watcher, connect to the analyser, measure, read, disconnect, delete the facade, unload.
void loadUseAndUnload(AnalyserModel& sim, int round) {
    SCOPED_TRACE(round);
    ASSERT_FALSE(pluginIsLoaded());
    Plugin plugin;
    ASSERT_TRUE(plugin.loaded()) << plugin.error().toStdString();
    ASSERT_NE(plugin.create, nullptr);
    ASSERT_NE(plugin.setCatalogue, nullptr);
    plugin.pointAt(sim.portPath());

    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    ASSERT_NE(facade, nullptr);
    RecordingWatcher watcher;
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);

    const int threadsBefore = processThreadCount();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_TRUE(facade->IsConnected());
    // Each load has its own, fresh registry: only this round's watcher is told.
    EXPECT_EQ(watcher.count(QStringLiteral("connected")), 1);

    ASSERT_NO_FATAL_FAILURE(expectDefaultReadingMeasured(*facade, watcher));

    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    delete facade;

    // The measurement's worker runs the plugin's code until it has returned: a host unloads only
    // after it has ended.
    ASSERT_TRUE(waitUntil([&] { return processThreadCount() <= threadsBefore; }, 5000));
    plugin.setCatalogue(nullptr, nullptr, -1);
    EXPECT_EQ(plugin.unload(), 0) << dlerror();
    // Really gone, not merely released: the next round maps it afresh.
    EXPECT_FALSE(pluginIsLoaded());
    // Whatever the unload left to the event loop (the port object's deferred deletion) runs now,
    // with the plugin's code no longer mapped.
    pumpEvents(100);
}

} // namespace

TEST(PluginReload, LoadUseAndUnloadTwiceInOneProcess) {
    AnalyserModel sim;
    ASSERT_TRUE(sim.start());
    loadUseAndUnload(sim, 1);
    loadUseAndUnload(sim, 2);
    // The instrument heard two complete sessions.
    EXPECT_EQ(sim.countReceived("COM,1\n"), 2);
    EXPECT_EQ(sim.countReceived("COM,0\n"), 2);
    EXPECT_FALSE(sim.inRemoteMode());
}

TEST(PluginReload, UnloadingWhileConnectedClosesThePort) {
    AnalyserModel sim;
    ASSERT_TRUE(sim.start());
    const QString device = QFileInfo(sim.portPath()).canonicalFilePath();
    ASSERT_FALSE(device.isEmpty());
    const int descriptorsBefore = descriptorsOn(device);

    Plugin plugin;
    ASSERT_TRUE(plugin.loaded()) << plugin.error().toStdString();
    plugin.pointAt(sim.portPath());
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_EQ(descriptorsOn(device), descriptorsBefore + 1);
    // The host forgets to disconnect: deleting the facade leaves the port open.
    delete facade;
    EXPECT_EQ(descriptorsOn(device), descriptorsBefore + 1);

    plugin.setCatalogue(nullptr, nullptr, -1);
    EXPECT_EQ(plugin.unload(), 0) << dlerror();
    EXPECT_FALSE(pluginIsLoaded());
    // The detector's clearer ran at unload and closed the port.
    EXPECT_EQ(descriptorsOn(device), descriptorsBefore);
    pumpEvents(100);

    // And a fresh load finds the instrument again.
    loadUseAndUnload(sim, 2);
}

TEST(PluginReload, UnloadingWhileAMeasurementWaitsStopsItFirst) {
    AnalyserModel sim;
    ASSERT_TRUE(sim.start());
    {
        Plugin plugin;
        ASSERT_TRUE(plugin.loaded()) << plugin.error().toStdString();
        plugin.pointAt(sim.portPath());
        IMinolta* facade = nullptr;
        ASSERT_EQ(plugin.create(&facade), RESULT_OK);
        RecordingWatcher watcher;
        EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
        const int threadsBefore = processThreadCount();
        ASSERT_EQ(facade->Connect(), RESULT_OK);

        // The instrument falls silent: the measurement's worker waits for a reply, running the
        // plugin's code.
        sim.setFault(SimFault::Silent);
        ASSERT_EQ(facade->Measure(false), RESULT_OK);
        pumpEvents(400);
        ASSERT_EQ(watcher.count(QStringLiteral("failed")), 0);
        EXPECT_GT(processThreadCount(), threadsBefore);
        delete facade;

        // Unloading stops the worker and waits until it has ended, before the code goes.
        plugin.setCatalogue(nullptr, nullptr, -1);
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(plugin.unload(), 0) << dlerror();
        const qint64 ms = timer.elapsed();
        std::cout << "unload with a measurement waiting took " << ms << " ms" << std::endl;
        EXPECT_LE(ms, 1000);
        EXPECT_FALSE(pluginIsLoaded());
        // Its watchers heard the measurement fail, while the registry was still there.
        ASSERT_EQ(watcher.count(QStringLiteral("failed")), 1);
        EXPECT_EQ(watcher.events().back().code, RESULT_FAIL);
        EXPECT_LE(processThreadCount(), threadsBefore);
        pumpEvents(100);
    }

    // A fresh load finds the instrument and measures with it.
    sim.setFault(SimFault::None);
    loadUseAndUnload(sim, 2);
}
