// The facade the host holds, over the real detector, port and drivers.
#include "ChromameterDetector.h"
#include "ChromameterMinoltaCas40.h"
#include "InstrumentModel.h"
#include "Minolta.h"
#include "MinoltaVistor.h"
#include "ScriptedInstrument.h"
#include "SimFamilies.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>

namespace {

// A facade whose own flags the test can look at.
class FacadeProbe : public CMinolta {
public:
    bool connectedFlag() const { return m_bConnected; }
    int type() const { return m_nType; }
    bool measuringFlag() const { return m_bMeasuring; }
    bool measureSucceedFlag() const { return m_bMeasureSucceed; }
    bool readedFlag() const { return m_bReaded; }
};

std::unique_ptr<ScriptedInstrument> startInstrument() {
    auto sim = std::make_unique<ScriptedInstrument>();
    EXPECT_TRUE(sim->start());
    return sim;
}

// Answers as a colour analyser does (the spectroradiometer's probe is refused at once).
void answerAsAnalyser(ScriptedInstrument& sim) {
    sim.on("STR,4\r", "ER10\r\n");
    sim.on("COM,1\n", "OK00\r\n");
    sim.on("ZRC,1,", "OK00\r\n");
    sim.on("COM,0\n", "OK00\r\n");
    sim.on("MDS,0\n", "OK00\r\n");
    sim.on("MES,1\n", "OK00,0,0,0.3127,0.3290,120.5,0,0\r\n");
}

// An instrument answering as a colour analyser, with detection pointed at it while this lives.
class AnalyserOnTheLine {
public:
    AnalyserOnTheLine() : m_sim(startInstrument()) {
        answerAsAnalyser(*m_sim);
        m_scope.reset(new CatalogueScope({m_sim->portPath()}));
    }
    ScriptedInstrument* operator->() const { return m_sim.get(); }

private:
    std::unique_ptr<ScriptedInstrument> m_sim;
    std::unique_ptr<CatalogueScope> m_scope;
};

IMinolta* createFacade() {
    IMinolta* facade = nullptr;
    EXPECT_EQ(CreateChromameterMinolta(&facade), RESULT_OK);
    return facade;
}

} // namespace

TEST(Facade, FactoryGivesADistinctDisconnectedFacadeEachCall) {
    IMinolta* a = createFacade();
    IMinolta* b = createFacade();
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_FALSE(a->IsConnected());
    EXPECT_FALSE(a->IsMeasureSucced());
    EXPECT_FALSE(a->IsReaded());
    FacadeProbe probe;
    EXPECT_FALSE(probe.connectedFlag());
    EXPECT_EQ(probe.type(), -1);
    EXPECT_FALSE(probe.measuringFlag());
    EXPECT_FALSE(probe.measureSucceedFlag());
    EXPECT_FALSE(probe.readedFlag());
    delete a;
    delete b;
}

TEST(Facade, TwoFacadesReportTheSameConnectionOnceEitherHasConnected) {
    AnalyserOnTheLine sim;
    IMinolta* a = createFacade();
    IMinolta* b = createFacade();
    EXPECT_FALSE(b->IsConnected());
    ASSERT_EQ(a->Connect(), RESULT_OK);
    EXPECT_TRUE(a->IsConnected());
    // b never connected, but reads the one detector's driver.
    EXPECT_TRUE(b->IsConnected());
    delete a;
    delete b;
}

TEST(Facade, ConnectStoresTheDetectedType) {
    AnalyserOnTheLine sim;
    FacadeProbe facade;
    RecordingWatcher watcher;
    EXPECT_EQ(facade.RegisterWatcher(&watcher), 1ul);
    ASSERT_EQ(facade.Connect(), RESULT_OK);
    EXPECT_TRUE(facade.connectedFlag());
    EXPECT_EQ(facade.type(), 1);
    EXPECT_EQ(facade.type(), CChromameterDetector::GetInstance()->m_nInstrumentType);
    // The driver announced the connection on this thread.
    ASSERT_EQ(watcher.count(QStringLiteral("connected")), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    facade.UnregisterWatcher(&watcher);
}

TEST(Facade, ConnectWithNoAdapterFailsAndLeavesFlagAndTypeAlone) {
    CatalogueScope none({});
    FacadeProbe facade;
    EXPECT_EQ(facade.Connect(), RESULT_FAIL);
    EXPECT_FALSE(facade.connectedFlag());
    EXPECT_FALSE(facade.IsConnected());
    EXPECT_EQ(facade.type(), -1);
}

TEST(Facade, ConnectWithSilentInstrumentFailsAndLeavesFlagAndTypeAlone) {
    // Every driver's budget runs out in turn: several seconds.
    auto sim = startInstrument();
    CatalogueScope scope({sim->portPath()});
    FacadeProbe facade;
    EXPECT_EQ(facade.Connect(), RESULT_FAIL);
    EXPECT_FALSE(facade.connectedFlag());
    EXPECT_EQ(facade.type(), -1);
    // The failed driver still held reports false.
    EXPECT_NE(CChromameterDetector::GetInstance()->m_pMinolta, nullptr);
    EXPECT_FALSE(facade.IsConnected());
    EXPECT_FALSE(sim->received().isEmpty());
}

TEST(Facade, FailedReconnectKeepsTheTypeAndClearsTheFlag) {
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    FacadeProbe facade;
    {
        CatalogueScope scope({sim->portPath()});
        ASSERT_EQ(facade.Connect(), RESULT_OK);
        ASSERT_EQ(facade.type(), 1);
    }
    CatalogueScope none({});
    EXPECT_EQ(facade.Connect(), RESULT_FAIL);
    EXPECT_FALSE(facade.connectedFlag());
    EXPECT_EQ(facade.type(), 1);
}

TEST(Facade, ConnectRunsTheWholeDetectionAgainWhenAlreadyConnected) {
    AnalyserOnTheLine sim;
    IMinolta* facade = createFacade();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_EQ(sim->countReceived("COM,1\n"), 2);
    EXPECT_EQ(sim->countReceived("STR,4\r"), 2);
    EXPECT_NE(CChromameterDetector::GetInstance()->m_pMinolta, nullptr);
    EXPECT_TRUE(facade->IsConnected());
    delete facade;
}

TEST(Facade, MeasureBeforeConnectReturnsZeroAndSendsNothing) {
    AnalyserOnTheLine sim;
    // Another facade has found the instrument, so a driver is there to be (wrongly) used.
    IMinolta* connected = createFacade();
    ASSERT_EQ(connected->Connect(), RESULT_OK);
    sim->clearRecord();
    IMinolta* facade = createFacade();
    RecordingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    EXPECT_EQ(facade->Measure(true), RESULT_OK);
    pumpEvents(400);
    EXPECT_TRUE(sim->received().isEmpty()) << sim->received().constData();
    EXPECT_TRUE(watcher.events().empty());
    facade->UnregisterWatcher(&watcher);
    delete facade;
    delete connected;
}

TEST(Facade, MeasureWithNoDetectorAtAllReturnsZero) {
    IMinolta* facade = createFacade();
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    delete facade;
}

TEST(Facade, ReadLastestDataBeforeConnectIsMinusOne) {
    AnalyserOnTheLine sim;
    IMinolta* facade = createFacade();
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
    // Also while another facade's driver is there.
    IMinolta* connected = createFacade();
    ASSERT_EQ(connected->Connect(), RESULT_OK);
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
    // The connected facade returns the colour driver's value, which is -1.0 as well.
    EXPECT_EQ(connected->ReadLastestData(), -1.0);
    delete facade;
    delete connected;
}

TEST(Facade, ReadSpectralDataOnDriverWithoutItIsFoldedIntoFail) {
    AnalyserOnTheLine sim;
    IMinolta* facade = createFacade();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    QList<float> values;
    int start = 11, end = 22;
    IMinolta* driver = CChromameterDetector::GetInstance()->m_pMinolta;
    ASSERT_EQ(driver->ReadSpectralData(values, start, end), RESULT_NOT_AVAILABLE);
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_TRUE(values.isEmpty());
    EXPECT_EQ(start, 11);
    EXPECT_EQ(end, 22);
    delete facade;
}

TEST(Facade, DataReadsWithoutAnyDriverFail) {
    IMinolta* facade = createFacade();
    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 3.0f);
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    EXPECT_EQ(facade->ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_FAIL);
    delete facade;
}

TEST(Facade, ZeroCalibrateIsNotAvailableWhateverTheState) {
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    FacadeProbe facade;
    EXPECT_EQ(facade.ZeroCalibrate(), RESULT_NOT_AVAILABLE);
    {
        CatalogueScope scope({sim->portPath()});
        ASSERT_EQ(facade.Connect(), RESULT_OK);
    }
    sim->clearRecord();
    EXPECT_EQ(facade.ZeroCalibrate(), RESULT_NOT_AVAILABLE);
    pumpEvents(100);
    EXPECT_EQ(sim->countReceived("ZRC"), 0);
    CatalogueScope none({});
    facade.Connect();
    EXPECT_EQ(facade.ZeroCalibrate(), RESULT_NOT_AVAILABLE);
}

TEST(Facade, DisconnectWhenNotConnectedReturnsZeroAndSendsNothing) {
    AnalyserOnTheLine sim;
    IMinolta* connected = createFacade();
    ASSERT_EQ(connected->Connect(), RESULT_OK);
    sim->clearRecord();
    IMinolta* facade = createFacade();
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    pumpEvents(100);
    EXPECT_TRUE(sim->received().isEmpty());
    delete facade;
    delete connected;
}

TEST(Facade, DisconnectForwardsAndClearsTheFlagWhenTheDriverSucceeds) {
    AnalyserOnTheLine sim;
    FacadeProbe facade;
    ASSERT_EQ(facade.Connect(), RESULT_OK);
    RecordingWatcher watcher;
    facade.RegisterWatcher(&watcher);
    EXPECT_EQ(facade.Disconnect(), RESULT_OK);
    EXPECT_EQ(sim->countReceived("COM,0\n"), 1);
    EXPECT_FALSE(facade.connectedFlag());
    EXPECT_FALSE(facade.IsConnected());
    EXPECT_EQ(watcher.count(QStringLiteral("disconnected")), 1);
    facade.UnregisterWatcher(&watcher);
}

TEST(Facade, DisconnectReturnsZeroEvenWhenTheDriverFails) {
    AnalyserOnTheLine sim;
    FacadeProbe facade;
    ASSERT_EQ(facade.Connect(), RESULT_OK);
    // The instrument refuses to leave remote mode.
    sim->clearRules();
    sim->on("COM,0\n", "ER10\r\n");
    EXPECT_EQ(facade.Disconnect(), RESULT_OK);
    EXPECT_EQ(sim->countReceived("COM,0\n"), 1);
    // The flag stays: the host learns of the failure only through IsConnected.
    EXPECT_TRUE(facade.connectedFlag());
}

TEST(Facade, DeletingTheFacadeLeavesDriverAndPortAsTheyAre) {
    AnalyserOnTheLine sim;
    IMinolta* facade = createFacade();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    IMinolta* driver = detector->m_pMinolta;
    delete facade;
    pumpEvents(100);
    EXPECT_EQ(detector->m_pMinolta, driver);
    EXPECT_TRUE(detector->m_port.IsOpen());
    EXPECT_TRUE(driver->IsConnected());
    EXPECT_EQ(sim->countReceived("COM,0"), 0);
}

TEST(Facade, RegisterWatcherTwiceLeavesOneEntryAndReturnsOneBothTimes) {
    IMinolta* facade = createFacade();
    RecordingWatcher watcher;
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
    EXPECT_EQ(CMinoltaVistor::GetInstance()->m_watchers.count(&watcher), 1);
    CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(RESULT_FAIL);
    EXPECT_EQ(watcher.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    EXPECT_TRUE(CMinoltaVistor::GetInstance()->m_watchers.isEmpty());
    delete facade;
}

TEST(Facade, MeasurementThroughTheFacadeEndsInTheWatcherAndTheRecord) {
    AnalyserOnTheLine sim;
    IMinolta* facade = createFacade();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    RecordingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    // Returned at once: the measurement runs on a worker, whose writes need this thread's loop.
    EXPECT_LT(timer.elapsed(), 200);
    ASSERT_TRUE(waitUntil([&] { return !watcher.last().isEmpty(); }, 10000));
    EXPECT_EQ(watcher.last(), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    // The colour driver's "latest data" is -1.0 even right after a successful measurement.
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
    // The facade's own flags are never set.
    EXPECT_FALSE(facade->IsMeasureSucced());
    EXPECT_FALSE(facade->IsReaded());
    facade->UnregisterWatcher(&watcher);
    delete facade;
}

TEST(Facade, DriverReportsMeasureSuccessWhileMeasuringEvenWhenItThenFails) {
    AnalyserOnTheLine sim;
    IMinolta* facade = createFacade();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    IMinolta* driver = CChromameterDetector::GetInstance()->m_pMinolta;
    ASSERT_NE(driver, nullptr);
    // The instrument takes its time and then refuses the measurement.
    sim->clearRules();
    sim->on("MDS,0\n", "OK00\r\n");
    sim->on("MES,1\n", "ER10\r\n", 800);
    RecordingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    EXPECT_FALSE(driver->IsMeasureSucced());
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil([&] { return sim->countReceived("MES,1\n") == 1; }, 5000));
    EXPECT_TRUE(driver->IsMeasureSucced());
    EXPECT_FALSE(facade->IsMeasureSucced());
    ASSERT_TRUE(waitUntil([&] { return watcher.count(QStringLiteral("failed")) == 1; }, 10000));
    pumpEvents(20);
    EXPECT_FALSE(driver->IsMeasureSucced());
    facade->UnregisterWatcher(&watcher);
    delete facade;
}

namespace {

// Connects through the facade to the family's model, measures, and reads the "latest data".
void expectLatestDataIsMinusOneAfterMeasuring(const QString& family) {
    std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
    ASSERT_NE(model, nullptr) << SimFamilyProblem(family).toStdString();
    ASSERT_TRUE(model->start());
    CatalogueScope scope({model->portPath()});
    IMinolta* facade = createFacade();
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, SimFamilyType(family));
    RecordingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil(
        [&] {
            return watcher.count(QStringLiteral("finished")) + watcher.count(QStringLiteral("failed")) > 0;
        },
        30000));
    ASSERT_EQ(watcher.count(QStringLiteral("finished")), 1);
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_NEAR(data.Lv, 120.5f, 0.01f);
    facade->UnregisterWatcher(&watcher);
    delete facade;
}

} // namespace

TEST(Facade, SpectroradiometerLatestDataIsMinusOneRightAfterASuccessfulMeasurement) {
    expectLatestDataIsMinusOneAfterMeasuring(QStringLiteral("spectro"));
}

TEST(Facade, ColourAnalyserLatestDataIsMinusOneRightAfterASuccessfulMeasurement) {
    expectLatestDataIsMinusOneAfterMeasuring(QStringLiteral("analyser"));
}

TEST(Facade, JingceLatestDataIsMinusOneRightAfterASuccessfulMeasurement) {
    expectLatestDataIsMinusOneAfterMeasuring(QStringLiteral("jingce"));
}
