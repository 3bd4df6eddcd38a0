// The simulator's instrument thread: what it records of the host's bytes, its scheduled replies,
// and its stop and unplug.

#include "ScriptedInstrument.h"
#include "SerialHost.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/resource.h>

namespace {

// An instrument that exposes the scheduling primitives: "LATE" schedules a reply far ahead,
// "CANCEL" drops every scheduled reply and answers "cancelled", "PULL" pulls the adapter 100 ms on.
class ProbeInstrument : public SimInstrument {
public:
    ~ProbeInstrument() override { stop(); }

protected:
    void onReceived(const QByteArray& bytes) override {
        if (bytes.contains("LATE"))
            reply("late\n", 300);
        if (bytes.contains("CANCEL")) {
            cancelReplies();
            reply("cancelled\n");
        }
        if (bytes.contains("PULL")) {
            reply("bye\n");
            unplugAfter(100);
        }
    }
};

qint64 processCpuMs() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

} // namespace

TEST(SimInstrument, TwoSimulatorsInOneProcessGetDifferentPaths) {
    ScriptedInstrument a, b;
    ASSERT_TRUE(a.start());
    ASSERT_TRUE(b.start());
    EXPECT_NE(a.portPath(), b.portPath());
    EXPECT_NE(QFileInfo(a.portPath()).fileName(), QFileInfo(b.portPath()).fileName());
    EXPECT_TRUE(a.portPath().contains("/dev/"));
    EXPECT_TRUE(b.portPath().contains("cu.usbserial-SIM"));
}

TEST(SimInstrument, HostBytesAreRecordedWithTheLineSpeedInForce) {
    ScriptedInstrument sim;
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    EXPECT_EQ(sim.lineBaud(), 9600);
    host.send("SLOW\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "SLOW\n"; }, 2000));
    host.port.close();

    ASSERT_TRUE(host.open(sim.portPath(), 115200));
    EXPECT_EQ(sim.lineBaud(), 115200);
    host.send("FAST\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "SLOW\nFAST\n"; }, 2000));

    QByteArray atSlow, atFast;
    qint64 lastAt = 0;
    for (const ReceivedChunk& chunk : sim.record()) {
        EXPECT_GE(chunk.atMs, lastAt);
        lastAt = chunk.atMs;
        if (chunk.baud == 9600)
            atSlow += chunk.bytes;
        else if (chunk.baud == 115200)
            atFast += chunk.bytes;
        else
            ADD_FAILURE() << "unexpected line speed " << chunk.baud;
    }
    EXPECT_EQ(atSlow, QByteArray("SLOW\n"));
    EXPECT_EQ(atFast, QByteArray("FAST\n"));
    EXPECT_LE(lastAt, sim.elapsedMs());
}

TEST(SimInstrument, HostCloseAndReopenKeepsTheInstrumentServing) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n");
    ASSERT_TRUE(sim.start());
    for (int round = 0; round < 3; ++round) {
        SerialHost host;
        ASSERT_TRUE(host.open(sim.portPath(), 9600)) << "round " << round;
        host.send("PING\n");
        ASSERT_TRUE(host.waitHeard(5)) << "round " << round;
        EXPECT_EQ(host.heard(), QByteArray("PONG\n"));
        host.port.close();
        // Nobody but the simulator holds the device now; it must neither stop nor spin.
        pumpEvents(30);
        EXPECT_TRUE(sim.isPlugged());
    }
    EXPECT_EQ(sim.countReceived("PING\n"), 3);
}

TEST(SimInstrument, IdleSimulatorWaitsWithoutSpinningAfterTheHostLeaves) {
    ScriptedInstrument sim;
    ASSERT_TRUE(sim.start());
    {
        SerialHost host;
        ASSERT_TRUE(host.open(sim.portPath(), 9600));
        host.send("HELLO\n");
        ASSERT_TRUE(waitUntil([&] { return sim.received() == "HELLO\n"; }, 2000));
    }
    const qint64 cpuBefore = processCpuMs();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(processCpuMs() - cpuBefore, 60);
    EXPECT_TRUE(sim.isPlugged());
}

TEST(SimInstrument, RecordCanBeClearedAndCounted) {
    ScriptedInstrument sim;
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("AB\nAB\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received().size() == 6; }, 2000));
    EXPECT_EQ(sim.countReceived("AB\n"), 2);
    EXPECT_EQ(sim.countReceived("B"), 2);
    EXPECT_EQ(sim.countReceived(""), 0);
    sim.clearRecord();
    EXPECT_TRUE(sim.received().isEmpty());
    EXPECT_TRUE(sim.record().isEmpty());
    host.send("C\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "C\n"; }, 2000));
}

TEST(SimInstrument, BytesSentCountsWhatReachedTheDevice) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n");
    ASSERT_TRUE(sim.start());
    EXPECT_EQ(sim.bytesSent(), 0);
    SerialHost host;
    ASSERT_TRUE(host.open(sim.portPath(), 9600));
    host.send("PING\n");
    ASSERT_TRUE(host.waitHeard(5));
    EXPECT_EQ(sim.bytesSent(), 5);
}

TEST(SimInstrument, StopIsIdempotentAndRemovesTheLink) {
    ScriptedInstrument sim;
    ASSERT_TRUE(sim.start());
    const QString path = sim.portPath();
    ASSERT_TRUE(QFileInfo(path).isSymLink());
    sim.stop();
    EXPECT_FALSE(QFileInfo(path).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(simLinkFolder(path)));
    EXPECT_FALSE(sim.isPlugged());
    sim.stop();
    EXPECT_FALSE(sim.isPlugged());
}

TEST(SimInstrument, AReplyNobodyReadsDoesNotHoldUpStop) {
    ScriptedInstrument sim;
    // Far more than a pseudo-terminal buffers: the rest can never be written while nobody reads.
    sim.on("FLOOD\n", QByteArray(1024 * 1024, 'F'));
    ASSERT_TRUE(sim.start());
    {
        SerialHost host;
        ASSERT_TRUE(host.open(sim.portPath(), 9600));
        host.send("FLOOD\n");
        ASSERT_TRUE(waitUntil([&] { return sim.bytesSent() > 0; }, 2000));
        host.port.close();
    }
    QElapsedTimer timer;
    timer.start();
    sim.stop();
    EXPECT_LT(timer.elapsed(), 1000);
    EXPECT_LT(sim.bytesSent(), 1024 * 1024);
}

TEST(SimInstrument, CancelledRepliesAreNeverWritten) {
    ProbeInstrument sim;
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("LATE\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "LATE\n"; }, 2000));
    host.send("CANCEL\n");
    ASSERT_TRUE(host.waitHeard(10));
    // The late reply was due 300 ms after "LATE"; wait past it.
    pumpEvents(350);
    EXPECT_EQ(host.heard(), QByteArray("cancelled\n"));
}

TEST(SimInstrument, UnplugAfterPullsTheAdapterWhenDue) {
    ProbeInstrument sim;
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("PULL\n");
    ASSERT_TRUE(host.waitHeard(4));
    EXPECT_EQ(host.heard(), QByteArray("bye\n"));
    const qint64 heardAt = sim.elapsedMs();
    EXPECT_TRUE(sim.isPlugged());
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 2000));
    EXPECT_GE(sim.elapsedMs() - heardAt, 50);
    EXPECT_FALSE(QFileInfo(sim.portPath()).isSymLink());
}
