// Entry points of the ChromameterMinolta plugin, for a host that links it (a host that loads it with
// dlopen finds the same two functions with dlsym).
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
