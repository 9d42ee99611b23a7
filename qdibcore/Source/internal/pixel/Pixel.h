#pragma once
// One pixel of a non-indexed format as a colour value, and the loops that
// apply a per-pixel rule to straight colour along a row.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/TargetPass.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/internal/pixel/PixelMath.h"

namespace qgdi::px {
// Each kernel pass has its own copies (see platform/TargetPass.h).
inline namespace QGDI_TARGET_NS {

// The colour value type: blue, green, red, alpha in one working type.
template <class W>
struct TColour {
    W b, g, r, a;
};

// Every channel of a colour from element type From to element type To.
template <class To, class From>
constexpr TColour<TWork<To>> CastColour(const TColour<TWork<From>>& c) noexcept {
    return {Cast<To, From>(c.b), Cast<To, From>(c.g), Cast<To, From>(c.r), Cast<To, From>(c.a)};
}

// Straight or premultiplied colour of one pixel of a non-indexed format.
template <EQPixelFormat F>
struct TPx {
    using Traits = TQPixelFormat<F>;
    using E = typename Traits::Elem;
    using W = TWork<E>;
    using C = TColour<W>;
    static constexpr int kN = Traits::kChannels;  // elements per pixel
    static constexpr int kBytes = Traits::kBitsPerPixel / 8;
    static constexpr W kMax = kFull<E>;
    static_assert(!Traits::kIndexed, "indexed pixels need their palette");

    // As stored: grey spread over b, g, r; a missing alpha reads opaque.
    QGDI_PX_INLINE static C LoadRaw(const E* p) noexcept {
        if constexpr (Traits::kGrey) {
            const W y = p[0];
            return {y, y, y, Traits::kAlpha ? W(p[1]) : kMax};
        } else {
            return {W(p[0]), W(p[1]), W(p[2]), Traits::kAlpha ? W(p[3]) : kMax};
        }
    }
    // Grey stores the luminance; a missing alpha is dropped.
    QGDI_PX_INLINE static void StoreRaw(E* p, const C& c) noexcept {
        if constexpr (Traits::kGrey) {
            p[0] = static_cast<E>(Luma(c.r, c.g, c.b));
            if constexpr (Traits::kAlpha) p[1] = static_cast<E>(c.a);
        } else {
            p[0] = static_cast<E>(c.b);
            p[1] = static_cast<E>(c.g);
            p[2] = static_cast<E>(c.r);
            if constexpr (Traits::kAlpha) p[3] = static_cast<E>(c.a);
        }
    }
    // Straight colour: premultiplied formats are divided by alpha (0 where alpha is 0).
    QGDI_PX_INLINE static C Load(const E* p) noexcept {
        C c = LoadRaw(p);
        if constexpr (Traits::kPremultiplied) Unpremultiply(c);
        return c;
    }
    // From straight colour; premultiplied formats multiply by alpha.
    QGDI_PX_INLINE static void Store(E* p, C c) noexcept {
        if constexpr (Traits::kPremultiplied) Premultiply(c);
        StoreRaw(p, c);
    }
    // The colour values must lie in the channel's range (float excepted).
    QGDI_PX_INLINE static void Unpremultiply(C& c) noexcept {
        const TUnpremul<E> u(static_cast<E>(c.a));
        c.b = W(u(static_cast<E>(c.b))), c.g = W(u(static_cast<E>(c.g))), c.r = W(u(static_cast<E>(c.r)));
    }
    QGDI_PX_INLINE static void Premultiply(C& c) noexcept {
        const E a = static_cast<E>(c.a);
        c.b = W(Premul(static_cast<E>(c.b), a)), c.g = W(Premul(static_cast<E>(c.g), a));
        c.r = W(Premul(static_cast<E>(c.r), a));
    }
};

// Byte offset of pixel i of a row of format F (i a multiple of 8 for sub-byte formats).
template <EQPixelFormat F>
constexpr size_t ByteOffset(int i) noexcept {
    return static_cast<size_t>(i) * TQPixelFormat<F>::kBitsPerPixel / 8;
}

// op(c) on the straight colour of every pixel of a non-indexed row.
template <EQPixelFormat F, class Op>
inline void MapStraight(uint8_t* row, int n, Op&& op) noexcept {
    using P = TPx<F>;
    auto* p = reinterpret_cast<typename P::E*>(row);
    for (int i = 0; i < n; ++i, p += P::kN) {  // @vectorised
        typename P::C c = P::Load(p);
        op(c);
        P::Store(p, c);
    }
}

// op(d, s) on straight colours, the source brought to the destination's scale.
template <EQPixelFormat D, EQPixelFormat S, class Op>
inline void MapStraight2(uint8_t* dst, const uint8_t* src, int n, Op&& op) noexcept {
    using PD = TPx<D>;
    using PS = TPx<S>;
    auto* d = reinterpret_cast<typename PD::E*>(dst);
    const auto* s = reinterpret_cast<const typename PS::E*>(src);
    for (int i = 0; i < n; ++i, d += PD::kN, s += PS::kN) {  // @vectorised
        typename PD::C c = PD::Load(d);
        const typename PD::C sc = CastColour<typename PD::E, typename PS::E>(PS::Load(s));
        op(c, sc);
        PD::Store(d, c);
    }
}

// Mixes a kernel's result back with the original pixels by mask coverage:
// d = o + (r - o) m / 255 per element. Palette indices cannot be mixed, so
// indexed rows take the result where the coverage is at least half.
template <EQPixelFormat F>
void MixByMask(uint8_t* result, const uint8_t* original, const uint8_t* mask, int n) noexcept {
    using Traits = TQPixelFormat<F>;
    using E = typename Traits::Elem;
    if constexpr (Traits::kIndexed) {
        constexpr int bits = Traits::kBitsPerPixel;
        if constexpr (bits >= 8) {
            constexpr int bytes = bits / 8;
            for (int i = 0; i < n; ++i)
                if (mask[i] < 128) std::memcpy(result + i * bytes, original + i * bytes, bytes);
        } else {
            constexpr int perByte = 8 / bits;
            constexpr uint8_t lowMask = (1u << bits) - 1;
            for (int i = 0; i < n; ++i) {
                if (mask[i] >= 128) continue;
                const int shift = 8 - bits * (i % perByte + 1);
                const uint8_t m = static_cast<uint8_t>(lowMask << shift);
                uint8_t& d = result[i / perByte];
                d = static_cast<uint8_t>((d & ~m) | (original[i / perByte] & m));
            }
        }
    } else {
        constexpr int kN = Traits::kChannels;
        E* r = reinterpret_cast<E*>(result);
        const E* o = reinterpret_cast<const E*>(original);
        for (int i = 0; i < n; ++i) {  // @vectorised
            const uint32_t m = mask[i];
            for (int c = 0; c < kN; ++c) {
                const int k = i * kN + c;
                if constexpr (kIsFloat<E>) {
                    // o + (r - o) m / 255
                    r[k] = o[k] + (r[k] - o[k]) * (static_cast<float>(m) * (1.0f / 255.0f));
                } else if constexpr (sizeof(E) == 1) {
                    // (o (255 - m) + r m) / 255, the sum below 65026
                    r[k] = static_cast<E>(Div255u16(uint16_t(o[k] * uint16_t(255 - m) + r[k] * uint16_t(m))));
                } else {
                    // coverage widened to w = m x 257 in 0..65535; products below 65535^2
                    const uint32_t w = m * 257;
                    r[k] = static_cast<E>(Div65535(o[k] * (65535 - w) + r[k] * w));
                }
            }
        }
    }
}

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::px
