// A host that unloads the plugin and then goes on running its own Qt event loop. This process plays
// such a host: it links neither the library nor Qt SerialPort, so at unload the library's code and
// its copy of Qt SerialPort really leave the process, and anything of theirs still registered with
// this thread (an object, a posted event, a notifier, a timer) would crash the loop that runs after.
#include "EventLoopWait.h"
#include "IMinolta.h"
#include "InstrumentModel.h"
#include "LineParams.h"
#include "PluginHandle.h"
#include "SimFamilies.h"

#include <QElapsedTimer>
#include <QString>

#include <gtest/gtest.h>

#include <link.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

// How long the host's loop runs after the unload: long past anything the library could have left.
const int kLoopAfterUnloadMs = 1000;
// When the host unloads after starting a measurement: the measurement is under way by then.
const int kUnloadAfterMeasureMs = 60;

int countMappedSerialPortLibraries(dl_phdr_info* info, size_t, void* data) {
    if (info->dlpi_name && std::strstr(info->dlpi_name, "SerialPort"))
        ++*static_cast<int*>(data);
    return 0;
}

// Whether a Qt SerialPort library is mapped in this process.
bool serialPortLibraryMapped() {
    int count = 0;
    dl_iterate_phdr(countMappedSerialPortLibraries, &count);
    return count > 0;
}

// A host's watcher: counts what it is told, on whatever thread.
class CountingWatcher : public IMinoltaWatcher {
public:
    void OnMeasureFinished() override { ++finished; }
    void OnMeasureFailed(unsigned long) override { ++failed; }
    void OnConnected() override { ++connected; }
    void OnDisconnected() override {}
    void OnZeroCalibrated(unsigned long) override {}

    std::atomic<int> finished{0};
    std::atomic<int> failed{0};
    std::atomic<int> connected{0};
};

std::unique_ptr<InstrumentModel> startedModel(const QString& family, const LineModel& line) {
    std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
    if (!model)
        return model;
    model->setLine(line);
    // Long enough that a measurement is still waiting for its result when the host unloads.
    model->setMeasureDelayMs(400);
    if (!model->start())
        model.reset();
    else
        ShowLine(*model);
    return model;
}

// One measurement as a host makes it, read back: the luminance meter measures on the caller's thread
// and gives its luminance, the others tell the watcher and give the whole reading.
void expectDefaultReadingMeasured(const QString& family, IMinolta& facade, const CountingWatcher& watcher) {
    const int finishedBefore = watcher.finished;
    ASSERT_EQ(facade.Measure(false), RESULT_OK);
    if (family == QLatin1String("luminance")) {
        EXPECT_EQ(watcher.finished, finishedBefore + 1);
        EXPECT_DOUBLE_EQ(facade.ReadLastestData(), 120.5);
        return;
    }
    ASSERT_TRUE(waitUntil([&] { return watcher.finished == finishedBefore + 1; }, 10000));
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(facade.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
}

// Unloads, and checks that the library and its Qt SerialPort have left the process: what the host's
// loop runs afterwards can no longer reach their code.
void unloadCompletely(PluginHandle& plugin) {
    plugin.restoreCatalogue();
    EXPECT_EQ(plugin.unload(), 0);
    EXPECT_FALSE(PluginHandle::isMapped());
    EXPECT_FALSE(serialPortLibraryMapped());
}

// Points the loaded `plugin` at `model`, makes a facade with `watcher` registered and connects it.
void connectThroughPlugin(PluginHandle& plugin, const InstrumentModel& model, CountingWatcher& watcher,
                          IMinolta** facade) {
    ASSERT_TRUE(plugin.loaded()) << plugin.error().toStdString();
    plugin.pointAt(model.portPath());
    ASSERT_EQ(plugin.create(facade), RESULT_OK);
    (*facade)->RegisterWatcher(&watcher);
    ASSERT_EQ((*facade)->Connect(), RESULT_OK);
}

// Loads the plugin, detects `model` and starts a measurement; unloads kUnloadAfterMeasureMs after the
// start, the host's loop running meanwhile (queued writes go out through it).
void unloadDuringMeasurement(InstrumentModel& model) {
    PluginHandle plugin;
    IMinolta* facade = nullptr;
    CountingWatcher watcher;
    ASSERT_NO_FATAL_FAILURE(connectThroughPlugin(plugin, model, watcher, &facade));
    ASSERT_EQ(watcher.connected, 1);

    QElapsedTimer sinceMeasure;
    sinceMeasure.start();
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    pumpEvents(int(std::max<qint64>(0, kUnloadAfterMeasureMs - sinceMeasure.elapsed())));
    delete facade;
    ASSERT_NO_FATAL_FAILURE(unloadCompletely(plugin));
    // A measurement still waiting was stopped and reported failed; one that had ended was reported
    // finished. Either way the watcher heard exactly one outcome.
    EXPECT_EQ(watcher.finished + watcher.failed, 1);
}

// Family name and line model.
typedef std::tuple<std::string, LineModel> FamilyOnLine;

class PluginReloadUnloadDuringMeasurement : public ::testing::TestWithParam<FamilyOnLine> {};

std::vector<std::string> familyNames() {
    std::vector<std::string> names;
    for (const QString& name : SimFamilyNames())
        names.push_back(name.toStdString());
    return names;
}

std::string caseName(const ::testing::TestParamInfo<FamilyOnLine>& info) {
    const ::testing::TestParamInfo<LineModel> line(std::get<1>(info.param), info.index);
    return std::get<0>(info.param) + "_" + LineName(line);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(FamiliesAndLines, PluginReloadUnloadDuringMeasurement,
                         ::testing::Combine(::testing::ValuesIn(familyNames()),
                                            ::testing::ValuesIn(AllLines())),
                         caseName);

TEST_P(PluginReloadUnloadDuringMeasurement, HostEventLoopRunsOnAfterTheUnload) {
    const QString family = QString::fromStdString(std::get<0>(GetParam()));
    std::unique_ptr<InstrumentModel> model = startedModel(family, std::get<1>(GetParam()));
    ASSERT_TRUE(model);
    ASSERT_FALSE(serialPortLibraryMapped()) << "this host must not link Qt SerialPort itself";

    ASSERT_NO_FATAL_FAILURE(unloadDuringMeasurement(*model));
    runEventLoop(kLoopAfterUnloadMs);
    // Still here: nothing of the library was left for the loop to deliver.
    EXPECT_FALSE(PluginHandle::isMapped());
}

TEST(PluginReloadUnload, AfterReleaseMinoltaDuringAMeasurementHostEventLoopRunsOn) {
    std::unique_ptr<InstrumentModel> model = startedModel(QStringLiteral("analyser"), LineModel::realistic());
    ASSERT_TRUE(model);
    {
        PluginHandle plugin;
        IMinolta* facade = nullptr;
        CountingWatcher watcher;
        ASSERT_NO_FATAL_FAILURE(connectThroughPlugin(plugin, *model, watcher, &facade));
        ASSERT_EQ(facade->Measure(false), RESULT_OK);
        pumpEvents(kUnloadAfterMeasureMs);

        // The host releases the driver first: the measurement is stopped and reported failed.
        ASSERT_TRUE(plugin.releaseMinolta());
        EXPECT_EQ(watcher.failed, 1);
        EXPECT_EQ(facade->Measure(false), RESULT_OK);
        EXPECT_EQ(watcher.finished + watcher.failed, 1);
        delete facade;
        ASSERT_NO_FATAL_FAILURE(unloadCompletely(plugin));
    }
    runEventLoop(kLoopAfterUnloadMs);
    EXPECT_FALSE(PluginHandle::isMapped());
}

TEST(PluginReloadUnload, AfterReleaseMinoltaWhileIdleHostEventLoopRunsOn) {
    std::unique_ptr<InstrumentModel> model =
        startedModel(QStringLiteral("photoresearch"), LineModel::realistic());
    ASSERT_TRUE(model);
    {
        PluginHandle plugin;
        IMinolta* facade = nullptr;
        CountingWatcher watcher;
        ASSERT_NO_FATAL_FAILURE(connectThroughPlugin(plugin, *model, watcher, &facade));
        ASSERT_NO_FATAL_FAILURE(
            expectDefaultReadingMeasured(QStringLiteral("photoresearch"), *facade, watcher));
        ASSERT_TRUE(plugin.releaseMinolta());
        delete facade;
        ASSERT_NO_FATAL_FAILURE(unloadCompletely(plugin));
    }
    runEventLoop(kLoopAfterUnloadMs);
    EXPECT_FALSE(PluginHandle::isMapped());
}

TEST(PluginReloadUnload, LoadMeasureUnloadLoadAgainMeasuresAsTheFirstTime) {
    const QString family = QStringLiteral("jingce");
    std::unique_ptr<InstrumentModel> model = startedModel(family, LineModel::realistic());
    ASSERT_TRUE(model);
    for (int round = 1; round <= 2; ++round) {
        SCOPED_TRACE(round);
        {
            PluginHandle plugin;
            IMinolta* facade = nullptr;
            CountingWatcher watcher;
            ASSERT_NO_FATAL_FAILURE(connectThroughPlugin(plugin, *model, watcher, &facade));
            EXPECT_EQ(watcher.connected, 1);
            ASSERT_NO_FATAL_FAILURE(expectDefaultReadingMeasured(family, *facade, watcher));
            EXPECT_EQ(facade->Disconnect(), RESULT_OK);
            delete facade;
            ASSERT_NO_FATAL_FAILURE(unloadCompletely(plugin));
        }
        runEventLoop(kLoopAfterUnloadMs);
    }
}

TEST(PluginReloadUnload, UnloadDuringAMeasurementWithoutALoopThenLoadAgainMeasures) {
    const QString family = QStringLiteral("spectro");
    std::unique_ptr<InstrumentModel> model = startedModel(family, LineModel::realistic());
    ASSERT_TRUE(model);
    // No loop runs between the unload and the next load: whatever the first load left would be
    // delivered in the second one's loop.
    ASSERT_NO_FATAL_FAILURE(unloadDuringMeasurement(*model));

    PluginHandle plugin;
    IMinolta* facade = nullptr;
    CountingWatcher watcher;
    ASSERT_NO_FATAL_FAILURE(connectThroughPlugin(plugin, *model, watcher, &facade));
    EXPECT_EQ(watcher.connected, 1);
    ASSERT_NO_FATAL_FAILURE(expectDefaultReadingMeasured(family, *facade, watcher));
    runEventLoop(200);
    EXPECT_EQ(watcher.failed, 0);
    delete facade;
    ASSERT_NO_FATAL_FAILURE(unloadCompletely(plugin));
    runEventLoop(kLoopAfterUnloadMs);
}
