#pragma once

#include "PatchDisplay.h"

class QTextStream;

// A person shows each patch: its device values are printed, and the run goes on when Enter is
// pressed.
class ManualPatchDisplay : public PatchDisplay {
public:
    ManualPatchDisplay(QTextStream* out, QTextStream* in);
    bool Show(const Patch& patch, QString* error) override;

private:
    QTextStream* out_;
    QTextStream* in_;
};
