#include "VirtualDisplay.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {
const QStringList kKeys = {"peak",  "black", "white",    "primaries", "eotf",
                           "noise", "drift", "response", "seed"};

double steadyMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void setError(QString* error, const QString& text) {
    if (error)
        *error = text;
}

bool parseNumber(const QString& key, const QString& text, double* value, QString* error) {
    bool ok = false;
    const double v = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(v)) {
        setError(error, QString("%1: \"%2\" is not a number").arg(key, text));
        return false;
    }
    *value = v;
    return true;
}

// The primaries must span a triangle holding the white, or the matrix gives some channel negative
// light.
bool primariesHoldWhite(const RgbPrimaries& p, const Chromaticity& white) {
    const Chromaticity points[] = {p.red, p.green, p.blue, white};
    for (const Chromaticity& c : points) {
        if (!(c.y > 0.0) || c.x < 0.0 || c.x + c.y > 1.0)
            return false;
    }
    const Matrix3 m = RgbToXyzMatrix(p, white);
    for (int j = 0; j < 3; ++j) {
        if (!std::isfinite(m[0][j]) || !std::isfinite(m[1][j]) || !std::isfinite(m[2][j]) || !(m[1][j] > 0.0))
            return false;
    }
    return true;
}

Xyz scaled(const Xyz& v, double k) {
    return {v.X * k, v.Y * k, v.Z * k};
}
} // namespace

VirtualDisplay::VirtualDisplay(const VirtualDisplaySettings& settings, Clock clock)
    : m_settings(settings), m_clock(clock ? std::move(clock) : Clock(steadyMs)),
      m_matrix(RgbToXyzMatrix(settings.primaries, settings.white)),
      m_whiteUnit(XyzFromChromaticity(settings.white, 1.0)), m_random(settings.seed) {
    m_to = SteadyLight(1.0, 1.0, 1.0);
    m_from = m_to;
    m_changeMs = m_clock();
}

QStringList VirtualDisplay::PresetNames() {
    QStringList names;
    VirtualDisplaySettings unused;
    for (const char* name : {"srgb-ideal", "wide-lcd", "oled"}) {
        if (Preset(name, &unused))
            names.append(name);
    }
    return names;
}

bool VirtualDisplay::Preset(const QString& name, VirtualDisplaySettings* settings) {
    struct PresetRow {
        const char* name;
        double peak;
        double black;
        RgbPrimaries (*primaries)();
        Eotf::Kind eotf;
    };
    static const PresetRow kPresets[] = {
        // The display the sRGB standard describes, with a perfect black.
        {"srgb-ideal", 120.0, 0.0, SrgbPrimaries, Eotf::Kind::Srgb},
        // A wide-gamut LCD: P3-like primaries, a backlight that leaks a tenth of a percent.
        {"wide-lcd", 300.0, 0.3, P3Primaries, Eotf::Kind::Gamma},
        // An OLED: pixels that switch off, so black is a trace of stray light.
        {"oled", 250.0, 0.0005, P3Primaries, Eotf::Kind::Gamma},
    };
    const QString key = name.trimmed().toLower();
    for (const PresetRow& row : kPresets) {
        if (key != QLatin1String(row.name))
            continue;
        if (settings) {
            *settings = VirtualDisplaySettings();
            settings->peak = row.peak;
            settings->black = row.black;
            settings->primaries = row.primaries();
            settings->eotf.kind = row.eotf;
        }
        return true;
    }
    return false;
}

bool VirtualDisplay::Parse(const QString& text, VirtualDisplaySettings* settings, QString* error) {
    const QStringList items = text.split(',');
    if (text.trimmed().isEmpty()) {
        setError(error, QString("the display is empty: give a preset (%1) or key=value pairs")
                            .arg(PresetNames().join(", ")));
        return false;
    }
    VirtualDisplaySettings s;
    for (int i = 0; i < items.size(); ++i) {
        const QString item = items[i].trimmed();
        const int eq = item.indexOf('=');
        if (eq < 0) {
            if (i == 0 && Preset(item, &s))
                continue;
            if (Preset(item, nullptr)) {
                setError(error, QString("the preset \"%1\" must come first").arg(item));
            } else if (i == 0) {
                setError(error, QString("\"%1\" is neither a preset (%2) nor key=value")
                                    .arg(item, PresetNames().join(", ")));
            } else {
                setError(error, QString("\"%1\" is not key=value").arg(item));
            }
            return false;
        }
        const QString key = item.left(eq).trimmed().toLower();
        const QString value = item.mid(eq + 1).trimmed();
        if (key == "peak" || key == "black" || key == "noise" || key == "drift" || key == "response") {
            double v = 0.0;
            if (!parseNumber(key, value, &v, error))
                return false;
            if (key == "drift") {
                s.driftPerMinute = v;
                continue;
            }
            if (v < 0.0 || (key == "peak" && v == 0.0)) {
                setError(
                    error,
                    QString("%1: %2 must be %3").arg(key, value, key == "peak" ? "above 0" : "0 or more"));
                return false;
            }
            if (key == "peak")
                s.peak = v;
            else if (key == "black")
                s.black = v;
            else if (key == "noise")
                s.noise = v;
            else
                s.responseMs = v;
        } else if (key == "white") {
            QString why;
            if (!ParseWhite(value, &s.white, &why)) {
                setError(error, QString("white: \"%1\" is no white; expected x:y, D65 or D50").arg(value));
                return false;
            }
        } else if (key == "primaries") {
            QString why;
            if (!ParsePrimaries(value, &s.primaries, &why)) {
                setError(error, why);
                return false;
            }
        } else if (key == "eotf") {
            QString why;
            if (!Eotf::Parse(value, &s.eotf, &why)) {
                setError(error, why);
                return false;
            }
        } else if (key == "seed") {
            bool ok = false;
            const qulonglong seed = value.toULongLong(&ok);
            if (!ok) {
                setError(error, QString("seed: \"%1\" is not a whole number of 0 or more").arg(value));
                return false;
            }
            s.seed = seed;
        } else {
            setError(error, QString("unknown key \"%1\"; the keys are %2").arg(key, kKeys.join(", ")));
            return false;
        }
    }
    if (!(s.black < s.peak)) {
        setError(error, QString("black (%1 cd/m²) must be below peak (%2 cd/m²)").arg(s.black).arg(s.peak));
        return false;
    }
    if (!primariesHoldWhite(s.primaries, s.white)) {
        setError(error, QString("the white %1:%2 is not inside the triangle of the primaries")
                            .arg(s.white.x)
                            .arg(s.white.y));
        return false;
    }
    if (settings)
        *settings = s;
    return true;
}

std::shared_ptr<VirtualDisplay> VirtualDisplay::FromText(const QString& text, QString* error) {
    VirtualDisplaySettings settings;
    if (!Parse(text, &settings, error))
        return nullptr;
    return std::make_shared<VirtualDisplay>(settings);
}

QString VirtualDisplay::Describe(const VirtualDisplaySettings& s) {
    auto xy = [](const Chromaticity& c) { return QString("%1:%2").arg(c.x).arg(c.y); };
    return QString("peak %1 cd/m², black %2 cd/m², white %3, primaries %4/%5/%6, eotf %7, noise %8, "
                   "drift %9 %/min, response %10 ms")
        .arg(s.peak)
        .arg(s.black)
        .arg(xy(s.white), xy(s.primaries.red), xy(s.primaries.green), xy(s.primaries.blue), s.eotf.Name())
        .arg(s.noise)
        .arg(s.driftPerMinute)
        .arg(s.responseMs);
}

VirtualDisplaySettings VirtualDisplay::settings() const {
    return m_settings;
}

double VirtualDisplay::Now() const {
    return m_clock();
}

void VirtualDisplay::Show(double r, double g, double b) {
    r = std::clamp(r, 0.0, 1.0);
    g = std::clamp(g, 0.0, 1.0);
    b = std::clamp(b, 0.0, 1.0);
    const Xyz target = SteadyLight(r, g, b);
    const double now = m_clock();
    std::lock_guard<std::mutex> lock(m_mutex);
    // A patch asked for while the last one is still appearing starts from what is on screen.
    m_from = mixedAt(now);
    m_to = target;
    m_changeMs = now;
    m_shown[0] = r;
    m_shown[1] = g;
    m_shown[2] = b;
}

void VirtualDisplay::Shown(double* r, double* g, double* b) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    *r = m_shown[0];
    *g = m_shown[1];
    *b = m_shown[2];
}

Xyz VirtualDisplay::SteadyLight(double r, double g, double b) const {
    const double ratio = m_settings.black / m_settings.peak;
    const Eotf& f = m_settings.eotf;
    const Xyz colour =
        Apply(m_matrix, f.Normalised(r, ratio), f.Normalised(g, ratio), f.Normalised(b, ratio));
    const double span = m_settings.peak - m_settings.black;
    return {m_settings.black * m_whiteUnit.X + span * colour.X,
            m_settings.black * m_whiteUnit.Y + span * colour.Y,
            m_settings.black * m_whiteUnit.Z + span * colour.Z};
}

Xyz VirtualDisplay::mixedAt(double ms) const {
    const double response = m_settings.responseMs;
    double t = 1.0;
    if (response > 0.0)
        t = std::clamp((ms - m_changeMs) / response, 0.0, 1.0);
    return {m_from.X + (m_to.X - m_from.X) * t, m_from.Y + (m_to.Y - m_from.Y) * t,
            m_from.Z + (m_to.Z - m_from.Z) * t};
}

Xyz VirtualDisplay::LightNow() {
    return LightAt(m_clock());
}

Xyz VirtualDisplay::LightAt(double ms) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_read) {
        m_read = true;
        m_firstReadMs = ms;
    }
    const double minutes = (ms - m_firstReadMs) / 60000.0;
    const double drift = std::max(0.0, 1.0 + m_settings.driftPerMinute / 100.0 * minutes);
    Xyz light = scaled(mixedAt(ms), drift);
    if (m_settings.noise > 0.0) {
        double* parts[] = {&light.X, &light.Y, &light.Z};
        for (double* part : parts)
            *part = std::max(0.0, *part * (1.0 + m_settings.noise * m_normal(m_random)));
    }
    return light;
}

double VirtualDisplay::Lv(const Xyz& light) {
    return std::max(0.0, light.Y);
}

double VirtualDisplay::x(const Xyz& light) const {
    const double sum = light.X + light.Y + light.Z;
    return sum > 0.0 ? light.X / sum : m_settings.white.x;
}

double VirtualDisplay::y(const Xyz& light) const {
    const double sum = light.X + light.Y + light.Z;
    return sum > 0.0 ? light.Y / sum : m_settings.white.y;
}
