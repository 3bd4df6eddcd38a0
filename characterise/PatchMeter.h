#pragma once

#include "PatchReading.h"

#include <QString>

// Takes one reading of whatever the display shows now.
class PatchMeter {
public:
    virtual ~PatchMeter() = default;
    // Fills the measured quantities of `out` (Lv, and x, y, X, Y, Z with hasColour when the
    // instrument gives colour; the run sets kind, patch id and time). False with a message (and
    // out->result set to the instrument's result code) when the reading failed.
    virtual bool Measure(PatchReading* out, QString* error) = 0;
};
