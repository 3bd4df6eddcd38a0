// Entry points of the ChromameterMinolta plugin, for a host that links it (a host that loads it with
// dlopen finds the same functions with dlsym).
#pragma once

#include "IMinolta.h"

#if defined(_WIN32)
#define CHROMAMETER_API
#else
#define CHROMAMETER_API __attribute__((visibility("default")))
#endif

// Creates a new instrument facade and stores it in *out. Returns RESULT_OK. The host owns the
// object and deletes it through IMinolta's virtual destructor.
extern "C" CHROMAMETER_API unsigned long CreateChromameterMinolta(IMinolta** out);

// Replaces the list of serial ports that detection scans with `count` pairs of port name and
// description (copied at the call). count < 0 restores the system's list.
extern "C" CHROMAMETER_API void ChromameterSetPortCatalogue(const char* const* portNames,
                                                            const char* const* descriptions, int count);

// Tells detection what to expect, so that it connects without waiting out the families ahead of the
// attached one. The `count` type numbers in `families` (0 spectroradiometer, 1 colour analyser,
// 2 luminance meter, 3 Photo Research, 4 Jingce) are tried first, in the order given, each at its own
// line speed; the families not named follow in the usual order 0 to 4. `portName` (null or empty for
// none), as the port list names it or as the path detection opens, is scanned first; a port that is
// not in the list at detection time is logged and ignored. A wrong hint therefore costs only the
// failing trials of the families named (about 1.1 s for the spectroradiometer, 2.6 s for the
// analyser, 0.5 s for the luminance meter and for the Photo Research instrument, 1.1 s for the Jingce
// colorimeter), and a right one connects in the time of that family's own handshake instead of
// waiting out the families ahead of it (without a hint, detection connects to a spectroradiometer in
// about 0.2 s, to an analyser in 1.3 s and to each of the last three in 4.0 to 5.1 s). Calling it
// with count 0 and no port restores the usual order exactly.
// A number outside 0 to 4, a negative count or a null list with count > 0 is logged and changes
// nothing. The hint is copied under a lock at the call: it may be set from any thread, also while a
// detection runs; a detection reads it once at its start, so a new hint applies from the next one.
extern "C" CHROMAMETER_API void ChromameterSetDetectionHint(const int* families, int count,
                                                            const char* portName);

// Flag of ChromameterSetDetectionHintEx: detection tries the families named and no other.
#define CHROMAMETER_DETECT_ONLY_HINTED 0x1u

// ChromameterSetDetectionHint with flags; with flags 0 it is that call exactly. With
// CHROMAMETER_DETECT_ONLY_HINTED, detection tries only the `count` families named, in the order
// given, each at its own line speed, and no other: for a host that knows which instrument it wants
// (the user named it) and would rather be told it is not there than connect to another one. A right
// hint connects in the time of that family's own handshake, as with the plain hint; a wrong one costs
// only the failing trials of the families named on each port scanned (on a line where nothing
// answers about 1.1 s for the spectroradiometer, 2.6 s for the analyser, 0.5 s for the luminance
// meter and for the Photo Research instrument, 1.1 s for the Jingce colorimeter), and `Connect` then
// reports that no instrument was found (RESULT_FAIL). `portName` is scanned first as with the plain
// hint; the other ports are still scanned, with the named families only. The flag needs at least one
// family: with count 0 it is logged and changes nothing (count 0 and flags 0 restore the usual order
// exactly).
// Flag bits other than CHROMAMETER_DETECT_ONLY_HINTED, a number outside 0 to 4, a negative count or a
// null list with count > 0 are logged and change nothing. Thread safety as for
// ChromameterSetDetectionHint: the hint and its flags are copied together under a lock at the call,
// from any thread, also while a detection runs; a detection reads them once at its start, so a new
// hint applies from the next one.
extern "C" CHROMAMETER_API void ChromameterSetDetectionHintEx(const int* families, int count,
                                                              const char* portName, unsigned int flags);
