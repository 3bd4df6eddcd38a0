#pragma once

#include "CharacterisationWriter.h"

// The output for people, at most 100 columns wide: the summary figures (target, white, black,
// contrast, gamma, primaries and gamut, ΔE2000 with its verdict, drift), the grey steps, the patches,
// and notes on what was left out and why.
class CharacterisationTableWriter : public CharacterisationWriter {
public:
    void Write(const CharacterisationFigures& figures, QTextStream& out) const override;
};
