#include "QuorRender/RowOpArithmetic.h"

#include <algorithm>
#include <cmath>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kArithmeticPairs[] = {
    {keFormatBGRxA, keFormatBGRxA},
    {keFormatBGRA, keFormatBGRA},
    {keFormatGrey, keFormatGrey},
    {keFormatBGRxA_f32, keFormatBGRxA_f32},
};
static_assert(std::size(kArithmeticPairs) == 4);

inline constexpr SQFormatPair kMulPlusPairs[] = {
    {keFormatBGRA, keFormatBGRA},
    {keFormatGrey, keFormatGrey},
    {keFormatBGRA_u16, keFormatBGRA_u16},
    {keFormatBGRA_f32, keFormatBGRA_f32},
};
static_assert(std::size(kMulPlusPairs) == 4);

inline constexpr SQFormatPair kHighPassPairs[] = {
    {keFormatGrey, keFormatGrey},         {keFormatGreyA, keFormatGreyA},       {keFormatBGR, keFormatBGR},
    {keFormatBGRA, keFormatBGRA},         {keFormatGrey_u16, keFormatGrey_u16}, {keFormatBGR_u16, keFormatBGR_u16},
    {keFormatBGRA_u16, keFormatBGRA_u16}, {keFormatBGRA_f32, keFormatBGRA_f32},
};
static_assert(std::size(kHighPassPairs) == 8);

// Runs body(d, s, count) over the elements of both rows, all channels alike.
template <EQPixelFormat D, class Body>
void ForElements(CRowOpData& data, Body&& body) {
    if (!data.pSrc) return;
    using E = typename TQPixelFormat<D>::Elem;
    ForSpans<D, D>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
        body(reinterpret_cast<E*>(dst), reinterpret_cast<const E*>(src), n * TQPixelFormat<D>::kChannels);
    });
}

// The byte rule r = k1 (s d / 255) + k2 s + k3 d + k4 255, saturated, with
// the constants in 12 fractional bits: K = round(k 4096), |K| <= 2^16, and K4
// carries the rounding half. Every term fits int32.
struct SArithmeticBytes {
    int32_t k[4];
    // The wide targets multiply 32-bit lanes in one instruction; SSE2 has only
    // 16 x 16-bit multiplies, so for it each K is split as 4 Kh + Kl with Kh
    // in int16 and Kl in 0..3: the Kh products widen to 32 bits, the Kl ones
    // (at most 3 x 3 x 255 together) stay in 16.
    int16_t hi[3];
    int16_t lo[3];

    explicit SArithmeticBytes(const double (&kd)[4]) noexcept {
        for (int i = 0; i < 3; ++i) {
            k[i] = int32_t(std::lround(kd[i] * 4096));
            hi[i] = int16_t(k[i] >> 2);  // floor(K / 4): -16384..16384
            lo[i] = int16_t(k[i] & 3);
        }
        k[3] = int32_t(std::lround(kd[3] * 4096 * 255)) + 2048;
    }
};

inline uint8_t SaturateByte(int32_t v) noexcept { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); }

// n bytes of d through the rule with source bytes s.
void ArithmeticBytes(uint8_t* d, const uint8_t* s, int n, const SArithmeticBytes& k) noexcept {
    const int32_t k0 = k.k[0], k1 = k.k[1], k2 = k.k[2], k3 = k.k[3];
    if constexpr (kWideVectors) {
        for (int i = 0; i < n; ++i) {  // @vectorised(avx2, avx512)
            const int32_t sv = s[i], dv = d[i];
            const int32_t sd = Div255u16(uint16_t(sv * dv));
            d[i] = SaturateByte((k0 * sd + k1 * sv + k2 * dv + k3) >> 12);
        }
    } else {
        const int16_t h0 = k.hi[0], h1 = k.hi[1], h2 = k.hi[2], l0 = k.lo[0], l1 = k.lo[1], l2 = k.lo[2];
        for (int i = 0; i < n; ++i) {  // @vectorised(baseline)
            const int16_t sv = s[i], dv = d[i];
            const int16_t sd = int16_t(Div255u16(uint16_t(sv * dv)));
            const int32_t hi = int32_t(h0) * sd + int32_t(h1) * sv + int32_t(h2) * dv;
            const int16_t lo = int16_t(l0 * sd + l1 * sv + l2 * dv);
            d[i] = SaturateByte((hi * 4 + lo + k3) >> 12);
        }
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowArithmetic {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        const auto& op = static_cast<const CRowOpDefRowArithmetic&>(def);
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        double k[4];
        for (int i = 0; i < 4; ++i) k[i] = std::clamp(op.GetK(i), -16.0, 16.0);
        if (!data.pSrc) return;
        const SArithmeticBytes bytes(k);
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            E* d = reinterpret_cast<E*>(dst);
            const E* s = reinterpret_cast<const E*>(src);
            if constexpr (sizeof(E) == 1) {
                ArithmeticBytes(d, s, n * T::kChannels, bytes);
            } else {
                const float f1 = float(k[0]), f2 = float(k[1]), f3 = float(k[2]), f4 = float(k[3]);
                for (int i = 0; i < n * T::kChannels; ++i) {  // @vectorised
                    d[i] = Saturate<E>(f1 * s[i] * d[i] + f2 * s[i] + f3 * d[i] + f4);
                }
            }
            if constexpr (T::kPremultiplied) {
                // premultiplied colour cannot exceed its alpha
                for (int i = 0; i < n; ++i)  // @vectorised
                    for (int c = 0; c < 3; ++c) d[4 * i + c] = std::min(d[4 * i + c], d[4 * i + 3]);
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowMulEqual {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using E = typename TQPixelFormat<D>::Elem;
        ForElements<D>(data, [](E* d, const E* s, int n) {
            // d = d s / full
            for (int i = 0; i < n; ++i) {  // @vectorised
                if constexpr (kIsFloat<E>) d[i] = d[i] * s[i];
                else if constexpr (sizeof(E) == 1) d[i] = static_cast<E>(Div255u16(uint16_t(d[i] * s[i])));
                else d[i] = static_cast<E>(Div65535(uint32_t(d[i]) * s[i]));
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowPlusEqual {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using E = typename TQPixelFormat<D>::Elem;
        ForElements<D>(data, [](E* d, const E* s, int n) {
            // d = min(full, d + s)
            if constexpr (kIsFloat<E>) {
                for (int i = 0; i < n; ++i) d[i] = Saturate<E>(d[i] + s[i]);  // @vectorised
            } else {
                // min(d, full - s) + s never leaves the element type, so the loop
                // runs in byte or word lanes instead of widening to 32 bits.
                for (int i = 0; i < n; ++i) d[i] = E(std::min<E>(d[i], E(kFull<E> - s[i])) + s[i]);  // @vectorised
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct THighPass {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        // Half scale: 128 for bytes, 32768 for words, 0.5 for floats.
        constexpr TWork<E> kHalf = kIsFloat<E> ? TWork<E>(0.5f) : TWork<E>((kFull<E> + 1) / 2);
        ForElements<D>(data, [](E* d, const E* s, int count) {
            constexpr int kN = T::kChannels;
            // d = clamp(s - d + half); alpha = s
            if constexpr (kIsFloat<E>) {
                for (int i = 0; i < count; i += kN)  // @vectorised
                    for (int c = 0; c < kN; ++c) {
                        const bool alpha = T::kAlpha && c == T::kAlphaOffset;
                        d[i + c] = alpha ? s[i + c] : Saturate<E>(s[i + c] - d[i + c] + kHalf);
                    }
            } else {
                // One flat loop with the alpha lane picked by its index: as nested
                // per-channel loops the integer forms vectorise into shuffles that
                // cost AVX-512 more than they save.
                for (int i = 0; i < count; ++i) {  // @vectorised
                    const bool alpha = T::kAlpha && i % kN == T::kAlphaOffset;
                    if constexpr (sizeof(E) == 1) {
                        // -127..383 fits 16-bit lanes, eight channels to a register
                        const int16_t v = int16_t(s[i] - d[i] + 128);
                        d[i] = alpha ? s[i] : E(std::min<int16_t>(std::max<int16_t>(v, 0), 255));
                    } else {
                        d[i] = alpha ? s[i] : Saturate<E>(TWork<E>(s[i]) - TWork<E>(d[i]) + kHalf);
                    }
                }
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowArithmeticDict() noexcept {
    return qgdi::rowop::kDict<kArithmeticPairs, TRowArithmetic>.data();
}
const SRowOpDictEntry* GetRowMulEqualDict() noexcept { return qgdi::rowop::kDict<kMulPlusPairs, TRowMulEqual>.data(); }
const SRowOpDictEntry* GetRowPlusEqualDict() noexcept {
    return qgdi::rowop::kDict<kMulPlusPairs, TRowPlusEqual>.data();
}
const SRowOpDictEntry* GetHighPassDict() noexcept { return qgdi::rowop::kDict<kHighPassPairs, THighPass>.data(); }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowArithmeticDict)
QGDI_DISPATCHED_DICT(GetRowMulEqualDict)
QGDI_DISPATCHED_DICT(GetRowPlusEqualDict)
QGDI_DISPATCHED_DICT(GetHighPassDict)
#endif  // QGDI_BASELINE_PASS
