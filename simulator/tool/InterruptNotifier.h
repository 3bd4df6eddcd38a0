#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a Qt signal on the thread that owns the notifier, so a tool can end
// its work in its own time (disconnect an instrument, stop a simulator) instead of dying in the
// middle of an exchange. A handler only writes one byte to a pipe; everything else happens in the
// event loop. One notifier per process.
class InterruptNotifier : public QObject {
    Q_OBJECT

public:
    explicit InterruptNotifier(QObject* parent = nullptr);
    ~InterruptNotifier() override;

    // Whether the handlers are in place (false if the pipe could not be made).
    bool isActive() const;
    // How many interrupts arrived so far.
    int count() const;
    // Gives SIGINT and SIGTERM back their default action: the next one ends the process at once.
    static void restoreDefaultHandlers();

signals:
    void interrupted(int signalNumber);

private:
    void onReadable();

    QSocketNotifier* m_notifier = nullptr;
    int m_count = 0;
};
