#pragma once

#include <QRect>
#include <QSize>

// Where the patch goes on a screen of `screen` pixels: a centred square covering `percent` of the
// screen's area (the instrument's round aperture sits on it whichever way the screen is turned). A
// square too large for the short side keeps that side and widens to make up the area; 100 or more
// is the whole screen.
QRect PatchArea(const QSize& screen, double percent);

// A 0..1 device value as the 8-bit level the screen is given (rounded, clamped).
int EightBitLevel(double value);
