// The command channel: sends through the detector's doWrite, reads from the detector's port.
#include "ChromameterCommand.h"
#include "ChromameterDetector.h"
#include "DetectorPort.h"
#include "ScriptedInstrument.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QMetaObject>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

namespace {

std::unique_ptr<ScriptedInstrument> startInstrument() {
    auto sim = std::make_unique<ScriptedInstrument>();
    EXPECT_TRUE(sim->start());
    return sim;
}

bool allZero(const char* buf, int size) {
    for (int i = 0; i < size; ++i)
        if (buf[i] != '\0')
            return false;
    return true;
}

} // namespace

TEST(CommandChannel, NoTriesWithSilentInstrumentReadsOnceSleepsOnceAndFails) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    char* reply = nullptr;
    int length = -1;
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(CChromameterCommand(detectorLine()).Read(&reply, length, 0, 100));
    const qint64 elapsed = timer.elapsed();
    // One port read (80 ms) and one sleep of 100 ms; a second pass would take 360 ms.
    EXPECT_GE(elapsed, 175);
    EXPECT_LT(elapsed, 340);
    EXPECT_EQ(length, 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(allZero(reply, CHROMAMETER_REPLY_SIZE));
    delete[] reply;
}

TEST(CommandChannel, NoTriesOnClosedPortMakesExactlyOnePortRead) {
    // A merely closed port still counts as connected, and each port read on it says "no isOpen".
    MessageCapture log;
    char* reply = nullptr;
    int length = -1;
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(CChromameterCommand(detectorLine()).Read(&reply, length, 0, 50));
    EXPECT_GE(timer.elapsed(), 45);
    EXPECT_EQ(log.count(QStringLiteral("no isOpen")), 1);
    EXPECT_EQ(length, 0);
    delete[] reply;
}

TEST(CommandChannel, EachTryIsOnePortReadAndOneSleep) {
    MessageCapture log;
    char* reply = nullptr;
    int length = -1;
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(CChromameterCommand(detectorLine()).Read(&reply, length, 3, 30));
    EXPECT_GE(timer.elapsed(), 85);
    EXPECT_EQ(log.count(QStringLiteral("no isOpen")), 3);
    delete[] reply;
}

TEST(CommandChannel, ReplyInSeveralChunksIsJoinedInOrder) {
    auto sim = startInstrument();
    // Each piece arrives while the previous one is being read, before a read comes back empty.
    sim->onPieces("MES,1\n", {ReplyPiece{0, "OK00,"}, ReplyPiece{45, "1,2,0.3127,"},
                              ReplyPiece{45, "0.3290,"}, ReplyPiece{45, "120.5\r\n"}});
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    MessageCapture log;
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Send("MES,1\n", 6));
    char* reply = nullptr;
    int length = -1;
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Read(&reply, length, 20, 20));
    const QByteArray expected("OK00,1,2,0.3127,0.3290,120.5\r\n");
    EXPECT_EQ(QByteArray(reply, length), expected);
    EXPECT_EQ(length, expected.size());
    EXPECT_EQ(reply[length], '\0');
    // It really came in pieces.
    EXPECT_GE(log.count(QString::fromUtf8("接收")), 2);
    delete[] reply;
}

TEST(CommandChannel, ReplyIsCompleteWhenOneReadComesBackEmpty) {
    auto sim = startInstrument();
    // The second piece comes after a port read (80 ms) has found nothing: it is not part of the reply.
    sim->onPieces("PING\n", {ReplyPiece{0, "FIRST\r\n"}, ReplyPiece{400, "LATE\r\n"}});
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Send("PING\n", 5));
    char* reply = nullptr;
    int length = -1;
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Read(&reply, length, 20, 20));
    EXPECT_EQ(QByteArray(reply, length), QByteArray("FIRST\r\n"));
    delete[] reply;
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Read(&reply, length, 20, 50));
    EXPECT_EQ(QByteArray(reply, length), QByteArray("LATE\r\n"));
    delete[] reply;
}

TEST(CommandChannel, SendGoesOutThroughTheDetector) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Send("COM,1\n", 6));
    EXPECT_TRUE(waitUntil([&] { return sim->received() == QByteArray("COM,1\n"); }, 2000))
        << sim->received().constData();
}

TEST(CommandChannel, SendReturnsTrueOnClosedPort) {
    ASSERT_FALSE(CChromameterDetector::GetInstance()->m_port.IsOpen());
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Send("COM,1\n", 6));
}

TEST(CommandChannel, LostAdapterClosesThePortAndFailsAtOnce) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    SerialPortCross& port = CChromameterDetector::GetInstance()->m_port;
    sim->unplug();
    char* reply = nullptr;
    int length = -1;
    QElapsedTimer timer;
    timer.start();
    // Fifty tries of 100 ms would be seven seconds of waiting.
    EXPECT_FALSE(CChromameterCommand(detectorLine()).Read(&reply, length, 50, 100));
    EXPECT_LT(timer.elapsed(), 1000);
    EXPECT_EQ(length, 0);
    EXPECT_FALSE(port.IsOpen());
    delete[] reply;
}

TEST(CommandChannel, LostAdapterSeenFromWorkerThreadClosesThePort) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    SerialPortCross& port = CChromameterDetector::GetInstance()->m_port;
    sim->unplug();
    std::atomic<bool> done{false};
    std::atomic<bool> result{true};
    std::atomic<qint64> elapsed{0};
    std::thread worker([&] {
        char* reply = nullptr;
        int length = -1;
        QElapsedTimer timer;
        timer.start();
        result = CChromameterCommand(detectorLine()).Read(&reply, length, 50, 100);
        elapsed = timer.elapsed();
        delete[] reply;
        done = true;
    });
    // The port's thread must run its event loop to see the loss and to perform the close.
    EXPECT_TRUE(waitUntil([&] { return done.load(); }, 8000));
    worker.join();
    EXPECT_FALSE(result);
    EXPECT_LT(elapsed, 1000);
    EXPECT_TRUE(waitUntil([&] { return !port.IsOpen(); }, 2000));
}

TEST(CommandChannel, ReplyBufferIsZeroFilledAndOwnedByTheCaller) {
    auto sim = startInstrument();
    sim->on("PING\n", "OK00\r\n");
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Send("PING\n", 5));
    char* reply = nullptr;
    int length = -1;
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Read(&reply, length, 20, 20));
    EXPECT_EQ(length, 6);
    EXPECT_STREQ(reply, "OK00\r\n");
    EXPECT_TRUE(allZero(reply + length, CHROMAMETER_REPLY_SIZE - length));
    CChromameterDetector::GetInstance()->ReleaseBuf(&reply);
    EXPECT_EQ(reply, nullptr);
}

TEST(CommandChannel, CommandSentFromWorkerLeavesBeforeTheWorkersFirstRead) {
    auto sim = startInstrument();
    sim->on("PING\n", "OK00\r\n");
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    std::atomic<bool> done{false};
    std::atomic<bool> sent{false};
    std::atomic<bool> answered{false};
    QByteArray reply;
    std::thread worker([&] {
        sent = CChromameterCommand(detectorLine()).Send("PING\n", 5);
        // One port read and no second chance: it finds the answer only if the command was already
        // out when it took the port's lock.
        char* buf = nullptr;
        int length = -1;
        answered = CChromameterCommand(detectorLine()).Read(&buf, length, 1, 0);
        reply = QByteArray(buf, length > 0 ? length : 0);
        delete[] buf;
        done = true;
    });
    EXPECT_TRUE(waitUntil([&] { return done.load(); }, 5000));
    worker.join();
    EXPECT_TRUE(sent);
    EXPECT_TRUE(answered);
    EXPECT_EQ(reply, QByteArray("OK00\r\n"));
    EXPECT_EQ(sim->received(), QByteArray("PING\n"));
}

TEST(CommandChannel, CommandSentFromWorkerHasLeftWhenSendReturns) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    std::atomic<bool> returned{false};
    std::atomic<bool> sent{false};
    std::thread worker([&] {
        sent = CChromameterCommand(detectorLine()).Send("MES,1\n", 6);
        returned = true;
    });
    // The port's thread runs its event loop only until Send has returned, and never again below.
    EXPECT_TRUE(waitUntil([&] { return returned.load(); }, 5000));
    worker.join();
    EXPECT_TRUE(sent);
    for (int i = 0; i < 400 && sim->received().size() < 6; ++i)
        QThread::msleep(5);
    EXPECT_EQ(sim->received(), QByteArray("MES,1\n"));
}

TEST(CommandChannel, SendFromWorkerWhilePortsThreadIsBlockedReturnsAndTheCommandLeavesLater) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    bool sent = false;
    qint64 elapsed = -1;
    // The port's thread is blocked in join() and runs no event loop while the worker sends.
    std::thread worker([&] {
        char* bytes = new char[8];
        std::memcpy(bytes, "MES,1\n", 6);
        QElapsedTimer timer;
        timer.start();
        sent = CChromameterCommand(detectorLine()).Send(bytes, 6);
        elapsed = timer.elapsed();
        // The sender's buffer is gone long before the port's thread gets to the write.
        std::memset(bytes, 'X', 8);
        delete[] bytes;
    });
    worker.join();
    EXPECT_TRUE(sent);
    // Bounded by the write's drain limit of 100 ms; generous for a loaded machine.
    EXPECT_LT(elapsed, 2000);
    QThread::msleep(50);
    EXPECT_TRUE(sim->received().isEmpty());
    // Not lost: it leaves as soon as the port's thread runs again.
    EXPECT_TRUE(waitUntil([&] { return sim->received().size() >= 6; }, 2000));
    pumpEvents(50);
    EXPECT_EQ(sim->received(), QByteArray("MES,1\n"));
}

TEST(CommandChannel, SendsFromWorkerWhilePortsThreadIsBlockedLeaveInOrder) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    std::atomic<int> sentCount{0};
    std::thread worker([&] {
        // One byte at a time from a short-lived string, as the Photo Research driver sends.
        for (const char* p = "PHOTO"; *p; ++p) {
            const char one[2] = {*p, '\0'};
            if (CChromameterCommand(detectorLine()).Send(one, 1))
                ++sentCount;
        }
    });
    worker.join();
    EXPECT_EQ(sentCount.load(), 5);
    EXPECT_TRUE(sim->received().isEmpty());
    EXPECT_TRUE(waitUntil([&] { return sim->received().size() >= 5; }, 2000));
    pumpEvents(50);
    EXPECT_EQ(sim->received(), QByteArray("PHOTO"));
}

TEST(CommandChannel, SendOnThePortsThreadWritesWithinTheCallAndNeverWaitsForItsOwnQueue) {
    auto sim = startInstrument();
    ASSERT_TRUE(openDetectorPort(sim->portPath()));
    bool queuedRan = false;
    QMetaObject::invokeMethod(
        &CChromameterDetector::GetInstance()->m_port, [&queuedRan] { queuedRan = true; },
        Qt::QueuedConnection);
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Send("COM,1\n", 6));
    // Written inside the call: it neither ran this thread's queue nor waited for it.
    EXPECT_FALSE(queuedRan);
    for (int i = 0; i < 400 && sim->received().size() < 6; ++i)
        QThread::msleep(5);
    EXPECT_EQ(sim->received(), QByteArray("COM,1\n"));
    pumpEvents(20);
    EXPECT_TRUE(queuedRan);
}

TEST(CommandChannel, SendFromWorkerOnClosedPortStillReturnsTrue) {
    ASSERT_FALSE(CChromameterDetector::GetInstance()->m_port.IsOpen());
    std::atomic<bool> done{false};
    std::atomic<bool> sent{false};
    std::thread worker([&] {
        sent = CChromameterCommand(detectorLine()).Send("COM,1\n", 6);
        done = true;
    });
    EXPECT_TRUE(waitUntil([&] { return done.load(); }, 5000));
    worker.join();
    EXPECT_TRUE(sent);
}
