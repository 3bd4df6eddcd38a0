#include "CallablePatchDisplay.h"

bool CallablePatchDisplay::Show(const Patch& patch, QString* error) {
    pybind11::gil_scoped_acquire gil;
    try {
        m_show(patch.r, patch.g, patch.b);
        return true;
    } catch (pybind11::error_already_set& raisedError) {
        m_raised = true;
        if (error)
            *error = QStringLiteral("the show callable raised: ") + QString::fromUtf8(raisedError.what());
        raisedError.restore();
        return false;
    }
}
