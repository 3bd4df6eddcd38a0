#include "HostWatcher.h"

HostWatcher::HostWatcher(QObject* parent) : QObject(parent) {}

HostWatcher::~HostWatcher() = default;

void HostWatcher::OnMeasureFinished() {
    ++m_finished;
    emit measureFinished();
}

void HostWatcher::OnMeasureFailed(unsigned long code) {
    ++m_failed;
    emit measureFailed(code);
}

void HostWatcher::OnConnected() {
    emit connected();
}

void HostWatcher::OnDisconnected() {
    emit disconnected();
}

void HostWatcher::OnZeroCalibrated(unsigned long code) {
    emit zeroCalibrated(code);
}
