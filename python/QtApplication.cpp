#include "QtApplication.h"

#include "StatusConsole.h"
#include "TraceLog.h"

#include <QCoreApplication>

void EnsureQtApplication() {
    if (QCoreApplication::instance())
        return;
    // QCoreApplication keeps a reference to argc and argv: they must outlive it.
    static int argc = 1;
    static char name[] = "chromameter";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* application = new QCoreApplication(argc, argv);
    (void)application;
    // The library's diagnostics stay out of a script's output unless CHROMAMETER_TRACE is set, as
    // the command line keeps them for --trace.
    static StatusConsole console(false);
    TraceLog::Install(&console, !qEnvironmentVariableIsEmpty("CHROMAMETER_TRACE"));
}
