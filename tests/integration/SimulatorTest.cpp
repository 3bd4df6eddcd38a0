#include "InstrumentModel.h"
#include "PtyLink.h"
#include "ScriptedInstrument.h"
#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSerialPort>

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// The host side of a conversation: a plain QSerialPort and everything it heard, with when.
class Host {
public:
    struct Chunk {
        qint64 atMs;
        QByteArray bytes;
    };

    Host() {
        m_clock.start();
        QObject::connect(&port, &QSerialPort::readyRead, [this] {
            m_chunks.append(Chunk{m_clock.elapsed(), port.readAll()});
        });
        QObject::connect(&port, &QSerialPort::errorOccurred, [this](QSerialPort::SerialPortError error) {
            if (error == QSerialPort::NoError)
                return;
            if (m_firstError == QSerialPort::NoError)
                m_firstError = error;
            ++m_errorCounts[error];
        });
    }

    bool open(const QString& path, qint32 baud) {
        port.setPortName(path);
        if (!port.open(QIODevice::ReadWrite))
            return false;
        return port.setBaudRate(baud);
    }

    void send(const QByteArray& bytes) {
        port.write(bytes);
        port.waitForBytesWritten(100);
    }

    QByteArray heard() const {
        QByteArray all;
        for (const Chunk& chunk : m_chunks)
            all += chunk.bytes;
        return all;
    }
    bool waitHeard(int size, int timeoutMs = 2000) {
        return waitUntil([&] { return heard().size() >= size; }, timeoutMs);
    }
    const QList<Chunk>& chunks() const { return m_chunks; }
    qint64 nowMs() const { return m_clock.elapsed(); }

    int errorCount() const {
        int n = 0;
        for (const auto& entry : m_errorCounts)
            n += entry.second;
        return n;
    }
    int errorCount(QSerialPort::SerialPortError error) const {
        auto it = m_errorCounts.find(error);
        return it == m_errorCounts.end() ? 0 : it->second;
    }
    QSerialPort::SerialPortError firstError() const { return m_firstError; }
    void forgetErrors() {
        m_errorCounts.clear();
        m_firstError = QSerialPort::NoError;
    }

    QSerialPort port;

private:
    QElapsedTimer m_clock;
    QList<Chunk> m_chunks;
    std::map<QSerialPort::SerialPortError, int> m_errorCounts;
    QSerialPort::SerialPortError m_firstError = QSerialPort::NoError;
};

// A line-echo instrument: answers "ECHO:" and the command; "MEAS\n" is a measurement answered with
// "RESULT\n" after the measurement duration.
class EchoModel : public InstrumentModel {
public:
    explicit EchoModel(const QByteArray& terminators = "\n") : m_terminators(terminators) {}
    ~EchoModel() override { stop(); }

    QList<QByteArray> commands() const {
        std::lock_guard<std::mutex> lock(m_commandsMutex);
        return m_commands;
    }
    int measureDurationMs() const { return effectiveMeasureDelayMs(); }

protected:
    QByteArray terminators() const override { return m_terminators; }
    void onCommand(const QByteArray& command) override {
        if (command == "MEAS\n")
            answerMeasurement("RESULT\n", measureDelayMs());
        else
            answer("ECHO:" + command);
        // Noted after answering, so a test that sees the command also sees its answer scheduled.
        std::lock_guard<std::mutex> lock(m_commandsMutex);
        m_commands.append(command);
    }

private:
    const QByteArray m_terminators;
    mutable std::mutex m_commandsMutex;
    QList<QByteArray> m_commands;
};

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

// Starts `sim` and opens the host's port on it at 9600 baud.
::testing::AssertionResult plugIn(SimInstrument& sim, Host& host) {
    if (!sim.start())
        return ::testing::AssertionFailure() << "the simulated instrument did not start";
    if (!host.open(sim.portPath(), 9600))
        return ::testing::AssertionFailure() << "the host could not open " << sim.portPath().toStdString();
    return ::testing::AssertionSuccess();
}

// The same, then the adapter pulled while the host holds the port open.
::testing::AssertionResult pulledWhileOpen(SimInstrument& sim, Host& host) {
    const ::testing::AssertionResult plugged = plugIn(sim, host);
    if (plugged)
        sim.unplug();
    return plugged;
}

qint64 processCpuMs() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

QString linkFolder(const QString& link) {
    // <tmp>/dev/cu.usbserial-SIM<n>: the temporary folder is two levels up.
    QDir dir = QFileInfo(link).dir();
    dir.cdUp();
    return dir.absolutePath();
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The pseudo-terminal link

TEST(PtyLink, LinkPathHoldsDevFolderAndUsbSerialNameAndLeadsToTheDevice) {
    PtyLink link;
    QString error;
    ASSERT_TRUE(link.open(&error)) << error.toStdString();
    EXPECT_TRUE(link.isPlugged());
    EXPECT_GE(link.masterFd(), 0);
    const QString path = link.linkPath();
    EXPECT_TRUE(path.contains("/dev/cu.usbserial-SIM")) << path.toStdString();
    const QFileInfo info(path);
    EXPECT_TRUE(info.isSymLink());
    EXPECT_EQ(info.symLinkTarget(), link.devicePath());
    EXPECT_TRUE(QFileInfo::exists(link.devicePath()));
}

TEST(PtyLink, UnplugClosesTheDeviceRemovesLinkAndFolderAndRepeatsHarmlessly) {
    PtyLink link;
    ASSERT_TRUE(link.open());
    const QString path = link.linkPath();
    const QString folder = linkFolder(path);
    ASSERT_TRUE(QFileInfo::exists(folder));

    link.unplug();
    EXPECT_FALSE(link.isPlugged());
    EXPECT_FALSE(QFileInfo(path).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_EQ(link.masterFd(), -1);
    EXPECT_EQ(link.write("x"), -1);
    EXPECT_EQ(link.baudRate(), 0);
    link.unplug();
    EXPECT_FALSE(link.isPlugged());
}

TEST(PtyLink, FoldersLeftByDeadProcessesAreSweptAndLiveOnesKept) {
    // A pid that surely belongs to no process any more: a child that has come and gone.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);

    QDir temp(QDir::tempPath());
    const QString dead = temp.filePath(QStringLiteral("chromasim-%1-test%2/dev").arg(child).arg(getpid()));
    const QString live =
        temp.filePath(QStringLiteral("chromasim-%1-test%2/dev").arg(getppid()).arg(getpid()));
    ASSERT_TRUE(QDir().mkpath(dead));
    ASSERT_TRUE(QDir().mkpath(live));
    ASSERT_EQ(::symlink("/dev/null", QString(dead + "/cu.usbserial-SIM1").toLocal8Bit().constData()), 0);

    PtyLink link;
    ASSERT_TRUE(link.open());
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(dead).path()));
    EXPECT_TRUE(QFileInfo::exists(live));
    EXPECT_TRUE(QFileInfo(link.linkPath()).isSymLink());
    QDir(QFileInfo(live).path()).removeRecursively();
}

TEST(PtyLink, BaudRateIsTheSpeedTheHostSetOnTheDevice) {
    PtyLink link;
    ASSERT_TRUE(link.open());
    Host host;
    ASSERT_TRUE(host.open(link.linkPath(), 9600));
    EXPECT_EQ(link.baudRate(), 9600);
    ASSERT_TRUE(host.port.setBaudRate(115200));
    EXPECT_EQ(link.baudRate(), 115200);
}

TEST(PtyLink, BytesWrittenAsTheInstrumentReachTheHost) {
    PtyLink link;
    ASSERT_TRUE(link.open());
    Host host;
    ASSERT_TRUE(host.open(link.linkPath(), 9600));
    EXPECT_EQ(link.write("OK00\r\n"), 6);
    ASSERT_TRUE(host.waitHeard(6));
    EXPECT_EQ(host.heard(), QByteArray("OK00\r\n"));
}

TEST(PtyLink, TwoLinksInOneProcessHaveDifferentPortNames) {
    PtyLink a, b;
    ASSERT_TRUE(a.open());
    ASSERT_TRUE(b.open());
    // QSerialPort locks a port by its base name, so the base names themselves must differ.
    EXPECT_NE(QFileInfo(a.linkPath()).fileName(), QFileInfo(b.linkPath()).fileName());
    EXPECT_NE(a.devicePath(), b.devicePath());
}

// ---------------------------------------------------------------------------------------------
// The simulator thread, its record and its replies

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
    Host host;
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
        Host host;
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
        Host host;
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
    Host host;
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
    Host host;
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
    EXPECT_FALSE(QFileInfo::exists(linkFolder(path)));
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
        Host host;
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
    Host host;
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
    Host host;
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

// ---------------------------------------------------------------------------------------------
// Scripted rules

TEST(ScriptedInstrument, RuleAnswersAfterItsDelay) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n", 150);
    Host host;
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
    Host host;
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
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("B\nA\n");
    ASSERT_TRUE(host.waitHeard(2));
    EXPECT_EQ(host.heard(), QByteArray("ba"));
}

TEST(ScriptedInstrument, CommandSplitAcrossWritesIsStillRecognised) {
    ScriptedInstrument sim;
    sim.on("PING\n", "PONG\n");
    Host host;
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
    Host host;
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
    Host host;
    ASSERT_TRUE(host.open(sim.portPath(), 9600));
    host.send("PING\n");
    ASSERT_TRUE(host.waitHeard(5));
    EXPECT_EQ(host.heard(), QByteArray("PANG\n"));
}

TEST(ScriptedInstrument, RequiredBaudIgnoresBytesAtOtherSpeedsButRecordsThem) {
    ScriptedInstrument sim;
    sim.setRequiredBaud(115200);
    sim.on("PING\n", "PONG\n");
    Host host;
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
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(host.waitHeard(4));
    EXPECT_EQ(host.heard(), QByteArray("ABCD"));
    ASSERT_GE(host.chunks().size(), 2);
    EXPECT_EQ(host.chunks().first().bytes, QByteArray("AB"));
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 120);
}

// ---------------------------------------------------------------------------------------------
// The line

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
    EXPECT_EQ(LineModel::realistic().name(), QStringLiteral("usb:16"));
    // Ten bits a byte: about a millisecond at 9600 baud.
    EXPECT_EQ(LineModel::byteTimeNs(9600), 1041666);
    EXPECT_EQ(LineModel::byteTimeNs(115200), 86805);
}

TEST(SimulatorLine, InstantLineHandsAReplyOverWholeAtOnce) {
    ScriptedInstrument sim;
    const QByteArray reply(40, 'R');
    sim.on("GO\n", reply);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(host.waitHeard(reply.size()));
    EXPECT_EQ(host.chunks().size(), 1);
}

TEST(SimulatorLine, ByteWiseLineHandsAReplyOverAByteOrTwoAtATimeAtTheLineSpeed) {
    ScriptedInstrument sim;
    sim.setLine(LineModel(LineModel::ByteWise));
    QByteArray reply;
    for (int i = 0; i < 40; ++i)
        reply += char('A' + i % 26);
    sim.on("GO\n", reply);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(host.waitHeard(reply.size()));
    EXPECT_EQ(host.heard(), reply);
    // 40 bytes of 10 bits at 9600 baud take about 42 ms to cross, and come as they cross.
    EXPECT_GE(host.chunks().size(), 10);
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 35);
    int small = 0;
    for (const Host::Chunk& chunk : host.chunks())
        small += chunk.bytes.size() <= 2 ? 1 : 0;
    // A busy host may find a few together; most pieces are a byte or two.
    EXPECT_GE(small * 2, host.chunks().size());
}

TEST(SimulatorLine, UsbLineHandsAReplyOverInPacketsOnTheLatencyTimer) {
    ScriptedInstrument sim;
    sim.setLine(LineModel(LineModel::Usb, 16));
    const QByteArray reply(100, 'P');
    sim.on("GO\n", reply);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(host.waitHeard(reply.size()));
    EXPECT_EQ(host.heard(), reply);
    // About 104 ms on the line, handed over every 16 ms: six to eight packets of about 15 bytes.
    EXPECT_GE(host.chunks().size(), 4);
    EXPECT_LE(host.chunks().size(), 9);
    for (const Host::Chunk& chunk : host.chunks())
        EXPECT_LE(chunk.bytes.size(), LineModel::kUsbPacketBytes);
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 70);
}

TEST(SimulatorLine, UsbLineSendsAFullPacketWithoutWaitingForTheTimer) {
    ScriptedInstrument sim;
    // A timer so slow that only full packets can explain a quick delivery.
    sim.setLine(LineModel(LineModel::Usb, 250));
    const QByteArray reply(124, 'F');
    sim.on("GO\n", reply);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    ASSERT_TRUE(host.port.setBaudRate(115200));
    host.send("GO\n");
    const qint64 sent = host.nowMs();
    // Two full packets cross the line at 115200 baud in about 11 ms.
    ASSERT_TRUE(host.waitHeard(reply.size()));
    EXPECT_LT(host.chunks().last().atMs - sent, 200);
    for (const Host::Chunk& chunk : host.chunks())
        EXPECT_EQ(chunk.bytes.size() % LineModel::kUsbPacketBytes, 0);
}

TEST(SimulatorLine, CommandReachesTheInstrumentOnlyOnceItHasCrossedTheLine) {
    ScriptedInstrument sim;
    sim.setLine(LineModel(LineModel::ByteWise));
    const QByteArray command = QByteArray(95, 'C') + "\n";
    sim.on(command, "OK");
    Host host;
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
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("GO\n");
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 2000));
    // Every byte of the answer went to the device before the adapter was pulled; the host, reading
    // at its own pace, has at least its head.
    EXPECT_EQ(sim.bytesSent(), 9);
    pumpEvents(20);
    EXPECT_TRUE(host.heard().startsWith("GOODBYE")) << host.heard().constData();
}

TEST(ScriptedInstrument, UnplugOnCommandPullsTheAdapter) {
    ScriptedInstrument sim;
    sim.unplugOn("BYE\n");
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HELLO\n");
    ASSERT_TRUE(waitUntil([&] { return sim.received() == "HELLO\n"; }, 2000));
    EXPECT_TRUE(sim.isPlugged());
    host.send("BYE\n");
    ASSERT_TRUE(waitUntil([&] { return !sim.isPlugged(); }, 2000));
    EXPECT_FALSE(QFileInfo(sim.portPath()).isSymLink());
    EXPECT_TRUE(waitUntil([&] { return host.errorCount() > 0; }, 2000));
}

// ---------------------------------------------------------------------------------------------
// A pulled adapter as QSerialPort sees it. On Linux the device is hung up: it reads as always
// readable, every read returns end-of-file and no readyRead comes. QSerialPort turns the failed read
// into an error of the kind that the thread's stale errno happens to name: ResourceError (and the
// read notifier is switched off) when errno is EIO, EAGAIN or EBADF, otherwise ReadError, raised
// again on every turn of the event loop until the port is closed. A write afterwards raises
// ResourceError ("Input/output error") on every turn; reopening the path fails with
// DeviceNotFoundError.

TEST(SimulatorUnplug, HostPortReportsAnErrorAndHearsNothingWhenTheAdapterIsPulled) {
    ScriptedInstrument sim;
    Host host;
    ASSERT_TRUE(pulledWhileOpen(sim, host));
    EXPECT_FALSE(sim.isPlugged());
    EXPECT_FALSE(QFileInfo(sim.portPath()).isSymLink());
    ASSERT_TRUE(waitUntil([&] { return host.errorCount() > 0; }, 2000));
    EXPECT_TRUE(host.firstError() == QSerialPort::ReadError ||
                host.firstError() == QSerialPort::ResourceError)
        << host.firstError();
    EXPECT_TRUE(host.chunks().isEmpty());
    EXPECT_TRUE(host.port.isOpen());
}

#ifdef __linux__
TEST(SimulatorUnplug, WithCleanErrnoQSerialPortRaisesReadErrorOnEveryTurn) {
    ScriptedInstrument sim;
    Host host;
    ASSERT_TRUE(pulledWhileOpen(sim, host));
    errno = 0;
    pumpEvents(100);
    EXPECT_EQ(host.firstError(), QSerialPort::ReadError);
    EXPECT_EQ(host.errorCount(QSerialPort::ResourceError), 0);
    EXPECT_GT(host.errorCount(QSerialPort::ReadError), 100);
    EXPECT_TRUE(host.chunks().isEmpty());
}

TEST(SimulatorUnplug, WithStaleEioQSerialPortRaisesOneResourceErrorAndStopsReading) {
    ScriptedInstrument sim;
    Host host;
    ASSERT_TRUE(pulledWhileOpen(sim, host));
    errno = EIO;
    pumpEvents(100);
    EXPECT_EQ(host.firstError(), QSerialPort::ResourceError);
    EXPECT_EQ(host.errorCount(), 1);
}
#endif

TEST(SimulatorUnplug, WriteAfterUnplugRaisesResourceError) {
    ScriptedInstrument sim;
    Host host;
    ASSERT_TRUE(pulledWhileOpen(sim, host));
    pumpEvents(20);
    host.forgetErrors();
    host.port.write("MEAS\r\n");
    EXPECT_FALSE(host.port.waitForBytesWritten(100));
    ASSERT_TRUE(waitUntil([&] { return host.errorCount(QSerialPort::ResourceError) > 0; }, 2000));
    EXPECT_EQ(host.port.error(), QSerialPort::ResourceError);
}

TEST(SimulatorUnplug, ReopeningThePulledPortFailsWithDeviceNotFound) {
    ScriptedInstrument sim;
    Host host;
    ASSERT_TRUE(pulledWhileOpen(sim, host));
    pumpEvents(20);
    host.port.close();
    EXPECT_FALSE(host.port.isOpen());
    EXPECT_FALSE(host.port.open(QIODevice::ReadWrite));
    EXPECT_EQ(host.port.error(), QSerialPort::DeviceNotFoundError);
}

TEST(SimulatorUnplug, UnplugBeforeAnyHostAndAfterStopIsHarmless) {
    ScriptedInstrument sim;
    sim.unplug();
    ASSERT_TRUE(sim.start());
    sim.unplug();
    sim.unplug();
    EXPECT_FALSE(sim.isPlugged());
    sim.stop();
    sim.unplug();
    EXPECT_FALSE(sim.isPlugged());
}

// ---------------------------------------------------------------------------------------------
// The family-model base: framing and the fault filter

TEST(InstrumentModel, CommandsAreFramedAtTheTerminator) {
    EchoModel sim;
    Host host;
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
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("ONE\r\n\nTWO\r\n");
    ASSERT_TRUE(waitUntil([&] { return sim.commands().size() == 2; }, 2000));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"ONE\r", "TWO\r"}));
}

TEST(InstrumentModel, WithoutTerminatorsRawStretchesAreHandedOver) {
    EchoModel sim("");
    Host host;
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
    Host host;
    ASSERT_TRUE(host.open(sim.portPath(), 9600));
    host.send("HELLO\n");
    ASSERT_TRUE(host.waitHeard(11));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HELLO\n"));
}

TEST(InstrumentModel, SilentFaultAnswersNothing) {
    EchoModel sim;
    sim.setFault(SimFault::Silent);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("A\n");
    ASSERT_TRUE(waitUntil([&] { return sim.commands().size() == 1; }, 2000));
    // Any answer to "A" is scheduled by now and would come before the answer to "B".
    sim.setFault(SimFault::None);
    host.send("B\n");
    ASSERT_TRUE(host.waitHeard(7));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:B\n"));
}

TEST(InstrumentModel, GarbageFaultAnswersUnusableBytesOfTheSameLength) {
    EchoModel sim;
    sim.setFault(SimFault::Garbage);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HELLO\n");
    ASSERT_TRUE(host.waitHeard(11));
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
    sim.setFault(SimFault::Overlong);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HELLO\n");
    ASSERT_TRUE(host.waitHeard(5000));
    pumpEvents(20);
    const QByteArray reply = host.heard();
    EXPECT_EQ(reply.size(), 5000);
    EXPECT_TRUE(reply.startsWith("ECHO:HELLOXXX"));
    EXPECT_TRUE(reply.endsWith("XXX\n"));
}

TEST(InstrumentModel, CutFaultAnswersTheFirstHalf) {
    EchoModel sim;
    sim.setFault(SimFault::Cut);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HELLO\n"); // "ECHO:HELLO\n" is 11 bytes: 5 are sent
    ASSERT_TRUE(waitUntil([&] { return sim.commands().size() == 1; }, 2000));
    sim.setFault(SimFault::None);
    host.send("B\n");
    ASSERT_TRUE(host.waitHeard(12));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:ECHO:B\n"));
}

TEST(InstrumentModel, SplitFaultAnswersOneByteAtATime) {
    EchoModel sim;
    sim.setFault(SimFault::SplitBytes);
    Host host;
    ASSERT_TRUE(plugIn(sim, host));
    host.send("HI\n");
    ASSERT_TRUE(host.waitHeard(8));
    EXPECT_EQ(host.heard(), QByteArray("ECHO:HI\n"));
    // Eight bytes 15 ms apart: the host sees them come in several reads over about 105 ms.
    EXPECT_GE(host.chunks().size(), 4);
    EXPECT_GE(host.chunks().last().atMs - host.chunks().first().atMs, 90);
}

TEST(InstrumentModel, UnplugFaultPullsTheAdapterWhenAMeasurementStarts) {
    EchoModel sim;
    sim.setFault(SimFault::UnplugDuringMeasure);
    Host host;
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
    Host host;
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
    Host host;
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
