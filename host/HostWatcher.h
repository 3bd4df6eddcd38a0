#pragma once

#include "IMinolta.h"

#include <QObject>

#include <atomic>

// chromameter's observer of the instrument. The library calls it on its worker threads (measurement
// outcomes) or on the caller's thread (connect, disconnect, and the luminance meter's measurement);
// each call becomes a Qt signal, which reaches receivers on the host's thread through its event
// loop. The counters can be read on any thread at once.
class HostWatcher : public QObject, public IMinoltaWatcher {
    Q_OBJECT

public:
    explicit HostWatcher(QObject* parent = nullptr);
    ~HostWatcher() override;

    void OnMeasureFinished() override;
    void OnMeasureFailed(unsigned long code) override;
    void OnConnected() override;
    void OnDisconnected() override;
    void OnZeroCalibrated(unsigned long code) override;

    int finishedCount() const { return m_finished.load(); }
    int failedCount() const { return m_failed.load(); }

signals:
    void measureFinished();
    void measureFailed(unsigned long code);
    void connected();
    void disconnected();
    void zeroCalibrated(unsigned long code);

private:
    std::atomic<int> m_finished{0};
    std::atomic<int> m_failed{0};
};
