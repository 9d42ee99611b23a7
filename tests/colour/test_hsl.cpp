// Classic HSL, JKL and the colour-space-aware HSL, and the integer HSL family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

#include "ColourTestData.h"
#include "colour/colour.h"
#include "colour/internal/TransferCurveKernels.h"
#include "geometry/GeomConstants.h"

namespace {

using qgdi::test::ExpectNear3;

// Hexcone values worked by hand: (0.2, 0.4, 0.6) has L = 0.4, S = 0.4/0.8, H = 3.5/6.
TEST(ClassicHSL, KnownValuesAndRoundTrip) {
    struct SCase {
        double r, g, b, h, s, l;
    };
    const SCase cases[] = {{1, 0, 0, 0, 1, 0.5},
                           {0.2, 0.4, 0.6, 3.5 / 6, 0.5, 0.4},
                           {1, 1, 0, 1.0 / 6, 1, 0.5},
                           {0.5, 0.5, 0.5, 0, 0, 0.5},
                           {0.9, 0.8, 0.85, 5.5 / 6, 1.0 / 3, 0.85}};
    for (const SCase& c : cases) {
        double h, s, l;
        ClassicRGBtoHSL(c.r, c.g, c.b, h, s, l);
        ExpectNear3({h, s, l}, {c.h, c.s, c.l}, 1e-12);
    }
    std::mt19937 rng(12);
    std::uniform_real_distribution<double> u(0, 1);
    for (int n = 0; n < 5000; ++n) {
        const double r = u(rng), g = u(rng), b = u(rng);
        double h, s, l, r2, g2, b2;
        ClassicRGBtoHSL(r, g, b, h, s, l);
        ClassicHSLtoRGB(h, s, l, r2, g2, b2);
        ExpectNear3({r2, g2, b2}, {r, g, b}, 1e-9);
    }
}

TEST(JKL, HueSaturationPairs) {
    double J, K, H, S;
    EXPECT_EQ(HStoJK(0.25, -0.5, J, K), 1);
    EXPECT_TRUE(J == 0 && K == 0);
    EXPECT_EQ(HStoJK(1.25, 1.5, J, K), 1);
    ExpectNear3({J, K, 0}, {0, 1, 0}, 1e-12);
    EXPECT_EQ(JKtoHS(3, 4, H, S), 1);
    EXPECT_EQ(S, 1.0);
    EXPECT_NEAR(H, std::atan2(4.0, 3.0) / kQ2Pi, 1e-15);
    EXPECT_EQ(JKtoHS(1e-7, 0, H, S), 0);
    EXPECT_EQ(H, 0.0);
    for (double h = 0; h < 1; h += 1.0 / 24)
        for (double s : {0.1, 0.5, 1.0}) {
            ASSERT_EQ(HStoJK(h, s, J, K), 0);
            ASSERT_EQ(JKtoHS(J, K, H, S), 0);
            EXPECT_NEAR(S, s, 1e-12);
            EXPECT_NEAR(std::fmod(H - h + 1.5, 1.0) - 0.5, 0, 1e-12);
        }
}

// The six device primaries and secondaries are pure hexcone hues in the
// L encoding too; they land on the hexagon's corners or on the unit circle.
TEST(JKL, CornersOfBothLayouts) {
    const double colours[6][3] = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 0, 1}, {1, 0, 1}};
    const double corners[6][2] = {{1, 0}, {1, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {1, -1}};
    for (int i = 0; i < 6; ++i) {
        double J, K, L;
        RGBtoJKL(colours[i][0], colours[i][1], colours[i][2], J, K, L, kColorSpecSRGB, false);
        EXPECT_NEAR(J, corners[i][0], 1e-12) << i;
        EXPECT_NEAR(K, corners[i][1], 1e-12) << i;
        EXPECT_DOUBLE_EQ(L, RGBDGetL(colours[i][0], colours[i][1], colours[i][2], kColorSpecSRGB));
        RGBtoJKL(colours[i][0], colours[i][1], colours[i][2], J, K, L, kColorSpecSRGB, true);
        EXPECT_NEAR(J, std::cos(kQ2Pi * i / 6), 1e-12) << i;
        EXPECT_NEAR(K, std::sin(kQ2Pi * i / 6), 1e-12) << i;
    }
}

// JKLtoRGB inverts the exact curves: the colour it returns has luminance
// LtoY(L) and, with its channels L-encoded exactly (CIE L*/100), the hexcone
// hue and saturation that J, K describe. Read back through RGBtoJKL, whose
// YtoL table has 8192 steps, L agrees to one step; J and K drift further in
// dark colours, where one table step (up to 1.1e-3) is a large part of the
// saturation's denominator max + min.
TEST(JKL, InverseForBothLayouts) {
    const SColorSpecRGB cs = qgdi::test::ExactSRGB();
    const double* table = qgdi::colour::YtoLTable();
    auto exactL = [](double y) { return y <= 216.0 / 24389 ? y * 24389 / 27 / 100 : (116 * std::cbrt(y) - 16) / 100; };
    const double corners[7][2] = {{1, 0}, {1, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {1, -1}, {1, 0}};
    std::mt19937 rng(13);
    std::uniform_real_distribution<double> hue(0, 6), sat(0.05, 0.85), light(0.05, 0.95);
    for (bool circular : {true, false}) {
        for (int n = 0; n < 500; ++n) {
            const double h6 = hue(rng), S = sat(rng), L = light(rng);
            const int i = int(h6);
            const double f = h6 - i;
            // The hexagon: straight between the corners of neighbouring sextants.
            const double J = circular ? S * std::cos(kQ2Pi * h6 / 6)
                                      : S * (corners[i][0] + (corners[i + 1][0] - corners[i][0]) * f);
            const double K = circular ? S * std::sin(kQ2Pi * h6 / 6)
                                      : S * (corners[i][1] + (corners[i + 1][1] - corners[i][1]) * f);
            double r, g, b;
            JKLtoRGB(J, K, L, r, g, b, cs, circular);
            EXPECT_NEAR(RGBDGetY(r, g, b, cs), LtoY(L), 1e-12);
            double hR, sR, mean;
            ClassicRGBtoHSL(exactL(DtoY(r, cs)), exactL(DtoY(g, cs)), exactL(DtoY(b, cs)), hR, sR, mean);
            EXPECT_NEAR(std::fmod(hR * 6 - h6 + 9.0, 6.0) - 3.0, 0.0, 1e-9) << n;
            EXPECT_NEAR(sR, S, 1e-9) << n;
            double J3, K3, L3;
            RGBtoJKL(r, g, b, J3, K3, L3, cs, circular);
            const int cell = std::min(int(LtoY(L) * 8191), 8190);
            EXPECT_NEAR(L3, L, table[cell + 1] - table[cell] + 1e-12);
            EXPECT_NEAR(J3, J, 3e-2);
            EXPECT_NEAR(K3, K, 3e-2);
        }
    }
    // Requests outside the gamut are clamped: L to 0..1, saturation to 1.
    double r, g, b;
    JKLtoRGB(0, 0, 1.7, r, g, b, cs, true);
    EXPECT_NEAR(std::min({r, g, b}), 1.0, 1e-12);
    JKLtoRGB(3, 0, 0.5, r, g, b, cs, true);
    EXPECT_NEAR(RGBDGetY(r, g, b, cs), LtoY(0.5), 1e-12);
}

// The colour-space-aware HSL is JKL on the circle: a grey request gives the grey of that lightness.
TEST(SpecHSL, GreysAndConsistencyWithJKL) {
    const SColorSpecRGB cs = qgdi::test::ExactSRGB();
    double r, g, b, H, S, L, J, K, L2;
    for (double sat : {0.0, -1.0}) {
        HSLtoRGB(0.3, sat, 0.6, r, g, b, cs);
        EXPECT_TRUE(r == g && g == b);
        EXPECT_NEAR(RGBDGetY(r, g, b, cs), LtoY(0.6), 1e-12);
    }
    RGBtoHSL(0.2, 0.7, 0.4, H, S, L, cs);
    RGBtoJKL(0.2, 0.7, 0.4, J, K, L2, cs, true);
    EXPECT_EQ(L, L2);
    ExpectNear3({S * std::cos(kQ2Pi * H), S * std::sin(kQ2Pi * H), 0}, {J, K, 0}, 1e-12);
    HSLtoRGB(H, S, L, r, g, b, cs);
    double r2, g2, b2;
    JKLtoRGB(J, K, L, r2, g2, b2, cs, true);
    ExpectNear3({r, g, b}, {r2, g2, b2}, 1e-12);
}

TEST(IntegerHSL, FractRoundTripsAreExact) {
    using To = void (*)(int, int, int, double&, double&, double&, int) noexcept;
    using From = void (*)(double, double, double, int&, int&, int&, int) noexcept;
    const std::pair<To, From> pairs[3] = {{RGB_to_HSL_Fract, HSL_Fract_to_RGB},
                                          {RGB_to_HSB_Fract, HSB_Fract_to_RGB},
                                          {RGB_to_HSY_Fract, HSY_Fract_to_RGB}};
    std::mt19937 rng(15);
    for (const auto& [to, from] : pairs)
        for (uint32_t i = 0; i < (1u << 24); i += 61) {
            // Every 8-bit lattice colour, and a random 16-bit one beside it.
            const int c8[3] = {int(i & 255), int((i >> 8) & 255), int(i >> 16)};
            const int c16[3] = {int(rng() & 0xFFFF), int(rng() & 0xFFFF), int(rng() & 0xFFFF)};
            for (const auto& [c, max] : {std::pair{c8, 255}, std::pair{c16, 65535}}) {
                double h, s, l;
                int r, g, b;
                to(c[0], c[1], c[2], h, s, l, max);
                from(h, s, l, r, g, b, max);
                ASSERT_TRUE(r == c[0] && g == c[1] && b == c[2]) << c[0] << "," << c[1] << "," << c[2];
            }
        }
}

// Hue from one colour, saturation and luma from another, as the colour blend
// modes combine them: the result keeps the luma even when it has to be pulled
// back into the cube.
TEST(IntegerHSL, HSYKeepsLumaWhenClipping) {
    std::mt19937 rng(16);
    for (int n = 0; n < 5000; ++n) {
        double h1, s1, y1, h2, s2, y2;
        RGB_to_HSY_Fract(int(rng() & 255), int(rng() & 255), int(rng() & 255), h1, s1, y1);
        RGB_to_HSY_Fract(int(rng() & 255), int(rng() & 255), int(rng() & 255), h2, s2, y2);
        int r, g, b;
        HSY_Fract_to_RGB(h1, s2, y2, r, g, b);
        EXPECT_NEAR((0.299 * r + 0.587 * g + 0.114 * b) / 255, y2, 1.0 / 255);
    }
}

// The byte form rounds each of H (in 256ths of a turn), S and L, so a round
// trip moves a channel by a few levels (the hue step times 6 times the
// channel range, plus the rounding of S and L); greys come back exactly, and
// primaries within one level (their L = 0.5 is 127.5 on the byte scale).
TEST(IntegerHSL, BytesRoundTripWithinTheirResolution) {
    int worst = 0;
    for (uint32_t i = 0; i < (1u << 24); i += 97) {
        const int r = int(i & 255), g = int((i >> 8) & 255), b = int(i >> 16);
        int h, s, l, r2, g2, b2;
        RGB_to_HSL(r, g, b, h, s, l);
        HSL_to_RGB(h, s, l, r2, g2, b2);
        worst = std::max({worst, std::abs(r2 - r), std::abs(g2 - g), std::abs(b2 - b)});
    }
    EXPECT_LE(worst, 4);
    const int cases[5][4] = {{0, 0, 0, 0}, {77, 77, 77, 0}, {255, 255, 255, 0}, {255, 0, 0, 1}, {0, 255, 255, 1}};
    for (const auto& c : cases) {
        int h, s, l, r, g, b;
        RGB_to_HSL(c[0], c[1], c[2], h, s, l);
        HSL_to_RGB(h, s, l, r, g, b);
        EXPECT_LE(std::max({std::abs(r - c[0]), std::abs(g - c[1]), std::abs(b - c[2])}), c[3]) << c[0] << "," << c[1];
    }
}

}  // namespace
