#pragma once

#include "PatchDisplay.h"

#include <atomic>

// Shows each patch by running a command once (a pattern generator's client, a script), through
// /bin/sh -c, with the patch's values put into its text: {r} {g} {b} as 0..1 with four decimals,
// {R8} {G8} {B8} as 0..255. A command that cannot start, exits with a non-zero status, crashes or
// outlasts its time fails the patch, and the run ends there.
class CommandPatchDisplay : public PatchDisplay {
public:
    explicit CommandPatchDisplay(const QString& commandTemplate, const std::atomic<bool>* interrupt = nullptr,
                                 int timeoutMs = 60000);
    bool Show(const Patch& patch, QString* error) override;

private:
    QString template_;
    const std::atomic<bool>* interrupt_;
    int timeoutMs_;
};

// The command for one patch: the template with its placeholders replaced.
QString ExpandPatchCommand(const QString& commandTemplate, const Patch& patch);
