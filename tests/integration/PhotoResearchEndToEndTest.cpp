#include "ChromameterDetector.h"
#include "DetectorPort.h"
#include "HostFixture.h"
#include "PhotoResearch.h"
#include "PhotoResearchModel.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <thread>

namespace {

using PhotoResearchEndToEnd = HostFixture<PhotoResearchModel>;

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchEndToEnd, ::testing::ValuesIn(AllLines()), LineName);

TEST_P(PhotoResearchEndToEnd, DetectedAsTypeThreeMeasuredOnAWorkerAndRead) {
    connectThroughFacade();
    EXPECT_TRUE(facade->IsConnected());
    CChromameterDetector* det = CChromameterDetector::GetInstance();
    EXPECT_EQ(det->m_nInstrumentType, 3);
    EXPECT_NE(dynamic_cast<CPhotoResearch*>(det->m_pMinolta), nullptr);
    EXPECT_TRUE(model.inRemoteMode());
    EXPECT_EQ(model.lineBaud(), 9600);
    // The greeting was announced once, on the host's thread, by the driver that won.
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());

    ASSERT_EQ(measure(false, 10000), "finished");
    ASSERT_EQ(watcher.count("finished"), 1);
    EXPECT_EQ(watcher.count("failed"), 0);
    EXPECT_NE(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(det->m_pMinolta->IsMeasureSucced());
    EXPECT_TRUE(det->m_pMinolta->IsReaded());

    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -7.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 120.5f);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
    // This instrument delivers no colour temperature.
    EXPECT_EQ(data.Tcp, -7.0f);
}

TEST_P(PhotoResearchEndToEnd, ConfiguredReadingReachesTheHostAndIsThenReadFromMemory) {
    SimReading reading;
    reading.Lv = 42.25;
    reading.x = 0.25;
    reading.y = 0.375;
    model.setReading(reading);
    connectThroughFacade();
    ASSERT_EQ(measure(false, 10000), "finished");
    ASSERT_EQ(watcher.count("finished"), 1);
    pumpEvents(100);
    model.clearRecord();

    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 42.25f);
    EXPECT_EQ(data.x, 0.25f);
    EXPECT_EQ(data.y, 0.375f);
    pumpEvents(200);
    EXPECT_TRUE(model.received().isEmpty());
}

TEST_P(PhotoResearchEndToEnd, MeasurementWaitsOutTheInstrumentsMeasuringTime) {
    model.setMeasureDelayMs(600);
    connectThroughFacade();

    QElapsedTimer timer;
    timer.start();
    ASSERT_EQ(measure(false, 10000), "finished");
    EXPECT_GE(timer.elapsed(), 600);
    ASSERT_EQ(watcher.count("finished"), 1);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 120.5f);
}

TEST_P(PhotoResearchEndToEnd, ReadBeforeMeasuringFetchesTheInstrumentsResult) {
    connectThroughFacade();
    model.clearRecord();
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 120.5f);
    EXPECT_EQ(data.x, 0.3127f);
    EXPECT_EQ(data.y, 0.3290f);
    EXPECT_EQ(model.received(), QByteArray("D1\n"));
}

TEST_P(PhotoResearchEndToEnd, LatestDataThroughTheFacadeIsZero) {
    connectThroughFacade();
    model.clearRecord();
    EXPECT_EQ(facade->ReadLastestData(), 0.0);
    EXPECT_EQ(model.countReceived("D1\n"), 1);
}

TEST_P(PhotoResearchEndToEnd, DisconnectTakesTheInstrumentOutOfRemoteMode) {
    connectThroughFacade();
    watcher.clear();
    ASSERT_TRUE(model.inRemoteMode());
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_TRUE(waitUntil([&] { return !model.inRemoteMode(); }, 2000));
    EXPECT_TRUE(model.received().endsWith("Q"));
    EXPECT_FALSE(detectorPort().IsOpen());
}

TEST_P(PhotoResearchEndToEnd, ConnectingAgainWhileInRemoteModeIsGreetedAgainSlow) {
    connectThroughFacade();
    ASSERT_TRUE(model.inRemoteMode());
    // Every Connect runs the whole detection again; the instrument, still in remote mode, lets the
    // other drivers' probes pass and greets "PHOTO" once more.
    EXPECT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 3);
    EXPECT_EQ(model.countReceived("PHOTO"), 2);
    EXPECT_EQ(watcher.count("connected"), 2);
}

TEST_P(PhotoResearchEndToEnd, ModelIgnoresOtherInstrumentsProbesBeforeItsGreeting) {
    ASSERT_TRUE(openDetectorPort(model.portPath()));
    CChromameterDetector* det = CChromameterDetector::GetInstance();
    // What the drivers tried before this one might send: text commands and a binary frame.
    const char* texts[] = {"RMTS,1\r\n", "COM,1\n", "MES\n", "M1\n", "D1\n"};
    for (const char* t : texts)
        det->Write(t, unsigned(qstrlen(t)));
    QByteArray frame(100, '\0');
    for (int i = 0; i < frame.size(); ++i)
        frame[i] = char(0x80 + i);
    det->Write(frame.constData(), unsigned(frame.size()));
    pumpEvents(300);
    // Out of remote mode it answered none of that.
    EXPECT_EQ(model.bytesSent(), 0);
    EXPECT_FALSE(model.inRemoteMode());

    CPhotoResearch driver(detectorLine());
    EXPECT_EQ(driver.Connect(), RESULT_OK);
    EXPECT_TRUE(driver.IsConnected());
    EXPECT_TRUE(model.inRemoteMode());
}

TEST_P(PhotoResearchEndToEnd, ModelAnswersStrayLinesInRemoteModeWithSilence) {
    ASSERT_TRUE(openDetectorPort(model.portPath()));
    CPhotoResearch driver(detectorLine());
    ASSERT_EQ(driver.Connect(), RESULT_OK);
    const qint64 sentAfterGreeting = model.bytesSent();
    CChromameterDetector::GetInstance()->Write("COM,1\n", 6);
    pumpEvents(300);
    EXPECT_EQ(model.bytesSent(), sentAfterGreeting);
    EXPECT_TRUE(model.inRemoteMode());
}
