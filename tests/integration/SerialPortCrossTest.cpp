// The serial port wrapper over a real pseudo-terminal served by the scripted instrument.
#include "SerialPortCross.h"
#include "ChromameterCommand.h"
#include "ChromameterDetector.h"
#include "DetectorPort.h"
#include "ScriptedInstrument.h"
#include "SerialPortSightings.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <memory>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const QString kOpened = QString::fromUtf8("串口打开成功!");
const QString kOpenFailed = QString::fromUtf8("打开失败!");

std::unique_ptr<ScriptedInstrument> startInstrument() {
    auto sim = std::make_unique<ScriptedInstrument>();
    EXPECT_TRUE(sim->start());
    return sim;
}

bool openAt(SerialPortCross& port, const QString& path, QSerialPort::BaudRate baud = QSerialPort::Baud9600,
            QSerialPort::FlowControl flow = QSerialPort::NoFlowControl) {
    return port.Open(path, baud, QSerialPort::NoParity, QSerialPort::Data8, QSerialPort::OneStop, flow);
}

// A path in a folder that exists but holds no device: opening it fails with "device not found".
QString missingDevicePath(const QTemporaryDir& dir) {
    return dir.path() + QStringLiteral("/cu.usbserial-GONE");
}

// Runs whatever deferred deletion the port left on this thread (the QSerialPort goes at once on its
// own thread; a notifier closed earlier may still be queued) before the test ends.
void flushDeferredDeletes() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// Sends a trigger through the port (a direct write on this thread) so that the instrument answers.
void trigger(SerialPortCross& port, const char* command) {
    ASSERT_EQ(port.Write(command, unsigned(std::strlen(command))), unsigned(std::strlen(command)));
}

} // namespace

TEST(SerialPortCross, ReadOnClosedPortReturnsZeroAndLogsNoIsOpen) {
    MessageCapture log;
    {
        SerialPortCross port;
        char buf[16] = {};
        EXPECT_EQ(port.Read(buf, sizeof buf), 0u);
        EXPECT_EQ(log.count(QStringLiteral("no isOpen")), 1);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, WriteOnClosedPortReturnsZeroAndLogsNothing) {
    MessageCapture log;
    {
        SerialPortCross port;
        EXPECT_EQ(port.Write("ABC", 3), 0u);
        EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join('\n').toStdString();
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, SuccessfulOpenLogsSuccessAndAppliesLineSpeed) {
    auto sim = startInstrument();
    MessageCapture log;
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath(), QSerialPort::Baud9600));
        EXPECT_TRUE(port.IsOpen());
        EXPECT_EQ(log.count(kOpened), 1);
        EXPECT_EQ(log.count(kOpenFailed), 0);
        EXPECT_EQ(sim->lineBaud(), 9600);

        ASSERT_TRUE(openAt(port, sim->portPath(), QSerialPort::Baud115200));
        EXPECT_EQ(log.count(kOpened), 2);
        EXPECT_EQ(sim->lineBaud(), 115200);
        port.Close();
        EXPECT_FALSE(port.IsOpen());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, OpenAppliesTheLineSettings) {
    auto sim = startInstrument();
    // A hold of our own on the device, taken before the port claims it, to read its settings.
    const int fd = ::open(sim->portPath().toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(fd, 0);
    {
        SerialPortCross port;
        ASSERT_TRUE(port.Open(sim->portPath(), QSerialPort::Baud115200, QSerialPort::EvenParity,
                              QSerialPort::Data7, QSerialPort::TwoStop, QSerialPort::HardwareControl));
        termios tio;
        ASSERT_EQ(::tcgetattr(fd, &tio), 0);
        // A pseudo-terminal keeps eight data bits without parity whatever is asked (the Linux pty
        // driver forces them), so only the stop bits, flow control and speed show here.
        EXPECT_NE(tio.c_cflag & CSTOPB, 0u);
        EXPECT_NE(tio.c_cflag & CRTSCTS, 0u);
        EXPECT_EQ(sim->lineBaud(), 115200);

        ASSERT_TRUE(openAt(port, sim->portPath()));
        ASSERT_EQ(::tcgetattr(fd, &tio), 0);
        EXPECT_EQ(tio.c_cflag & CSIZE, tcflag_t(CS8));
        EXPECT_EQ(tio.c_cflag & PARENB, 0u);
        EXPECT_EQ(tio.c_cflag & CSTOPB, 0u);
        EXPECT_EQ(tio.c_cflag & CRTSCTS, 0u);
        EXPECT_EQ(tio.c_iflag & (IXON | IXOFF), 0u);
        EXPECT_EQ(sim->lineBaud(), 9600);
    }
    ::close(fd);
    flushDeferredDeletes();
}

TEST(SerialPortCross, FailedOpenLogsFailureAndLeavesPortClosedEvenIfItWasOpen) {
    auto sim = startInstrument();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    MessageCapture log;
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        ASSERT_TRUE(port.IsOpen());
        EXPECT_FALSE(openAt(port, missingDevicePath(dir)));
        EXPECT_FALSE(port.IsOpen());
        EXPECT_EQ(log.count(kOpenFailed), 1);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReadWithNothingReceivedReturnsZeroAfterFourSlices) {
    auto sim = startInstrument();
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        char buf[64] = {};
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(port.Read(buf, sizeof buf), 0u);
        const qint64 elapsed = timer.elapsed();
        EXPECT_GE(elapsed, 75);
        EXPECT_LT(elapsed, 300);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReadHandsOutTheWholeChunkEvenWhenLongerThanRequested) {
    auto sim = startInstrument();
    const QByteArray reply("OK00,1.234,5.678,9.012\r\n");
    sim->on("PING\n", reply);
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready ")) >= 1; }, 2000));
        std::vector<char> buf(1024, '\0');
        const unsigned n = port.Read(buf.data(), 4);
        ASSERT_EQ(n, unsigned(reply.size()));
        EXPECT_EQ(QByteArray(buf.data(), int(n)), reply);
        EXPECT_EQ(log.count(QString::fromUtf8("接收") + QString::fromLatin1(reply)), 1);
        // Handed out once: the buffer is empty afterwards.
        EXPECT_EQ(port.Read(buf.data(), 4), 0u);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReadFindingDataReturnsAfterOneSlice) {
    auto sim = startInstrument();
    sim->on("PING\n", "PONG\r\n");
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready PONG")) == 1; }, 2000));
        char buf[1024] = {};
        QElapsedTimer timer;
        timer.start();
        EXPECT_EQ(port.Read(buf, sizeof buf), 6u);
        const qint64 elapsed = timer.elapsed();
        // The flag is looked at only between 20 ms slices.
        EXPECT_GE(elapsed, 18);
        EXPECT_LT(elapsed, 75);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, TwoChunksBeforeReadYieldOnlyTheSecond) {
    auto sim = startInstrument();
    sim->onPieces("PING\n", {ReplyPiece{0, "FIRST\r\n"}, ReplyPiece{150, "SECOND\r\n"}});
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready SECOND")) == 1; }, 3000));
        EXPECT_EQ(log.count(QStringLiteral("ready FIRST")), 1);
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("SECOND\r\n"));
        EXPECT_EQ(port.Read(buf, sizeof buf), 0u);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ChunkJustPastThePauseStillReplacesWhatWasUnread) {
    auto sim = startInstrument();
    sim->onPieces("PING\n", {ReplyPiece{0, "STALE\r\n"}, ReplyPiece{90, "FRESH\r\n"}});
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready FRESH")) == 1; }, 3000));
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("FRESH\r\n"));
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReplyInSingleBytesOneMillisecondApartIsReceivedWhole) {
    auto sim = startInstrument();
    const QByteArray reply("OK00,12.34,0.3127,0.3290\r\n");
    QList<ReplyPiece> pieces;
    for (int i = 0; i < reply.size(); ++i)
        pieces.append(ReplyPiece{i == 0 ? 0 : 1, reply.mid(i, 1)});
    sim->onPieces("PING\n", pieces);
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return sim->bytesSent() == reply.size(); }, 3000));
        pumpEvents(10);
        // Each piece was logged as it came, and they were more than one.
        EXPECT_GT(log.count(QStringLiteral("ready ")), 1);
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), reply);
        EXPECT_EQ(log.count(QString::fromUtf8("接收") + QString::fromLatin1(reply)), 1);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReplyInTwoPacketsSixteenMillisecondsApartWithinOneSliceIsReceivedWhole) {
    auto sim = startInstrument();
    sim->onPieces("PING\n", {ReplyPiece{0, "OK00,12.34,"}, ReplyPiece{16, "0.3127,0.3290\r\n"}});
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready OK00,12.34,")) == 1; }, 3000));
        // The read starts right after the first packet; the second one comes within its first slice.
        char buf[1024] = {};
        unsigned n = port.Read(buf, sizeof buf);
        // Under heavy load the second packet may miss that slice: it is then the next read's.
        if (n == 11u && log.count(QStringLiteral("ready 0.3127")) == 0)
            n += port.Read(buf + n, sizeof buf - n);
        EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("OK00,12.34,0.3127,0.3290\r\n"));
        EXPECT_EQ(log.count(QStringLiteral("ready 0.3127,0.3290\r\n")), 1);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReplyInPacketsIsJoinedByTheCommandChannel) {
    auto sim = startInstrument();
    const QByteArray reply("OK00,12.34,0.3127,0.3290\r\n");
    sim->onPieces("PING\n", {ReplyPiece{5, reply.left(3)}, ReplyPiece{16, reply.mid(3, 10)},
                             ReplyPiece{16, reply.mid(13)}});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    ASSERT_TRUE(openAt(detector->m_port, sim->portPath()));
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Send("PING\n", 5));
    char* buf = nullptr;
    int length = -1;
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Read(&buf, length, 20, 10));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(QByteArray(buf, length), reply);
    delete[] buf;
}

TEST(SerialPortCross, ReceiveBufferKeepsAtMostTwoReplyBuffersWhileNobodyReads) {
    auto sim = startInstrument();
    // A device that streams in closely spaced pieces while nobody reads.
    QList<ReplyPiece> pieces;
    const char letters[] = "ABCDE";
    for (int i = 0; i < 5; ++i)
        pieces.append(ReplyPiece{i == 0 ? 0 : 5, QByteArray(1000, letters[i])});
    sim->onPieces("PING\n", pieces);
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return sim->bytesSent() == 5000; }, 3000));
        pumpEvents(20);
        EXPECT_GE(log.count(QStringLiteral("bytes discarded")), 1) << log.lines().join('\n').toStdString();
        std::vector<char> buf(8192, '\0');
        const unsigned n = port.Read(buf.data(), unsigned(buf.size()));
        ASSERT_EQ(n, unsigned(2 * CHROMAMETER_REPLY_SIZE));
        // The head is kept in order; what came beyond the bound is gone.
        EXPECT_EQ(QByteArray(buf.data(), 1000), QByteArray(1000, 'A'));
        EXPECT_EQ(QByteArray(buf.data() + 1000, 1000), QByteArray(1000, 'B'));
        EXPECT_EQ(QByteArray(buf.data() + 2000, 48), QByteArray(48, 'C'));
        EXPECT_EQ(port.Read(buf.data(), unsigned(buf.size())), 0u);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ChunkStartingWithNulIsLoggedAndDropped) {
    auto sim = startInstrument();
    sim->onPieces("PING\n", {ReplyPiece{0, "GOOD\r\n"}, ReplyPiece{150, QByteArray("\0BAD\r\n", 6)}});
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("NULL ")) == 1; }, 3000));
        // The line is "NULL " followed by the (empty) text before the NUL.
        EXPECT_TRUE(log.lines().contains(QStringLiteral("NULL ")));
        // Neither stored nor flagged: the earlier chunk is still the one handed out.
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("GOOD\r\n"));
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, PieceOfAFrameThatBeginsWithNulIsKeptWithTheFrame) {
    auto sim = startInstrument();
    const QByteArray head("MEAS\x08", 5);
    const QByteArray tail("\0\0\0\x01OK", 6);
    sim->onPieces("PING\n", {ReplyPiece{0, head}, ReplyPiece{16, tail}});
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return sim->bytesSent() == head.size() + tail.size(); }, 3000));
        pumpEvents(10);
        EXPECT_EQ(log.count(QStringLiteral("NULL ")), 0);
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), head + tail);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, NulRichFrameIsReceivedWholeWhenThePortsThreadCameRoundLate) {
    auto sim = startInstrument();
    // A binary frame, mostly NUL bytes, in USB packets: the first one is taken at once, the others
    // come while the port's thread does not run its event loop (a driver's sleep between reads on it).
    QByteArray frame("MSCG\x80", 5);
    frame += QByteArray(195, '\0');
    frame[120] = '\x2a';
    const QList<ReplyPiece> pieces = {ReplyPiece{0, frame.left(62)}, ReplyPiece{30, frame.mid(62, 62)},
                                      ReplyPiece{16, frame.mid(124)}};
    ASSERT_EQ(pieces[1].bytes.at(0), '\0');
    sim->onPieces("PING\n", pieces);
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready MSCG")) == 1; }, 3000));
        // Busy: the rest of the frame waits in the system meanwhile, and is seen long after it came.
        QThread::msleep(150);
        ASSERT_EQ(sim->bytesSent(), frame.size());
        char buf[1024] = {};
        unsigned n = port.Read(buf, sizeof buf);
        n += port.Read(buf + n, sizeof buf - n);
        EXPECT_EQ(QByteArray(buf, int(n)), frame);
        EXPECT_EQ(log.count(QStringLiteral("NULL ")), 0) << log.lines().join('\n').toStdString();
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ReplyWhoseFirstPieceIsDroppedForNulGoesOnWithoutItsOtherPiecesDropped) {
    auto sim = startInstrument();
    // After a pause the port's thread saw, a reply begins with NUL: that piece counts as nothing. Its
    // later pieces are no reply starts, whatever their first byte, and they replace the stale chunk.
    sim->onPieces("PING\n", {ReplyPiece{0, "GOOD\r\n"}, ReplyPiece{150, QByteArray("\0\0AB", 4)},
                             ReplyPiece{8, QByteArray("\0\0CD", 4)}, ReplyPiece{8, "EF"}});
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return sim->bytesSent() == 16; }, 3000));
        pumpEvents(20);
        EXPECT_EQ(log.count(QStringLiteral("NULL ")), 1) << log.lines().join('\n').toStdString();
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        // The piece after the dropped one may have come together with it: then both went.
        const QByteArray read(buf, int(n));
        EXPECT_TRUE(read == QByteArray("\0\0CDEF", 6) || read == QByteArray("EF"))
            << read.toHex().toStdString();
        EXPECT_EQ(log.count(QStringLiteral("ready EF")), 1);
        EXPECT_FALSE(read.contains("GOOD"));
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ChunkStartingWithNulAloneCountsAsNothingReceived) {
    auto sim = startInstrument();
    sim->on("PING\n", QByteArray("\0\x01\x02\x03", 4));
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("NULL ")) == 1; }, 3000));
        char buf[1024] = {};
        // The data-ready flag stayed clear too: the read waits all four 20 ms slices, where a raised
        // flag would end it after the first.
        QElapsedTimer clock;
        clock.start();
        EXPECT_EQ(port.Read(buf, sizeof buf), 0u);
        EXPECT_GE(clock.elapsed(), 75);
        EXPECT_EQ(log.count(QStringLiteral("ready ")), 0);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ChunkWithLaterNulIsStoredWhole) {
    auto sim = startInstrument();
    const QByteArray reply("AB\0CD\r\n", 7);
    sim->on("PING\n", reply);
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready ")) == 1; }, 3000));
        // The log shows the text up to the NUL.
        EXPECT_TRUE(log.lines().contains(QStringLiteral("ready AB")));
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), reply);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ChunkReceivedBeforeCloseIsHandedOutAfterReopen) {
    auto sim = startInstrument();
    sim->on("PING\n", "KEPT\r\n");
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready KEPT")) == 1; }, 3000));
        port.Close();
        ASSERT_TRUE(openAt(port, sim->portPath()));
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("KEPT\r\n"));
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, SecondOpenMakesEachChunkReachTheReceiverTwiceHarmlessly) {
    auto sim = startInstrument();
    sim->on("PING\n", "ONCE\r\n");
    {
        SerialPortSightings sightings;
        SerialPortCross port;
        ASSERT_EQ(sightings.ports().size(), 1);
        QSerialPort* serial = sightings.ports().first();
        ASSERT_TRUE(openAt(port, sim->portPath()));
        // Between the first open's delivery and the second's: each notification, after the first
        // delivery took the chunk, puts one marker byte back into the port. Only a second delivery of
        // the same notification can take it; a single delivery would leave it there.
        int notifications = 0;
        QObject::connect(serial, &QIODevice::readyRead, [&] {
            ++notifications;
            serial->ungetChar('Z');
        });
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        trigger(port, "PING\n");
        ASSERT_TRUE(waitUntil([&] { return log.count(QStringLiteral("ready ONCE")) >= 1; }, 3000));
        pumpEvents(100);
        ASSERT_EQ(notifications, 1);
        // The first delivery took the reply, the second took the marker: two calls for one notification,
        // and nothing is left in the port.
        EXPECT_EQ(log.count(QStringLiteral("ready ")), 2);
        EXPECT_EQ(log.count(QStringLiteral("ready Z")), 1);
        EXPECT_EQ(serial->bytesAvailable(), 0);
        EXPECT_EQ(log.count(QStringLiteral("NULL ")), 0);
        // The marker came right after the reply, so it joins it.
        char buf[1024] = {};
        const unsigned n = port.Read(buf, sizeof buf);
        EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("ONCE\r\nZ"));
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, EachSuccessfulOpenAddsOneDeliveryOfEveryError) {
    // The error of a failed open reaches the receivers connected by the earlier successful opens:
    // once after one open, twice after two.
    auto sim = startInstrument();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString errorLine = QStringLiteral(" error occurred. DeviceNotFoundError");
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        EXPECT_FALSE(openAt(port, missingDevicePath(dir)));
        EXPECT_EQ(log.count(errorLine), 1) << log.lines().join('\n').toStdString();

        ASSERT_TRUE(openAt(port, sim->portPath()));
        ASSERT_TRUE(openAt(port, sim->portPath()));
        log.clear();
        EXPECT_FALSE(openAt(port, missingDevicePath(dir)));
        EXPECT_EQ(log.count(errorLine), 3) << log.lines().join('\n').toStdString();
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, OtherErrorsAreLoggedWithTheirNameAndCleared) {
    auto sim = startInstrument();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        port.Close();
        MessageCapture log;
        EXPECT_FALSE(openAt(port, missingDevicePath(dir)));
        EXPECT_TRUE(log.lines().contains(QStringLiteral(" error occurred. DeviceNotFoundError")))
            << log.lines().join('\n').toStdString();
        // The error was cleared, so the closed port does not count as a vanished device.
        EXPECT_TRUE(port.IsPortConnect());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, OpenPortCountsAsConnected) {
    auto sim = startInstrument();
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        EXPECT_TRUE(port.IsPortConnect());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, MerelyClosedPortStillCountsAsConnected) {
    {
        SerialPortCross never;
        EXPECT_TRUE(never.IsPortConnect());
    }
    auto sim = startInstrument();
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        port.Close();
        EXPECT_TRUE(port.IsPortConnect());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ClosedPortWhoseDeviceWasNotFoundCountsAsLost) {
    // No receiver is connected before the first successful open, so the error stays uncleared.
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    {
        SerialPortCross port;
        EXPECT_FALSE(openAt(port, missingDevicePath(dir)));
        EXPECT_FALSE(port.IsOpen());
        EXPECT_FALSE(port.IsPortConnect());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, UnpluggedAdapterIsReportedAndThePortLeftOpen) {
    auto sim = startInstrument();
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        sim->unplug();
        // The hung-up line is reported as an error of the port (on Linux a read error: the line
        // reads as end of file); it is logged and cleared, and the port stays open.
        ASSERT_TRUE(waitUntil([&] { return !port.IsPortConnect(); }, 3000))
            << log.lines().join('\n').toStdString();
        EXPECT_TRUE(log.contains(QStringLiteral(" error occurred.")) ||
                    log.contains(QStringLiteral("Resource error occurred.")))
            << log.lines().join('\n').toStdString();
        EXPECT_TRUE(port.IsOpen());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, ResourceErrorIsLoggedClearedAndLeavesThePortOpen) {
    auto sim = startInstrument();
    {
        SerialPortSightings sightings;
        SerialPortCross port;
        ASSERT_EQ(sightings.ports().size(), 1);
        QSerialPort* serial = sightings.ports().first();
        ASSERT_TRUE(openAt(port, sim->portPath()));
        // Connected after the port's own receiver, so each report reaches this after onError: the
        // error the port holds by then shows whether onError cleared it.
        int resourceErrors = 0;
        int leftStanding = 0;
        QObject::connect(serial, &QSerialPort::errorOccurred, [&](QSerialPort::SerialPortError error) {
            if (error != QSerialPort::ResourceError)
                return;
            ++resourceErrors;
            if (serial->error() != QSerialPort::NoError)
                ++leftStanding;
        });
        MessageCapture log;
        sim->unplug();
        // Writing to the vanished device fails with a resource error.
        port.Write("PING\n", 5);
        ASSERT_TRUE(waitUntil([&] { return log.contains(QStringLiteral("Resource error occurred.")); }, 3000))
            << log.lines().join('\n').toStdString();
        EXPECT_TRUE(log.lines().contains(QStringLiteral("Resource error occurred.")));
        EXPECT_GE(resourceErrors, 1);
        EXPECT_EQ(leftStanding, 0);
        EXPECT_EQ(serial->error(), QSerialPort::NoError);
        EXPECT_TRUE(port.IsOpen());
        EXPECT_FALSE(port.IsPortConnect());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, UnpluggedAdapterCountsAsLostUntilNextSuccessfulOpen) {
    auto sim = startInstrument();
    auto other = startInstrument();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        sim->unplug();
        ASSERT_TRUE(waitUntil([&] { return !port.IsPortConnect(); }, 3000));
        pumpEvents(50);
        EXPECT_FALSE(port.IsPortConnect());
        // Closing does not end the loss, nor does an open that fails.
        port.Close();
        EXPECT_FALSE(port.IsPortConnect());
        EXPECT_FALSE(openAt(port, missingDevicePath(dir)));
        EXPECT_FALSE(port.IsPortConnect());
        ASSERT_TRUE(openAt(port, other->portPath()));
        EXPECT_TRUE(port.IsPortConnect());
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, RepeatedErrorsOfALostDeviceAreLoggedOnce) {
    auto sim = startInstrument();
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath()));
        MessageCapture log;
        sim->unplug();
        ASSERT_TRUE(waitUntil([&] { return !port.IsPortConnect(); }, 3000));
        // The dead line keeps raising errors, and writes and reads on it raise more; each kind is
        // logged once.
        char buf[64] = {};
        for (int i = 0; i < 5; ++i) {
            port.Write("PING\n", 5);
            port.Read(buf, sizeof buf);
        }
        pumpEvents(200);
        QStringList errorLines;
        for (const QString& line : log.lines())
            if (line.contains(QStringLiteral("error occurred.")))
                errorLines.append(line);
        EXPECT_FALSE(errorLines.isEmpty());
        EXPECT_LE(log.count(QStringLiteral("Resource error occurred.")), 1);
        EXPECT_EQ(errorLines.removeDuplicates(), 0) << errorLines.join('\n').toStdString();
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, WriteThatCannotDrainIsLoggedAndStillReturnsTheCount) {
    // With software flow control, the instrument's XOFF stops the line: the write cannot leave
    // within its 100 ms.
    auto sim = startInstrument();
    sim->on("STOP\n", "\x13");
    {
        SerialPortCross port;
        ASSERT_TRUE(openAt(port, sim->portPath(), QSerialPort::Baud9600, QSerialPort::SoftwareControl));
        trigger(port, "STOP\n");
        ASSERT_TRUE(waitUntil([&] { return sim->bytesSent() >= 1; }, 2000));
        pumpEvents(50);
        MessageCapture log;
        QElapsedTimer timer;
        timer.start();
        // The first write may still fit the line's buffer; keep writing until one cannot drain.
        const QByteArray block(4096, 'D');
        unsigned written = 0;
        for (int i = 0; i < 64 && !log.contains(QStringLiteral("Timeout writing data")); ++i)
            written = port.Write(block.constData(), unsigned(block.size()));
        EXPECT_TRUE(log.contains(QStringLiteral("Timeout writing data")));
        EXPECT_EQ(written, unsigned(block.size()));
        EXPECT_GE(timer.elapsed(), 95);
    }
    flushDeferredDeletes();
}

TEST(SerialPortCross, OverlongChunkNeverPassesTheReplyBuffer) {
    auto sim = startInstrument();
    // Three times the reply buffer, in one chunk: the reply lies complete in the line (which holds
    // up to 4 KiB) before anything reads it.
    QByteArray reply(3000, 'L');
    reply[0] = 'O';
    sim->on("PING\n", reply);
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    ASSERT_TRUE(openAt(detector->m_port, sim->portPath()));
    MessageCapture log;
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Send("PING\n", 5));
    for (int i = 0; i < 200 && sim->bytesSent() < reply.size(); ++i)
        QThread::msleep(5);
    ASSERT_EQ(sim->bytesSent(), reply.size());
    QThread::msleep(50);
    char* buf = nullptr;
    int length = -1;
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Read(&buf, length, 20, 10));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(length, CHROMAMETER_REPLY_SIZE - 1);
    EXPECT_EQ(buf[0], 'O');
    EXPECT_EQ(buf[CHROMAMETER_REPLY_SIZE - 2], 'L');
    EXPECT_EQ(buf[CHROMAMETER_REPLY_SIZE - 1], '\0');
    EXPECT_EQ(log.count(QStringLiteral("dropped")), 1) << log.lines().join('\n').toStdString();
    detector->ReleaseBuf(&buf);
    EXPECT_EQ(buf, nullptr);
}

TEST(SerialPortCross, OverlongReplyInPiecesIsCutAtTheReplyBufferAndTakenWhole) {
    auto sim = startInstrument();
    // 5000 bytes in five pieces, each meant to arrive while the previous one is being read.
    QList<ReplyPiece> pieces;
    const char letters[] = "ABCDE";
    for (int i = 0; i < 5; ++i)
        pieces.append(ReplyPiece{i == 0 ? 0 : 45, QByteArray(1000, letters[i])});
    sim->onPieces("PING\n", pieces);
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    ASSERT_TRUE(openAt(detector->m_port, sim->portPath()));
    MessageCapture log;
    ASSERT_TRUE(CChromameterCommand(detectorLine()).Send("PING\n", 5));
    char* buf = nullptr;
    int length = -1;
    EXPECT_TRUE(CChromameterCommand(detectorLine()).Read(&buf, length, 20, 10));
    ASSERT_NE(buf, nullptr);
    EXPECT_GT(length, 0);
    EXPECT_LE(length, CHROMAMETER_REPLY_SIZE - 1);
    EXPECT_EQ(buf[CHROMAMETER_REPLY_SIZE - 1], '\0');
    // Whatever was kept is in the order sent.
    for (int i = 1; i < length; ++i)
        ASSERT_LE(buf[i - 1], buf[i]) << i;
    if (log.count(QString::fromUtf8("接收")) == 5) {
        // Every piece was taken before the next arrived (the usual case): the buffer filled up.
        EXPECT_EQ(length, CHROMAMETER_REPLY_SIZE - 1);
        EXPECT_EQ(QByteArray(buf, 1000), QByteArray(1000, 'A'));
        EXPECT_EQ(QByteArray(buf + 1000, 23), QByteArray(23, 'B'));
        EXPECT_GE(log.count(QStringLiteral("dropped")), 1) << log.lines().join('\n').toStdString();
    }
    delete[] buf;
    // The excess went with the reply: nothing of it is left for the next exchange.
    EXPECT_EQ(sim->bytesSent(), 5000);
    char next[64] = {};
    EXPECT_EQ(detector->m_port.Read(next, sizeof next), 0u);
}

TEST(SerialPortCross, WriteQueuedFromWorkerRunsInsideThePortsThreadsOwnReadWithoutHanging) {
    auto sim = startInstrument();
    sim->on("PING\n", "PONG\r\n");
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    ASSERT_TRUE(openAt(detector->m_port, sim->portPath()));
    // Queued before the port's thread reads, so the read's own wait slices are what run it.
    std::thread worker([detector] { detector->Write("PING\n", 5); });
    worker.join();
    EXPECT_TRUE(sim->received().isEmpty());
    char buf[64] = {};
    unsigned n = detector->m_port.Read(buf, sizeof buf);
    // The write went out from inside the read: the instrument hears the command and its answer is
    // there for this read or the next.
    EXPECT_TRUE(waitUntil([&] { return sim->received() == QByteArray("PING\n"); }, 2000))
        << sim->received().constData();
    for (int i = 0; i < 20 && n == 0; ++i)
        n = detector->m_port.Read(buf, sizeof buf);
    EXPECT_EQ(QByteArray(buf, int(n)), QByteArray("PONG\r\n"));
}
