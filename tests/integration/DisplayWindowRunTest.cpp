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
            QTest::keyClick(window, Qt::Key_Space);
        }
    }
    void onPatch(const QColor& colour) {
        const QImage image = m_window->grab().toImage();
        const QRect area = m_window->patchArea();
        seen.append(image.pixel(area.center()) | 0xff000000u);
        shown.append(colour.rgb());
        outsideWasBackground =
            outsideWasBackground && image.pixel(area.left() - 1, area.top()) == qRgb(0, 0, 0);
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
} // namespace

TEST(DisplayWindowRun, EscAfterPatchThreeEndsTheRunWithStatusZeroAndThreeReadingsKept) {
    QTemporaryDir dir;
    const QString journal = dir.filePath("run.jsonl");
    QByteArray err;
    QByteArray out;
    StatusConsole console(
        false, [&err](const QByteArray& b) { err += b; }, [&out](const QByteArray& b) { out += b; });
    InterruptNotifier interrupts;

    SessionSettings session;
    session.simulate = "analyser";
    session.simDisplay = "srgb-ideal";
    CharacteriseCommandSettings settings;
    settings.savePath = journal;
    settings.simulated = true;
    settings.showGiven = true;
    settings.show.kind = ShowMethod::Kind::Window;

    CharacteriseCommand command(settings, console, interrupts);
    ASSERT_EQ(command.prepare(), InstrumentSession::Ok) << err.constData();
    InstrumentSession instrument(session, console);
    ASSERT_EQ(instrument.prepare(), InstrumentSession::Ok) << err.constData();
    ASSERT_EQ(instrument.detect(), InstrumentSession::Ok) << err.constData();

    User user(4);
    const int status = command.run(instrument);
    EXPECT_EQ(status, 0) << err.constData();
    EXPECT_TRUE(user.pressedSpace);
    EXPECT_TRUE(err.contains("ended with Esc; 3 readings")) << err.constData();
    EXPECT_TRUE(out.isEmpty()) << out.constData(); // no figures of a run ended early
    EXPECT_EQ(patchWindow(), nullptr);             // the window is gone once the run is over

    // The window showed the exact 8-bit value of each patch: black, then grey 10 % and 20 %.
    ASSERT_EQ(user.seen.size(), 4);
    EXPECT_EQ(user.seen, user.shown);
    EXPECT_EQ(user.seen[0], qRgb(0, 0, 0));
    EXPECT_EQ(user.seen[1], qRgb(26, 26, 26));
    EXPECT_EQ(user.seen[2], qRgb(51, 51, 51));
    EXPECT_TRUE(user.outsideWasBackground);

    // Three readings in the journal, of the first three patches, each the light the simulator's
    // display gave for it: the window's patches reached the simulated instrument too.
    JournalContents contents;
    QString error;
    ASSERT_TRUE(Journal::Load(journal, &contents, &error)) << qPrintable(error);
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
