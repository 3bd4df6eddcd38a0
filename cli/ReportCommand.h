#pragma once

#include "CharacteriseCommandSettings.h"
#include "ReportCommandSettings.h"

class StatusConsole;

// "chromameter report JOURNAL": every figure and output of a saved run computed again from its
// journal, without an instrument; with another target when one is given.
class ReportCommand {
public:
    ReportCommand(const ReportCommandSettings& report, const CharacteriseCommandSettings& outputs,
                  StatusConsole& console);

    // The exit status: 0, 1 when an output could not be written, 2 when the journal or the target
    // cannot be read.
    int run();

private:
    ReportCommandSettings m_report;
    CharacteriseCommandSettings m_outputs;
    StatusConsole& m_console;
};
