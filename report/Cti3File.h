#pragma once

#include "CharacterisationFigures.h"

#include <QString>

// A characterisation's readings as a CGATS file of sheet type CTI3, the form display profiling tools
// read: DEVICE_CLASS "DISPLAY", COLOR_REP "RGB_XYZ", fields SAMPLE_ID, RGB_R, RGB_G, RGB_B (0–100)
// and XYZ_X, XYZ_Y, XYZ_Z normalised to white Y = 100, with the white's absolute XYZ (cd/m²) in
// LUMINANCE_XYZ_CDM2. Written with LittleCMS. A patch without a reading is left out. False (with a
// reason) when there is nothing to write (no colour, no white) or the file cannot be written.
bool WriteCti3(const CharacterisationFigures& figures, const QString& path, QString* error = nullptr);
