#pragma once

#include <QDateTime>
#include <QString>

// What a characterisation run was asked to do, as its journal records it: enough to resume it, to
// retake patches of it, and to compute its figures again without the original command line.
struct RunSettings {
    QString patchSets = "grey:11,primaries";
    QString order = "set"; // MeasureOrder::Text()
    int settleMs = 200;    // wait after showing a patch before measuring it
    int retries = 1;       // further tries of a failed reading
    int whiteEvery = 0;    // re-measure white after every N patches (0: never)
    // The target, as the user gave it (RgbSpace's and Eotf's parsers read these back).
    QString targetSpace = "srgb";
    QString targetWhite = "D65";
    QString targetEotf = "gamma:2.2";
    QString instrumentFamily; // e.g. "analyser"
    QString port;             // e.g. "/dev/cu.usbserial-1420"
    QDateTime started;        // when the run began (UTC)
};
