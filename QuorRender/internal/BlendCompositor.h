#pragma once
// The one compositing loop of the blend modes. A row is worked in blocks of
// kBlock pixels held as structure-of-arrays: the pixels are split into
// channel arrays, the coverage of each pixel is computed, the mode turns
// (d, s, k) into its result B, and the result is composited back into the
// row by alpha. Each step is a short loop that the compiler widens on its
// own; only the mode's step depends on the mode, and the load, coverage and
// composite steps are shared by every mode of a depth and format pair.
//
// Straight alpha throughout (premultiplied rows are served by conversion).
// Per pixel, with sa and da the alphas (F where a format has none):
//   a = M[sa k]; nothing changes where a = 0
//   A = M[(F - da) a] + da, the composite alpha, written unless preserved
//   separable and colour-space modes: X = M[B da + s (F - da)], Y = M[d (F - sa) + B sa]
//   normal: X = s, Y = d
//   channel = Y + (X - Y) a / A: at 8 bits (Y (65536 - r) + X r + 32768) >> 16 with r = a / A in
//   16.16 rounded (the alpha-ratio table's rule); at 16 bits rounded exactly.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

#include "QuorRender/DivTable2.h"
#include "QuorRender/RowOpBlendMox.h"
#include "QuorRender/internal/BlendModes.h"
#include "QuorRender/internal/RowOpPrepared.h"
#include "qdibcore/Source/PixelFormatTraits.h"

// Keeps a function's loops scalar where the vectoriser would make them
// slower (GCC; Clang does not emulate gathers there).
#if defined(__GNUC__) && !defined(__clang__)
#define QGDI_SCALAR_LOOPS __attribute__((optimize("no-tree-vectorize")))
#else
#define QGDI_SCALAR_LOOPS
#endif

namespace qgdi::blend {
inline namespace QGDI_TARGET_NS {

constexpr int kBlock = 128;

// One block of pixels as channel arrays in the depth's lane type.
template <class L>
struct TBlock {
    alignas(64) L d[4][kBlock];  // destination b, g, r (grey in 0), alpha
    alignas(64) L s[4][kBlock];  // source, the same
    alignas(64) L b[3][kBlock];  // the colour-space modes' result per colour channel
    alignas(64) L k[kBlock];     // coverage, 0..F
};

template <EQPixelFormat F>
struct TLayout {
    using T = TQPixelFormat<F>;
    using E = typename T::Elem;
    static constexpr int kN = T::kChannels;
    static constexpr int kColour = T::kGrey ? 1 : 3;
    static constexpr bool kAlpha = T::kAlpha;
    static constexpr int kAlphaAt = T::kAlpha ? T::kAlphaOffset : 0;
};

// Whole pixels of F as one unsigned word: 8-bit BGRA and GreyA, 16-bit
// BGRA and GreyA. Their channels split and join by shifts on unit-stride
// words, which every target widens well; strided byte access does not.
template <EQPixelFormat F>
using TPixelWord = std::conditional_t<
    TLayout<F>::kN * sizeof(typename TLayout<F>::E) == 2, uint16_t,
    std::conditional_t<TLayout<F>::kN * sizeof(typename TLayout<F>::E) == 4, uint32_t,
                       std::conditional_t<TLayout<F>::kN * sizeof(typename TLayout<F>::E) == 8, uint64_t, void>>>;

template <EQPixelFormat F>
inline constexpr bool kWordPixels = TLayout<F>::kAlpha && !std::is_void_v<TPixelWord<F>>;

// Lanes of the channels of F.
template <EQPixelFormat F>
using TLane = typename TDepth<typename TLayout<F>::E>::L;

// Channel arrays of m pixels of a row; an absent alpha reads F.
template <EQPixelFormat F, class Ln = TLane<F>>
[[gnu::noinline]] void Split(Ln (&out)[4][kBlock], const typename TLayout<F>::E* p, int m) noexcept {
    using L = TLayout<F>;
    using E = typename L::E;
    constexpr Ln kFull = TDepth<E>::kFull;
    if constexpr (kWordPixels<F>) {
        using W = TPixelWord<F>;
        constexpr int kBits = 8 * sizeof(E);
        const auto* bytes = reinterpret_cast<const uint8_t*>(p);
        for (int i = 0; i < m; ++i) {  // @vectorised
            W w;
            std::memcpy(&w, bytes + i * sizeof(W), sizeof(W));
            for (int c = 0; c < L::kColour; ++c) out[c][i] = Ln((w >> (kBits * c)) & kFull);
            out[3][i] = Ln((w >> (kBits * L::kAlphaAt)) & kFull);
        }
    } else {
        static_assert(!L::kAlpha, "formats with alpha are read as words");
        for (int c = 0; c < L::kColour; ++c)
            for (int i = 0; i < m; ++i) out[c][i] = p[i * L::kN + c];  // @vectorised
        std::fill_n(out[3], m, kFull);
    }
}

// The channel arrays back into m pixels of a row.
template <EQPixelFormat F, class Ln = TLane<F>>
[[gnu::noinline]] void Join(typename TLayout<F>::E* p, const Ln (&in)[4][kBlock], int m) noexcept {
    using L = TLayout<F>;
    using E = typename L::E;
    if constexpr (kWordPixels<F>) {
        using W = TPixelWord<F>;
        constexpr int kBits = 8 * sizeof(E);
        auto* bytes = reinterpret_cast<uint8_t*>(p);
        for (int i = 0; i < m; ++i) {  // @vectorised
            W w = W(W(in[3][i]) << (kBits * L::kAlphaAt));
            for (int c = 0; c < L::kColour; ++c) w = W(w | (W(in[c][i]) << (kBits * c)));
            std::memcpy(bytes + i * sizeof(W), &w, sizeof(W));
        }
    } else {
        for (int c = 0; c < L::kColour; ++c)
            for (int i = 0; i < m; ++i) p[i * L::kN + c] = E(in[c][i]);  // @vectorised
    }
}

// ---- Coverage ----------------------------------------------------------------------

// Coverage of every pixel from the opacity and the mask (k = M[m opacity]),
// in the depth's scale.
template <class E, class Ln = typename TDepth<E>::L>
[[gnu::noinline]] void MaskCoverage(TBlock<Ln>& blk, const uint8_t* mask, uint32_t opacity, int m) noexcept {
    constexpr uint32_t kWiden = sizeof(E) == 1 ? 1 : 257;
    for (int i = 0; i < m; ++i)  // @vectorised
        blk.k[i] = Ln(TDepth<uint8_t>::M(uint16_t(mask[i] * opacity)) * kWiden);
}

// Coverage from the blend ranges, per pixel, with `op` the opacity under the
// mask (the coverage array holds it on entry):
//   k = 255; sg, dg = (30 r + 59 g + 11 b) / 100 of the source and the destination
//   sa > 0 and the source grey consulted: k = srcGrey[sg]
//   da > 0 and the destination grey consulted: k = M[dstGrey[dg] k]
//   sa > 0: k = M[M[M[srcRed[r] k] srcGreen[g]] srcBlue[b]]
//   da = 0: k = M[k op], else k = M[M[M[M[dstRed[r] k] dstGreen[g]] dstBlue[b]] op]
// In three passes: the table indices (wide), the eight table reads per pixel
// (byte loads, which no target gathers well), and the products with their
// selects (wide, no branch). 16-bit channels index the tables by their
// nearest 8-bit value; the opacity arrives in 8 bits.
struct SRangeScratch {
    // source b, g, r, grey, destination b, g, r, grey, then source and destination alpha
    alignas(64) uint8_t idx[10][kBlock];
    alignas(64) uint16_t tv[8][kBlock];
};

// x / 100 = (x 5243) >> 19 for x <= 25500.
QGDI_PX_INLINE uint8_t GreyIndex(uint32_t b, uint32_t g, uint32_t r) noexcept {
    return uint8_t(((30 * r + 59 * g + 11 * b) * 5243u) >> 19);
}

template <class E>
QGDI_PX_INLINE uint32_t Byte(uint32_t v) noexcept {
    return sizeof(E) == 1 ? v : px::Narrow16(v);
}

// Indices of one side (0 source, 4 destination) straight from its row of words.
template <EQPixelFormat F>
[[gnu::noinline]] void RangeIndices(SRangeScratch& sc, int side, const uint8_t* row, int m) noexcept {
    using L = TLayout<F>;
    using E = typename L::E;
    using W = TPixelWord<F>;
    constexpr int kBits = 8 * sizeof(E);
    constexpr W kMask = W(TDepth<E>::kFull);
    constexpr int kG = L::kColour == 3 ? 1 : 0, kR = L::kColour == 3 ? 2 : 0;
    uint8_t* out[5] = {sc.idx[side], sc.idx[side + 1], sc.idx[side + 2], sc.idx[side + 3], sc.idx[8 + side / 4]};
    for (int i = 0; i < m; ++i) {  // @vectorised
        W w;
        std::memcpy(&w, row + i * sizeof(W), sizeof(W));
        const uint32_t b = Byte<E>(uint32_t(w & kMask)), g = Byte<E>(uint32_t((w >> (kBits * kG)) & kMask)),
                       r = Byte<E>(uint32_t((w >> (kBits * kR)) & kMask));
        out[0][i] = uint8_t(b), out[1][i] = uint8_t(g), out[2][i] = uint8_t(r);
        out[3][i] = GreyIndex(b, g, r);
        out[4][i] = uint8_t(Byte<E>(uint32_t((w >> (kBits * L::kAlphaAt)) & kMask)));
    }
}

// The same from the block's channel arrays, for rows that are not words.
template <class E, int kColour, class Ln>
[[gnu::noinline]] void RangeIndices(SRangeScratch& sc, const TBlock<Ln>& blk, int m) noexcept {
    constexpr int kG = kColour == 3 ? 1 : 0, kR = kColour == 3 ? 2 : 0;
    for (int side = 0; side < 2; ++side) {
        const Ln(&ch)[4][kBlock] = side ? blk.d : blk.s;
        for (int i = 0; i < m; ++i) {  // @vectorised
            const uint32_t b = Byte<E>(ch[0][i]), g = Byte<E>(ch[kG][i]), r = Byte<E>(ch[kR][i]);
            sc.idx[4 * side][i] = uint8_t(b), sc.idx[4 * side + 1][i] = uint8_t(g);
            sc.idx[4 * side + 2][i] = uint8_t(r), sc.idx[4 * side + 3][i] = GreyIndex(b, g, r);
            sc.idx[8 + side][i] = uint8_t(Byte<E>(ch[3][i]));
        }
    }
}

// The eight table reads of each pixel as plain byte loads: the vectoriser
// would emulate gathers with extracts and inserts, three times slower. A
// table that is 255 throughout (a slider left at its ends, the usual case
// for all but one or two of them) reads nothing.
[[gnu::noinline]] QGDI_SCALAR_LOOPS inline void LookUpRanges(SRangeScratch& sc,
                                                                               const rowop::SBlendMoxPrepared& prep,
                                                                               int m) noexcept {
    // the table of each read: srcBlue, srcGreen, srcRed, srcGrey, dstBlue, dstGreen, dstRed, dstGrey
    constexpr int kTable[8] = {3, 2, 1, 0, 8, 7, 6, 5};
    for (int t = 0; t < 8; ++t) {
        if (prep.rangeFull[kTable[t]]) continue;
        const uint8_t* table = prep.rangeBytes[kTable[t]];
        for (int i = 0; i < m; ++i) sc.tv[t][i] = table[sc.idx[t][i]];
    }
}

template <class E, class Ln>
[[gnu::noinline]] void RangeProducts(Ln* __restrict__ cover, const SRangeScratch& __restrict__ sc,
                                     const rowop::SBlendMoxPrepared& prep, int m) noexcept {
    using M8 = TDepth<uint8_t>;
    using V = uint16_t;
    const bool useSG = !prep.skipSrcGrey, useDG = !prep.skipDstGrey;
    const auto& tv = sc.tv;
    for (int i = 0; i < m; ++i) {  // @vectorised
        const V op = V(Byte<E>(cover[i]));
        const bool sa = sc.idx[8][i] != 0, da = sc.idx[9][i] != 0;
        // every read made whatever the pixel, then selected: a read under a
        // condition, or a short-circuit, would be a branch
        const V sb = tv[0][i], sg = tv[1][i], sr = tv[2][i], sgrey = tv[3][i];
        const V db = tv[4][i], dg = tv[5][i], dr = tv[6][i], dgrey = tv[7][i];
        V k = 255;
        k = (sa & useSG) ? sgrey : k;
        k = (da & useDG) ? M8::M(V(dgrey * k)) : k;
        k = sa ? M8::M(V(M8::M(V(M8::M(V(sr * k)) * sg)) * sb)) : k;
        const V kd = M8::M(V(M8::M(V(M8::M(V(M8::M(V(dr * k)) * dg)) * db)) * op));
        k = da ? kd : M8::M(V(k * op));
        cover[i] = Ln(sizeof(E) == 1 ? k : uint32_t(k) * 257);
    }
}

// ---- Colour-space modes: B per colour channel ----------------------------------------

// Shape of a colour: (c - min) / (max - min) per channel; grey has the shape of red.
QGDI_PX_INLINE void Shape(float r, float g, float b, float& sr, float& sg, float& sb) noexcept {
    const float hi = std::max(std::max(r, g), b), lo = std::min(std::min(r, g), b), d = hi - lo;
    const bool grey = !(d > 1e-6f);
    const float inv = 1.0f / (grey ? 1.0f : d);
    sr = grey ? 1.0f : (r - lo) * inv;
    sg = grey ? 0.0f : (g - lo) * inv;
    sb = grey ? 0.0f : (b - lo) * inv;
}

// Channel v pulled towards the grey y until it lies in 0..1: the factor that
// keeps it inside (1 when it already is).
QGDI_PX_INLINE float InsideFactor(float v, float y) noexcept {
    const float bound = v < 0.0f ? 0.0f : 1.0f, gap = v - y;
    const bool near = std::fabs(gap) < 1e-10f;
    const float f = near ? 0.5f : (bound - y) / (near ? 1.0f : gap);
    return v >= 0.0f && v <= 1.0f ? 1.0f : f;
}

template <class Mode, class E, class Ln = typename TDepth<E>::L>
[[gnu::noinline]] void ApplyColourSpace(TBlock<Ln>& blk, int m) noexcept {
    using Dp = TDepth<E>;
    constexpr float kInv = 1.0f / float(Dp::kFull), kOut = float(Dp::kFull) + 0.9999f;
    constexpr float kLr = 0.299f, kLg = 0.587f, kLb = 0.114f;
    for (int i = 0; i < m; ++i) {  // @vectorised
        const float db = float(blk.d[0][i]) * kInv, dg = float(blk.d[1][i]) * kInv, dr = float(blk.d[2][i]) * kInv;
        const float sb = float(blk.s[0][i]) * kInv, sg = float(blk.s[1][i]) * kInv, sr = float(blk.s[2][i]) * kInv;
        const float hr = Mode::kHueFrom ? sr : dr, hg = Mode::kHueFrom ? sg : dg, hb = Mode::kHueFrom ? sb : db;
        const float qr = Mode::kSatFrom ? sr : dr, qg = Mode::kSatFrom ? sg : dg, qb = Mode::kSatFrom ? sb : db;
        const float lr = Mode::kLumFrom ? sr : dr, lg = Mode::kLumFrom ? sg : dg, lb = Mode::kLumFrom ? sb : db;
        float shr, shg, shb;
        Shape(hr, hg, hb, shr, shg, shb);
        const float qhi = std::max(std::max(qr, qg), qb), qlo = std::min(std::min(qr, qg), qb), chroma = qhi - qlo;
        float r, g, b;
        if constexpr (Mode::kHSL) {
            // saturation d / (max + min) in the lower half, d / (2 - max - min) in the upper
            const float qsum = qhi + qlo;
            const float den = qsum <= 1.0f ? qsum : 2.0f - qsum;
            const float sat = chroma > 1e-6f ? std::min(chroma / (den > 0.0f ? den : 1.0f), 1.0f) : 0.0f;
            const float L = (std::max(std::max(lr, lg), lb) + std::min(std::min(lr, lg), lb)) * 0.5f;
            const float m2 = L <= 0.5f ? L * (1.0f + sat) : L + sat - L * sat, m1 = 2.0f * L - m2;
            r = m1 + (m2 - m1) * shr, g = m1 + (m2 - m1) * shg, b = m1 + (m2 - m1) * shb;
        } else {
            // the hue at the chroma, shifted to the luma, pulled inside towards the luma's grey
            const float Y = kLr * lr + kLg * lg + kLb * lb;
            r = shr * chroma, g = shg * chroma, b = shb * chroma;
            const float shift = Y - (kLr * r + kLg * g + kLb * b);
            r += shift, g += shift, b += shift;
            const float y = std::min(std::max(Y, 0.0f), 1.0f);
            const float f = std::min(std::min(InsideFactor(r, y), InsideFactor(g, y)), InsideFactor(b, y));
            r = y + (r - y) * f, g = y + (g - y) * f, b = y + (b - y) * f;
        }
        auto quantise = [&](float v) { return Ln(std::min(std::max(v * kOut, 0.0f), float(Dp::kFull))); };
        const Ln k = blk.k[i];
        blk.b[0][i] = Mix<Dp>(quantise(b), blk.d[0][i], k);
        blk.b[1][i] = Mix<Dp>(quantise(g), blk.d[1][i], k);
        blk.b[2][i] = Mix<Dp>(quantise(r), blk.d[2][i], k);
    }
}

// ---- Composite step -----------------------------------------------------------------

template <class Mode, class Dp>
concept CSeparable = requires(typename Dp::L v) {
    Mode::template F<Dp>(v, v, v);
};

template <class Mode>
inline constexpr bool kColourSpace = requires {
    Mode::kColourOnly;
};

// (Y (65536 - r) + X r + 32768) >> 16 with r = w / A in 16.16, rounded. The
// ratio's numerator stays below 2^24, so its float quotient is exact enough
// never to cross an integer: it equals the alpha-ratio table without reading it.
// Signed conversions: every target has them as one instruction.
QGDI_PX_INLINE uint32_t Ratio8(uint32_t w, uint32_t A) noexcept {
    const int32_t num = int32_t(w * 65536 + (A >> 1)), den = int32_t(std::max(A, 1u));
    return uint32_t(int32_t(float(num) / float(den)));
}

// The dissolve pattern: the source, opaque, where the pattern lies below a = M[sa k].
template <EQPixelFormat D, class Ln = TLane<D>>
[[gnu::noinline]] void Dissolve(TBlock<Ln>& __restrict__ blk, int m, bool preserveAlpha, const uint8_t* dissolveRow,
                                int x) noexcept {
    using L = TLayout<D>;
    using E = typename L::E;
    using Dp = TDepth<E>;
    const Ln keepAlpha = preserveAlpha || !L::kAlpha ? Ln(~Ln(0)) : Ln(0);
    // the pattern under the block, read apart so that the loop below has unit strides only
    Ln threshold[kBlock];
    for (int i = 0; i < m; ++i) threshold[i] = dissolveRow[(x + i) & (kDissolveSize - 1)];
    for (int i = 0; i < m; ++i) {  // @vectorised(avx2, avx512)
        const Ln a = Dp::M(Ln(blk.s[3][i] * blk.k[i]));
        const bool show = threshold[i] < (sizeof(E) == 1 ? a : Ln(px::Narrow16(a)));
        for (int c = 0; c < L::kColour; ++c) blk.d[c][i] = show ? blk.s[c][i] : blk.d[c][i];
        const Ln da = blk.d[3][i];
        blk.d[3][i] = show ? Ln((Dp::kFull & ~keepAlpha) | (da & keepAlpha)) : da;
    }
}

enum class EComposite { kMode, kNormal, kBehind };

// The composite of every pixel into blk.d, which Join then writes back. The
// separable modes' rule runs here, inline, so that B never leaves a register.
template <class Mode, EQPixelFormat D, EComposite kRule, class Ln = TLane<D>>
[[gnu::noinline]] void Composite(TBlock<Ln>& __restrict__ blk, int m, bool preserveAlpha) noexcept {
    using L = TLayout<D>;
    using E = typename L::E;
    using Dp = TDepth<E>;
    using U = uint32_t;
    constexpr Ln kF = Dp::kFull;
    const Ln keepAlpha = preserveAlpha || !L::kAlpha ? Ln(~Ln(0)) : Ln(0);
    for (int i = 0; i < m; ++i) {  // @vectorised
        const Ln sa = blk.s[3][i], da = blk.d[3][i], k = blk.k[i];
        const Ln a = Dp::M(Ln(sa * k));
        const Ln A = Ln(Dp::M(Ln(Ln(kF - da) * a)) + da);
        const Ln w = kRule == EComposite::kBehind ? da : a;  // the weight of X in the mix
        [[maybe_unused]] const U r = sizeof(E) == 1 ? Ratio8(w, A) : 0;
        [[maybe_unused]] const double Ad = double(std::max(U(A), U(1)));
        for (int c = 0; c < L::kColour; ++c) {
            const Ln d = blk.d[c][i], s = blk.s[c][i];
            Ln X, Y;
            if constexpr (kRule == EComposite::kNormal) X = s, Y = d;
            else if constexpr (kRule == EComposite::kBehind) X = d, Y = s;
            else {
                Ln B;
                if constexpr (CSeparable<Mode, Dp>) B = Mode::template F<Dp>(d, s, k);
                else B = blk.b[c][i];
                X = Dp::M(Ln(Ln(B * da) + Ln(s * Ln(kF - da))));
                Y = Dp::M(Ln(Ln(d * Ln(kF - sa)) + Ln(B * sa)));
            }
            Ln out;
            if constexpr (sizeof(E) == 1) {
                out = Ln((U(Y) * (65536 - r) + U(X) * r + 32768) >> 16);
            } else {
                // round(Y + (X - Y) w / A), exactly: the numerator stays below 2^33 and fits a double
                out = Ln((double(Y) * double(A - w) + double(X) * double(w) + double(A >> 1)) / Ad);
            }
            blk.d[c][i] = a == 0 ? d : out;
        }
        blk.d[3][i] = Ln((A & ~keepAlpha) | (da & keepAlpha));
    }
}

// The same composite straight from whole-pixel words to whole-pixel words,
// for rows whose pixels are words on both sides (BGRA, GreyA at either
// depth): the channels never pass through the block's arrays, which for the
// cheap rules costs more than the rule.
template <class Mode, EQPixelFormat D, EQPixelFormat S, EComposite kRule, class Ln = TLane<D>>
[[gnu::noinline]] void CompositeWords(typename TLayout<D>::E* __restrict__ dst,
                                      const typename TLayout<S>::E* __restrict__ src, const Ln* __restrict__ cover,
                                      int m, bool preserveAlpha) noexcept {
    using L = TLayout<D>;
    using E = typename L::E;
    using Dp = TDepth<E>;
    using W = TPixelWord<D>;
    using U = uint32_t;
    static_assert(std::is_same_v<W, TPixelWord<S>>);
    // The modes' rules need the narrow lanes; normal and behind have no
    // products of two channels, and in narrow lanes the compiler would keep
    // their channels as bytes, beside which it cannot widen the ratio's float.
    using Lw = std::conditional_t<kRule == EComposite::kMode, Ln, U>;
    auto M = [](Lw p) -> Lw {
        if constexpr (std::is_same_v<Lw, Ln>) return Dp::M(p);
        else if constexpr (sizeof(E) == 1) return ((p + 129) * 257) >> 16;
        else return px::Div65535(p);
    };
    constexpr int kBits = 8 * sizeof(E);
    constexpr Lw kF = Dp::kFull;
    const Lw keepAlpha = preserveAlpha ? Lw(~Lw(0)) : Lw(0);
    auto* out = reinterpret_cast<uint8_t*>(dst);
    const auto* in = reinterpret_cast<const uint8_t*>(src);
    for (int i = 0; i < m; ++i) {  // @vectorised
        W dw, sw;
        std::memcpy(&dw, out + i * sizeof(W), sizeof(W));
        std::memcpy(&sw, in + i * sizeof(W), sizeof(W));
        const Lw sa = Lw((sw >> (kBits * L::kAlphaAt)) & kF), da = Lw((dw >> (kBits * L::kAlphaAt)) & kF);
        const Lw k = cover[i];
        const Lw a = M(Lw(sa * k));
        const Lw A = Lw(M(Lw(Lw(kF - da) * a)) + da);
        const Lw w = kRule == EComposite::kBehind ? da : a;
        [[maybe_unused]] const U r = sizeof(E) == 1 ? Ratio8(w, A) : 0;
        [[maybe_unused]] const double Ad = double(std::max(U(A), U(1)));
        W result = W(W(Lw((A & ~keepAlpha) | (da & keepAlpha))) << (kBits * L::kAlphaAt));
        for (int c = 0; c < L::kColour; ++c) {
            const Lw d = Lw((dw >> (kBits * c)) & kF), s = Lw((sw >> (kBits * c)) & kF);
            Lw X, Y;
            if constexpr (kRule == EComposite::kNormal) X = s, Y = d;
            else if constexpr (kRule == EComposite::kBehind) X = d, Y = s;
            else {
                const Lw B = Mode::template F<Dp>(d, s, k);
                X = M(Lw(Lw(B * da) + Lw(s * Lw(kF - da))));
                Y = M(Lw(Lw(d * Lw(kF - sa)) + Lw(B * sa)));
            }
            Lw o;
            if constexpr (sizeof(E) == 1) o = Lw((U(Y) * (65536 - r) + U(X) * r + 32768) >> 16);
            else o = Lw((double(Y) * double(A - w) + double(X) * double(w) + double(A >> 1)) / Ad);
            result = W(result | (W(a == 0 ? d : o) << (kBits * c)));
        }
        std::memcpy(out + i * sizeof(W), &result, sizeof(W));
    }
}

// ---- The kernel ---------------------------------------------------------------------

template <class Mode>
constexpr EComposite CompositeRule() noexcept {
    if constexpr (std::is_same_v<Mode, SNormal>) return EComposite::kNormal;
    else if constexpr (std::is_same_v<Mode, SBehind>) return EComposite::kBehind;
    else return EComposite::kMode;
}

template <class Mode, EQPixelFormat D, EQPixelFormat S>
struct TBlendMoxKernel {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using LD = TLayout<D>;
        using LS = TLayout<S>;
        using E = typename LD::E;
        using Ln = TLane<D>;
        static_assert(std::is_same_v<E, typename LS::E> && LD::kColour == LS::kColour);
        constexpr bool kDissolve = std::is_same_v<Mode, SDissolve>;
        if (!data.pSrc || !data.pDst) return;
        std::optional<rowop::SBlendMoxPrepared> local;
        const auto& prep = rowop::PreparedFor<rowop::SBlendMoxPrepared, D, S>(def, data, local);
        const uint8_t* dissolveRow = nullptr;
        if constexpr (kDissolve) {
            const auto* table = GetDissolveTable();
            if (!table) return;
            dissolveRow = table[data.y & (kDissolveSize - 1)];
        }
        auto* dst = reinterpret_cast<E*>(data.pDst);
        const auto* src = reinterpret_cast<const E*>(data.pSrc);
        const uint8_t* mask = data.pMask;
        const int n = data.nCount;
        TBlock<Ln> blk;
        SRangeScratch ranges;
        if (prep.ranges)
            for (int t = 0; t < 8; ++t) std::fill_n(ranges.tv[t], kBlock, uint16_t(255));
        constexpr bool kWords = kWordPixels<D> && kWordPixels<S> && !kDissolve && !kColourSpace<Mode>;
        for (int i0 = 0; i0 < n; i0 += kBlock) {
            const int m = std::min(kBlock, n - i0);
            E* p = dst + i0 * LD::kN;
            const E* s = src + i0 * LS::kN;
            if (mask) MaskCoverage<E>(blk, mask + i0, prep.opacity8, m);
            else if (i0 == 0 || prep.ranges) std::fill_n(blk.k, std::min(kBlock, n), Ln(prep.coverage));
            if constexpr (kWords) {
                if (prep.ranges) {
                    RangeIndices<S>(ranges, 0, reinterpret_cast<const uint8_t*>(s), m);
                    RangeIndices<D>(ranges, 4, reinterpret_cast<const uint8_t*>(p), m);
                    LookUpRanges(ranges, prep, m);
                    RangeProducts<E>(blk.k, ranges, prep, m);
                }
                CompositeWords<Mode, D, S, CompositeRule<Mode>()>(p, s, blk.k, m, prep.preserveAlpha);
                continue;
            }
            Split<D>(blk.d, p, m);
            Split<S>(blk.s, s, m);
            if (prep.ranges) {
                RangeIndices<E, LD::kColour>(ranges, blk, m);
                LookUpRanges(ranges, prep, m);
                RangeProducts<E>(blk.k, ranges, prep, m);
            }
            if constexpr (kDissolve) {
                Dissolve<D>(blk, m, prep.preserveAlpha, dissolveRow, data.x + i0);
            } else {
                if constexpr (kColourSpace<Mode>) ApplyColourSpace<Mode, E>(blk, m);
                Composite<Mode, D, CompositeRule<Mode>()>(blk, m, prep.preserveAlpha);
            }
            Join<D>(p, blk.d, m);
        }
    }
};

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::blend
