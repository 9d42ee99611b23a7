#pragma once
// Reading and writing palette indices of the indexed formats, and the
// palette as a table of BGRA words.
#include <array>
#include <cstdint>
#include <cstring>

#include "QuorRender/RowOp.h"
#include "qdibcore/Source/PixelFormatTraits.h"

namespace qgdi_px {

// Index of pixel i; sub-byte rows hold their first pixel in the high bits.
template <EQPixelFormat F>
inline uint8_t IndexAt(const uint8_t* row, int i) noexcept {
    constexpr int bits = TQPixelFormat<F>::kBitsPerPixel;
    if constexpr (bits == 1) return (row[i >> 3] >> (7 - (i & 7))) & 1;
    else if constexpr (bits == 4) return (row[i >> 1] >> ((i & 1) ? 0 : 4)) & 15;
    else return row[static_cast<size_t>(i) * (bits / 8)];
}

template <EQPixelFormat F>
inline void SetIndex(uint8_t* row, int i, uint8_t index) noexcept {
    constexpr int bits = TQPixelFormat<F>::kBitsPerPixel;
    if constexpr (bits == 1) {
        const uint8_t bit = static_cast<uint8_t>(0x80u >> (i & 7));
        row[i >> 3] = static_cast<uint8_t>((index & 1) ? row[i >> 3] | bit : row[i >> 3] & ~bit);
    } else if constexpr (bits == 4) {
        const int shift = (i & 1) ? 0 : 4;
        row[i >> 1] = static_cast<uint8_t>((row[i >> 1] & ~(15 << shift)) | ((index & 15) << shift));
    } else {
        row[static_cast<size_t>(i) * (bits / 8)] = index;
    }
}

// Copies n pixels of one indexed format, leaving the bits past the last pixel alone.
template <EQPixelFormat F>
inline void CopyIndices(uint8_t* dst, const uint8_t* src, int n) noexcept {
    constexpr int bits = TQPixelFormat<F>::kBitsPerPixel;
    const size_t whole = static_cast<size_t>(n) * bits / 8;
    std::memcpy(dst, src, whole);
    const int tail = static_cast<int>((static_cast<size_t>(n) * bits) % 8);
    if (tail) {
        const uint8_t keep = static_cast<uint8_t>(0xFFu >> tail);
        dst[whole] = static_cast<uint8_t>((dst[whole] & keep) | (src[whole] & ~keep));
    }
}

// Packs n 8-bit indices into a 1- or 4-bit row (only the low bits of each
// index survive), leaving the bits past the last pixel alone.
template <EQPixelFormat F>
inline void PackIndices(uint8_t* dst, const uint8_t* indices, int n) noexcept {
    constexpr int bits = TQPixelFormat<F>::kBitsPerPixel;
    static_assert(bits == 1 || bits == 4);
    constexpr int perByte = 8 / bits;
    constexpr uint32_t low = (1u << bits) - 1;
    const int whole = n / perByte;
    for (int b = 0; b < whole; ++b) {
        uint32_t v = 0;
        for (int k = 0; k < perByte; ++k) v = (v << bits) | (indices[b * perByte + k] & low);
        dst[b] = static_cast<uint8_t>(v);
    }
    for (int i = whole * perByte; i < n; ++i) SetIndex<F>(dst, i, indices[i]);
}

// The palette as BGRA words (blue in the low byte) with opaque alpha; indices
// beyond the palette's count read as opaque black.
struct SPaletteLUT {
    std::array<uint32_t, 256> bgra;

    SPaletteLUT(const RGBQUAD* palette, int count) noexcept {
        if (!palette || count < 0) count = 0;
        if (count > 256) count = 256;
        for (int i = 0; i < 256; ++i) {
            if (i < count) {
                const RGBQUAD& q = palette[i];
                bgra[i] = q.rgbBlue | (uint32_t(q.rgbGreen) << 8) | (uint32_t(q.rgbRed) << 16) | 0xFF000000u;
            } else {
                bgra[i] = 0xFF000000u;
            }
        }
    }
};

}  // namespace qgdi_px
