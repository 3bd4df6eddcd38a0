// A host that loads the plugin, uses it and unloads it, more than once in the same process. At unload
// the library's clearers delete the detector (closing its port) and the watcher registry; a later
// load must start from nothing and work as the first one did.
#include "AnalyserModel.h"
#include "IMinolta.h"
#include "PluginHandle.h"
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

// How many descriptors this process holds open on `device`.
int descriptorsOn(const QString& device) {
    const QDir fds(QStringLiteral("/proc/self/fd"));
    int n = 0;
    for (const QString& fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        if (QFile::symLinkTarget(fds.filePath(fd)) == device)
            ++n;
    return n;
}

// Everything a host does in one session with a freshly loaded plugin: create a facade, register a
// watcher, connect to the analyser, measure, read, disconnect, delete the facade, unload.
void loadUseAndUnload(AnalyserModel& sim, int round) {
    SCOPED_TRACE(round);
    ASSERT_FALSE(PluginHandle::isMapped());
    PluginHandle plugin;
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
    plugin.restoreCatalogue();
    EXPECT_EQ(plugin.unload(), 0) << dlerror();
    // Really gone, not merely released: the next round maps it afresh.
    EXPECT_FALSE(PluginHandle::isMapped());
    // The host's loop runs on with the plugin's code no longer mapped: nothing of it was left there.
    runEventLoop(100);
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

    PluginHandle plugin;
    ASSERT_TRUE(plugin.loaded()) << plugin.error().toStdString();
    plugin.pointAt(sim.portPath());
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_EQ(descriptorsOn(device), descriptorsBefore + 1);
    // The host forgets to disconnect: deleting the facade leaves the port open.
    delete facade;
    EXPECT_EQ(descriptorsOn(device), descriptorsBefore + 1);

    plugin.restoreCatalogue();
    EXPECT_EQ(plugin.unload(), 0) << dlerror();
    EXPECT_FALSE(PluginHandle::isMapped());
    // The detector's clearer ran at unload and closed the port.
    EXPECT_EQ(descriptorsOn(device), descriptorsBefore);
    runEventLoop(100);

    // And a fresh load finds the instrument again.
    loadUseAndUnload(sim, 2);
}

TEST(PluginReload, UnloadingWhileAMeasurementWaitsStopsItFirst) {
    AnalyserModel sim;
    ASSERT_TRUE(sim.start());
    {
        PluginHandle plugin;
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
        plugin.restoreCatalogue();
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(plugin.unload(), 0) << dlerror();
        const qint64 ms = timer.elapsed();
        std::cout << "unload with a measurement waiting took " << ms << " ms" << std::endl;
        EXPECT_LE(ms, 1000);
        EXPECT_FALSE(PluginHandle::isMapped());
        // Its watchers heard the measurement fail, while the registry was still there.
        ASSERT_EQ(watcher.count(QStringLiteral("failed")), 1);
        EXPECT_EQ(watcher.events().back().code, RESULT_FAIL);
        EXPECT_LE(processThreadCount(), threadsBefore);
        runEventLoop(100);
    }

    // A fresh load finds the instrument and measures with it.
    sim.setFault(SimFault::None);
    loadUseAndUnload(sim, 2);
}
