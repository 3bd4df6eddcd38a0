#include "ReadingPatchMeter.h"

#include "Reading.h"
#include "ReadingTaker.h"
#include "RgbSpace.h"

ReadingPatchMeter::ReadingPatchMeter(ReadingTaker& taker, const InstrumentInfo& instrument, double timeoutSec)
    : m_taker(taker), m_givesXy(instrument.givesXy), m_timeoutSec(timeoutSec) {}

bool ReadingPatchMeter::Measure(PatchReading* out, QString* error) {
    Reading reading;
    // A patch's figures need Lv and x, y alone.
    m_taker.take(&reading, m_timeoutSec, ReadingTaker::Values::LvXy);
    if (!reading.ok()) {
        out->result = quint32(reading.result);
        if (error)
            *error = reading.error;
        return false;
    }
    out->result = 0;
    out->Lv = reading.Lv;
    out->Y = reading.Lv;
    out->hasColour = m_givesXy;
    if (m_givesXy) {
        out->x = reading.x;
        out->y = reading.y;
        // Black has no chromaticity worth the name; its X and Z are as dark as its Y.
        const Xyz xyz = XyzFromChromaticity({reading.x, reading.y}, reading.Lv);
        out->X = xyz.X;
        out->Z = xyz.Z;
    }
    return true;
}
