#include "CharacterisationWriter.h"

#include "CharacterisationCsvWriter.h"
#include "CharacterisationJsonWriter.h"
#include "CharacterisationTableWriter.h"

CharacterisationWriter::~CharacterisationWriter() = default;

QStringList CharacterisationWriter::PatchColumns(bool hasColour) {
    if (!hasColour)
        return {"id", "set", "rgb", "Lv", "target_Y", "failed"};
    return {"id", "set", "rgb",      "Lv",       "x",        "y",           "X",
            "Y",  "Z",   "target_X", "target_Y", "target_Z", "delta_E2000", "failed"};
}

std::unique_ptr<CharacterisationWriter> MakeCharacterisationWriter(OutputFormat format) {
    switch (format) {
    case OutputFormat::Json:
        return std::make_unique<CharacterisationJsonWriter>();
    case OutputFormat::Csv:
        return std::make_unique<CharacterisationCsvWriter>();
    case OutputFormat::Table:
        break;
    }
    return std::make_unique<CharacterisationTableWriter>();
}
