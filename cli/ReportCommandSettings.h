#pragma once

#include <QString>

// What "chromameter report" was asked to do besides the outputs it shares with characterise.
struct ReportCommandSettings {
    QString journalPath;
    // Another target than the run's own; empty: the one the journal records.
    QString targetSpace;
    QString targetWhite;
    QString targetEotf;
};
