#pragma once

#include "ColourQuantities.h"
#include "Columns.h"
#include "OutputFormat.h"
#include "Quantity.h"
#include "SessionSettings.h"

#include <QString>

// What the user asked chromameter to do, as read from the command line.

enum class CliCommand { None, Ports, Detect, Measure };

struct CliOptions {
    CliCommand command = CliCommand::None;
    bool help = false;
    bool version = false;

    // Global.
    QString simulate;  // family name; empty: a real instrument
    QString simValues; // "Lv,x,y[,Tcp]" for the simulator; empty: its default reading
    QString simFault;  // fault mode name for the simulator; empty: none
    QString simLine;   // line model of the simulator; empty: the realistic one
    QString port;      // detection tries this port only
    QString catalogue; // file of "NAME<TAB>DESCRIPTION" lines replacing the system's port list
    bool trace = false;

    // ports, detect, measure.
    OutputFormat format = OutputFormat::Table;

    // measure.
    int count = 1;
    bool countGiven = false;
    bool continuous = false;
    double intervalSec = 0.0;
    bool intervalGiven = false;
    bool tcp = false;
    double timeoutSec = 60.0;
    QString plotFile;
    // Readings are compared with this white, or with the first reading (referenceFirst).
    bool hasReference = false;
    bool referenceFirst = false;
    ColourReference reference;
    // The columns of the table and CSV; empty: the default (Lv, x, y, CCT, Duv, and Δu′v′ with a
    // reference).
    QVector<Quantity> quantities;

    // What the parts below the command line take of these.
    SessionSettings session() const;
    // The columns of a run on `instrument` (a reference counts where the instrument gives colour).
    Columns columns(const InstrumentInfo& instrument) const;
};
