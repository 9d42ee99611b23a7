// Every kernel of every dictionary on seeded random rows, with and without a
// mask, at a length that leaves a partial mask block: nothing may be written
// outside the span and the result must repeat. Run under the sanitizers this
// is where out-of-bounds reads and undefined arithmetic show up.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;
using qgdi::rowop::KindSamples;
using qgdi::rowop::SKindSample;

constexpr int kGuard = 32;
constexpr uint8_t kGuardByte = 0xA5;

// A random row of `n` pixels with guard bytes on both sides.
Bytes GuardedRow(std::mt19937& rng, EQPixelFormat f, int n) {
    Bytes row = RandomBytes(rng, RowBytes(f, n));
    if (CQPixelFormat(f).IsFloat()) RandomizeFloats(rng, row);
    Bytes out(row.size() + 2 * kGuard, kGuardByte);
    std::copy(row.begin(), row.end(), out.begin() + kGuard);
    return out;
}

bool GuardsIntact(const Bytes& b) {
    for (int i = 0; i < kGuard; ++i)
        if (b[i] != kGuardByte || b[b.size() - 1 - i] != kGuardByte) return false;
    return true;
}

class Catalogue : public testing::TestWithParam<SKindSample> {};

TEST_P(Catalogue, EveryEntryStaysInsideItsRowAndRepeats) {
    const SKindSample& kind = GetParam();
    const std::unique_ptr<CRowOpDef> def = kind.makeSample();
    std::unique_ptr<CRowOpDef> copy(def->Copy());
    ASSERT_EQ(copy->GetType(), def->GetType());
    std::mt19937 rng(20240611u);
    RGBQUAD palette[256];
    for (auto& q : palette) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    for (const SRowOpDictEntry* e = kind.getDict(); e->pfnKernel; ++e) {
        const auto dstFormat = static_cast<EQPixelFormat>(e->nDstFormat);
        const auto srcFormat = static_cast<EQPixelFormat>(e->nSrcFormat);
        for (bool masked : {false, true}) {
            constexpr int n = 67;
            const Bytes dstIn = GuardedRow(rng, dstFormat, n);
            const Bytes src = srcFormat != keFormatNone ? GuardedRow(rng, srcFormat, n) : Bytes();
            const Bytes mask = RandomBytes(rng, n);
            Bytes results[2];
            for (Bytes& dst : results) {
                dst = dstIn;
                CRowOpData data;
                data.eDstFormat = dstFormat;
                data.eSrcFormat = srcFormat;
                data.nCount = n;
                data.pDst = dst.data() + kGuard;
                data.pSrc = src.empty() ? nullptr : src.data() + kGuard;
                data.pMask = masked ? mask.data() : nullptr;
                data.pDstPalette = data.pSrcPalette = palette;
                data.nDstPaletteCount = data.nSrcPaletteCount = 256;
                data.x = 1000;
                data.y = 3;
                e->pfnKernel(*copy, data);
                ASSERT_TRUE(GuardsIntact(dst)) << kind.name << " " << e->nDstFormat << " <- " << e->nSrcFormat;
            }
            EXPECT_EQ(results[0], results[1]) << kind.name << " " << e->nDstFormat << " <- " << e->nSrcFormat;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllKinds, Catalogue, testing::ValuesIn(KindSamples().begin(), KindSamples().end()),
                         [](const auto& info) { return std::string(info.param.name); });

// Properties that hold across the catalogue's formats.
TEST(CatalogueProperties, CopiesRoundTripThroughWiderFormats) {
    std::mt19937 rng(7);
    CRowOpDefRowCopy copy;
    for (EQPixelFormat f : {keFormatGrey, keFormatGreyA, keFormatBGR, keFormatBGRA})
        for (EQPixelFormat wide : {CQPixelFormat(f).Get16bitFormat(), CQPixelFormat(f).GetFloatFormat()}) {
            const Bytes in = RandomBytes(rng, RowBytes(f, 50));
            Bytes w(RowBytes(wide, 50)), back(in.size());
            RunOp(copy, wide, w, f, &in);
            RunOp(copy, f, back, wide, &w);
            EXPECT_EQ(back, in) << f << " via " << wide;
        }
}

TEST(CatalogueProperties, NoiseKeepsAlphaAndStaysWithinItsAmount) {
    std::mt19937 rng(9);
    CRowOpDefRowNoise noise(0.1, true, false, 3);
    const Bytes in = RandomBytes(rng, 4 * 500);
    Bytes out = in;
    RunOp(noise, keFormatBGRA, out);
    int moved = 0;
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(out[4 * i + 3], in[4 * i + 3]);
        for (int c = 0; c < 3; ++c) EXPECT_LE(std::abs(out[4 * i + c] - in[4 * i + c]), 26);
        moved += out[4 * i] != in[4 * i];
    }
    EXPECT_GT(moved, 300);
}

// Stitching makes the tile's right and bottom edges continue its left and top
// edges, so that the tile repeats without a seam.
TEST(CatalogueProperties, StitchedTurbulenceMeetsItselfAcrossTheTileEdges) {
    CRowOpDefRowTurbulence turb(0.045, 0.06, 3, 11, true, true, 0, 0, 64, 48);
    CRowOpDefRowTurbulence loose(0.045, 0.06, 3, 11, true, false);
    int differs = 0;
    for (double t : {0.0, 5.0, 17.5, 40.0})
        for (int ch = 0; ch < 4; ++ch) {
            EXPECT_NEAR(turb.Evaluate(ch, 64, t), turb.Evaluate(ch, 0, t), 1e-9) << t;
            EXPECT_NEAR(turb.Evaluate(ch, t, 48), turb.Evaluate(ch, t, 0), 1e-9) << t;
            differs += std::abs(loose.Evaluate(ch, 64, t) - loose.Evaluate(ch, 0, t)) > 1e-3;
        }
    EXPECT_GT(differs, 8);
    // Far-off points and absurd frequencies stay defined.
    CRowOpDefRowTurbulence wild(1e7, 1e9, 2, 3, true);
    for (double x : {1e12, -1e15, 3.0}) {
        const double v = wild.Evaluate(1, x, 7);
        EXPECT_TRUE(std::isfinite(v)) << x;
    }
}

}  // namespace

namespace {

// The 8-bit shuffles work on whole words four pixels at a time; every length
// must give the per-pixel rule, tail included.
TEST(CatalogueProperties, ColourShufflesFollowThePixelRule) {
    std::mt19937 rng(11);
    CRowOpDefRowCopy copy;
    for (int n : {1, 3, 4, 5, 8, 67}) {
        const Bytes bgr = RandomBytes(rng, 3 * n);
        Bytes bgra(4 * n), back(3 * n);
        RunOp(copy, keFormatBGRA, bgra, keFormatBGR, &bgr);
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < 4; ++c) ASSERT_EQ(bgra[4 * i + c], c < 3 ? bgr[3 * i + c] : 255) << n << ":" << i;
        bgra[3] = 9;
        RunOp(copy, keFormatBGR, back, keFormatBGRA, &bgra);
        EXPECT_EQ(back, bgr) << n;
    }
}

}  // namespace
