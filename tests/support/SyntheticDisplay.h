#pragma once

// A display whose truth is known, for tests of the characterisation's figures: the light it gives for
// device values, and the readings a run of it would produce. Header only: the characterisation's
// records live in characterise/, which only the tests of it link.

#include "Eotf.h"
#include "Patch.h"
#include "PatchReading.h"
#include "RgbSpace.h"

#include <QVector>

#include <algorithm>

struct SyntheticDisplay {
    RgbPrimaries primaries = SrgbPrimaries();
    Chromaticity white = kWhiteD65;
    Eotf eotf = srgbEotf();
    double peak = 100.0;         // cd/m²
    double black = 0.0;          // cd/m²
    double driftPerMinute = 0.0; // percent of the whole output, linear in time from the first reading
    bool colour = true;          // false: a luminance meter reads it

    static Eotf srgbEotf() {
        Eotf e;
        e.kind = Eotf::Kind::Srgb;
        return e;
    }
    static Eotf gammaEotf(double gamma) {
        Eotf e;
        e.kind = Eotf::Kind::Gamma;
        e.gamma = gamma;
        return e;
    }

    // XYZ = black·W + (peak − black)·M·f(R, G, B), times the drift at `seconds`.
    Xyz Light(double r, double g, double b, double seconds = 0.0) const {
        const Matrix3 m = RgbToXyzMatrix(primaries, white);
        const Xyz w = XyzFromChromaticity(white, 1.0);
        const Xyz lin = Apply(m, eotf.Luminance(r), eotf.Luminance(g), eotf.Luminance(b));
        const double scale = 1.0 + driftPerMinute / 100.0 * seconds / 60.0;
        return {scale * (black * w.X + (peak - black) * lin.X),
                scale * (black * w.Y + (peak - black) * lin.Y),
                scale * (black * w.Z + (peak - black) * lin.Z)};
    }

    PatchReading Read(const Patch& p, double seconds,
                      PatchReading::Kind kind = PatchReading::Kind::Patch) const {
        const Xyz xyz = Light(p.r, p.g, p.b, seconds);
        PatchReading reading;
        reading.kind = kind;
        reading.patchId = p.id;
        reading.hasColour = colour;
        reading.Lv = xyz.Y;
        reading.Y = xyz.Y;
        reading.seconds = seconds;
        if (colour) {
            reading.X = xyz.X;
            reading.Z = xyz.Z;
            const Chromaticity c = ChromaticityOf(xyz);
            reading.x = c.x;
            reading.y = c.y;
        }
        return reading;
    }

    // A run in set order, one reading every `secondsPerReading`; with `whiteEvery` > 0 the white patch
    // (the patch with the largest id among r = g = b = 1) is read again after every that many patches.
    QVector<PatchReading> Run(const QVector<Patch>& patches, double secondsPerReading = 1.0,
                              int whiteEvery = 0) const {
        const Patch* whitePatch = nullptr;
        for (const Patch& p : patches)
            if (p.r == 1.0 && p.g == 1.0 && p.b == 1.0)
                whitePatch = &p;
        QVector<PatchReading> readings;
        double t = 0.0;
        int sinceWhite = 0;
        for (const Patch& p : patches) {
            readings.append(Read(p, t));
            t += secondsPerReading;
            if (whiteEvery > 0 && whitePatch && ++sinceWhite == whiteEvery) {
                readings.append(Read(*whitePatch, t, PatchReading::Kind::DriftWhite));
                t += secondsPerReading;
                sinceWhite = 0;
            }
        }
        return readings;
    }
};

// N evenly spaced greys from black to white, then red, green, blue, cyan, magenta, yellow at 100 %,
// with ids from 1 in that order.
inline QVector<Patch> GreysAndPrimaries(int greys = 11) {
    QVector<Patch> patches;
    int id = 1;
    for (int i = 0; i < greys; ++i) {
        const double v = double(i) / (greys - 1);
        patches.append({id++, "grey", QString("grey %1").arg(i), v, v, v});
    }
    const double colours[6][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 1}, {1, 1, 0}};
    const char* names[6] = {"red", "green", "blue", "cyan", "magenta", "yellow"};
    for (int i = 0; i < 6; ++i)
        patches.append({id++, "primaries", names[i], colours[i][0], colours[i][1], colours[i][2]});
    return patches;
}
