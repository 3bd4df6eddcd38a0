// A host whose own timer calls the library on the host's thread while a call of the library waits
// there: the read's event loop runs the timer, so the timer's calls arrive re-entrantly. None of them
// may deadlock on the port's lock, send anything or disturb the exchange in progress; the outer call
// ends with its normal result.
#include "ChromameterDetector.h"
#include "HangWatchdog.h"
#include "IMinolta.h"
#include "InstrumentModel.h"
#include "Minolta.h"
#include "SimFamilies.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>

namespace {

// The answer a refused re-entrant call gives at once.
const unsigned long kRefused = RESULT_FAIL;
// Operations each tick calls: the interface's twelve and the facade's ZeroCalibrate.
const int kCallsPerTick = 13;
// "At once": far below one 20 ms read slice, with room for a loaded machine and sanitizers.
const qint64 kAtOnceMs = 15;

// The host's timer: every tick calls every operation of the interface through the facade, on the
// host's thread, and checks each answer.
class ReentrantCaller {
public:
    ReentrantCaller(IMinolta& facade, int intervalMs) : m_facade(facade) {
        m_timer.setInterval(intervalMs);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
        // Every write the library asks for, as it is asked: one during a tick came from a re-entrant call.
        CChromameterDetector* detector = CChromameterDetector::GetInstance();
        m_writes = QObject::connect(
            detector, &CChromameterDetector::doWrite, detector,
            [this](const void*, DWORD count) -> DWORD {
                if (m_bInTick)
                    ++m_writesInTicks;
                return count;
            },
            Qt::DirectConnection);
    }
    ~ReentrantCaller() { QObject::disconnect(m_writes); }

    // Runs `outer` with the timer going, and returns how many ticks ran inside it.
    int during(const std::function<void()>& outer) {
        m_timer.start();
        outer();
        m_timer.stop();
        return m_ticks;
    }

    qint64 slowestUs() const { return m_slowestUs; }
    int writesInTicks() const { return m_writesInTicks; }

private:
    template <class Call> auto timed(Call call) {
        QElapsedTimer clock;
        clock.start();
        auto result = call();
        m_slowestUs = qMax(m_slowestUs, clock.nsecsElapsed() / 1000);
        return result;
    }

    void tick() {
        ++m_ticks;
        m_bInTick = true;
        SChromameterMeasureData data{};
        QList<float> spectrum;
        int startNm = 0, endNm = 0;
        double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
        EXPECT_EQ(timed([&] { return m_facade.Connect(); }), kRefused);
        EXPECT_EQ(timed([&] { return m_facade.Measure(false); }), kRefused);
        EXPECT_EQ(timed([&] { return m_facade.ReadLastestData(); }), -1.0);
        EXPECT_EQ(timed([&] { return m_facade.ReadLvXy(data); }), kRefused);
        EXPECT_EQ(timed([&] { return m_facade.ReadSpectralData(spectrum, startNm, endNm); }), kRefused);
        EXPECT_EQ(timed([&] { return m_facade.ReadMeasureData(v1, v2, v3, lv, x, y, v7); }), kRefused);
        EXPECT_EQ(timed([&] { return m_facade.Disconnect(); }), kRefused);
        // The flag queries answer as usual: the facade's own flags, and the driver's connection.
        EXPECT_FALSE(timed([&] { return m_facade.IsMeasureSucced(); }));
        EXPECT_FALSE(timed([&] { return m_facade.IsReaded(); }));
        IMinolta* driver = CChromameterDetector::GetInstance()->m_pMinolta;
        const bool connected = timed([&] { return m_facade.IsConnected(); });
        if (driver) {
            EXPECT_EQ(connected, driver->IsConnected());
        }
        EXPECT_EQ(timed([&] { return m_facade.RegisterWatcher(&m_extra); }), 1ul);
        EXPECT_EQ(timed([&] { return m_facade.UnregisterWatcher(&m_extra); }), 1ul);
        if (auto* own = dynamic_cast<CMinolta*>(&m_facade)) {
            EXPECT_EQ(timed([&] { return own->ZeroCalibrate(); }), RESULT_NOT_AVAILABLE);
        }
        EXPECT_TRUE(data.Lv == 0 && data.x == 0 && spectrum.isEmpty()) << "a refused read filled the record";
        m_bInTick = false;
    }

    IMinolta& m_facade;
    QTimer m_timer;
    RecordingWatcher m_extra;
    QMetaObject::Connection m_writes;
    bool m_bInTick = false;
    int m_writesInTicks = 0;
    int m_ticks = 0;
    qint64 m_slowestUs = 0;
};

// A family's model on the simulator's line, detection pointed at it, a facade and a watcher.
class ReentrantHostCall : public ::testing::Test {
protected:
    void start(const QString& family) {
        model = CreateFamilyModel(family);
        ASSERT_TRUE(model);
        // Replies cross the line in USB packets, as on a desk: the reads wait longer, the timer runs more.
        model->setLine(LineModel::realistic());
        ASSERT_TRUE(model->start());
        scope.reset(new CatalogueScope({model->portPath()}));
        IMinolta* created = nullptr;
        ASSERT_EQ(CreateChromameterMinolta(&created), RESULT_OK);
        facade.reset(created);
        facade->RegisterWatcher(&watcher);
    }

    void TearDown() override {
        pumpEvents(100);
        if (facade)
            facade->UnregisterWatcher(&watcher);
    }

    // Runs `outer` with the re-entrant timer every `intervalMs` and returns its result: the timer's
    // calls ran inside it, answered at once and asked for no write.
    template <class Result> Result withReentrantTimer(const std::function<Result()>& outer, int intervalMs) {
        HangWatchdog watchdog(60, "re-entrant calls from the host's timer");
        ReentrantCaller caller(*facade, intervalMs);
        Result result{};
        const int ticks = caller.during([&] { result = outer(); });
        EXPECT_GT(ticks, 0) << "the outer call never ran the host's event loop";
        EXPECT_EQ(caller.writesInTicks(), 0) << "a re-entrant call wrote to the instrument";
        EXPECT_LE(caller.slowestUs(), kAtOnceMs * 1000);
        std::printf("%d ticks, %d re-entrant calls each, the slowest answered in %lld us\n", ticks,
                    kCallsPerTick, static_cast<long long>(caller.slowestUs()));
        return result;
    }

    // A measurement on the instrument, its outcome awaited with the host's loop running.
    void measureAndWait() {
        watcher.clear();
        facade->Measure(false);
        ASSERT_TRUE(waitUntil([&] { return watcher.count("finished") > 0; }, 15000));
    }

    std::unique_ptr<InstrumentModel> model;
    std::unique_ptr<CatalogueScope> scope;
    std::unique_ptr<IMinolta> facade;
    RecordingWatcher watcher;
};

class ReentrantHostCallDuringConnect : public ReentrantHostCall,
                                       public ::testing::WithParamInterface<const char*> {};

} // namespace

TEST_P(ReentrantHostCallDuringConnect, CallsFromTheHostsTimerAnswerAtOnceAndDetectionFindsTheFamily) {
    const QString family = QString::fromLatin1(GetParam());
    ASSERT_NO_FATAL_FAILURE(start(family));
    EXPECT_EQ(withReentrantTimer<unsigned long>([&] { return facade->Connect(); }, /*intervalMs=*/10),
              RESULT_OK);
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, SimFamilyType(family));
    EXPECT_EQ(watcher.count("connected"), 1);
    // The instrument found with the timer running serves a normal measurement afterwards.
    if (family == QLatin1String("luminance")) {
        EXPECT_EQ(facade->Measure(false), RESULT_OK);
        EXPECT_EQ(watcher.count("finished"), 1);
        EXPECT_NEAR(facade->ReadLastestData(), SimReading().Lv, 1e-3);
    } else {
        ASSERT_NO_FATAL_FAILURE(expectDefaultReadingMeasured(*facade, watcher));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryFamily, ReentrantHostCallDuringConnect,
                         ::testing::Values("spectro", "analyser", "luminance", "photoresearch", "jingce"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             return std::string(info.param);
                         });

TEST_F(ReentrantHostCall, CallsDuringTheLuminanceMetersMeasurementOnTheHostsThreadAnswerAtOnce) {
    ASSERT_NO_FATAL_FAILURE(start(QStringLiteral("luminance")));
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    watcher.clear();
    // This meter measures on the caller's thread: the outcome is known when Measure returns.
    EXPECT_EQ(withReentrantTimer<unsigned long>([&] { return facade->Measure(false); }, /*intervalMs=*/25),
              RESULT_OK);
    EXPECT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.count("failed"), 0);
    EXPECT_NEAR(facade->ReadLastestData(), SimReading().Lv, 1e-3);
}

TEST_F(ReentrantHostCall, CallsDuringTheLuminanceMetersReadOutPollingAnswerAtOnceAndTheReadingComesBack) {
    ASSERT_NO_FATAL_FAILURE(start(QStringLiteral("luminance")));
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    const double lv =
        withReentrantTimer<double>([&] { return facade->ReadLastestData(); }, /*intervalMs=*/50);
    EXPECT_NEAR(lv, SimReading().Lv, 1e-3);
}

TEST_F(ReentrantHostCall, CallsDuringTheSpectroradiometersDataReadAnswerAtOnceAndTheValuesReadBack) {
    ASSERT_NO_FATAL_FAILURE(start(QStringLiteral("spectro")));
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_NO_FATAL_FAILURE(measureAndWait());
    // The first read after a measurement fetches the values from the instrument.
    SChromameterMeasureData data{};
    EXPECT_EQ(withReentrantTimer<unsigned long>([&] { return facade->ReadLvXy(data); }, /*intervalMs=*/10),
              RESULT_OK);
    EXPECT_NEAR(data.Lv, SimReading().Lv, 1e-3);
    EXPECT_NEAR(data.x, SimReading().x, 1e-4);
    EXPECT_NEAR(data.y, SimReading().y, 1e-4);
}

TEST_F(ReentrantHostCall, CallsDuringThePhotoResearchDataReadAnswerAtOnceAndTheValuesReadBack) {
    ASSERT_NO_FATAL_FAILURE(start(QStringLiteral("photoresearch")));
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    // Before any measurement the read asks the instrument for its last report.
    SChromameterMeasureData data{};
    EXPECT_EQ(withReentrantTimer<unsigned long>([&] { return facade->ReadLvXy(data); }, /*intervalMs=*/10),
              RESULT_OK);
    EXPECT_NEAR(data.Lv, SimReading().Lv, 1e-3);
    EXPECT_NEAR(data.y, SimReading().y, 1e-4);
}
