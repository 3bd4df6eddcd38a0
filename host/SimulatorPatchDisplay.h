#pragma once

#include "PatchDisplay.h"

#include <memory>

class VirtualDisplay;

// Shows each patch on the virtual display the simulated instrument measures.
class SimulatorPatchDisplay : public PatchDisplay {
public:
    explicit SimulatorPatchDisplay(std::shared_ptr<VirtualDisplay> display);
    bool Show(const Patch& patch, QString* error) override;

private:
    std::shared_ptr<VirtualDisplay> m_display;
};
