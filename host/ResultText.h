#pragma once

#include <QString>

// How chromameter shows the library's result codes: the 32-bit pattern in hex ("0x80000008") and
// what it means to someone at the instrument.
QString ResultCodeHex(unsigned long code);
QString ResultCodeMeaning(unsigned long code);
