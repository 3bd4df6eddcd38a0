#include "CliOptions.h"

Columns CliOptions::columns(const InstrumentInfo& instrument) const {
    return Columns(instrument, quantities, hasReference && instrument.givesXy);
}
