// The pseudo-terminal link the simulator serves an instrument on, as a host's serial port sees it.

#include "PtyLink.h"
#include "SerialHost.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

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
    const QString folder = simLinkFolder(path);
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
    SerialHost host;
    ASSERT_TRUE(host.open(link.linkPath(), 9600));
    EXPECT_EQ(link.baudRate(), 9600);
    ASSERT_TRUE(host.port.setBaudRate(115200));
    EXPECT_EQ(link.baudRate(), 115200);
}

TEST(PtyLink, BytesWrittenAsTheInstrumentReachTheHost) {
    PtyLink link;
    ASSERT_TRUE(link.open());
    SerialHost host;
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
