#pragma once

#include "CharacterisationOutputSettings.h"
#include "OutputFormat.h"
#include "RunSettings.h"
#include "ShowMethod.h"

#include <QString>

// What "chromameter characterise" was asked to do. Its outputs (format, drift normalising, the CTI3
// file, the page and the profile) serve "chromameter report" too.
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
    QString reportPath;       // --report: the HTML page
    QString iccPath;          // --icc: the display profile
    int iccVersion = 2;       // --icc-version 2 (writes 2.4) or 4
    QString displayName;      // --display-name: on the page and in the profile's description
    double timeoutSec = 60.0; // a reading that takes longer fails

    // The outputs' part, as report/ writes them.
    CharacterisationOutputSettings outputs() const {
        CharacterisationOutputSettings o;
        o.format = format;
        o.normaliseDrift = normaliseDrift;
        o.ti3Path = ti3Path;
        o.reportPath = reportPath;
        o.iccPath = iccPath;
        o.iccVersion = iccVersion;
        o.displayName = displayName;
        return o;
    }
};
