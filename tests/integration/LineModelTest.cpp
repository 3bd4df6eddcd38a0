// The simulated cable: how a reply reaches the host on each line model, and when a command reaches
// the instrument.

#include "LineModel.h"
#include "EchoModel.h"
#include "ScriptedInstrument.h"
#include "SerialHost.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

namespace {

// `sim` on `line` answers "GO\n" with `reply`, and `host` hears the whole of it.
::testing::AssertionResult replyHeardWhole(ScriptedInstrument& sim, SerialHost& host, const LineModel& line,
                                           const QByteArray& reply) {
    sim.setLine(line);
    sim.on("GO\n", reply);
    const ::testing::AssertionResult plugged = plugIn(sim, host);
    if (!plugged)
        return plugged;
    host.send("GO\n");
    if (!host.waitHeard(reply.size()))
        return ::testing::AssertionFailure()
               << "heard " << host.heard().size() << " of " << reply.size() << " bytes";
    if (host.heard() != reply)
        return ::testing::AssertionFailure() << "heard " << host.heard().constData();
    return ::testing::AssertionSuccess();
}

} // namespace

TEST(LineModel, NamesReadBackAndUnknownOnesAreRefused) {
    LineModel line;
    EXPECT_EQ(line.kind(), LineModel::Instant);
    ASSERT_TRUE(LineModel::parse(QStringLiteral("bytewise"), &line));
    EXPECT_EQ(line.kind(), LineModel::ByteWise);
    ASSERT_TRUE(LineModel::parse(QStringLiteral("usb"), &line));
    EXPECT_EQ(line.kind(), LineModel::Usb);
    EXPECT_EQ(line.usbPeriodMs(), 16);
    ASSERT_TRUE(LineModel::parse(QStringLiteral("usb:2"), &line));
    EXPECT_EQ(line.usbPeriodMs(), 2);
    EXPECT_EQ(line.name(), QStringLiteral("usb:2"));
    ASSERT_TRUE(LineModel::parse(QStringLiteral("instant"), &line));
    EXPECT_EQ(line.kind(), LineModel::Instant);
    for (const char* bad : {"", "usb:", "usb:0", "usb:256", "usb:x", "serial"})
        EXPECT_FALSE(LineModel::parse(QString::fromLatin1(bad), &line)) << bad;
    EXPECT_EQ(LineModel::realistic().name(), QStringLiteral("usb:16:jitter=8"));
    for (const char* bad :
         {"usb:16:jitter=", "usb:16:jitter=101", "usb:16:seed=x", "usb:16:phase=3", "usb:x:jitter=2"})
        EXPECT_FALSE(LineModel::parse(QString::fromLatin1(bad), &line)) << bad;
    // Ten bits a byte: about a millisecond at 9600 baud.
    EXPECT_EQ(LineModel::byteTimeNs(9600), 1041666);
    EXPECT_EQ(LineModel::byteTimeNs(115200), 86805);
}

TEST(LineModel, UsbJitterAndSeedReadBack) {
    LineModel line;
    ASSERT_TRUE(LineModel::parse(QStringLiteral("usb:16:jitter=8:seed=42"), &line));
    EXPECT_EQ(line.kind(), LineModel::Usb);
    EXPECT_EQ(line.usbPeriodMs(), 16);
    EXPECT_EQ(line.usbJitterMs(), 8);
    EXPECT_EQ(line.seed(), 42u);
    EXPECT_EQ(line.name(), QStringLiteral("usb:16:jitter=8:seed=42"));
    ASSERT_TRUE(LineModel::parse(QStringLiteral("usb:jitter=3"), &line));
    EXPECT_EQ(line.usbPeriodMs(), 16);
    EXPECT_EQ(line.usbJitterMs(), 3);
    EXPECT_EQ(line.seed(), 0u);
    // The plain name keeps its old meaning: no late packets.
    ASSERT_TRUE(LineModel::parse(QStringLiteral("usb:16"), &line));
    EXPECT_EQ(line.usbJitterMs(), 0);
    EXPECT_EQ(LineModel::realistic().withSeed(7).name(), QStringLiteral("usb:16:jitter=8:seed=7"));
}

TEST(SimulatorLine, UsbLineDrawsAFreshSeedUnlessTheLineNamesOne) {
    ScriptedInstrument sim;
    sim.setLine(LineModel::realistic().withSeed(1234));
    ASSERT_TRUE(sim.start());
    EXPECT_EQ(sim.lineSeed(), 1234u);
    sim.stop();
    sim.setLine(LineModel::realistic());
    ASSERT_TRUE(sim.start());
    const quint32 first = sim.lineSeed();
    sim.stop();
    ASSERT_TRUE(sim.start());
    // Two 32-bit draws from the system's entropy.
    EXPECT_NE(sim.lineSeed(), first);
}

TEST(SimulatorLine, UsbLineWithLatePacketsHandsALongReplyOverWholeAndInOrder) {
    ScriptedInstrument sim;
    SerialHost host;
    QByteArray reply;
    for (int i = 0; i < 400; ++i)
        reply += char('A' + i % 26);
    // 400 bytes take about 417 ms at 9600 baud: some 26 packets, about half of them late.
    ASSERT_TRUE(replyHeardWhole(sim, host, LineModel(LineModel::Usb, 16, 8), reply));
    EXPECT_GE(host.chunks().size(), 10);
    for (const SerialHost::Chunk& chunk : host.chunks())
        EXPECT_LE(chunk.bytes.size(), 2 * LineModel::kUsbPacketBytes);
}

TEST(SimulatorLine, InstantLineHandsAReplyOverWholeAtOnce) {
    ScriptedInstrument sim;
    SerialHost host;
    ASSERT_TRUE(replyHeardWhole(sim, host, LineModel(LineModel::Instant), QByteArray(40, 'R')));
    EXPECT_EQ(host.chunks().size(), 1);
}

TEST(SimulatorLine, ByteWiseLineHandsAReplyOverAByteOrTwoAtATimeAtTheLineSpeed) {
    ScriptedInstrument sim;
    SerialHost host;
    QByteArray reply;
    for (int i = 0; i < 120; ++i)
        reply += char('A' + i % 26);
    ASSERT_TRUE(replyHeardWhole(sim, host, LineModel(LineModel::ByteWise), reply));
    // 120 bytes of 10 bits at 9600 baud take about 125 ms to cross, and come as they cross: a USB
    // adapter's packets would be eight of about 15 bytes, an instant line one piece.
    EXPECT_GE(host.chunks().size(), 20);
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 110);
    int small = 0;
    for (const SerialHost::Chunk& chunk : host.chunks())
        small += chunk.bytes.size() <= 2 ? 1 : 0;
    // A host that a loaded machine keeps waiting finds some bytes together; still, many pieces are a
    // byte or two.
    EXPECT_GE(small * 4, host.chunks().size());
}

TEST(SimulatorLine, UsbLineHandsAReplyOverInPacketsOnTheLatencyTimer) {
    ScriptedInstrument sim;
    SerialHost host;
    ASSERT_TRUE(replyHeardWhole(sim, host, LineModel(LineModel::Usb, 16), QByteArray(100, 'P')));
    // About 104 ms on the line, handed over every 16 ms: six to eight packets of about 15 bytes.
    EXPECT_GE(host.chunks().size(), 4);
    EXPECT_LE(host.chunks().size(), 9);
    for (const SerialHost::Chunk& chunk : host.chunks())
        EXPECT_LE(chunk.bytes.size(), LineModel::kUsbPacketBytes);
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 70);
}

TEST(SimulatorLine, UsbLineSendsAFullPacketWithoutWaitingForTheTimer) {
    ScriptedInstrument sim;
    // A timer so slow that only full packets can explain a quick delivery.
    sim.setLine(LineModel(LineModel::Usb, 250));
    const QByteArray reply(124, 'F');
    sim.on("GO\n", reply);
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    ASSERT_TRUE(host.port.setBaudRate(115200));
    host.send("GO\n");
    const qint64 sent = host.nowMs();
    // Two full packets cross the line at 115200 baud in about 11 ms.
    ASSERT_TRUE(host.waitHeard(reply.size()));
    EXPECT_LT(host.chunks().last().atMs - sent, 200);
    for (const SerialHost::Chunk& chunk : host.chunks())
        EXPECT_EQ(chunk.bytes.size() % LineModel::kUsbPacketBytes, 0);
}

TEST(SimulatorLine, CommandReachesTheInstrumentOnlyOnceItHasCrossedTheLine) {
    ScriptedInstrument sim;
    sim.setLine(LineModel(LineModel::ByteWise));
    const QByteArray command = QByteArray(95, 'C') + "\n";
    sim.on(command, "OK");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    QElapsedTimer timer;
    timer.start();
    host.send(command);
    ASSERT_TRUE(host.waitHeard(2));
    // 96 bytes in and 2 out at 9600 baud: about 102 ms of line time.
    EXPECT_GE(timer.elapsed(), 95);
    EXPECT_LT(timer.elapsed(), 1000);
}

TEST(SimulatorLine, ScheduledUnplugWaitsForTheReplyBeforeItToCrossTheLine) {
    // Answers and pulls its adapter at once: the answer is on the line when the unplug falls due.
    class AnswerThenPull : public SimInstrument {
    public:
        ~AnswerThenPull() override { stop(); }

    protected:
        void onReceived(const QByteArray&) override {
            reply("GOODBYE\r\n");
            unplugAfter(0);
        }
    } sim;
    sim.setLine(LineModel(LineModel::ByteWise));
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 2000));
    // Every byte of the answer went to the device before the adapter was pulled; the host, reading
    // at its own pace, has at least its head.
    EXPECT_EQ(sim.bytesSent(), 9);
    pumpEvents(20);
    EXPECT_TRUE(host.heard().startsWith("GOODBYE")) << host.heard().constData();
}
