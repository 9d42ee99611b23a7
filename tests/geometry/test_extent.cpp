#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "geometry/Extent.h"
#include "geometry/GeomConstants.h"

namespace {

TEST(Extent2D, PolygonsOfKnownShapes) {
    struct Case {
        std::vector<SQPOINT> points;
        double expand, area, thickness;
    };
    // A point grown by 1 along four directions becomes the regular octagon of
    // inradius 1, area 8 tan(pi/8); the right triangle is reproduced exactly.
    const Case cases[] = {
        {{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, 0, 100, 10},
        {{{0, 0}, {4, 0}, {0, 4}}, 0, 8, 4 / std::sqrt(2.0)},
        {{{5, 5}}, 1, 8 * std::tan(kQPiFull / 8), 2},
        {{{1, 1}, {3, 3}}, 0, 0, 0},
    };
    for (const Case& c : cases) {
        CExtent2D e;
        e.AddNewPoints(c.points.data(), int(c.points.size()));
        e.Expand(c.expand);
        EXPECT_NEAR(e.EstimateArea(), c.area, 1e-12);
        EXPECT_NEAR(e.GetThickness(), c.thickness, 1e-12);
        for (const SQPOINT& p : c.points) EXPECT_TRUE(e.IsPointInside(p, 1e-12));
    }
}

TEST(Extent2D, RoundPointCloudIsHuggedByManyDirections) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(0, kQ2PiFull);
    CExtent2D e(16);
    std::vector<SQPOINT> pts;
    for (int i = 0; i < 2000; ++i) {
        const double a = u(rng);
        pts.push_back({std::cos(a), std::sin(a)});
    }
    e.AddNewPoints(pts.data(), int(pts.size()));
    // Between the inscribed and the circumscribed 32-gon of the unit circle.
    EXPECT_GT(e.EstimateArea(), 16 * std::sin(2 * kQPiFull / 32) * 0.999);
    EXPECT_LT(e.EstimateArea(), 32 * std::tan(kQPiFull / 32) + 1e-9);
    SQRECT rc;
    ASSERT_TRUE(e.GetBoundingRect(rc));
    EXPECT_NEAR(rc.right, 1, 1e-3);
    EXPECT_NEAR(rc.top, -1, 1e-3);
    EXPECT_NEAR(e.MeasureDistance({3, 0}), 2, 1e-3);
    EXPECT_NEAR(e.MeasureDistance({0, 0}), -1, 1e-3);
    EXPECT_FALSE(e.IsPointInside({0.8, 0.8}));
}

TEST(Extent2D, EmptyStatesAndCustomNormals) {
    CExtent2D e;
    EXPECT_TRUE(e.IsEmpty());
    EXPECT_EQ(e.EstimateArea(), 0);
    EXPECT_FALSE(e.IsPointInside({0, 0}));
    EXPECT_TRUE(std::isinf(e.MeasureDistance({0, 0})));
    e.AddNewPoint({0, 0});
    e.AddNewPoint({2, 2});
    e.Expand(-1.5);
    EXPECT_TRUE(e.IsEmpty());
    // One usable direction does not span the plane: the axes are added.
    const SQPOINT single[2] = {{0, 0}, {3, 3}};
    CExtent2D d(single, 2);
    EXPECT_EQ(d.GetNormalCount(), 3);
    d.AddNewPoint({0, 0});
    d.AddNewPoint({1, 2});
    // The box [0, 1] x [0, 2]; the diagonal slab x + y <= 3 only touches a corner.
    EXPECT_NEAR(d.EstimateArea(), 2, 1e-12);
    CExtent2D merged;
    merged.AddExtent(d);
    EXPECT_NEAR(merged.EstimateArea(), 2, 1e-12);
}

TEST(Extent3D, VolumesOfKnownSolids) {
    struct Case {
        std::vector<SQPOINT3> points;
        double volume, thickness;
    };
    const Case cases[] = {
        {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, 1.0 / 6, 1 / std::sqrt(3.0)},
        {{{0, 0, 0}, {2, 0, 0}}, 0, 0},
    };
    for (const Case& c : cases) {
        CExtent3D e;
        e.AddNewPoints(c.points.data(), int(c.points.size()));
        EXPECT_NEAR(e.EstimateVolume(), c.volume, 1e-12);
        EXPECT_NEAR(e.GetThickness(), c.thickness, 1e-12);
    }
    // A 2 x 3 x 4 box filled with its corners.
    CExtent3D box;
    for (int i = 0; i < 8; ++i) box.AddNewPoint({2.0 * (i & 1), 3.0 * ((i >> 1) & 1), 4.0 * (i >> 2)});
    EXPECT_NEAR(box.EstimateVolume(), 24, 1e-10);
    EXPECT_EQ(box.GetVertices().size(), 8u);
    EXPECT_TRUE(box.IsPointInside({1, 1.5, 2}));
    EXPECT_FALSE(box.IsPointInside({2.1, 1.5, 2}));
    EXPECT_NEAR(box.MeasureDistance({1, 1.5, 6}), 2, 1e-12);
    box.Expand(-1.1);
    EXPECT_TRUE(box.IsEmpty());
}

TEST(Extent3D, GrownPointMatchesTheSlabPolytope) {
    // A point grown by 1 along the three axes only is the cube of side 2.
    const SQPOINT3 axes[3] = {{1, 0, 0}, {0, 2, 0}, {0, 0, 3}};
    CExtent3D e(axes, 3);
    e.AddNewPoint({1, 2, 3});
    e.Expand(1);
    EXPECT_NEAR(e.EstimateVolume(), 8, 1e-12);
    // Adding the diagonal (1, 1, 1) cuts two opposite corners off that cube,
    // each a tetrahedron with legs 3 - sqrt 3.
    const SQPOINT3 four[4] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
    CExtent3D c(four, 4);
    c.AddNewPoint({0, 0, 0});
    c.Expand(1);
    const double leg = 3 - std::sqrt(3.0);
    EXPECT_NEAR(c.EstimateVolume(), 8 - 2 * leg * leg * leg / 6, 1e-10);
    // With all four diagonals eight such corners go, and the twelve pairs that
    // share a cube edge overlap in wedges of volume (2 - sqrt 3)^3 / 3.
    CExtent3D d;
    d.AddNewPoint({0, 0, 0});
    d.Expand(1);
    const double w = 2 - std::sqrt(3.0);
    EXPECT_NEAR(d.EstimateVolume(), 8 - 8 * leg * leg * leg / 6 + 12 * w * w * w / 3, 1e-10);
}

}  // namespace
