#pragma once

#include "Patch.h"

#include <QString>

// Puts a patch on the display being measured: a person at the screen, a pattern generator driven by
// a command, the simulator's virtual display, or (later) a window of our own.
class PatchDisplay {
public:
    virtual ~PatchDisplay() = default;
    // True once the patch is on its way to the screen (the run then waits the settle time). False
    // with a message when it cannot be shown: the run ends there.
    virtual bool Show(const Patch& patch, QString* error) = 0;
};
