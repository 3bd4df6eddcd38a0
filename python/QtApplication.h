#pragma once

// The library needs a Qt event loop on the thread that owns the port. A Python process has no
// QCoreApplication of its own, so the module makes one the first time it needs it, on that thread,
// and keeps it for the life of the process, with the library's diagnostics routed as the command
// line routes them (shown only with CHROMAMETER_TRACE set).
void EnsureQtApplication();
