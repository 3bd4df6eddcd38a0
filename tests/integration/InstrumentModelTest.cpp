// The family models' base: commands framed at their terminators, and the fault filter every family
// model's replies pass through.

#include "EchoModel.h"
#include "SerialHost.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <cctype>

namespace {

// The echo model, with `fault` set, answers `command` to `host`, which hears at least `size` bytes.
::testing::AssertionResult answeredWith(SimFault fault, EchoModel& sim, SerialHost& host,
                                        const QByteArray& command, int size) {
    sim.setFault(fault);
    const ::testing::AssertionResult plugged = plugIn(sim, host);
    if (!plugged)
        return plugged;
    host.send(command);
    if (!host.waitHeard(size))
        return ::testing::AssertionFailure() << "heard " << host.heard().size() << " of " << size << " bytes";
    return ::testing::AssertionSuccess();
}

// The echo model answers `first` with `fault` set, then "B\n" without it: what the host heard of
// both (at least `size` bytes), or what it had when none came in time. Any answer to `first` is
// scheduled once the model has the command, so it would come before the answer to "B".
QByteArray heardWithFaultThenWithout(SimFault fault, const QByteArray& first, int size) {
    EchoModel sim;
    sim.setFault(fault);
    SerialHost host;
    EXPECT_TRUE(plugIn(sim, host));
    host.send(first);
    EXPECT_TRUE(waitUntil([&] { return sim.commands().size() == 1; }, 2000));
    sim.setFault(SimFault::None);
    host.send("B\n");
    EXPECT_TRUE(host.waitHeard(size));
    return host.heard();
}

} // namespace

TEST(InstrumentModel, CommandsAreFramedAtTheTerminator) {
    EchoModel sim;
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HEL");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "HEL"; }, 2000));
    host.send("LO\nBY");
    ASSERT_TRUE(waitUntil([&] { return sim.commands().size() == 1; }, 2000));
    host.send("E\n");
    ASSERT_TRUE(host.waitHeard(20));
    ASSERT_TRUE(waitUntil([&] { return sim.commands().size() == 2; }, 2000));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"HELLO\n", "BYE\n"}));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HELLO\nECHO:BYE\n"));
}

TEST(InstrumentModel, AnyTerminatorByteEndsACommandAndBlankLinesAreSkipped) {
    EchoModel sim("\r\n");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("ONE\r\n\nTWO\r\n");
    ASSERT_TRUE(waitUntil([&] { return sim.commands().size() == 2; }, 2000));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"ONE\r", "TWO\r"}));
}

TEST(InstrumentModel, WithoutTerminatorsRawStretchesAreHandedOver) {
    EchoModel sim("");
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send(QByteArray("\x02\x00\x10", 3));
    ASSERT_TRUE(waitUntil([&] { return sim.received().size() == 3; }, 2000));
    host.send("P");
    const auto joined = [&] {
        QByteArray all;
        for (const QByteArray& stretch : sim.commands())
            all += stretch;
        return all;
    };
    ASSERT_TRUE(waitUntil([&] { return joined().size() == 4; }, 2000));
    EXPECT_EQ(joined(), QByteArray("\x02\x00\x10P", 4));
    EXPECT_GE(sim.commands().size(), 2);
}

TEST(InstrumentModel, NoFaultAnswersAsTheModelSays) {
    EchoModel sim;
    ASSERT_TRUE(sim.start());
    EXPECT_EQ(sim.fault(), SimFault::None);
    SerialHost host;
    ASSERT_TRUE(host.open(sim.portPath(), 9600));
    host.send("HELLO\n");
    ASSERT_TRUE(host.waitHeard(11));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HELLO\n"));
}

TEST(InstrumentModel, SilentFaultAnswersNothing) {
    EXPECT_EQ(heardWithFaultThenWithout(SimFault::Silent, "A\n", 7), QByteArray("ECHO:B\n"));
}

TEST(InstrumentModel, GarbageFaultAnswersUnusableBytesOfTheSameLength) {
    EchoModel sim;
    SerialHost host;
    ASSERT_TRUE(answeredWith(SimFault::Garbage, sim, host, "HELLO\n", 11));
    const QByteArray garbage = host.heard();
    EXPECT_EQ(garbage.size(), 11);
    EXPECT_FALSE(garbage.contains("ECHO"));
    EXPECT_NE(garbage[0], '\0');
    EXPECT_TRUE(garbage.endsWith('\n'));
    for (int i = 0; i < garbage.size() - 1; ++i) {
        const unsigned char c = static_cast<unsigned char>(garbage[i]);
        EXPECT_TRUE(c > 0x20 && c < 0x7f && !std::isalnum(c)) << "byte " << i << " is " << int(c);
    }
}

TEST(InstrumentModel, OverlongFaultAnswersFiveThousandBytes) {
    EchoModel sim;
    SerialHost host;
    ASSERT_TRUE(answeredWith(SimFault::Overlong, sim, host, "HELLO\n", 5000));
    pumpEvents(20);
    const QByteArray reply = host.heard();
    EXPECT_EQ(reply.size(), 5000);
    EXPECT_TRUE(reply.startsWith("ECHO:HELLOXXX"));
    EXPECT_TRUE(reply.endsWith("XXX\n"));
}

TEST(InstrumentModel, CutFaultAnswersTheFirstHalf) {
    // "ECHO:HELLO\n" is 11 bytes: 5 are sent.
    EXPECT_EQ(heardWithFaultThenWithout(SimFault::Cut, "HELLO\n", 12), QByteArray("ECHO:ECHO:B\n"));
}

TEST(InstrumentModel, SplitFaultAnswersOneByteAtATime) {
    EchoModel sim;
    SerialHost host;
    ASSERT_TRUE(answeredWith(SimFault::SplitBytes, sim, host, "HI\n", 8));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HI\n"));
    // Eight bytes 15 ms apart: the host sees them come in several reads over about 105 ms.
    EXPECT_GE(host.chunks().size(), 4);
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 90);
}

TEST(InstrumentModel, UnplugFaultPullsTheAdapterWhenAMeasurementStarts) {
    EchoModel sim;
    sim.setFault(SimFault::UnplugDuringMeasure);
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HELLO\n");
    ASSERT_TRUE(host.waitHeard(11));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HELLO\n"));
    EXPECT_TRUE(sim.isPlugged());
    host.send("MEAS\n");
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 2000));
    EXPECT_TRUE(waitUntil([&] { return host.errorCount() > 0; }, 2000));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HELLO\n"));
    EXPECT_FALSE(QFileInfo(sim.portPath()).isSymLink());
}

TEST(InstrumentModel, MeasurementAnswersAfterTheMeasureDelayAndSlowFaultStretchesIt) {
    EchoModel sim;
    EXPECT_EQ(sim.measureDelayMs(), 50);
    sim.setMeasureDelayMs(10);
    ASSERT_TRUE(sim.start());
    EXPECT_EQ(sim.measureDurationMs(), 10);
    SerialHost host;
    ASSERT_TRUE(host.open(sim.portPath(), 9600));
    qint64 sentAt = host.nowMs();
    host.send("MEAS\n");
    ASSERT_TRUE(host.waitHeard(7));
    EXPECT_EQ(host.heard(), QByteArray("RESULT\n"));
    EXPECT_GE(host.chunks().last().atMs - sentAt, 9);
    EXPECT_LT(host.chunks().last().atMs - sentAt, 190);

    sim.setFault(SimFault::SlowCompletion);
    EXPECT_EQ(sim.measureDurationMs(), 200);
    sentAt = host.nowMs();
    host.send("MEAS\n");
    ASSERT_TRUE(host.waitHeard(14));
    EXPECT_EQ(host.heard(), QByteArray("RESULT\nRESULT\n"));
    EXPECT_GE(host.chunks().last().atMs - sentAt, 195);
}

TEST(InstrumentModel, RequiredBaudModelHearsNothingAtAnotherSpeed) {
    EchoModel sim;
    sim.setRequiredBaud(115200);
    SerialHost host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("A\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "A\n"; }, 2000));
    host.port.close();
    ASSERT_TRUE(host.open(sim.portPath(), 115200));
    host.send("B\n");
    ASSERT_TRUE(host.waitHeard(7));
    pumpEvents(20);
    EXPECT_EQ(host.heard(), QByteArray("ECHO:B\n"));
    ASSERT_TRUE(waitUntil([&] { return !sim.commands().isEmpty(); }, 2000));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"B\n"}));
    EXPECT_EQ(sim.record().first().baud, 9600);
}

TEST(InstrumentModel, ReadingCarriesItsDefaultsAndCanBeSet) {
    EchoModel sim;
    const SimReading defaults = sim.reading();
    EXPECT_DOUBLE_EQ(defaults.Lv, 120.5);
    EXPECT_DOUBLE_EQ(defaults.x, 0.3127);
    EXPECT_DOUBLE_EQ(defaults.y, 0.3290);
    EXPECT_DOUBLE_EQ(defaults.Tcp, 6504);
    sim.setReading(SimReading{80.25, 0.31, 0.32, 5000});
    EXPECT_DOUBLE_EQ(sim.reading().Lv, 80.25);
    EXPECT_DOUBLE_EQ(sim.reading().Tcp, 5000);
}
