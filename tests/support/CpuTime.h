#pragma once

#include <QtGlobal>

// The processor time this process spends from the start, in milliseconds: a wait that spins shows
// as nearly as much processor time as wall-clock time, one that sleeps as little.
class CpuTime {
public:
    CpuTime();
    qint64 elapsedMs() const;

private:
    qint64 m_startNs;
};
