#pragma once
// Pixel arithmetic shared by the row kernels, written once over the format
// traits. 8- and 16-bit channels are worked on as int32 in their own scale
// (0..255 or 0..65535), float channels as float in 0..1.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "QuorRender/RowOp.h"
#include "qdibcore/Source/PixelFormatTraits.h"

namespace qgdi_px {

// x / 255 rounded to nearest, exact for x in [0, 65025].
constexpr uint32_t Div255(uint32_t x) noexcept { return ((x + 128) * 257) >> 16; }
// Div255 for x in [0, 65025] with no step leaving 16 bits (x + 128 + (x + 128) / 256
// <= 65407), so that the vectoriser keeps eight channels per SSE2 register.
constexpr uint16_t Div255u16(uint16_t x) noexcept {
    const uint16_t y = uint16_t(x + 128);
    return uint16_t((y + (y >> 8)) >> 8);
}
// x / 65535 rounded to nearest, exact for x in [0, 65535²]; no step leaves 32 bits.
constexpr uint32_t Div65535(uint32_t x) noexcept {
    const uint32_t t = x + 32768;
    return (t + (t >> 16)) >> 16;
}

template <class E>
inline constexpr bool kIsFloat = std::is_floating_point_v<E>;
// Working type of a channel: int32 in the channel's own scale, or float.
template <class E>
using TWork = std::conditional_t<kIsFloat<E>, float, int32_t>;
// Full scale of a channel: 255, 65535 or 1.
template <class E>
inline constexpr TWork<E> kFull = [] {
    if constexpr (kIsFloat<E>) return 1.0f;
    else return static_cast<int32_t>(static_cast<E>(~E(0)));
}();

// Clamps a working value into the channel's range; NaN becomes 0.
template <class E>
constexpr E Saturate(TWork<E> v) noexcept {
    if constexpr (kIsFloat<E>) return v > 0 ? (v < 1 ? v : 1) : 0;
    else return static_cast<E>(v < 0 ? 0 : v > kFull<E> ? kFull<E> : v);
}

// Converts one channel between element types. Widening is exact (v x 257,
// v / 255); narrowing from 16 bits rounds; from float it truncates
// v x 255.9999 (or x 65535.99), the library's rule for colour values.
template <class To, class From>
constexpr TWork<To> Cast(TWork<From> v) noexcept {
    if constexpr (std::is_same_v<To, From>) return v;
    else if constexpr (kIsFloat<From>) {
        const float c = v > 0 ? (v < 1 ? v : 1) : 0;
        if constexpr (sizeof(To) == 1) return static_cast<int32_t>(c * 255.9999f);
        else return static_cast<int32_t>(c * 65535.99f);
    } else if constexpr (kIsFloat<To>) {
        return static_cast<float>(v) * (sizeof(From) == 1 ? 1.0f / 255.0f : 1.0f / 65535.0f);
    } else if constexpr (sizeof(To) > sizeof(From)) {
        return v * 257;
    } else {
        // round(v / 257) = (v * 255 + 32895) >> 16 for v in 0..65535
        return static_cast<int32_t>((static_cast<uint32_t>(v) * 255 + 32895) >> 16);
    }
}

// Luminance with the library's grey weights (77, 151, 28) / 256; grey in, grey out.
template <class W>
constexpr W Luma(W r, W g, W b) noexcept {
    if constexpr (std::is_floating_point_v<W>) return (77.0f * r + 151.0f * g + 28.0f * b) * (1.0f / 256.0f);
    else return (77 * r + 151 * g + 28 * b) >> 8;
}

// 255 * 65536 / a rounded (16.16), so that c * 255 / a needs no division.
inline constexpr auto kUnpremul8 = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t a = 1; a < 256; ++a) t[a] = (255u * 65536u + a / 2) / a;
    return t;
}();

template <class W>
struct TColour {
    W b, g, r, a;
};

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
    static C LoadRaw(const E* p) noexcept {
        if constexpr (Traits::kGrey) {
            const W y = p[0];
            return {y, y, y, Traits::kAlpha ? W(p[1]) : kMax};
        } else {
            return {W(p[0]), W(p[1]), W(p[2]), Traits::kAlpha ? W(p[3]) : kMax};
        }
    }
    // Grey stores the luminance; a missing alpha is dropped.
    static void StoreRaw(E* p, const C& c) noexcept {
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
    static C Load(const E* p) noexcept {
        C c = LoadRaw(p);
        if constexpr (Traits::kPremultiplied) Unpremultiply(c);
        return c;
    }
    // From straight colour; premultiplied formats multiply by alpha.
    static void Store(E* p, C c) noexcept {
        if constexpr (Traits::kPremultiplied) Premultiply(c);
        StoreRaw(p, c);
    }
    static void Unpremultiply(C& c) noexcept {
        if constexpr (kIsFloat<E>) {
            const float inv = c.a != 0 ? 1.0f / c.a : 0.0f;
            c.b *= inv, c.g *= inv, c.r *= inv;
        } else if constexpr (sizeof(E) == 1) {
            // c * 255 / a through the 16.16 reciprocal; c <= 255 keeps the product in 32 bits
            const uint32_t inv = kUnpremul8[c.a];
            c.b = std::min<W>(255, W((uint32_t(c.b) * inv + 32768) >> 16));
            c.g = std::min<W>(255, W((uint32_t(c.g) * inv + 32768) >> 16));
            c.r = std::min<W>(255, W((uint32_t(c.r) * inv + 32768) >> 16));
        } else {
            const float k = c.a != 0 ? 65535.0f / c.a : 0.0f;
            c.b = std::min<W>(65535, W(c.b * k + 0.5f));
            c.g = std::min<W>(65535, W(c.g * k + 0.5f));
            c.r = std::min<W>(65535, W(c.r * k + 0.5f));
        }
    }
    static void Premultiply(C& c) noexcept {
        if constexpr (kIsFloat<E>) {
            c.b *= c.a, c.g *= c.a, c.r *= c.a;
        } else if constexpr (sizeof(E) == 1) {
            c.b = W(Div255(c.b * c.a)), c.g = W(Div255(c.g * c.a)), c.r = W(Div255(c.r * c.a));
        } else {
            c.b = W(Div65535(uint32_t(c.b) * uint32_t(c.a))), c.g = W(Div65535(uint32_t(c.g) * uint32_t(c.a)));
            c.r = W(Div65535(uint32_t(c.r) * uint32_t(c.a)));
        }
    }
};

template <class WTo, class WFrom, class To, class From>
constexpr TColour<WTo> CastColour(const TColour<WFrom>& c) noexcept {
    return {Cast<To, From>(c.b), Cast<To, From>(c.g), Cast<To, From>(c.r), Cast<To, From>(c.a)};
}

// Element pointer of pixel i of a non-indexed row.
template <EQPixelFormat F>
inline auto* PixelPtr(uint8_t* row, int i) noexcept {
    return reinterpret_cast<typename TQPixelFormat<F>::Elem*>(row) + static_cast<size_t>(i) * TPx<F>::kN;
}
template <EQPixelFormat F>
inline const auto* PixelPtr(const uint8_t* row, int i) noexcept {
    return reinterpret_cast<const typename TQPixelFormat<F>::Elem*>(row) + static_cast<size_t>(i) * TPx<F>::kN;
}

// op(c) on the straight colour of every pixel of a non-indexed row.
template <EQPixelFormat F, class Op>
inline void MapStraight(uint8_t* row, int n, Op&& op) noexcept {
    using P = TPx<F>;
    auto* p = reinterpret_cast<typename P::E*>(row);
    for (int i = 0; i < n; ++i, p += P::kN) {
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
    for (int i = 0; i < n; ++i, d += PD::kN, s += PS::kN) {
        typename PD::C c = PD::Load(d);
        const typename PD::C sc = CastColour<typename PD::W, typename PS::W, typename PD::E, typename PS::E>(PS::Load(s));
        op(c, sc);
        PD::Store(d, c);
    }
}

// Byte offset of pixel i of a row of format F (i a multiple of 8 for sub-byte formats).
template <EQPixelFormat F>
constexpr size_t ByteOffset(int i) noexcept {
    return static_cast<size_t>(i) * TQPixelFormat<F>::kBitsPerPixel / 8;
}

// Mixes a kernel's result back with the original pixels by mask coverage:
// d = o + (r - o) * m / 255 per element. Palette indices cannot be mixed, so
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
        for (int i = 0; i < n; ++i) {
            const uint32_t m = mask[i];
            for (int c = 0; c < kN; ++c) {
                const int k = i * kN + c;
                if constexpr (kIsFloat<E>) {
                    // o + (r - o) * m / 255
                    r[k] = o[k] + (r[k] - o[k]) * (static_cast<float>(m) * (1.0f / 255.0f));
                } else if constexpr (sizeof(E) == 1) {
                    // (o * (255 - m) + r * m) / 255, the sum below 65026
                    r[k] = static_cast<E>(Div255u16(uint16_t(o[k] * uint16_t(255 - m) + r[k] * uint16_t(m))));
                } else {
                    // coverage widened to w = m * 257 in 0..65535; products below 65535²
                    const uint32_t w = m * 257;
                    r[k] = static_cast<E>(Div65535(o[k] * (65535 - w) + r[k] * w));
                }
            }
        }
    }
}

// Runs `body(dst, src, x, n)` over the row. Without a mask that is one call
// for the whole span; with one, blocks of 64 pixels are run and mixed back
// with their original pixels by the mask.
template <EQPixelFormat D, EQPixelFormat S, class Body>
void ForSpans(CRowOpData& data, Body&& body) {
    const int n = data.nCount;
    if (!data.pMask) {
        body(data.pDst, data.pSrc, data.x, n);
        return;
    }
    constexpr int kBlock = 64;
    uint8_t saved[ByteOffset<D>(kBlock)];
    for (int i = 0; i < n; i += kBlock) {
        const int m = std::min(kBlock, n - i);
        uint8_t* dst = data.pDst + ByteOffset<D>(i);
        const size_t bytes = (static_cast<size_t>(m) * TQPixelFormat<D>::kBitsPerPixel + 7) / 8;
        std::memcpy(saved, dst, bytes);
        const uint8_t* src = nullptr;
        if constexpr (S != keFormatNone) src = data.pSrc ? data.pSrc + ByteOffset<S>(i) : nullptr;
        body(dst, src, data.x + i, m);
        MixByMask<D>(dst, saved, data.pMask + i, m);
    }
}

}  // namespace qgdi_px
