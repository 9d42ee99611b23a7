// The fast 8-bit kernels against plain per-pixel statements of their rules,
// on seeded random rows, with and without a coverage mask. The rules here are
// written pixel by pixel with no tables or shortcuts, so a kernel that trades
// arithmetic for speed must still land on the same bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>

#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;

// x / 255 rounded to nearest (255 is odd, so no x falls on a half).
int Round255(int x) { return (x + 127) / 255; }

// The byte rules each take the channel, the pixel's alpha and a constant.
int MatteByte(int c, int a, int m) { return Round255(c * a + m * (255 - a)); }
int DematteByte(int c, int a, int m) {
    if (a == 0) return c;
    const uint32_t recip = (65536u + a / 2) / a;
    const int t = std::max(c * 255 - m * (255 - a), 0);
    return std::min<int>(255, int((uint32_t(t) * recip + 32768) >> 16));
}

// A rule over a whole row; `src` null works in place, `mask` may be null.
using RowRule = std::function<void(uint8_t* dst, const uint8_t* src, const uint8_t* mask, int n)>;

// Kernels that know no coverage are mixed back with the original bytes.
void MixBack(uint8_t* result, const uint8_t* original, const uint8_t* mask, size_t bytes, int bytesPerPixel) {
    for (size_t k = 0; k < bytes; ++k) {
        const int m = mask[k / bytesPerPixel];
        result[k] = uint8_t(Round255(original[k] * (255 - m) + result[k] * m));
    }
}

// Straight BGRA with a matte colour whose low byte is red.

RowRule MatteRule(uint32_t rgb, bool remove) {
    return [=](uint8_t* d, const uint8_t* s, const uint8_t* mask, int n) {
        const Bytes original(d, d + 4 * n);
        const int m[3] = {int((rgb >> 16) & 255), int((rgb >> 8) & 255), int(rgb & 255)};
        for (int i = 0; i < n; ++i) {
            const uint8_t* p = s ? s + 4 * i : d + 4 * i;
            const int a = p[3];
            for (int k = 0; k < 3; ++k)
                d[4 * i + k] = uint8_t(remove ? DematteByte(p[k], a, m[k]) : MatteByte(p[k], a, m[k]));
            d[4 * i + 3] = uint8_t(a);
        }
        if (mask) MixBack(d, original.data(), mask, original.size(), 4);
    };
}

// Every channel towards the colour as the format stores it, by coverage x opacity.
RowRule BlendSolidRule(EQPixelFormat f, uint32_t colour, int opacity) {
    return [=](uint8_t* d, const uint8_t*, const uint8_t* mask, int n) {
        uint8_t pixel[4] = {};
        CQPixelFormat(f).GetPixelInFormat(pixel, colour);
        const int bpp = PixelBytes(f);
        for (int i = 0; i < n; ++i) {
            const int t = mask ? Round255(mask[i] * opacity) : opacity;
            for (int c = 0; c < bpp; ++c) d[bpp * i + c] = uint8_t(Round255(d[bpp * i + c] * (255 - t) + pixel[c] * t));
        }
    };
}

struct RuleCase {
    const char* name;
    std::shared_ptr<const CRowOpDef> def;
    EQPixelFormat dst, src;
    RowRule rule;
};

// d = d s / 255 on every byte.
RowRule MulEqualRule(int bytesPerPixel) {
    return [=](uint8_t* d, const uint8_t* s, const uint8_t* mask, int n) {
        const Bytes original(d, d + size_t(n) * bytesPerPixel);
        for (size_t k = 0; k < original.size(); ++k) d[k] = uint8_t(Round255(d[k] * s[k]));
        if (mask) MixBack(d, original.data(), mask, original.size(), bytesPerPixel);
    };
}

int Luma(int r, int g, int b) { return (77 * r + 151 * g + 28 * b) >> 8; }

// The byte rule f(pixel) over the row, mixed back by the mask afterwards.
RowRule PerPixel(int bytesPerPixel, std::function<void(uint8_t*)> f) {
    return [=](uint8_t* d, const uint8_t*, const uint8_t* mask, int n) {
        const Bytes original(d, d + size_t(n) * bytesPerPixel);
        for (int i = 0; i < n; ++i) f(d + size_t(i) * bytesPerPixel);
        if (mask) MixBack(d, original.data(), mask, original.size(), bytesPerPixel);
    };
}

// Gains and offsets indexed red, green, blue; pixels stored blue first.
RowRule RGBAdjustRule(int bytesPerPixel, const double (&gain)[3], const double (&offset)[3]) {
    const std::array<double, 3> g{gain[2], gain[1], gain[0]}, o{offset[2], offset[1], offset[0]};
    return PerPixel(bytesPerPixel, [=](uint8_t* p) {
        for (int k = 0; k < 3; ++k) p[k] = uint8_t(std::clamp<long>(std::lround(g[k] * p[k] + o[k] * 255), 0, 255));
    });
}

RowRule KodalithRule(bool grey, int threshold) {
    return PerPixel(grey ? 1 : 4, [=](uint8_t* p) {
        const int y = grey ? p[0] : Luma(p[2], p[1], p[0]);
        for (int k = 0; k < (grey ? 1 : 3); ++k) p[k] = y >= threshold ? 255 : 0;
    });
}

RowRule ReplaceColorRule(int bytesPerPixel, uint32_t from, uint32_t to, int tolerance) {
    const int f[3] = {int(from >> 16 & 255), int(from >> 8 & 255), int(from & 255)};
    const int t[3] = {int(to >> 16 & 255), int(to >> 8 & 255), int(to & 255)};
    return PerPixel(bytesPerPixel, [=](uint8_t* p) {
        if (bytesPerPixel == 1) {
            if (std::abs(p[0] - Luma(f[2], f[1], f[0])) <= tolerance) p[0] = uint8_t(Luma(t[2], t[1], t[0]));
            return;
        }
        bool hit = true;
        for (int k = 0; k < 3; ++k) hit = hit && std::abs(p[k] - f[k]) <= tolerance;
        if (hit)
            for (int k = 0; k < 3; ++k) p[k] = uint8_t(t[k]);
    });
}

// Per byte with the constants in 12 fractional bits; premultiplied colour then
// no higher than its alpha.
RowRule ArithmeticRule(int bytesPerPixel, bool premultiplied, double k1, double k2, double k3, double k4) {
    const long K1 = std::lround(k1 * 4096), K2 = std::lround(k2 * 4096), K3 = std::lround(k3 * 4096),
               K4 = std::lround(k4 * 4096 * 255);
    return [=](uint8_t* d, const uint8_t* s, const uint8_t* mask, int n) {
        const Bytes original(d, d + size_t(n) * bytesPerPixel);
        for (size_t k = 0; k < original.size(); ++k) {
            const long v = (K1 * Round255(s[k] * d[k]) + K2 * s[k] + K3 * d[k] + K4 + 2048) >> 12;
            d[k] = uint8_t(std::clamp<long>(v, 0, 255));
        }
        if (premultiplied)
            for (int i = 0; i < n; ++i)
                for (int c = 0; c < 3; ++c) d[4 * i + c] = std::min(d[4 * i + c], d[4 * i + 3]);
        if (mask) MixBack(d, original.data(), mask, original.size(), bytesPerPixel);
    };
}

// d = s - d + 128 clamped; alpha (the last byte of 2- and 4-byte pixels) from s.
RowRule HighPassRule(int bytesPerPixel) {
    return [=](uint8_t* d, const uint8_t* s, const uint8_t* mask, int n) {
        const Bytes original(d, d + size_t(n) * bytesPerPixel);
        const bool alpha = bytesPerPixel == 2 || bytesPerPixel == 4;
        for (size_t k = 0; k < original.size(); ++k)
            d[k] = alpha && k % bytesPerPixel == size_t(bytesPerPixel - 1)
                       ? s[k]
                       : uint8_t(std::clamp(s[k] - d[k] + 128, 0, 255));
        if (mask) MixBack(d, original.data(), mask, original.size(), bytesPerPixel);
    };
}

// Source-over of a colour (low byte red, alpha on top) with alpha x coverage,
// in the pixel's own storage; grey pixels blend as grey b = g = r and store the luminance.
RowRule MaskOverSolidRule(EQPixelFormat f, uint32_t colour, int opacity) {
    return [=](uint8_t* d, const uint8_t*, const uint8_t* mask, int n) {
        const CQPixelFormat format(f);
        const bool grey = f == keFormatGrey || f == keFormatGreyA, alpha = format.IsAlphaChannelPresent();
        const bool premultiplied = f == keFormatBGRxA;
        const int bpp = PixelBytes(f), src[3] = {int(colour >> 16 & 255), int(colour >> 8 & 255), int(colour & 255)};
        for (int i = 0; i < n; ++i) {
            uint8_t* p = d + size_t(i) * bpp;
            const int a = Round255(int(colour >> 24) * (mask ? Round255(mask[i] * opacity) : opacity)), na = 255 - a;
            const int da = alpha ? p[bpp - 1] : 255;
            const int A = a + Round255(na * da);
            const uint32_t w = A ? (uint32_t(a) * 65536 + A / 2) / A : 0;
            int out[3];
            for (int k = 0; k < 3; ++k) {
                const int c = grey ? p[0] : p[k];
                if (!alpha || premultiplied) out[k] = Round255(c * na + src[k] * a);
                else out[k] = int((c * (65536 - w) + src[k] * w + 32768) >> 16);
            }
            if (grey) p[0] = uint8_t(Luma(out[2], out[1], out[0]));
            else
                for (int k = 0; k < 3; ++k) p[k] = uint8_t(out[k]);
            if (alpha) p[bpp - 1] = uint8_t(premultiplied ? a + Round255(da * na) : A);
        }
    };
}

// A full palette of seeded colours, for the indexed sources.
const std::array<RGBQUAD, 256>& Palette() {
    static const std::array<RGBQUAD, 256> palette = [] {
        std::mt19937 rng(77);
        std::array<RGBQUAD, 256> p{};
        for (auto& q : p) q = {uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
        return p;
    }();
    return palette;
}

// Palette colours source-over onto straight BGRA, alpha = source alpha x coverage.
RowRule BlendIndexedRule(bool sourceAlpha, int opacity) {
    return [=](uint8_t* d, const uint8_t* s, const uint8_t* mask, int n) {
        for (int i = 0; i < n; ++i) {
            uint8_t* p = d + 4 * i;
            const RGBQUAD& q = Palette()[s[sourceAlpha ? 2 * i : i]];
            const int src[3] = {q.rgbBlue, q.rgbGreen, q.rgbRed};
            const int sa = sourceAlpha ? s[2 * i + 1] : 255;
            const int a = Round255(sa * (mask ? Round255(mask[i] * opacity) : opacity));
            const int A = a + Round255((255 - a) * p[3]);
            const uint32_t w = A ? (uint32_t(a) * 65536 + A / 2) / A : 0;
            for (int k = 0; k < 3; ++k) p[k] = uint8_t((p[k] * (65536 - w) + src[k] * w + 32768) >> 16);
            p[3] = uint8_t(A);
        }
    };
}

constexpr double kGain[3] = {1.1, 0.5, 3.0}, kOffset[3] = {0.02, 0.0, -0.3};

constexpr EQPixelFormat None = keFormatNone, Grey = keFormatGrey, BGR = keFormatBGR, BGRA = keFormatBGRA,
                        BGRxA = keFormatBGRxA;

// A kind painting a colour at an opacity, beside its rule for the same two values.
template <class Def>
RuleCase SolidCase(const char* name, EQPixelFormat f, uint32_t colour, int opacity,
                   RowRule (*rule)(EQPixelFormat, uint32_t, int)) {
    return {name, std::make_shared<Def>(colour, uint8_t(opacity)), f, keFormatNone, rule(f, colour, opacity)};
}

const RuleCase kCases[] = {
    {"MatteWhite", std::make_shared<CRowOpDefRowMatte>(0xFFFFFFu), BGRA, None, MatteRule(0xFFFFFFu, false)},
    {"MatteColour", std::make_shared<CRowOpDefRowMatte>(0x3080F0u), BGRA, None, MatteRule(0x3080F0u, false)},
    {"DematteWhite", std::make_shared<CRowOpDefRowDematte>(0xFFFFFFu), BGRA, None, MatteRule(0xFFFFFFu, true)},
    {"DematteColour", std::make_shared<CRowOpDefRowDematte>(0x3080F0u), BGRA, None, MatteRule(0x3080F0u, true)},
    {"DematteFromSource", std::make_shared<CRowOpDefRowDematte>(0x10E070u), BGRA, BGRA, MatteRule(0x10E070u, true)},
    {"MulEqualBGRA", std::make_shared<CRowOpDefRowMulEqual>(), BGRA, BGRA, MulEqualRule(4)},
    {"MulEqualGrey", std::make_shared<CRowOpDefRowMulEqual>(), Grey, Grey, MulEqualRule(1)},
    {"RGBAdjustBGR", std::make_shared<CRowOpDefRowRGBAdjust>(kGain, kOffset), BGR, None,
     RGBAdjustRule(3, kGain, kOffset)},
    {"RGBAdjustBGRA", std::make_shared<CRowOpDefRowRGBAdjust>(kGain, kOffset), BGRA, None,
     RGBAdjustRule(4, kGain, kOffset)},
    {"KodalithGrey", std::make_shared<CRowOpDefRowKodalith>(uint8_t(128)), Grey, None, KodalithRule(true, 128)},
    {"KodalithBGRA", std::make_shared<CRowOpDefRowKodalith>(uint8_t(90)), BGRA, None, KodalithRule(false, 90)},
    // the colours lie where the random rows are dense (0 and 255) so that both outcomes show
    {"ReplaceColorGrey", std::make_shared<CRowOpDefRowReplaceColor>(0x000000u, 0x2040C0u, uint8_t(60)), Grey, None,
     ReplaceColorRule(1, 0x000000u, 0x2040C0u, 60)},
    {"ReplaceColorBGR", std::make_shared<CRowOpDefRowReplaceColor>(0xFFFF00u, 0x2040C0u, uint8_t(200)), BGR, None,
     ReplaceColorRule(3, 0xFFFF00u, 0x2040C0u, 200)},
    {"ReplaceColorBGRA", std::make_shared<CRowOpDefRowReplaceColor>(0x00FFFFu, 0x2040C0u, uint8_t(180)), BGRA, None,
     ReplaceColorRule(4, 0x00FFFFu, 0x2040C0u, 180)},
    {"ArithmeticBGRA", std::make_shared<CRowOpDefRowArithmetic>(0.5, 0.25, 0.25, 0.0), BGRA, BGRA,
     ArithmeticRule(4, false, 0.5, 0.25, 0.25, 0.0)},
    {"ArithmeticBGRxA", std::make_shared<CRowOpDefRowArithmetic>(-1.5, 2.0, 0.7, 0.1), BGRxA, BGRxA,
     ArithmeticRule(4, true, -1.5, 2.0, 0.7, 0.1)},
    {"ArithmeticGrey", std::make_shared<CRowOpDefRowArithmetic>(16.0, -16.0, 3.0, -0.2), Grey, Grey,
     ArithmeticRule(1, false, 16.0, -16.0, 3.0, -0.2)},
    {"HighPassGrey", std::make_shared<CRowOpDefHighPass>(), Grey, Grey, HighPassRule(1)},
    {"HighPassGreyA", std::make_shared<CRowOpDefHighPass>(), keFormatGreyA, keFormatGreyA, HighPassRule(2)},
    {"HighPassBGR", std::make_shared<CRowOpDefHighPass>(), BGR, BGR, HighPassRule(3)},
    {"HighPassBGRA", std::make_shared<CRowOpDefHighPass>(), BGRA, BGRA, HighPassRule(4)},
    SolidCase<CRowOpDefRowMaskOverSolid>("MaskOverSolidGrey", Grey, 0xC02040C0u, 200, MaskOverSolidRule),
    SolidCase<CRowOpDefRowMaskOverSolid>("MaskOverSolidGreyA", keFormatGreyA, 0xFF2040C0u, 255, MaskOverSolidRule),
    SolidCase<CRowOpDefRowMaskOverSolid>("MaskOverSolidBGR", BGR, 0x80F04010u, 255, MaskOverSolidRule),
    SolidCase<CRowOpDefRowMaskOverSolid>("MaskOverSolidBGRA", BGRA, 0xFF2040C0u, 255, MaskOverSolidRule),
    SolidCase<CRowOpDefRowMaskOverSolid>("MaskOverSolidBGRATranslucent", BGRA, 0x602040C0u, 150, MaskOverSolidRule),
    SolidCase<CRowOpDefRowMaskOverSolid>("MaskOverSolidBGRxA", BGRxA, 0xA02040C0u, 230, MaskOverSolidRule),
    {"BlendIndexed", std::make_shared<CRowOpDefRowBlendIndexedBGRA>(uint8_t(255)), BGRA, keFormatIndex8,
     BlendIndexedRule(false, 255)},
    {"BlendIndexedAlpha", std::make_shared<CRowOpDefRowBlendIndexedBGRA>(uint8_t(140)), BGRA, keFormatIndex8A,
     BlendIndexedRule(true, 140)},
    SolidCase<CRowOpDefRowBlendSolid>("BlendSolidGrey", Grey, 0xFF2040C0u, 100, BlendSolidRule),
    SolidCase<CRowOpDefRowBlendSolid>("BlendSolidBGR", BGR, 0xFF2040C0u, 255, BlendSolidRule),
    SolidCase<CRowOpDefRowBlendSolid>("BlendSolidBGRA", BGRA, 0x802040C0u, 77, BlendSolidRule),
    SolidCase<CRowOpDefRowBlendSolid>("BlendSolidBGRxA", BGRxA, 0x802040C0u, 200, BlendSolidRule),
};

class ReferenceRule : public testing::TestWithParam<std::tuple<RuleCase, bool>> {};

TEST_P(ReferenceRule, MatchesPlainRule) {
    const auto& [c, masked] = GetParam();
    const CRowOpDef& def = *c.def;
    std::mt19937 rng(0x5eed + static_cast<unsigned>(c.dst) * 31 + masked);
    // Several lengths so that vector bodies, remainders and the 64-pixel mask blocks all show.
    for (int n : {1, 7, 64, 67, 300}) {
        const int bpp = PixelBytes(c.dst);
        const Bytes original = RandomBytes(rng, size_t(n) * bpp);
        const Bytes src = c.src != keFormatNone ? RandomBytes(rng, size_t(n) * PixelBytes(c.src)) : Bytes{};
        const Bytes mask = masked ? RandomBytes(rng, size_t(n)) : Bytes{};
        Bytes expected = original;
        c.rule(expected.data(), src.empty() ? nullptr : src.data(), masked ? mask.data() : nullptr, n);
        Bytes got = original;
        const CRowOp op = RunOp(def, c.dst, got, c.src, src.empty() ? nullptr : &src, masked ? &mask : nullptr,
                                Palette().data(), 256);
        ASSERT_FALSE(op.IsConverted());
        ASSERT_EQ(got, expected) << "n = " << n;
    }
}

INSTANTIATE_TEST_SUITE_P(FastKernels, ReferenceRule, testing::Combine(testing::ValuesIn(kCases), testing::Bool()),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) +
                                    (std::get<1>(info.param) ? "Masked" : "");
                         });

}  // namespace

// Every kernel of the catalogue against itself on a whole row: cut into the
// short spans a rasteriser hands over (each told its own position), the row
// must come out the same, and on integer formats full coverage must equal no
// coverage. Kernels
// that work a word or a vector at a time, or that depend on the position,
// show their tail and offset mistakes here.
namespace {

using namespace qgdi::test;
using qgdi::rowop::KindSamples;
using qgdi::rowop::SKindSample;

class WholeRow : public testing::TestWithParam<SKindSample> {};

// Index of the first byte that differs, -1 when none does.
long FirstDifference(const Bytes& a, const Bytes& b) {
    const auto m = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return m.first == a.end() && m.second == b.end() ? -1 : long(m.first - a.begin());
}

// Runs `kernel` on pixels [from, to) of the rows, told where they lie.
void RunPiece(QRowOpFn kernel, const CRowOpDef& def, EQPixelFormat dstFormat, Bytes& dst, EQPixelFormat srcFormat,
              const Bytes& src, const uint8_t* mask, int from, int to) {
    const auto at = [](EQPixelFormat f, int x) { return size_t(x) * CQPixelFormat(f).GetBitsPerPixel() / 8; };
    CRowOpData data;
    data.eDstFormat = dstFormat;
    data.eSrcFormat = srcFormat;
    data.nCount = to - from;
    data.pDst = dst.data() + at(dstFormat, from);
    data.pSrc = src.empty() ? nullptr : src.data() + at(srcFormat, from);
    data.pMask = mask ? mask + from : nullptr;
    data.pDstPalette = data.pSrcPalette = Palette().data();
    data.nDstPaletteCount = data.nSrcPaletteCount = 256;
    data.x = 40 + from;
    data.y = 5;
    data.nImageWidth = 400;
    data.nImageHeight = 10;
    kernel(def, data);
}

TEST_P(WholeRow, SpansAndFullCoverageAgreeWithIt) {
    const SKindSample& kind = GetParam();
    const std::unique_ptr<CRowOpDef> def = kind.makeSample();
    std::mt19937 rng(0xC0FFEEu + static_cast<unsigned>(kind.type));
    for (const SRowOpDictEntry* e = kind.getDict(); e->pfnKernel; ++e) {
        const auto dstFormat = static_cast<EQPixelFormat>(e->nDstFormat);
        const auto srcFormat = static_cast<EQPixelFormat>(e->nSrcFormat);
        // Packed index rows can only be cut at whole bytes.
        const int bits = std::min(CQPixelFormat(dstFormat).GetBitsPerPixel(),
                                  srcFormat == keFormatNone ? 8 : CQPixelFormat(srcFormat).GetBitsPerPixel());
        const int step = std::max(8 / bits, 1);
        constexpr int n = 200;
        Bytes original = RandomBytes(rng, RowBytes(dstFormat, n));
        Bytes src = srcFormat == keFormatNone ? Bytes() : RandomBytes(rng, RowBytes(srcFormat, n));
        if (CQPixelFormat(dstFormat).IsFloat()) RandomizeFloats(rng, original);
        if (srcFormat != keFormatNone && CQPixelFormat(srcFormat).IsFloat()) RandomizeFloats(rng, src);
        const Bytes mask = RandomBytes(rng, n), full(n, 255);
        const auto where = [&] {
            return kind.name + std::string(" ") + std::to_string(dstFormat) + " <- " + std::to_string(srcFormat);
        };

        for (const uint8_t* m : {static_cast<const uint8_t*>(nullptr), mask.data()}) {
            Bytes whole = original, pieces = original;
            RunPiece(e->pfnKernel, *def, dstFormat, whole, srcFormat, src, m, 0, n);
            for (int from = 0; from < n;) {
                const int to = std::min(n, from + std::uniform_int_distribution<int>(1, 32)(rng) * step);
                RunPiece(e->pfnKernel, *def, dstFormat, pieces, srcFormat, src, m, from, to);
                from = to;
            }
            EXPECT_EQ(FirstDifference(pieces, whole), -1) << where() << (m ? " masked" : "") << ": spans";
        }
        // d + (r - d) x 1 need not give r back in floating point.
        if (CQPixelFormat(dstFormat).IsFloat()) continue;
        Bytes unmasked = original, covered = original;
        RunPiece(e->pfnKernel, *def, dstFormat, unmasked, srcFormat, src, nullptr, 0, n);
        RunPiece(e->pfnKernel, *def, dstFormat, covered, srcFormat, src, full.data(), 0, n);
        EXPECT_EQ(FirstDifference(covered, unmasked), -1) << where() << ": full coverage";
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, WholeRow, testing::ValuesIn(KindSamples().begin(), KindSamples().end()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
