#pragma once

#include <QString>

// Figures that are not a reading's quantity (a gamma, a coverage, a ratio, a percentage), rounded to
// the digits that mean something.

// As JSON writes it: the value rounded to `decimals` in its shortest text, or null.
QString FigureJson(double value, int decimals);
// As the table and CSV write it: `decimals` fixed decimals, or empty for a value that is not a number.
QString FigureText(double value, int decimals);
// A fraction as a percentage with one decimal ("99.3 %").
QString PercentText(double fraction);
// The name people know a reference colour space by ("srgb" is "sRGB", "p3" is "DCI-P3").
QString SpaceTitle(const QString& space);
