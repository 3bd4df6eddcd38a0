#pragma once

#include "IMinolta.h"

#include <QList>

// Process-wide list of the host's watchers. Not owned; no lock: register on the host's thread only.
class CMinoltaVistor {
public:
    CMinoltaVistor() {}
    virtual ~CMinoltaVistor() {}

    static CMinoltaVistor* GetInstance();

    void Register(IMinoltaWatcher* watcher);
    void Unregister(IMinoltaWatcher* watcher);
    int NotifyAll_MeasureFinished();
    int NotifyAll_MeasureFailed(unsigned long code);
    int NotifyAll_Connected();
    int NotifyAll_Disconnected();
    int NotifyAll_ZeroCalibrated(unsigned long code);

    QList<IMinoltaWatcher*> m_watchers;

    static CMinoltaVistor* m_pInstance;

    class CLear {
    public:
        virtual ~CLear();
    };
    static CLear m_clear;
};
