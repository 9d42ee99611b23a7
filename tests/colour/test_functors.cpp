// Pixel functors: byte order, rounding, and the 8-bit table-driven kernels
// against the per-pixel double-precision rules over every possible input.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "colour/ColorFunctors.h"
#include "colour/colour.h"
#include "colour/internal/FunctorReference.h"

namespace {

using namespace qgdi_colour;

SColorSpecRGB SpecWithCurve(uint32_t kind, double gamma) {
    SColorSpecRGB s = kColorSpecSRGB;
    s.nGammaType = kind;
    s.dGamma = gamma;
    return s;
}

struct SSpecCase {
    const char* name;
    SColorSpecRGB spec;
    // Sweep every input (the benchmarked space) or a fixed 1-in-N lattice.
    int stride;
};

#ifdef NDEBUG
constexpr int kFullSweep = 1;
#else
constexpr int kFullSweep = 13;  // sanitizer builds run ten times slower
#endif

const SSpecCase kSpecs[] = {
    {"sRGB", kColorSpecSRGB, kFullSweep},
    {"gamma22", SpecWithCurve(keGammaPower, 2.2), 13},
    {"Lstar", SpecWithCurve(keGammaLStar, 0), 13},
    {"Rec709", SpecWithCurve(keGammaRec709, 0), 13},
};

// The inputs of one sweep: all 2^24 triples, or every stride-th one (stride
// coprime with 256 so every byte value of every channel is still visited).
std::vector<uint8_t> SweepInputs(int stride) {
    std::vector<uint8_t> v;
    v.reserve(size_t(3) * (1u << 24) / unsigned(stride) + 3);
    for (uint32_t i = 0; i < (1u << 24); i += uint32_t(stride)) {
        v.push_back(uint8_t(i));
        v.push_back(uint8_t(i >> 8));
        v.push_back(uint8_t(i >> 16));
    }
    return v;
}

class FunctorSpec : public ::testing::TestWithParam<SSpecCase> {};

// Every one of the 2^24 inputs (or the lattice), both L ranges: the fast
// forward path must give the bytes of RGBDtoRGBY -> RGBYtoLab -> EncodeLab and
// the backward path those of DecodeLab -> LabtoRGBY -> YtoD.
TEST_P(FunctorSpec, Lab8KernelsMatchDoublePath) {
    const SColorSpecRGB& spec = GetParam().spec;
    const std::vector<uint8_t> src = SweepInputs(GetParam().stride);
    std::vector<uint8_t> fast(src.size());
    const int count = int(src.size() / 3);
    for (bool l100 : {true, false}) {
        CRGBDtoLab8(spec, l100).Row(src.data(), fast.data(), count);
        for (size_t i = 0; i < src.size(); i += 3) {
            uint8_t ref[3];
            RefRGBDtoLab(&src[i], ref, spec, l100);
            ASSERT_TRUE(ref[0] == fast[i] && ref[1] == fast[i + 1] && ref[2] == fast[i + 2])
                << "to Lab, BGR " << int(src[i]) << "," << int(src[i + 1]) << "," << int(src[i + 2]) << " L100 "
                << l100;
        }
        CLabtoRGBD8(spec, l100).Row(src.data(), fast.data(), count);
        for (size_t i = 0; i < src.size(); i += 3) {
            uint8_t ref[3];
            RefLabtoRGBD(&src[i], ref, spec, l100);
            ASSERT_TRUE(ref[0] == fast[i] && ref[1] == fast[i + 1] && ref[2] == fast[i + 2])
                << "to RGB, Lab " << int(src[i]) << "," << int(src[i + 1]) << "," << int(src[i + 2]) << " L100 "
                << l100;
        }
    }
}

// Grey and lightness: every input of the single-channel functor, and a seeded
// sample of the three-channel ones and of the per-pixel Lab calls.
TEST_P(FunctorSpec, PerPixelCallsMatchDoublePath) {
    const SColorSpecRGB& spec = GetParam().spec;
    GreyToL8 greyToL(spec);
    for (int i = 0; i < 256; ++i) {
        const uint8_t in = uint8_t(i);
        uint8_t fast, ref;
        greyToL(&in, &fast);
        RefGreyToL(&in, &ref, spec);
        ASSERT_EQ(fast, ref) << i;
    }
    RGBtoGrey8 toGrey(spec);
    RGBtoL8 toL(spec);
    CRGBDtoLab8 toLab(spec, true);
    CLabtoRGBD8 toRgb(spec, false);
    std::mt19937 rng(42);
    for (int n = 0; n < 200000; ++n) {
        uint8_t px[3] = {uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
        // Bias toward the ends of the range, where the curves bend most.
        if (n % 4 == 0) px[n % 3] = (n & 8) ? 255 : 0;
        uint8_t g, gRef, l, lRef;
        toGrey(px, &g);
        RefRGBtoGrey(px, &gRef, spec);
        toL(px, &l);
        RefRGBtoL(px, &lRef, spec);
        ASSERT_EQ(g, gRef) << int(px[0]) << "," << int(px[1]) << "," << int(px[2]);
        ASSERT_EQ(l, lRef) << int(px[0]) << "," << int(px[1]) << "," << int(px[2]);
        uint8_t out[3], ref[3];
        toLab(px, out);
        RefRGBDtoLab(px, ref, spec, true);
        ASSERT_TRUE(out[0] == ref[0] && out[1] == ref[1] && out[2] == ref[2]);
        toRgb(px, out);
        RefLabtoRGBD(px, ref, spec, false);
        ASSERT_TRUE(out[0] == ref[0] && out[1] == ref[1] && out[2] == ref[2]);
    }
}

INSTANTIATE_TEST_SUITE_P(Curves, FunctorSpec, ::testing::ValuesIn(kSpecs),
                         [](const auto& info) { return std::string(info.param.name); });

// Blue comes first in memory: a pure red pixel is {0, 0, 255}.
TEST(ColourFunctors, ChannelOrderIsBlueGreenRed) {
    CRGBDtoLab8 toLab(kColorSpecSRGB, true);
    const uint8_t red[3] = {0, 0, 255}, blue[3] = {255, 0, 0};
    uint8_t labRed[3], labBlue[3];
    toLab(red, labRed);
    toLab(blue, labBlue);
    // Red has a large positive b*, blue a large negative one.
    EXPECT_GT(labRed[2], 128 + 50);
    EXPECT_LT(labBlue[2], 128 - 50);

    CLabtoRGBD8 toRgb(kColorSpecSRGB, true);
    uint8_t back[3];
    toRgb(labRed, back);
    EXPECT_GE(back[2], 250);
    EXPECT_LE(back[0], 5);

    RGBtoGrey8 grey(kColorSpecSRGB);
    const uint8_t green[3] = {0, 255, 0};
    uint8_t gr, gg, gb;
    grey(red, &gr);
    grey(green, &gg);
    grey(blue, &gb);
    // Luminance weights order green > red > blue.
    EXPECT_GT(gg, gr);
    EXPECT_GT(gr, gb);
}

// Outputs are truncated (x 255.9999), not rounded: white to L* = 100 is 255
// with the 0..100 range and 100 with the 0..255 one, and Lab bytes decode
// back through the same rule.
TEST(ColourFunctors, TruncationAndRanges) {
    const uint8_t white[3] = {255, 255, 255}, black[3] = {0, 0, 0};
    uint8_t lab[3];
    CRGBDtoLab8(kColorSpecSRGB, true)(white, lab);
    EXPECT_EQ(lab[0], 255);
    EXPECT_EQ(lab[1], 128);
    EXPECT_EQ(lab[2], 128);
    CRGBDtoLab8(kColorSpecSRGB, false)(white, lab);
    EXPECT_EQ(lab[0], 100);
    CRGBDtoLab8(kColorSpecSRGB, false)(black, lab);
    EXPECT_EQ(lab[0], 0);

    // With the L* curve as the device curve, grey to L is the identity up to
    // the resolution of the shared YtoL table (8192 entries).
    const double* table = YtoLTable();
    for (int in : {0, 1000, 32768, 50000, 65535}) {
        const uint16_t grey16 = uint16_t(in);
        uint16_t l16;
        GreyToL16(SpecWithCurve(keGammaLStar, 0))(&grey16, &l16);
        const int cell = std::min(int(LtoY(in / 65535.0) * 8191), 8190);
        EXPECT_NEAR(l16, in, (table[cell + 1] - table[cell]) * 65536 + 1) << in;
    }
}

TEST(ColourFunctors, SixteenBitRoundTripIsClose) {
    CRGBDtoLab16 toLab(kColorSpecSRGB, true);
    CLabtoRGBD16 toRgb(kColorSpecSRGB, true);
    std::mt19937 rng(7);
    int worst = 0;
    for (int n = 0; n < 20000; ++n) {
        const uint16_t px[3] = {uint16_t(rng()), uint16_t(rng()), uint16_t(rng())};
        uint16_t lab[3], back[3];
        toLab(px, lab);
        toRgb(lab, back);
        for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(int(back[c]) - int(px[c])));
    }
    // Lab words quantise a and b in steps of 1/256: a few 16-bit steps in the darks.
    EXPECT_LE(worst, 64);
}

// Runs over BGRA rows leave the fourth channel alone and walk with the step.
TEST(ColourFunctors, RowWithStepKeepsAlpha) {
    CRGBDtoLab8 toLab(kColorSpecSRGB, true);
    std::array<uint8_t, 16> row = {10, 20, 30, 77, 200, 100, 50, 88, 0, 0, 0, 99, 255, 255, 255, 111};
    std::array<uint8_t, 16> out = row;
    toLab.Row(row.data(), out.data(), 4, 4, 4);
    for (int i = 0; i < 4; ++i) {
        uint8_t ref[3];
        toLab(&row[size_t(i * 4)], ref);
        EXPECT_EQ(out[size_t(i * 4)], ref[0]);
        EXPECT_EQ(out[size_t(i * 4 + 1)], ref[1]);
        EXPECT_EQ(out[size_t(i * 4 + 2)], ref[2]);
        EXPECT_EQ(out[size_t(i * 4 + 3)], row[size_t(i * 4 + 3)]);
    }
    std::array<uint8_t, 16> generic = row;
    QGDI_ApplyUserFunctor8(toLab, row.data(), generic.data(), 4, 4, 4);
    EXPECT_EQ(generic, out);
}

// Amount 0 is the identity; -100 removes the relative saturation where the
// weight is full (the highlights for the highlight functor); a grey stays grey.
TEST(ColourFunctors, RelativeSaturationEnds) {
    std::mt19937 rng(3);
    for (int n = 0; n < 500; ++n) {
        const uint8_t px[3] = {uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
        uint8_t out[3];
        CRGBSetRelHighlightSaturation8(kColorSpecSRGB, 0.0)(px, out);
        EXPECT_TRUE(out[0] == px[0] && out[1] == px[1] && out[2] == px[2]);
        CRGBSetRelShadowSaturation8(kColorSpecSRGB, 0.0)(px, out);
        EXPECT_TRUE(out[0] == px[0] && out[1] == px[1] && out[2] == px[2]);
    }
    const uint8_t grey[3] = {90, 90, 90};
    for (double amount : {-100.0, -30.0, 40.0, 100.0}) {
        uint8_t out[3];
        CRGBSetRelShadowSaturation8(kColorSpecSRGB, amount)(grey, out);
        EXPECT_TRUE(out[0] == 90 && out[1] == 90 && out[2] == 90) << amount;
    }
    // White-ish yellow: the highlight weight is nearly 1, so -100 leaves almost a grey.
    const uint8_t light[3] = {180, 250, 250};
    uint8_t out[3];
    CRGBSetRelHighlightSaturation8(kColorSpecSRGB, -100.0)(light, out);
    EXPECT_LE(std::max({out[0], out[1], out[2]}) - std::min({out[0], out[1], out[2]}), 8);
    // The shadow functor hardly touches it.
    CRGBSetRelShadowSaturation8(kColorSpecSRGB, -100.0)(light, out);
    EXPECT_NEAR(out[0], 180, 3);
    // 16-bit agrees with 8-bit on the same colour in relative terms.
    const uint16_t light16[3] = {180 * 257, 250 * 257, 250 * 257};
    uint16_t out16[3];
    CRGBSetRelHighlightSaturation16(kColorSpecSRGB, -100.0)(light16, out16);
    uint8_t out8[3];
    CRGBSetRelHighlightSaturation8(kColorSpecSRGB, -100.0)(light, out8);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(out16[c] / 257.0, out8[c], 1.5);
}

}  // namespace
