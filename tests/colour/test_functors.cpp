// Pixel functors: byte order, rounding, and the 8-bit table-driven kernels
// against the per-pixel double-precision rules over every possible input.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <vector>

#include "ColourTestData.h"
#include "colour/ColorFunctors.h"
#include "colour/colour.h"
#include "colour/internal/FunctorReference.h"

namespace {

using namespace qgdi::colour;

using qgdi::test::WithCurve;

struct SSpecCase {
    const char* name;
    SColorSpecRGB cs;
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
    {"gamma22", WithCurve(keGammaPower, 2.2), 13},
    {"Lstar", WithCurve(keGammaLStar, 0), 13},
    {"Rec709", WithCurve(keGammaRec709, 0), 13},
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

// Every one of the 2^24 inputs (or the lattice): each table-driven kernel,
// run through the generic row entry, must give the bytes of its double rule
// (for Lab, RGBDtoRGBY -> RGBYtoLab -> EncodeLab and DecodeLab -> LabtoRGBY ->
// YtoD), and so must its per-pixel call, checked on every 97th input.
TEST_P(FunctorSpec, KernelsMatchDoublePath) {
    const SColorSpecRGB& cs = GetParam().cs;
    const std::vector<uint8_t> src = SweepInputs(GetParam().stride);
    const int count = int(src.size() / 3);
    using Rule = void (*)(const uint8_t*, uint8_t*, const SColorSpecRGB&);
    const CRGBDtoLab8 lab100(cs, true), lab255(cs, false);
    const CLabtoRGBD8 rgb100(cs, true), rgb255(cs, false);
    const RGBtoGrey8 grey(cs);
    const RGBtoL8 light(cs);
    const GreyToL8 greyLight(cs);
    const struct {
        const VUserFunctor8& functor;
        int outChannels;
        Rule rule;
    } kernels[] = {
        {lab100, 3, [](const uint8_t* s, uint8_t* d, const SColorSpecRGB& c) { RefRGBDtoLab(s, d, c, true); }},
        {lab255, 3, [](const uint8_t* s, uint8_t* d, const SColorSpecRGB& c) { RefRGBDtoLab(s, d, c, false); }},
        {rgb100, 3, [](const uint8_t* s, uint8_t* d, const SColorSpecRGB& c) { RefLabtoRGBD(s, d, c, true); }},
        {rgb255, 3, [](const uint8_t* s, uint8_t* d, const SColorSpecRGB& c) { RefLabtoRGBD(s, d, c, false); }},
        {grey, 1, RefRGBtoGrey<uint8_t>},
        {light, 1, RefRGBtoL<uint8_t>},
        {greyLight, 1, RefGreyToL<uint8_t>},
    };
    for (size_t k = 0; k < std::size(kernels); ++k) {
        const int out = kernels[k].outChannels;
        std::vector<uint8_t> fast(size_t(count) * size_t(out));
        QGDI_ApplyUserFunctor8(kernels[k].functor, src.data(), fast.data(), count, 3, out);
        for (int i = 0; i < count; ++i) {
            const uint8_t* in = &src[size_t(i) * 3];
            uint8_t ref[3], single[3];
            kernels[k].rule(in, ref, cs);
            ASSERT_TRUE(std::equal(ref, ref + out, &fast[size_t(i) * size_t(out)]))
                << "kernel " << k << ", input " << int(in[0]) << "," << int(in[1]) << "," << int(in[2]);
            if (i % 97) continue;
            kernels[k].functor(in, single);
            ASSERT_TRUE(std::equal(ref, ref + out, single)) << "kernel " << k << " per pixel";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Curves, FunctorSpec, ::testing::ValuesIn(kSpecs),
                         [](const auto& info) { return std::string(info.param.name); });

// Blue comes first in memory: a pure red pixel is {0, 0, 255}. Outputs are
// truncated (x 255.9999), not rounded: white to L* = 100 is 255 with the
// 0..100 range and 100 with the 0..255 one.
TEST(ColourFunctors, ChannelOrderTruncationAndRanges) {
    const uint8_t red[3] = {0, 0, 255}, blue[3] = {255, 0, 0}, white[3] = {255, 255, 255}, black[3] = {0, 0, 0};
    uint8_t labRed[3], labBlue[3], lab[3], lab255[3], labBlack[3], gr, gb;
    const CRGBDtoLab8 toLab(kColorSpecSRGB, true), toLab255(kColorSpecSRGB, false);
    toLab(red, labRed);
    toLab(blue, labBlue);
    // Red has a large positive b*, blue a large negative one; luminance weights order red above blue.
    EXPECT_GT(labRed[2], 128 + 50);
    EXPECT_LT(labBlue[2], 128 - 50);
    RGBtoGrey8{kColorSpecSRGB}(red, &gr);
    RGBtoGrey8{kColorSpecSRGB}(blue, &gb);
    EXPECT_GT(gr, gb);
    toLab(white, lab);
    toLab255(white, lab255);
    toLab255(black, labBlack);
    EXPECT_TRUE(lab[0] == 255 && lab[1] == 128 && lab[2] == 128);
    EXPECT_EQ(lab255[0], 100);
    EXPECT_EQ(labBlack[0], 0);
}

// Runs over BGRA rows leave the fourth channel alone and walk with the step.
TEST(ColourFunctors, RowWithStepKeepsAlpha) {
    CRGBDtoLab8 toLab(kColorSpecSRGB, true);
    std::array<uint8_t, 16> row = {10, 20, 30, 77, 200, 100, 50, 88, 0, 0, 0, 99, 255, 255, 255, 111};
    std::array<uint8_t, 16> out = row;
    toLab.Row(row.data(), out.data(), 4, 4, 4);
    for (int i = 0; i < 4; ++i) {
        uint8_t ref[4] = {0, 0, 0, row[size_t(i * 4 + 3)]};
        toLab(&row[size_t(i * 4)], ref);
        EXPECT_TRUE(std::equal(ref, ref + 4, &out[size_t(i * 4)])) << i;
    }
    std::array<uint8_t, 16> generic = row;
    QGDI_ApplyUserFunctor8(toLab, row.data(), generic.data(), 4, 4, 4);
    EXPECT_EQ(generic, out);
}

// Amount 0 is the identity; -100 removes the relative saturation where the
// weight is full (the highlights for the highlight functor); a grey stays grey.
TEST(ColourFunctors, RelativeSaturationEnds) {
    const uint8_t px[3] = {12, 200, 99};
    uint8_t same[3];
    CRGBSetRelHighlightSaturation8(kColorSpecSRGB, 0.0)(px, same);
    EXPECT_TRUE(same[0] == px[0] && same[1] == px[1] && same[2] == px[2]);
    const uint8_t grey[3] = {90, 90, 90}, light[3] = {180, 250, 250};
    for (double amount : {-100.0, 40.0}) {
        uint8_t out[3];
        CRGBSetRelShadowSaturation8(kColorSpecSRGB, amount)(grey, out);
        EXPECT_TRUE(out[0] == 90 && out[1] == 90 && out[2] == 90) << amount;
    }
    // A light colour takes nearly the whole highlight weight: -100 leaves almost a grey.
    uint8_t out[3];
    uint16_t out16[3];
    const uint16_t light16[3] = {180 * 257, 250 * 257, 250 * 257};
    CRGBSetRelHighlightSaturation8(kColorSpecSRGB, -100.0)(light, out);
    CRGBSetRelHighlightSaturation16(kColorSpecSRGB, -100.0)(light16, out16);
    EXPECT_LE(std::max({out[0], out[1], out[2]}) - std::min({out[0], out[1], out[2]}), 8);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(out16[c] / 257.0, out[c], 1.5);
}

}  // namespace
