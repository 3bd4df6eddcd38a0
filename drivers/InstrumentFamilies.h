#pragma once

// The five instrument families, in the order detection tries them: a family's index is its type
// number. Header-only and constexpr, so the simulator, the command-line host, the benchmark and the
// tests read the same facts without linking the plugin. Adding a family means a row here, its
// driver, its protocol file and its simulator model.

#include "ColourTextProtocol.h"
#include "LuminanceFrames.h"
#include "PhotoResearchProtocol.h"
#include "ReadBudget.h"
#include "SpectroProtocol.h"

// What a family can give a host besides Lv.
enum InstrumentCapability : unsigned {
    CapColour = 1u << 0,            // x and y (ReadLvXy)
    CapColourTemperature = 1u << 1, // Tcp in ReadLvXy, after Measure(true)
    CapSpectrum = 1u << 2,          // ReadSpectralData serves a spectrum (no family does yet)
    CapZeroCalibration = 1u << 3,   // a zero calibration of its own
    CapMeasureData = 1u << 4,       // ReadMeasureData serves the last measurement
    CapPolledReading = 1u << 5,     // Measure runs on the caller's thread; ReadLastestData gives the reading
};

struct InstrumentFamily {
    int type;
    // The name tools use for it (chromameter --simulate NAME).
    const char* name;
    // What it is, for people.
    const char* title;
    // The line speed detection opens the port at for its trial.
    int baud;
    unsigned capabilities;
    // The first command of its handshake, as text for people (a binary frame is named, not shown).
    const char* handshake;
    // Its trial in detection on a line where nothing answers: the budget of the handshake's reads and
    // how many of its commands go unanswered before it gives up (some go on after a silent one).
    ReadBudget handshakeRead;
    int silentHandshakeCommands;
    // Its handshake with its own instrument: the exchanges answered, in bytes on the line.
    LineExchanges answeredHandshake;
};

inline constexpr InstrumentFamily kInstrumentFamilies[] = {
    // "STR,4" unanswered goes on to "RMTS,1".
    {0, "spectro", "Minolta spectroradiometer", 9600, CapColour | CapMeasureData, "RMTS,1",
     SpectroBudgets::kHandshake, 2, kSpectroHandshakeExchanges},
    {1, "analyser", "Minolta colour analyser", 9600, CapColour | CapColourTemperature | CapZeroCalibration,
     "COM,1", AnalyserBudgets::kComOn, 1, kAnalyserHandshakeExchanges},
    {2, "luminance", "luminance meter", 9600, CapPolledReading, "INIG frame", LuminanceBudgets::kReply, 1,
     kLuminanceHandshakeExchanges},
    {3, "photoresearch", "Photo Research instrument", 9600, CapColour, "PHOTO", PhotoResearchBudgets::kAnswer,
     1, kPhotoResearchHandshakeExchanges},
    // "COM,0" unanswered goes on to "COM,1".
    {4, "jingce", "Wuhan Jingce colorimeter", 115200, CapColour | CapColourTemperature | CapZeroCalibration,
     "COM,1", JingceBudgets::kHandshake, 2, kJingceHandshakeExchanges},
};

inline constexpr int kInstrumentFamilyCount = int(sizeof kInstrumentFamilies / sizeof kInstrumentFamilies[0]);

// The row of a type number, or null.
inline constexpr const InstrumentFamily* InstrumentFamilyOf(int type) {
    return type >= 0 && type < kInstrumentFamilyCount ? &kInstrumentFamilies[type] : nullptr;
}

inline constexpr bool InstrumentFamilyCan(int type, unsigned capability) {
    return InstrumentFamilyOf(type) != nullptr && (InstrumentFamilyOf(type)->capabilities & capability) != 0;
}

// Each row sits at the index of its type number: detection records the index it tried.
inline constexpr bool InstrumentFamiliesInTypeOrder() {
    for (int i = 0; i < kInstrumentFamilyCount; ++i) {
        if (kInstrumentFamilies[i].type != i)
            return false;
    }
    return true;
}
static_assert(InstrumentFamiliesInTypeOrder(), "a family's row must sit at its type number");

// What a family's trial in detection costs on a line where nothing answers, and what it sleeps of
// that at the least.
inline constexpr int SilentTrialMs(const InstrumentFamily& family) {
    return family.silentHandshakeCommands * SilentReadMs(family.handshakeRead);
}
inline constexpr int SilentTrialSleptMs(const InstrumentFamily& family) {
    return family.silentHandshakeCommands * SilentReadSleptMs(family.handshakeRead);
}

// Detection on a line where nobody answers: every trial runs out.
inline constexpr int SilentDetectionMs() {
    int ms = 0;
    for (const InstrumentFamily& family : kInstrumentFamilies)
        ms += SilentTrialMs(family);
    return ms;
}
inline constexpr int SilentDetectionSleptMs() {
    int ms = 0;
    for (const InstrumentFamily& family : kInstrumentFamilies)
        ms += SilentTrialSleptMs(family);
    return ms;
}
