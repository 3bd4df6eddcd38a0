#pragma once

#include <QVector>

// What LittleCMS does not offer: the CIE 1976 UCS coordinates u′, v′, the CIE 1931 2° Planckian
// locus, and the correlated colour temperature with its distance from that locus (Duv).

struct UvPoint {
    double u;
    double v;
};

// CIE 1976 UCS u′, v′ of chromaticity x, y.
UvPoint UvPrimeFromXy(double x, double y);
// CIE 1960 UCS u, v of chromaticity x, y (the diagram CCT and Duv are defined in: u = u′, v = ⅔ v′).
UvPoint Uv1960FromXy(double x, double y);
// Chromaticity x, y of CIE 1960 u, v.
void XyFromUv1960(const UvPoint& uv, double* x, double* y);

// The CIE 1960 u, v of a Planckian radiator at `kelvin`, for the CIE 1931 2° observer.
UvPoint PlanckianUv(double kelvin);

// A correlated colour temperature, or why there is none.
struct CctResult {
    enum Status { Ok, OffLocus, OutOfRange };
    Status status = OutOfRange;
    double cct = 0.0; // kelvin
    double duv = 0.0; // signed: positive above the locus (towards green), negative below
    bool ok() const { return status == Ok; }
};

// The range in which a CCT is given, and the largest distance from the locus at which it still means
// something (farther off, a colour no longer looks like a white of any temperature).
const double kCctMinKelvin = 1000.0;
const double kCctMaxKelvin = 20000.0;
const double kDuvLimit = 0.05;

// CCT and Duv of chromaticity x, y.
CctResult CctFromXy(double x, double y);

// The Planckian locus from `minKelvin` to `maxKelvin` as x, y points, for drawing.
struct XyPoint {
    double kelvin;
    double x;
    double y;
};
QVector<XyPoint> PlanckianLocusXy(double minKelvin, double maxKelvin, int points);
