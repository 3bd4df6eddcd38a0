#pragma once

#include "CharacterisationFigures.h"
#include "Figures.h"
#include "Journal.h"

#include <QString>

// The figures of a saved run: its patches and every reading its journal holds, against the target
// its settings name. False (with a reason) when the recorded target does not parse.
bool FiguresFromJournal(const JournalContents& contents, const FiguresSettings& settings,
                        CharacterisationFigures* figures, QString* error = nullptr);
