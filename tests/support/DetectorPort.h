#pragma once

// The detector's serial port, for tests that drive a driver or the command channel directly instead
// of through detection.

#include "InstrumentLine.h"
#include "SerialPortCross.h"

#include <QString>

// The detector's port, which every driver talks through.
SerialPortCross& detectorPort();
// The detector's line (its port and the way writes reach it), the one every driver is given.
CInstrumentLine& detectorLine();
// Opens the detector's port on `path` at `baud`, with the line settings of detection.
bool openDetectorPort(const QString& path, int baud = 9600);
