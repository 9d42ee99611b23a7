// Each kind's kernel against a small table worked out by hand.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;

constexpr uint32_t Colour(int r, int g, int b, int a = 255) {
    return uint32_t(r) | uint32_t(g) << 8 | uint32_t(b) << 16 | uint32_t(a) << 24;
}

const RGBQUAD kPalette[4] = {{1, 2, 3, 0}, {4, 5, 6, 0}, {40, 50, 60, 0}, {10, 20, 30, 0}};

struct KernelCase {
    const char* name;
    std::shared_ptr<const CRowOpDef> def;
    EQPixelFormat dst, src;
    Bytes dstIn, srcIn, mask, expected;
    int count = -1;
    int y = 0;
};

class Kernel : public testing::TestWithParam<KernelCase> {};

TEST_P(Kernel, MatchesHandTable) {
    const KernelCase& c = GetParam();
    const CRowOpDef& def = *c.def;
    Bytes dst = c.dstIn;
    const CRowOp op = RunOp(def, c.dst, dst, c.src, c.srcIn.empty() ? nullptr : &c.srcIn,
                            c.mask.empty() ? nullptr : &c.mask, kPalette, 4, c.count, 0, c.y);
    EXPECT_FALSE(op.IsConverted());
    EXPECT_FALSE(op.IsNOP() && def.GetType() != keRoNOP);
    EXPECT_EQ(dst, c.expected);
}

constexpr EQPixelFormat None = keFormatNone, Grey = keFormatGrey, BGR = keFormatBGR, BGRA = keFormatBGRA,
                        BGRxA = keFormatBGRxA, I8 = keFormatIndex8;

constexpr double kAdjustGain[3] = {2, 1, 1}, kAdjustOffset[3] = {0, 0.1, 0};

// clang-format off
const KernelCase kCases[] = {
    {"NOP", std::make_shared<CRowOpDefNOP>(), BGRA, None, {1, 2, 3, 4}, {}, {}, {1, 2, 3, 4}},
    // grey = (77 R + 151 G + 28 B) >> 8 = 5610 >> 8
    {"CopyBGRToGrey", std::make_shared<CRowOpDefRowCopy>(), Grey, BGR, {0}, {10, 20, 30}, {}, {21}},
    {"CopyBGRToBGRA", std::make_shared<CRowOpDefRowCopy>(), BGRA, BGR, Bytes(4), {10, 20, 30}, {}, {10, 20, 30, 255}},
    // c x 255 / a: 99.6, 199.2, 255
    {"CopyUnpremultiplies", std::make_shared<CRowOpDefRowCopy>(), BGRA, BGRxA, Bytes(4), {50, 100, 128, 128}, {}, {100, 199, 255, 128}},
    // c x a / 255: 50.2, 100.4, 128
    {"CopyPremultiplies", std::make_shared<CRowOpDefRowCopy>(), BGRxA, BGRA, Bytes(4), {100, 200, 255, 128}, {}, {50, 100, 128, 128}},
    {"CopyMaskWeighs", std::make_shared<CRowOpDefRowCopy>(), Grey, Grey, {0, 0, 100}, {255, 255, 200}, {0, 255, 128}, {0, 255, 150}},
    {"CopyIndexedNibbles", std::make_shared<CRowOpDefRowCopyIndexed>(), BGRA, keFormatIndex4, Bytes(8), {0x10}, {},
     {4, 5, 6, 255, 1, 2, 3, 255}},
    {"CopyIndexedUnpack", std::make_shared<CRowOpDefRowCopyIndexed>(), I8, keFormatIndex1, Bytes(3), {0xA0}, {}, {1, 0, 1}},
    {"CopyIndexedKeepsTailBits", std::make_shared<CRowOpDefRowCopyIndexed>(), keFormatIndex1, keFormatIndex1, {0x0F}, {0xF0}, {},
     {0xEF}, 3},
    {"PalettedSkipsTransparent", std::make_shared<CRowOpDefRowCopyPalettedWithTransparencyIndex>(1), BGRA, I8,
     {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}, {3, 1, 2}, {}, {10, 20, 30, 255, 9, 9, 9, 9, 40, 50, 60, 255}},
    // 25829 / 257 = 100.50 plus the Bayer thresholds 0.5/64, 32.5/64, 8.5/64, 40.5/64
    {"DitherRowZero", std::make_shared<CRowOpDefRowDither>(), Grey, keFormatGrey_u16, Bytes(4),
     {0xE5, 0x64, 0xE5, 0x64, 0xE5, 0x64, 0xE5, 0x64}, {}, {100, 101, 100, 101}},
    {"FillBGR", std::make_shared<CRowOpDefRowFill>(Colour(10, 20, 30)), BGR, None, Bytes(6), {}, {}, {30, 20, 10, 30, 20, 10}},
    {"FillIndex", std::make_shared<CRowOpDefRowFill>(0u, uint8_t(7)), I8, None, Bytes(2), {}, {}, {7, 7}},
    // c a + 255 (255 - a), / 255: 177.2, 127, 227.4
    {"MatteOnWhite", std::make_shared<CRowOpDefRowMatte>(0xFFFFFFu), BGRA, None, {100, 0, 200, 128}, {}, {}, {177, 127, 227, 128}},
    {"MatteFlattens", std::make_shared<CRowOpDefRowMatte>(0u), BGR, BGRA, Bytes(3), {100, 0, 200, 128}, {}, {50, 0, 100}},
    // (c 255 - 255 (255 - a)) / a: 99.6, 0, 199.2
    {"DematteFromWhite", std::make_shared<CRowOpDefRowDematte>(0xFFFFFFu), BGRA, None, {177, 127, 227, 128}, {}, {},
     {100, 0, 199, 128}},
    {"ChannelGetRed", std::make_shared<CRowOpDefChannelGet>(keChannelRed), Grey, BGRA, {0}, {1, 2, 3, 4}, {}, {3}},
    {"ChannelGetGrey", std::make_shared<CRowOpDefChannelGet>(keChannelGrey), Grey, BGRA, {0}, {1, 2, 3, 4}, {}, {2}},
    {"ChannelSetGreen", std::make_shared<CRowOpDefChannelSet>(keChannelGreen), BGRA, Grey, {1, 2, 3, 4}, {99}, {}, {1, 99, 3, 4}},
    {"ChannelSetGreySpreads", std::make_shared<CRowOpDefChannelSet>(keChannelGrey), BGRA, Grey, {1, 2, 3, 4}, {99}, {},
     {99, 99, 99, 4}},
    {"ChannelSetMissingChannel", std::make_shared<CRowOpDefChannelSet>(keChannelBlue), keFormatGreyA, Grey, {7, 8}, {99}, {}, {7, 8}},
    {"ChannelConstantAlpha", std::make_shared<CRowOpDefChannelConstant>(keChannelSetAlpha, 1.0), BGRA, None, {1, 2, 3, 4}, {}, {},
     {1, 2, 3, 255}},
    {"ChannelConstantColour", std::make_shared<CRowOpDefChannelConstant>(keChannelSetAllButAlpha, 0.0), BGRA, None, {1, 2, 3, 4}, {},
     {}, {0, 0, 0, 4}},
    // 2 c - 25.5: -5.5, 174.5, 374.5
    {"ChannelLinear", std::make_shared<CRowOpDefChannelLinear>(keChannelSetAllButAlpha, 2.0, -0.1), BGRA, None, {10, 100, 200, 50},
     {}, {}, {0, 175, 255, 50}},
    {"NoiseOfNothing", std::make_shared<CRowOpDefRowNoise>(0.0), BGRA, None, {1, 2, 3, 4}, {}, {}, {1, 2, 3, 4}},
    // noise vanishes at lattice points, so fractal noise is (0 + 1) / 2 x 255 there
    {"TurbulenceOnLattice", std::make_shared<CRowOpDefRowTurbulence>(1.0, 1.0, 3, 5, true), BGRA, None, Bytes(8), {}, {},
     {127, 127, 127, 127, 127, 127, 127, 127}},
    {"TurbulenceOnLatticeIsZero", std::make_shared<CRowOpDefRowTurbulence>(1.0, 1.0, 3, 5, false), BGRA, None, Bytes(4, 9), {}, {},
     {0, 0, 0, 0}},
    // s - d + 128; alpha from the original
    {"HighPass", std::make_shared<CRowOpDefHighPass>(), BGRA, BGRA, {100, 100, 100, 10}, {110, 90, 100, 200}, {},
     {138, 118, 128, 200}},
    {"MaskOverSolidFlat", std::make_shared<CRowOpDefRowMaskOverSolid>(Colour(255, 255, 255)), BGR, None, Bytes(3), {}, {128},
     {128, 128, 128}},
    {"MaskOverSolidOnTransparent", std::make_shared<CRowOpDefRowMaskOverSolid>(Colour(255, 0, 0)), BGRA, None, Bytes(4), {}, {128},
     {0, 0, 255, 128}},
    // A = 128 + 127 = 255; w = 32896 / 65536: blue 128.5, red 127.5, both rounded down
    {"MaskOverSolidOnOpaque", std::make_shared<CRowOpDefRowMaskOverSolid>(Colour(0, 0, 255)), BGRA, None, {0, 0, 255, 255}, {},
     {128}, {128, 0, 127, 255}},
    {"MaskOverSolidPremultiplied", std::make_shared<CRowOpDefRowMaskOverSolid>(Colour(0, 0, 255)), BGRxA, None, {0, 0, 255, 255},
     {}, {128}, {128, 0, 127, 255}},
    {"BlendSolid", std::make_shared<CRowOpDefRowBlendSolid>(Colour(255, 0, 0), uint8_t(128)), BGRA, None, Bytes(4), {}, {},
     {0, 0, 128, 128}},
    // keep = 255 - 128: alpha 200 x 127 / 255 = 99.6
    {"EraseStraight", std::make_shared<CRowOpDefRowErase>(), BGRA, None, {10, 20, 30, 200}, {}, {128}, {10, 20, 30, 100}},
    {"ErasePremultiplied", std::make_shared<CRowOpDefRowErase>(), BGRxA, None, {10, 20, 30, 200}, {}, {128}, {5, 10, 15, 100}},
    {"BlendIndexed", std::make_shared<CRowOpDefRowBlendIndexedBGRA>(), BGRA, I8, {0, 0, 0, 0, 7, 7, 7, 7}, {3, 2}, {255, 0},
     {10, 20, 30, 255, 7, 7, 7, 7}},
    {"BlendIndexedAlpha", std::make_shared<CRowOpDefRowBlendIndexedBGRA>(), BGRA, keFormatIndex8A, {7, 7, 7, 7}, {3, 0}, {},
     {7, 7, 7, 7}},
    {"HSLHueTurnsRedGreen", std::make_shared<CRowOpDefRowHSLAdjust>(120.0), BGR, None, {0, 0, 255}, {}, {}, {0, 255, 0}},
    {"HSLDesaturate", std::make_shared<CRowOpDefRowHSLAdjust>(0.0, -1.0), BGR, None, {0, 0, 255}, {}, {}, {128, 128, 128}},
    {"HSLLighten", std::make_shared<CRowOpDefRowHSLAdjust>(0.0, 0.0, 1.0), BGRA, None, {0, 0, 255, 9}, {}, {}, {255, 255, 255, 9}},
    {"HSLCopyHue", std::make_shared<CRowOpDefRowHSLCopyChannel>(keHSLHue), BGR, BGR, {0, 0, 255}, {0, 255, 0}, {}, {0, 255, 0}},
    {"HSLCopyLightness", std::make_shared<CRowOpDefRowHSLCopyChannel>(keHSLLightness), BGR, BGR, {0, 0, 255}, {0, 0, 0}, {},
     {0, 0, 0}},
    {"InvertStraight", std::make_shared<CRowOpDefRowInvert>(), BGRA, None, {0, 100, 255, 7}, {}, {}, {255, 155, 0, 7}},
    {"InvertPremultiplied", std::make_shared<CRowOpDefRowInvert>(), BGRxA, None, {10, 20, 30, 40}, {}, {}, {30, 20, 10, 40}},
    {"KodalithThreshold", std::make_shared<CRowOpDefRowKodalith>(uint8_t(128)), Grey, None, {127, 128, 200}, {}, {}, {0, 255, 255}},
    // average of the two rows: (s + d) / 2 on every channel
    {"ArithmeticAverage", std::make_shared<CRowOpDefRowArithmetic>(0.0, 0.5, 0.5, 0.0), BGRA, BGRA, {0, 0, 0, 0},
     {200, 100, 50, 255}, {}, {100, 50, 25, 128}},
    {"ArithmeticMultiply", std::make_shared<CRowOpDefRowArithmetic>(1.0, 0.0, 0.0, 0.0), Grey, Grey, {128, 255}, {255, 77}, {},
     {128, 77}},
    // colour clamped to the new alpha: k4 = 0.2 gives 51 everywhere, k2 lifts blue
    {"ArithmeticClampsToAlpha", std::make_shared<CRowOpDefRowArithmetic>(0.0, 1.0, 0.0, 0.2), BGRxA, BGRxA, Bytes(4),
     {100, 0, 0, 0}, {}, {51, 51, 51, 51}},
    {"MulEqual", std::make_shared<CRowOpDefRowMulEqual>(), BGRA, BGRA, {255, 128, 0, 200}, {128, 128, 77, 255}, {},
     {128, 64, 0, 200}},
    {"PlusEqual", std::make_shared<CRowOpDefRowPlusEqual>(), BGRA, BGRA, {200, 10, 0, 255}, {100, 10, 0, 1}, {}, {255, 20, 0, 255}},
    {"ReplaceWithinTolerance", std::make_shared<CRowOpDefRowReplaceColor>(Colour(255, 0, 0), Colour(0, 255, 0), uint8_t(10)), BGRA,
     None, {5, 0, 250, 77, 20, 0, 250, 77}, {}, {}, {0, 255, 0, 77, 20, 0, 250, 77}},
    {"RGBAdjust", std::make_shared<CRowOpDefRowRGBAdjust>(kAdjustGain, kAdjustOffset), BGR, None, {10, 20, 30}, {}, {}, {10, 46, 60}},
    {"ConvertFindsIndexedCopies", std::make_shared<CRowOpDefConvert>(), BGR, I8, Bytes(3), {2}, {}, {40, 50, 60}},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(ByKind, Kernel, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(KernelWide, SixteenBitAndFloatCopies) {
    CRowOpDefRowCopy copy;
    Bytes src = {1, 128, 255, 0};
    Bytes wide(8);
    RunOp(copy, keFormatBGRA_u16, wide, BGRA, &src);
    const auto* w = reinterpret_cast<const uint16_t*>(wide.data());
    EXPECT_EQ(w[0], 257);
    EXPECT_EQ(w[1], 32896);
    EXPECT_EQ(w[2], 65535);
    EXPECT_EQ(w[3], 0);
    const float f[] = {0.5f, 1.0f, 0.0f, 1.0f};
    Bytes fsrc(sizeof f), narrow(3);
    std::memcpy(fsrc.data(), f, sizeof f);
    RunOp(copy, BGR, narrow, keFormatBGRA_f32, &fsrc);
    EXPECT_EQ(narrow, (Bytes{127, 255, 0}));  // truncating v x 255.9999
}

TEST(KernelWide, AlphaMulOpScalesTheRightChannels) {
    // clang-format off
    const std::pair<EQPixelFormat, Bytes> cases[] = {
        {BGRA, {100, 100, 100, 100}},   // alpha only: 200 x 128 / 255 = 100.4
        {BGRxA, {50, 50, 50, 100}},     // every channel
        {BGR, {50, 50, 50}},            // colour
    };
    // clang-format on
    for (const auto& [format, expected] : cases) {
        Bytes row(PixelBytes(format), 100);
        if (format != BGR) row[3] = 200;
        const Bytes mask = {128};
        CRowOpData data;
        data.eDstFormat = format;
        data.nCount = 1;
        data.pDst = row.data();
        data.pMask = mask.data();
        QGDI_GetAlphaMulOp(format)(CRowOpDefNOP(), data);
        EXPECT_EQ(row, expected) << format;
    }
    EXPECT_EQ(QGDI_GetAlphaMulOp(keFormatIndex4), &QGDI_RowOpNOP);
}

TEST(KernelWide, InvertRowAndPlanesRoundTrip) {
    Bytes b = {0, 1, 128, 255};
    QGDI_InvertRow(b.data(), 4);
    EXPECT_EQ(b, (Bytes{255, 254, 127, 0}));
    const uint16_t pixels[] = {1, 2, 3, 4, 5, 6, 7, 8};  // two GreyA_u16... as four channels of BGRA_u16
    uint16_t p0[2], p1[2], p2[2], p3[2], back[8] = {};
    void* planes[] = {p0, p1, p2, p3};
    ASSERT_TRUE(QGDI_SplitBuffer(planes, pixels, keFormatBGRA_u16, 2));
    EXPECT_EQ(p0[1], 5);
    EXPECT_EQ(p3[0], 4);
    const void* cplanes[] = {p0, p1, p2, p3};
    ASSERT_TRUE(QGDI_MergeBuffer(back, cplanes, keFormatBGRA_u16, 2));
    EXPECT_EQ(std::memcmp(back, pixels, sizeof pixels), 0);
    EXPECT_FALSE(QGDI_SplitBuffer(planes, pixels, keFormatIndex8, 2));
    EXPECT_FALSE(QGDI_SplitBuffer(nullptr, pixels, keFormatBGRA_u16, 2));
}

}  // namespace

// Inverting twice restores any row, alpha never moves, and every colour
// element changes: catches a word-wide invert whose alpha mask sits on the
// wrong byte or skips the tail of a span.
class InvertTwice : public testing::TestWithParam<EQPixelFormat> {};

TEST_P(InvertTwice, RestoresTheRowAndKeepsAlpha) {
    const EQPixelFormat f = GetParam();
    const CQPixelFormat format(f);
    std::mt19937 rng(7u + f);
    constexpr int kCount = 37;
    const Bytes original = RandomBytes(rng, RowBytes(f, kCount));
    Bytes row = original;
    CRowOpDefRowInvert invert;
    RunOp(invert, f, row, keFormatNone, nullptr, nullptr, nullptr, 0, kCount);
    const int elemBytes = format.GetBitsPerPixel() / 8 / format.GetChannelCount();
    const int alpha = format.IsAlphaChannelPresent() ? format.GetChannelCount() - 1 : -1;
    for (size_t k = 0; k < row.size(); ++k) {
        const bool isAlpha = static_cast<int>(k / elemBytes) % format.GetChannelCount() == alpha;
        if (isAlpha || f == keFormatBGRxA) continue;  // premultiplied: a - c
        EXPECT_EQ(row[k], static_cast<uint8_t>(~original[k])) << k;
    }
    RunOp(invert, f, row, keFormatNone, nullptr, nullptr, nullptr, 0, kCount);
    EXPECT_EQ(row, original);
}

INSTANTIATE_TEST_SUITE_P(Formats, InvertTwice,
                         testing::Values(keFormatGrey, keFormatBGR, keFormatBGRA, keFormatBGRxA, keFormatBGRA_u16));
