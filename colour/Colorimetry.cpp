// Sources:
//  - CIE 15:2004 "Colorimetry", table T.4: the CIE 1931 2° standard colorimetric observer at 5 nm,
//    380 nm to 780 nm; the second radiation constant c2 = 1.4388e-2 m·K (ITS-90); the UCS formulas.
//  - Y. Ohno, "Practical use and calculation of CCT and Duv", LEUKOS 10(1), 2014, pp. 47-55
//    (presented 2013): the closest point of the Planckian locus in the CIE 1960 diagram, found on
//    a table of temperatures and refined by its triangular and parabolic solutions.
#include "Colorimetry.h"

#include <cmath>

namespace {
// CIE 1931 2° colour-matching functions x̄, ȳ, z̄ at 380, 385, ... 780 nm.
const double kCmf[81][3] = {
    {0.001368, 0.000039, 0.006450}, {0.002236, 0.000064, 0.010550}, {0.004243, 0.000120, 0.020050},
    {0.007650, 0.000217, 0.036210}, {0.014310, 0.000396, 0.067850}, {0.023190, 0.000640, 0.110200},
    {0.043510, 0.001210, 0.207400}, {0.077630, 0.002180, 0.371300}, {0.134380, 0.004000, 0.645600},
    {0.214770, 0.007300, 1.039050}, {0.283900, 0.011600, 1.385600}, {0.328500, 0.016840, 1.622960},
    {0.348280, 0.023000, 1.747060}, {0.348060, 0.029800, 1.782600}, {0.336200, 0.038000, 1.772110},
    {0.318700, 0.048000, 1.744100}, {0.290800, 0.060000, 1.669200}, {0.251100, 0.073900, 1.528100},
    {0.195360, 0.090980, 1.287640}, {0.142100, 0.112600, 1.041900}, {0.095640, 0.139020, 0.812950},
    {0.057950, 0.169300, 0.616200}, {0.032010, 0.208020, 0.465180}, {0.014700, 0.258600, 0.353300},
    {0.004900, 0.323000, 0.272000}, {0.002400, 0.407300, 0.212300}, {0.009300, 0.503000, 0.158200},
    {0.029100, 0.608200, 0.111700}, {0.063270, 0.710000, 0.078250}, {0.109600, 0.793200, 0.057250},
    {0.165500, 0.862000, 0.042160}, {0.225750, 0.914850, 0.029840}, {0.290400, 0.954000, 0.020300},
    {0.359700, 0.980300, 0.013400}, {0.433450, 0.994950, 0.008750}, {0.512050, 1.000000, 0.005750},
    {0.594500, 0.995000, 0.003900}, {0.678400, 0.978600, 0.002750}, {0.762100, 0.952000, 0.002100},
    {0.842500, 0.915400, 0.001800}, {0.916300, 0.870000, 0.001650}, {0.978600, 0.816300, 0.001400},
    {1.026300, 0.757000, 0.001100}, {1.056700, 0.694900, 0.001000}, {1.062200, 0.631000, 0.000800},
    {1.045600, 0.566800, 0.000600}, {1.002600, 0.503000, 0.000340}, {0.938400, 0.441200, 0.000240},
    {0.854450, 0.381000, 0.000190}, {0.751400, 0.321000, 0.000100}, {0.642400, 0.265000, 0.000050},
    {0.541900, 0.217000, 0.000030}, {0.447900, 0.175000, 0.000020}, {0.360800, 0.138200, 0.000010},
    {0.283500, 0.107000, 0.000000}, {0.218700, 0.081600, 0.000000}, {0.164900, 0.061000, 0.000000},
    {0.121200, 0.044580, 0.000000}, {0.087400, 0.032000, 0.000000}, {0.063600, 0.023200, 0.000000},
    {0.046770, 0.017000, 0.000000}, {0.032900, 0.011920, 0.000000}, {0.022700, 0.008210, 0.000000},
    {0.015840, 0.005723, 0.000000}, {0.011359, 0.004102, 0.000000}, {0.008111, 0.002929, 0.000000},
    {0.005790, 0.002091, 0.000000}, {0.004109, 0.001484, 0.000000}, {0.002899, 0.001047, 0.000000},
    {0.002049, 0.000740, 0.000000}, {0.001440, 0.000520, 0.000000}, {0.001000, 0.000361, 0.000000},
    {0.000690, 0.000249, 0.000000}, {0.000476, 0.000172, 0.000000}, {0.000332, 0.000120, 0.000000},
    {0.000235, 0.000085, 0.000000}, {0.000166, 0.000060, 0.000000}, {0.000117, 0.000042, 0.000000},
    {0.000083, 0.000030, 0.000000}, {0.000059, 0.000021, 0.000000}, {0.000042, 0.000015, 0.000000},
};
const double kFirstNm = 380.0;
const double kStepNm = 5.0;
const double kC2 = 1.4388e-2; // m·K

double distance(const UvPoint& a, const UvPoint& b) {
    return std::hypot(a.u - b.u, a.v - b.v);
}

// The temperature table's points around the closest one: i-1, i, i+1 at temperatures t[], with the
// test point's distances d[].
struct Bracket {
    double t[3];
    double d[3];
};

// The closest of `count` temperatures spaced evenly in log T from `low` to `high`, with its
// neighbours. False when the closest is an end of the table.
bool closestOnTable(const UvPoint& uv, double low, double high, int count, Bracket* out) {
    const double ratio = std::pow(high / low, 1.0 / (count - 1));
    int best = -1;
    double bestDistance = 0;
    for (int i = 0; i < count; ++i) {
        const double d = distance(uv, PlanckianUv(low * std::pow(ratio, i)));
        if (best < 0 || d < bestDistance) {
            best = i;
            bestDistance = d;
        }
    }
    if (best == 0 || best == count - 1)
        return false;
    for (int k = 0; k < 3; ++k) {
        out->t[k] = low * std::pow(ratio, best - 1 + k);
        out->d[k] = distance(uv, PlanckianUv(out->t[k]));
    }
    return true;
}
} // namespace

UvPoint UvPrimeFromXy(double x, double y) {
    const double denominator = -2.0 * x + 12.0 * y + 3.0;
    return {4.0 * x / denominator, 9.0 * y / denominator};
}

UvPoint Uv1960FromXy(double x, double y) {
    const double denominator = -2.0 * x + 12.0 * y + 3.0;
    return {4.0 * x / denominator, 6.0 * y / denominator};
}

void XyFromUv1960(const UvPoint& uv, double* x, double* y) {
    const double denominator = 2.0 * uv.u - 8.0 * uv.v + 4.0;
    *x = 3.0 * uv.u / denominator;
    *y = 2.0 * uv.v / denominator;
}

UvPoint PlanckianUv(double kelvin) {
    double X = 0, Y = 0, Z = 0;
    for (int i = 0; i < 81; ++i) {
        const double metres = (kFirstNm + kStepNm * i) * 1e-9;
        // Planck's law without its constant factor c1, which cancels in the chromaticity.
        const double radiance = 1.0 / (std::pow(metres, 5) * std::expm1(kC2 / (metres * kelvin)));
        X += radiance * kCmf[i][0];
        Y += radiance * kCmf[i][1];
        Z += radiance * kCmf[i][2];
    }
    const double denominator = X + 15.0 * Y + 3.0 * Z;
    return {4.0 * X / denominator, 6.0 * Y / denominator};
}

CctResult CctFromXy(double x, double y) {
    CctResult result;
    if (!std::isfinite(x) || !std::isfinite(y) || y <= 0 || -2.0 * x + 12.0 * y + 3.0 <= 0)
        return result;
    const UvPoint uv = Uv1960FromXy(x, y);

    // A table 1 % apart over the range (slightly beyond it, so that a point at an end still has a
    // neighbour on each side), then tables ten times finer around the closest point, until the
    // neighbours are a hundred-thousandth apart: the solutions below are then exact to far less
    // than a kelvin anywhere in the range.
    Bracket b;
    if (!closestOnTable(uv, kCctMinKelvin * 0.99, kCctMaxKelvin * 1.01, 310, &b)) {
        result.status = CctResult::OutOfRange;
        return result;
    }
    while (b.t[2] / b.t[0] > 1.00002) {
        if (!closestOnTable(uv, b.t[0], b.t[2], 21, &b))
            break;
    }

    // Triangular solution: the foot of the perpendicular on the chord from T(i-1) to T(i+1).
    const UvPoint p0 = PlanckianUv(b.t[0]);
    const UvPoint p2 = PlanckianUv(b.t[2]);
    const double l = distance(p0, p2);
    const double along = (b.d[0] * b.d[0] - b.d[2] * b.d[2] + l * l) / (2.0 * l);
    double cct = b.t[0] + (b.t[2] - b.t[0]) * along / l;
    const double footV = p0.v + (p2.v - p0.v) * along / l;
    double duv = std::sqrt(std::fmax(b.d[0] * b.d[0] - along * along, 0.0));
    if (duv >= 0.002) {
        // Farther off the locus the parabola through the three distances is the better solution.
        const double t0 = b.t[0], t1 = b.t[1], t2 = b.t[2];
        const double d0 = b.d[0], d1 = b.d[1], d2 = b.d[2];
        const double X = (t2 - t1) * (t0 - t2) * (t1 - t0);
        const double a = (t0 * (d2 - d1) + t1 * (d0 - d2) + t2 * (d1 - d0)) / X;
        const double bb = -(t0 * t0 * (d2 - d1) + t1 * t1 * (d0 - d2) + t2 * t2 * (d1 - d0)) / X;
        const double c =
            -(d0 * (t2 - t1) * t1 * t2 + d1 * (t0 - t2) * t0 * t2 + d2 * (t1 - t0) * t0 * t1) / X;
        if (a > 0) {
            cct = -bb / (2.0 * a);
            duv = a * cct * cct + bb * cct + c;
        }
    }
    if (uv.v < footV)
        duv = -duv;
    result.cct = cct;
    result.duv = duv;
    if (std::fabs(duv) > kDuvLimit)
        result.status = CctResult::OffLocus;
    else if (cct < kCctMinKelvin || cct > kCctMaxKelvin)
        result.status = CctResult::OutOfRange;
    else
        result.status = CctResult::Ok;
    return result;
}

QVector<XyPoint> PlanckianLocusXy(double minKelvin, double maxKelvin, int points) {
    QVector<XyPoint> locus;
    if (points < 2)
        return locus;
    const double ratio = std::pow(maxKelvin / minKelvin, 1.0 / (points - 1));
    for (int i = 0; i < points; ++i) {
        const double kelvin = minKelvin * std::pow(ratio, i);
        XyPoint p{kelvin, 0, 0};
        XyFromUv1960(PlanckianUv(kelvin), &p.x, &p.y);
        locus.append(p);
    }
    return locus;
}
