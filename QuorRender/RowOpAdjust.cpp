// Invert, per-channel gain and offset, lith threshold and colour replacement.
#include "QuorRender/RowOpAdjust.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kInvertPairs[] = {
    {keFormatGrey, keFormatNone},  {keFormatBGR, keFormatNone},      {keFormatBGRA, keFormatNone},
    {keFormatBGRxA, keFormatNone}, {keFormatBGRA_u16, keFormatNone},
};
static_assert(std::size(kInvertPairs) == 5);

inline constexpr SQFormatPair kRGBAdjustPairs[] = {
    {keFormatBGR, keFormatNone},
    {keFormatBGRA, keFormatNone},
    {keFormatBGRA_u16, keFormatNone},
    {keFormatBGRA_f32, keFormatNone},
};
static_assert(std::size(kRGBAdjustPairs) == 4);

inline constexpr SQFormatPair kKodalithPairs[] = {
    {keFormatGrey, keFormatNone},
    {keFormatBGRA, keFormatNone},
};
static_assert(std::size(kKodalithPairs) == 2);

inline constexpr SQFormatPair kReplaceColorPairs[] = {
    {keFormatGrey, keFormatNone},
    {keFormatBGR, keFormatNone},
    {keFormatBGRA, keFormatNone},
    {keFormatBGRA_u16, keFormatNone},
};
static_assert(std::size(kReplaceColorPairs) == 4);

// Straight 8-bit pixels invert by xor: 255 - c == c ^ 255. The pixel is one
// word whose alpha byte is masked out, so the whole span is one flat loop.
template <class Word, int kAlphaOffset>
void XorInvert(uint8_t* row, int n) noexcept {
    constexpr Word kAll = static_cast<Word>(~Word(0));
    constexpr Word kMask = kAlphaOffset < 0 ? kAll : static_cast<Word>(kAll & ~(Word(0xFF) << (8 * kAlphaOffset)));
    for (int i = 0; i < n; ++i) {  // @vectorised
        Word w;
        std::memcpy(&w, row + i * sizeof(Word), sizeof(Word));
        w ^= kMask;
        std::memcpy(row + i * sizeof(Word), &w, sizeof(Word));
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowInvert {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        ForSpans<D, S>(data, [](uint8_t* row, const uint8_t*, int, int n) {
            if constexpr (sizeof(E) == 1 && !T::kPremultiplied && (!T::kAlpha || T::kChannels == 4)) {
                // Without alpha every byte flips; with it (four channels) all but alpha.
                if constexpr (T::kAlpha) XorInvert<uint32_t, T::kAlphaOffset>(row, n);
                else XorInvert<uint8_t, -1>(row, n * T::kChannels);
            } else {
                E* d = reinterpret_cast<E*>(row);
                for (int i = 0; i < n; ++i, d += T::kChannels) {  // @vectorised
                    // c' = full - c, or a - c when premultiplied
                    const E top = T::kPremultiplied ? d[T::kAlphaOffset] : T::kMax;
                    for (int c = 0; c < T::kChannels; ++c)
                        if (!T::kAlpha || c != T::kAlphaOffset) d[c] = static_cast<E>(top - d[c]);
                }
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowRGBAdjust {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        const auto& op = static_cast<const CRowOpDefRowRGBAdjust&>(def);
        // Blue, green, red in storage order.
        const double gain[3] = {op.GetGain(2), op.GetGain(1), op.GetGain(0)};
        const double offset[3] = {op.GetOffset(2), op.GetOffset(1), op.GetOffset(0)};
        const int slot[3] = {T::kBlue, T::kGreen, T::kRed};
        if constexpr (sizeof(E) == 1) {
            // blue, green, red tables in storage order
            const uint8_t* lut[3] = {op.GetByteTable(2), op.GetByteTable(1), op.GetByteTable(0)};
            ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
                for (int i = 0; i < n * T::kChannels; i += T::kChannels)
                    for (int c = 0; c < 3; ++c) row[i + slot[c]] = lut[c][row[i + slot[c]]];
            });
        } else {
            // c' = clamp(gain c + offset full) in float
            float g[3], o[3];
            for (int c = 0; c < 3; ++c) {
                g[c] = static_cast<float>(gain[c]);
                o[c] = static_cast<float>(offset[c]) * kFull<E> + (kIsFloat<E> ? 0.0f : 0.5f);
            }
            ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
                E* d = reinterpret_cast<E*>(row);
                for (int i = 0; i < n; ++i)  // @vectorised
                    for (int c = 0; c < 3; ++c) {
                        E& v = d[i * T::kChannels + slot[c]];
                        v = Saturate<E>(static_cast<TWork<E>>(g[c] * v + o[c]));
                    }
            });
        }
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowKodalith {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using P = TPx<D>;
        using E = typename P::E;
        const typename P::W threshold = Cast<E, uint8_t>(static_cast<const CRowOpDefRowKodalith&>(def).GetThreshold());
        if constexpr (sizeof(E) == 1 && !P::Traits::kGrey && !P::Traits::kPremultiplied && P::kN == 4 &&
                      P::Traits::kBlue == 0 && P::Traits::kRed == 2) {
            ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
                // one word per pixel, so that the span is a flat loop of 32-bit lanes
                const uint32_t th = uint32_t(threshold);
                for (int i = 0; i < n; ++i) {  // @vectorised
                    uint32_t w;
                    std::memcpy(&w, row + 4 * i, 4);
                    const uint32_t y = Luma<uint32_t>((w >> 16) & 255, (w >> 8) & 255, w & 255);
                    w = (w & 0xFF000000u) | (y >= th ? 0xFFFFFFu : 0u);
                    std::memcpy(row + 4 * i, &w, 4);
                }
            });
            return;
        }
        ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
            // c' = luminance >= threshold ? full : 0
            MapStraight<D>(row, n,
                           [&](typename P::C& c) { c.b = c.g = c.r = Luma(c.r, c.g, c.b) >= threshold ? P::kMax : 0; });
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowReplaceColor {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using P = TPx<D>;
        using E = typename P::E;
        using W = typename P::W;
        const auto& op = static_cast<const CRowOpDefRowReplaceColor&>(def);
        auto in = [](uint32_t rgb, int shift) { return Cast<E, uint8_t>(static_cast<int32_t>((rgb >> shift) & 255)); };
        typename P::C from{in(op.GetFrom(), 16), in(op.GetFrom(), 8), in(op.GetFrom(), 0), 0};
        typename P::C to{in(op.GetTo(), 16), in(op.GetTo(), 8), in(op.GetTo(), 0), 0};
        if constexpr (P::Traits::kGrey) from.b = from.g = from.r = Luma(from.r, from.g, from.b);
        const W tolerance = Cast<E, uint8_t>(op.GetTolerance());
        if constexpr (sizeof(E) == 1 && !P::Traits::kGrey && !P::Traits::kPremultiplied && P::Traits::kBlue == 0 &&
                      P::Traits::kRed == 2) {
            // whole-span selects in place of the per-pixel branch
            const int16_t f[3] = {int16_t(from.b), int16_t(from.g), int16_t(from.r)};
            const uint8_t t[3] = {uint8_t(to.b), uint8_t(to.g), uint8_t(to.r)};
            const int16_t tol = int16_t(tolerance);
            ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
                for (int i = 0; i < P::kN * n; i += P::kN) {  // @vectorised
                    // |c - from| <= tol as one unsigned compare: c - from + tol in 0..2 tol
                    const bool hit = (uint16_t(row[i] - f[0] + tol) <= uint16_t(2 * tol)) &
                                     (uint16_t(row[i + 1] - f[1] + tol) <= uint16_t(2 * tol)) &
                                     (uint16_t(row[i + 2] - f[2] + tol) <= uint16_t(2 * tol));
                    const uint8_t take = uint8_t(-int(hit));
                    for (int k = 0; k < 3; ++k) row[i + k] = uint8_t(row[i + k] ^ ((row[i + k] ^ t[k]) & take));
                }
            });
            return;
        }
        ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
            // c' = to where max |c - from| <= tolerance
            MapStraight<D>(row, n, [&](typename P::C& c) {
                if (std::abs(c.b - from.b) <= tolerance && std::abs(c.g - from.g) <= tolerance &&
                    std::abs(c.r - from.r) <= tolerance)
                    c.b = to.b, c.g = to.g, c.r = to.r;
            });
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowInvertDict() noexcept { return qgdi::rowop::kDict<kInvertPairs, TRowInvert>.data(); }
const SRowOpDictEntry* GetRowRGBAdjustDict() noexcept {
    return qgdi::rowop::kDict<kRGBAdjustPairs, TRowRGBAdjust>.data();
}
const SRowOpDictEntry* GetRowKodalithDict() noexcept { return qgdi::rowop::kDict<kKodalithPairs, TRowKodalith>.data(); }
const SRowOpDictEntry* GetRowReplaceColorDict() noexcept {
    return qgdi::rowop::kDict<kReplaceColorPairs, TRowReplaceColor>.data();
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS

CRowOpDefRowRGBAdjust::CRowOpDefRowRGBAdjust(const double gain[3], const double offset[3]) noexcept
    : TRowOpDefKind(keRoRowRGBAdjust) {
    for (int c = 0; c < 3; ++c) {
        m_dGain[c] = gain ? std::clamp(gain[c], 0.0, 64.0) : 1.0;
        m_dOffset[c] = offset ? std::clamp(offset[c], -1.0, 1.0) : 0.0;
    }
    BuildByteTables();
}

void CRowOpDefRowRGBAdjust::BuildByteTables() noexcept {
    // c' = clamp(round(gain c + offset 255))
    for (int c = 0; c < 3; ++c)
        for (int v = 0; v < 256; ++v)
            m_byteTable[c][v] = qgdi::px::Saturate<uint8_t>(
                static_cast<int32_t>(std::lround(m_dGain[c] * v + m_dOffset[c] * 255)));
}

QGDI_DISPATCHED_DICT(GetRowInvertDict)
QGDI_DISPATCHED_DICT(GetRowRGBAdjustDict)
QGDI_DISPATCHED_DICT(GetRowKodalithDict)
QGDI_DISPATCHED_DICT(GetRowReplaceColorDict)
#endif  // QGDI_BASELINE_PASS
