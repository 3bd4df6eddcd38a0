#pragma once

#include "CharacterisationWriter.h"

// One JSON object on one line, {"characterisation": {...}}: target, white, black, contrast, greys,
// gamma, primaries, gamut, delta_E2000, drift and patches, each only when it applies.
class CharacterisationJsonWriter : public CharacterisationWriter {
public:
    void Write(const CharacterisationFigures& figures, QTextStream& out) const override;
};
