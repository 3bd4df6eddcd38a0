// The scripted instrument: rules that answer commands after their delays, and its record.

#include "ScriptedInstrument.h"
#include "SerialHost.h"

#include <QFileInfo>

#include <gtest/gtest.h>

TEST(ScriptedInstrument, RuleAnswersAfterItsDelay) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n", 150);
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    const qint64 sentAt = host.nowMs();
    host.send("PING\n");
    ASSERT_TRUE(host.waitHeard(5));
    EXPECT_EQ(host.heard(), QByteArray("PONG\n"));
    const qint64 took = host.chunks().first().atMs - sentAt;
    EXPECT_GE(took, 140);
    EXPECT_LT(took, 1000);
}

TEST(ScriptedInstrument, RuleWithUseCountStopsMatchingWhenUsedUp) {
    ScriptedInstrument sim;
    sim.on("A\n", "one\n", 0, 2);
    sim.on("A\n", "two\n");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    const QByteArray expected("one\none\ntwo\n");
    int size = 0;
    for (const char* reply : {"one\n", "one\n", "two\n"}) {
        size += int(qstrlen(reply));
        host.send("A\n");
        ASSERT_TRUE(host.waitHeard(size));
    }
    EXPECT_EQ(host.heard(), expected);
}

TEST(ScriptedInstrument, CommandThatEndsFirstIsAnsweredFirst) {
    ScriptedInstrument sim;
    sim.on("A\n", "a");
    sim.on("B\n", "b");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("B\nA\n");
    ASSERT_TRUE(host.waitHeard(2));
    EXPECT_EQ(host.heard(), QByteArray("ba"));
}

TEST(ScriptedInstrument, CommandSplitAcrossWritesIsStillRecognised) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("PI");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "PI"; }, 2000));
    host.send("NG\n");
    ASSERT_TRUE(host.waitHeard(5));
    EXPECT_EQ(host.heard(), QByteArray("PONG\n"));
    EXPECT_GE(sim.record().size(), 2);
}

TEST(ScriptedInstrument, EmptyReplyConsumesTheCommandSilently) {
    ScriptedInstrument sim;
    sim.on("QUIET\n", QByteArray());
    sim.on("QUIET\n", "loud\n");
    sim.on("PING\n", "PONG\n");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("QUIET\n");
    host.send("PING\n");
    ASSERT_TRUE(host.waitHeard(5));
    pumpEvents(20);
    EXPECT_EQ(host.heard(), QByteArray("PONG\n"));
}

TEST(ScriptedInstrument, ClearRulesForgetsEveryRule) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n");
    ASSERT_TRUE(sim.start());
    sim.clearRules();
    sim.on("PING\n", "PANG\n");
    SerialHost host;
    ASSERT_TRUE(host.open(sim.portPath(), 9600));
    host.send("PING\n");
    ASSERT_TRUE(host.waitHeard(5));
    EXPECT_EQ(host.heard(), QByteArray("PANG\n"));
}

TEST(ScriptedInstrument, RequiredBaudIgnoresBytesAtOtherSpeedsButRecordsThem) {
    ScriptedInstrument sim;
    sim.setRequiredBaud(115200);
    sim.on("PING\n", "PONG\n");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("PING\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "PING\n"; }, 2000));
    host.port.close();
    ASSERT_TRUE(host.open(sim.portPath(), 115200));
    host.send("PING\n");
    ASSERT_TRUE(host.waitHeard(5));
    // An answer to the first PING would have come before this one.
    pumpEvents(20);
    EXPECT_EQ(host.heard(), QByteArray("PONG\n"));
    const QList<ReceivedChunk> record = sim.record();
    ASSERT_FALSE(record.isEmpty());
    EXPECT_EQ(record.first().baud, 9600);
    EXPECT_EQ(record.last().baud, 115200);
    EXPECT_EQ(sim.countReceived("PING\n"), 2);
}

TEST(ScriptedInstrument, ReplyPiecesArriveSeparatelyWithTheirGaps) {
    ScriptedInstrument sim;
    sim.onPieces("GO\n", {ReplyPiece{0, "AB"}, ReplyPiece{150, "CD"}});
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(host.waitHeard(4));
    EXPECT_EQ(host.heard(), QByteArray("ABCD"));
    ASSERT_GE(host.chunks().size(), 2);
    EXPECT_EQ(host.chunks().first().bytes, QByteArray("AB"));
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 120);
}

TEST(ScriptedInstrument, UnplugOnCommandPullsTheAdapter) {
    ScriptedInstrument sim;
    sim.unplugOn("BYE\n");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HELLO\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "HELLO\n"; }, 2000));
    EXPECT_TRUE(sim.isPlugged());
    host.send("BYE\n");
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 2000));
    EXPECT_FALSE(QFileInfo(sim.portPath()).isSymLink());
    EXPECT_TRUE(waitUntil([&] { return host.errorCount() > 0; }, 2000));
}
