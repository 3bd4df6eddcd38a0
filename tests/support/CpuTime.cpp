#include "CpuTime.h"

#include <ctime>

namespace {
qint64 processCpuNs() {
    timespec now = {0, 0};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}
} // namespace

CpuTime::CpuTime() : m_startNs(processCpuNs()) {}

qint64 CpuTime::elapsedMs() const {
    return (processCpuNs() - m_startNs) / 1000000;
}
