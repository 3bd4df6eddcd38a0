#pragma once

#include "PatchDisplay.h"

// Shows each patch on two displays, the first one first: the patch window a person watches, and the
// simulator's virtual display that the simulated instrument measures.
class MirroredPatchDisplay : public PatchDisplay {
public:
    // Both stay the caller's.
    MirroredPatchDisplay(PatchDisplay* first, PatchDisplay* second);
    bool Show(const Patch& patch, QString* error) override;

private:
    PatchDisplay* m_first;
    PatchDisplay* m_second;
};
