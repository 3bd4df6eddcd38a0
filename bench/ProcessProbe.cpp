#include "ProcessProbe.h"

#include <QFile>
#include <QSysInfo>
#include <QThread>

#include <sys/resource.h>
#include <unistd.h>

#if defined(__linux__)
#include <malloc.h>
#elif defined(__APPLE__)
#include <mach/mach.h>
#include <malloc/malloc.h>
#endif

std::int64_t ProcessCpuMicros() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto micros = [](const timeval& t) { return std::int64_t(t.tv_sec) * 1000000 + t.tv_usec; };
    return micros(usage.ru_utime) + micros(usage.ru_stime);
}

std::int64_t ResidentBytes() {
#if defined(__linux__)
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().simplified().split(' ');
    if (fields.size() < 2)
        return -1;
    return fields[1].toLongLong() * sysconf(_SC_PAGESIZE);
#elif defined(__APPLE__)
    mach_task_basic_info info{};
    mach_msg_type_number_t count = MACH_TASK_BASIC_INFO_COUNT;
    if (task_info(mach_task_self(), MACH_TASK_BASIC_INFO, task_info_t(&info), &count) != KERN_SUCCESS)
        return -1;
    return std::int64_t(info.resident_size);
#else
    return -1;
#endif
}

std::int64_t HeapInUseBytes() {
#if defined(__linux__) && defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33))
    const struct mallinfo2 info = mallinfo2();
    // Small blocks and large mapped blocks alike, over every arena.
    return std::int64_t(info.uordblks + info.hblkhd);
#elif defined(__APPLE__)
    malloc_statistics_t stats{};
    malloc_zone_statistics(nullptr, &stats);
    return std::int64_t(stats.size_in_use);
#else
    return -1;
#endif
}

QString LoadAverageText() {
    double load[3] = {0, 0, 0};
    if (getloadavg(load, 3) != 3)
        return QStringLiteral("unknown");
    return QString::asprintf("%.2f %.2f %.2f", load[0], load[1], load[2]);
}

QString MachineText() {
    QString cpu = QSysInfo::currentCpuArchitecture();
#if defined(__linux__)
    QFile info(QStringLiteral("/proc/cpuinfo"));
    if (info.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : info.readAll().split('\n')) {
            if (line.startsWith("model name")) {
                cpu = QString::fromUtf8(line.mid(line.indexOf(':') + 1).trimmed());
                break;
            }
        }
    }
#endif
    return QStringLiteral("%1 %2, %3 cores, %4, load average %5")
        .arg(QSysInfo::kernelType(), QSysInfo::kernelVersion())
        .arg(QThread::idealThreadCount())
        .arg(cpu, LoadAverageText());
}
