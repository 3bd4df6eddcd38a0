#pragma once

#include "InstrumentModel.h"

#include <QString>

// Reads a simulated reading given as text, "Lv,x,y" or "Lv,x,y,Tcp" (plain decimal numbers; Tcp
// keeps its default when left out). False with a sentence in *error when the text is not one.
bool ParseSimReading(const QString& text, SimReading* reading, QString* error = nullptr);
