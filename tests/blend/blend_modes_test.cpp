// The blend modes against rules written here from the formulas: the integer
// rule of every mode, exactly; the colour-space modes through the library's
// colour functions; every mode's formula in 0..1 arithmetic within one 8-bit
// step; 16-bit kernels against the 8-bit ones; every target against the
// baseline, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "QuorRender/internal/BlendMoxDicts.h"
#include "colour/IntegerHSL.h"
#include "platform/CpuDispatch.h"
#include "qgdi.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct SPx {
    int b, g, r, a;
};

// ---- The rules, as the formulas state them -------------------------------------------

int M(int p) { return GetMask64KLUT()[p]; }
uint32_t R(int a, int b) { return GetAlphaRatioTable()[a][b]; }

int Coverage(const SPx& s, const SPx& d, int opacity, const SBlendRanges* br) {
    if (!br || br->nCount < 1) return opacity;
    int k = 255;
    const int sg = (30 * s.r + 59 * s.g + 11 * s.b) / 100, dg = (30 * d.r + 59 * d.g + 11 * d.b) / 100;
    if (s.a && !br->bSkipSrcGrey) k = br->srcGrey[sg];
    if (d.a && !br->bSkipDstGrey) k = M(br->dstGrey[dg] * k);
    if (s.a) k = M(M(M(br->srcRed[s.r] * k) * br->srcGreen[s.g]) * br->srcBlue[s.b]);
    if (d.a == 0) return M(k * opacity);
    return M(M(M(M(br->dstRed[d.r] * k) * br->dstGreen[d.g]) * br->dstBlue[d.b]) * opacity);
}

int Mix(int t, int d, int k) { return M(t * k + d * (255 - k)); }

// f(d, s, k) of the separable modes.
int Separable(int mode, int d, int s, int k) {
    const int sq = GetSqrt256Table()[d];
    switch (mode) {
    case keBlendMoxDarken: return Mix(std::min(d, s), d, k);
    case keBlendMoxLighten: return Mix(std::max(d, s), d, k);
    case keBlendMoxMultiply: return Mix(M(d * s), d, k);
    case keBlendMoxScreen: return Mix(255 - M((255 - d) * (255 - s)), d, k);
    case keBlendMoxOverlay: return Mix(d >= 128 ? 255 - (((255 - s) * (255 - d)) >> 7) : (s * d) >> 7, d, k);
    case keBlendMoxHardLight: return Mix(s >= 128 ? 255 - (((255 - s) * (255 - d)) >> 7) : (s * d) >> 7, d, k);
    case keBlendMoxSoftLight:
        return Mix(s > 128 ? d + M((2 * s - 255) * (sq - d)) : d - M(M(d * (255 - d)) * std::max(0, 255 - 2 * s)), d,
                   k);
    case keBlendMoxDifference: return std::abs(d - M(s * k));
    case keBlendMoxDodge: {
        const int den = 255 - M(s * k);
        return den == 0 ? 255 : std::min(255, d * 255 / den);
    }
    case keBlendMoxBurn: {
        const int den = 255 - M((255 - s) * k);
        return den == 0 ? 0 : 255 - std::min(255, (255 - d) * 255 / den);
    }
    case keBlendMoxExclusion: return Mix(M((255 - d) * s + d * (255 - s)), d, k);
    case keBlendMoxLinearLight: return Mix(std::clamp(d + 2 * s - 255, 0, 255), d, k);
    case keBlendMoxVividLight:
        if (s < 128) return Mix(s == 0 ? 0 : 255 - std::min(255, (255 - d) * 255 / (2 * s)), d, k);
        return Mix(s == 255 ? 255 : std::min(255, d * 255 / (2 * (255 - s))), d, k);
    case keBlendMoxPinLight: return Mix(s < 128 ? std::min(d, 2 * s) : std::max(d, 2 * s - 255), d, k);
    case keBlendMoxHardMix: return Mix(d + s >= 255 ? 255 : 0, d, k);
    }
    ADD_FAILURE() << "not separable: " << mode;
    return 0;
}

// B of the colour-space modes through the library's colour functions.
void ColourSpace(int mode, const SPx& d, const SPx& s, int out[3]) {
    const bool hsl = mode >= 17;
    auto to = hsl ? RGB_to_HSL_Fract : RGB_to_HSY_Fract;
    auto from = hsl ? HSL_Fract_to_RGB : HSY_Fract_to_RGB;
    double dh, ds, dy, sh, ss, sy;
    to(d.r, d.g, d.b, dh, ds, dy, 255);
    to(s.r, s.g, s.b, sh, ss, sy, 255);
    const int m = hsl ? mode - 14 : mode;  // 3 hue, 4 saturation, 5 colour, 6 luminosity
    const double h = m == 3 || m == 5 ? sh : dh, c = m == 4 || m == 5 ? ss : ds, y = m == 6 ? sy : dy;
    int r, g, b;
    from(h, c, y, r, g, b, 255);
    out[0] = b, out[1] = g, out[2] = r;
}

bool IsColourSpace(int mode) { return (mode >= 3 && mode <= 6) || (mode >= 17 && mode <= 20); }

// One pixel by the rules; `colours` is 3 or 1 (grey).
SPx Blend(int mode, SPx d, SPx s, int opacity, const SBlendRanges* br, bool preserve, bool dstAlpha, int colours, int x,
          int y) {
    const int k = Coverage(s, d, opacity, br);
    const int a = M(s.a * k);
    int* dc[3] = {&d.b, &d.g, &d.r};
    const int sc[3] = {s.b, s.g, s.r};
    if (mode == keBlendMoxDissolve) {
        if (GetDissolveTable()[y & 127][x & 127] < a) {
            d = {s.b, s.g, s.r, dstAlpha && !preserve ? 255 : d.a};
        }
        return d;
    }
    if (a == 0) return d;
    const int A = M((255 - d.a) * a) + d.a;
    int B[3] = {0, 0, 0};
    if (IsColourSpace(mode)) {
        ColourSpace(mode, d, s, B);
        for (int c = 0; c < 3; ++c) B[c] = M(*dc[c] * (255 - k) + B[c] * k);
    } else if (mode != keBlendMoxNormal && mode != keBlendMoxBehind) {
        for (int c = 0; c < colours; ++c) B[c] = Separable(mode, *dc[c], sc[c], k);
    }
    for (int c = 0; c < colours; ++c) {
        int X, Y;
        uint32_t r = R(a, A);
        if (mode == keBlendMoxNormal) X = sc[c], Y = *dc[c];
        else if (mode == keBlendMoxBehind) X = *dc[c], Y = sc[c], r = R(d.a, A);
        else X = M(B[c] * d.a + sc[c] * (255 - d.a)), Y = M(*dc[c] * (255 - s.a) + B[c] * s.a);
        *dc[c] = int((Y * (65536 - r) + X * r + 32768) >> 16);
    }
    if (dstAlpha && !preserve) d.a = A;
    if (colours == 1) d.g = d.r = d.b;
    return d;
}

// ---- Rows ----------------------------------------------------------------------------

struct SFormatPair {
    EQPixelFormat dst, src;
};

int Channels(EQPixelFormat f) { return CQPixelFormat(f).GetChannelCount(); }
bool HasAlpha(EQPixelFormat f) { return CQPixelFormat(f).IsAlphaChannelPresent(); }
int Colours(EQPixelFormat f) { return CQPixelFormat(f).IsGreyscale() ? 1 : 3; }

SPx Read(const uint8_t* p, EQPixelFormat f) {
    if (Colours(f) == 1) return {p[0], p[0], p[0], HasAlpha(f) ? p[1] : 255};
    return {p[0], p[1], p[2], HasAlpha(f) ? p[3] : 255};
}

// Bytes biased to 0 and 255, alpha even more so: the corners of the arithmetic.
Bytes RandomRow(std::mt19937& rng, EQPixelFormat f, int n) {
    Bytes row(size_t(n) * Channels(f));
    for (size_t i = 0; i < row.size(); ++i) {
        const uint32_t r = rng();
        const bool alpha = HasAlpha(f) && i % Channels(f) == size_t(Channels(f) - 1);
        const uint32_t corner = alpha ? (r & 3) : (r & 7);
        row[i] = corner == 0 ? 0 : corner == 1 ? 255 : uint8_t(r >> 8);
    }
    return row;
}

SBlendRanges RandomRanges(std::mt19937& rng) {
    SBlendRanges br{};
    br.nCount = 1;
    br.bSkipSrcGrey = rng() & 1;
    br.bSkipDstGrey = rng() & 1;
    uint8_t* tables[] = {br.srcGrey, br.srcRed, br.srcGreen, br.srcBlue,
                         br.dstGrey, br.dstRed, br.dstGreen, br.dstBlue};
    for (uint8_t* t : tables) {
        // a ramp with a plateau, as blend-range sliders make, plus noise
        const int lo = int(rng() % 128), hi = 128 + int(rng() % 128);
        for (int v = 0; v < 256; ++v) t[v] = uint8_t(v < lo ? v * 2 : v > hi ? 255 - (v - hi) : 255);
    }
    return br;
}

void Apply(const CRowOpDefRowBlendMox& def, EQPixelFormat df, Bytes& dst, EQPixelFormat sf, const Bytes& src, int n,
           int x = 0, int y = 0, const uint8_t* mask = nullptr) {
    CRowOpData data;
    data.eDstFormat = df;
    data.eSrcFormat = sf;
    data.nCount = n;
    data.pDst = dst.data();
    data.pSrc = src.data();
    data.pMask = mask;
    data.x = x;
    data.y = y;
    CRowOp op(&def, data);
    op(data);
}

const SFormatPair kPairs8[] = {{keFormatBGRA, keFormatBGRA},
                               {keFormatBGRA, keFormatBGR},
                               {keFormatBGR, keFormatBGRA},
                               {keFormatGreyA, keFormatGreyA},
                               {keFormatGrey, keFormatGreyA}};

std::vector<int> AllModes() {
    int count = 0;
    const EQBlendMoxMode* modes = QGDI_GetBlendMoxModes(count);
    return {modes, modes + count};
}

std::string ModeName(const testing::TestParamInfo<int>& info) {
    std::string s = QGDI_GetBlendMoxModeName(info.param);
    std::replace(s.begin(), s.end(), '-', '_');
    return s;
}

class EveryMode : public testing::TestWithParam<int> {};

// The 8-bit kernel equals the rule on every pair, setting and alignment; the
// colour-space modes, whose colour model runs in float, within one step.
TEST_P(EveryMode, KernelFollowsTheRule) {
    const int mode = GetParam();
    const int slack = IsColourSpace(mode) ? 1 : 0;
    std::mt19937 rng(0xB1E0u + mode);
    for (const SFormatPair& pair : kPairs8) {
        if (IsColourSpace(mode) && Colours(pair.dst) == 1) continue;
        for (int setting = 0; setting < 8; ++setting) {
            const bool ranges = setting & 1, preserve = setting & 2;
            const int opacity = setting & 4 ? int(rng() % 256) : 255;
            CRowOpDefRowBlendMox def(EQBlendMoxMode(mode), opacity);
            const SBlendRanges br = RandomRanges(rng);
            if (ranges) def.SetBlendRanges(&br);
            def.SetPreserveDstAlpha(preserve);
            const int n = 1 + int(rng() % 300), x = int(rng() % 1000) - 500, y = int(rng() % 1000);
            const Bytes src = RandomRow(rng, pair.src, n), before = RandomRow(rng, pair.dst, n);
            Bytes dst = before;
            Apply(def, pair.dst, dst, pair.src, src, n, x, y);
            const int nd = Channels(pair.dst), ns = Channels(pair.src);
            for (int i = 0; i < n; ++i) {
                const SPx want = Blend(mode, Read(&before[i * nd], pair.dst), Read(&src[i * ns], pair.src), opacity,
                                       ranges ? &br : nullptr, preserve, HasAlpha(pair.dst), Colours(pair.dst), x + i,
                                       y);
                const SPx got = Read(&dst[i * nd], pair.dst);
                const int diff = std::max({std::abs(got.b - want.b), std::abs(got.g - want.g), std::abs(got.r - want.r),
                                           std::abs(got.a - want.a)});
                ASSERT_LE(diff, slack) << CQPixelFormat(pair.dst).GetFormatAsString() << " <- "
                                       << CQPixelFormat(pair.src).GetFormatAsString() << " setting " << setting
                                       << " pixel " << i << ": got " << got.b << "," << got.g << "," << got.r << ","
                                       << got.a << " want " << want.b << "," << want.g << "," << want.r << ","
                                       << want.a;
            }
        }
    }
}

// A mask byte m weakens the pixel as opacity M[m x opacity] would.
TEST_P(EveryMode, MaskActsAsOpacity) {
    const int mode = GetParam();
    std::mt19937 rng(0x3A5Cu + mode);
    const int n = 97, opacity = 201;
    const Bytes src = RandomRow(rng, keFormatBGRA, n), before = RandomRow(rng, keFormatBGRA, n);
    Bytes mask(n);
    for (auto& m : mask) m = uint8_t(rng());
    Bytes masked = before;
    Apply(CRowOpDefRowBlendMox(EQBlendMoxMode(mode), opacity), keFormatBGRA, masked, keFormatBGRA, src, n, 0, 0,
          mask.data());
    for (int i = 0; i < n; ++i) {
        Bytes one(before.begin() + 4 * i, before.begin() + 4 * i + 4);
        const Bytes s(src.begin() + 4 * i, src.begin() + 4 * i + 4);
        Apply(CRowOpDefRowBlendMox(EQBlendMoxMode(mode), M(mask[i] * opacity)), keFormatBGRA, one, keFormatBGRA, s, 1,
              i, 0);
        ASSERT_TRUE(std::equal(one.begin(), one.end(), masked.begin() + 4 * i)) << "pixel " << i;
    }
}

// The formula of each mode in 0..1 arithmetic, opaque layers at full opacity,
// over every pair of channel values: the integer tricks stay within one step.
TEST_P(EveryMode, WithinOneStepOfTheFormula) {
    const int mode = GetParam();
    if (mode == keBlendMoxDissolve || mode == keBlendMoxBehind) GTEST_SKIP() << "no channel formula";
    constexpr double kBy128 = 255.0 / 128.0;
    auto f = [mode](double d, double s) -> double {
        switch (mode) {
        case keBlendMoxNormal: return s;
        case keBlendMoxDarken: return std::min(d, s);
        case keBlendMoxLighten: return std::max(d, s);
        case keBlendMoxMultiply: return d * s;
        case keBlendMoxScreen: return 1 - (1 - d) * (1 - s);
        // products divided by 128, not 127.5: the mode's stated arithmetic
        case keBlendMoxOverlay: return d < 0.5 ? s * d * kBy128 : 1 - (1 - s) * (1 - d) * kBy128;
        case keBlendMoxHardLight: return s < 0.5 ? s * d * kBy128 : 1 - (1 - s) * (1 - d) * kBy128;
        case keBlendMoxSoftLight:
            return s <= 0.5 ? d - (1 - 2 * s) * d * (1 - d) : d + (2 * s - 1) * (std::sqrt(d) - d);
        case keBlendMoxDifference: return std::fabs(d - s);
        case keBlendMoxDodge: return s >= 1 ? 1 : std::min(1.0, d / (1 - s));
        case keBlendMoxBurn: return s <= 0 ? 0 : 1 - std::min(1.0, (1 - d) / s);
        case keBlendMoxExclusion: return d + s - 2 * d * s;
        case keBlendMoxLinearLight: return std::clamp(d + 2 * s - 1, 0.0, 1.0);
        case keBlendMoxVividLight:
            if (s < 0.5) return s <= 0 ? 0 : 1 - std::min(1.0, (1 - d) / (2 * s));
            return s >= 1 ? 1 : std::min(1.0, d / (2 * (1 - s)));
        case keBlendMoxPinLight: return s < 0.5 ? std::min(d, 2 * s) : std::max(d, 2 * s - 1);
        case keBlendMoxHardMix: return std::lround(d * 255) + std::lround(s * 255) >= 255 ? 1 : 0;
        }
        return -1;  // colour-space modes: checked on whole colours below
    };
    const bool colourSpace = IsColourSpace(mode);
    const int n = 256 * 256;
    Bytes dst(size_t(n) * 4), src(size_t(n) * 4);
    std::mt19937 rng(7);
    for (int i = 0; i < n; ++i) {
        // grey-level pairs for the separable modes, random colours for the others
        const int d = i >> 8, s = i & 255;
        for (int c = 0; c < 3; ++c) {
            dst[4 * i + c] = uint8_t(colourSpace ? rng() : d);
            src[4 * i + c] = uint8_t(colourSpace ? rng() : s);
        }
        dst[4 * i + 3] = src[4 * i + 3] = 255;
    }
    const Bytes before = dst;
    Apply(CRowOpDefRowBlendMox(EQBlendMoxMode(mode)), keFormatBGRA, dst, keFormatBGRA, src, n);
    for (int i = 0; i < n; ++i) {
        double want[3];
        if (colourSpace) {
            // hexcone hue as the shape of the colour, chroma or HSL saturation, luma or lightness, in double
            auto unit = [](const uint8_t* p, int c) { return p[c] / 255.0; };
            const uint8_t* pd = &before[4 * i];
            const uint8_t* ps = &src[4 * i];
            const int m = mode >= 17 ? mode - 14 : mode;
            const uint8_t* H = m == 3 || m == 5 ? ps : pd;
            const uint8_t* S = m == 4 || m == 5 ? ps : pd;
            const uint8_t* L = m == 6 ? ps : pd;
            auto hi = [&](const uint8_t* p) { return std::max({unit(p, 0), unit(p, 1), unit(p, 2)}); };
            auto lo = [&](const uint8_t* p) { return std::min({unit(p, 0), unit(p, 1), unit(p, 2)}); };
            double shape[3];
            for (int c = 0; c < 3; ++c)
                shape[c] = hi(H) - lo(H) > 1e-9 ? (unit(H, c) - lo(H)) / (hi(H) - lo(H)) : c == 2 ? 1 : 0;
            if (mode >= 17) {
                const double l = (hi(L) + lo(L)) / 2, sl = (hi(S) + lo(S)) / 2, ch = hi(S) - lo(S);
                const double sat = ch > 1e-9 ? std::min(1.0, ch / (sl <= 0.5 ? 2 * sl : 2 - 2 * sl)) : 0;
                const double m2 = l <= 0.5 ? l * (1 + sat) : l + sat - l * sat, m1 = 2 * l - m2;
                for (int c = 0; c < 3; ++c) want[c] = m1 + (m2 - m1) * shape[c];
            } else {
                auto luma = [](const double* v) { return 0.114 * v[0] + 0.587 * v[1] + 0.299 * v[2]; };
                const double Lv[3] = {unit(L, 0), unit(L, 1), unit(L, 2)};
                const double y = luma(Lv), ch = hi(S) - lo(S);
                for (int c = 0; c < 3; ++c) want[c] = shape[c] * ch;
                const double shift = y - luma(want);
                double t = 1;
                for (double& v : want) {
                    v += shift;
                    if (v < 0) t = std::min(t, y / (y - v));
                    if (v > 1) t = std::min(t, (1 - y) / (v - y));
                }
                for (double& v : want) v = y + (v - y) * t;
            }
        } else {
            for (int c = 0; c < 3; ++c) want[c] = f(before[4 * i + c] / 255.0, src[4 * i + c] / 255.0);
        }
        // The square-root table truncates: soft light may lose most of a step to it.
        const double slack = mode == keBlendMoxSoftLight ? 1.5 : 1.0;
        for (int c = 0; c < 3; ++c)
            ASSERT_NEAR(dst[4 * i + c], want[c] * 255, slack + 1e-9)
                << "d " << int(before[4 * i + c]) << " s " << int(src[4 * i + c]) << " channel " << c;
    }
}

// 16-bit rows of 8-bit values widened by 257 come out within one 8-bit step of the 8-bit kernels.
TEST_P(EveryMode, SixteenBitsAgreeWithEight) {
    const int mode = GetParam();
    if (mode == keBlendMoxDissolve) GTEST_SKIP() << "a pattern threshold, compared exactly elsewhere";
    std::mt19937 rng(0x1616u + mode);
    double worst = 0;
    int over = 0, total = 0;
    const struct {
        EQPixelFormat d8, s8, d16, s16;
    } pairs[] = {{keFormatBGRA, keFormatBGRA, keFormatBGRA_u16, keFormatBGRA_u16},
                 {keFormatBGR, keFormatBGRA, keFormatBGR_u16, keFormatBGRA_u16},
                 {keFormatGreyA, keFormatGreyA, keFormatGreyA_u16, keFormatGreyA_u16}};
    for (const auto& p : pairs) {
        if (IsColourSpace(mode) && Colours(p.d8) == 1) continue;
        for (bool ranges : {false, true}) {
            CRowOpDefRowBlendMox def(EQBlendMoxMode(mode), 180);
            const SBlendRanges br = RandomRanges(rng);
            if (ranges) def.SetBlendRanges(&br);
            const int n = 257;
            const Bytes src = RandomRow(rng, p.s8, n);
            Bytes dst = RandomRow(rng, p.d8, n);
            auto widen = [](const Bytes& b) {
                Bytes w(b.size() * 2);
                for (size_t i = 0; i < b.size(); ++i) {
                    const uint16_t v = uint16_t(b[i] * 257);
                    std::memcpy(&w[2 * i], &v, 2);
                }
                return w;
            };
            Bytes dst16 = widen(dst);
            const Bytes src16 = widen(src);
            Apply(def, p.d8, dst, p.s8, src, n);
            Apply(def, p.d16, dst16, p.s16, src16, n);
            // Compared as seen: colour weighted by the result's alpha, so that the colour
            // of a pixel that stays (nearly) transparent may differ.
            const int nc = Channels(p.d8);
            auto at16 = [&](size_t e) {
                uint16_t v;
                std::memcpy(&v, &dst16[2 * e], 2);
                return v / 257.0;
            };
            for (int px = 0; px < n; ++px) {
                const size_t base = size_t(px) * nc;
                const double a8 = HasAlpha(p.d8) ? dst[base + nc - 1] / 255.0 : 1.0;
                const double a16 = HasAlpha(p.d8) ? at16(base + nc - 1) / 255.0 : 1.0;
                for (int c = 0; c < nc; ++c) {
                    const bool alpha = HasAlpha(p.d8) && c == nc - 1;
                    const double diff = alpha ? std::fabs(at16(base + c) - dst[base + c])
                                              : std::fabs(at16(base + c) * a16 - dst[base + c] * a8);
                    worst = std::max(worst, diff);
                    over += diff > 1.0;
                    total++;
                }
            }
        }
    }
    // The 8-bit rules round up to four times per channel (B, X or Y, the mix);
    // the 16-bit ones hardly at all, so the two part by a step now and then.
    EXPECT_LE(worst, 2.1);
    EXPECT_LE(over, total / 50) << "channels beyond one step";
}

// Every wide compilation equals the baseline on odd widths and rows off the vector alignment.
TEST_P(EveryMode, TargetsMatchBaseline) {
    using qgdi::dispatch::ETarget;
    const int mode = GetParam();
    std::vector<ETarget> wide;
    for (ETarget t : {ETarget::kAVX2, ETarget::kAVX512})
        if (qgdi::dispatch::IsSupported(t) && qgdi::dispatch::IsBuilt(t)) wide.push_back(t);
    if (wide.empty()) GTEST_SKIP() << "the baseline kernels only";
    auto dictOf = [](ETarget t, int m) {
        EXPECT_TRUE(qgdi::dispatch::SetTargetForTesting(t));
        const SRowOpDictEntry* d = qgdi::rowop::BlendMoxDictionary(m);
        qgdi::dispatch::ResetTargetForTesting();
        return d;
    };
    const SRowOpDictEntry* base = dictOf(ETarget::kBaseline, mode);
    std::mt19937 rng(0x7A46u + mode);
    const SBlendRanges br = RandomRanges(rng);
    for (ETarget t : wide) {
        const SRowOpDictEntry* other = dictOf(t, mode);
        ASSERT_NE(other, base);
        for (int e = 0; base[e].pfnKernel; ++e) {
            const auto df = EQPixelFormat(base[e].nDstFormat), sf = EQPixelFormat(base[e].nSrcFormat);
            const int elem = CQPixelFormat(df).Is16bit() ? 2 : 1;
            for (int n : {1, 7, 31, 129, 300})
                for (int setting = 0; setting < 4; ++setting) {
                    CRowOpDefRowBlendMox def(EQBlendMoxMode(mode), 170);
                    if (setting & 1) def.SetBlendRanges(&br);
                    def.SetPreserveDstAlpha(setting & 2);
                    const size_t off = size_t(elem) * (1 + setting);
                    Bytes src(off + size_t(n) * CQPixelFormat(sf).GetBitsPerPixel() / 8);
                    Bytes mask(size_t(n) + 1);
                    for (auto& b : src) b = uint8_t(rng() & 1 ? rng() : (rng() & 1) * 255);
                    for (auto& b : mask) b = uint8_t(rng());
                    Bytes out[2];
                    out[0].resize(off + size_t(n) * CQPixelFormat(df).GetBitsPerPixel() / 8);
                    for (auto& b : out[0]) b = uint8_t(rng() & 1 ? rng() : (rng() & 1) * 255);
                    out[1] = out[0];
                    const QRowOpFn fns[2] = {base[e].pfnKernel, other[e].pfnKernel};
                    for (int k = 0; k < 2; ++k) {
                        CRowOpData data;
                        data.eDstFormat = df;
                        data.eSrcFormat = sf;
                        data.nCount = n;
                        data.pDst = out[k].data() + off;
                        data.pSrc = src.data() + off;
                        data.pMask = setting == 3 ? mask.data() + 1 : nullptr;
                        data.x = 5;
                        data.y = n;
                        fns[k](def, data);
                    }
                    ASSERT_EQ(out[0], out[1])
                        << qgdi::dispatch::TargetName(t) << " " << CQPixelFormat(df).GetFormatAsString() << " <- "
                        << CQPixelFormat(sf).GetFormatAsString() << " n " << n << " setting " << setting;
                }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, EveryMode, testing::ValuesIn(AllModes()), ModeName);

// ---- Rules of binding and the stated corners -----------------------------------------

TEST(BlendMox, TransparentSourceChangesNothingInAnyMode) {
    std::mt19937 rng(3);
    for (int mode : AllModes())
        for (const SFormatPair& p : kPairs8) {
            if (!HasAlpha(p.src) || (IsColourSpace(mode) && Colours(p.dst) == 1)) continue;
            Bytes src = RandomRow(rng, p.src, 64);
            for (size_t i = Channels(p.src) - 1; i < src.size(); i += Channels(p.src)) src[i] = 0;
            const Bytes before = RandomRow(rng, p.dst, 64);
            Bytes dst = before;
            Apply(CRowOpDefRowBlendMox(EQBlendMoxMode(mode)), p.dst, dst, p.src, src, 64);
            EXPECT_EQ(dst, before) << QGDI_GetBlendMoxModeName(mode);
        }
}

TEST(BlendMox, BindingRules) {
    struct SCase {
        const char* what;
        EQBlendMoxMode mode;
        EQPixelFormat dst, src;
        uint32_t opacity;
        EQCPURequest request;
        bool copy, nop;
    };
    const SCase cases[] = {
        {"opaque normal source is a copy", keBlendMoxNormal, keFormatBGRA, keFormatBGR, 255, keCPURequestBest, true,
         false},
        {"weakened opaque source blends", keBlendMoxNormal, keFormatBGRA, keFormatBGR, 254, keCPURequestBest, false,
         false},
        {"grey onto colour: no kernel", keBlendMoxMultiply, keFormatBGRA, keFormatGreyA, 255, keCPURequestBest, false,
         true},
        {"colour-space mode on grey: no kernel", keBlendMoxHue, keFormatGreyA, keFormatGreyA, 255, keCPURequestBest,
         false, true},
        {"processor-specific only: no kernel", keBlendMoxScreen, keFormatBGRA, keFormatBGRA, 255, keCPURequestSpecific,
         false, true},
        {"premultiplied rows: no kernel of their own", keBlendMoxScreen, keFormatBGRxA, keFormatBGRxA, 255,
         keCPURequestBest, false, true},
        {"16-bit source: its own kernel", keBlendMoxSoftLight, keFormatBGRA_u16, keFormatBGRA_u16, 255,
         keCPURequestBest, false, false},
        {"special mode through Attach", keBlendMoxPinLight, keFormatGrey, keFormatGreyA, 255, keCPURequestBest, false,
         false},
        {"mode without a kernel", EQBlendMoxMode(24), keFormatBGRA, keFormatBGRA, 255, keCPURequestBest, false, true},
    };
    for (const SCase& c : cases) {
        CRowOpDefRowBlendMox def(c.mode, c.opacity);
        CRowOpData data;
        data.eDstFormat = c.dst;
        data.eSrcFormat = c.src;
        CRowOp op(&def, data, c.request);
        EXPECT_EQ(op.IsNOP(), c.nop) << c.what;
        if (!c.nop) {
            EXPECT_EQ(op.GetKernel() == RoeLookUpEntry(GetRowCopyDict(), c.dst, c.src, c.request, false), c.copy)
                << c.what;
        }
    }
    // Find answers modes up to 20 only; Attach reaches the special ones.
    EXPECT_EQ(CRowOpDefRowBlendMox(keBlendMoxPinLight).Find(keFormatBGRA, keFormatBGRA, keCPURequestBest, false),
              &QGDI_RowOpNOP);
    // With conversion allowed, premultiplied rows are served through BGRA.
    CRowOpDefRowBlendMox screen(keBlendMoxScreen);
    screen.SetAllowConversion(true);
    CRowOpData data;
    data.eDstFormat = data.eSrcFormat = keFormatBGRxA;
    EXPECT_FALSE(CRowOp(&screen, data).IsNOP());
}

TEST(BlendMox, OverlayDividesBy128) {
    // d = 128, s = 0: t = 255 - ((255 x 127) >> 7) = 2
    EXPECT_EQ(QGDI_GetBlendChannelFunction(keBlendMoxOverlay)(128, 0, 255), 2);
    Bytes dst = {128, 128, 128, 255};
    Apply(CRowOpDefRowBlendMox(keBlendMoxOverlay), keFormatBGRA, dst, keFormatBGRA, Bytes{0, 0, 0, 255}, 1);
    EXPECT_EQ(dst, (Bytes{2, 2, 2, 255}));
}

TEST(BlendMox, EmptyBlendRangesAreNoBlendRanges) {
    std::mt19937 rng(11);
    SBlendRanges br = RandomRanges(rng);
    br.nCount = 0;
    CRowOpDefRowBlendMox with(keBlendMoxMultiply, 99), without(keBlendMoxMultiply, 99);
    with.SetBlendRanges(&br);
    const Bytes src = RandomRow(rng, keFormatBGRA, 50);
    Bytes a = RandomRow(rng, keFormatBGRA, 50), b = a;
    Apply(with, keFormatBGRA, a, keFormatBGRA, src, 50);
    Apply(without, keFormatBGRA, b, keFormatBGRA, src, 50);
    EXPECT_EQ(a, b);
}

// The dissolve pattern belongs to the image: the same pixel position gives the same choice in any row call.
TEST(BlendMox, DissolvePatternIsFixedToTheImage) {
    std::mt19937 rng(5);
    const Bytes src = RandomRow(rng, keFormatBGRA, 300), before = RandomRow(rng, keFormatBGRA, 300);
    CRowOpDefRowBlendMox def(keBlendMoxDissolve, 140);
    Bytes whole = before;
    Apply(def, keFormatBGRA, whole, keFormatBGRA, src, 300, 10, 77);
    Bytes shifted = before;  // the same image pixels as whole[0..], one tile of 128 further on
    Apply(def, keFormatBGRA, shifted, keFormatBGRA, src, 300, 10 + 128, 77 + 256);
    EXPECT_EQ(whole, shifted);
}

TEST(BlendMox, SettingsCopyAndClear) {
    std::mt19937 rng(9);
    const SBlendRanges br = RandomRanges(rng);
    CRowOpDefRowBlendMox def(keBlendMoxBurn, 300);
    EXPECT_EQ(def.GetOpacity(), 255u);
    def.SetBlendRanges(&br);
    def.SetPreserveDstAlpha(true);
    std::unique_ptr<CRowOpDef> copy(def.Copy());
    auto& c = static_cast<CRowOpDefRowBlendMox&>(*copy);
    EXPECT_EQ(c.GetMode(), keBlendMoxBurn);
    ASSERT_NE(c.GetBlendRanges(), nullptr);
    EXPECT_NE(c.GetBlendRanges(), def.GetBlendRanges()) << "a copy owns its own record";
    EXPECT_EQ(std::memcmp(c.GetBlendRanges(), &br, sizeof br), 0);
    EXPECT_EQ(c.GetChannelFunction(), QGDI_GetBlendChannelFunction(keBlendMoxBurn));
    def.Clear();
    EXPECT_EQ(def.GetMode(), keBlendMoxNormal);
    EXPECT_EQ(def.GetBlendRanges(), nullptr);
    EXPECT_FALSE(def.GetPreserveDstAlpha());
    for (int mode : AllModes()) {
        EQBlendMoxMode back;
        ASSERT_TRUE(QGDI_FindBlendMoxMode(QGDI_GetBlendMoxModeName(mode), back));
        EXPECT_EQ(back, mode);
    }
    EQBlendMoxMode none;
    EXPECT_FALSE(QGDI_FindBlendMoxMode("no-such-mode", none));
    EXPECT_FALSE(QGDI_FindBlendMoxMode(nullptr, none));
}

// The vector forms of the shared tables equal the tables.
TEST(BlendMox, SquareRootRuleIsTheTable) {
    for (uint32_t d = 0; d < 256; ++d) EXPECT_EQ(uint32_t(std::sqrt(float(d * 255))), GetSqrt256Table()[d]) << d;
}

}  // namespace
