#include "RgbSpace.h"

#include <QStringList>

#include <cmath>

RgbPrimaries SrgbPrimaries() {
    return {{0.640, 0.330}, {0.300, 0.600}, {0.150, 0.060}};
}

RgbPrimaries P3Primaries() {
    return {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}};
}

RgbPrimaries Bt2020Primaries() {
    return {{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}};
}

namespace {
// A chromaticity lies inside the unit triangle. A white is never on its edge; a primary may be (the
// spectral locus runs along x + y = 1 from about 600 nm on: BT.2020's red is 0.708, 0.292).
enum class Edge { Outside, Allowed };

bool parsePair(const QString& text, const QString& separator, Chromaticity* c, Edge edge = Edge::Outside) {
    const QStringList parts = text.split(separator);
    if (parts.size() != 2)
        return false;
    bool okX = false;
    bool okY = false;
    const double x = parts[0].trimmed().toDouble(&okX);
    const double y = parts[1].trimmed().toDouble(&okY);
    const double limit = edge == Edge::Allowed ? 1.0 + 1e-9 : 1.0;
    if (!okX || !okY || !(x > 0.0) || !(y > 0.0) || !(x + y < limit))
        return false;
    *c = {x, y};
    return true;
}

void setError(QString* error, const QString& text) {
    if (error)
        *error = text;
}
} // namespace

bool ParsePrimaries(const QString& text, RgbPrimaries* primaries, QString* error) {
    const QString name = text.trimmed().toLower();
    if (name == "srgb" || name == "bt709") {
        *primaries = SrgbPrimaries();
        return true;
    }
    if (name == "p3" || name == "dci-p3") {
        *primaries = P3Primaries();
        return true;
    }
    if (name == "bt2020") {
        *primaries = Bt2020Primaries();
        return true;
    }
    const QStringList parts = name.split('/');
    RgbPrimaries p;
    if (parts.size() == 3 && parsePair(parts[0], ":", &p.red, Edge::Allowed) &&
        parsePair(parts[1], ":", &p.green, Edge::Allowed) &&
        parsePair(parts[2], ":", &p.blue, Edge::Allowed)) {
        *primaries = p;
        return true;
    }
    setError(error, QString("primaries \"%1\": expected srgb, p3, bt2020 or xr:yr/xg:yg/xb:yb").arg(text));
    return false;
}

bool ParseWhite(const QString& text, Chromaticity* white, QString* error) {
    const QString name = text.trimmed().toUpper();
    if (name == "D65") {
        *white = kWhiteD65;
        return true;
    }
    if (name == "D50") {
        *white = kWhiteD50;
        return true;
    }
    if (parsePair(name, ",", white) || parsePair(name, ":", white))
        return true;
    setError(error, QString("white \"%1\": expected D65, D50 or x,y").arg(text));
    return false;
}

Xyz XyzFromChromaticity(const Chromaticity& c, double Y) {
    if (!(c.y > 0.0))
        return {};
    return {c.x * Y / c.y, Y, (1.0 - c.x - c.y) * Y / c.y};
}

Chromaticity ChromaticityOf(const Xyz& xyz) {
    const double sum = xyz.X + xyz.Y + xyz.Z;
    if (!(sum > 0.0))
        return {};
    return {xyz.X / sum, xyz.Y / sum};
}

Matrix3 Inverse(const Matrix3& m) {
    const double a = m[0][0], b = m[0][1], c = m[0][2];
    const double d = m[1][0], e = m[1][1], f = m[1][2];
    const double g = m[2][0], h = m[2][1], i = m[2][2];
    const double A = e * i - f * h, B = -(d * i - f * g), C = d * h - e * g;
    const double det = a * A + b * B + c * C;
    const double k = det != 0.0 ? 1.0 / det : 0.0;
    Matrix3 r;
    r[0] = {A * k, -(b * i - c * h) * k, (b * f - c * e) * k};
    r[1] = {B * k, (a * i - c * g) * k, -(a * f - c * d) * k};
    r[2] = {C * k, -(a * h - b * g) * k, (a * e - b * d) * k};
    return r;
}

Matrix3 Multiply(const Matrix3& a, const Matrix3& b) {
    Matrix3 r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k)
                r[i][j] += a[i][k] * b[k][j];
    return r;
}

Xyz Apply(const Matrix3& m, double r, double g, double b) {
    return {m[0][0] * r + m[0][1] * g + m[0][2] * b, m[1][0] * r + m[1][1] * g + m[1][2] * b,
            m[2][0] * r + m[2][1] * g + m[2][2] * b};
}

Xyz Apply(const Matrix3& m, const Xyz& v) {
    return Apply(m, v.X, v.Y, v.Z);
}

Matrix3 RgbToXyzMatrix(const RgbPrimaries& p, const Chromaticity& white) {
    // Columns: each primary's XYZ at Y = 1, then scaled so that R = G = B = 1 gives the white.
    const Xyz r = XyzFromChromaticity(p.red);
    const Xyz g = XyzFromChromaticity(p.green);
    const Xyz b = XyzFromChromaticity(p.blue);
    const Matrix3 columns = {{{r.X, g.X, b.X}, {r.Y, g.Y, b.Y}, {r.Z, g.Z, b.Z}}};
    const Xyz s = Apply(Inverse(columns), XyzFromChromaticity(white));
    const double scale[3] = {s.X, s.Y, s.Z};
    Matrix3 m = columns;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[i][j] *= scale[j];
    return m;
}

Matrix3 BradfordAdaptation(const Xyz& fromWhite, const Xyz& toWhite) {
    const Matrix3 bradford = {
        {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    const Xyz from = Apply(bradford, fromWhite);
    const Xyz to = Apply(bradford, toWhite);
    Matrix3 scale{};
    scale[0][0] = from.X != 0.0 ? to.X / from.X : 1.0;
    scale[1][1] = from.Y != 0.0 ? to.Y / from.Y : 1.0;
    scale[2][2] = from.Z != 0.0 ? to.Z / from.Z : 1.0;
    return Multiply(Inverse(bradford), Multiply(scale, bradford));
}
