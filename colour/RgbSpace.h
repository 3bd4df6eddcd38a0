#pragma once

#include <QString>

#include <array>

// RGB colour spaces as displays and standards define them: three primaries and a white, and the
// matrix that takes linear RGB to CIE XYZ.

struct Chromaticity {
    double x = 0.0;
    double y = 0.0;
};

struct Xyz {
    double X = 0.0;
    double Y = 0.0;
    double Z = 0.0;
};

using Matrix3 = std::array<std::array<double, 3>, 3>;

struct RgbPrimaries {
    Chromaticity red;
    Chromaticity green;
    Chromaticity blue;
};

// CIE standard illuminants as chromaticities of the CIE 1931 2° observer.
const Chromaticity kWhiteD65 = {0.3127, 0.3290};
const Chromaticity kWhiteD50 = {0.3457, 0.3585};

// The primaries of sRGB (= BT.709), DCI-P3 and BT.2020.
RgbPrimaries SrgbPrimaries();
RgbPrimaries P3Primaries();
RgbPrimaries Bt2020Primaries();

// "srgb", "p3", "bt2020", or "xr:yr/xg:yg/xb:yb". False (with a reason) for anything else.
bool ParsePrimaries(const QString& text, RgbPrimaries* primaries, QString* error = nullptr);
// "D65", "D50" or "x,y" (also "x:y"). False (with a reason) for anything else.
bool ParseWhite(const QString& text, Chromaticity* white, QString* error = nullptr);

// X, Y, Z of chromaticity x, y at luminance Y (all zero for y = 0).
Xyz XyzFromChromaticity(const Chromaticity& c, double Y = 1.0);
// The chromaticity of X, Y, Z (0, 0 for black).
Chromaticity ChromaticityOf(const Xyz& xyz);

// The matrix taking linear R, G, B (0..1) to X, Y, Z with the white's Y = 1.
Matrix3 RgbToXyzMatrix(const RgbPrimaries& primaries, const Chromaticity& white);
Matrix3 Inverse(const Matrix3& m);
Matrix3 Multiply(const Matrix3& a, const Matrix3& b);
Xyz Apply(const Matrix3& m, double r, double g, double b);
Xyz Apply(const Matrix3& m, const Xyz& v);

// The Bradford chromatic adaptation from one white to another (XYZ to XYZ).
Matrix3 BradfordAdaptation(const Xyz& fromWhite, const Xyz& toWhite);
