#include "Gamut.h"

#include "Colorimetry.h"

#include <cmath>

namespace {
// Below this a polygon counts as a line or a point: chromaticities are given to about 1e-4, so an
// area of 1e-12 is no triangle at all.
const double kNoArea = 1e-12;

double signedArea(const PlanePolygon& polygon) {
    const size_t n = polygon.size();
    if (n < 3)
        return 0.0;
    double twice = 0.0;
    for (size_t i = 0; i < n; ++i) {
        const PlanePoint& a = polygon[i];
        const PlanePoint& b = polygon[(i + 1) % n];
        twice += a.x * b.y - b.x * a.y;
    }
    return twice / 2.0;
}

// Positive when p lies left of the directed line a→b.
double side(const PlanePoint& a, const PlanePoint& b, const PlanePoint& p) {
    return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

PlanePoint crossing(const PlanePoint& p, const PlanePoint& q, double sideP, double sideQ) {
    const double t = sideP / (sideP - sideQ);
    return {p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)};
}

PlanePolygon counterClockwise(PlanePolygon polygon) {
    if (signedArea(polygon) < 0.0)
        return PlanePolygon(polygon.rbegin(), polygon.rend());
    return polygon;
}
} // namespace

double PolygonArea(const PlanePolygon& polygon) {
    return std::fabs(signedArea(polygon));
}

PlanePolygon ConvexIntersection(const PlanePolygon& subject, const PlanePolygon& clip) {
    if (PolygonArea(clip) < kNoArea || subject.size() < 3)
        return {};
    const PlanePolygon edges = counterClockwise(clip);
    PlanePolygon output = subject;
    for (size_t e = 0; e < edges.size() && !output.empty(); ++e) {
        const PlanePoint& a = edges[e];
        const PlanePoint& b = edges[(e + 1) % edges.size()];
        const PlanePolygon input = output;
        output.clear();
        for (size_t i = 0; i < input.size(); ++i) {
            const PlanePoint& p = input[i];
            const PlanePoint& q = input[(i + 1) % input.size()];
            const double sp = side(a, b, p);
            const double sq = side(a, b, q);
            if (sp >= 0.0)
                output.push_back(p);
            if ((sp >= 0.0) != (sq >= 0.0))
                output.push_back(crossing(p, q, sp, sq));
        }
    }
    if (PolygonArea(output) < kNoArea)
        return {};
    return output;
}

PlanePolygon PrimariesTriangle(const RgbPrimaries& primaries, ChromaticityPlane plane) {
    PlanePolygon triangle;
    for (const Chromaticity& c : {primaries.red, primaries.green, primaries.blue}) {
        if (plane == ChromaticityPlane::Xy) {
            triangle.push_back({c.x, c.y});
        } else {
            const UvPoint uv = UvPrimeFromXy(c.x, c.y);
            triangle.push_back({uv.u, uv.v});
        }
    }
    return triangle;
}

GamutComparison CompareGamut(const RgbPrimaries& measured, const RgbPrimaries& reference,
                             ChromaticityPlane plane) {
    GamutComparison result;
    const PlanePolygon ref = PrimariesTriangle(reference, plane);
    const double refArea = PolygonArea(ref);
    if (!(refArea >= kNoArea))
        return result;
    const PlanePolygon own = PrimariesTriangle(measured, plane);
    result.valid = true;
    result.areaRatio = PolygonArea(own) / refArea;
    result.coverage = PolygonArea(ConvexIntersection(own, ref)) / refArea;
    return result;
}
