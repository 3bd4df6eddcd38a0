#pragma once

#include <QString>

// Small pieces every SVG picture of the outputs shares: numbers as short attributes, escaped text, and
// round tick steps.

// A coordinate to two decimals in its shortest text ("12.5", not "12.50"); finer than anyone sees.
QString SvgNumber(double value);
// Text made safe for XML and HTML content and attribute values.
QString EscapeXml(const QString& text);
// A round step that cuts `span` into about `parts` intervals: 1, 2 or 5 times a power of ten.
double NiceTickStep(double span, int parts);
// A tick value with as many decimals as the step needs (0.6, not 0.6000000000000001).
QString TickText(double value, double step);
