#pragma once

#include "PatchDisplay.h"
#include "ShowMethod.h"

#include <QString>

#include <atomic>
#include <functional>
#include <memory>

class PatchWindow;

// Shows each patch in a full-screen window on the chosen screen. Before the first patch the window
// marks the patch area and waits for Space, so the user can put the instrument on it. Space during
// the run pauses before the next patch (and Space again goes on); Esc, or closing the window, ends
// the run after the reading under way, through the same flag Ctrl-C sets, so the run stops in order
// with every reading kept.
class WindowPatchDisplay : public PatchDisplay {
public:
    // `end` is read during every wait (Ctrl-C sets it) and set by Esc. Needs a GUI application.
    WindowPatchDisplay(const ShowMethod& settings, std::atomic<bool>* end);
    ~WindowPatchDisplay() override;

    // Puts the window up full screen on its screen; false with a message when there is no such
    // screen or no window system.
    bool Open(QString* error);
    bool Show(const Patch& patch, QString* error) override;

    // Whether the user ended the run (Esc or the window closed), as opposed to Ctrl-C.
    bool EndedByUser() const { return m_endedByUser; }
    // What the user should know, as it happens (waiting for Space, paused, ending).
    void SetNoticeCallback(std::function<void(const QString&)> notice) { m_notice = std::move(notice); }
    PatchWindow* Window() const { return m_window.get(); }

private:
    void onSpace();
    void onEnd();
    bool waitForSpace();
    void notice(const QString& text) const;

    ShowMethod m_settings;
    std::atomic<bool>* m_end;
    std::unique_ptr<PatchWindow> m_window;
    std::function<void(const QString&)> m_notice;
    bool m_started = false;
    bool m_waiting = false;
    bool m_spaceSeen = false;
    bool m_pauseRequested = false;
    bool m_endedByUser = false;
};
