// Hue-selective edit and sampled spectra.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <utility>

#include "ColourTestData.h"
#include "colour/colour.h"

namespace {

using qgdi::test::ExpectNear3;

TEST(HueSelectiveEdit, ConstructionAndSorting) {
    CHueSelectiveEdit edit(4, kColorSpecSRGB);
    ASSERT_EQ(edit.GetPointCount(), 4);
    for (int i = 0; i < 4; ++i) {
        const SHueData d = edit.GetHueData(i);
        EXPECT_TRUE(d.dHueSrc == i * 90.0 && d.dHueDst == i * 90.0 && d.dSaturation == 0.5) << i;
    }
    edit.SetHueData(-1, {5, 5, 0, 0, 0});
    edit.SetHueData(4, {5, 5, 0, 0, 0});
    EXPECT_EQ(edit.GetHueData(0).dHueSrc, 0.0);
    // Point 3 (270) moves to 90, beside the existing 90: equal sources keep their order.
    edit.SetHueData(3, {90, 100, 0.1, 0.5, 0.5});
    EXPECT_EQ(edit.GetHueData(1).dHueDst, 90.0);
    EXPECT_EQ(edit.GetHueData(2).dHueDst, 100.0);
    EXPECT_EQ(edit.GetHueData(3).dHueSrc, 180.0);
}

// Points at 30, 150 and 300 degrees; the segment from 300 wraps through 360 to 30.
TEST(HueSelectiveEdit, InterpolationAcrossTheWrap) {
    CHueSelectiveEdit edit(3, kColorSpecSRGB);
    edit.SetHueData(0, {30, 20, 0.2, 0.5, 0.8});
    edit.SetHueData(1, {150, 170, 0.5, 0.5, 0.5});
    edit.SetHueData(2, {300, 350, 0.8, 0.5, 0.2});
    struct SCase {
        double h, shifted, f, dst, brightness;
    };
    const SCase cases[] = {
        {90, 90, 0.5, 95, 0.35},                                 // plain segment 30 -> 150
        {330, 330, 1.0 / 3, 0, 0.6},                             // 350 -> 380 (= 20) a third of the way: 360 -> 0
        {10, 370, 7.0 / 9, 13.333333333333, 0.2 + 0.6 * 2 / 9},  // h shifted by 360
        {30, 30, 0, 20, 0.2},
    };
    for (const SCase& c : cases) {
        SHueData d;
        double f;
        ASSERT_TRUE(edit.GetInterpolatedHueData(c.h, d, f));
        ExpectNear3({d.dHueSrc, f, d.dBrightness}, {c.shifted, c.f, c.brightness}, 1e-12, std::to_string(c.h));
        EXPECT_NEAR(d.dHueDst, c.dst, 1e-9) << c.h;
        EXPECT_TRUE(d.dHueDst >= 0.0 && d.dHueDst < 360.0) << c.h;
    }
    // Two points on (nearly) the same hue: the segment between them has no length.
    CHueSelectiveEdit twin(2, kColorSpecSRGB);
    twin.SetHueData(0, {100, 100, 0.5, 0.5, 0.5});
    twin.SetHueData(1, {100 + 1e-11, 100, 0.5, 0.5, 0.5});
    SHueData d;
    double f;
    ASSERT_TRUE(twin.GetInterpolatedHueData(100, d, f));
    EXPECT_EQ(f, 0.5);
    CHueSelectiveEdit none(0, kColorSpecSRGB);
    EXPECT_FALSE(none.GetInterpolatedHueData(42, d, f));
    EXPECT_TRUE(f == 0.0 && d.dHueDst == 42.0);
}

// Saturation 0 everywhere turns every colour grey, in every encoding; a grey
// stays grey under any edit.
TEST(HueSelectiveEdit, SaturationAndGreys) {
    const SColorSpecRGB cs = qgdi::test::ExactSRGB();
    CHueSelectiveEdit desaturate(6, cs), wild(6, cs);
    for (int i = 0; i < 6; ++i) {
        desaturate.SetHueData(i, {i * 60.0, i * 60.0, 0.5, 0.5, 0.0});
        wild.SetHueData(i, {i * 60.0, i * 60.0 + 90, 0.9, 0.2, 0.9});
    }
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> u(0.05, 0.95);
    using Apply = void (CHueSelectiveEdit::*)(double&, double&, double&) const;
    for (Apply apply : {&CHueSelectiveEdit::RGBD, &CHueSelectiveEdit::RGBL, &CHueSelectiveEdit::RGBY}) {
        for (int n = 0; n < 200; ++n) {
            double r = u(rng), g = u(rng), b = u(rng);
            (desaturate.*apply)(r, g, b);
            EXPECT_LT(std::max({r, g, b}) - std::min({r, g, b}), 1e-9);
            double v = u(rng), w = v, x = v;
            (wild.*apply)(v, w, x);
            EXPECT_LT(std::max({v, w, x}) - std::min({v, w, x}), 1e-9);
        }
    }
}

TEST(SpectralColor, SampleIndexHelpers) {
    struct SCase {
        double nm;
        bool legal;
        int index;
    };
    for (const SCase& c : {SCase{400, true, 0}, SCase{405, false, 0}, SCase{415, false, 1}, SCase{700, true, 30},
                           SCase{710, false, 30}, SCase{390, false, 0}, SCase{-50, false, 0}}) {
        EXPECT_EQ(CSpectralColor::IsLegalWavelength(c.nm), c.legal) << c.nm;
        EXPECT_EQ(CSpectralColor::WavelengthToSampleIndex(c.nm), c.index) << c.nm;
    }
    for (auto [index, nm] : {std::pair{-3, 400}, std::pair{7, 470}, std::pair{99, 700}})
        EXPECT_EQ(CSpectralColor::SampleIndexToWavelength(index), nm);
}

// The embedded colour-matching functions are the CIE 1931 2-degree observer
// as printed (the shared data's 1-nm-file artefacts such as 0.4334499 for
// 0.43345 differ by 1e-7): a line at each sample reproduces its row, and the
// 450 nm line sits at the published spectral-locus point (0.1566, 0.0177).
TEST(SpectralColor, ColourMatchingFunctionsAndLocus) {
    COLOUR_REQUIRE_CSV(csv, "cie1931-cmf-10nm/cie1931_2deg_xyz_cmf_10nm.csv");
    double ySum = 0;
    for (const auto& row : csv.rows)
        if (std::stod(row[0]) >= 400 && std::stod(row[0]) <= 700) ySum += std::stod(row[2]);
    int checked = 0;
    for (const auto& row : csv.rows) {
        const double nm = std::stod(row[0]);
        if (!CSpectralColor::IsLegalWavelength(nm)) continue;
        CSpectralColor line;
        ASSERT_TRUE(line.Initialize(keSpectrumMonochromatic, nm));
        double X, Y, Z;
        line.XYZ(X, Y, Z);
        ExpectNear3({X * ySum, Y * ySum, Z * ySum}, {std::stod(row[1]), std::stod(row[2]), std::stod(row[3])}, 1.5e-7,
                    row[0]);
        ++checked;
    }
    EXPECT_EQ(checked, 31);
    CSpectralColor line;
    line.Initialize(keSpectrumMonochromatic, 450);
    double X, Y, Z, x, y, Yo;
    line.XYZ(X, Y, Z);
    XYZtoxyY(X, Y, Z, x, y, Yo, 1, 1, 1);
    ExpectNear3({x, y, 0}, {0.1566, 0.0177, 0}, 1e-4);
}

// Blackbodies land on Robertson's locus: temperature back within 1% and tint
// within 1e-3 (the 400-700 nm range misses the violet that hot bodies emit,
// 0.5% at 10000 K); illuminant A (CIE: 2856 K, x = 0.44757, y = 0.40745) likewise.
TEST(SpectralColor, BlackbodiesAndIlluminantA) {
    for (double T : {2000.0, 2856.0, 4000.0, 5000.0, 6504.0, 10000.0}) {
        CSpectralColor s;
        ASSERT_TRUE(s.Initialize(keSpectrumBlackbody, T));
        EXPECT_NEAR(s[CSpectralColor::WavelengthToSampleIndex(560)], 1.0, 1e-12);
        double X, Y, Z, T2, tint;
        s.XYZ(X, Y, Z);
        ASSERT_TRUE(XYZtoTempTint(X, Y, Z, T2, tint));
        EXPECT_NEAR(T2 / T, 1.0, 1e-2) << T;
        EXPECT_LT(std::fabs(tint), 1e-3) << T;
    }
    CSpectralColor a;
    ASSERT_TRUE(a.Initialize(keSpectrumIlluminantA));
    double X, Y, Z, x, y, Yo, T, tint;
    a.XYZ(X, Y, Z);
    XYZtoxyY(X, Y, Z, x, y, Yo, 1, 1, 1);
    ExpectNear3({x, y, 0}, {0.44757, 0.40745, 0}, 2e-3);
    ASSERT_TRUE(XYZtoTempTint(X, Y, Z, T, tint));
    EXPECT_NEAR(T, 2856, 15);
    CSpectralColor bad;
    EXPECT_FALSE(bad.Initialize(keSpectrumMonochromatic, 380));
    EXPECT_FALSE(bad.Initialize(keSpectrumBlackbody, 0));
    EXPECT_FALSE(bad.Initialize(ESpectrumType(99)));
}

// Integrals are means over the 31 samples; Bouguer's law raises each
// transmittance (kept in 1e-10..1) to the number of layers (at least 0).
TEST(SpectralColor, IntegrationAndBouguer) {
    double ramp[31];
    for (int i = 0; i < 31; ++i) ramp[i] = i / 30.0;
    const CSpectralColor r(ramp), half(0.5), one(1.0);
    // mean of (i/30)^2 over i = 0..30
    EXPECT_NEAR(CSpectralColor::Integrate(r, r), 30.0 * 61.0 / 6.0 / 900.0, 1e-15);
    EXPECT_DOUBLE_EQ(CSpectralColor::Integrate(r, half, half, 2.0), r.Integrate(0.5));
    EXPECT_EQ(CSpectralColor::LinearCombination(2, half, -1, one), CSpectralColor(0.0));
    EXPECT_EQ(CSpectralColor::Bouguer(r, 1.0), r);
    const CSpectralColor twice = CSpectralColor::Bouguer(r, 2.0);
    for (int i = 1; i < 31; ++i) EXPECT_NEAR(twice[i], ramp[i] * ramp[i], 1e-15);
    EXPECT_NEAR(twice[0], 1e-20, 1e-30);
    EXPECT_EQ(CSpectralColor::Bouguer(CSpectralColor(3.0), 0.5), one);
    EXPECT_EQ(CSpectralColor::Bouguer(r, -2.0), one);
}

// Reflectances in 0..1 for the sRGB primaries: each matches its matrix column,
// and any linear RGB mixes them to the XYZ the colour space gives.
TEST(SpectralColor, SpectralPrimaries) {
    CSpectralColor p[3];
    ASSERT_TRUE(CSpectralColor::BuildSpectralPrimaries(kColorSpecSRGB, p));
    for (int k = 0; k < 3; ++k) {
        const double* col = kColorSpecSRGB.mRGBtoXYZ + 3 * k;
        EXPECT_LE(p[k].CalcError(col[0], col[1], col[2]), 1e-6);
        EXPECT_GE(*std::min_element(p[k].GetSamples(), p[k].GetSamples() + 31), 0.0);
        EXPECT_LE(*std::max_element(p[k].GetSamples(), p[k].GetSamples() + 31), 1.0);
    }
    std::mt19937 rng(18);
    std::uniform_real_distribution<double> u(0, 1);
    for (int n = 0; n < 100; ++n) {
        const double r = u(rng), g = u(rng), b = u(rng);
        double X, Y, Z;
        RGBYtoXYZ(r, g, b, X, Y, Z, kColorSpecSRGB);
        EXPECT_LE(CSpectralColor::LinearCombination(r, p[0], g, p[1], b, p[2]).CalcError(X, Y, Z), 2e-6);
    }
    // A target no reflectance in 0..1 reaches (brighter than the perfect white).
    CSpectralColor s(0.5);
    EXPECT_GT(s.AdjustSpectralPrimary(3.0, 3.0, 3.0, 200), 1.0);
}

}  // namespace
