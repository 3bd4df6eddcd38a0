#pragma once

#include "OutputFormat.h"
#include "RunSettings.h"
#include "ShowMethod.h"

#include <QString>

// What "chromameter characterise" was asked to do.
struct CharacteriseCommandSettings {
    RunSettings run;        // a new run's settings (a resume or retake takes its journal's)
    QString savePath;       // the new run's journal; empty: a time-stamped file in the working folder
    QString resumePath;     // --resume
    QString retakePath;     // --retake
    QString retakeIds;      // --ids
    bool simulated = false; // --simulate: the patches go to the simulator's display unless --show says
    bool showGiven = false;
    ShowMethod show;
    bool normaliseDrift = false;
    OutputFormat format = OutputFormat::Table;
    QString ti3Path;
    double timeoutSec = 60.0; // a reading that takes longer fails
};
