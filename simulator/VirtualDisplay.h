#pragma once

#include "Eotf.h"
#include "RgbSpace.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <random>

// What a virtual display is: its light, its tone response and its imperfections.
struct VirtualDisplaySettings {
    double peak = 120.0; // white's luminance, cd/m²
    double black = 0.1;  // black's luminance, cd/m²
    Chromaticity white = kWhiteD65;
    RgbPrimaries primaries = SrgbPrimaries();
    Eotf eotf;                   // gamma 2.2
    double noise = 0.0;          // relative standard deviation of each of X, Y, Z in a reading
    double driftPerMinute = 0.0; // percent of the whole output per minute, from the first reading
    double responseMs = 0.0;     // how long a new patch takes to be fully shown
    std::uint64_t seed = 1;      // of the noise
};

// The light of a display showing a patch, as a colorimeter in front of it would see it:
//   XYZ = black·W + (peak − black)·M·f(R, G, B)
// with M the primaries' linear RGB to XYZ matrix (white's Y = 1), W the white's XYZ at Y = 1 and f the
// EOTF per channel, normalised so that 0 gives black and 1 gives peak exactly.
//
// A new patch appears linearly over `responseMs`: a reading taken part way through is the straight
// mix of what was shown before (itself possibly mid-way) and the new patch. Drift scales the whole
// output by 1 + drift/100 · minutes since the first reading. Noise multiplies X, Y and Z each by its
// own 1 + noise·N(0, 1) draw, so it touches chromaticity as well as luminance. The display starts out
// showing white. Thread-safe: the simulator thread reads while a control channel or a run shows.
class VirtualDisplay {
public:
    // Milliseconds on a monotonic clock; tests inject their own.
    using Clock = std::function<double()>;

    explicit VirtualDisplay(const VirtualDisplaySettings& settings = VirtualDisplaySettings(),
                            Clock clock = Clock());

    // Reads "key=value,key=value", optionally led by a preset's name ("oled,peak=400"). Keys: peak,
    // black, white (x:y, D65 or D50), primaries (srgb, p3, bt2020 or xr:yr/xg:yg/xb:yb), eotf
    // (gamma:G, srgb, bt1886), noise, drift, response, seed. False with a sentence in *error.
    static bool Parse(const QString& text, VirtualDisplaySettings* settings, QString* error = nullptr);
    // A display made from such a text; null (with *error) when the text is not one.
    static std::shared_ptr<VirtualDisplay> FromText(const QString& text, QString* error = nullptr);
    // The presets' names: srgb-ideal, wide-lcd, oled.
    static QStringList PresetNames();
    // The settings of a preset; false for a name that is none.
    static bool Preset(const QString& name, VirtualDisplaySettings* settings);
    // A one-line description of the settings, for logs: "peak 120 cd/m², black 0.1 cd/m², ...".
    static QString Describe(const VirtualDisplaySettings& settings);

    VirtualDisplaySettings settings() const;

    // Starts showing device values r, g, b (clamped to 0..1) now.
    void Show(double r, double g, double b);
    // The device values last shown.
    void Shown(double* r, double* g, double* b) const;

    // The light in cd/m² now, or at `ms` on the display's clock: response, drift and noise included.
    // The first of these calls starts the drift's clock.
    Xyz LightNow();
    Xyz LightAt(double ms);
    // The light of a patch fully shown, before drift and noise.
    Xyz SteadyLight(double r, double g, double b) const;
    // Now on the display's clock.
    double Now() const;

    // Luminance and chromaticity of a light. Black has no chromaticity of its own: it takes the
    // display's white point (its black glows in the white's colour), never NaN.
    static double Lv(const Xyz& light);
    double x(const Xyz& light) const;
    double y(const Xyz& light) const;

private:
    Xyz mixedAt(double ms) const;

    const VirtualDisplaySettings m_settings;
    const Clock m_clock;
    Matrix3 m_matrix;
    Xyz m_whiteUnit;

    mutable std::mutex m_mutex;
    double m_shown[3] = {1.0, 1.0, 1.0};
    Xyz m_from;            // what was on screen when the last patch was asked for
    Xyz m_to;              // the last patch, fully shown
    double m_changeMs = 0; // when it was asked for
    bool m_read = false;
    double m_firstReadMs = 0;
    std::mt19937_64 m_random;
    std::normal_distribution<double> m_normal;
};
