// A device that never stops sending (a GPS receiver or a data logger on a USB-serial port, 9600 baud,
// no pause): one reply read ends a bounded time after its first byte, so detection gives up on such a
// port and goes on to the next, and a measurement whose line starts streaming fails.
#include "ChromameterCommand.h"
#include "ChromameterDetector.h"
#include "ChromameterMinoltaApi.h"
#include "DetectorPort.h"
#include "HangWatchdog.h"
#include "IMinolta.h"
#include "InstrumentModel.h"
#include "MeasurementOutcome.h"
#include "ScriptedInstrument.h"
#include "SimFamilies.h"
#include "TestSupport.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <memory>

namespace {

// A read goes on taking input for this long after its reply buffer is full, and never longer than the
// other bound after its first byte; one port read (four 20 ms slices) comes on top of either.
const qint64 kDrainAfterFullMs = 1000;
const qint64 kLongestReplyMs = 10000;
const qint64 kPortReadMs = 80;
// A stream at 9600 baud fills the 1023-byte buffer in about 1.07 s.
const qint64 kFillAt9600Ms = 1070;
const QString kEndedLine = QStringLiteral("input did not stop: reply ended after ");

std::unique_ptr<ScriptedInstrument> startStreamingDevice() {
    auto device = std::make_unique<ScriptedInstrument>();
    // On the cable a desk most often has: the stream reaches the port in 62-byte USB packets.
    device->setLine(LineModel::realistic());
    EXPECT_TRUE(device->start());
    device->streamNow();
    return device;
}

// A colour analyser as detection and a measurement meet it, that starts streaming when asked for the
// display mode, the measurement's first command.
std::unique_ptr<ScriptedInstrument> startAnalyserThatStreamsWhenMeasuring() {
    auto sim = std::make_unique<ScriptedInstrument>();
    sim->setLine(LineModel::realistic());
    EXPECT_TRUE(sim->start());
    sim->on("STR,4\r", "ER10\r\n");
    sim->on("COM,1\n", "OK00\r\n");
    sim->on("ZRC,1,", "OK00\r\n");
    sim->streamOn("MDS,0\n");
    return sim;
}

std::unique_ptr<IMinolta> createFacade(RecordingWatcher& watcher) {
    IMinolta* created = nullptr;
    EXPECT_EQ(CreateChromameterMinolta(&created), RESULT_OK);
    if (created)
        created->RegisterWatcher(&watcher);
    return std::unique_ptr<IMinolta>(created);
}

// One reply read on the detector's port with three tries of 100 ms, timed; the reply is freed with it.
struct TimedRead {
    bool ok = false;
    char* reply = nullptr;
    int length = -1;
    qint64 ms = -1;

    TimedRead() {
        QElapsedTimer clock;
        clock.start();
        ok = CChromameterCommand(detectorLine()).Read(&reply, length, 3, 100);
        ms = clock.elapsed();
    }
    ~TimedRead() { delete[] reply; }
    TimedRead(const TimedRead&) = delete;
    TimedRead& operator=(const TimedRead&) = delete;
};

// Detection through a new facade pointed at `ports`, under a watchdog named `what`: its result and how
// long it took (printed), with the facade and its watcher for the checks after it.
struct TimedDetection {
    RecordingWatcher watcher;
    std::unique_ptr<IMinolta> facade;
    unsigned long result = RESULT_FAIL;
    qint64 ms = -1;

    TimedDetection(const QStringList& ports, const char* what) : facade(createFacade(watcher)) {
        if (!facade)
            return;
        CatalogueScope scope(ports);
        HangWatchdog watchdog(90, what);
        QElapsedTimer clock;
        clock.start();
        result = facade->Connect();
        ms = clock.elapsed();
        std::printf("%s: %s after %lld ms\n", what, result == RESULT_OK ? "found" : "failed",
                    static_cast<long long>(ms));
    }
    ~TimedDetection() {
        if (facade)
            facade->UnregisterWatcher(&watcher);
    }
};

} // namespace

TEST(StreamingDevice, OneReadEndsOneSecondAfterItsBufferFilled) {
    auto device = startStreamingDevice();
    ASSERT_TRUE(openDetectorPort(device->portPath()));
    MessageCapture log;
    HangWatchdog watchdog(60, "a read on a streaming line");
    const TimedRead read;
    EXPECT_TRUE(read.ok);
    std::printf("one read on a streaming line ended after %lld ms\n", static_cast<long long>(read.ms));
    EXPECT_GE(read.ms, kDrainAfterFullMs);
    EXPECT_LE(read.ms, kFillAt9600Ms + kDrainAfterFullMs + 2 * kPortReadMs + 1000);
    // The buffer is full of the stream's bytes, its last byte still NUL.
    EXPECT_EQ(read.length, CHROMAMETER_REPLY_SIZE - 1);
    ASSERT_NE(read.reply, nullptr);
    EXPECT_EQ(read.reply[CHROMAMETER_REPLY_SIZE - 1], '\0');
    EXPECT_TRUE(QByteArray(read.reply).contains("$GP"));
    EXPECT_EQ(log.count(kEndedLine), 1) << log.lines().join('\n').toStdString();
}

TEST(StreamingDevice, SlowTrickleThatNeverPausesEndsTheReadTenSecondsAfterItsFirstByte) {
    // A byte every 30 ms: never a pause that ends a reply, and too slow to fill the buffer in time.
    auto device = std::make_unique<ScriptedInstrument>();
    ASSERT_TRUE(device->start());
    ASSERT_TRUE(openDetectorPort(device->portPath()));
    MessageCapture log;
    HangWatchdog watchdog(60, "a read on a trickling line");
    device->streamNow(1, 30);
    const TimedRead read;
    EXPECT_TRUE(read.ok);
    std::printf("one read on a trickling line ended after %lld ms with %d bytes\n",
                static_cast<long long>(read.ms), read.length);
    EXPECT_GE(read.ms, kLongestReplyMs);
    EXPECT_LE(read.ms, kLongestReplyMs + 100 + 2 * kPortReadMs + 1000);
    EXPECT_GT(read.length, 100);
    EXPECT_LT(read.length, CHROMAMETER_REPLY_SIZE - 1);
    EXPECT_EQ(log.count(kEndedLine), 1) << log.lines().join('\n').toStdString();
}

TEST(StreamingDevice, DetectionOnAStreamingPortAloneFailsInBoundedTime) {
    auto device = startStreamingDevice();
    const TimedDetection detection({device->portPath()}, "detection on a streaming port");
    ASSERT_TRUE(detection.facade);
    EXPECT_EQ(detection.result, RESULT_FAIL);
    EXPECT_LT(detection.ms, 30000);
    EXPECT_FALSE(detection.facade->IsConnected());
    EXPECT_EQ(detection.watcher.count("connected"), 0);
    // Every family was asked, the Jingce colorimeter at its own speed last.
    EXPECT_EQ(device->countReceived("STR,4\r"), 1);
    EXPECT_EQ(device->countReceived("PHOTO"), 1);
    EXPECT_EQ(device->countReceived("COM,0\r"), 1);
}

TEST(StreamingDevice, InstrumentOnTheNextPortIsFoundAfterTheStreamingPortFails) {
    auto device = startStreamingDevice();
    std::unique_ptr<InstrumentModel> analyser = CreateFamilyModel(QStringLiteral("analyser"));
    ASSERT_TRUE(analyser);
    analyser->setLine(LineModel::realistic());
    ASSERT_TRUE(analyser->start());
    TimedDetection detection({device->portPath(), analyser->portPath()}, "detection past a streaming port");
    ASSERT_TRUE(detection.facade);
    EXPECT_EQ(detection.result, RESULT_OK);
    EXPECT_LT(detection.ms, 35000);
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, SimFamilyType("analyser"));
    // The streaming port was tried first and given up.
    EXPECT_EQ(device->countReceived("STR,4\r"), 1);
    ASSERT_NO_FATAL_FAILURE(expectDefaultReadingMeasured(*detection.facade, detection.watcher));
}

TEST(StreamingDevice, MeasurementWhoseLineStartsStreamingFailsInBoundedTime) {
    auto sim = startAnalyserThatStreamsWhenMeasuring();
    CatalogueScope scope({sim->portPath()});
    RecordingWatcher watcher;
    auto facade = createFacade(watcher);
    ASSERT_TRUE(facade);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    ASSERT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, SimFamilyType("analyser"));
    watcher.clear();

    HangWatchdog watchdog(60, "a measurement on a line that streams");
    const MeasurementOutcome outcome = MeasurementOutcome::measure(*facade, false, watcher, 30000);
    ASSERT_TRUE(outcome.heard());
    const qint64 elapsed = outcome.ms;
    std::printf("measurement on a streaming line failed after %lld ms\n", static_cast<long long>(elapsed));
    EXPECT_TRUE(sim->streaming());
    ASSERT_EQ(watcher.count("failed"), 1);
    EXPECT_EQ(watcher.events().back().code, RESULT_FAIL);
    // One reply read of the streaming line, then the verdict; the measure command never went out.
    EXPECT_LE(elapsed, kFillAt9600Ms + kDrainAfterFullMs + 2 * kPortReadMs + 1500);
    EXPECT_EQ(sim->countReceived("MES,1\n"), 0);
    pumpEvents(100);
    facade->UnregisterWatcher(&watcher);
}
