#include "CliOptions.h"

SessionSettings CliOptions::session() const {
    SessionSettings settings;
    settings.simulate = simulate;
    settings.simValues = simValues;
    settings.simFault = simFault;
    settings.simLine = simLine;
    settings.port = port;
    settings.catalogue = catalogue;
    settings.trace = trace;
    settings.readTcp = tcp;
    return settings;
}

Columns CliOptions::columns(const InstrumentInfo& instrument) const {
    return Columns(instrument, quantities, hasReference && instrument.givesXy);
}
