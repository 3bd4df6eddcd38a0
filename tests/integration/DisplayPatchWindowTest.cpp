// The patch window on Qt's offscreen platform: what it draws (read back from the window's own
// rendering), and how Space and Esc, sent as key events through the window, steer the run.

#include "Patch.h"
#include "PatchWindow.h"
#include "WindowPatchDisplay.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>

namespace {
Patch patch(int id, double r, double g, double b) {
    Patch p;
    p.id = id;
    p.set = "rgb";
    p.r = r;
    p.g = g;
    p.b = b;
    return p;
}

ShowMethod windowSettings(double percent, double background) {
    ShowMethod show;
    show.kind = ShowMethod::Kind::Window;
    show.screen = 0;
    show.patchPercent = percent;
    show.background = background;
    return show;
}

// Calls `action` once, from the event loop, as soon as `condition` holds (checked every 10 ms).
void whenever(QObject* context, std::function<bool()> condition, std::function<void()> action) {
    auto* timer = new QTimer(context);
    QObject::connect(timer, &QTimer::timeout, context, [timer, condition, action] {
        if (!condition())
            return;
        timer->stop();
        timer->deleteLater();
        action();
    });
    timer->start(10);
}

bool waitsForSpace(const PatchWindow* window) {
    return window->isVisible() && !window->showsPatch() && window->message().contains("Space");
}

// Counts the pixels of `image` inside and outside `area` that differ from what should be there.
struct Mismatches {
    int inside = 0;
    int outside = 0;
};
Mismatches compare(const QImage& image, const QRect& area, QRgb patch, QRgb background) {
    Mismatches m;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x] | 0xff000000u;
            if (area.contains(x, y))
                m.inside += pixel != patch;
            else
                m.outside += pixel != background;
        }
    }
    return m;
}

class DisplayPatchWindow : public ::testing::Test {
protected:
    void open(double percent, double background) {
        display = std::make_unique<WindowPatchDisplay>(windowSettings(percent, background), &end);
        QString error;
        ASSERT_TRUE(display->Open(&error)) << qPrintable(error);
        window = display->Window();
    }
    // The first patch, once the user has pressed Space at the prompt.
    void start(const Patch& first) {
        whenever(
            window, [this] { return waitsForSpace(window); },
            [this] { QTest::keyClick(window, Qt::Key_Space); });
        QString error;
        ASSERT_TRUE(display->Show(first, &error)) << qPrintable(error);
    }
    QImage grabbed() const { return window->grab().toImage().convertToFormat(QImage::Format_RGB32); }

    std::atomic<bool> end{false};
    std::unique_ptr<WindowPatchDisplay> display;
    PatchWindow* window = nullptr;
};
} // namespace

TEST_F(DisplayPatchWindow, EachPatchFillsItsAreaWithTheExactDeviceValueOnTheBackground) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.2));
    QScreen* screen = QGuiApplication::screens().at(0);
    EXPECT_TRUE(window->isFullScreen());
    EXPECT_EQ(window->geometry(), screen->geometry());

    const QRgb background = qRgb(51, 51, 51); // 0.2 of 255
    const QVector<Patch> patches = {patch(1, 1, 0, 0),       patch(2, 0.5, 0.5, 0.5),
                                    patch(3, 0.2, 0.4, 0.6), patch(4, 1.0 / 255, 254.0 / 255, 0.75),
                                    patch(5, 0, 0, 0),       patch(6, 1, 1, 1)};
    const QRgb expected[] = {qRgb(255, 0, 0),   qRgb(128, 128, 128), qRgb(51, 102, 153),
                             qRgb(1, 254, 191), qRgb(0, 0, 0),       qRgb(255, 255, 255)};
    ASSERT_NO_FATAL_FAILURE(start(patches[0]));
    for (int i = 0; i < patches.size(); ++i) {
        QString error;
        ASSERT_TRUE(display->Show(patches[i], &error)) << qPrintable(error);
        const QImage image = grabbed();
        ASSERT_EQ(image.size(), screen->geometry().size() * window->devicePixelRatioF());
        const QRect area = window->patchArea();
        EXPECT_NEAR(double(area.width()) * area.height() / (image.width() * image.height()), 0.10, 0.003);
        EXPECT_EQ(image.pixel(area.center()), expected[i]) << "patch " << patches[i].id;
        EXPECT_EQ(image.pixel(area.topLeft()), expected[i]);
        EXPECT_EQ(image.pixel(area.bottomRight()), expected[i]);
        EXPECT_EQ(image.pixel(area.left() - 1, area.center().y()), background);
        EXPECT_EQ(image.pixel(area.right() + 1, area.center().y()), background);
        EXPECT_EQ(image.pixel(0, 0), background);
        const Mismatches wrong = compare(image, area, expected[i], background);
        EXPECT_EQ(wrong.inside, 0) << "patch " << patches[i].id;
        EXPECT_EQ(wrong.outside, 0) << "patch " << patches[i].id;
    }
}

TEST_F(DisplayPatchWindow, FullSizePatchCoversTheWholeScreen) {
    ASSERT_NO_FATAL_FAILURE(open(100.0, 0.0));
    ASSERT_NO_FATAL_FAILURE(start(patch(1, 0.25, 0.5, 1.0)));
    const QImage image = grabbed();
    EXPECT_EQ(window->patchArea(), window->rect());
    EXPECT_EQ(compare(image, window->patchArea(), qRgb(64, 128, 255), qRgb(0, 0, 0)).inside, 0);
}

TEST_F(DisplayPatchWindow, FirstPatchWaitsForSpaceWithTheAreaMarkedAndNoPatchShown) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.0));
    bool sawPrompt = false;
    QElapsedTimer clock;
    clock.start();
    qint64 pressedAt = -1;
    whenever(
        window, [this] { return waitsForSpace(window); },
        [&] {
            // The user sees the marked area (mid grey) and the instructions, not the patch.
            const QImage image = grabbed();
            sawPrompt = image.pixel(window->patchArea().topLeft() + QPoint(10, 10)) == qRgb(128, 128, 128);
            QTimer::singleShot(150, window, [&] {
                pressedAt = clock.elapsed();
                QTest::keyClick(window, Qt::Key_Space);
            });
        });
    QString error;
    ASSERT_TRUE(display->Show(patch(1, 0, 1, 0), &error)) << qPrintable(error);
    EXPECT_TRUE(sawPrompt);
    ASSERT_GE(pressedAt, 150);
    EXPECT_GE(clock.elapsed(), pressedAt); // Show returned only after Space
    EXPECT_EQ(grabbed().pixel(window->patchArea().center()), qRgb(0, 255, 0));
    EXPECT_FALSE(end.load());
}

TEST_F(DisplayPatchWindow, SpacePausesBeforeTheNextPatchAndSpaceAgainGoesOn) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.0));
    ASSERT_NO_FATAL_FAILURE(start(patch(1, 1, 1, 1)));
    // Space while patch 1 is measured: it stays on the screen until the reading is over.
    QTest::keyClick(window, Qt::Key_Space);
    EXPECT_TRUE(window->showsPatch());
    EXPECT_EQ(grabbed().pixel(window->patchArea().center()), qRgb(255, 255, 255));

    bool pausedScreen = false;
    whenever(
        window, [this] { return waitsForSpace(window); },
        [&] {
            pausedScreen = window->message().contains("Paused");
            QTest::keyClick(window, Qt::Key_Space);
        });
    QString error;
    ASSERT_TRUE(display->Show(patch(2, 0, 0, 1), &error)) << qPrintable(error);
    EXPECT_TRUE(pausedScreen);
    EXPECT_EQ(grabbed().pixel(window->patchArea().center()), qRgb(0, 0, 255));
    // Not paused any more: the next patch goes up at once.
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(display->Show(patch(3, 1, 0, 1), &error));
    EXPECT_LT(clock.elapsed(), 100);
}

TEST_F(DisplayPatchWindow, EscAtThePromptEndsTheRunAsTheUsersChoice) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.0));
    whenever(
        window, [this] { return waitsForSpace(window); },
        [this] { QTest::keyClick(window, Qt::Key_Escape); });
    QString error;
    EXPECT_FALSE(display->Show(patch(1, 1, 1, 1), &error));
    EXPECT_TRUE(end.load());
    EXPECT_TRUE(display->EndedByUser());
    EXPECT_FALSE(window->showsPatch());
}

TEST_F(DisplayPatchWindow, EscWhileAPatchIsMeasuredSetsTheEndFlagAndLeavesThePatchUp) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.0));
    ASSERT_NO_FATAL_FAILURE(start(patch(1, 0.5, 0, 0)));
    QTest::keyClick(window, Qt::Key_Escape);
    EXPECT_TRUE(end.load());
    EXPECT_TRUE(display->EndedByUser());
    EXPECT_EQ(grabbed().pixel(window->patchArea().center()), qRgb(128, 0, 0));
}

TEST_F(DisplayPatchWindow, ClosingTheWindowEndsTheRunLikeEsc) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.0));
    ASSERT_NO_FATAL_FAILURE(start(patch(1, 0.5, 0, 0)));
    window->close();
    EXPECT_TRUE(end.load());
    EXPECT_TRUE(display->EndedByUser());
}

TEST_F(DisplayPatchWindow, CtrlCEndsTheWaitForSpaceButIsNotTheUsersEnd) {
    ASSERT_NO_FATAL_FAILURE(open(10.0, 0.0));
    QTimer::singleShot(50, window, [this] { end.store(true); });
    QElapsedTimer clock;
    clock.start();
    QString error;
    EXPECT_FALSE(display->Show(patch(1, 1, 1, 1), &error));
    EXPECT_LT(clock.elapsed(), 1000);
    EXPECT_FALSE(display->EndedByUser());
}

TEST_F(DisplayPatchWindow, AScreenThatIsNotThereIsRefusedNamingIt) {
    std::atomic<bool> flag{false};
    WindowPatchDisplay display(ShowMethod(windowSettings(10.0, 0.0)), &flag);
    ShowMethod missing = windowSettings(10.0, 0.0);
    missing.screen = QGuiApplication::screens().size();
    WindowPatchDisplay elsewhere(missing, &flag);
    QString error;
    EXPECT_FALSE(elsewhere.Open(&error));
    EXPECT_TRUE(error.contains(QString("no screen %1").arg(missing.screen))) << qPrintable(error);
    EXPECT_FALSE(elsewhere.Window()->isVisible());
    EXPECT_TRUE(display.Open(&error));
}
