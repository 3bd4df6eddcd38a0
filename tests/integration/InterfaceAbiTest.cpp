// A host compiled against its own copy of the interface declarations must work with the library:
// the slot order is a binary contract. This file plays that host. It does not include the
// library's headers: below is a verbatim copy of what a host is given, and the library's objects
// are reached only through the two exported C functions.
//
// The copy lives in the global namespace, as in a real host, so that the classes carry the same
// names as the library's (the copies are identical, so this is one definition seen twice).
#include "EventLoopWait.h"
#include "ScriptedAnalyser.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QList>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

// ---- The host's copy of the interface declarations (verbatim) ----

static const unsigned long RESULT_OK = 0x00000000UL;
static const unsigned long RESULT_FAIL = 0x80000008UL;
static const unsigned long RESULT_NOT_SUPPORTED = 0xE0830002UL;
static const unsigned long RESULT_NOT_AVAILABLE = 0xE0830003UL;
static const unsigned long RESULT_PORT_LOST = 0xE0833000UL;

struct SChromameterMeasureData {
    float x;
    float y;
    float Lv;
    float Tcp;
};

class IMinoltaWatcher {
public:
    virtual void OnMeasureFinished() = 0;
    virtual void OnMeasureFailed(unsigned long code) = 0;
    virtual void OnConnected() = 0;
    virtual void OnDisconnected() = 0;
    virtual void OnZeroCalibrated(unsigned long code) = 0;

protected:
    ~IMinoltaWatcher() = default;
};

class IMinoltaMethod {
public:
    virtual unsigned long Connect() = 0;
    virtual unsigned long Disconnect() = 0;
    virtual unsigned long Measure(bool) = 0;
    virtual double ReadLastestData() = 0;
    virtual unsigned long ReadLvXy(SChromameterMeasureData& data) = 0;
    virtual unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) = 0;
    virtual unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv,
                                          double& x, double& y, double& value7) = 0;

protected:
    ~IMinoltaMethod() = default;
};

class IMinolta : public IMinoltaMethod {
public:
    virtual ~IMinolta() {}
    virtual bool IsConnected() { return m_bConnected; }
    virtual bool IsMeasureSucced() { return m_bMeasuring ? true : m_bMeasureSucceed; }
    virtual bool IsReaded() { return m_bReaded; }
    virtual unsigned long RegisterWatcher(IMinoltaWatcher* watcher) = 0;
    virtual unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) = 0;

protected:
    bool m_bConnected = false;
    bool m_bMeasuring = false;
    bool m_bMeasureSucceed = false;
    int m_nType = -1;
    bool m_bReaded = false;
};

extern "C" unsigned long CreateChromameterMinolta(IMinolta** out);
extern "C" void ChromameterSetPortCatalogue(const char* const* portNames, const char* const* descriptions,
                                            int count);

// ---- End of the copy ----

// What the host knows of the facade beyond IMinolta: its own operation comes after the 13 slots.
// Declared outside any unnamed namespace: the compiler must not assume it sees every class derived
// from it (it would then know the slot to be pure and call the pure-virtual handler directly).
class HostFacadeWithZeroCalibrate : public IMinolta {
public:
    virtual unsigned long ZeroCalibrate() = 0;
};

namespace {

// Reaches the facade's own slot through the host's wider view. The object is no
// HostFacadeWithZeroCalibrate in C++ terms, only in vtable layout, so the sanitizer's dynamic-type
// check is off for this one call.
__attribute__((no_sanitize("vptr"))) unsigned long zeroCalibrateThroughSlot14(IMinolta* facade) {
    return reinterpret_cast<HostFacadeWithZeroCalibrate*>(facade)->ZeroCalibrate();
}

// The host's watcher, built only against the copy above.
class HostWatcher : public IMinoltaWatcher {
public:
    void OnMeasureFinished() override { add("finished", 0); }
    void OnMeasureFailed(unsigned long code) override { add("failed", code); }
    void OnConnected() override { add("connected", 0); }
    void OnDisconnected() override { add("disconnected", 0); }
    void OnZeroCalibrated(unsigned long code) override { add("zerocalibrated", code); }

    std::vector<std::pair<std::string, unsigned long>> events() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    int count(const std::string& name) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        int n = 0;
        for (const auto& e : m_events)
            n += e.first == name;
        return n;
    }

private:
    void add(const char* name, unsigned long code) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.emplace_back(name, code);
    }
    mutable std::mutex m_mutex;
    std::vector<std::pair<std::string, unsigned long>> m_events;
};

void pointCatalogueAt(const QString& path) {
    const QByteArray name = path.toUtf8();
    const char* names[] = {name.constData()};
    const char* descriptions[] = {"USB-Serial Controller"};
    ChromameterSetPortCatalogue(names, descriptions, 1);
}

} // namespace

TEST(InterfaceAbi, RecordIsFourConsecutiveFloats) {
    static_assert(std::is_standard_layout<SChromameterMeasureData>::value, "plain record");
    EXPECT_EQ(sizeof(SChromameterMeasureData), 16u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, x), 0u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, y), 4u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, Lv), 8u);
    EXPECT_EQ(offsetof(SChromameterMeasureData, Tcp), 12u);
}

TEST(InterfaceAbi, HostCallsEverySlotOfAnUnconnectedFacade) {
    ChromameterSetPortCatalogue(nullptr, nullptr, 0);
    IMinolta* facade = nullptr;
    ASSERT_EQ(CreateChromameterMinolta(&facade), RESULT_OK);
    ASSERT_NE(facade, nullptr);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_FALSE(facade->IsMeasureSucced());
    EXPECT_FALSE(facade->IsReaded());
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Tcp, 4.0f);
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    EXPECT_EQ(facade->ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_FAIL);
    // No port in the catalogue: detection finds nothing.
    EXPECT_EQ(facade->Connect(), RESULT_FAIL);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(zeroCalibrateThroughSlot14(facade), RESULT_NOT_AVAILABLE);
    HostWatcher watcher;
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    delete facade;
    ChromameterSetPortCatalogue(nullptr, nullptr, -1);
}

TEST(InterfaceAbi, HostWatcherIsCalledInTheRightSlotsAndHostRecordIsFilled) {
    auto sim = StartScriptedAnalyser();
    pointCatalogueAt(sim->portPath());
    IMinolta* facade = nullptr;
    ASSERT_EQ(CreateChromameterMinolta(&facade), RESULT_OK);
    HostWatcher watcher;
    ASSERT_EQ(facade->RegisterWatcher(&watcher), 1ul);

    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_TRUE(facade->IsConnected());
    EXPECT_EQ(watcher.count("connected"), 1);

    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil([&] { return watcher.events().size() >= 2; }, 10000));
    EXPECT_EQ(watcher.events()[1].first, "finished");
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -5.0f};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    double v1 = -1, v2 = -2, v3 = -3, lv = 0, x = 0, y = 0, v7 = -7;
    ASSERT_EQ(facade->ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_OK);
    EXPECT_NEAR(lv, 120.5, 1e-4);
    EXPECT_NEAR(x, 0.3127, 1e-6);
    EXPECT_NEAR(y, 0.3290, 1e-6);
    EXPECT_EQ(v1, -1);
    EXPECT_EQ(v7, -7);

    // A measurement the instrument refuses reaches the second slot with the failure code.
    sim->clearRules();
    sim->on("MDS,0\n", "ER10\r\n");
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil([&] { return watcher.count("failed") >= 1; }, 10000));
    const auto events = watcher.events();
    EXPECT_EQ(events.back().first, "failed");
    EXPECT_EQ(events.back().second, RESULT_FAIL);

    sim->on("COM,0\n", "OK00\r\n");
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);

    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    delete facade;
    ChromameterSetPortCatalogue(nullptr, nullptr, -1);
}
