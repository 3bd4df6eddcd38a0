#include "WindowPatchDisplay.h"

#include "InterruptibleWait.h"
#include "PatchLayout.h"
#include "PatchWindow.h"
#include "ScreenList.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

namespace {
// Key presses and Ctrl-C are noticed within this long while the run waits for the user.
const int kWaitSliceMs = 20;

const char kStartText[] = "Place the instrument on the marked area, then press Space to start.\n"
                          "Space pauses the run, Esc ends it.";
const char kPausedText[] = "Paused. Press Space to go on, Esc to end the run.";
} // namespace

WindowPatchDisplay::WindowPatchDisplay(const ShowMethod& settings, std::atomic<bool>* end)
    : m_settings(settings), m_end(end),
      m_window(std::make_unique<PatchWindow>(settings.patchPercent, settings.background)) {
    QObject::connect(m_window.get(), &PatchWindow::spacePressed, m_window.get(), [this] { onSpace(); });
    QObject::connect(m_window.get(), &PatchWindow::endRequested, m_window.get(), [this] { onEnd(); });
}

WindowPatchDisplay::~WindowPatchDisplay() = default;

bool WindowPatchDisplay::Open(QString* error) {
    const QString problem = ScreenProblem(m_settings.screen);
    if (!problem.isEmpty()) {
        if (error)
            *error = problem;
        return false;
    }
    QScreen* screen = QGuiApplication::screens().at(m_settings.screen);
    m_window->setGeometry(screen->geometry());
    m_window->winId(); // makes the native window, so it can be put on its screen before it shows
    if (QWindow* handle = m_window->windowHandle())
        handle->setScreen(screen);
    m_window->showMarker(QString());
    m_window->showFullScreen();
    m_window->raise();
    m_window->activateWindow();
    return true;
}

bool WindowPatchDisplay::Show(const Patch& patch, QString* error) {
    if (!m_window->isVisible() && !m_endedByUser && !Open(error))
        return false;
    if (!m_started) {
        notice(QStringLiteral("place the instrument on the marked area of screen %1, then press Space in "
                              "the patch window (Space pauses, Esc ends the run)")
                   .arg(m_settings.screen));
        m_window->showMarker(QString::fromUtf8(kStartText));
        if (!waitForSpace()) {
            if (error)
                *error = QStringLiteral("the run ended before the first patch");
            return false;
        }
        m_started = true;
    }
    if (m_pauseRequested) {
        notice(QStringLiteral("paused: press Space in the patch window to go on, Esc to end the run"));
        m_window->showMarker(QString::fromUtf8(kPausedText));
        if (!waitForSpace()) {
            if (error)
                *error = QStringLiteral("the run ended while paused before patch %1").arg(patch.id);
            return false;
        }
        notice(QStringLiteral("going on"));
    }
    m_window->showPatch(QColor(EightBitLevel(patch.r), EightBitLevel(patch.g), EightBitLevel(patch.b)));
    return true;
}

bool WindowPatchDisplay::waitForSpace() {
    m_waiting = true;
    m_spaceSeen = false;
    m_pauseRequested = false;
    while (!m_spaceSeen && !(m_end && m_end->load()))
        InterruptibleWait(kWaitSliceMs, m_end);
    m_waiting = false;
    return m_spaceSeen && !(m_end && m_end->load());
}

void WindowPatchDisplay::onSpace() {
    if (m_waiting) {
        m_spaceSeen = true;
        return;
    }
    if (!m_started)
        return;
    // The reading under way is finished first: nothing is drawn over the patch while it is measured.
    m_pauseRequested = !m_pauseRequested;
    notice(m_pauseRequested ? QStringLiteral("pausing after this reading (Space again cancels)")
                            : QStringLiteral("pause cancelled"));
}

void WindowPatchDisplay::onEnd() {
    if (m_endedByUser)
        return;
    m_endedByUser = true;
    if (m_end)
        m_end->store(true);
    notice(QStringLiteral("Esc: ending the run after this reading, every reading kept"));
}

void WindowPatchDisplay::notice(const QString& text) const {
    if (m_notice)
        m_notice(text);
}
