#include "StatusConsole.h"

#include <gtest/gtest.h>

namespace {
struct Capture {
    QByteArray err;
    QByteArray out;
    StatusConsole::Writer errWriter() {
        return [this](const QByteArray& bytes) { err += bytes; };
    }
    StatusConsole::Writer outWriter() {
        return [this](const QByteArray& bytes) { out += bytes; };
    }
};
} // namespace

TEST(CliStatusConsole, ProgressTextShowsASpinnerTheLabelAndTheSecondsElapsed) {
    EXPECT_EQ(StatusConsole::ProgressText(QStringLiteral("measuring 2 of 3"), 1.24, 0),
              QStringLiteral("| measuring 2 of 3  1.2 s"));
    EXPECT_EQ(StatusConsole::ProgressText(QStringLiteral("x"), 0, 1), QStringLiteral("/ x  0.0 s"));
    EXPECT_EQ(StatusConsole::ProgressText(QStringLiteral("x"), 0, 5), QStringLiteral("/ x  0.0 s"));
}

TEST(CliStatusConsole, OnATerminalTheProgressLineIsWipedBeforeOtherOutput) {
    Capture capture;
    StatusConsole console(true, capture.errWriter(), capture.outWriter());
    console.startProgress(QStringLiteral("measuring"));
    EXPECT_TRUE(capture.err.startsWith("\r\033[K| measuring")) << capture.err.constData();
    capture.err.clear();
    console.print(QStringLiteral("   1   120.5\n"));
    EXPECT_EQ(capture.out, QByteArray("   1   120.5\n"));
    // Wiped before the result, drawn again after it.
    EXPECT_TRUE(capture.err.startsWith("\r\033[K\r\033[K")) << capture.err.constData();
    capture.err.clear();
    console.stopProgress();
    EXPECT_EQ(capture.err, QByteArray("\r\033[K"));
    capture.err.clear();
    console.line(QStringLiteral("done"));
    EXPECT_EQ(capture.err, QByteArray("done\n"));
}

TEST(CliStatusConsole, OffATerminalThereIsNoProgressLineAtAll) {
    Capture capture;
    StatusConsole console(false, capture.errWriter(), capture.outWriter());
    console.startProgress(QStringLiteral("measuring"));
    console.tick();
    console.line(QStringLiteral("note"));
    console.print(QStringLiteral("{}\n"));
    console.stopProgress();
    EXPECT_EQ(capture.err, QByteArray("note\n"));
    EXPECT_EQ(capture.out, QByteArray("{}\n"));
}

TEST(CliStatusConsole, ProgressLineIsCutToTheTerminalWidth) {
    Capture capture;
    StatusConsole console(true, capture.errWriter(), capture.outWriter());
    console.setWidth(20);
    console.startProgress(QStringLiteral("looking for the instrument on a port with a long name"));
    const QString shown = QString::fromUtf8(capture.err.mid(4));
    EXPECT_EQ(shown.size(), 19) << qPrintable(shown);
    EXPECT_TRUE(shown.endsWith(QChar(0x2026)));
}
