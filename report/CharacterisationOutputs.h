#pragma once

#include "CharacterisationFigures.h"
#include "CharacterisationOutputSettings.h"
#include "Journal.h"
#include "Target.h"

class StatusConsole;

// Every output of a characterisation from its journal: the figures in the chosen format on stdout,
// and the CTI3 file, the HTML page and the ICC profile where asked for. The same for a run that has
// just ended and for one re-made later. False when an output could not be written (said on the
// console); the others are still written. `computed`, when given, receives the figures.
bool WriteCharacterisationOutputs(const JournalContents& contents, const Target& target,
                                  const CharacterisationOutputSettings& settings, StatusConsole& console,
                                  CharacterisationFigures* computed = nullptr);
