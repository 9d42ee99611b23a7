#include <gtest/gtest.h>

#include <random>

#include "path_test_util.h"

using namespace pathtest;

namespace {

using Polygon = CQPathBoolean::Polygon;

Polygon Rect(double l, double t, double r, double b) { return {{{l, t}, {r, t}, {r, b}, {l, b}}}; }

// A star-shaped polygon around a centre with random radii: simple, n vertices.
std::vector<SQPOINT> Star(std::mt19937& rng, SQPOINT c, double r, int n) {
    std::uniform_real_distribution<double> u(0.3, 1.0);
    std::vector<SQPOINT> v(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * i / n, k = r * u(rng);
        v[size_t(i)] = {c.x + k * std::cos(a), c.y + k * std::sin(a)};
    }
    return v;
}

bool Expect(EQPathBoolOp op, bool a, bool b) {
    switch (op) {
    case keBoolUnion: return a || b;
    case keBoolIntersection: return a && b;
    case keBoolDifference: return a && !b;
    default: return a != b;
    }
}

TEST(PathBoolean, OverlappingSquares) {
    const Polygon a = Rect(0, 0, 10, 10), b = Rect(5, 5, 15, 15);
    struct {
        EQPathBoolOp op;
        double area;
        size_t rings;
    } cases[] = {{keBoolUnion, 175, 1}, {keBoolIntersection, 25, 1}, {keBoolDifference, 75, 1}, {keBoolXor, 150, 2}};
    for (const auto& c : cases) {
        Polygon out;
        ASSERT_FALSE(CQPathBoolean::Combine(a, b, c.op, kePathFillNonZero, out).IsError());
        EXPECT_NEAR(PolyArea(out), c.area, 1e-9) << c.op;
        EXPECT_EQ(out.size(), c.rings) << c.op;
        for (const auto& r : out) EXPECT_GT(RingArea(r), 0) << "inside on the left";
    }
}

TEST(PathBoolean, SharedEdgesCoincidentAndNested) {
    struct {
        const char* name;
        Polygon a, b;
        EQPathBoolOp op;
        double area;
        size_t rings, vertices;  // vertices of the first ring, 0 to skip
    } cases[] = {
        {"side by side union is one rectangle", Rect(0, 0, 1, 1), Rect(1, 0, 2, 1), keBoolUnion, 2, 1, 4},
        {"side by side intersect is empty", Rect(0, 0, 1, 1), Rect(1, 0, 2, 1), keBoolIntersection, 0, 0, 0},
        {"partly shared side", Rect(0, 0, 2, 2), Rect(2, 1, 3, 3), keBoolUnion, 6, 1, 8},
        {"same square union", Rect(0, 0, 3, 3), Rect(0, 0, 3, 3), keBoolUnion, 9, 1, 4},
        {"same square xor", Rect(0, 0, 3, 3), Rect(0, 0, 3, 3), keBoolXor, 0, 0, 0},
        {"same square difference", Rect(0, 0, 3, 3), Rect(0, 0, 3, 3), keBoolDifference, 0, 0, 0},
        {"hole", Rect(0, 0, 10, 10), Rect(3, 3, 6, 6), keBoolDifference, 91, 2, 0},
        {"corner touch", Rect(0, 0, 1, 1), Rect(1, 1, 2, 2), keBoolUnion, 2, 2, 4},
        {"empty operand", Rect(0, 0, 2, 2), Polygon{}, keBoolUnion, 4, 1, 4},
        {"empty intersection", Rect(0, 0, 2, 2), Polygon{}, keBoolIntersection, 0, 0, 0},
    };
    for (const auto& c : cases) {
        Polygon out;
        ASSERT_FALSE(CQPathBoolean::Combine(c.a, c.b, c.op, kePathFillNonZero, out).IsError()) << c.name;
        EXPECT_NEAR(PolyArea(out), c.area, 1e-9) << c.name;
        EXPECT_EQ(out.size(), c.rings) << c.name;
        if (c.vertices && !out.empty()) {
            EXPECT_EQ(out[0].size(), c.vertices) << c.name;
        }
    }
    // The hole runs the other way round from its outline.
    Polygon out;
    ASSERT_FALSE(CQPathBoolean::Combine(Rect(0, 0, 10, 10), Rect(3, 3, 6, 6), keBoolDifference, kePathFillNonZero, out)
                     .IsError());
    ASSERT_EQ(out.size(), 2u);
    EXPECT_LT(RingArea(out[0]) * RingArea(out[1]), 0);
}

TEST(PathBoolean, FillRulesOnASelfIntersectingStar) {
    // A pentagram: the centre pentagon winds twice.
    Polygon star{{}};
    for (int i = 0; i < 5; ++i) {
        const double a = M_PI / 2 + i * 4 * M_PI / 5;
        star[0].push_back({10 * std::cos(a), 10 * std::sin(a)});
    }
    Polygon nz, eo;
    ASSERT_FALSE(CQPathBoolean::Combine(star, {}, keBoolUnion, kePathFillNonZero, nz).IsError());
    ASSERT_FALSE(CQPathBoolean::Combine(star, {}, keBoolUnion, kePathFillEvenOdd, eo).IsError());
    EXPECT_EQ(nz.size(), 1u);  // the outline of the star
    EXPECT_EQ(eo.size(), 5u);  // the points alone: they meet only at corners
    EXPECT_EQ(nz[0].size(), 10u);
    EXPECT_EQ(Winding(nz, {0, 0}), 1);
    EXPECT_EQ(Winding(eo, {0, 0}), 0);
    EXPECT_GT(PolyArea(nz), PolyArea(eo));
}

TEST(PathBoolean, RandomStarsKeepAreasAndSamples) {
    std::mt19937 rng(99);
    std::uniform_real_distribution<double> off(-30, 30), unit(-60, 60);
    for (int k = 0; k < 12; ++k) {
        const Polygon a{Star(rng, {0, 0}, 50, 40 + k * 10)};
        const Polygon b{Star(rng, {off(rng), off(rng)}, 50, 30 + k * 7)};
        const double areaA = std::fabs(PolyArea(a)), areaB = std::fabs(PolyArea(b));
        Polygon res[4];
        for (int op = 0; op < 4; ++op)
            ASSERT_FALSE(CQPathBoolean::Combine(a, b, EQPathBoolOp(op), kePathFillNonZero, res[op]).IsError());
        const double u = PolyArea(res[keBoolUnion]), i = PolyArea(res[keBoolIntersection]);
        EXPECT_NEAR(u + i, areaA + areaB, 1e-6 * (areaA + areaB)) << k;
        EXPECT_NEAR(PolyArea(res[keBoolDifference]), areaA - i, 1e-6 * areaA) << k;
        EXPECT_NEAR(PolyArea(res[keBoolXor]), u - i, 1e-6 * u) << k;
        for (int s = 0; s < 300; ++s) {
            const SQPOINT p{unit(rng), unit(rng)};
            if (EdgeDist(a, p) < 1e-6 || EdgeDist(b, p) < 1e-6) continue;
            const bool inA = Winding(a, p) != 0, inB = Winding(b, p) != 0;
            for (int op = 0; op < 4; ++op)
                EXPECT_EQ(Winding(res[op], p) != 0, Expect(EQPathBoolOp(op), inA, inB)) << k << " op " << op;
        }
    }
}

TEST(PathBoolean, ManySeparatePieces) {
    // A 40 x 40 checkerboard of unit squares against a shifted copy: 1600
    // separate outlines each way, every one nested in nothing.
    Polygon a, b;
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x) {
            a.push_back(Rect(2 * x, 2 * y, 2 * x + 1, 2 * y + 1)[0]);
            b.push_back(Rect(2 * x + 0.5, 2 * y + 0.5, 2 * x + 1.5, 2 * y + 1.5)[0]);
        }
    Polygon u, i;
    ASSERT_FALSE(CQPathBoolean::Combine(a, b, keBoolUnion, kePathFillNonZero, u).IsError());
    ASSERT_FALSE(CQPathBoolean::Combine(a, b, keBoolIntersection, kePathFillNonZero, i).IsError());
    EXPECT_EQ(u.size(), 1600u);
    EXPECT_EQ(i.size(), 1600u);
    EXPECT_NEAR(PolyArea(u), 1600 * 1.75, 1e-6);
    EXPECT_NEAR(PolyArea(i), 1600 * 0.25, 1e-6);
    // Nested: a frame around everything makes every piece a hole of the difference.
    Polygon frame = Rect(-5, -5, 85, 85), d;
    ASSERT_FALSE(CQPathBoolean::Combine(frame, a, keBoolDifference, kePathFillNonZero, d).IsError());
    EXPECT_EQ(d.size(), 1601u);
    EXPECT_NEAR(PolyArea(d), 90 * 90 - 1600, 1e-6);
}

TEST(PathBoolean, PathsInAndOut) {
    CQPath a, b, out;
    a.CreateEllipse({0, 0, 20, 20});
    b.CreateRect({10, -5, 30, 25});
    CQPathBoolean pb;
    ASSERT_FALSE(pb.SetPaths(a, b, 1e-6).IsError());
    ASSERT_FALSE(pb.GetPath(out, keBoolDifference).IsError());
    EXPECT_EQ(out.GetContourCount(), 1);
    SQRECT box;
    ASSERT_TRUE(out.GetBBox(box));
    EXPECT_NEAR(box.right, 10, 1e-9);
    EXPECT_NEAR(box.left, 0, 1e-2);
    EXPECT_NEAR(std::fabs(QGDI_ContourGetArea(out.GetPath()->first)), M_PI * 50, 0.05);

    CQPath bad;
    bad.MoveTo(0, 0);
    bad.LineTo(NAN, 4);
    bad.LineTo(4, 4);
    bad.ClosePath();
    ASSERT_FALSE(pb.SetPaths(bad, b).IsError());
    EXPECT_EQ(pb.GetPath(out, keBoolUnion), keQuorErrFailed);
    Polygon o;
    EXPECT_EQ(CQPathBoolean::Combine({}, {}, EQPathBoolOp(9), kePathFillNonZero, o), keQuorErrFailed);
    // Huge coordinates are scaled onto the grid like any others.
    ASSERT_FALSE(CQPathBoolean::Combine(Rect(0, 0, 1e15, 1e15), Rect(5e14, 5e14, 2e15, 2e15), keBoolIntersection,
                                        kePathFillNonZero, o)
                     .IsError());
    EXPECT_NEAR(PolyArea(o), 25e28, 1e22);
}

TEST(PathBlender, EndsAreTheInputsAndTheMiddleIsBetween) {
    CQPath a, b, out;
    a.CreateRect({-1, -1, 1, 1});
    b.CreateRect({-2, -2, 2, 2});
    CQPathBlender blend;
    EXPECT_FALSE(blend.GetPath(0.5, out));
    ASSERT_TRUE(blend.SetPaths(a, b));
    for (double t : {0.0, 1.0}) {
        ASSERT_TRUE(blend.GetPath(t, out));
        SQPOINT v[8], w[8];
        const CQPath& ref = t == 0.0 ? a : b;
        ASSERT_EQ(out.GetVertices(v, 8), ref.GetVertices(w, 8));
        for (int i = 0; i < ref.GetVertices(w, 8); ++i) EXPECT_EQ(v[i].x, w[i].x);
    }
    ASSERT_TRUE(blend.GetPath(0.5, out));
    EXPECT_NEAR(std::fabs(QGDI_ContourGetArea(out.GetPath()->first)), 9.0, 1e-9);

    // Different piece counts and contour counts still blend.
    CQPath circle, two;
    circle.CreateEllipse({-10, -10, 10, 10});
    two.CreateRect({-5, -5, 5, 5});
    two.MoveTo(20, 20);
    two.LineTo(30, 20);
    two.LineTo(30, 30);
    two.ClosePath();
    ASSERT_TRUE(blend.SetPaths(circle, two));
    ASSERT_TRUE(blend.GetPath(0.25, out));
    EXPECT_EQ(out.GetContourCount(), 2);
    SQRECT box;
    ASSERT_TRUE(out.GetBBox(box));
    EXPECT_GT(box.right, 9.0);
    EXPECT_FALSE(blend.GetPath(NAN, out));
}

}  // namespace
