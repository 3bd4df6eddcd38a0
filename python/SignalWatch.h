#pragma once

#include <QTimer>

#include <functional>

// While it lives, looks every few tens of milliseconds, from the event loop of the thread that made
// it, whether Python has a signal to handle (Ctrl-C), and lets Python's handler run with the GIL
// taken back for that moment. When the handler raises, `onRaised` is called once and the exception
// stays pending for the caller to throw once its wait is over. Made with the GIL released.
class SignalWatch {
public:
    explicit SignalWatch(std::function<void()> onRaised);
    ~SignalWatch();

    // Whether a signal handler raised (its exception is pending in the interpreter).
    bool raised() const { return m_raised; }

private:
    void check();

    std::function<void()> m_onRaised;
    QTimer m_timer;
    bool m_raised = false;
};
