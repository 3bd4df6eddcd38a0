// The detector: port scan, driver trials, writes through doWrite, the exported helpers.
#include "ChromameterCommand.h"
#include "ChromameterDetector.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DetectorPort.h"
#include "LuminanceMeter.h"
#include "PhotoResearch.h"
#include "ScriptedInstrument.h"
#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>

namespace {

const QString kOpened = QString::fromUtf8("串口打开成功!");
const QString kOpenFailed = QString::fromUtf8("打开失败!");

std::unique_ptr<ScriptedInstrument> startInstrument() {
    auto sim = std::make_unique<ScriptedInstrument>();
    EXPECT_TRUE(sim->start());
    return sim;
}

// Answers as a colour analyser does: the spectroradiometer's probe is refused at once, the
// communication and zero-calibration commands are accepted.
void answerAsAnalyser(ScriptedInstrument& sim) {
    sim.on("STR,4\r", "ER10\r\n");
    sim.on("COM,1\n", "OK00\r\n");
    sim.on("ZRC,1,", "OK00\r\n");
}

// A link named `name` in a folder of `dir`, pointing at the simulator's device.
QString linkTo(const QTemporaryDir& dir, const ScriptedInstrument& sim, const QString& name) {
    QDir(dir.path()).mkpath(QStringLiteral("dev"));
    const QString link = dir.path() + QStringLiteral("/dev/") + name;
    EXPECT_TRUE(QFile::link(sim.portPath(), link)) << link.toStdString();
    return link;
}

int opensTried(const MessageCapture& log) {
    return log.count(kOpened) + log.count(kOpenFailed);
}

} // namespace

TEST(Detector, OnlyBluetoothPortsYieldMinusOneWithoutOpeningAnyPort) {
    auto byEnglish = startInstrument();
    auto byChinese = startInstrument();
    auto byName = startInstrument();
    auto byUpperCase = startInstrument();
    for (ScriptedInstrument* sim : {byEnglish.get(), byChinese.get(), byName.get(), byUpperCase.get()})
        answerAsAnalyser(*sim);
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString bluetoothName = linkTo(dir, *byName, QStringLiteral("cu.usbserial-Bluetooth-Modem"));
    CatalogueScope scope(
        {byEnglish->portPath(), byChinese->portPath(), bluetoothName, byUpperCase->portPath()},
        {QStringLiteral("Bluetooth-Incoming-Port"), QString::fromUtf8("蓝牙串口"),
         QStringLiteral("USB-Serial Controller"), QStringLiteral("BLUETOOTH SERIAL")});
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), -1);
    EXPECT_EQ(opensTried(log), 0);
    EXPECT_FALSE(detector->m_port.IsOpen());
    EXPECT_EQ(detector->m_pMinolta, nullptr);
    pumpEvents(100);
    for (ScriptedInstrument* sim : {byEnglish.get(), byChinese.get(), byName.get(), byUpperCase.get()})
        EXPECT_TRUE(sim->received().isEmpty());
}

TEST(Detector, PortWithoutUsbSerialNameIsNeverTried) {
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString ttyUsb = linkTo(dir, *sim, QStringLiteral("ttyUSB0"));
    CatalogueScope scope({ttyUsb, QStringLiteral("ttyS0")});
    MessageCapture log;
    EXPECT_EQ(CChromameterDetector::GetInstance()->FindProlificComNumber(), -1);
    EXPECT_EQ(opensTried(log), 0);
    pumpEvents(100);
    EXPECT_TRUE(sim->received().isEmpty());
}

TEST(Detector, BareUsbSerialNameIsTriedUnderDev) {
    // "cu.usbserial-TEST-ABSENT" becomes "/dev/cu.usbserial-TEST-ABSENT", which does not exist here:
    // one open is tried and fails, and the scan ends without an instrument.
    ASSERT_FALSE(QFile::exists(QStringLiteral("/dev/cu.usbserial-TEST-ABSENT")));
    {
        CatalogueScope scope({QStringLiteral("cu.usbserial-TEST-ABSENT")});
        MessageCapture log;
        CChromameterDetector* detector = CChromameterDetector::GetInstance();
        EXPECT_EQ(detector->FindProlificComNumber(), -1);
        EXPECT_EQ(log.count(kOpenFailed), 1);
        EXPECT_EQ(log.count(kOpened), 0);
        EXPECT_EQ(detector->m_nInstrumentType, -1);
    }
    // The serial port would put a bare name under /dev/ by itself, so the scan above cannot tell who
    // did. A name outside /dev/ that the serial port would open where it points shows that the scan
    // prefixes it itself: an answering analyser there is never reached.
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_FALSE(dir.path().contains(QStringLiteral("/dev/")));
    const QString outside = dir.path() + QStringLiteral("/cu.usbserial-OUTSIDE");
    ASSERT_TRUE(QFile::link(sim->portPath(), outside));
    ASSERT_TRUE(outside.startsWith(QLatin1Char('/')));
    CatalogueScope scope({outside});
    MessageCapture log;
    EXPECT_EQ(CChromameterDetector::GetInstance()->FindProlificComNumber(), -1);
    EXPECT_EQ(log.count(kOpenFailed), 1);
    EXPECT_EQ(log.count(kOpened), 0);
    pumpEvents(100);
    EXPECT_TRUE(sim->received().isEmpty());
}

TEST(Detector, InputLeftUnreadOnTheLastPortIsNoAnswerToTheNextDetection) {
    // The last conversation on another device left "ER00" unread: the spectroradiometer's refusal of
    // "STR,4". Taken for the next port's answer, it would make detection ask that port for remote mode.
    auto previous = startInstrument();
    previous->on("PING\n", "ER00\r\n");
    ASSERT_TRUE(openDetectorPort(previous->portPath()));
    {
        MessageCapture log;
        ASSERT_EQ(detectorPort().Write("PING\n", 5), 5u);
        ASSERT_TRUE(waitUntil([&] { return log.contains(QStringLiteral("ready ER00")); }, 3000));
    }
    auto analyser = startInstrument();
    answerAsAnalyser(*analyser);
    CatalogueScope scope({analyser->portPath()});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    EXPECT_EQ(analyser->countReceived("STR,4\r"), 1);
    EXPECT_EQ(analyser->countReceived("RMTS,1"), 0);
}

TEST(Detector, NameHoldingDevIsOpenedAsIsAndAnsweringAnalyserIsKept) {
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    CatalogueScope scope({sim->portPath()});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    EXPECT_NE(dynamic_cast<CChromameterMinoltaCas40*>(detector->m_pMinolta), nullptr);
    EXPECT_TRUE(detector->m_port.IsOpen());
    EXPECT_EQ(sim->countReceived("COM,1\n"), 1);
    EXPECT_EQ(sim->lineBaud(), 9600);
}

TEST(Detector, FirstOfTwoAnsweringPortsWins) {
    auto first = startInstrument();
    auto second = startInstrument();
    answerAsAnalyser(*first);
    answerAsAnalyser(*second);
    CatalogueScope scope({first->portPath(), second->portPath()});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    EXPECT_EQ(first->countReceived("COM,1\n"), 1);
    pumpEvents(100);
    EXPECT_TRUE(second->received().isEmpty());
}

TEST(Detector, FirstPortFailingLetsTheScanGoOnToTheNext) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    CatalogueScope scope({dir.path() + QStringLiteral("/dev/cu.usbserial-GONE"), sim->portPath()});
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(log.count(kOpenFailed), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
}

TEST(Detector, DetectByNumberWithoutPortReturnsFalseAndDoesNotScan) {
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    CatalogueScope scope({sim->portPath()});
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_FALSE(detector->DetectByNumber(nullptr));
    EXPECT_EQ(opensTried(log), 0);
    pumpEvents(100);
    EXPECT_TRUE(sim->received().isEmpty());
    EXPECT_EQ(detector->m_pMinolta, nullptr);
}

TEST(Detector, DetectByNumberStoresTheScanResult) {
    auto sim = startInstrument();
    answerAsAnalyser(*sim);
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    {
        CatalogueScope scope({sim->portPath()});
        int port = -7;
        EXPECT_TRUE(detector->DetectByNumber(&port));
        EXPECT_EQ(port, 1);
    }
    {
        CatalogueScope none({});
        int port = -7;
        EXPECT_FALSE(detector->DetectByNumber(&port));
        EXPECT_EQ(port, -1);
    }
}

TEST(Detector, WriteReturnsTheRequestedCountOnClosedPort) {
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    ASSERT_FALSE(detector->m_port.IsOpen());
    EXPECT_EQ(detector->Write("COM,1\n", 6), 6u);
    EXPECT_EQ(detector->Write("", 0), 0u);
}

TEST(Detector, WriteOnThePortsThreadIsDeliveredAtOnce) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    EXPECT_EQ(CChromameterDetector::GetInstance()->Write("COM,1\n", 6), 6u);
    // No event loop runs here: the write already happened inside the call.
    for (int i = 0; i < 200 && sim->received().isEmpty(); ++i)
        QThread::msleep(5);
    EXPECT_EQ(sim->received(), QByteArray("COM,1\n"));
}

TEST(Detector, WriteFromWorkerThreadIsQueuedAndCarriesACopy) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    unsigned result = 0;
    std::thread worker([&] {
        char* bytes = new char[8];
        std::memcpy(bytes, "MES,1\n", 6);
        result = detector->Write(bytes, 6);
        // The sender's buffer is gone before the port's thread gets to the write.
        std::memset(bytes, 'X', 8);
        delete[] bytes;
    });
    worker.join();
    EXPECT_EQ(result, 6u);
    // Queued: nothing leaves until the port's thread runs its event loop.
    QThread::msleep(100);
    EXPECT_TRUE(sim->received().isEmpty());
    EXPECT_TRUE(waitUntil([&] { return sim->received().size() >= 6; }, 2000));
    pumpEvents(50);
    EXPECT_EQ(sim->received(), QByteArray("MES,1\n"));
}

TEST(Detector, QueuedWritesKeepTheirOrder) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    std::thread worker([&] {
        // One byte at a time from a short-lived string, as the Photo Research driver sends.
        const char* text = "PHOTO";
        for (const char* p = text; *p; ++p) {
            const char one[2] = {*p, '\0'};
            detector->Write(one, 1);
        }
    });
    worker.join();
    EXPECT_TRUE(waitUntil([&] { return sim->received().size() >= 5; }, 2000));
    EXPECT_EQ(sim->received(), QByteArray("PHOTO"));
}

TEST(Detector, NothingAnsweringTriesAt9600ThenReopensAt115200AndFails) {
    auto sim = startInstrument();
    CatalogueScope scope({sim->portPath()});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(detector->TryConnect(sim->portPath()));
    const qint64 elapsed = timer.elapsed();
    EXPECT_EQ(detector->m_nInstrumentType, -1);
    EXPECT_FALSE(detector->m_port.IsOpen());
    // The last driver tried stays held.
    EXPECT_NE(dynamic_cast<CChromameterWuHanJingCe*>(detector->m_pMinolta), nullptr);

    const QList<ReceivedChunk> record = sim->record();
    ASSERT_FALSE(record.isEmpty());
    int firstFast = -1;
    for (int i = 0; i < record.size(); ++i)
        if (record[i].baud == 115200) {
            firstFast = i;
            break;
        }
    ASSERT_GT(firstFast, 0) << "nothing was sent at 9600 before the reopen";
    for (int i = 0; i < firstFast; ++i)
        EXPECT_EQ(record[i].baud, 9600) << i;
    for (int i = firstFast; i < record.size(); ++i)
        EXPECT_EQ(record[i].baud, 115200) << i;
    // The four 9600 trials spoke first: the analyser's communication command among them.
    QByteArray slow;
    for (int i = 0; i < firstFast; ++i)
        slow += record[i].bytes;
    EXPECT_TRUE(slow.contains("COM,1\n"));
    RecordProperty("elapsed_ms", int(elapsed));
}

TEST(Detector, NothingAnsweringMakesTheWholeScanFail) {
    auto sim = startInstrument();
    CatalogueScope scope({sim->portPath()});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    int port = 0;
    EXPECT_FALSE(detector->DetectByNumber(&port));
    EXPECT_EQ(port, -1);
    EXPECT_EQ(detector->m_nInstrumentType, -1);
    // The port was closed after the last trial, which ran at 115200.
    const QList<ReceivedChunk> record = sim->record();
    ASSERT_FALSE(record.isEmpty());
    EXPECT_EQ(record.last().baud, 115200);
    EXPECT_FALSE(detector->m_port.IsOpen());
}

TEST(Detector, FailedReopenAt115200LeavesTheTypeThreeDriverHeld) {
    // The adapter is pulled while the Photo Research driver (the last at 9600) is being tried, so the
    // reopen at 115200 cannot find the device.
    auto sim = startInstrument();
    sim->on("STR,4\r", "ER10\r\n");
    sim->on("COM,1\n", "ER10\r\n");
    sim->on("ZRC,1,", "ER10\r\n");
    sim->unplugOn("PHOTO");
    const QString path = sim->portPath();
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_FALSE(detector->TryConnect(path));
    EXPECT_FALSE(sim->isPlugged());
    EXPECT_EQ(detector->m_nInstrumentType, -1);
    EXPECT_NE(dynamic_cast<CPhotoResearch*>(detector->m_pMinolta), nullptr);
    EXPECT_FALSE(detector->m_port.IsOpen());
    // Opened once at 9600; the reopen failed.
    EXPECT_EQ(log.count(kOpened), 1);
    EXPECT_EQ(log.count(kOpenFailed), 1);
    EXPECT_EQ(sim->countReceived("COM,1\r"), 0);
}

TEST(Detector, FailedOpenKeepsThePreviousDriver) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    IMinolta* previous = new CLuminanceMeter(detectorLine());
    detector->m_pMinolta = previous;
    detector->m_nInstrumentType = 2;
    EXPECT_FALSE(detector->TryConnect(dir.path() + QStringLiteral("/dev/cu.usbserial-GONE")));
    EXPECT_EQ(detector->m_pMinolta, previous);
    EXPECT_EQ(detector->m_nInstrumentType, -1);
}

TEST(Detector, ReleaseMinoltaDeletesTheDriverAndKeepsTheType) {
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    detector->ReleaseMinolta();
    EXPECT_EQ(detector->m_pMinolta, nullptr);
    detector->m_pMinolta = new CPhotoResearch(detectorLine());
    detector->m_nInstrumentType = 3;
    detector->ReleaseMinolta();
    EXPECT_EQ(detector->m_pMinolta, nullptr);
    EXPECT_EQ(detector->m_nInstrumentType, 3);
    detector->ReleaseMinolta();
    EXPECT_EQ(detector->m_pMinolta, nullptr);
}

TEST(Detector, ReleaseBufFreesAReplyBufferAndForgetsIt) {
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    char* reply = nullptr;
    int length = -1;
    CChromameterCommand(detectorLine()).Read(&reply, length, 0, 0);
    ASSERT_NE(reply, nullptr);
    detector->ReleaseBuf(&reply);
    EXPECT_EQ(reply, nullptr);
    // A second release of the same pointer does nothing.
    detector->ReleaseBuf(&reply);
    EXPECT_EQ(reply, nullptr);
}

TEST(Detector, SingletonIsCreatedOnceAndKeepsNoDriverAtFirst) {
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(CChromameterDetector::GetInstance(), detector);
    EXPECT_EQ(CChromameterDetector::m_pInstance, detector);
    EXPECT_EQ(detector->m_nInstrumentType, -1);
    EXPECT_EQ(detector->m_pMinolta, nullptr);
    EXPECT_FALSE(detector->m_port.IsOpen());
    EXPECT_EQ(QMetaType::type("DWORD"), QMetaType::UInt);
}
