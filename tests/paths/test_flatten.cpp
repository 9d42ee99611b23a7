#include <gtest/gtest.h>

#include <random>

#include "path_test_util.h"

using namespace pathtest;

namespace {

TEST(FlatnessTests, QuadrilateralAndTriangle) {
    struct {
        SQPOINT p[4];
        double f;
        bool cubicFlat, quadFlat;  // the quadratic uses p0 p1 p3
    } cases[] = {
        {{{0, 0}, {1, 0}, {2, 0}, {3, 0}}, 0.05, true, true},      // collinear
        {{{0, 0}, {1, 0.2}, {2, 0}, {3, 0}}, 0.05, true, true},    // 0.04 < 0.05
        {{{0, 0}, {1, 0.3}, {2, 0}, {3, 0}}, 0.05, false, false},  // 0.09
        {{{0, 0}, {1, 0}, {2, -0.3}, {3, 0}}, 0.05, false, true},  // only the second control is far
        {{{0, 0}, {1, 0}, {0, 1}, {0, 0}}, 0.05, false, false},    // closed loop: |P1 - P0|^2 = 1
        {{{0, 0}, {0.1, 0}, {0, 0.1}, {0, 0}}, 0.05, true, true},  // closed loop within reach
        {{{0, 0}, {5, 0}, {-5, 0}, {1, 0}}, 0.05, true, true},     // overshoot along the chord counts as flat
        {{{0, 0}, {1, 1}, {2, 1}, {3, 0}}, 0.0, false, false},     // zero flatness is never met
    };
    for (const auto& c : cases) {
        EXPECT_EQ(QGDI_QuadrilateralIsFlat(c.p, c.f), c.cubicFlat) << c.p[1].y << " " << c.p[2].y;
        const SQPOINT q[3] = {c.p[0], c.p[1], c.p[3]};
        EXPECT_EQ(QGDI_TriangleIsFlat(q, c.f), c.quadFlat) << c.p[1].y;
    }
}

TEST(Flatten, ProtocolOfTheBaseReceiver) {
    struct {
        const char* name;
        SQPOINT p[4];
        int minLines, maxLines;
    } cases[] = {
        {"collinear: one line, then the repeated end", {{0, 0}, {1, 1}, {2, 2}, {3, 3}}, 2, 2},
        {"closed loop is cut", {{0, 0}, {1, 0}, {0, 1}, {0, 0}}, 3, 1025},
        {"tiny curve", {{0, 0}, {0.01, 0.01}, {0.02, 0}, {0.03, 0.01}}, 2, 2},
    };
    for (const auto& c : cases) {
        CRecorder r;
        r.MoveTo(c.p[0], nullptr);
        ASSERT_TRUE(r.CubicCurveTo(c.p[1], c.p[2], c.p[3], nullptr)) << c.name;
        const int lines = r.Count('L');
        EXPECT_GE(lines, c.minLines) << c.name;
        EXPECT_LE(lines, c.maxLines) << c.name;
        ASSERT_GE(r.calls.size(), 3u);
        // The end point arrives twice: from the last flat piece and once more.
        const Call& a = r.calls[r.calls.size() - 2];
        const Call& b = r.calls.back();
        EXPECT_EQ(a.p.x, c.p[3].x);
        EXPECT_EQ(b.p.x, c.p[3].x);
        EXPECT_EQ(a.p.y, b.p.y);
    }
}

TEST(Flatten, DepthLimitBoundsTheOutput) {
    // With flatness 0 no piece is ever flat: exactly 2^10 pieces.
    CRecorder r;
    const SQPOINT p0{0, 0}, p1{0, 100}, p2{100, 100}, p3{100, 0};
    ASSERT_TRUE(QGDI_CubicBezierFlatten(&r, p0, p1, p2, p3, nullptr, 0.0, 0));
    EXPECT_EQ(r.Count('L'), 1024);
    CRecorder q;
    ASSERT_TRUE(QGDI_QuadraticBezierFlatten(&q, p0, p1, p3, nullptr, 0.0, 0));
    EXPECT_EQ(q.Count('L'), 1024);
    // Starting deeper leaves less room.
    CRecorder d;
    ASSERT_TRUE(QGDI_CubicBezierFlatten(&d, p0, p1, p2, p3, nullptr, 0.0, 7));
    EXPECT_EQ(d.Count('L'), 8);
    // NaN never compares as flat and still stops at the depth limit.
    CRecorder n;
    const SQPOINT bad{NAN, 0};
    EXPECT_TRUE(QGDI_CubicBezierFlatten(&n, p0, bad, p2, p3, nullptr, 0.05, 0));
    EXPECT_EQ(n.Count('L'), 1024);
}

TEST(Flatten, StopsAtTheFirstRefusal) {
    CRecorder r;
    r.refuseAfter = 3;
    r.MoveTo({0, 0}, nullptr);
    EXPECT_FALSE(r.CubicCurveTo({0, 100}, {100, 100}, {100, 0}, nullptr));
    EXPECT_EQ(r.Count('L'), 3);
}

TEST(Flatten, RandomCubicsStayWithinTheFlatness) {
    std::mt19937 rng(1234);
    std::uniform_real_distribution<double> u(-100.0, 100.0);
    for (double f : {0.05, 0.5, 0.001}) {
        for (int k = 0; k < 200; ++k) {
            const SQPOINT p[4] = {{u(rng), u(rng)}, {u(rng), u(rng)}, {u(rng), u(rng)}, {u(rng), u(rng)}};
            // The test measures distance to each piece's chord line, so a piece
            // that doubles back along its chord (a cusp) can hide its tip: such
            // curves are left out of this property.
            double minSpeed = INFINITY, hull = 0;
            for (int i = 0; i <= 200; ++i) {
                const SQPOINT d = QGDI_CubicBezierDerivative(p, i / 200.0);
                minSpeed = std::fmin(minSpeed, std::hypot(d.x, d.y));
            }
            for (int i = 0; i < 3; ++i) hull += Dist(p[i], p[i + 1]);
            if (minSpeed < 0.1 * hull) continue;
            CRecorder r;
            r.flatness = f;
            r.MoveTo(p[0], nullptr);
            ASSERT_TRUE(r.CubicCurveTo(p[1], p[2], p[3], nullptr));
            std::vector<SQPOINT> poly{p[0]};
            for (const Call& c : r.calls)
                if (c.op == 'L') poly.push_back(c.p);
            ASSERT_LE(poly.size(), 1026u);
            // Every point of the true curve lies within sqrt(f) of the polyline.
            double worst = 0.0;
            for (int i = 0; i <= 400; ++i) {
                const SQPOINT b = QGDI_CubicBezierPoint(p, i / 400.0);
                double d = INFINITY;
                for (size_t j = 1; j < poly.size(); ++j) d = std::fmin(d, SegDist(b, poly[j - 1], poly[j]));
                worst = std::fmax(worst, d);
            }
            EXPECT_LE(worst, std::sqrt(f) * 1.0001) << "case " << k << " flatness " << f;
        }
    }
}

TEST(Flatten, MatrixJudgesInDeviceSpaceAndPointsStayUnmapped) {
    const double scale8[9] = {8, 0, 0, 0, 8, 0, 0, 0, 1};
    const SQPOINT p[4] = {{0, 0}, {0, 10}, {10, 10}, {10, 0}};
    CRecorder plain, scaled;
    plain.MoveTo(p[0], nullptr);
    scaled.MoveTo(p[0], scale8);
    ASSERT_TRUE(plain.CubicCurveTo(p[1], p[2], p[3], nullptr));
    ASSERT_TRUE(scaled.CubicCurveTo(p[1], p[2], p[3], scale8));
    // Eight times larger needs about sqrt(8) times more pieces.
    EXPECT_GT(scaled.Count('L'), 2 * plain.Count('L'));
    for (const Call& c : scaled.calls) {
        if (c.op != 'L') continue;
        EXPECT_EQ(c.matrix, scale8);
        double t;
        EXPECT_LT(QGDI_CubicBezierNearestPoint(p, c.p, t), 1e-9);  // unmapped points on the user curve
    }
}

TEST(Flatten, GlobalFactor) {
    EXPECT_EQ(QGDI_GetFlatnessFactor(), 0.05);
    EXPECT_EQ(QGDI_SetFlatnessFactor(0.5), 0.05);
    CRecorder r;
    EXPECT_EQ(r.GetFlatness(), 0.5);
    EXPECT_EQ(QGDI_SetFlatnessFactor(0.05), 0.5);
}

TEST(Flatten, SubdivisionHalvesShareTheMiddle) {
    const SQPOINT p[4] = {{0, 0}, {1, 3}, {4, 3}, {6, 0}};
    SQPOINT o[7];
    QGDI_CubicBezierSubdivide(p, o);
    const SQPOINT mid = QGDI_CubicBezierPoint(p, 0.5);
    EXPECT_DOUBLE_EQ(o[3].x, mid.x);
    EXPECT_DOUBLE_EQ(o[3].y, mid.y);
    // Each half evaluated at 1/2 lies on the original at 1/4 and 3/4.
    for (int h = 0; h < 2; ++h) {
        const SQPOINT a = QGDI_CubicBezierPoint(o + 3 * h, 0.5), b = QGDI_CubicBezierPoint(p, 0.25 + 0.5 * h);
        EXPECT_NEAR(a.x, b.x, 1e-12);
        EXPECT_NEAR(a.y, b.y, 1e-12);
    }
    const SQPOINT q[3] = {{0, 0}, {2, 4}, {4, 0}};
    SQPOINT s[5];
    QGDI_QuadraticBezierSubdivide(q, s);
    EXPECT_DOUBLE_EQ(s[2].x, 2.0);
    EXPECT_DOUBLE_EQ(s[2].y, 2.0);
}

}  // namespace
