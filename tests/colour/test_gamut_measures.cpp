// Gamut clamping and expansion, channel measures and the setters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "ColourTestData.h"
#include "colour/colour.h"
#include "colour/internal/TransferCurveKernels.h"

namespace {

struct SGamutCase {
    void (*fn)(double, double, double, double&, double&, double&, double) noexcept;
    double in[3], grey, out[3];
};

// Clamping moves the colour toward (c, c, c) by the smallest factor that
// brings every channel inside; expanding pushes it away until one touches.
const SGamutCase kGamutCases[] = {
    {ClampRGBColor3D, {0.2, 0.5, 0.9}, 0.5, {0.2, 0.5, 0.9}},
    {ClampRGBColor3D, {1.2, 0.5, 0.5}, 0.5, {1.0, 0.5, 0.5}},
    {ClampRGBColor3D, {1.5, 0.0, 0.5}, 0.5, {1.0, 0.25, 0.5}},
    {ClampRGBColor3D, {1.5, -0.5, 0.5}, 0.5, {1.0, 0.0, 0.5}},
    {ClampRGBColor3D, {2.0, 1.0, 1.0}, 3.0, {1.0, 1.0, 1.0}},  // the grey is clamped to 1 first
    {ExpandRGBColor3D, {0.6, 0.5, 0.5}, 0.5, {1.0, 0.5, 0.5}},
    {ExpandRGBColor3D, {0.4, 0.5, 0.6}, 0.5, {0.0, 0.5, 1.0}},
    {ExpandRGBColor3D, {0.3, 0.3, 0.3}, 0.3, {0.3, 0.3, 0.3}},
};

TEST(Gamut, Cases) {
    for (const SGamutCase& c : kGamutCases) {
        double out[3];
        c.fn(c.in[0], c.in[1], c.in[2], out[0], out[1], out[2], c.grey);
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(out[k], c.out[k], 1e-15) << c.in[0] << "," << c.in[1];
    }
    double r, g, b;
    ClampRGBColor1D(-0.2, 0.4, 1.7, r, g, b);
    EXPECT_TRUE(r == 0 && g == 0.4 && b == 1);
}

// Random colours: both results lie on the line through the grey, clamping
// inside the cube by a factor up to 1, expanding on its surface by one from 1.
TEST(Gamut, ResultsStayOnTheLineToTheGrey) {
    std::mt19937 rng(8);
    std::uniform_real_distribution<double> d(-0.5, 1.5), g01(0.05, 0.95);
    // The one factor s with out = c + (in - c) s on all three channels.
    auto factor = [](const double* in, const double* out, double c) {
        int k = 0;
        for (int j = 1; j < 3; ++j)
            if (std::fabs(in[j] - c) > std::fabs(in[k] - c)) k = j;
        const double s = (out[k] - c) / (in[k] - c);
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(out[j], c + (in[j] - c) * s, 1e-9);
        return s;
    };
    for (int n = 0; n < 2000; ++n) {
        const double c = g01(rng), in[3] = {d(rng), d(rng), d(rng)};
        const double inside[3] = {std::clamp(in[0], 0.0, 1.0), std::clamp(in[1], 0.0, 1.0),
                                  std::clamp(in[2], 0.0, 1.0)};
        double cl[3], ex[3];
        ClampRGBColor3D(in[0], in[1], in[2], cl[0], cl[1], cl[2], c);
        ExpandRGBColor3D(inside[0], inside[1], inside[2], ex[0], ex[1], ex[2], c);
        EXPECT_LE(factor(in, cl, c), 1 + 1e-12);
        EXPECT_GE(factor(inside, ex, c), 1 - 1e-9);
        EXPECT_GE(std::min({cl[0], cl[1], cl[2]}), -1e-12);
        EXPECT_LE(std::max({cl[0], cl[1], cl[2]}), 1 + 1e-12);
        EXPECT_TRUE(std::min({ex[0], ex[1], ex[2]}) < 1e-12 || std::max({ex[0], ex[1], ex[2]}) > 1 - 1e-12);
    }
}

using Getter = double (*)(double, double, double, const SColorSpecRGB&) noexcept;
using Setter1 = void (*)(double&, double&, double&, const SColorSpecRGB&, double) noexcept;
using Setter2 = void (*)(double&, double&, double&, const SColorSpecRGB&, double, double) noexcept;

struct SEncoding {
    const char* name;
    Getter getY, getL, getC, getSA, getSR;
    Setter2 setY, setL;
    Setter1 setC, setSA, setSR;
    double (*toLinear)(double, const SColorSpecRGB&);
};

const SEncoding kEncodings[] = {
    {"D", RGBDGetY, RGBDGetL, RGBDGetC, RGBDGetSA, RGBDGetSR, RGBDSetY, RGBDSetL, RGBDSetC, RGBDSetSA, RGBDSetSR,
     [](double v, const SColorSpecRGB& s) { return DtoY(v, s); }},
    {"L", RGBLGetY, RGBLGetL, RGBLGetC, RGBLGetSA, RGBLGetSR, RGBLSetY, RGBLSetL, RGBLSetC, RGBLSetSA, RGBLSetSR,
     [](double v, const SColorSpecRGB&) { return LtoY(v); }},
    {"Y", RGBYGetY, RGBYGetL, RGBYGetC, RGBYGetSA, RGBYGetSR, RGBYSetY, RGBYSetL, RGBYSetC, RGBYSetSA, RGBYSetSR,
     [](double v, const SColorSpecRGB&) { return v; }},
};

class Measures : public ::testing::TestWithParam<SEncoding> {};

// Each setter returns a colour whose measure is the one asked for, keeping the
// luminance where the measure allows.
TEST_P(Measures, SettersHitTheRequestedMeasure) {
    const SEncoding& e = GetParam();
    const SColorSpecRGB cs = qgdi::test::ExactSRGB();
    const double* table = qgdi::colour::YtoLTable();
    // L-encoded results come back through the YtoL table and are checked by
    // composition below instead.
    if (std::string(e.name) == "L") return;
    const double tol = 1e-9;
    std::mt19937 rng(21);
    std::uniform_real_distribution<double> u(0.02, 0.98);
    for (int n = 0; n < 500; ++n) {
        const double r0 = u(rng), g0 = u(rng), b0 = u(rng), want = u(rng);
        const double Y0 = e.getY(r0, g0, b0, cs);

        double r = r0, g = g0, b = b0;
        e.setY(r, g, b, cs, want, -1.0);
        EXPECT_NEAR(e.getY(r, g, b, cs), want, tol) << e.name;

        // Lightness answers in the YtoL table's steps; the luminance is exact.
        r = r0, g = g0, b = b0;
        e.setL(r, g, b, cs, want, -1.0);
        EXPECT_NEAR(e.getY(r, g, b, cs), LtoY(want), tol) << e.name;
        const int cell = std::min(int(LtoY(want) * 8191), 8190);
        EXPECT_NEAR(e.getL(r, g, b, cs), want, table[cell + 1] - table[cell] + tol) << e.name;

        r = r0, g = g0, b = b0;
        e.setC(r, g, b, cs, want * 60);
        EXPECT_NEAR(e.getC(r, g, b, cs), want * 60, tol * 100) << e.name;
        EXPECT_NEAR(e.getY(r, g, b, cs), Y0, tol) << e.name;

        r = r0, g = g0, b = b0;
        e.setSR(r, g, b, cs, want);
        EXPECT_NEAR(e.getSR(r, g, b, cs), want, tol) << e.name;
        EXPECT_NEAR(e.getY(r, g, b, cs), Y0, tol) << e.name;

        // SA setters hand back linear light for every encoding.
        r = r0, g = g0, b = b0;
        e.setSA(r, g, b, cs, want * 0.3);
        EXPECT_NEAR(RGBYGetSA(r, g, b, cs), want * 0.3, 1e-9) << e.name;
    }
}

TEST_P(Measures, GreysAndSurfaces) {
    const SEncoding& e = GetParam();
    const SColorSpecRGB cs = qgdi::test::ExactSRGB();
    EXPECT_EQ(e.getSR(0.4, 0.4, 0.4, cs), 0.0);
    EXPECT_EQ(e.getC(0.4, 0.4, 0.4, cs), 0.0);
    EXPECT_NEAR(e.getSR(1.0, 0.0, 0.0, cs), 1.0, 1e-12);
    EXPECT_NEAR(e.getSA(0.4, 0.4, 0.4, cs), 0.0, 1e-12);
    // Black has no chromaticity to keep: it becomes the grey of that luminance.
    double r = 0, g = 0, b = 0;
    e.setY(r, g, b, cs, 0.2, -1.0);
    EXPECT_NEAR(e.toLinear(r, cs), 0.2, 2e-3);
    EXPECT_EQ(r, g);
    EXPECT_EQ(g, b);
}

INSTANTIATE_TEST_SUITE_P(Encodings, Measures, ::testing::ValuesIn(kEncodings),
                         [](const auto& info) { return std::string(info.param.name); });

// The lightness-encoded setters are the linear-light ones between LtoY and
// YtoL (SA excepted: it hands back linear light).
TEST(Measures, LightnessEncodedSettersComposeLinearOnes) {
    const SColorSpecRGB cs = qgdi::test::ExactSRGB();
    const struct {
        Setter1 setL, setY;
        bool reencode;
    } one[] = {{RGBLSetC, RGBYSetC, true}, {RGBLSetSR, RGBYSetSR, true}, {RGBLSetSA, RGBYSetSA, false}};
    const Setter2 two[][2] = {{RGBLSetY, RGBYSetY}, {RGBLSetL, RGBYSetL}};
    std::mt19937 rng(22);
    std::uniform_real_distribution<double> u(0.02, 0.98);
    for (int n = 0; n < 300; ++n) {
        const double l[3] = {u(rng), u(rng), u(rng)}, want = u(rng), grey = n % 2 ? -1.0 : 0.3;
        // Apply the L form to l and the Y form to its linear light, then compare.
        auto check = [&](auto applyL, auto applyY, bool reencode) {
            double a[3] = {l[0], l[1], l[2]}, y[3];
            RGBLtoRGBY(l[0], l[1], l[2], y[0], y[1], y[2]);
            applyL(a);
            applyY(y);
            if (reencode) RGBYtoRGBL(y[0], y[1], y[2], y[0], y[1], y[2]);
            for (int k = 0; k < 3; ++k) EXPECT_EQ(a[k], y[k]);
        };
        for (const auto& s1 : one)
            check([&](double* c) { s1.setL(c[0], c[1], c[2], cs, want * 0.5); },
                  [&](double* c) { s1.setY(c[0], c[1], c[2], cs, want * 0.5); }, s1.reencode);
        for (const auto& s2 : two)
            check([&](double* c) { s2[0](c[0], c[1], c[2], cs, want, grey); },
                  [&](double* c) { s2[1](c[0], c[1], c[2], cs, want, grey); }, true);
    }
}

TEST(Measures, AbsoluteSaturationWithoutSpec) { EXPECT_DOUBLE_EQ(RGBGetSA(0.2, 0.9, 0.5), 0.7); }

}  // namespace
