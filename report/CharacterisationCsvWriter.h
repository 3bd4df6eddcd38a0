#pragma once

#include "CharacterisationWriter.h"

// CSV with a header row and one row a patch, in set order, with the per-patch columns of JSON (the
// device values as r, g, b). A value that does not apply is an empty field.
class CharacterisationCsvWriter : public CharacterisationWriter {
public:
    void Write(const CharacterisationFigures& figures, QTextStream& out) const override;
};
