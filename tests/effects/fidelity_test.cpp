// Each SVG filter primitive against the reference rendering of the same
// filter on the same photograph (tests/effects/make_references.py).
#include <gtest/gtest.h>

#include <cmath>

#include "effect_test_util.h"

using namespace effects_test;

namespace {

// Tables of the transfer functions as the reference document defines them.
std::array<uint8_t, 256> TransferTable(const std::function<double(double)>& f) {
    std::array<uint8_t, 256> t{};
    for (int i = 0; i < 256; ++i) t[size_t(i)] = uint8_t(std::lround(std::clamp(f(i / 255.0), 0.0, 1.0) * 255));
    return t;
}
double Table(const std::vector<double>& v, double c) {
    const int n = int(v.size()) - 1;
    const int k = std::min(int(c * n), n - 1);
    return v[size_t(k)] + (c - double(k) / n) * n * (v[size_t(k) + 1] - v[size_t(k)]);
}
double Discrete(const std::vector<double>& v, double c) {
    const int n = int(v.size());
    return v[size_t(std::min(int(c * n), n - 1))];
}

// The reference reads kernelMatrix column by column (its kernel is the
// transpose of the one the list spells row by row, as this library and the
// other renderers read it): the same filter in our reading.
std::vector<double> ByColumns(const std::vector<double>& v, int columns, int rows) {
    std::vector<double> k(v.size());
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) k[size_t(r * columns + c)] = v[size_t(c * rows + r)];
    return k;
}

// The two half-transparent images every composite reads (nodes 1 and 3).
void Pair(CIoEffectBuilder& b) {
    const double alphaFromRed[20] = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0};
    const double alphaFromBlue[20] = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0};
    b(1, keEffectSourceGraphic).ColorMatrix(alphaFromRed);
    b(2, keEffectSourceGraphic).ColorMatrix(alphaFromBlue);
    b(3, 2).Offset(6, 4);
}
void Height(CIoEffectBuilder& b) { b(1, keEffectSourceGraphic).ColorLuminanceToAlpha(); }

struct SFidelity {
    const char* name;
    std::function<void(CIoEffectBuilder&, CIoEffect&)> build;
    double tolerance;  // mean absolute difference allowed per channel
};

const SFidelity kCases[] = {
    {"matrix", [](CIoEffectBuilder& b, CIoEffect&) {
         const double m[20] = {0.5, 0.3, 0.1, 0, 0.05, 0.1, 0.8, 0.1, 0, 0, 0.2, 0.1, 0.4, 0, 0.1, 0, 0, 0, 0.8, 0.1};
         b(1, keEffectSourceGraphic).ColorMatrix(m);
     }, 1},
    {"saturate", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).ColorSaturate(0.3); }, 1},
    {"huerotate", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).ColorHueRotate(75); }, 1},
    {"lumtoalpha", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).ColorLuminanceToAlpha(); }, 1},
    {"transfer_table", [](CIoEffectBuilder& b, CIoEffect&) {
         const auto r = TransferTable([](double c) { return Table({0, 0.8, 0.4, 1}, c); });
         const auto g = TransferTable([](double c) { return Discrete({0.2, 0.5, 0.9}, c); });
         const auto bl = TransferTable([](double c) { return 0.6 * c + 0.2; });
         b(1, keEffectSourceGraphic).ComponentTransfer(r.data(), g.data(), bl.data(), nullptr);
     }, 1},
    {"transfer_gamma", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).Gamma(1.1, 0.6, 0.02); }, 1},
    {"composite_over", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 1, 3).Composite(keCompositeOver); }, 1},
    {"composite_in", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 1, 3).Composite(keCompositeIn); }, 1},
    {"composite_out", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 1, 3).Composite(keCompositeOut); }, 1},
    {"composite_atop", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 1, 3).Composite(keCompositeAtop); }, 1},
    {"composite_xor", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 1, 3).Composite(keCompositeXor); }, 1},
    {"arithmetic", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 1, 3).Arithmetic(0.5, 0.6, 0.4, -0.1); }, 1},
    {"convolve", [](CIoEffectBuilder& b, CIoEffect&) {
         const auto k = ByColumns({1, 2, 0, 0, 1, -1, 1, 0, 2}, 3, 3);
         b(1, keEffectSourceGraphic).ConvolveMatrix(k.data(), 4, keEdgeClamp, keChannelSetAll, 3, 3);
     }, 1},
    {"convolve_straight", [](CIoEffectBuilder& b, CIoEffect&) {
         Pair(b);
         const auto k = ByColumns({0, 1, 3, 1, -1, 0, 0, 1, 0}, 3, 3);
         b(4, 1).ConvolveMatrix(k.data(), 0, keEdgeWrap, keChannelSetAllButAlpha, 3, 3);
     }, 1},
    {"dilate", [](CIoEffectBuilder& b, CIoEffect&) { Pair(b); b(4, 3).DilateSquare(2, 1); }, 1},
    {"erode", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).ErodeSquare(1, 3); }, 1},
    {"displacement", [](CIoEffectBuilder& b, CIoEffect&) {
         b(1).Turbulence(0.03, 0.03, 2, true, 5, 0);
         b(2, keEffectSourceGraphic, 1).DisplacementMap(keChannelRed, keChannelGreen, 12);
     }, 1},
    // Below a deviation of 2 the reference uses a narrower kernel than the
    // Gaussian it names (its output is closest to an exact Gaussian of 1.05,
    // at 0.64); ours is the exact one, whose width Primitives.BlurHasTheDeviationItNames
    // checks against the closed form. The difference is that of the kernels.
    {"blur_small", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).GaussianBlur(1.5, 1.5); }, 3.5},
    {"blur_large", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).GaussianBlur(5, 5); }, 1},
    {"offset", [](CIoEffectBuilder& b, CIoEffect&) { b(1, keEffectSourceGraphic).Offset(7, -5); }, 1},
    {"tile", [](CIoEffectBuilder& b, CIoEffect& fx) {
         b(1, keEffectSourceGraphic).Offset(0, 0);
         const SQRECT sub = {20, 30, 60, 54};
         fx.SetSubregion(1, &sub);
         b(2, 1).Tile(1);
     }, 1},
    {"turbulence", [](CIoEffectBuilder& b, CIoEffect&) { b(1).Turbulence(0.05, 0.03, 3, false, 7, 0); }, 1},
    {"fractalnoise", [](CIoEffectBuilder& b, CIoEffect&) { b(1).Turbulence(0.04, 0.04, 2, true, 3, 0); }, 1},
    {"diffuse_distant", [](CIoEffectBuilder& b, CIoEffect&) {
         Height(b);
         b(2, 1).LightDiffuseDistant(CColorRef(0xff, 0xe0, 0xc0), 45, 35, 4, 1.2);
     }, 1},
    {"diffuse_point", [](CIoEffectBuilder& b, CIoEffect&) {
         Height(b);
         b(2, 1).LightDiffusePoint(CColorRef(255, 255, 255), 30, 40, 60, 3, 1);
     }, 1},
    {"diffuse_spot", [](CIoEffectBuilder& b, CIoEffect&) {
         Height(b);
         b(2, 1).LightDiffuseSpot(CColorRef(255, 255, 255), 20, 10, 80, 70, 80, 0, 2, 35, 3, 1.5);
     }, 1},
    {"phong_distant", [](CIoEffectBuilder& b, CIoEffect&) {
         Height(b);
         b(2, 1).LightSpecularDistant(CColorRef(255, 255, 255), 225, 40, 8, 4, 1);
     }, 1},
    {"phong_point", [](CIoEffectBuilder& b, CIoEffect&) {
         Height(b);
         b(2, 1).LightSpecularPoint(CColorRef(0xc0, 0xe0, 0xff), 90, 30, 50, 12, 3, 1.2);
     }, 1},
    {"phong_spot", [](CIoEffectBuilder& b, CIoEffect&) {
         Height(b);
         b(2, 1).LightSpecularSpot(CColorRef(255, 255, 255), 100, 100, 90, 40, 50, 0, 3, 40, 6, 3, 1);
     }, 1},
};

class Fidelity : public ::testing::TestWithParam<SFidelity> {};

TEST_P(Fidelity, MatchesTheReferenceRendering) {
    const SFidelity& c = GetParam();
    const auto input = LoadPng(DataPath("input.png"));
    const auto reference = LoadPng(DataPath(std::string(c.name) + ".png"));
    ASSERT_TRUE(input && reference);
    CIoEffect fx;
    CIoEffectBuilder b(fx);
    c.build(b, fx);
    CRowIterator out;
    ASSERT_EQ(RunEffect(fx, *input, out).Ignore(), keQuorErrSuccess);
    const auto d = MeanPremultipliedDifference(out, *reference);
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_LE(d[size_t(ch)], c.tolerance) << c.name << " channel " << ch << " (blue, green, red, alpha)";
    RecordProperty("mean_difference", std::to_string(std::max({d[0], d[1], d[2], d[3]})));
    std::printf("%-18s mean |diff| B %.3f G %.3f R %.3f A %.3f\n", c.name, d[0], d[1], d[2], d[3]);
}

INSTANTIATE_TEST_SUITE_P(Svg, Fidelity, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
