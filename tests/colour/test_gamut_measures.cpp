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
    double in[3], grey, clamped[3];
};

// The cases of the clamp rule: the colour moves toward (c, c, c) by the
// smallest factor that brings every channel inside.
const SGamutCase kClampCases[] = {
    {{0.2, 0.5, 0.9}, 0.5, {0.2, 0.5, 0.9}},
    {{1.2, 0.5, 0.5}, 0.5, {1.0, 0.5, 0.5}},
    {{1.5, 0.0, 0.5}, 0.5, {1.0, 0.25, 0.5}},
    {{-0.5, 0.5, 0.5}, 0.5, {0.0, 0.5, 0.5}},
    {{1.5, -0.5, 0.5}, 0.5, {1.0, 0.0, 0.5}},
    {{2.0, 1.0, 1.0}, 3.0, {2.0 - 1.0, 1.0, 1.0}},  // grey clamped to 1: (1, 1, 1) + (1, 0, 0) x 0
};

TEST(Gamut, ClampCases) {
    for (const SGamutCase& c : kClampCases) {
        double r, g, b;
        ClampRGBColor3D(c.in[0], c.in[1], c.in[2], r, g, b, c.grey);
        EXPECT_NEAR(r, c.clamped[0], 1e-15);
        EXPECT_NEAR(g, c.clamped[1], 1e-15);
        EXPECT_NEAR(b, c.clamped[2], 1e-15);
    }
    double r, g, b;
    ClampRGBColor1D(-0.2, 0.4, 1.7, r, g, b);
    EXPECT_TRUE(r == 0 && g == 0.4 && b == 1);
}

// Random colours: clamping lands inside and on the segment to the grey;
// expanding lands on the surface on the same line, beyond the colour.
TEST(Gamut, ClampAndExpandStayOnTheLineToTheGrey) {
    std::mt19937 rng(8);
    std::uniform_real_distribution<double> d(-0.5, 1.5), g01(0, 1);
    for (int n = 0; n < 2000; ++n) {
        const double in[3] = {d(rng), d(rng), d(rng)}, c = g01(rng);
        double out[3], ex[3];
        ClampRGBColor3D(in[0], in[1], in[2], out[0], out[1], out[2], c);
        const double exIn[3] = {std::clamp(in[0], 0.0, 1.0), std::clamp(in[1], 0.0, 1.0), std::clamp(in[2], 0.0, 1.0)};
        ExpandRGBColor3D(exIn[0], exIn[1], exIn[2], ex[0], ex[1], ex[2], c);
        double sClamp = -1, sExpand = -1, lo = 1, hi = 0;
        for (int k = 0; k < 3; ++k) {
            EXPECT_GE(out[k], -1e-12);
            EXPECT_LE(out[k], 1 + 1e-12);
            if (std::fabs(in[k] - c) > 1e-6) sClamp = (out[k] - c) / (in[k] - c);
            if (std::fabs(exIn[k] - c) > 1e-6) sExpand = (ex[k] - c) / (exIn[k] - c);
            lo = std::min(lo, ex[k]), hi = std::max(hi, ex[k]);
        }
        for (int k = 0; k < 3; ++k) {
            if (sClamp >= 0) {
                EXPECT_NEAR(out[k], c + (in[k] - c) * sClamp, 1e-9);
            }
            if (sExpand >= 0) {
                EXPECT_NEAR(ex[k], c + (exIn[k] - c) * sExpand, 1e-9);
            }
        }
        EXPECT_LE(sClamp, 1 + 1e-12);
        if (sExpand >= 0) {
            EXPECT_GE(sExpand, 1 - 1e-9);
            EXPECT_TRUE(std::fabs(lo) < 1e-12 || std::fabs(hi - 1) < 1e-12);
        }
    }
    double r, g, b;
    ExpandRGBColor3D(0.3, 0.3, 0.3, r, g, b, 0.3);
    EXPECT_TRUE(r == 0.3 && g == 0.3 && b == 0.3);
    ExpandRGBColor3D(0.6, 0.5, 0.5, r, g, b, 0.5);
    EXPECT_NEAR(r, 1.0, 1e-15);
    EXPECT_EQ(g, 0.5);
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
    const SColorSpecRGB spec = colour_test::ExactSRGB();
    const double* table = qgdi_colour::YtoLTable();
    // L-encoded results come back through the YtoL table and are checked by
    // composition below instead.
    if (std::string(e.name) == "L") return;
    const double tol = 1e-9;
    std::mt19937 rng(21);
    std::uniform_real_distribution<double> u(0.02, 0.98);
    for (int n = 0; n < 500; ++n) {
        const double r0 = u(rng), g0 = u(rng), b0 = u(rng), want = u(rng);
        const double Y0 = e.getY(r0, g0, b0, spec);

        double r = r0, g = g0, b = b0;
        e.setY(r, g, b, spec, want, -1.0);
        EXPECT_NEAR(e.getY(r, g, b, spec), want, tol) << e.name;

        // Lightness answers in the YtoL table's steps; the luminance is exact.
        r = r0, g = g0, b = b0;
        e.setL(r, g, b, spec, want, -1.0);
        EXPECT_NEAR(e.getY(r, g, b, spec), LtoY(want), tol) << e.name;
        const int cell = std::min(int(LtoY(want) * 8191), 8190);
        EXPECT_NEAR(e.getL(r, g, b, spec), want, table[cell + 1] - table[cell] + tol) << e.name;

        r = r0, g = g0, b = b0;
        e.setC(r, g, b, spec, want * 60);
        EXPECT_NEAR(e.getC(r, g, b, spec), want * 60, tol * 100) << e.name;
        EXPECT_NEAR(e.getY(r, g, b, spec), Y0, tol) << e.name;

        r = r0, g = g0, b = b0;
        e.setSR(r, g, b, spec, want);
        EXPECT_NEAR(e.getSR(r, g, b, spec), want, tol) << e.name;
        EXPECT_NEAR(e.getY(r, g, b, spec), Y0, tol) << e.name;

        // SA setters hand back linear light for every encoding.
        r = r0, g = g0, b = b0;
        e.setSA(r, g, b, spec, want * 0.3);
        EXPECT_NEAR(RGBYGetSA(r, g, b, spec), want * 0.3, 1e-9) << e.name;
    }
}

TEST_P(Measures, GreysAndSurfaces) {
    const SEncoding& e = GetParam();
    const SColorSpecRGB spec = colour_test::ExactSRGB();
    EXPECT_EQ(e.getSR(0.4, 0.4, 0.4, spec), 0.0);
    EXPECT_EQ(e.getC(0.4, 0.4, 0.4, spec), 0.0);
    EXPECT_NEAR(e.getSR(1.0, 0.0, 0.0, spec), 1.0, 1e-12);
    EXPECT_NEAR(e.getSA(0.4, 0.4, 0.4, spec), 0.0, 1e-12);
    // Black has no chromaticity to keep: it becomes the grey of that luminance.
    double r = 0, g = 0, b = 0;
    e.setY(r, g, b, spec, 0.2, -1.0);
    EXPECT_NEAR(e.toLinear(r, spec), 0.2, 2e-3);
    EXPECT_EQ(r, g);
    EXPECT_EQ(g, b);
    // A bright saturated colour scaled up leaves the cube; the -1 grey keeps its luminance.
    r = 1, g = 0.2, b = 0.1;
    e.setY(r, g, b, spec, 0.9, -1.0);
    EXPECT_NEAR(e.getY(r, g, b, spec), 0.9, 2e-3);
    EXPECT_LE(std::max({r, g, b}), 1.0 + 1e-12);
}

INSTANTIATE_TEST_SUITE_P(Encodings, Measures, ::testing::ValuesIn(kEncodings),
                         [](const auto& info) { return std::string(info.param.name); });

// The lightness-encoded setters are the linear-light ones between LtoY and
// YtoL (SA excepted: it hands back linear light).
TEST(Measures, LightnessEncodedSettersComposeLinearOnes) {
    const SColorSpecRGB spec = colour_test::ExactSRGB();
    std::mt19937 rng(22);
    std::uniform_real_distribution<double> u(0.02, 0.98);
    for (int n = 0; n < 300; ++n) {
        const double l[3] = {u(rng), u(rng), u(rng)}, want = u(rng);
        auto linear = [&](double out[3]) { RGBLtoRGBY(l[0], l[1], l[2], out[0], out[1], out[2]); };
        auto check = [&](auto setL, auto setY, bool reencode) {
            double a[3] = {l[0], l[1], l[2]}, y[3];
            linear(y);
            setL(a[0], a[1], a[2]);
            setY(y[0], y[1], y[2]);
            if (reencode) RGBYtoRGBL(y[0], y[1], y[2], y[0], y[1], y[2]);
            EXPECT_EQ(a[0], y[0]);
            EXPECT_EQ(a[1], y[1]);
            EXPECT_EQ(a[2], y[2]);
        };
        check([&](double& r, double& g, double& b) { RGBLSetY(r, g, b, spec, want, -1); },
              [&](double& r, double& g, double& b) { RGBYSetY(r, g, b, spec, want, -1); }, true);
        check([&](double& r, double& g, double& b) { RGBLSetL(r, g, b, spec, want, 0.3); },
              [&](double& r, double& g, double& b) { RGBYSetL(r, g, b, spec, want, 0.3); }, true);
        check([&](double& r, double& g, double& b) { RGBLSetC(r, g, b, spec, want * 50); },
              [&](double& r, double& g, double& b) { RGBYSetC(r, g, b, spec, want * 50); }, true);
        check([&](double& r, double& g, double& b) { RGBLSetSR(r, g, b, spec, want); },
              [&](double& r, double& g, double& b) { RGBYSetSR(r, g, b, spec, want); }, true);
        check([&](double& r, double& g, double& b) { RGBLSetSA(r, g, b, spec, want * 0.2); },
              [&](double& r, double& g, double& b) { RGBYSetSA(r, g, b, spec, want * 0.2); }, false);
    }
}

TEST(Measures, AbsoluteSaturationWithoutSpec) { EXPECT_DOUBLE_EQ(RGBGetSA(0.2, 0.9, 0.5), 0.7); }

}  // namespace
