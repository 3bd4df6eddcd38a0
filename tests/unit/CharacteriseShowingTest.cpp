// Showing a patch: by hand (values printed, Enter pressed) and by a command run once a patch.

#include "CommandPatchDisplay.h"
#include "ManualPatchDisplay.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {
Patch patch(int id, double r, double g, double b, const QString& name = QString()) {
    Patch p;
    p.id = id;
    p.name = name;
    p.r = r;
    p.g = g;
    p.b = b;
    return p;
}
} // namespace

TEST(CharacteriseShowing, ManualPrintsTheDeviceValuesAndWaitsForEnter) {
    QString printed;
    QByteArray typed = "\n\n";
    QTextStream out(&printed);
    QBuffer in(&typed);
    ASSERT_TRUE(in.open(QIODevice::ReadOnly));
    ManualPatchDisplay display(&out, &in);
    QString error;
    ASSERT_TRUE(display.Show(patch(4, 0.5, 0.25, 1.0, "lilac"), &error));
    EXPECT_TRUE(printed.contains("patch 4 (lilac)")) << printed.toStdString();
    EXPECT_TRUE(printed.contains("R 0.5000 G 0.2500 B 1.0000")) << printed.toStdString();
    EXPECT_TRUE(printed.contains("128 64 255")) << printed.toStdString();
    EXPECT_TRUE(printed.contains("Enter"));
    ASSERT_TRUE(display.Show(patch(5, 0, 0, 0), &error));
    // No more Enter to read: the input ended, so the patch cannot be confirmed.
    EXPECT_FALSE(display.Show(patch(6, 1, 1, 1), &error));
    EXPECT_TRUE(error.contains("patch 6")) << error.toStdString();
}

TEST(CharacteriseShowing, ManualWaitOnATerminalOrPipeEndsAtEnterOrAtCtrlC) {
    int fds[2] = {-1, -1};
    ASSERT_EQ(::pipe(fds), 0);
    QFile in;
    ASSERT_TRUE(in.open(fds[0], QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle));
    QString printed;
    QTextStream out(&printed);
    std::atomic<bool> interrupt{false};
    ManualPatchDisplay display(&out, &in, &interrupt);
    // Enter typed a little later goes on.
    QTimer::singleShot(100, [&] { ASSERT_EQ(::write(fds[1], "ok\n", 3), 3); });
    QString error;
    EXPECT_TRUE(display.Show(patch(1, 0, 0, 0), &error)) << error.toStdString();
    // Ctrl-C while nobody presses Enter ends the wait at once.
    QTimer::singleShot(100, [&] { interrupt = true; });
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_FALSE(display.Show(patch(2, 1, 1, 1), &error));
    EXPECT_LT(elapsed.elapsed(), 2000);
    EXPECT_TRUE(error.contains("interrupted")) << error.toStdString();
    ::close(fds[1]);
}

TEST(CharacteriseShowing, CommandPlaceholdersTakeUnitAndEightBitValues) {
    EXPECT_EQ(ExpandPatchCommand("set {r} {g} {b}", patch(1, 0.5, 0.25, 1.0 / 3.0)),
              "set 0.5000 0.2500 0.3333");
    EXPECT_EQ(ExpandPatchCommand("pgen {R8},{G8},{B8} {R8}", patch(1, 0.5, 0.0, 1.0)), "pgen 128,0,255 128");
    EXPECT_EQ(ExpandPatchCommand("no placeholders", patch(1, 0.5, 0.0, 1.0)), "no placeholders");
}

TEST(CharacteriseShowing, CommandRunsOnceAPatchThroughTheShell) {
    QTemporaryDir dir;
    const QString log = dir.filePath("shown.txt");
    CommandPatchDisplay display(QString("echo {R8} {G8} {B8} >> '%1' && test -f '%1'").arg(log));
    QString error;
    ASSERT_TRUE(display.Show(patch(1, 1.0, 0.5, 0.0), &error)) << error.toStdString();
    ASSERT_TRUE(display.Show(patch(2, 0.0, 0.0, 0.2), &error)) << error.toStdString();
    QFile file(log);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("255 128 0\n0 0 51\n"));
}

TEST(CharacteriseShowing, FailingCommandNamesItsExitStatus) {
    CommandPatchDisplay display("exit 7");
    QString error;
    EXPECT_FALSE(display.Show(patch(3, 1, 1, 1), &error));
    EXPECT_TRUE(error.contains("exit status 7")) << error.toStdString();
    EXPECT_TRUE(error.contains("patch 3")) << error.toStdString();
}

TEST(CharacteriseShowing, CommandThatHangsIsStoppedByCtrlC) {
    std::atomic<bool> interrupt{false};
    CommandPatchDisplay display("sleep 30", &interrupt);
    QTimer::singleShot(150, [&] { interrupt = true; });
    QElapsedTimer elapsed;
    elapsed.start();
    QString error;
    EXPECT_FALSE(display.Show(patch(1, 1, 1, 1), &error));
    EXPECT_LT(elapsed.elapsed(), 5000);
    EXPECT_TRUE(error.contains("interrupted")) << error.toStdString();
}

TEST(CharacteriseShowing, CommandThatOutlastsItsTimeFails) {
    CommandPatchDisplay display("sleep 30", nullptr, 300);
    QElapsedTimer elapsed;
    elapsed.start();
    QString error;
    EXPECT_FALSE(display.Show(patch(1, 1, 1, 1), &error));
    EXPECT_LT(elapsed.elapsed(), 5000);
    EXPECT_TRUE(error.contains("did not finish")) << error.toStdString();
}
