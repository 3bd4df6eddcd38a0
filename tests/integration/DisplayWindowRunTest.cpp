// "chromameter --simulate analyser --sim-display srgb-ideal characterise --show window" run in
// process: the characterise command on the built-in simulator, its patch window on Qt's offscreen
// platform, and the user's keys sent to that window as key events while the run goes on.

#include "CharacteriseCommand.h"
#include "InstrumentSession.h"
#include "InterruptNotifier.h"
#include "Journal.h"
#include "PatchWindow.h"
#include "StatusConsole.h"
#include "VirtualDisplay.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

namespace {
PatchWindow* patchWindow() {
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<PatchWindow*>(w))
            return window;
    }
    return nullptr;
}

// Plays the user at the screen: Space at the prompt, then Esc once patch `escOnPatch` is up. Records
// the colour in the middle of the patch area each time a patch is shown.
class User : public QObject {
public:
    explicit User(int escOnPatch) : m_escOnPatch(escOnPatch) {
        connect(&m_look, &QTimer::timeout, this, [this] { look(); });
        m_look.start(10);
    }
    QVector<QRgb> seen;  // the patch area's centre, grabbed from the window, patch by patch
    QVector<QRgb> shown; // what the window was told to show
    QImage prompt;       // the window as the user saw it before the first patch
    QImage lastPatch;    // and with the last patch shown
    bool outsideWasBackground = true;
    bool pressedSpace = false;

private:
    void look() {
        PatchWindow* window = patchWindow();
        if (!window)
            return;
        if (window != m_window) {
            m_window = window;
            connect(window, &PatchWindow::patchShown, this,
                    [this](const QColor& colour) { onPatch(colour); });
        }
        if (!pressedSpace && window->isVisible() && !window->showsPatch() &&
            window->message().contains("Space")) {
            pressedSpace = true;
            prompt = window->grab().toImage();
            QTest::keyClick(window, Qt::Key_Space);
        }
    }
    void onPatch(const QColor& colour) {
        const QImage image = m_window->grab().toImage();
        lastPatch = image;
        const QRect area = m_window->patchArea();
        seen.append(image.pixel(area.center()) | 0xff000000u);
        shown.append(colour.rgb());
        const QRgb background = m_window->backgroundColour().rgb();
        outsideWasBackground = outsideWasBackground &&
                               image.pixel(area.left() - 1, area.top()) == background &&
                               image.pixel(0, 0) == background;
        if (seen.size() == m_escOnPatch) {
            // The user presses Esc while this patch settles: it is not measured.
            QPointer<PatchWindow> window = m_window;
            QTimer::singleShot(0, this, [window] {
                if (window)
                    QTest::keyClick(window, Qt::Key_Escape);
            });
        }
    }

    int m_escOnPatch;
    QTimer m_look;
    QPointer<PatchWindow> m_window;
};
struct WindowRun {
    int status = -1;
    QByteArray err;
    QByteArray out;
    JournalContents journal;
};

// chromameter --simulate analyser --sim-display srgb-ideal characterise --show window [settings],
// with `user` at the window.
WindowRun runWithWindow(const ShowMethod& show, const QString& patches, const QString& journal) {
    WindowRun result;
    StatusConsole console(
        false, [&result](const QByteArray& b) { result.err += b; },
        [&result](const QByteArray& b) { result.out += b; });
    InterruptNotifier interrupts;
    SessionSettings session;
    session.simulate = "analyser";
    session.simDisplay = "srgb-ideal";
    CharacteriseCommandSettings settings;
    settings.run.patchSets = patches;
    settings.savePath = journal;
    settings.simulated = true;
    settings.showGiven = true;
    settings.show = show;
    settings.show.kind = ShowMethod::Kind::Window;

    CharacteriseCommand command(settings, console, interrupts);
    EXPECT_EQ(command.prepare(), InstrumentSession::Ok) << result.err.constData();
    InstrumentSession instrument(session, console);
    EXPECT_EQ(instrument.prepare(), InstrumentSession::Ok) << result.err.constData();
    EXPECT_EQ(instrument.detect(), InstrumentSession::Ok) << result.err.constData();
    result.status = command.run(instrument);
    QString error;
    EXPECT_TRUE(Journal::Load(journal, &result.journal, &error)) << qPrintable(error);
    return result;
}
} // namespace

TEST(DisplayWindowRun, EscAfterPatchThreeEndsTheRunWithStatusZeroAndThreeReadingsKept) {
    QTemporaryDir dir;
    User user(4);
    const WindowRun run = runWithWindow(ShowMethod(), "grey:11,primaries", dir.filePath("run.jsonl"));
    EXPECT_EQ(run.status, 0) << run.err.constData();
    EXPECT_TRUE(user.pressedSpace);
    EXPECT_TRUE(run.err.contains("ended with Esc; 3 readings")) << run.err.constData();
    EXPECT_TRUE(run.out.isEmpty()) << run.out.constData(); // no figures of a run ended early
    EXPECT_EQ(patchWindow(), nullptr);                     // the window is gone once the run is over

    // The window showed the exact 8-bit value of each patch: black, then grey 10 % and 20 %.
    ASSERT_EQ(user.seen.size(), 4);
    EXPECT_EQ(user.seen, user.shown);
    EXPECT_EQ(user.seen[0], qRgb(0, 0, 0));
    EXPECT_EQ(user.seen[1], qRgb(26, 26, 26));
    EXPECT_EQ(user.seen[2], qRgb(51, 51, 51));
    EXPECT_TRUE(user.outsideWasBackground);

    // Three readings in the journal, of the first three patches, each the light the simulator's
    // display gave for it: the window's patches reached the simulated instrument too.
    const JournalContents& contents = run.journal;
    ASSERT_EQ(contents.readings.size(), 3);
    VirtualDisplaySettings truthSettings;
    ASSERT_TRUE(VirtualDisplay::Parse("srgb-ideal", &truthSettings));
    const VirtualDisplay truth(truthSettings);
    for (int i = 0; i < 3; ++i) {
        const PatchReading& r = contents.readings[i];
        EXPECT_EQ(r.patchId, i + 1);
        EXPECT_FALSE(r.failed);
        const Patch& p = contents.header.patches[i];
        const double expected = truth.SteadyLight(p.r, p.g, p.b).Y;
        EXPECT_NEAR(r.Lv, expected, 0.001 * expected + 0.01) << "patch " << i + 1;
    }
    EXPECT_GT(contents.readings[2].Lv, contents.readings[1].Lv);
}

TEST(DisplayWindowRun, ColourPatchesOnAGreyBackgroundReachTheWindowAndTheInstrument) {
    QTemporaryDir dir;
    ShowMethod show;
    show.patchPercent = 20.0;
    show.background = 0.2;
    User user(3); // Esc while blue settles
    const WindowRun run = runWithWindow(show, "primaries", dir.filePath("run.jsonl"));
    EXPECT_EQ(run.status, 0) << run.err.constData();
    ASSERT_EQ(user.seen.size(), 3);
    EXPECT_EQ(user.seen, (QVector<QRgb>{qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255)}));
    EXPECT_TRUE(user.outsideWasBackground);
    ASSERT_EQ(run.journal.readings.size(), 2);
    // Red and green as the simulated instrument read them: each at its primary's chromaticity.
    EXPECT_NEAR(run.journal.readings[0].x, 0.64, 0.002);
    EXPECT_NEAR(run.journal.readings[1].y, 0.60, 0.002);

    // CHROMA_WINDOW_SCREENSHOT=docs/patch-window.png keeps what the user saw: the prompt before the
    // first patch, and the window with the last patch, side by side at
    // three quarters of their size.
    const QString screenshot = qEnvironmentVariable("CHROMA_WINDOW_SCREENSHOT");
    if (!screenshot.isEmpty()) {
        ASSERT_FALSE(user.prompt.isNull());
        const QImage left =
            user.prompt.scaledToHeight(user.prompt.height() * 3 / 4, Qt::SmoothTransformation);
        const QImage right =
            user.lastPatch.scaledToHeight(user.lastPatch.height() * 3 / 4, Qt::SmoothTransformation);
        const int gap = 12;
        QImage both(left.width() + gap + right.width(), left.height(), QImage::Format_RGB32);
        both.fill(Qt::white);
        QPainter painter(&both);
        painter.drawImage(0, 0, left);
        painter.drawImage(left.width() + gap, 0, right);
        painter.end();
        EXPECT_TRUE(both.save(screenshot)) << qPrintable(screenshot);
    }
}
