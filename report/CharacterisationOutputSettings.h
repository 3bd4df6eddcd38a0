#pragma once

#include "OutputFormat.h"

#include <QString>

// Which outputs of a characterisation to write, and how: the same for the command line and Python.
struct CharacterisationOutputSettings {
    OutputFormat format = OutputFormat::Table; // the figures as printed on the console
    bool normaliseDrift = false;
    QString ti3Path;     // empty: no CTI3 file
    QString reportPath;  // the HTML page; empty: none
    QString iccPath;     // the display profile; empty: none
    int iccVersion = 2;  // 2 (writes 2.4) or 4
    QString displayName; // on the page and in the profile's description
};
