#include "MinoltaVistor.h"

#include "DriverWorkers.h"

CMinoltaVistor* CMinoltaVistor::m_pInstance = nullptr;
CMinoltaVistor::CLear CMinoltaVistor::m_clear;

CMinoltaVistor::CLear::~CLear() {
    // At unload a worker still running ends first, telling the watchers of its failure through the
    // registry, which must still be there.
    CDriverWorkers::StopAll();
    delete m_pInstance;
    m_pInstance = nullptr;
}

CMinoltaVistor* CMinoltaVistor::GetInstance() {
    if (!m_pInstance)
        m_pInstance = new CMinoltaVistor();
    return m_pInstance;
}

void CMinoltaVistor::Register(IMinoltaWatcher* watcher) {
    if (!m_watchers.contains(watcher))
        m_watchers.append(watcher);
}

void CMinoltaVistor::Unregister(IMinoltaWatcher* watcher) {
    const int index = m_watchers.indexOf(watcher);
    if (index >= 0)
        m_watchers.removeAt(index);
}

namespace {
// Walks the list re-reading its size after each call, so a watcher that unregisters itself during
// the call shortens the walk instead of breaking it. A registered null is passed over.
template <typename Call> int notifyEach(QList<IMinoltaWatcher*>& watchers, Call call) {
    for (int i = 0; i < watchers.size(); ++i) {
        IMinoltaWatcher* watcher = watchers.at(i);
        if (watcher)
            call(watcher);
    }
    return 0;
}
} // namespace

int CMinoltaVistor::NotifyAll_MeasureFinished() {
    return notifyEach(m_watchers, [](IMinoltaWatcher* w) { w->OnMeasureFinished(); });
}

int CMinoltaVistor::NotifyAll_MeasureFailed(unsigned long code) {
    return notifyEach(m_watchers, [code](IMinoltaWatcher* w) { w->OnMeasureFailed(code); });
}

int CMinoltaVistor::NotifyAll_Connected() {
    return notifyEach(m_watchers, [](IMinoltaWatcher* w) { w->OnConnected(); });
}

int CMinoltaVistor::NotifyAll_Disconnected() {
    return notifyEach(m_watchers, [](IMinoltaWatcher* w) { w->OnDisconnected(); });
}

int CMinoltaVistor::NotifyAll_ZeroCalibrated(unsigned long code) {
    return notifyEach(m_watchers, [code](IMinoltaWatcher* w) { w->OnZeroCalibrated(code); });
}
