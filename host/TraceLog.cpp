#include "TraceLog.h"

#include "StatusConsole.h"

#include <QElapsedTimer>
#include <QtGlobal>

#include <atomic>
#include <cstdlib>

namespace {
std::atomic<StatusConsole*> g_console{nullptr};
std::atomic<bool> g_trace{false};
std::function<void()> g_beforeLibraryLine;
QElapsedTimer g_clock;

// Trace lines carry the seconds since the start, to see where the time goes.
QString stamped(const QString& text) {
    return QStringLiteral("[%1] %2").arg(double(g_clock.elapsed()) / 1000.0, 7, 'f', 3).arg(text);
}

void handleMessage(QtMsgType type, const QMessageLogContext&, const QString& message) {
    StatusConsole* console = g_console.load();
    if (type == QtFatalMsg) {
        if (console)
            console->line(QStringLiteral("fatal: ") + message);
        std::abort();
    }
    if (!g_trace.load() || !console)
        return;
    if (g_beforeLibraryLine)
        g_beforeLibraryLine();
    const char* kind = type == QtDebugMsg || type == QtInfoMsg ? "" : "warning: ";
    console->line(stamped(QStringLiteral("library: %1%2").arg(QLatin1String(kind), message)));
}
} // namespace

void TraceLog::Install(StatusConsole* console, bool trace) {
    g_clock.start();
    g_console.store(console);
    g_trace.store(trace);
    qInstallMessageHandler(handleMessage);
}

void TraceLog::Uninstall() {
    qInstallMessageHandler(nullptr);
    g_console.store(nullptr);
    g_beforeLibraryLine = nullptr;
}

void TraceLog::Traffic(const char* direction, const QString& text) {
    StatusConsole* console = g_console.load();
    if (g_trace.load() && console)
        console->line(stamped(QStringLiteral("serial:  %1 %2").arg(QLatin1String(direction), text)));
}

void TraceLog::Session(const QString& text) {
    StatusConsole* console = g_console.load();
    if (g_trace.load() && console)
        console->line(stamped(QStringLiteral("session: %1").arg(text)));
}

void TraceLog::SetBeforeLibraryLine(std::function<void()> hook) {
    g_beforeLibraryLine = std::move(hook);
}

bool TraceLog::IsTracing() {
    return g_trace.load();
}
