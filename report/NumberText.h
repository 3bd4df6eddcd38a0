#pragma once

#include <QString>

// The shortest decimal text that reads back as the same number. A value that is exactly a
// single-precision float (the instrument record carries floats) is written as the float's shortest
// text, so 0.3127f shows as 0.3127 and not as 0.31270000338554382. Not-a-number and infinities give
// an empty string.
QString ShortestNumberText(double value);
