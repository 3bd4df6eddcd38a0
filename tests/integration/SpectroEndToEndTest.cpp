#include "ChromameterDetector.h"
#include "ChromameterMinolta.h"
#include "DetectorPort.h"
#include "DriverSupport.h"
#include "HostFixture.h"
#include "SpectroModel.h"
#include "SpectroProtocol.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class SpectroEndToEnd : public HostFixture<SpectroModel> {
protected:
    void SetUp() override {
        SimReading reading;
        reading.Lv = 87.25;
        reading.x = 0.2853;
        reading.y = 0.3012;
        reading.Tcp = 9300;
        model.setReading(reading);
        HostFixture::SetUp();
    }

    static IChromameter* detectedDriver() {
        return dynamic_cast<CChromameterMinolta*>(CChromameterDetector::GetInstance()->m_pMinolta);
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, SpectroEndToEnd, ::testing::ValuesIn(AllLines()), LineName);

TEST_P(SpectroEndToEnd, DetectedAsTypeZeroMeasuredOnAWorkerAndReadsTheConfiguredValues) {
    connectThroughFacade();
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->m_nInstrumentType, 0);
    ASSERT_NE(detectedDriver(), nullptr);
    EXPECT_TRUE(facade->IsConnected());
    EXPECT_TRUE(model.inRemoteMode());
    EXPECT_EQ(watcher.count("connected"), 1);
    EXPECT_TRUE(model.received().startsWith("STR,4\rRMTS,1\r\n")) << model.received().constData();

    EXPECT_EQ(measure(), "finished");
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(model.measurementCount(), 1);
    // The facade keeps no measurement state of its own: the driver's flags tell.
    EXPECT_TRUE(CChromameterDetector::GetInstance()->m_pMinolta->IsMeasureSucced());

    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -1.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.x, 0.2853f);
    EXPECT_FLOAT_EQ(data.y, 0.3012f);
    EXPECT_FLOAT_EQ(data.Lv, 87.25f);
    EXPECT_EQ(data.Tcp, -1.0f);
    EXPECT_EQ(model.countReceived("MEDR,2,0,2\r\n"), 1);
}

TEST_P(SpectroEndToEnd, SecondReadAfterTheMeasurementComesFromMemory) {
    connectThroughFacade();
    ASSERT_EQ(measure(), "finished");
    SChromameterMeasureData first = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(facade->ReadLvXy(first), RESULT_OK);
    EXPECT_TRUE(CChromameterDetector::GetInstance()->m_pMinolta->IsReaded());
    model.clearRecord();
    SChromameterMeasureData again = {0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_EQ(facade->ReadLvXy(again), RESULT_OK);
    EXPECT_EQ(again.x, first.x);
    EXPECT_EQ(again.y, first.y);
    EXPECT_EQ(again.Lv, first.Lv);
    pumpEvents(150);
    EXPECT_TRUE(model.received().isEmpty());
}

TEST_P(SpectroEndToEnd, ReadMeasureDataGivesLuminanceChromaticityAndTristimulus) {
    connectThroughFacade();
    ASSERT_EQ(measure(), "finished");
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    EXPECT_EQ(facade->ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_OK);
    EXPECT_DOUBLE_EQ(lv, 87.25);
    EXPECT_DOUBLE_EQ(x, 0.2853);
    EXPECT_DOUBLE_EQ(y, 0.3012);
    // X, Y, Z of the reading and the dominant wavelength the model reports.
    EXPECT_NEAR(v1, 0.2853 / 0.3012 * 87.25, 1e-3);
    EXPECT_DOUBLE_EQ(v2, 87.25);
    EXPECT_NEAR(v3, (1.0 - 0.2853 - 0.3012) / 0.3012 * 87.25, 1e-3);
    EXPECT_DOUBLE_EQ(v7, 477.0);
}

TEST_P(SpectroEndToEnd, ReadLastestDataAnswersMinusOneAfterASuccessfulMeasurement) {
    connectThroughFacade();
    ASSERT_EQ(measure(), "finished");
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
    EXPECT_EQ(model.countReceived("MEDR,2,0,2\r\n"), 1);
}

TEST_P(SpectroEndToEnd, SpectrumFailsAfterTheFirstBlockWithTheRangeReported) {
    connectThroughFacade();
    ASSERT_EQ(measure(), "finished");
    QList<float> values{1.0f};
    int start = 0, end = 0;
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_EQ(start, 380);
    EXPECT_EQ(end, 780);
    EXPECT_EQ(values, (QList<float>{1.0f}));
    pumpEvents(150);
    EXPECT_EQ(model.countReceived("MEDR,1,0,"), 1);
    EXPECT_EQ(model.countReceived("MEDR,1,0,1\r\n"), 1);
}

TEST_P(SpectroEndToEnd, DisconnectLeavesRemoteModeAndTellsTheWatchers) {
    connectThroughFacade();
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    pumpEvents(150);
    EXPECT_FALSE(model.inRemoteMode());
    EXPECT_FALSE(detectorPort().IsOpen());
}

TEST_P(SpectroEndToEnd, AdapterPulledDuringAMeasurementFailsItAndLaterReadsReportTheLoss) {
    connectThroughFacade();
    model.setFault(SimFault::UnplugDuringMeasure);
    EXPECT_EQ(measure(false, 20000), "failed");
    // The reads after the loss find the port gone: the lost port's code.
    EXPECT_EQ(watcher.events().back().code, RESULT_PORT_LOST);
    EXPECT_FALSE(CChromameterDetector::GetInstance()->m_pMinolta->IsMeasureSucced());
    // The worker's first read after the loss ends the measurement; the close it asked for runs on the
    // port's own thread, this one, at its next turn of the event loop.
    EXPECT_TRUE(waitUntil([] { return !detectorPort().IsOpen(); }, 1000));

    SChromameterMeasureData data = {1.0f, 2.0f, 3.0f, 4.0f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_FAIL);
    EXPECT_EQ(data.Lv, 3.0f);
    char* reply = nullptr;
    EXPECT_EQ(detectedDriver()->MeasurementDataRead(&reply, 2, 0, 2), RESULT_PORT_LOST);
    EXPECT_EQ(reply, nullptr);
}

TEST_P(SpectroEndToEnd, ModelRefusesTheAnalyserProbeAndIgnoresLineFeedCommands) {
    ASSERT_TRUE(openDetectorPort(model.portPath()));
    QByteArray reply;
    EXPECT_FALSE(DriverSendAndRead(detectorLine(), "COM,1\n", 6, {3, 100}, &reply));
    EXPECT_TRUE(DriverSendAndRead(detectorLine(), "STR,4\r", 6, {3, 100}, &reply));
    EXPECT_EQ(reply, QByteArray("ER00\r\n"));
    EXPECT_TRUE(DriverSendAndRead(detectorLine(), "RMTS,1\r\n", 8, {3, 100}, &reply));
    EXPECT_EQ(reply, QByteArray("OK00\r\n"));
    EXPECT_TRUE(model.inRemoteMode());
}

TEST_P(SpectroEndToEnd, ModelSpectrumCoversTheRangeInFourBlocksThatFitTheReplyBuffer) {
    ASSERT_TRUE(openDetectorPort(model.portPath()));
    CChromameterMinolta driver(detectorLine());
    QList<float> spectrum;
    const int expected[4] = {100, 100, 100, 101};
    for (int block = 1; block <= 4; ++block) {
        char* reply = nullptr;
        ASSERT_EQ(driver.MeasurementDataRead(&reply, 1, 0, block), RESULT_OK) << block;
        ASSERT_NE(reply, nullptr) << block;
        const QByteArray text(reply);
        delete[] reply;
        EXPECT_TRUE(text.startsWith("OK00,")) << block;
        EXPECT_TRUE(text.endsWith("\r\n")) << block;
        EXPECT_LT(text.size(), 1023) << block;
        const int before = spectrum.size();
        SpectroAppendSpectralBlock(text, spectrum);
        EXPECT_EQ(spectrum.size() - before, expected[block - 1]) << block;
    }
    ASSERT_EQ(spectrum.size(), 401);
    for (float value : spectrum)
        EXPECT_GT(value, 0.0f);
    // A display white: the green primary near 540 nm outshines the deep red end.
    EXPECT_GT(spectrum[540 - 380], spectrum[780 - 380]);
}
