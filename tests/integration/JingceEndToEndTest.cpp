#include "ChromameterDetector.h"
#include "ChromameterWuHanJingCe.h"
#include "DetectorPort.h"
#include "HostFixture.h"
#include "JingceModel.h"
#include "Minolta.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

// A host's view: one facade from the factory, a watcher registered through it, the Jingce
// colorimeter simulated on a pseudo-terminal that detection is pointed at.
class JingceEndToEnd : public HostFixture<JingceModel> {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        ASSERT_NO_FATAL_FAILURE(createFacade());
    }

    void TearDown() override {
        // A background zero calibration must be over before the watcher goes away.
        waitUntil([&] { return model.plainZeroCalibrationCount() == zeroCalibrationsAsked; }, 5000);
        pumpEvents(200);
        HostFixture::TearDown();
    }

    void connect() {
        ASSERT_EQ(facade->Connect(), RESULT_OK);
        ASSERT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 4);
        watcher.clear();
    }

    int zeroCalibrationsAsked = 0;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, JingceEndToEnd, ::testing::ValuesIn(AllLines()), LineName);

TEST_P(JingceEndToEnd, ConnectTriesEveryDriverAt9600ThenFindsTheJingceAt115200) {
    EXPECT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_TRUE(facade->IsConnected());
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, 4);
    EXPECT_EQ(watcher.count("connected"), 1);
    EXPECT_EQ(model.lineBaud(), 115200);

    // The record: first the trials at 9600 (unheard by this instrument), then the reopened port at
    // 115200 with the Jingce handshake.
    const QList<ReceivedChunk> record = model.record();
    ASSERT_FALSE(record.isEmpty());
    int first115200 = -1;
    QByteArray at9600, at115200;
    for (int i = 0; i < record.size(); ++i) {
        if (record[i].baud == 115200) {
            if (first115200 < 0)
                first115200 = i;
            at115200 += record[i].bytes;
        } else {
            EXPECT_EQ(record[i].baud, 9600) << i;
            EXPECT_LT(first115200, 0) << "a 9600-baud trial after the reopen at " << i;
            at9600 += record[i].bytes;
        }
    }
    ASSERT_GT(first115200, 0);
    // The colour analyser's handshake was among the trials.
    EXPECT_TRUE(at9600.contains("COM,1\n")) << at9600.toHex().constData();
    EXPECT_TRUE(at115200.startsWith("COM,0\rCOM,1\rZRC,1,")) << at115200.constData();
    EXPECT_FALSE(model.lastZeroCalibrationDate().isEmpty());
}

TEST_P(JingceEndToEnd, MeasuresInBothDisplayModesOnAWorker) {
    SimReading reading;
    reading.Lv = 64.5;
    reading.x = 0.3;
    reading.y = 0.31;
    reading.Tcp = 7200;
    model.setReading(reading);
    connect();

    ASSERT_EQ(measure(false), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    SChromameterMeasureData data = {0, 0, 0, 0};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 64.5f);
    EXPECT_FLOAT_EQ(data.x, 3000.0f / 10000.0f);
    EXPECT_FLOAT_EQ(data.y, 3100.0f / 10000.0f);
    EXPECT_EQ(data.Tcp, 0.0f);

    ASSERT_EQ(measure(true), QStringLiteral("finished"));
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(model.displayMode(), 1);
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Tcp, 7200.0f);
    EXPECT_FLOAT_EQ(data.Lv, 64.5f);

    // The seven-value read is not this instrument's, and the facade folds the refusal into failure.
    double v = 0;
    EXPECT_EQ(facade->ReadMeasureData(v, v, v, v, v, v, v), RESULT_FAIL);
    EXPECT_EQ(facade->ReadLastestData(), -1.0);
}

TEST_P(JingceEndToEnd, ZeroCalibratesInTheBackground) {
    connect();
    model.setZeroCalibrationDelayMs(200);
    // The facade offers no zero calibration of its own; the detected driver does.
    EXPECT_EQ(static_cast<CMinolta*>(facade.get())->ZeroCalibrate(), RESULT_NOT_AVAILABLE);
    auto* driver = dynamic_cast<CChromameterWuHanJingCe*>(CChromameterDetector::GetInstance()->m_pMinolta);
    ASSERT_NE(driver, nullptr);
    ++zeroCalibrationsAsked;
    EXPECT_EQ(driver->ZeroCalibrate(), RESULT_OK);
    EXPECT_EQ(watcher.count("zerocalibrated"), 0);
    ASSERT_TRUE(waitUntil([&] { return watcher.count("zerocalibrated") == 1; }, 5000));
    EXPECT_EQ(watcher.events().back().code, RESULT_OK);
    EXPECT_NE(watcher.events().back().thread, std::this_thread::get_id());
    EXPECT_EQ(model.plainZeroCalibrationCount(), 1);
}

TEST_P(JingceEndToEnd, InstrumentAskingForZeroCalibrationGetsItInTheBackground) {
    connect();
    model.queueMeasureReply("OK02");
    ++zeroCalibrationsAsked;
    EXPECT_EQ(facade->Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil(
        [&] { return watcher.count("finished") == 1 && watcher.count("zerocalibrated") == 1; }, 10000));
    EXPECT_EQ(model.plainZeroCalibrationCount(), 1);
    SChromameterMeasureData data = {1, 1, 1, 1};
    ASSERT_EQ(facade->ReadLvXy(data), RESULT_OK);
    EXPECT_EQ(data.Lv, 0.0f);
}

TEST_P(JingceEndToEnd, DisconnectSignsOffAndTellsTheWatcher) {
    connect();
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(watcher.count("disconnected"), 1);
    EXPECT_FALSE(detectorPort().IsOpen());
}
