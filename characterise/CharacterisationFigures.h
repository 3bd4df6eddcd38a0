#pragma once

#include "Gamut.h"
#include "Patch.h"
#include "RgbSpace.h"
#include "Target.h"

#include <QStringList>
#include <QVector>
#include <QtGlobal>

#include <optional>

// The figures of a characterisation, as plain records for the output writers. A quantity that does not
// apply is absent (an empty optional), never a zero standing in for it: a luminance meter gives no
// chromaticity, a set without black gives no contrast, and so on.

// Light as measured (scaled to the first white's time when drift is normalised).
struct MeasuredLight {
    double Lv = 0.0;                // cd/m²
    std::optional<Xyz> xyz;         // cd/m²; when the instrument gives colour
    std::optional<Chromaticity> xy; // when it gives colour and there is light to have one
};

// Where a white-ish light sits: its CCT and Duv (absent when the chromaticity is too far from the
// Planckian locus or outside 1000–20000 K) and its distance from the target white.
struct WhitenessFigures {
    std::optional<double> cct; // kelvin
    std::optional<double> duv;
    std::optional<double> deltaUvToTarget;
};

struct WhiteFigures {
    int patchId = 0;
    MeasuredLight light;
    WhitenessFigures whiteness; // only when light.xy
};

struct BlackFigures {
    int patchId = 0;
    MeasuredLight light;
};

struct ContrastFigures {
    std::optional<double> ratio; // white Lv / black Lv; none (null) when the black measured zero
};

// One grey step: all patches with r = g = b at one level. Patches of the same level measured more
// than once (the same grey in two sets) are one step, their readings averaged.
struct GreyStep {
    double level = 0.0;
    int patchId = 0;     // the first patch of this level in set order
    int patchCount = 0;  // patches of this level
    bool failed = false; // none of them has a reading
    MeasuredLight light;
    WhitenessFigures whiteness;
    std::optional<double> targetLv;
    std::optional<double> deltaE2000;
    std::optional<double> gamma;                 // log(Y/Yw) / log(level); none at black and white
    std::optional<double> gammaBlackCompensated; // log((Y−Yb)/(Yw−Yb)) / log(level)
};

struct GammaFigures {
    std::optional<double> fitted; // least-squares slope through the origin over the inner grey steps
    int steps = 0;                // steps the fit used
};

struct PrimaryFigures {
    Chromaticity red;
    Chromaticity green;
    Chromaticity blue;
};

struct GamutFigures {
    QString space; // "srgb", "p3", "bt2020"
    GamutComparison xy;
    GamutComparison uv;
};

// ΔE2000 pass marks: nominal mean ≤ 1.5 and max ≤ 4; recommended mean ≤ 1 and max ≤ 3.
struct DeltaEFigures {
    int count = 0;
    double mean = 0.0;
    double median = 0.0;
    double max = 0.0;
    bool passesNominal = false;
    bool passesRecommended = false;
    QString verdict; // "pass-recommended", "pass-nominal" or "fail"
};

// The white re-measured during the run, compared with the first white.
struct DriftFigures {
    int whiteReadings = 0;
    double seconds = 0.0;                // from the first white reading to the last
    double luminanceChangePercent = 0.0; // last white's Y against the first's
    std::optional<double> maxDeltaUv;    // largest Δu′v′ of a white from the first; with colour only
    bool normalised = false;             // readings were scaled by the white interpolated in time
};

struct PatchFigures {
    Patch patch;
    bool failed = false;
    quint32 result = 0; // the instrument's result code when failed
    MeasuredLight light;
    std::optional<Xyz> target;        // when a white was measured; X and Z mean something with colour only
    std::optional<double> deltaE2000; // with colour and a target
};

struct CharacterisationFigures {
    Target target;
    bool hasColour = false; // readings carry chromaticity (false for a luminance meter)
    bool driftNormalised = false;
    std::optional<WhiteFigures> white;
    std::optional<BlackFigures> black;
    std::optional<ContrastFigures> contrast; // with both a white and a black
    QVector<GreyStep> greys;                 // in level order
    GammaFigures gamma;
    std::optional<PrimaryFigures> primaries; // red, green and blue at 100 % measured, with colour
    QVector<GamutFigures> gamut;             // srgb, p3, bt2020; with primaries only
    std::optional<DeltaEFigures> deltaE;     // with colour and a white
    std::optional<DriftFigures> drift;       // when the white was re-measured during the run
    QVector<PatchFigures> patches;           // in set order
    QStringList notes;                       // what was left out and why, for a person
};
