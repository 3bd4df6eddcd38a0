#pragma once

#include <cstdint>

// Instrument status codes, position by position the numbers of the status words "OK00", "ER00",
// "ER02", ... "ER99". Every driver source that includes this header carries its own copy.
static const int64_t code[15] = {0, 1, 2, 5, 10, 17, 20, 30, 51, 52, 71, 81, 82, 83, 99};

// The status of a text reply as a number: 0 for "OK00", the two digits of an "ER" status (but 1 for
// "ER00", so it cannot pass for success), 100 for anything else. Reads exactly the first four bytes.
int64_t CM_ERROR_ENCODE(char* reply);
