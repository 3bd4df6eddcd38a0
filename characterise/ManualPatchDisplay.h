#pragma once

#include "PatchDisplay.h"

#include <atomic>

class QIODevice;
class QTextStream;

// A person shows each patch: its device values are printed, and the run goes on when Enter is
// pressed. Ctrl-C (the interrupt flag) ends the wait for Enter at once.
class ManualPatchDisplay : public PatchDisplay {
public:
    // `in` is where Enter comes from: a terminal or pipe (read as it comes, so the wait stays
    // interruptible), or any other device (read a line at a time).
    ManualPatchDisplay(QTextStream* out, QIODevice* in, const std::atomic<bool>* interrupt = nullptr);
    bool Show(const Patch& patch, QString* error) override;

private:
    enum class Wait { Enter, EndOfInput, Interrupted };
    Wait waitForEnter();

    QTextStream* out_;
    QIODevice* in_;
    const std::atomic<bool>* interrupt_;
};
