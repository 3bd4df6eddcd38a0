#pragma once

#include "ColourQuantities.h"

#include <QDateTime>
#include <QString>

// What an instrument is, as chromameter reports it.
struct InstrumentInfo {
    QString family;                // "analyser"
    int type = -1;                 // the detection's type number
    QString title;                 // "Minolta colour analyser"
    QString port;                  // the path detection opened
    bool givesXy = true;           // chromaticity (every family but the luminance meter)
    bool givesTcp = false;         // the colour temperature is read (asked for, and offered)
    bool givesMeasureData = false; // the seven values of ReadMeasureData (the spectroradiometer)
    bool polledReading = false;    // measures on this thread, reading from ReadLastestData (luminance)
};

// One reading, or one failed attempt at it.
struct Reading {
    int index = 0;            // 1, 2, ...
    QDateTime time;           // when the measurement was started (UTC)
    double elapsedSec = 0.0;  // since the command started
    unsigned long result = 0; // 0: the values below hold
    QString error;            // what went wrong, when result is not 0

    double Lv = 0.0;
    double x = 0.0;
    double y = 0.0;
    double Tcp = 0.0;
    // ReadMeasureData's seven values, in its parameter order: value1, value2, value3, Lv, x, y, value7.
    double measureData[7] = {0, 0, 0, 0, 0, 0, 0};

    // What Lv, x and y tell (every instrument but the luminance meter).
    bool hasColour = false;
    ColourQuantities colour;

    bool ok() const { return result == 0; }
};
