#pragma once

#include "PatchDisplay.h"

#include <pybind11/pybind11.h>

// Shows each patch through a Python callable taking (r, g, b) in 0..1, so a script puts patches on
// screen with its own window toolkit. Called with the GIL released: it takes the GIL for the call.
// When the callable raises, the patch fails and the exception stays pending for the caller to throw.
class CallablePatchDisplay : public PatchDisplay {
public:
    // `show` is borrowed: the caller keeps it alive for as long as this display.
    explicit CallablePatchDisplay(pybind11::handle show) : m_show(show) {}
    bool Show(const Patch& patch, QString* error) override;

    bool raised() const { return m_raised; }

private:
    pybind11::handle m_show;
    bool m_raised = false;
};
