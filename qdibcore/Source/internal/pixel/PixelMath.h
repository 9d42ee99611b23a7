#pragma once
// Channel arithmetic of the whole library: scale changes between depths,
// premultiplication and its inverse, grey level. Every converter and kernel
// goes through these, so that one conversion gives one answer wherever it is
// made. 8- and 16-bit channels are worked on as int32 in their own scale
// (0..255 or 0..65535), float channels as float in 0..1.
#include <array>
#include <cstdint>
#include <type_traits>

namespace qgdi::px {

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
// Integer to float: v / 255 or v / 65535, correctly rounded; the product is
// taken in double, where it rounds like the quotient for every input.
constexpr float Unit8(uint32_t v) noexcept { return static_cast<float>(v * (1.0 / 255.0)); }
constexpr float Unit16(uint32_t v) noexcept { return static_cast<float>(v * (1.0 / 65535.0)); }
// Float to integer: clamp to 0..1 (NaN to 0), then truncate v x 255.9999 or
// v x 65535.9999. Both products are taken in double: 65535.9999 has no float
// below 65536, and a float 255.9999 truncates 34 inputs one step differently.
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
// Integer depths multiply by a reciprocal R = ceil(full 2^S / a) instead of
// dividing. With c clamped to a (a larger c saturates anyway), the product
// overshoots c full / a by less than a / 2^S, and c full / a + 1/2 sits at
// least 1 / (2a) below the next integer unless it is one; 2 a^2 < 2^S keeps
// the overshoot below that gap, so (c R + 2^(S-1)) >> S is the exact rounding
// (halves round up).
//   8 bits:  S = 17, R <= 255 x 2^17 < 2^25, c R < 2^25 + 255.
//   16 bits: S = 33, R < 65535 x 2^33 < 2^49, c R < 2^49 + 65535.

// kUnpremul8[a] = ceil(255 x 2^17 / a), 0 for a = 0.
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

template <>
struct TUnpremul<uint16_t> {
    uint64_t a, r;
    // One division per pixel rather than one per channel; a 64 K-entry table
    // of 64-bit reciprocals would cost more in cache than it saves.
    explicit constexpr TUnpremul(uint32_t alpha) noexcept
        : a(alpha), r(alpha ? ((uint64_t(65535) << 33) + alpha - 1) / alpha : 0) {}
    constexpr uint16_t operator()(uint32_t c) const noexcept {
        return static_cast<uint16_t>(((c < a ? c : a) * r + (uint64_t(1) << 32)) >> 33);
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

}  // namespace qgdi::px
