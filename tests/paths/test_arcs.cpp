#include <gtest/gtest.h>

#include <random>

#include "path_test_util.h"

using namespace pathtest;

namespace {

// The endpoint-to-centre conversion written out as the SVG implementation
// notes give it (with their radius correction), independently of the library.
struct SvgArc {
    double cx, cy, rx, ry, theta1, dtheta;
};
SvgArc SvgCentre(SQPOINT p1, SQPOINT p2, double rx, double ry, double phiDeg, bool fa, bool fs) {
    const double phi = phiDeg * 3.14159265358979 / 180.0, c = std::cos(phi), s = std::sin(phi);
    const double dx = (p1.x - p2.x) / 2, dy = (p1.y - p2.y) / 2;
    const double x1 = c * dx + s * dy, y1 = -s * dx + c * dy;
    rx = std::fabs(rx);
    ry = std::fabs(ry);
    const double lambda = x1 * x1 / (rx * rx) + y1 * y1 / (ry * ry);
    if (lambda > 1) {
        rx *= std::sqrt(lambda);
        ry *= std::sqrt(lambda);
    }
    double num = rx * rx * ry * ry - rx * rx * y1 * y1 - ry * ry * x1 * x1;
    const double den = rx * rx * y1 * y1 + ry * ry * x1 * x1;
    const double k = (fa != fs ? 1 : -1) * std::sqrt(std::fmax(0.0, num / den));
    const double cx1 = k * rx * y1 / ry, cy1 = -k * ry * x1 / rx;
    SvgArc a;
    a.cx = c * cx1 - s * cy1 + (p1.x + p2.x) / 2;
    a.cy = s * cx1 + c * cy1 + (p1.y + p2.y) / 2;
    a.rx = rx;
    a.ry = ry;
    auto angle = [](double ux, double uy, double vx, double vy) {
        return std::atan2(ux * vy - uy * vx, ux * vx + uy * vy);
    };
    const double ux = (x1 - cx1) / rx, uy = (y1 - cy1) / ry, vx = (-x1 - cx1) / rx, vy = (-y1 - cy1) / ry;
    a.theta1 = angle(1, 0, ux, uy);
    double d = angle(ux, uy, vx, vy);
    if (!fs && d > 0) d -= 2 * M_PI;
    if (fs && d < 0) d += 2 * M_PI;
    a.dtheta = d;
    return a;
}

TEST(Arc, MatchesTheSvgEndpointToCentreConversion) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-50, 50), r(1, 60), rot(-180, 180);
    for (int k = 0; k < 400; ++k) {
        const SQPOINT p1{u(rng), u(rng)}, p2{u(rng), u(rng)};
        const double rx = r(rng), ry = r(rng), phi = rot(rng);
        const bool fa = k & 1, fs = (k >> 1) & 1;
        SQARC arc;
        ASSERT_TRUE(QGDI_ArcCreate(arc, p1, {rx, ry}, phi, fa, fs, p2));
        const SvgArc ref = SvgCentre(p1, p2, rx, ry, phi, fa, fs);
        SQPOINT centre{0, 0};
        QGDI_MatrixTransform(arc.unitToUser, centre);
        // Where the radii barely reach, the centre moves with a square root of
        // rounding errors: 1e-5 covers that.
        EXPECT_NEAR(centre.x, ref.cx, 1e-5) << k;
        EXPECT_NEAR(centre.y, ref.cy, 1e-5) << k;
        EXPECT_NEAR(arc.radii.x, ref.rx, 1e-7);
        EXPECT_NEAR(std::remainder(arc.startAngle - ref.theta1, 2 * M_PI), 0.0, 1e-7) << k;
        EXPECT_NEAR(arc.sweep, ref.dtheta, 1e-6) << k;
        if (std::fabs(std::fabs(ref.dtheta) - M_PI) > 1e-6) {
            EXPECT_EQ(std::fabs(arc.sweep) > M_PI, fa) << k;
        }
    }
}

TEST(Arc, CubicPiecesLieOnTheTrueEllipse) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(-50, 50), r(5, 60), rot(-180, 180);
    for (int k = 0; k < 200; ++k) {
        const SQPOINT p1{u(rng), u(rng)}, p2{u(rng), u(rng)};
        SQARC arc;
        ASSERT_TRUE(QGDI_ArcCreate(arc, p1, {r(rng), r(rng)}, rot(rng), k & 1, k & 2, p2));
        SQPOINT pts[16];
        const int n = QGDI_CubicBezierFromArc(pts, arc.startAngle, arc.sweep, arc.unitToUser);
        ASSERT_GE(n, 1);
        EXPECT_LT(Dist(pts[0], p1), 1e-9);
        // A sweep within 1e-6 of pi is set to pi, moving the end by up to 1e-6 radius.
        EXPECT_LT(Dist(pts[4 * n - 1], p2), 1e-6 * std::fmax(arc.radii.x, arc.radii.y) + 1e-9);
        double toUnit[9];
        ASSERT_TRUE(QGDI_MatrixGetInverse(arc.unitToUser, toUnit));
        for (int i = 0; i < n; ++i)
            for (double t : {0.0, 0.25, 0.5, 0.75, 1.0}) {
                SQPOINT q = QGDI_CubicBezierPoint(pts + 4 * i, t);
                QGDI_MatrixTransform(toUnit, q);
                // Quarter-circle cubics deviate by at most 2.7e-4 of the radius.
                EXPECT_NEAR(std::hypot(q.x, q.y), 1.0, 2.8e-4);
            }
    }
}

TEST(Arc, PieceCounts) {
    struct {
        double sweep;
        int pieces;
    } cases[] = {{2 * M_PI + 1e-7, 4}, {1e-7, 0}, {0.0, 0},          {M_PI / 2, 1}, {M_PI / 2 + 0.1, 2},
                 {-3 * M_PI / 2, 3},   {M_PI, 2}, {4 * M_PI + 1, 1}, {-1e-7, 0},    {NAN, 0}};
    for (const auto& c : cases) {
        SQPOINT pts[16];
        EXPECT_EQ(QGDI_CubicBezierFromArc(pts, 0.3, c.sweep, nullptr), c.pieces) << c.sweep;
    }
    // A negative sweep runs clockwise (y up) from the start angle.
    SQPOINT pts[16];
    ASSERT_EQ(QGDI_CubicBezierFromArc(pts, 0.0, -M_PI / 2, nullptr), 1);
    EXPECT_NEAR(pts[0].x, 1.0, 1e-12);
    EXPECT_NEAR(pts[3].y, -1.0, 1e-12);
    EXPECT_NEAR(pts[1].x, 1.0, 1e-12);
    EXPECT_NEAR(pts[1].y, -0.5522847498307936, 1e-9);
}

TEST(Arc, UnitCircleCentreFollowsTheFlags) {
    const double h = std::sqrt(0.75);
    struct {
        bool large, sweep;
        double cy;
    } cases[] = {{false, true, h}, {true, false, h}, {false, false, -h}, {true, true, -h}};
    for (const auto& c : cases) {
        const SQPOINT q = QGDI_GetUnitCircleCenter({1, 0}, c.large, c.sweep);
        EXPECT_NEAR(q.x, 0.5, 1e-12);
        EXPECT_NEAR(q.y, c.cy, 1e-12) << c.large << c.sweep;
    }
}

TEST(Arc, DegenerateAndUnreachableRadii) {
    CRecorder r;
    r.MoveTo({0, 0}, nullptr);
    EXPECT_FALSE(r.ArcTo({0, 10}, 0, false, true, {10, 0}, nullptr));
    EXPECT_FALSE(r.ArcTo({1e-4, 1e-3}, 0, false, true, {10, 0}, nullptr));
    EXPECT_EQ(r.Count('L'), 0);
    // Radii of 1 cannot span 10 units: they grow to 5 and draw a half circle.
    SQARC arc;
    ASSERT_TRUE(QGDI_ArcCreate(arc, {0, 0}, {1, 1}, 0, false, true, {10, 0}));
    EXPECT_NEAR(arc.radii.x, 5.0, 1e-12);
    EXPECT_NEAR(std::fabs(arc.sweep), 3.14159265358979, 1e-12);
    EXPECT_GT(arc.sweep, 0.0);
    ASSERT_TRUE(r.ArcTo({1, 1}, 0, false, true, {10, 0}, nullptr));
    double maxDev = 0;
    for (const Call& c : r.calls)
        if (c.op == 'L') maxDev = std::fmax(maxDev, std::fabs(Dist(c.p, {5, 0}) - 5.0));
    EXPECT_LT(maxDev, 5 * 2.8e-4);
    EXPECT_EQ(r.GetCurrentPoint().x, 10.0);
    // Coincident end points draw nothing and succeed.
    CRecorder z;
    z.MoveTo({3, 3}, nullptr);
    EXPECT_TRUE(z.ArcTo({5, 5}, 0, true, true, {3, 3}, nullptr));
    EXPECT_EQ(z.Count('L'), 0);
}

TEST(Arc, ReceiverSendsDeviceCubicsWithoutMatrix) {
    const double m[9] = {2, 0, 100, 0, 3, 50, 0, 0, 1};
    CRecorder r;
    r.MoveTo({0, 0}, m);
    ASSERT_TRUE(r.ArcTo({10, 10}, 0, false, true, {20, 0}, m));
    ASSERT_GT(r.Count('L'), 4);
    for (const Call& c : r.calls) {
        if (c.op != 'L') continue;
        EXPECT_EQ(c.matrix, nullptr);
        // Device points of the ellipse with radii 20 and 30 about (120, 50).
        const double ex = (c.p.x - 120) / 20, ey = (c.p.y - 50) / 30;
        EXPECT_NEAR(std::hypot(ex, ey), 1.0, 3e-4);
    }
    EXPECT_EQ(r.GetCurrentPoint().x, 20.0);  // unmapped end
}

}  // namespace
