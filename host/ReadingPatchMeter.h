#pragma once

#include "PatchMeter.h"

class ReadingTaker;
struct InstrumentInfo;

// A characterisation's meter over the host's session: one reading through the ReadingTaker (the
// calls the family needs, the host's event loop kept running), turned into a PatchReading.
class ReadingPatchMeter : public PatchMeter {
public:
    ReadingPatchMeter(ReadingTaker& taker, const InstrumentInfo& instrument, double timeoutSec);
    bool Measure(PatchReading* out, QString* error) override;

private:
    ReadingTaker& m_taker;
    bool m_givesXy;
    double m_timeoutSec;
};
