#pragma once

#include "EventLoopWait.h"
#include "IMinolta.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// Threads of this process; a driver's worker counts until it has really ended.
int processThreadCount();

// The moment now, to the second, as an instrument's date stamp carries it.
QDateTime nowToTheSecond();
// Checks a "yyyy,MM,dd,hh,mm,ss" stamp lies between two moments.
void expectStampBetween(const QByteArray& stamp, const QDateTime& before, const QDateTime& after);

// Points detection at these ports (names and descriptions); restores the system list on destruction.
class CatalogueScope {
public:
    CatalogueScope(const QStringList& names, const QStringList& descriptions = QStringList());
    ~CatalogueScope();
};

// Captures the Qt message stream while alive (and still forwards nothing to stderr).
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    QStringList lines() const;
    bool contains(const QString& text) const;
    int count(const QString& text) const;
    void clear();
};

// A watcher that records every call with the calling thread.
class RecordingWatcher : public IMinoltaWatcher {
public:
    struct Event {
        QString name;
        unsigned long code;
        std::thread::id thread;
    };
    void OnMeasureFinished() override;
    void OnMeasureFailed(unsigned long code) override;
    void OnConnected() override;
    void OnDisconnected() override;
    void OnZeroCalibrated(unsigned long code) override;

    std::vector<Event> events() const;
    int count(const QString& name) const;
    // The last event's name, or an empty string.
    QString last() const;
    void clear();
    // Called (outside the lock) after an event is recorded, on the notifying thread.
    std::function<void(const QString&)> onEvent;

private:
    void add(const QString& name, unsigned long code);
    mutable std::mutex m_mutex;
    std::vector<Event> m_events;
};

// One measurement through `host`, as a host makes it: `watcher` (registered with it) hears it finish
// and the simulator's default reading reads back.
void expectDefaultReadingMeasured(IMinolta& host, const RecordingWatcher& watcher);
