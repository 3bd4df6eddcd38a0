#pragma once

#include "RgbSpace.h"

#include <vector>

// Gamut areas in a chromaticity diagram: the triangle of a display's primaries against a standard's.
// The map from x, y to u′, v′ is projective, so straight edges stay straight and a triangle in one
// diagram is the triangle of the converted vertices in the other.

// A point of a chromaticity diagram: x, y in CIE 1931, or u′, v′ in CIE 1976 UCS.
struct PlanePoint {
    double x = 0.0;
    double y = 0.0;
};

using PlanePolygon = std::vector<PlanePoint>;

enum class ChromaticityPlane { Xy, UvPrime };

// The area of a simple polygon (vertices in order, either orientation); 0 below three vertices.
double PolygonArea(const PlanePolygon& polygon);

// The intersection of two convex polygons (Sutherland–Hodgman, `clip` cutting `subject`). Empty when
// they do not overlap or when `clip` has no area.
PlanePolygon ConvexIntersection(const PlanePolygon& subject, const PlanePolygon& clip);

// The triangle of three primaries in the chosen diagram.
PlanePolygon PrimariesTriangle(const RgbPrimaries& primaries, ChromaticityPlane plane);

// How a measured gamut compares with a reference one in one diagram.
struct GamutComparison {
    bool valid = false;     // false when the reference triangle has no area
    double coverage = 0.0;  // area(measured ∩ reference) / area(reference), 0..1
    double areaRatio = 0.0; // area(measured) / area(reference)
};

GamutComparison CompareGamut(const RgbPrimaries& measured, const RgbPrimaries& reference,
                             ChromaticityPlane plane);
