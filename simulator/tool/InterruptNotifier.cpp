#include "InterruptNotifier.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
int g_pipe[2] = {-1, -1};

void onSignal(int signalNumber) {
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    if (g_pipe[1] >= 0) {
        // Nothing to do if the pipe is full: enough interrupts are already waiting.
        ssize_t ignored = ::write(g_pipe[1], &byte, 1);
        (void)ignored;
    }
    errno = saved;
}

void install(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}
} // namespace

InterruptNotifier::InterruptNotifier(QObject* parent) : QObject(parent) {
    if (g_pipe[0] < 0) {
        if (::pipe(g_pipe) != 0) {
            g_pipe[0] = g_pipe[1] = -1;
            return;
        }
        for (int fd : g_pipe) {
            ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
    }
    m_notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { onReadable(); });
    install(onSignal);
}

InterruptNotifier::~InterruptNotifier() {
    restoreDefaultHandlers();
}

bool InterruptNotifier::isActive() const {
    return m_notifier != nullptr;
}

int InterruptNotifier::count() const {
    return m_count;
}

void InterruptNotifier::restoreDefaultHandlers() {
    install(SIG_DFL);
}

void InterruptNotifier::onReadable() {
    unsigned char byte = 0;
    while (::read(g_pipe[0], &byte, 1) == 1) {
        ++m_count;
        emit interrupted(int(byte));
    }
}
