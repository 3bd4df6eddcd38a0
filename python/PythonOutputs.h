#pragma once

#include "CharacterisationOutputSettings.h"
#include "Journal.h"
#include "Target.h"

#include <QString>

// The outputs a Python call writes from a journal: those of the command line (CTI3, the page, the
// profile, written by the same function) and the figures as JSON, CSV or a table in files.
struct PythonOutputs {
    CharacterisationOutputSettings settings; // its format is not used: the figures come back as JSON
    QString jsonPath;
    QString csvPath;
    QString tablePath;
};

// Writes every output asked for and returns the figures as the JSON of "--format json". Throws
// InstrumentFailure (Usage) when one cannot be written.
QString WritePythonOutputs(const JournalContents& contents, const Target& target,
                           const PythonOutputs& outputs);

// "chromameter report JOURNAL" from Python: the figures of a saved run, against the target given
// (an empty part: the run's own), with the outputs asked for. Throws InstrumentFailure (Usage).
QString PythonReport(const QString& journalPath, const QString& targetSpace, const QString& targetWhite,
                     const QString& targetEotf, const PythonOutputs& outputs);
