#pragma once

#include "CharacterisationFigures.h"
#include "OutputFormat.h"

#include <QStringList>
#include <QTextStream>

#include <memory>

// Writes a characterisation's figures in one output format: the table for people, one JSON object, or
// CSV with a row a patch. A quantity that does not apply (a luminance meter's chromaticity, a contrast
// without black) is left out, never written as a zero. One writer per format, chosen once.
class CharacterisationWriter {
public:
    virtual ~CharacterisationWriter();

    virtual void Write(const CharacterisationFigures& figures, QTextStream& out) const = 0;

    // The per-patch columns of JSON and CSV that apply: the colour ones only when the instrument
    // gives colour. "rgb" stands for the three device values (a list in JSON, r, g, b in CSV).
    static QStringList PatchColumns(bool hasColour);
};

std::unique_ptr<CharacterisationWriter> MakeCharacterisationWriter(OutputFormat format);
