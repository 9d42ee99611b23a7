#pragma once
// Row converters between pixel formats, written once as templates over the
// format traits and instantiated for every pair. Channel scales: 8-bit 0..255,
// 16-bit 0..65535, float 0..1.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/RowIteratorBands.h"

namespace qgdi_convert {

// ---- Scalar rules ------------------------------------------------------------

// 8 to 16 bits: v x 257 maps 0..255 onto 0..65535 exactly.
inline uint16_t Widen8(uint32_t v) noexcept { return static_cast<uint16_t>(v * 257u); }
// 16 to 8 bits: round(v x 255 / 65535), as (v x 255 + 32895) >> 16 (exact inverse of Widen8).
inline uint8_t Narrow16(uint32_t v) noexcept { return static_cast<uint8_t>((v * 255u + 32895u) >> 16); }
// Float to integer: clamp to 0..1 (NaN to 0), then truncate v x 255.9999 or v x 65535.9999.
inline uint8_t FloatTo8(float v) noexcept {
    const float c = v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;
    return static_cast<uint8_t>(c * 255.9999f);
}
// (In double: 65535.9999 has no float of its own below 65536.)
inline uint16_t FloatTo16(float v) noexcept {
    const double c = v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0;
    return static_cast<uint16_t>(c * 65535.9999);
}

template <class To, class From>
inline To Scale(From v) noexcept {
    if constexpr (std::is_same_v<To, From>) return v;
    else if constexpr (std::is_same_v<To, uint16_t> && std::is_same_v<From, uint8_t>) return Widen8(v);
    else if constexpr (std::is_same_v<To, uint8_t> && std::is_same_v<From, uint16_t>) return Narrow16(v);
    // Integer to float: v / 255 or v / 65535, the product taken in double so that it rounds like the quotient.
    else if constexpr (std::is_same_v<To, float> && std::is_same_v<From, uint8_t>) return static_cast<float>(v * (1.0 / 255.0));
    else if constexpr (std::is_same_v<To, float> && std::is_same_v<From, uint16_t>) return static_cast<float>(v * (1.0 / 65535.0));
    else if constexpr (std::is_same_v<To, uint8_t>) return FloatTo8(v);
    else return FloatTo16(v);
}

template <class E>
constexpr E kFull = std::is_floating_point_v<E> ? E(1) : std::numeric_limits<E>::max();

// Premultiply c by a: 8-bit t = c a, (t + 128 + (t >> 8)) >> 8 (exact rounding of t / 255);
// 16-bit t = c a, (t + 32768 + (t >> 16)) >> 16; float c a.
inline uint8_t Premul(uint8_t c, uint8_t a) noexcept {
    const uint32_t t = uint32_t(c) * a;
    return static_cast<uint8_t>((t + 128u + (t >> 8)) >> 8);
}
inline uint16_t Premul(uint16_t c, uint16_t a) noexcept {
    const uint32_t t = uint32_t(c) * a;
    return static_cast<uint16_t>((uint64_t(t) + 32768u + (t >> 16)) >> 16);
}
inline float Premul(float c, float a) noexcept { return c * a; }

// Reciprocals of alpha for un-premultiplying 8-bit colour: 16.16 fixed point,
// kUnpremul8[a] = round(255 x 65536 / a), 0 for a = 0.
struct SUnpremulTable {
    uint32_t v[256];
    constexpr SUnpremulTable() : v{} {
        for (uint32_t a = 1; a < 256; ++a) v[a] = (255u * 65536u + a / 2) / a;
    }
};
inline constexpr SUnpremulTable kUnpremul8{};

// Un-premultiply: c' = min(full, c x full / a), 0 when a = 0. The 8-bit form
// is (c x kUnpremul8[a] + 32768) >> 16.
inline uint8_t Unpremul(uint8_t c, uint8_t a) noexcept {
    const uint32_t v = (uint32_t(c) * kUnpremul8.v[a] + 32768u) >> 16;
    return static_cast<uint8_t>(v > 255u ? 255u : v);
}
inline uint16_t Unpremul(uint16_t c, uint16_t a) noexcept {
    if (a == 0) return 0;
    const uint64_t v = (uint64_t(c) * 65535u + a / 2) / a;
    return static_cast<uint16_t>(v > 65535u ? 65535u : v);
}
inline float Unpremul(float c, float a) noexcept { return a > 0.0f ? c / a : 0.0f; }

// Grey from colour: (77 R + 151 G + 28 B) / 256 at every depth.
inline uint8_t Luma(uint8_t b, uint8_t g, uint8_t r) noexcept {
    return static_cast<uint8_t>((77u * r + 151u * g + 28u * b) >> 8);
}
inline uint16_t Luma(uint16_t b, uint16_t g, uint16_t r) noexcept {
    return static_cast<uint16_t>((77u * r + 151u * g + 28u * b) >> 8);
}
// (Summed in double, where the products are exact, so that a grey colour keeps its level.)
inline float Luma(float b, float g, float r) noexcept {
    return static_cast<float>((77.0 * r + 151.0 * g + 28.0 * b) * (1.0 / 256.0));
}

// ---- One pixel between two non-indexed formats ----------------------------------

template <class E>
struct TColour {
    E b, g, r, a;
};

template <EQPixelFormat F>
inline TColour<typename TQPixelFormat<F>::Elem> Load(const typename TQPixelFormat<F>::Elem* p) noexcept {
    using T = TQPixelFormat<F>;
    using E = typename T::Elem;
    TColour<E> c;
    if constexpr (T::kGrey) c.b = c.g = c.r = p[T::kGreyOffset];
    else {
        c.b = p[T::kBlue];
        c.g = p[T::kGreen];
        c.r = p[T::kRed];
    }
    if constexpr (T::kAlpha) c.a = p[T::kAlphaOffset];
    else c.a = kFull<E>;
    return c;
}

template <EQPixelFormat F>
inline void Store(typename TQPixelFormat<F>::Elem* p, const TColour<typename TQPixelFormat<F>::Elem>& c) noexcept {
    using T = TQPixelFormat<F>;
    if constexpr (T::kGrey) p[T::kGreyOffset] = Luma(c.b, c.g, c.r);
    else {
        p[T::kBlue] = c.b;
        p[T::kGreen] = c.g;
        p[T::kRed] = c.r;
    }
    if constexpr (T::kAlpha) p[T::kAlphaOffset] = c.a;
}

// Source colour to destination: straighten a premultiplied source unless the
// destination is premultiplied too, rescale, premultiply for a premultiplied
// destination, reduce to grey for a grey one.
template <EQPixelFormat S, EQPixelFormat D>
inline void ConvertOne(typename TQPixelFormat<D>::Elem* d, const typename TQPixelFormat<S>::Elem* s) noexcept {
    using ST = TQPixelFormat<S>;
    using DT = TQPixelFormat<D>;
    using DE = typename DT::Elem;
    auto c = Load<S>(s);
    if constexpr (ST::kPremultiplied && !DT::kPremultiplied) {
        c.b = Unpremul(c.b, c.a);
        c.g = Unpremul(c.g, c.a);
        c.r = Unpremul(c.r, c.a);
    }
    TColour<DE> o{Scale<DE>(c.b), Scale<DE>(c.g), Scale<DE>(c.r), Scale<DE>(c.a)};
    if constexpr (DT::kPremultiplied && !ST::kPremultiplied) {
        o.b = Premul(o.b, o.a);
        o.g = Premul(o.g, o.a);
        o.r = Premul(o.r, o.a);
    }
    Store<D>(d, o);
}

// 8-bit premultiplication of a whole BGRA pixel at once: blue and red share
// one 32-bit word as two 16-bit lanes, green takes another. Each lane holds
// t = c a <= 65025, and t + 128 + (t >> 8) <= 65407 stays inside it, so the
// lanes round exactly as Premul does.
inline uint32_t PremulPixel8(uint32_t p) noexcept {
    const uint32_t a = p >> 24;
    uint32_t rb = (p & 0x00FF00FFu) * a;
    uint32_t g = ((p >> 8) & 0xFFu) * a;
    rb = ((rb + 0x00800080u + ((rb >> 8) & 0x00FF00FFu)) >> 8) & 0x00FF00FFu;
    g = ((g + 0x80u + (g >> 8)) >> 8) & 0xFFu;
    return rb | g << 8 | a << 24;
}

template <EQPixelFormat S, EQPixelFormat D>
void ConvertPixels(void* dst, const void* src, int count, const SQRowConvertContext&) {
    using ST = TQPixelFormat<S>;
    using DT = TQPixelFormat<D>;
    const auto* s = static_cast<const typename ST::Elem*>(src);
    auto* d = static_cast<typename DT::Elem*>(dst);
    if constexpr (S == keFormatBGRA && D == keFormatBGRxA) {
        for (int i = 0; i < count; ++i) {
            uint32_t p;
            std::memcpy(&p, s + 4 * i, 4);
            p = PremulPixel8(p);
            std::memcpy(d + 4 * i, &p, 4);
        }
    } else {
        for (int i = 0; i < count; ++i, s += ST::kChannels, d += DT::kChannels) ConvertOne<S, D>(d, s);
    }
}

// ---- Indexed pixels -------------------------------------------------------------

// Index of pixel i of a row whose first pixel sits at `offset` inside its byte
// (most significant bits first).
template <EQPixelFormat F>
inline uint32_t ReadIndex(const uint8_t* row, int i, int offset) noexcept {
    constexpr int bits = TQPixelFormat<F>::kBitsPerPixel;
    if constexpr (bits == 1) {
        const int p = i + offset;
        return (row[p >> 3] >> (7 - (p & 7))) & 1u;
    } else if constexpr (bits == 4) {
        const int p = i + offset;
        return (row[p >> 1] >> ((p & 1) ? 0 : 4)) & 15u;
    } else if constexpr (bits == 8) {
        return row[i];
    } else {
        return row[2 * i];
    }
}

template <EQPixelFormat F>
inline void WriteIndex(uint8_t* row, int i, int offset, uint32_t index) noexcept {
    constexpr int bits = TQPixelFormat<F>::kBitsPerPixel;
    if constexpr (bits == 1) {
        const int p = i + offset;
        const int shift = 7 - (p & 7);
        row[p >> 3] = static_cast<uint8_t>((row[p >> 3] & ~(1u << shift)) | ((index & 1u) << shift));
    } else if constexpr (bits == 4) {
        const int p = i + offset;
        const int shift = (p & 1) ? 0 : 4;
        row[p >> 1] = static_cast<uint8_t>((row[p >> 1] & ~(15u << shift)) | ((index & 15u) << shift));
    } else if constexpr (bits == 8) {
        row[i] = static_cast<uint8_t>(index);
    } else {
        row[2 * i] = static_cast<uint8_t>(index);
    }
}

// The palette as BGRA pixels; entries beyond the palette read as opaque black.
struct SPaletteLut {
    uint8_t bgra[256][4];
    explicit SPaletteLut(const SQRowConvertContext& c) noexcept {
        const int n = c.palette ? std::clamp(c.paletteCount, 0, 256) : 0;
        for (int i = 0; i < 256; ++i) {
            const RGBQUAD q = i < n ? c.palette[i] : RGBQUAD{0, 0, 0, 0};
            bgra[i][0] = q.rgbBlue;
            bgra[i][1] = q.rgbGreen;
            bgra[i][2] = q.rgbRed;
            bgra[i][3] = 255;
        }
    }
};

// Index to colour: the palette entry, with Index8A's alpha byte as alpha.
template <EQPixelFormat S, EQPixelFormat D>
void IndexToPixels(void* dst, const void* src, int count, const SQRowConvertContext& ctx) {
    using DT = TQPixelFormat<D>;
    const SPaletteLut lut(ctx);
    const auto* s = static_cast<const uint8_t*>(src);
    auto* d = static_cast<typename DT::Elem*>(dst);
    for (int i = 0; i < count; ++i, d += DT::kChannels) {
        uint8_t px[4];
        std::memcpy(px, lut.bgra[ReadIndex<S>(s, i, ctx.srcPixelOffset)], 4);
        if constexpr (S == keFormatIndex8A) px[3] = s[2 * i + 1];
        ConvertOne<keFormatBGRA, D>(d, px);
    }
}

// Nearest palette entry of a BGR colour (squared distance, first of equals).
inline uint32_t NearestIndex(const SQRowConvertContext& ctx, const uint8_t* bgr) noexcept {
    const int n = ctx.palette ? std::clamp(ctx.paletteCount, 0, 256) : 0;
    uint32_t best = 0, bestDistance = ~0u;
    for (int i = 0; i < n && bestDistance; ++i) {
        const int db = int(ctx.palette[i].rgbBlue) - bgr[0], dg = int(ctx.palette[i].rgbGreen) - bgr[1],
                  dr = int(ctx.palette[i].rgbRed) - bgr[2];
        const uint32_t distance = uint32_t(db * db + dg * dg + dr * dr);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = static_cast<uint32_t>(i);
        }
    }
    return best;
}

// Colour to index: the nearest palette entry (remembering the last colour, as
// images repeat colours along a row); Index8A keeps the alpha.
template <EQPixelFormat S, EQPixelFormat D>
void PixelsToIndex(void* dst, const void* src, int count, const SQRowConvertContext& ctx) {
    using ST = TQPixelFormat<S>;
    const auto* s = static_cast<const typename ST::Elem*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    uint32_t lastColour = ~0u, lastIndex = 0;
    for (int i = 0; i < count; ++i, s += ST::kChannels) {
        uint8_t px[4];
        ConvertOne<S, keFormatBGRA>(px, s);
        uint32_t key;
        std::memcpy(&key, px, 4);
        key &= 0x00FFFFFFu;
        if (key != lastColour) {
            lastColour = key;
            lastIndex = NearestIndex(ctx, px);
        }
        WriteIndex<D>(d, i, ctx.dstPixelOffset, lastIndex);
        if constexpr (D == keFormatIndex8A) d[2 * i + 1] = px[3];
    }
}

// Index to index over the same palette: the index keeps its low bits; Index8A
// gains opaque alpha and loses its alpha.
template <EQPixelFormat S, EQPixelFormat D>
void IndexToIndex(void* dst, const void* src, int count, const SQRowConvertContext& ctx) {
    const auto* s = static_cast<const uint8_t*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    for (int i = 0; i < count; ++i) {
        WriteIndex<D>(d, i, ctx.dstPixelOffset, ReadIndex<S>(s, i, ctx.srcPixelOffset));
        if constexpr (D == keFormatIndex8A) d[2 * i + 1] = S == keFormatIndex8A ? s[2 * i + 1] : 255;
    }
}

// ---- Channel movers -----------------------------------------------------------------

// One channel out: d[i] = s[i x N + channel].
template <class E, int N>
void GetChannel(void* dst, const void* src, int count, const SQRowConvertContext& ctx) {
    const E* s = static_cast<const E*>(src) + ctx.channel;
    E* d = static_cast<E*>(dst);
    for (int i = 0; i < count; ++i) d[i] = s[size_t(i) * N];
}

// One channel back: d[i x N + channel] = s[i], the other channels untouched.
template <class E, int N>
void MoveChannel(void* dst, const void* src, int count, const SQRowConvertContext& ctx) {
    const E* s = static_cast<const E*>(src);
    E* d = static_cast<E*>(dst) + ctx.channel;
    for (int i = 0; i < count; ++i) d[size_t(i) * N] = s[i];
}

// The colour channels of a four-channel pixel: d = (b, g, r) of s = (b, g, r, a).
template <class E>
void GetColourChannels(void* dst, const void* src, int count, const SQRowConvertContext&) {
    const E* s = static_cast<const E*>(src);
    E* d = static_cast<E*>(dst);
    for (int i = 0; i < count; ++i, s += 4, d += 3) {
        d[0] = s[0];
        d[1] = s[1];
        d[2] = s[2];
    }
}

// Back: (b, g, r) into the colour channels, alpha untouched.
template <class E>
void MoveColourChannels(void* dst, const void* src, int count, const SQRowConvertContext&) {
    const E* s = static_cast<const E*>(src);
    E* d = static_cast<E*>(dst);
    for (int i = 0; i < count; ++i, s += 3, d += 4) {
        d[0] = s[0];
        d[1] = s[1];
        d[2] = s[2];
    }
}

}  // namespace qgdi_convert
