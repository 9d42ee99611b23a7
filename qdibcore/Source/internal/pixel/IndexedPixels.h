#pragma once
// Palette indices: reading and writing single indices of 1-, 2-, 4- and
// 8-bit rows, packing and unpacking whole rows eight pixels per word, and the
// palette as a table of BGRA words.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/TargetPass.h"
#include "qdibcore/Source/PixelFormatTraits.h"

namespace qgdi::px {
// Each kernel pass has its own copies (see platform/TargetPass.h).
inline namespace QGDI_TARGET_NS {

// Bits of one index of an indexed format: 1, 4, 8 (Index8 and Index8A), and
// the bytes from one index to the next for the byte-wide ones.
template <EQPixelFormat F>
inline constexpr int kIndexBits = TQPixelFormat<F>::kBitsPerPixel >= 8 ? 8 : TQPixelFormat<F>::kBitsPerPixel;
template <EQPixelFormat F>
inline constexpr int kIndexStride = TQPixelFormat<F>::kBitsPerPixel >= 8 ? TQPixelFormat<F>::kBitsPerPixel / 8 : 0;

// ---- One index at a time (sub-byte rows hold their first pixel in the high bits) -------

template <int Bits>
inline uint8_t IndexAtBits(const uint8_t* row, size_t i) noexcept {
    static_assert(Bits == 1 || Bits == 2 || Bits == 4);
    constexpr int perByte = 8 / Bits;
    const int shift = 8 - Bits * (int(i % perByte) + 1);
    return static_cast<uint8_t>((row[i / perByte] >> shift) & ((1u << Bits) - 1));
}

template <int Bits>
inline void SetIndexBits(uint8_t* row, size_t i, uint32_t index) noexcept {
    static_assert(Bits == 1 || Bits == 2 || Bits == 4);
    constexpr int perByte = 8 / Bits;
    constexpr uint32_t low = (1u << Bits) - 1;
    const int shift = 8 - Bits * (int(i % perByte) + 1);
    uint8_t& b = row[i / perByte];
    b = static_cast<uint8_t>((b & ~(low << shift)) | ((index & low) << shift));
}

// Index of pixel i, counted from the first bit of `row`.
template <EQPixelFormat F>
inline uint8_t IndexAt(const uint8_t* row, int i) noexcept {
    if constexpr (kIndexBits<F> < 8) return IndexAtBits<kIndexBits<F>>(row, static_cast<size_t>(i));
    else return row[static_cast<size_t>(i) * kIndexStride<F>];
}

// Stores the low bits of `index` as pixel i, the other pixels untouched.
template <EQPixelFormat F>
inline void SetIndex(uint8_t* row, int i, uint32_t index) noexcept {
    if constexpr (kIndexBits<F> < 8) SetIndexBits<kIndexBits<F>>(row, static_cast<size_t>(i), index);
    else row[static_cast<size_t>(i) * kIndexStride<F>] = static_cast<uint8_t>(index);
}

// ---- Eight indices per word ------------------------------------------------------

// m repeated in every lane of L bits of a 64-bit word.
constexpr uint64_t LaneMask(int lane, uint64_t m) noexcept {
    uint64_t out = 0;
    for (int k = 0; k < 64; k += lane) out |= m << k;
    return out;
}

// The eight indices held by the first Bits bytes of `packed`, one per byte
// of the result (first pixel in the lowest byte). The bytes are spread into
// lanes of 64 / Bits bits; each step halves the lanes, the field's high half
// (the earlier pixel) going to the lower lane.
template <int Bits>
inline uint64_t UnpackWord(const uint8_t* packed) noexcept {
    static_assert(Bits == 1 || Bits == 2 || Bits == 4);
    if constexpr (Bits == 1) {
        // The byte copied into every lane; lane k keeps bit 7 - k, and adding
        // 0x7F carries any set bit into the lane's top bit (no lane overflows).
        const uint64_t v = (uint64_t(packed[0]) * 0x0101010101010101ull) & 0x0102040810204080ull;
        return ((v + 0x7F7F7F7F7F7F7F7Full) >> 7) & 0x0101010101010101ull;
    }
    constexpr int kLane = 64 / Bits;
    uint64_t v = 0;
    for (int j = 0; j < Bits; ++j) v |= uint64_t(packed[j]) << (j * kLane);
    int lane = kLane;
    for (int field = 8; field > Bits; field /= 2, lane /= 2) {
        const int half = field / 2;
        const uint64_t low = LaneMask(lane, (uint64_t(1) << half) - 1);
        v = ((v >> half) & low) | ((v & low) << (lane / 2));
    }
    return v;
}

// The inverse: the low Bits bits of each byte of `indices` packed into the
// first Bits bytes of `packed`. Each step merges neighbouring lanes into one
// of twice the width, the earlier pixel in the high half of the field.
template <int Bits>
inline void PackWord(uint8_t* packed, uint64_t indices) noexcept {
    static_assert(Bits == 1 || Bits == 2 || Bits == 4);
    if constexpr (Bits == 1) {
        // Bit 0 of byte k lands on bit 63 - k of the product; every partial
        // product has a bit position of its own, so nothing carries.
        packed[0] = static_cast<uint8_t>(((indices & 0x0101010101010101ull) * 0x8040201008040201ull) >> 56);
        return;
    }
    uint64_t v = indices & LaneMask(8, (1u << Bits) - 1);
    int lane = 8;
    for (int field = Bits; field < 8; field *= 2, lane *= 2)
        v = ((v << field) | (v >> lane)) & LaneMask(2 * lane, (uint64_t(1) << (2 * field)) - 1);
    for (int j = 0; j < Bits; ++j) packed[j] = static_cast<uint8_t>(v >> (j * lane));
}

// ---- Whole rows ------------------------------------------------------------------

// indices[k] = index of pixel offset + k of `row`, for k < n.
template <EQPixelFormat F>
inline void UnpackIndices(uint8_t* indices, const uint8_t* row, int n, int offset = 0) noexcept {
    constexpr int bits = kIndexBits<F>;
    if constexpr (bits == 8) {
        constexpr int stride = kIndexStride<F>;
        row += static_cast<size_t>(offset) * stride;
        if constexpr (stride == 1) std::memcpy(indices, row, static_cast<size_t>(n > 0 ? n : 0));
        else
            for (int k = 0; k < n; ++k) indices[k] = row[static_cast<size_t>(k) * stride];  // @vectorised
    } else {
        constexpr int perByte = 8 / bits;
        row += offset / perByte;
        int p = offset % perByte, k = 0;
        for (; k < n && p % perByte != 0; ++k, ++p) indices[k] = IndexAtBits<bits>(row, size_t(p));
        const uint8_t* in = row + p / perByte;
        for (; k + 8 <= n; k += 8, in += bits) {
            const uint64_t w = UnpackWord<bits>(in);
            std::memcpy(indices + k, &w, 8);
        }
        for (int t = 0; k < n; ++k, ++t) indices[k] = IndexAtBits<bits>(in, size_t(t));
    }
}

// Pixels offset .. offset + n - 1 of `row` = the low bits of indices[0 .. n - 1];
// every other pixel of the row keeps its bits.
template <EQPixelFormat F>
inline void PackIndices(uint8_t* row, const uint8_t* indices, int n, int offset = 0) noexcept {
    constexpr int bits = kIndexBits<F>;
    if constexpr (bits == 8) {
        constexpr int stride = kIndexStride<F>;
        row += static_cast<size_t>(offset) * stride;
        if constexpr (stride == 1) std::memcpy(row, indices, static_cast<size_t>(n > 0 ? n : 0));
        else
            for (int k = 0; k < n; ++k) row[static_cast<size_t>(k) * stride] = indices[k];  // @vectorised
    } else {
        constexpr int perByte = 8 / bits;
        row += offset / perByte;
        int p = offset % perByte, k = 0;
        for (; k < n && p % perByte != 0; ++k, ++p) SetIndexBits<bits>(row, size_t(p), indices[k]);
        uint8_t* out = row + p / perByte;
        for (; k + 8 <= n; k += 8, out += bits) {
            uint64_t w;
            std::memcpy(&w, indices + k, 8);
            PackWord<bits>(out, w);
        }
        for (int t = 0; k < n; ++k, ++t) SetIndexBits<bits>(out, size_t(t), indices[k]);
    }
}

// n pixels of one indexed format from src to dst at the same offset, the bits
// of other pixels of dst untouched.
template <EQPixelFormat F>
inline void CopyIndices(uint8_t* dst, const uint8_t* src, int n, int offset = 0) noexcept {
    constexpr size_t bits = TQPixelFormat<F>::kBitsPerPixel;
    if (n <= 0) return;
    const size_t first = static_cast<size_t>(offset) * bits, end = first + static_cast<size_t>(n) * bits;
    auto merge = [&](size_t byte, unsigned take) {
        dst[byte] = static_cast<uint8_t>((dst[byte] & ~take) | (src[byte] & take));
    };
    const unsigned head = 0xFFu >> (first % 8), tail = (0xFF00u >> (end % 8)) & 0xFFu;
    size_t from = first / 8;
    const size_t to = end / 8;  // the byte holding the end, whole bytes before it
    if (from == to) {
        merge(from, head & tail);
        return;
    }
    if (first % 8) merge(from++, head);
    std::memcpy(dst + from, src + from, to - from);
    if (end % 8) merge(to, tail);
}

// Bits [outBit, outBit + bits) of `out` = bits [inBit, inBit + bits) of `in`,
// counted from the high bit of each first byte, a byte at a time; the other
// bits of `out` are kept and no byte of `in` past the span is read. Moves
// packed spans between a row's pixel offset and a buffer that starts on a byte.
inline void MoveBits(uint8_t* out, size_t outBit, const uint8_t* in, size_t inBit, size_t bits) noexcept {
    if (!bits) return;
    out += outBit / 8, outBit %= 8;
    in += inBit / 8, inBit %= 8;
    const size_t inEnd = inBit + bits, outEnd = outBit + bits;
    // The 8 bits of `in` from bit p on (p < inEnd).
    auto byteAt = [&](size_t p) -> unsigned {
        const size_t q = p / 8, r = p % 8;
        unsigned w = unsigned(in[q]) << 8;
        if (r && (q + 1) * 8 < inEnd) w |= in[q + 1];
        return (w >> (8 - r)) & 0xFFu;
    };
    for (size_t k = 0; k * 8 < outEnd; ++k) {
        // bit j of byte k is bit 8 k + j - outBit of the span
        const unsigned v = k == 0 ? byteAt(inBit) >> outBit : byteAt(inBit + 8 * k - outBit);
        const size_t end = std::min<size_t>(8, outEnd - 8 * k);
        const unsigned take = (k == 0 ? 0xFFu >> outBit : 0xFFu) & (0xFF00u >> end);
        out[k] = static_cast<uint8_t>((out[k] & ~take) | (v & take));
    }
}

// ---- Palette -------------------------------------------------------------------

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

// Nearest palette entry of a BGR colour by squared distance, the first of
// equals; 0 for an empty palette.
inline uint32_t NearestIndex(const RGBQUAD* palette, int count, const uint8_t* bgr) noexcept {
    const int n = palette ? (count < 0 ? 0 : count > 256 ? 256 : count) : 0;
    uint32_t best = 0, bestDistance = ~0u;
    for (int i = 0; i < n && bestDistance; ++i) {
        const int db = int(palette[i].rgbBlue) - bgr[0], dg = int(palette[i].rgbGreen) - bgr[1],
                  dr = int(palette[i].rgbRed) - bgr[2];
        const uint32_t distance = uint32_t(db * db + dg * dg + dr * dr);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = static_cast<uint32_t>(i);
        }
    }
    return best;
}

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::px
