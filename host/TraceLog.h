#pragma once

#include <QString>

#include <functional>

class StatusConsole;

// Where the library's diagnostics go. The library writes them to the Qt debug stream; a user sees
// them only with --trace (prefixed "[library]"), otherwise they are dropped so the output stays
// readable.
class TraceLog {
public:
    static void Install(StatusConsole* console, bool trace);
    static void Uninstall();
    // Writes a line of serial traffic, when tracing.
    static void Traffic(const char* direction, const QString& text);
    // Writes a line of the host's own, when tracing.
    static void Session(const QString& text);
    static bool IsTracing();
    // Called before each library line is written, on the thread that logs it: a traffic tap
    // reports what went over the line first, so the log keeps the order of events.
    static void SetBeforeLibraryLine(std::function<void()> hook);
};
