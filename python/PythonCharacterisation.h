#pragma once

#include "PythonOutputs.h"
#include "RunSettings.h"

#include <QString>

#include <pybind11/pybind11.h>

class PythonInstrument;

// A display's characterisation run from Python, as "chromameter characterise" runs it: the patch
// sets and target of `settings`, each patch shown (on the simulator's virtual display, by a command
// or by a Python callable), measured into the journal, and the figures at the end.
struct PythonCharacterisation {
    RunSettings settings;
    QString show = QStringLiteral("simulator"); // "simulator", "window", "command:CMD"; or `showCallable`
    pybind11::handle showCallable;              // null unless a callable shows the patches (borrowed)
    QString journalPath;                        // empty: a temporary journal, removed afterwards
    bool resume = false;                        // continue the run saved in journalPath
    double timeoutSec = 10.0;                   // for one reading
    // Outputs written besides the figures returned (empty paths: not written), drift normalising.
    PythonOutputs outputs;

    // Runs it on `instrument` with the GIL released. The figures as the JSON of "chromameter
    // characterise --format json". Throws InstrumentFailure; returns an empty string when a Python
    // exception is pending (Ctrl-C, or the show callable raised).
    QString run(PythonInstrument& instrument);
};
