#include "PtyLink.h"

#include <QDir>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

namespace {

// ptsname() fills one static buffer, and ptsname_r is not on every macOS we build for.
std::mutex g_ptsnameMutex;

// Numbers of the links alive in this process. QSerialPort locks a port by the base name of its path
// in a machine-wide folder, so a name must not repeat across processes (the pid sees to that) nor
// between live links of one process.
std::mutex g_numberMutex;
std::set<qint64> g_liveNumbers;
qint64 g_nextCounter = 0;

qint64 takeLinkNumber() {
    std::lock_guard<std::mutex> lock(g_numberMutex);
    const qint64 base = qint64(::getpid()) * 100;
    for (int tries = 0; tries < 100; ++tries) {
        const qint64 n = base + (g_nextCounter++ % 100);
        if (g_liveNumbers.insert(n).second)
            return n;
    }
    // A hundred links alive at once in one process: leave the pid's range rather than fail.
    qint64 n;
    do
        n = base * 1000 + g_nextCounter++;
    while (!g_liveNumbers.insert(n).second);
    return n;
}

void releaseLinkNumber(qint64 n) {
    std::lock_guard<std::mutex> lock(g_numberMutex);
    g_liveNumbers.erase(n);
}

int speedToBaud(speed_t speed) {
    struct Entry {
        speed_t speed;
        int baud;
    };
    static const Entry table[] = {
        {B0, 0},           {B50, 50},     {B75, 75},       {B110, 110},     {B134, 134},   {B150, 150},
        {B200, 200},       {B300, 300},   {B600, 600},     {B1200, 1200},   {B1800, 1800}, {B2400, 2400},
        {B4800, 4800},     {B9600, 9600}, {B19200, 19200}, {B38400, 38400},
#ifdef B57600
        {B57600, 57600},
#endif
#ifdef B115200
        {B115200, 115200},
#endif
#ifdef B230400
        {B230400, 230400},
#endif
#ifdef B460800
        {B460800, 460800},
#endif
#ifdef B921600
        {B921600, 921600},
#endif
    };
    for (const Entry& e : table)
        if (e.speed == speed)
            return e.baud;
#if defined(__APPLE__)
    // macOS keeps the speed as the number itself, custom rates included.
    return int(speed);
#else
    return -1;
#endif
}

// A process that dies without unplugging (killed by a test runner's time-out, say) leaves its folder
// behind. Folders carry their owner's pid; those whose owner is gone are removed.
void sweepAbandonedFolders() {
    QDir temp(QDir::tempPath());
    const QStringList names =
        temp.entryList({QStringLiteral("chromasim-*-*")}, QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    for (const QString& name : names) {
        bool ok = false;
        const qint64 pid = name.section(QLatin1Char('-'), 1, 1).toLongLong(&ok);
        if (!ok || pid <= 0 || pid == qint64(::getpid()))
            continue;
        if (::kill(pid_t(pid), 0) != 0 && errno == ESRCH)
            QDir(temp.filePath(name)).removeRecursively();
    }
}

void setError(QString* error, const QString& what) {
    if (error)
        *error = QStringLiteral("%1: %2").arg(what, QString::fromLocal8Bit(std::strerror(errno)));
}

} // namespace

PtyLink::PtyLink() = default;

PtyLink::~PtyLink() {
    unplug();
}

bool PtyLink::open(QString* error) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_master >= 0)
        return true;

    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0) {
        setError(error, QStringLiteral("posix_openpt"));
        return false;
    }
    QString device;
    {
        std::lock_guard<std::mutex> nameLock(g_ptsnameMutex);
        const char* name = (::grantpt(master) == 0 && ::unlockpt(master) == 0) ? ::ptsname(master) : nullptr;
        if (name)
            device = QString::fromLocal8Bit(name);
    }
    if (device.isEmpty()) {
        setError(error, QStringLiteral("grantpt/unlockpt/ptsname"));
        ::close(master);
        return false;
    }
    const int slave = ::open(device.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (slave < 0) {
        setError(error, QStringLiteral("open ") + device);
        ::close(master);
        return false;
    }
    // Raw both ways, as a serial adapter: no echo, no line editing, no translation of CR and LF.
    termios tio;
    if (::tcgetattr(slave, &tio) == 0) {
        ::cfmakeraw(&tio);
        ::tcsetattr(slave, TCSANOW, &tio);
    }
    // The instrument side must never block: a reply nobody reads must not stall the simulator.
    ::fcntl(master, F_SETFL, ::fcntl(master, F_GETFL) | O_NONBLOCK);
    ::fcntl(master, F_SETFD, FD_CLOEXEC);
    ::fcntl(slave, F_SETFD, FD_CLOEXEC);

    sweepAbandonedFolders();
    QByteArray pattern =
        QDir(QDir::tempPath()).filePath(QStringLiteral("chromasim-%1-XXXXXX").arg(::getpid())).toLocal8Bit();
    if (!::mkdtemp(pattern.data())) {
        setError(error, QStringLiteral("mkdtemp"));
        ::close(slave);
        ::close(master);
        return false;
    }
    const QString folder = QString::fromLocal8Bit(pattern);
    const qint64 number = takeLinkNumber();
    const QString link = folder + QStringLiteral("/dev/cu.usbserial-SIM") + QString::number(number);
    if (!QDir().mkpath(folder + QStringLiteral("/dev")) ||
        ::symlink(device.toLocal8Bit().constData(), link.toLocal8Bit().constData()) != 0) {
        setError(error, QStringLiteral("symlink ") + link);
        releaseLinkNumber(number);
        QDir(folder).removeRecursively();
        ::close(slave);
        ::close(master);
        return false;
    }

    m_master = master;
    m_slave = slave;
    m_folder = folder;
    m_link = link;
    m_device = device;
    m_number = number;
    return true;
}

QString PtyLink::linkPath() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_link;
}

QString PtyLink::devicePath() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_device;
}

int PtyLink::masterFd() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_master;
}

int PtyLink::baudRate() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_slave < 0)
        return 0;
    termios tio;
    if (::tcgetattr(m_slave, &tio) != 0)
        return 0;
    // The library sets both directions alike; the output speed is what the instrument would see.
    const int out = speedToBaud(::cfgetospeed(&tio));
    return out > 0 ? out : speedToBaud(::cfgetispeed(&tio));
}

bool PtyLink::isPlugged() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_master >= 0;
}

void PtyLink::unplug() {
    std::lock_guard<std::mutex> lock(m_mutex);
    closeLocked();
}

void PtyLink::closeLocked() {
    if (m_master < 0)
        return;
    // Closing the master hangs the device up for whoever still has it open, as a pulled cable does.
    ::close(m_slave);
    ::close(m_master);
    m_slave = -1;
    m_master = -1;
    ::unlink(m_link.toLocal8Bit().constData());
    QDir(m_folder).removeRecursively();
    releaseLinkNumber(m_number);
    m_number = -1;
}

qint64 PtyLink::write(const QByteArray& bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_master < 0)
        return -1;
    qint64 done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(m_master, bytes.constData() + done, size_t(bytes.size() - done));
        if (n > 0) {
            done += n;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        return done > 0 ? done : -1;
    }
    return done;
}
