#pragma once
// The one conversion of a row between two pixel formats. The iterator's
// converters and the row-copy kinds are both instantiations of ConvertRow, so
// a format change and a copy give the same bytes. Also the channel movers of
// the iterator's channel access.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "platform/TargetPass.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qdibcore/Source/internal/pixel/IndexedPixels.h"
#include "qdibcore/Source/internal/pixel/Pixel.h"

namespace qgdi::px {
// Each kernel pass has its own copies (see platform/TargetPass.h).
inline namespace QGDI_TARGET_NS {

template <EQPixelFormat D, EQPixelFormat S>
struct TConvertRule {
    using TD = TQPixelFormat<D>;
    using TS = TQPixelFormat<S>;
    // Premultiplication changes in the wider of the two precisions it meets:
    // divided out in the source's, multiplied in in the destination's. An
    // opaque source needs no multiplication.
    static constexpr bool kUnpremul = TS::kPremultiplied && !TD::kPremultiplied;
    static constexpr bool kPremul = TD::kPremultiplied && !TS::kPremultiplied && TS::kAlpha;
    // Between 8-bit colour layouts with nothing to multiply, only bytes move.
    static constexpr bool kByteShuffle = sizeof(typename TD::Elem) == 1 && sizeof(typename TS::Elem) == 1 &&
                                         !TD::kGrey && !TS::kGrey && !TD::kIndexed && !TS::kIndexed && !kUnpremul &&
                                         !kPremul;
};

// One pixel: straighten, rescale, premultiply, reduce to grey, as the formats need.
template <EQPixelFormat D, EQPixelFormat S>
QGDI_PX_INLINE void ConvertPixel(typename TPx<D>::E* d, const typename TPx<S>::E* s) noexcept {
    using PD = TPx<D>;
    using PS = TPx<S>;
    using R = TConvertRule<D, S>;
    typename PS::C c = PS::LoadRaw(s);
    if constexpr (R::kUnpremul) PS::Unpremultiply(c);
    typename PD::C o = CastColour<typename PD::E, typename PS::E>(c);
    if constexpr (R::kPremul) PD::Premultiply(o);
    PD::StoreRaw(d, o);
}

// 8-bit premultiplication of a whole BGRA pixel at once: blue and red share
// one 32-bit word as two 16-bit lanes, green takes another. Each lane holds
// t = c a <= 65025; y = t + 128 <= 65153 and y + (y >> 8) <= 65407 stay inside
// it, so the lanes round exactly as Div255 does.
inline uint32_t PremulPixel8(uint32_t p) noexcept {
    const uint32_t a = p >> 24;
    uint32_t rb = (p & 0x00FF00FFu) * a + 0x00800080u;
    uint32_t g = ((p >> 8) & 0xFFu) * a + 0x80u;
    rb = ((rb + ((rb >> 8) & 0x00FF00FFu)) >> 8) & 0x00FF00FFu;
    g = ((g + (g >> 8)) >> 8) & 0xFFu;
    return rb | g << 8 | a << 24;
}

// Colour bytes of 8-bit BGR, BGRA or BGRxA moved between 3- and 4-byte
// pixels; alpha is copied or made opaque.
template <EQPixelFormat D, EQPixelFormat S>
inline void ShuffleBytes(uint8_t* dst, const uint8_t* src, int n) noexcept {
    using TD = TQPixelFormat<D>;
    using TS = TQPixelFormat<S>;
    int i = 0;
    if constexpr (std::endian::native == std::endian::little && TS::kChannels + TD::kChannels == 7) {
        // Four pixels take 12 bytes on the 3-byte side and 16 on the other,
        // so whole words are shifted into place.
        for (; i + 4 <= n; i += 4) {
            const uint8_t* in = src + static_cast<size_t>(i) * TS::kChannels;
            uint8_t* out = dst + static_cast<size_t>(i) * TD::kChannels;
            if constexpr (TS::kChannels == 3) {
                uint32_t w[3], o[4];
                std::memcpy(w, in, sizeof w);
                o[0] = w[0] | 0xFF000000u;
                o[1] = (w[0] >> 24) | (w[1] << 8) | 0xFF000000u;
                o[2] = (w[1] >> 16) | (w[2] << 16) | 0xFF000000u;
                o[3] = (w[2] >> 8) | 0xFF000000u;
                std::memcpy(out, o, sizeof o);
            } else {
                uint64_t a, b;
                std::memcpy(&a, in, 8);
                std::memcpy(&b, in + 8, 8);
                const uint64_t lo = (a & 0xFFFFFFu) | ((a >> 8) & 0xFFFFFF000000u) | (b << 48);
                const uint32_t hi = static_cast<uint32_t>(((b >> 16) & 0xFFu) | ((b >> 24) & 0xFFFFFF00u));
                std::memcpy(out, &lo, 8);
                std::memcpy(out + 8, &hi, 4);
            }
        }
    }
    for (; i < n; ++i) {
        uint8_t* d = dst + static_cast<size_t>(i) * TD::kChannels;
        const uint8_t* p = src + static_cast<size_t>(i) * TS::kChannels;
        d[0] = p[0];
        d[1] = p[1];
        d[2] = p[2];
        if constexpr (TD::kAlpha) d[3] = TS::kAlpha ? p[3] : 255;
    }
}

template <EQPixelFormat D, EQPixelFormat S>
void ConvertRow(void* dst, const void* src, int count, const SQRowConvertContext& ctx);

// Rows with palette indices go through blocks of 8-bit indices and BGRA words
// on the stack, so that packing and the palette are each handled once.
template <EQPixelFormat D, EQPixelFormat S>
void ConvertIndexedRow(uint8_t* dst, const uint8_t* src, int count, const SQRowConvertContext& ctx) {
    using TD = TQPixelFormat<D>;
    using TS = TQPixelFormat<S>;
    constexpr int kBlock = 256;
    // Pixel offsets only place the first pixel of sub-byte rows.
    const int srcOffset = kIndexBits<S> < 8 ? ctx.srcPixelOffset : 0;
    const int dstOffset = kIndexBits<D> < 8 ? ctx.dstPixelOffset : 0;
    uint8_t indices[kBlock];
    if constexpr (TS::kIndexed && TD::kIndexed) {
        // The index keeps its low bits; Index8A's alpha is kept, or made opaque.
        if constexpr (D == S) {
            if (srcOffset == dstOffset) {
                if (dst != src) CopyIndices<D>(dst, src, count, dstOffset);
                return;
            }
        }
        // One side in plain bytes needs no block between them.
        if constexpr (D == keFormatIndex8) {
            UnpackIndices<S>(dst, src, count, srcOffset);
            return;
        } else if constexpr (S == keFormatIndex8) {
            PackIndices<D>(dst, src, count, dstOffset);
            if constexpr (D == keFormatIndex8A)
                for (int k = 0; k < count; ++k) dst[2 * k + 1] = 255;
            return;
        }
        for (int i = 0; i < count; i += kBlock) {
            const int m = std::min(kBlock, count - i);
            UnpackIndices<S>(indices, src, m, srcOffset + i);
            PackIndices<D>(dst, indices, m, dstOffset + i);
            if constexpr (D == keFormatIndex8A)
                for (int k = i; k < i + m; ++k) dst[2 * k + 1] = S == keFormatIndex8A ? src[2 * k + 1] : 255;
        }
    } else if constexpr (TS::kIndexed) {
        // Palette entry, with Index8A's alpha byte as alpha.
        const SPaletteLUT lut(ctx.palette, ctx.paletteCount);
        uint32_t block[kBlock];
        const SQRowConvertContext plain;
        for (int i = 0; i < count; i += kBlock) {
            const int m = std::min(kBlock, count - i);
            // BGRA words go straight to a BGRA row (native byte order is BGRA on little-endian).
            constexpr bool kDirect = D == keFormatBGRA && std::endian::native == std::endian::little;
            uint32_t* bgra = block;
            if constexpr (kDirect) bgra = reinterpret_cast<uint32_t*>(dst + ByteOffset<D>(i));
            UnpackIndices<S>(indices, src, m, srcOffset + i);
            for (int k = 0; k < m; ++k) {  // @vectorised
                uint32_t w = lut.bgra[indices[k]];
                if constexpr (S == keFormatIndex8A) w = (w & 0x00FFFFFFu) | uint32_t(src[2 * (i + k) + 1]) << 24;
                std::memcpy(bgra + k, &w, 4);
            }
            if constexpr (!kDirect) ConvertRow<D, keFormatBGRA>(dst + ByteOffset<D>(i), block, m, plain);
        }
    } else {
        // Nearest palette entry of the colour, remembering the last colour, as
        // images repeat colours along a row; Index8A keeps the alpha.
        uint8_t bgra[4 * kBlock];
        const SQRowConvertContext plain;
        uint32_t lastColour = ~0u, lastIndex = 0;
        for (int i = 0; i < count; i += kBlock) {
            const int m = std::min(kBlock, count - i);
            ConvertRow<keFormatBGRA, S>(bgra, src + ByteOffset<S>(i), m, plain);
            for (int k = 0; k < m; ++k) {
                uint32_t key;
                std::memcpy(&key, bgra + 4 * k, 4);
                key &= 0x00FFFFFFu;
                if (key != lastColour) {
                    lastColour = key;
                    lastIndex = NearestIndex(ctx.palette, ctx.paletteCount, bgra + 4 * k);
                }
                indices[k] = static_cast<uint8_t>(lastIndex);
            }
            PackIndices<D>(dst, indices, m, dstOffset + i);
            if constexpr (D == keFormatIndex8A)
                for (int k = 0; k < m; ++k) dst[2 * (i + k) + 1] = bgra[4 * k + 3];  // @vectorised
        }
    }
}

// `count` pixels of format S at `src` to format D at `dst`. Sub-byte rows
// start at the context's pixel offsets; palette formats use its palette.
// Pairs of equal size may convert in place.
template <EQPixelFormat D, EQPixelFormat S>
void ConvertRow(void* dst, const void* src, int count, const SQRowConvertContext& ctx) {
    using TD = TQPixelFormat<D>;
    using TS = TQPixelFormat<S>;
    using R = TConvertRule<D, S>;
    if (count <= 0) return;
    auto* d = static_cast<uint8_t*>(dst);
    const auto* s = static_cast<const uint8_t*>(src);
    if constexpr (TD::kIndexed || TS::kIndexed) {
        ConvertIndexedRow<D, S>(d, s, count, ctx);
    } else if constexpr (D == S) {
        if (d != s) std::memcpy(d, s, ByteOffset<D>(count));
    } else if constexpr (S == keFormatBGRA && D == keFormatBGRxA) {
        for (int i = 0; i < count; ++i) {  // @vectorised
            uint32_t p;
            std::memcpy(&p, s + 4 * i, 4);
            p = PremulPixel8(p);
            std::memcpy(d + 4 * i, &p, 4);
        }
    } else if constexpr (R::kByteShuffle) {
        ShuffleBytes<D, S>(d, s, count);
    } else {
        auto* dp = reinterpret_cast<typename TD::Elem*>(d);
        const auto* sp = reinterpret_cast<const typename TS::Elem*>(s);
        for (int i = 0; i < count; ++i, dp += TD::kChannels, sp += TS::kChannels) {  // @vectorised
            ConvertPixel<D, S>(dp, sp);
        }
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

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::px
