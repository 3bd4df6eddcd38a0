#include "MirroredPatchDisplay.h"

MirroredPatchDisplay::MirroredPatchDisplay(PatchDisplay* first, PatchDisplay* second)
    : m_first(first), m_second(second) {}

bool MirroredPatchDisplay::Show(const Patch& patch, QString* error) {
    return m_first->Show(patch, error) && m_second->Show(patch, error);
}
