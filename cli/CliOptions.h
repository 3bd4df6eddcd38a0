#pragma once

#include <QString>

// What the user asked chromameter to do, as read from the command line.

enum class CliCommand { None, Ports, Detect, Measure };

enum class OutputFormat { Table, Json, Csv };

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
};
