#pragma once

#include <QString>

// One patch of a characterisation: the device values put on the display, and where they came from.
struct Patch {
    int id = 0;     // 1-based in set order; stays the same across a resume and a retake
    QString set;    // the patch set it came from: "grey", "primaries", "saturations", "colorchecker", ...
    QString name;   // what a person calls it ("grey 50 %", "red", "dark skin"); may be empty
    double r = 0.0; // device values, 0..1
    double g = 0.0;
    double b = 0.0;
};
