#include "Gamut.h"

#include <gtest/gtest.h>

// Primaries as published: ITU-R BT.709-6 (sRGB), SMPTE EG 432-1 (DCI-P3), ITU-R BT.2020-2. Their
// triangles' areas in x, y, worked by hand with the shoelace formula:
//   sRGB    ½·|0.64·0.54 + 0.30·(−0.27) + 0.15·(−0.27)|           = 0.11205   (quoted as 0.1121)
//   DCI-P3  ½·|0.68·0.63 + 0.265·(−0.26) + 0.15·(−0.37)|          = 0.15200   (0.1520)
//   BT.2020 ½·|0.708·0.751 + 0.170·(−0.246) + 0.131·(−0.505)|     = 0.2118665 (0.2119)
// In u′, v′ the sRGB primaries are (0.4507, 0.5229), (0.1250, 0.5625), (0.1754, 0.1579), a triangle of
// ½·|0.4507·0.4046 + 0.1250·(−0.3650) + 0.1754·(−0.0396)| = 0.06489.

TEST(ColourGamut, StandardTrianglesHaveTheirPublishedAreasInXy) {
    EXPECT_NEAR(PolygonArea(PrimariesTriangle(SrgbPrimaries(), ChromaticityPlane::Xy)), 0.11205, 1e-6);
    EXPECT_NEAR(PolygonArea(PrimariesTriangle(P3Primaries(), ChromaticityPlane::Xy)), 0.15200, 1e-6);
    EXPECT_NEAR(PolygonArea(PrimariesTriangle(Bt2020Primaries(), ChromaticityPlane::Xy)), 0.2118665, 1e-6);
}

TEST(ColourGamut, SrgbTriangleInUvPrimeIsTheTriangleOfItsConvertedPrimaries) {
    const PlanePolygon uv = PrimariesTriangle(SrgbPrimaries(), ChromaticityPlane::UvPrime);
    ASSERT_EQ(uv.size(), 3u);
    EXPECT_NEAR(uv[0].x, 0.4507, 0.00005);
    EXPECT_NEAR(uv[0].y, 0.5229, 0.00005);
    EXPECT_NEAR(uv[1].x, 0.1250, 0.00005);
    EXPECT_NEAR(uv[1].y, 0.5625, 0.00005);
    EXPECT_NEAR(uv[2].x, 0.1754, 0.00005);
    EXPECT_NEAR(uv[2].y, 0.1579, 0.00005);
    EXPECT_NEAR(PolygonArea(uv), 0.06489, 0.00005);
}

TEST(ColourGamut, AreaDoesNotDependOnTheVerticesOrientation) {
    const PlanePolygon ccw = {{0, 0}, {2, 0}, {0, 1}};
    const PlanePolygon cw = {{0, 0}, {0, 1}, {2, 0}};
    EXPECT_DOUBLE_EQ(PolygonArea(ccw), 1.0);
    EXPECT_DOUBLE_EQ(PolygonArea(cw), 1.0);
}

TEST(ColourGamut, ATriangleCoversItselfWholly) {
    for (const RgbPrimaries& p : {SrgbPrimaries(), P3Primaries(), Bt2020Primaries()}) {
        for (ChromaticityPlane plane : {ChromaticityPlane::Xy, ChromaticityPlane::UvPrime}) {
            const GamutComparison c = CompareGamut(p, p, plane);
            ASSERT_TRUE(c.valid);
            EXPECT_NEAR(c.coverage, 1.0, 1e-12);
            EXPECT_NEAR(c.areaRatio, 1.0, 1e-12);
        }
    }
}

TEST(ColourGamut, P3CoversSrgbFullyAndIsAThirdLarger) {
    const GamutComparison c = CompareGamut(P3Primaries(), SrgbPrimaries(), ChromaticityPlane::Xy);
    ASSERT_TRUE(c.valid);
    EXPECT_NEAR(c.coverage, 1.0, 1e-12);
    EXPECT_NEAR(c.areaRatio, 0.152 / 0.11205, 1e-9);
    const GamutComparison uv = CompareGamut(P3Primaries(), SrgbPrimaries(), ChromaticityPlane::UvPrime);
    EXPECT_NEAR(uv.coverage, 1.0, 1e-12);
    EXPECT_GT(uv.areaRatio, 1.0);
}

TEST(ColourGamut, SrgbCoversP3OnlyAsFarAsItsOwnAreaReaches) {
    // sRGB lies inside P3, so the part of P3 it covers is its whole area.
    const GamutComparison c = CompareGamut(SrgbPrimaries(), P3Primaries(), ChromaticityPlane::Xy);
    ASSERT_TRUE(c.valid);
    EXPECT_NEAR(c.coverage, 0.11205 / 0.152, 1e-9);
    EXPECT_NEAR(c.coverage, c.areaRatio, 1e-12);
    EXPECT_LT(c.coverage, 1.0);
}

TEST(ColourGamut, PartlyOverlappingTrianglesIntersectInTheSharedCorner) {
    // The second triangle is the first shifted right by ½: they share the triangle (½,0) (1,0) (½,½).
    const PlanePolygon a = {{0, 0}, {1, 0}, {0, 1}};
    const PlanePolygon b = {{0.5, 0}, {1.5, 0}, {0.5, 1}};
    EXPECT_NEAR(PolygonArea(ConvexIntersection(a, b)), 0.125, 1e-12);
    EXPECT_NEAR(PolygonArea(ConvexIntersection(b, a)), 0.125, 1e-12);
    const PlanePolygon clockwise = {{0.5, 0}, {0.5, 1}, {1.5, 0}};
    EXPECT_NEAR(PolygonArea(ConvexIntersection(a, clockwise)), 0.125, 1e-12);
}

TEST(ColourGamut, DisjointTrianglesCoverNothing) {
    const RgbPrimaries left = {{0.10, 0.10}, {0.20, 0.10}, {0.15, 0.20}};
    const RgbPrimaries right = {{0.50, 0.30}, {0.60, 0.30}, {0.55, 0.40}};
    const GamutComparison c = CompareGamut(left, right, ChromaticityPlane::Xy);
    ASSERT_TRUE(c.valid);
    EXPECT_EQ(c.coverage, 0.0);
    EXPECT_NEAR(c.areaRatio, 1.0, 1e-9);
    EXPECT_TRUE(
        ConvexIntersection({{0.1, 0.1}, {0.2, 0.1}, {0.15, 0.2}}, {{0.5, 0.3}, {0.6, 0.3}, {0.55, 0.4}})
            .empty());
}

TEST(ColourGamut, DegenerateTrianglesGiveNoAreaAndNoCrash) {
    const RgbPrimaries line = {{0.2, 0.2}, {0.3, 0.3}, {0.4, 0.4}};
    const RgbPrimaries point = {{0.3127, 0.329}, {0.3127, 0.329}, {0.3127, 0.329}};
    for (ChromaticityPlane plane : {ChromaticityPlane::Xy, ChromaticityPlane::UvPrime}) {
        const GamutComparison measuredLine = CompareGamut(line, SrgbPrimaries(), plane);
        ASSERT_TRUE(measuredLine.valid);
        EXPECT_EQ(measuredLine.coverage, 0.0);
        EXPECT_NEAR(measuredLine.areaRatio, 0.0, 1e-12);
        const GamutComparison measuredPoint = CompareGamut(point, SrgbPrimaries(), plane);
        EXPECT_EQ(measuredPoint.coverage, 0.0);
        // A reference without area has nothing to cover.
        EXPECT_FALSE(CompareGamut(SrgbPrimaries(), line, plane).valid);
        EXPECT_FALSE(CompareGamut(SrgbPrimaries(), point, plane).valid);
    }
    EXPECT_EQ(PolygonArea({}), 0.0);
    EXPECT_EQ(PolygonArea({{0.1, 0.1}, {0.2, 0.2}}), 0.0);
    EXPECT_TRUE(ConvexIntersection({}, {{0, 0}, {1, 0}, {0, 1}}).empty());
}
