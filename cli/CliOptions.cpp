#include "CliOptions.h"

Columns CliOptions::columns(const InstrumentInfo& instrument) const {
    return Columns(instrument, quantities, hasReference && instrument.givesXy);
}

bool CliOptions::needsWindowSystem() const {
    return command == CliCommand::Screens ||
           (command == CliCommand::Characterise && characterise.show.kind == ShowMethod::Kind::Window);
}
