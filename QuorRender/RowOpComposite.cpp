#include "QuorRender/RowOpComposite.h"

#include <cstring>
#include <optional>

#include "QuorRender/DivTable2.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowOpPrepared.h"
#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/pixel/IndexedPixels.h"
#include "qdibcore/Source/internal/pixel/Pixel.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;

inline constexpr SQFormatPair kMaskOverSolidPairs[] = {
    {keFormatGrey, keFormatNone},     {keFormatGreyA, keFormatNone}, {keFormatBGR, keFormatNone},
    {keFormatBGRA, keFormatNone},     {keFormatBGRxA, keFormatNone}, {keFormatBGR_u16, keFormatNone},
    {keFormatBGRA_u16, keFormatNone},
};
static_assert(std::size(kMaskOverSolidPairs) == 7);

inline constexpr SQFormatPair kBlendSolidPairs[] = {
    {keFormatGrey, keFormatNone},  {keFormatBGR, keFormatNone},      {keFormatBGRA, keFormatNone},
    {keFormatBGRxA, keFormatNone}, {keFormatBGRA_u16, keFormatNone}, {keFormatBGRA_f32, keFormatNone},
};
static_assert(std::size(kBlendSolidPairs) == 6);

inline constexpr SQFormatPair kErasePairs[] = {
    {keFormatGreyA, keFormatNone},    {keFormatBGRA, keFormatNone},     {keFormatBGRxA, keFormatNone},
    {keFormatBGRA_u16, keFormatNone}, {keFormatBGRA_f32, keFormatNone},
};
static_assert(std::size(kErasePairs) == 5);

inline constexpr SQFormatPair kBlendIndexedPairs[] = {
    {keFormatBGRA, keFormatIndex8},
    {keFormatBGRA, keFormatIndex8A},
};
static_assert(std::size(kBlendIndexedPairs) == 2);

// Calls f(mask) once; the two calls inline as two loops, so that the one
// without a mask does not test for it per pixel.
template <class F>
inline void SplitOnMask(const uint8_t* mask, F&& f) {
    if (mask) f(mask);
    else f(nullptr);
}

// Source-over of straight colour s with alpha a (0..255) onto pixel d, in the
// pixel's own storage (straight, premultiplied or without alpha).
template <EQPixelFormat D>
inline void Over(typename TPx<D>::C& d, const typename TPx<D>::C& s, uint32_t a,
                 const uint32_t (*ratio)[256]) noexcept {
    using P = TPx<D>;
    using W = typename P::W;
    constexpr bool kAlpha = P::Traits::kAlpha, kPremul = P::Traits::kPremultiplied;
    if constexpr (sizeof(typename P::E) == 1) {
        const uint32_t na = 255 - a;
        if constexpr (!kAlpha) {
            // d = (d (255 - a) + s a) / 255
            d.b = W(Div255(d.b * na + s.b * a)), d.g = W(Div255(d.g * na + s.g * a)),
            d.r = W(Div255(d.r * na + s.r * a));
        } else if constexpr (kPremul) {
            // d = s a / 255 + d (255 - a) / 255, alpha likewise with s.a = 255
            d.b = W(Div255(s.b * a + d.b * na)), d.g = W(Div255(s.g * a + d.g * na)),
            d.r = W(Div255(s.r * a + d.r * na));
            d.a = W(a + Div255(d.a * na));
        } else {
            // A = a + da (255 - a) / 255; colour moves towards s by w = a / A (16.16, <= 65536)
            const uint32_t A = a + Div255(na * d.a);
            const uint32_t w = ratio[a][A];
            const uint32_t nw = 65536 - w;
            d.b = W((d.b * nw + s.b * w + 32768) >> 16);
            d.g = W((d.g * nw + s.g * w + 32768) >> 16);
            d.r = W((d.r * nw + s.r * w + 32768) >> 16);
            d.a = W(A);
        }
    } else {
        // the same in float: a in 0..1, channels in their own scale
        const float af = a * (1.0f / 255.0f), full = static_cast<float>(P::kMax);
        const float round = kIsFloat<typename P::E> ? 0.0f : 0.5f;
        auto mix = [&](W from, W to, float w) { return W(from + (to - from) * w + round); };
        if constexpr (!kAlpha) {
            d.b = mix(d.b, s.b, af), d.g = mix(d.g, s.g, af), d.r = mix(d.r, s.r, af);
        } else if constexpr (kPremul) {
            d.b = W(s.b * af + d.b * (1 - af) + round), d.g = W(s.g * af + d.g * (1 - af) + round);
            d.r = W(s.r * af + d.r * (1 - af) + round), d.a = W(full * af + d.a * (1 - af) + round);
        } else {
            const float A = af + (1 - af) * (d.a / full);
            const float w = A > 0 ? af / A : 0;
            d.b = mix(d.b, s.b, w), d.g = mix(d.g, s.g, w), d.r = mix(d.r, s.r, w);
            d.a = W(A * full + round);
        }
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowMaskOverSolid {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using P = TPx<D>;
        std::optional<qgdi::rowop::SSolidOverPrepared> local;
        const auto& prep = qgdi::rowop::PreparedFor<qgdi::rowop::SSolidOverPrepared, D, S>(def, data, local);
        typename P::C colour;
        if constexpr (kIsFloat<typename P::E>)
            colour = {prep.colourF[0], prep.colourF[1], prep.colourF[2], prep.colourF[3]};
        else colour = {prep.colour[0], prep.colour[1], prep.colour[2], prep.colour[3]};
        const uint32_t(*ratio)[256] = P::Traits::kAlpha && !P::Traits::kPremultiplied ? GetAlphaRatioTable() : nullptr;
        if (P::Traits::kAlpha && !P::Traits::kPremultiplied && !ratio) return;
        // a = colour alpha x coverage, tabulated by mask byte
        const uint8_t* alphaOf = prep.alphaOf;
        const uint32_t alpha = prep.alpha;
        auto over = [&](const uint8_t* mask) {
            auto* p = reinterpret_cast<typename P::E*>(data.pDst);
            const int n = data.nCount;
            for (int i = 0; i < n; ++i, p += P::kN) {
                const uint32_t a = mask ? alphaOf[mask[i]] : alpha;
                // a byte pixel under a = 0 comes out unchanged, so it needs no branch
                if constexpr (sizeof(typename P::E) != 1)
                    if (a == 0) continue;
                typename P::C d = P::LoadRaw(p);
                Over<D>(d, colour, a, ratio);
                P::StoreRaw(p, d);
            }
        };
        SplitOnMask(data.pMask, over);
    }
};

// Runs body(i, coverage) over the pixels; without a mask the coverage is a
// constant, so the loop carries no per-pixel branch and vectorises.
template <class Body>
inline void ForCoverage(const CRowOpData& data, uint32_t opacity, Body&& body) {
    // locals, because byte stores through the row could alias the record
    const int n = data.nCount;
    const uint8_t* mask = data.pMask;
    if (mask) {
        for (int i = 0; i < n; ++i) body(i, Div255(uint32_t(mask[i]) * opacity));
    } else {
        for (int i = 0; i < n; ++i) body(i, opacity);
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowBlendSolid {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        const auto& op = static_cast<const CRowOpDefRowBlendSolid&>(def);
        std::optional<qgdi::rowop::SBlendSolidPrepared> local;
        E pixel[4];
        std::memcpy(pixel, qgdi::rowop::PreparedFor<qgdi::rowop::SBlendSolidPrepared, D, S>(def, data, local).pixel,
                    sizeof pixel);
        E* d = reinterpret_cast<E*>(data.pDst);
        ForCoverage(data, op.GetOpacity(), [&](int i, uint32_t t) {
            for (int c = 0; c < T::kChannels; ++c) {
                E& v = d[i * T::kChannels + c];
                // d = d + (P - d) t / 255
                if constexpr (kIsFloat<E>) v = v + (pixel[c] - v) * (t * (1.0f / 255.0f));
                else if constexpr (sizeof(E) == 1)
                    v = E(Div255u16(uint16_t(v * uint16_t(255 - t) + pixel[c] * uint16_t(t))));
                else v = E(Div65535(uint32_t(v) * (65535 - t * 257) + uint32_t(pixel[c]) * (t * 257)));
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowErase {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        E* d = reinterpret_cast<E*>(data.pDst);
        ForCoverage(data, static_cast<const CRowOpDefRowErase&>(def).GetOpacity(), [&](int i, uint32_t t) {
            // keep = 1 - t; a = a keep (every channel when premultiplied)
            const uint32_t keep = 255 - t;
            for (int c = 0; c < T::kChannels; ++c) {
                if (!T::kPremultiplied && c != T::kAlphaOffset) continue;
                E& v = d[i * T::kChannels + c];
                if constexpr (kIsFloat<E>) v = v * (keep * (1.0f / 255.0f));
                else if constexpr (sizeof(E) == 1) v = E(Div255(v * keep));
                else v = E(Div65535(uint32_t(v) * (keep * 257)));
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowBlendIndexedBGRA {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        using P = TPx<D>;
        const uint32_t opacity = static_cast<const CRowOpDefRowBlendIndexedBGRA&>(def).GetOpacity();
        const uint32_t(*ratio)[256] = GetAlphaRatioTable();
        if (!ratio) return;
        // The palette belongs to the row, not to the binding, so it is read per call.
        const SPaletteLUT lut(data.pSrcPalette, data.nSrcPaletteCount);
        std::optional<qgdi::rowop::SCoveragePrepared> local;
        const uint8_t* coverageOf =
            qgdi::rowop::PreparedFor<qgdi::rowop::SCoveragePrepared, D, S>(def, data, local).coverageOf;
        auto over = [&](const uint8_t* mask) {
            auto* p = reinterpret_cast<typename P::E*>(data.pDst);
            const uint8_t* src = data.pSrc;
            const int n = data.nCount;
            for (int i = 0; i < n; ++i, p += P::kN) {
                // a = source alpha x coverage; s = palette[index]; a = 0 leaves the byte pixel as it is
                const uint32_t sa = S == keFormatIndex8A ? src[2 * i + 1] : 255;
                const uint32_t a = Div255(sa * (mask ? coverageOf[mask[i]] : opacity));
                const uint32_t w = lut.bgra[IndexAt<S>(src, i)];
                const typename P::C s{int32_t(w & 255), int32_t((w >> 8) & 255), int32_t((w >> 16) & 255), 255};
                typename P::C d = P::LoadRaw(p);
                Over<D>(d, s, a, ratio);
                P::StoreRaw(p, d);
            }
        };
        SplitOnMask(data.pMask, over);
    }
};

}  // namespace

const SRowOpDictEntry* GetRowMaskOverSolidDict() noexcept {
    return qgdi::rowop::kDict<kMaskOverSolidPairs, TRowMaskOverSolid>.data();
}
const SRowOpDictEntry* GetRowBlendSolidDict() noexcept {
    return qgdi::rowop::kDict<kBlendSolidPairs, TRowBlendSolid>.data();
}
const SRowOpDictEntry* GetRowEraseDict() noexcept { return qgdi::rowop::kDict<kErasePairs, TRowErase>.data(); }
const SRowOpDictEntry* GetRowBlendIndexedBGRADict() noexcept {
    return qgdi::rowop::kDict<kBlendIndexedPairs, TRowBlendIndexedBGRA>.data();
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowMaskOverSolidDict)
QGDI_DISPATCHED_DICT(GetRowBlendSolidDict)
QGDI_DISPATCHED_DICT(GetRowEraseDict)
QGDI_DISPATCHED_DICT(GetRowBlendIndexedBGRADict)
#endif  // QGDI_BASELINE_PASS
