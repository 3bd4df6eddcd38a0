#include "AnalyserModel.h"
#include "ChromameterDetector.h"
#include "DetectorPort.h"
#include "HostFixture.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <thread>

namespace {

// A host's view: one facade from the factory, a watcher registered through it, the analyser
// simulated on a pseudo-terminal that detection is pointed at.
class AnalyserEndToEnd : public HostFixture<AnalyserModel> {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        ASSERT_NO_FATAL_FAILURE(createFacade());
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, AnalyserEndToEnd, ::testing::ValuesIn(AllLines()), LineName);

TEST_P(AnalyserEndToEnd, ConnectDetectsTheAnalyserAsTypeOne) {
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    EXPECT_EQ(facade->Connect(), RESULT_OK);
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);
    EXPECT_TRUE(facade->IsConnected());
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 1);
    ASSERT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(watcher.events()[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(model.inRemoteMode());
    // Whatever the drivers tried before it left the analyser unmoved; its own handshake went through.
    EXPECT_EQ(model.countReceived("COM,1\n"), 1);
    EXPECT_EQ(model.zeroCalibrationCount(), 1);
    expectStampBetween(model.lastZeroCalibrationDate(), before, after);
}

TEST_P(AnalyserEndToEnd, MeasurementFinishesOnAWorkerAndReadsLuminanceAndChromaticity) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());

    SChromameterMeasureData data = {0, 0, 0, -5.0f};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    double v1 = 0, v2 = 0, v3 = 0, Lv = 0, x = 0, y = 0, v7 = 0;
    ASSERT_EQ(facade->ReadMeasureData(v1, v2, v3, Lv, x, y, v7), RESULT_OK);
    EXPECT_FLOAT_EQ(float(Lv), 120.5f);
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
}

TEST_P(AnalyserEndToEnd, ColourTemperatureMeasurementReadsTcpToo) {
    SimReading reading;
    reading.Lv = 80.25;
    reading.x = 0.28;
    reading.y = 0.29;
    reading.Tcp = 9300;
    model.setReading(reading);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_EQ(measure(true), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(model.displayMode(), 1);

    SChromameterMeasureData data = {0, 0, 0, 0};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 80.25f);
    EXPECT_FLOAT_EQ(data.x, 0.28f);
    EXPECT_FLOAT_EQ(data.y, 0.29f);
    EXPECT_FLOAT_EQ(data.Tcp, 9300.0f);
}

TEST_P(AnalyserEndToEnd, SpectrumIsNotOfferedAndFoldsIntoFailure) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    QList<float> values;
    int start = 0, end = 0;
    EXPECT_EQ(facade->ReadSpectralData(values, start, end), RESULT_FAIL);
    EXPECT_TRUE(values.isEmpty());
}

TEST_P(AnalyserEndToEnd, DisconnectSignsOffAndTellsTheWatcher) {
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    watcher.clear();
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_FALSE(model.inRemoteMode());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_FALSE(detectorPort().IsOpen());
}
