#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "geometry/geometry.h"

namespace {

void ExpectMaps(const double* m, const SQPOINT* src, const SQPOINT* dst, int n, double tol) {
    for (int i = 0; i < n; ++i) {
        SQPOINT p = src[i];
        QGDI_MatrixTransform(m, p);
        EXPECT_NEAR(p.x, dst[i].x, tol) << "point " << i;
        EXPECT_NEAR(p.y, dst[i].y, tol) << "point " << i;
    }
}

// Random matrices of each model recovered from the images of their points.
TEST(MatrixBuild, RecoversRandomMapsFromCorrespondences) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int t = 0; t < 50; ++t) {
        const double truth[9] = {2 + u(rng),   u(rng),        300 * u(rng),  u(rng), 2 + u(rng),
                                 300 * u(rng), 1e-3 * u(rng), 1e-3 * u(rng), 1};
        const double affine[9] = {truth[0], truth[1], truth[2], truth[3], truth[4], truth[5], 0, 0, 1};
        SQPOINT src[12], dstP[12], dstA[12];
        for (int i = 0; i < 12; ++i) {
            src[i] = {400 * u(rng) + 500, 400 * u(rng) + 500};
            dstP[i] = dstA[i] = src[i];
        }
        QGDI_MatrixTransform(truth, dstP, 12);
        QGDI_MatrixTransform(affine, dstA, 12);
        double m[9];
        ASSERT_TRUE(QGDI_MatrixFrom3Points(m, src, dstA));
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(m[i], affine[i], 1e-9 * (1 + std::fabs(affine[i])));
        ASSERT_TRUE(QGDI_MatrixFrom4Points(m, src, dstP));
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(m[i], truth[i], 1e-9 * (1 + std::fabs(truth[i])));
        for (int n : {3, 4, 5, 12}) {
            ASSERT_TRUE(QGDI_MatrixFromPoints(m, src, n == 3 ? dstA : dstP, n)) << n;
            ExpectMaps(m, src + n, (n == 3 ? dstA : dstP) + n, 12 - n > 0 ? 12 - n : 0, 1e-6);
        }
    }
}

TEST(MatrixBuild, OneAndTwoPoints) {
    const SQPOINT src[2] = {{1, 1}, {3, 1}};
    const SQPOINT dst[2] = {{5, 5}, {5, 9}};
    double m[9];
    ASSERT_TRUE(QGDI_MatrixFromPoints(m, src, dst, 1));
    EXPECT_TRUE(QGDI_MatrixIsTranslateOnly(m));
    ExpectMaps(m, src, dst, 1, 1e-12);
    ASSERT_TRUE(QGDI_MatrixFromPoints(m, src, dst, 2));
    ExpectMaps(m, src, dst, 2, 1e-12);
    // A quarter turn with scale 2: the linear part is 2 R(90).
    double sx, sy, a;
    ASSERT_TRUE(QGDI_MatrixDecomposeScalingAndRotation(m, sx, sy, a));
    EXPECT_TRUE(std::fabs(sx - 2) < 1e-12 && std::fabs(a - kQPiFull / 2) < 1e-12) << sx << " " << a;
}

TEST(MatrixBuild, DegenerateInputsFailAndLeaveOutputUntouched) {
    const SQPOINT line[4] = {{0, 0}, {1, 1}, {2, 2}, {5, 0}};
    const SQPOINT quad[4] = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    const SQPOINT same[4] = {{3, 3}, {3, 3}, {3, 3}, {3, 3}};
    double m[9] = {7, 7, 7, 7, 7, 7, 7, 7, 7};
    EXPECT_FALSE(QGDI_MatrixFrom3Points(m, line, quad));
    EXPECT_FALSE(QGDI_MatrixFrom4Points(m, line, quad));
    EXPECT_FALSE(QGDI_MatrixFrom4Points(m, quad, line));
    EXPECT_FALSE(QGDI_MatrixFromPoints(m, same, quad, 2));
    EXPECT_FALSE(QGDI_MatrixFromPoints(m, same, quad, 4));
    EXPECT_FALSE(QGDI_MatrixFromPoints(m, quad, quad, 0));
    EXPECT_FALSE(QGDI_MatrixFromRectAnd4Points(m, SQRECT{0, 0, 0, 5}, quad));
    for (double v : m) EXPECT_EQ(v, 7);
}

TEST(MatrixBuild, RectOntoQuadAndBackThroughParameters) {
    const SQRECT rc{0, 0, 200, 100};
    const SQPOINT quad[4] = {{20, 10}, {180, 30}, {170, 120}, {10, 90}};
    CQMatrix3x3 k;
    SQMatrixParams params;
    ASSERT_TRUE(k.FromPoints(rc, quad, params));
    const SQPOINT corners[4] = {{0, 0}, {200, 0}, {200, 100}, {0, 100}};
    ExpectMaps(k.Data(), corners, quad, 4, 1e-9);
    double rebuilt[9];
    QGDI_MatrixFromParameters(rebuilt, params);
    ExpectMaps(rebuilt, corners, quad, 4, 1e-9);
}

TEST(MatrixBuild, ParametersRoundTrip) {
    const SQMatrixParams cases[] = {{},
                                    {2, 3, 30, 0, 5, 6, 0, 0},
                                    {1, -1, 0, 0, 0, 0, 0, 0},
                                    {0.5, 2, -120, 20, -7, 8, 0, 0},
                                    {1.5, 1.5, 170, -35, 100, 200, 1e-3, -2e-3}};
    for (const SQMatrixParams& p : cases) {
        double m[9];
        QGDI_MatrixFromParameters(m, p);
        SQMatrixParams q;
        ASSERT_TRUE(QGDI_MatrixToParameters(m, q));
        const double got[6] = {q.dScaleX, q.dScaleY, q.dRotation, q.dShear, q.dOffsetX, q.dPerspectiveY};
        const double want[6] = {p.dScaleX, p.dScaleY, p.dRotation, p.dShear, p.dOffsetX, p.dPerspectiveY};
        const double tol[6] = {1e-12, 1e-12, 1e-9, 1e-9, 1e-12, 1e-15};
        for (int i = 0; i < 6; ++i) EXPECT_NEAR(got[i], want[i], tol[i]) << i;
    }
    // The class builds the same matrix from the same steps.
    CQMatrix3x3 k;
    k.Translate(-7, 8);
    k.RotateAngle(-120);
    k.ShearAngleX(20);
    k.Scale(0.5, 2);
    double m[9];
    QGDI_MatrixFromParameters(m, cases[3]);
    EXPECT_TRUE(QGDI_MatrixIsEqual(k.Data(), m));
    const double singular[9] = {1, 2, 0, 2, 4, 0, 0, 0, 1};
    SQMatrixParams q;
    EXPECT_FALSE(QGDI_MatrixToParameters(singular, q));
}

TEST(MatrixBuild, SpaceMaps) {
    const SQRECT from{0, 0, 100, 50}, to{10, 10, 310, 60};
    struct {
        EQSpaceMapMode mode;
        double sx, sy;
    } cases[] = {{keSpaceMapStretch, 3, 1}, {keSpaceMapFit, 1, 1}, {keSpaceMapFill, 3, 3}, {keSpaceMapCenter, 1, 1}};
    for (const auto& c : cases) {
        double m[9];
        ASSERT_TRUE(QGDI_MatrixGetSpaceMap(m, from, to, c.mode));
        EXPECT_TRUE(m[0] == c.sx && m[4] == c.sy) << c.mode;
        const SQPOINT centre{50, 25}, centreTo{160, 35};
        ExpectMaps(m, &centre, &centreTo, 1, 1e-13);
    }
    double m[9];
    EXPECT_FALSE(QGDI_MatrixGetSpaceMap(m, SQRECT{0, 0, 0, 1}, to, keSpaceMapStretch));
    EXPECT_FALSE(QGDI_MatrixGetSpaceMap(m, from, SQRECT{0, 0, 5, 0}, keSpaceMapFit));

    CQMatrix3x3 k;
    k.Translate(1000, 0);
    ASSERT_TRUE(k.Stretch1(from, to));
    const SQPOINT corner{100, 50}, cornerTo{1000 + 210, 60};
    ExpectMaps(k.Data(), &corner, &cornerTo, 1, 1e-12);
}

TEST(MatrixBuild, RotateBoxKeepsTheBoundsAtTheBoxOrigin) {
    const double r2 = std::sqrt(2.0);
    struct {
        SQRECT box;
        double deg, w, h;
    } cases[] = {{{10, 20, 14, 22}, 90, 2, 4},
                 {{10, 20, 14, 22}, 180, 4, 2},
                 {{10, 20, 13, 23}, 45, 3 * r2, 3 * r2},
                 {{10, 20, 14, 22}, 0, 4, 2}};
    for (const auto& c : cases) {
        CQMatrix3x3 k;
        SQRECT bounds;
        k.RotateBox(c.box, c.deg, &bounds);
        const double got[4] = {bounds.left, bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top};
        const double want[4] = {c.box.left, c.box.top, c.w, c.h};
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(got[i], want[i], 1e-12) << c.deg << " #" << i;
        CQRect mapped(c.box);
        k.Transform(mapped);
        EXPECT_TRUE(mapped == bounds);
    }
}

TEST(MatrixBuild, SimplifyToLinearX) {
    const SQRECT area{0, 0, 1000, 1000};
    double weak[9] = {1, 0, 0, 0, 1, 0, 1e-9, 1e-5, 1};
    const double orig[9] = {1, 0, 0, 0, 1, 0, 1e-9, 1e-5, 1};
    ASSERT_TRUE(QGDI_SimplifyMatrixToLinearX(weak, area, 0.01));
    EXPECT_EQ(weak[6], 0.0);
    for (double x : {0.0, 333.0, 1000.0})
        for (double y : {0.0, 500.0, 1000.0}) {
            SQPOINT b{x, y};
            QGDI_MatrixTransform(orig, b);
            const SQPOINT a{x, y};
            ExpectMaps(weak, &a, &b, 1, 0.01);
        }
    double strong[9] = {1, 0, 0, 0, 1, 0, 1e-4, 0, 1};
    EXPECT_FALSE(QGDI_SimplifyMatrixToLinearX(strong, area, 0.5));
    EXPECT_EQ(strong[6], 1e-4);
    double affine[9] = {2, 0, 0, 0, 2, 0, 0, 0.01, 1};
    EXPECT_TRUE(QGDI_SimplifyMatrixToLinearX(affine, area, 0));
    EXPECT_EQ(affine[7], 0.01);
}

}  // namespace
