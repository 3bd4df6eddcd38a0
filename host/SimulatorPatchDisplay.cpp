#include "SimulatorPatchDisplay.h"

#include "VirtualDisplay.h"

SimulatorPatchDisplay::SimulatorPatchDisplay(std::shared_ptr<VirtualDisplay> display)
    : m_display(std::move(display)) {}

bool SimulatorPatchDisplay::Show(const Patch& patch, QString* error) {
    if (!m_display) {
        if (error)
            *error =
                QStringLiteral("--show simulator needs the simulator's virtual display (--simulate FAMILY "
                               "--sim-display DISPLAY)");
        return false;
    }
    m_display->Show(patch.r, patch.g, patch.b);
    return true;
}
