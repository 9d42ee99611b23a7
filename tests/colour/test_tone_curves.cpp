// Brightness and contrast curves, and lookups in sampled curves.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "colour/colour.h"

namespace {

TEST(ToneCurves, BrightnessAndContrastIdentitiesAndInverses) {
    for (double x = 0; x <= 1.0; x += 1.0 / 128) {
        EXPECT_DOUBLE_EQ(Brightness(x, 0.5), x);
        EXPECT_NEAR(Contrast(x, 0.5), x, 1e-15);
        for (double k : {0.1, 0.3, 0.7, 0.95}) {
            // The curve for 1 - k undoes the one for k (both are Moebius maps fixing 0 and 1).
            EXPECT_NEAR(Brightness(Brightness(x, k), 1 - k), x, 1e-12) << k;
            EXPECT_NEAR(Contrast(1 - x, k), 1 - Contrast(x, k), 1e-12) << k;
            EXPECT_EQ(Contrast(0.5, k), 0.5);
        }
    }
    // The extreme settings are steps.
    EXPECT_EQ(Brightness(1.0, 0.0), 1.0);
    EXPECT_EQ(Brightness(0.99, 1e-7), 0.0);
    EXPECT_EQ(Brightness(0.0, 1.0), 0.0);
    EXPECT_EQ(Brightness(0.01, 0.9999995), 1.0);
}

TEST(ToneCurves, LinearLookupAndInverse) {
    const double t[5] = {0.0, 0.1, 0.5, 0.5, 1.0};
    // Missing or one-entry tables, clamping beyond the ends, and interpolation inside.
    const struct {
        double x;
        const double* table;
        int n;
        double y;
    } lookups[] = {{0.3, nullptr, 5, 0.0}, {0.3, t, 0, 0.0},    {0.3, t + 2, 1, 0.5}, {-1.0, t, 5, 0.0},
                   {2.0, t, 5, 1.0},       {0.125, t, 5, 0.05}, {0.25, t, 5, 0.1}};
    for (const auto& c : lookups) EXPECT_DOUBLE_EQ(LutLinear(c.x, c.table, c.n), c.y) << c.x;
    // Inverse: beyond the ends clamps, a flat run answers its first x.
    for (auto [y, x] : {std::pair{-3.0, 0.0}, std::pair{3.0, 1.0}, std::pair{0.5, 0.5}})
        EXPECT_DOUBLE_EQ(InvLutLinear(y, t, 5), x) << y;
    const double falling[3] = {1.0, 0.4, 0.0};
    EXPECT_DOUBLE_EQ(InvLutLinear(0.7, falling, 3), 0.25);
    for (double y = 0; y <= 1.0; y += 1.0 / 64) EXPECT_NEAR(LutLinear(InvLutLinear(y, t, 5), t, 5), y, 1e-12) << y;
}

class CubicBasis : public ::testing::TestWithParam<ESplineBasisType> {};

TEST_P(CubicBasis, EndsLinesAndInverse) {
    const ESplineBasisType basis = GetParam();
    // A straight table stays straight (the ends are extended linearly).
    const double line[4] = {0.2, 0.4, 0.6, 0.8};
    for (double x = 0; x <= 1.0; x += 1.0 / 50) EXPECT_NEAR(LutCubic(x, line, 4, basis), 0.2 + 0.6 * x, 1e-12);
    // A gamma-like table: the curve passes through both ends, and the inverse
    // finds x back wherever the curve rises.
    std::vector<double> t(17);
    for (size_t i = 0; i < t.size(); ++i) t[i] = std::pow(double(i) / 16, 2.2);
    EXPECT_DOUBLE_EQ(LutCubic(0.0, t.data(), 17, basis), 0.0);
    EXPECT_DOUBLE_EQ(LutCubic(1.0, t.data(), 17, basis), 1.0);
    for (double x = 0.01; x < 1.0; x += 1.0 / 37) {
        const double y = LutCubic(x, t.data(), 17, basis);
        EXPECT_NEAR(InvLutCubic(y, t.data(), 17, basis), x, 1e-9) << x;
    }
    // Interpolating bases pass through every sample; the B-spline smooths.
    for (int i = 0; i < 17; ++i) {
        const double at = LutCubic(i / 16.0, t.data(), 17, basis);
        EXPECT_NEAR(at, t[size_t(i)], basis == keSplineBSpline ? 0.01 : 1e-12) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Bases, CubicBasis, ::testing::Values(keSplineCatmullRom, keSplineBSpline, keSplineMonotone));

// Only the monotone basis keeps a step-like table free of overshoot.
TEST(ToneCurves, MonotoneBasisDoesNotOvershoot) {
    const double step[6] = {0, 0, 0, 1, 1, 1};
    double lo = 0, hi = 1, prev = -1;
    for (double x = 0; x <= 1.0; x += 1.0 / 500) {
        const double y = LutCubic(x, step, 6, keSplineMonotone);
        lo = std::min(lo, y), hi = std::max(hi, y);
        EXPECT_GE(y, prev - 1e-15);
        prev = y;
    }
    EXPECT_EQ(lo, 0.0);
    EXPECT_EQ(hi, 1.0);
    double crMin = 0;
    for (double x = 0; x <= 1.0; x += 1.0 / 500) crMin = std::min(crMin, LutCubic(x, step, 6, keSplineCatmullRom));
    EXPECT_LT(crMin, -0.01);
}

}  // namespace
