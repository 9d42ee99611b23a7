#pragma once
// Channel arithmetic of the whole library: scale changes between depths,
// premultiplication and its inverse, grey level. Every converter and kernel
// goes through these, so that one conversion gives one answer wherever it is
// made. 8- and 16-bit channels are worked on as int32 in their own scale
// (0..255 or 0..65535), float channels as float in 0..1.
#include <array>
#include <cstdint>
#include <type_traits>
#include "platform/TargetPass.h"

// Per-pixel helpers are called from loops over whole rows, where a call per
// pixel would cost more than the arithmetic; the optimiser's size heuristics
// do not always see that.
#if defined(__GNUC__)
#define QGDI_PX_INLINE inline __attribute__((always_inline))
#else
#define QGDI_PX_INLINE inline
#endif

namespace qgdi::px {
// Each kernel pass has its own copies (see platform/TargetPass.h).
inline namespace QGDI_TARGET_NS {

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

// ---- Division by full scale without dividing ----------------------------------

// round(x / 255) for x in [0, 65025]: ((x + 128) x 257) >> 16 stays below 2^25.
constexpr uint32_t Div255(uint32_t x) noexcept { return ((x + 128) * 257) >> 16; }
// Div255 for x in [0, 65025] with no step leaving 16 bits (y = x + 128 <= 65153,
// y + (y >> 8) <= 65407), so that the vectoriser keeps eight channels per SSE2 register.
constexpr uint16_t Div255u16(uint16_t x) noexcept {
    const uint16_t y = uint16_t(x + 128);
    return uint16_t((y + (y >> 8)) >> 8);
}
// round(x / 65535) for x in [0, 65535^2]: t = x + 32768 < 2^32, t + (t >> 16) < 2^32.
constexpr uint32_t Div65535(uint32_t x) noexcept {
    const uint32_t t = x + 32768;
    return (t + (t >> 16)) >> 16;
}

// ---- One scale rule per depth --------------------------------------------------

// 8 to 16 bits: v x 257 maps 0..255 onto 0..65535 exactly.
constexpr uint16_t Widen8(uint32_t v) noexcept { return static_cast<uint16_t>(v * 257u); }
// 16 to 8 bits: round(v / 257) = (v x 255 + 32895) >> 16, the exact inverse of Widen8.
constexpr uint8_t Narrow16(uint32_t v) noexcept { return static_cast<uint8_t>((v * 255u + 32895u) >> 16); }
// Integer to float: v / 255 or v / 65535 correctly rounded, which a float
// division of the two exact operands is; it vectorises where a product taken
// in double does not (a float product by 1 / 255 is off for 126 bytes).
constexpr float Unit8(uint32_t v) noexcept { return static_cast<float>(v) / 255.0f; }
constexpr float Unit16(uint32_t v) noexcept { return static_cast<float>(v) / 65535.0f; }
// Float to integer: clamp to 0..1 (NaN to 0), then truncate v x 255.9999 or
// v x 65535.9999. Both products are taken in double: 65535.9999 as a float
// is 65536, and a float 255.9999 rounds 34 products in 0..1 up onto the next integer.
constexpr double ClampUnit(float v) noexcept { return v > 0.0f ? (v < 1.0f ? double(v) : 1.0) : 0.0; }
constexpr uint8_t FloatTo8(float v) noexcept { return static_cast<uint8_t>(ClampUnit(v) * 255.9999); }
constexpr uint16_t FloatTo16(float v) noexcept { return static_cast<uint16_t>(ClampUnit(v) * 65535.9999); }

// One channel from element type From to element type To, as working values.
template <class To, class From>
constexpr TWork<To> Cast(TWork<From> v) noexcept {
    if constexpr (std::is_same_v<To, From>) return v;
    else if constexpr (kIsFloat<From>) {
        if constexpr (sizeof(To) == 1) return FloatTo8(v);
        else return FloatTo16(v);
    } else if constexpr (kIsFloat<To>) {
        return sizeof(From) == 1 ? Unit8(static_cast<uint32_t>(v)) : Unit16(static_cast<uint32_t>(v));
    } else if constexpr (sizeof(To) > sizeof(From)) {
        return Widen8(static_cast<uint32_t>(v));
    } else {
        return Narrow16(static_cast<uint32_t>(v));
    }
}
// The same on stored elements.
template <class To, class From>
constexpr To Scale(From v) noexcept {
    return static_cast<To>(Cast<To, From>(static_cast<TWork<From>>(v)));
}

// Clamps a working value into the channel's range; NaN becomes 0.
template <class E>
constexpr E Saturate(TWork<E> v) noexcept {
    if constexpr (kIsFloat<E>) return v > 0 ? (v < 1 ? v : 1) : 0;
    else return static_cast<E>(v < 0 ? 0 : v > kFull<E> ? kFull<E> : v);
}

// ---- Premultiplication: round(c a / full) -----------------------------------------

// c, a in [0, 255]: Div255 of t = c a <= 65025, exact.
constexpr uint8_t Premul(uint8_t c, uint8_t a) noexcept { return static_cast<uint8_t>(Div255(uint32_t(c) * a)); }
// c, a in [0, 65535]: Div65535 of t = c a <= 65535^2, exact.
constexpr uint16_t Premul(uint16_t c, uint16_t a) noexcept { return static_cast<uint16_t>(Div65535(uint32_t(c) * a)); }
constexpr float Premul(float c, float a) noexcept { return c * a; }

// ---- Un-premultiplication: min(full, round(c full / a)), 0 where a = 0 ----------------
//
// Halves round up: the result is floor((2 c full + a) / (2 a)). A colour above
// its alpha saturates, so c is first clamped to a, which bounds every product.
//
// 8 bits multiply by R = ceil(255 x 2^17 / a) instead of dividing. The product
// overshoots c 255 / a by less than a / 2^17, and c 255 / a + 1/2 sits at
// least 1 / (2a) below the next integer unless it is one; 2 a^2 < 2^17 keeps
// the overshoot below that gap, so (c R + 2^16) >> 17 is exact.
// Ranges: R <= 255 x 2^17 < 2^25, c R < 2^25 + 255.
inline constexpr auto kUnpremul8 = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t a = 1; a < 256; ++a) t[a] = ((255u << 17) + a - 1) / a;
    return t;
}();

// The reciprocal of one pixel's alpha, made once and applied to its colour channels.
template <class E>
struct TUnpremul;

template <>
struct TUnpremul<uint8_t> {
    uint32_t a, r;
    explicit constexpr TUnpremul(uint32_t alpha) noexcept : a(alpha), r(kUnpremul8[alpha & 255]) {}
    constexpr uint8_t operator()(uint32_t c) const noexcept {
        return static_cast<uint8_t>(((c < a ? c : a) * r + (1u << 16)) >> 17);
    }
};

// 16 bits: N = 131070 c + a < 2^33 and 1 / (2a) in double, one division per
// pixel (a table of 65,536 reciprocals would cost more in cache than it
// saves). N / (2a) <= 65535.5; the product's error stays below 2^-36, far
// inside the 2^-20 nudge that lifts an exact integer quotient over its
// rounding, and a non-integer quotient lies at least 1 / (2a) > 2^-17 below
// the next integer, so truncation gives the exact floor.
template <>
struct TUnpremul<uint16_t> {
    uint32_t a;
    double r;
    explicit constexpr TUnpremul(uint32_t alpha) noexcept : a(alpha), r(alpha ? 1.0 / (2.0 * alpha) : 0.0) {}
    constexpr uint16_t operator()(uint32_t c) const noexcept {
        return static_cast<uint16_t>((131070.0 * (c < a ? c : a) + a) * r + 0x1p-20);
    }
};

// Float: the correctly rounded quotient c / a, unclamped; 0 where a <= 0.
template <>
struct TUnpremul<float> {
    float a;
    explicit constexpr TUnpremul(float alpha) noexcept : a(alpha) {}
    constexpr float operator()(float c) const noexcept { return a > 0.0f ? c / a : 0.0f; }
};

constexpr uint8_t Unpremul(uint8_t c, uint8_t a) noexcept { return TUnpremul<uint8_t>(a)(c); }
constexpr uint16_t Unpremul(uint16_t c, uint16_t a) noexcept { return TUnpremul<uint16_t>(a)(c); }
constexpr float Unpremul(float c, float a) noexcept { return TUnpremul<float>(a)(c); }

// ---- Grey level -------------------------------------------------------------------

// (77 R + 151 G + 28 B) / 256: truncated at integer depths; in float summed in
// double, where the products and their sum are exact, so that a grey colour
// keeps its level.
template <class W>
constexpr W Luma(W r, W g, W b) noexcept {
    if constexpr (std::is_floating_point_v<W>) return static_cast<W>((77.0 * r + 151.0 * g + 28.0 * b) * (1.0 / 256.0));
    else return static_cast<W>((77 * r + 151 * g + 28 * b) >> 8);
}

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::px
