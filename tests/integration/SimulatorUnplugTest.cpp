// A pulled adapter as QSerialPort sees it. On Linux the device is hung up: it reads as always
// readable, every read returns end-of-file and no readyRead comes. QSerialPort turns the failed read
// into an error of the kind that the thread's stale errno happens to name: ResourceError (and the
// read notifier is switched off) when errno is EIO, EAGAIN or EBADF, otherwise ReadError, raised
// again on every turn of the event loop until the port is closed. A write afterwards raises
// ResourceError ("Input/output error") on every turn; reopening the path fails with
// DeviceNotFoundError.

#include "EchoModel.h"
#include "ScriptedInstrument.h"
#include "SerialHost.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <cerrno>

TEST(SimulatorUnplug, HostPortReportsAnErrorAndHearsNothingWhenTheAdapterIsPulled) {
    ScriptedInstrument sim;
    SerialHost host;
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
    SerialHost host;
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
    SerialHost host;
    ASSERT_TRUE(pulledWhileOpen(sim, host));
    errno = EIO;
    pumpEvents(100);
    EXPECT_EQ(host.firstError(), QSerialPort::ResourceError);
    EXPECT_EQ(host.errorCount(), 1);
}
#endif

TEST(SimulatorUnplug, WriteAfterUnplugRaisesResourceError) {
    ScriptedInstrument sim;
    SerialHost host;
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
    SerialHost host;
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
