#include <gtest/gtest.h>

#include "path_test_util.h"

using namespace pathtest;

namespace {

TEST(Curve, DistancesAlongARectangle) {
    CQPath rect;
    rect.CreateRect({0, 0, 10, 5});  // clockwise on screen: top, right, bottom, left
    CQCurve c;
    ASSERT_TRUE(rect.AsCurve(c));
    EXPECT_NEAR(c.GetLength(), 30.0, 1e-12);
    EXPECT_TRUE(c.GetClosed());
    EXPECT_EQ(c.GetSegmentCount(), 4);
    struct {
        double d;
        SQPOINT p;
    } cases[] = {{0, {0, 0}}, {4, {4, 0}}, {12, {10, 2}}, {17.5, {7.5, 5}}, {29, {0, 1}}, {34, {4, 0}} /* wraps */,
                 {-1, {0, 1}}};
    for (const auto& k : cases) {
        SQPOINT p;
        ASSERT_TRUE(c.GetPoint(k.d, p));
        EXPECT_NEAR(p.x, k.p.x, 1e-9) << k.d;
        EXPECT_NEAR(p.y, k.p.y, 1e-9) << k.d;
    }
    SQPOINT n;
    ASSERT_TRUE(c.GetNormal(4, n));  // along +x: the normal turns to +y
    EXPECT_NEAR(n.x, 0, 1e-12);
    EXPECT_NEAR(n.y, 1, 1e-12);
    EXPECT_NEAR(c.GetDistance({4, -3}), 4.0, 1e-9);
    EXPECT_NEAR(c.GetDistance({12, 2}), 12.0, 1e-9);
    SQPOINT near;
    EXPECT_NEAR(c.GetDistanceNearestPoint({12, 2}, near), 2.0, 1e-9);
    EXPECT_NEAR(near.x, 10.0, 1e-9);
    int seg;
    double t;
    ASSERT_TRUE(c.Seek(12, seg, t));
    EXPECT_EQ(seg, 1);
    EXPECT_NEAR(t, 0.4, 1e-9);
    c.SetClosed(false);
    SQPOINT p;
    ASSERT_TRUE(c.GetPoint(34, p));  // open curves clamp to their end
    EXPECT_NEAR(p.y, 0, 1e-9);
    EXPECT_FALSE(c.GetPoint(NAN, p));
    SQCURVESEGMENT info;
    ASSERT_TRUE(c.GetSegmentInfo(2, info));
    EXPECT_NEAR(info.start, 15, 1e-12);
    EXPECT_FALSE(c.GetSegmentInfo(4, info));
    CQCurve empty;
    EXPECT_FALSE(empty.GetPoint(0, p));
    EXPECT_EQ(empty.GetDistance({0, 0}), -1.0);
}

TEST(Curve, CircleLengthAndNearestPoints) {
    CQPath circle;
    circle.CreateEllipse({-10, -10, 10, 10});
    CQCurve c;
    ASSERT_TRUE(c.Create(circle));
    // Four cubics approximate the circle; their length is within 2e-4 of 2 pi r.
    EXPECT_NEAR(c.GetLength(), 20 * M_PI, 20 * M_PI * 2e-4);
    for (double a = 0; a < 6.28; a += 0.37) {
        SQPOINT q{30 * std::cos(a), 30 * std::sin(a)}, near;
        const double d = c.GetDistanceNearestPoint(q, near);
        EXPECT_NEAR(d, 20.0, 20 * 3e-4);
        EXPECT_NEAR(std::atan2(near.y, near.x), std::atan2(q.y, q.x), 1e-3);
    }
}

TEST(Curve, CubicLengthSeekAndNearest) {
    const QCubicCurve k({0, 0}, {0, 10}, {10, 10}, {10, 0});
    const double len = k.Length();
    // Closed form is not simple; halving and summing the pieces must agree to 1e-9.
    QCubicCurve a, b;
    k.Split(0.3, a, b);
    EXPECT_NEAR(a.Length() + b.Length(), len, len * 1e-9);
    for (double f : {0.0, 0.1, 0.5, 0.77, 1.0}) {
        double t;
        ASSERT_TRUE(k.Seek(len * f, t));
        EXPECT_NEAR(k.Length(0, t), len * f, len * 1e-9) << f;
    }
    double t;
    ASSERT_TRUE(k.Seek(-5, t));
    EXPECT_EQ(t, 0.0);
    ASSERT_TRUE(k.Seek(len * 2, t));
    EXPECT_EQ(t, 1.0);
    // Points on the curve are their own nearest points.
    for (double s : {0.0, 0.2, 0.5, 0.9}) {
        const SQPOINT p = k.Point(s);
        EXPECT_NEAR(k.Nearest(p, t), 0.0, 1e-9);
        EXPECT_NEAR(t, s, 1e-6);
    }
    // A cusp: zero derivative in the middle still gives a finite length and a normal.
    const QCubicCurve cusp({0, 0}, {10, 10}, {0, 10}, {10, 0});
    EXPECT_TRUE(std::isfinite(cusp.Length()));
    const SQPOINT n = cusp.Normal(0.5);
    EXPECT_NEAR(std::hypot(n.x, n.y), 1.0, 1e-9);
}

TEST(Curve, SpiralsFollowTheirRadiusLaw) {
    struct {
        EQSpiralType type;
        double r0, r1, turns;
    } cases[] = {{keSpiralArchimedean, 0, 50, 3}, {keSpiralArchimedean, 10, 5, 1.5}, {keSpiralLogarithmic, 2, 64, 5}};
    for (const auto& c : cases) {
        CQCurve s;
        ASSERT_TRUE(s.CreateSpiralCurve({100, 100}, c.r0, c.r1, c.turns, 0.5, c.type));
        EXPECT_FALSE(s.GetClosed());
        const double total = c.turns * 2 * M_PI;
        for (int i = 0; i < s.GetSegmentCount(); ++i) {
            SQCURVESEGMENT seg;
            ASSERT_TRUE(s.GetSegmentInfo(i, seg));
            for (double t : {0.0, 0.5}) {
                const SQPOINT p = seg.cubic.Point(t);
                const double dx = p.x - 100, dy = p.y - 100, r = std::hypot(dx, dy);
                // The angle reached, unwrapped with the piece index (eighth turns).
                const double a = (i + t) * total / s.GetSegmentCount();
                const double expect = c.type == keSpiralLogarithmic ? c.r0 * std::pow(c.r1 / c.r0, a / total)
                                                                    : c.r0 + (c.r1 - c.r0) * a / total;
                EXPECT_NEAR(r, expect, 2e-3 * std::fmax(expect, 1.0)) << i << " " << t;
            }
        }
        SQPOINT end;
        ASSERT_TRUE(s.GetPoint(s.GetLength(), end));
        EXPECT_NEAR(std::hypot(end.x - 100, end.y - 100), c.r1, 1e-9);
    }
    CQCurve bad;
    EXPECT_FALSE(bad.CreateSpiralCurve({0, 0}, 0, 10, 2, 0, keSpiralLogarithmic));
    EXPECT_FALSE(bad.CreateSpiralCurve({0, 0}, 1, 10, NAN));
    EXPECT_FALSE(bad.CreateSpiralCurve({0, 0}, 1, 10, 0));
}

}  // namespace
