#pragma once

#include "CharacteriseCommandSettings.h"
#include "ColourQuantities.h"
#include "Columns.h"
#include "OutputFormat.h"
#include "Quantity.h"
#include "ReportCommandSettings.h"
#include "SessionSettings.h"

#include <QString>

// What the user asked chromameter to do, as read from the command line.

enum class CliCommand { None, Ports, Detect, Measure, Characterise, Screens, Report };

struct CliOptions {
    CliCommand command = CliCommand::None;
    bool help = false;
    bool version = false;

    // Global: where the instrument is, and how the simulator behaves. --tcp (an option of measure)
    // sets readTcp.
    SessionSettings session;

    // ports, detect, measure.
    OutputFormat format = OutputFormat::Table;

    // measure.
    int count = 1;
    bool countGiven = false;
    bool continuous = false;
    double intervalSec = 0.0;
    bool intervalGiven = false;
    double timeoutSec = 60.0;
    QString plotFile;
    // Readings are compared with this white, or with the first reading (referenceFirst).
    bool hasReference = false;
    bool referenceFirst = false;
    ColourReference reference;
    // The columns of the table and CSV; empty: the default (Lv, x, y, CCT, Duv, and Δu′v′ with a
    // reference).
    QVector<Quantity> quantities;

    // characterise (--format and --timeout are copied into it); its outputs serve report too.
    CharacteriseCommandSettings characterise;
    // report: the saved run, and another target for it.
    ReportCommandSettings report;

    // The columns of a run on `instrument` (a reference counts where the instrument gives colour).
    Columns columns(const InstrumentInfo& instrument) const;
    // Whether the command needs a window system (a GUI application): the screens list, and a
    // characterisation shown in the patch window. Every other command runs without one.
    bool needsWindowSystem() const;
};
