#pragma once
// Images for the iterator tests: packed bitmaps built byte by byte, and
// seeded random images of every format with valid pixel values.
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "qgdi.h"

namespace qgdi::test {

inline std::vector<EQPixelFormat> AllFormats() {
    std::vector<EQPixelFormat> out;
    for (int f = keFormatIndex1; f <= keFormatLast; ++f) out.push_back(static_cast<EQPixelFormat>(f));
    return out;
}

inline std::string FormatName(EQPixelFormat f) { return QGDI_FindPixelFormatTraits(f)->shortName; }

// A packed bitmap: 40-byte header, `palette`, then rows; `pixel(x, y)` gives
// the index or 0x00RRGGBB / 0xAARRGGBB value of pixel (x, y), y = 0 at the top.
template <class Pixel>
CQmmBinPtr MakePackedDib(int width, int height, int bits, bool topDown, const std::vector<RGBQUAD>& palette,
                         Pixel pixel, uint32_t clrUsed = ~0u) {
    const size_t stride = ((size_t(bits) * width + 31) / 32) * 4;
    const size_t bytes = 40 + 4 * palette.size() + stride * size_t(height);
    CQmmBinPtr block = CQmmBinPtr::Adopt(QMM_AllocEX(bytes, GHND));
    CLockAccessor lock(block);
    auto* p = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
    BITMAPINFOHEADER h{};
    h.biSize = 40;
    h.biWidth = width;
    h.biHeight = topDown ? -height : height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(bits);
    h.biClrUsed = clrUsed == ~0u ? static_cast<DWORD>(palette.size()) : clrUsed;
    std::memcpy(p, &h, 40);
    if (!palette.empty()) std::memcpy(p + 40, palette.data(), 4 * palette.size());
    uint8_t* pixels = p + 40 + 4 * palette.size();
    for (int y = 0; y < height; ++y) {
        uint8_t* row = pixels + size_t(topDown ? y : height - 1 - y) * stride;
        for (int x = 0; x < width; ++x) {
            const uint32_t v = pixel(x, y);
            if (bits < 8) {
                const int bit = x * bits;
                row[bit / 8] |= static_cast<uint8_t>(v << (8 - bits - bit % 8));
            } else {
                for (int b = 0; b < bits / 8; ++b) row[size_t(x) * (bits / 8) + b] = static_cast<uint8_t>(v >> (8 * b));
            }
        }
    }
    return block;
}

inline std::vector<RGBQUAD> RandomPalette(int count, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<RGBQUAD> p(static_cast<size_t>(count));
    for (RGBQUAD& q : p) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    return p;
}

// Writes random valid pixels into the native rows: indices within the
// palette, premultiplied colour not above alpha, floats in 0..1.
inline void FillRandom(CRowIterator& it, uint32_t seed) {
    std::mt19937 rng(seed);
    const EQPixelFormat f = it.GetNativeFormat();
    const SQPixelFormatTraits& t = *QGDI_FindPixelFormatTraits(f);
    const int count = it.GetPaletteCount();
    for (int y = 0; y < it.GetHeight(); ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(it.GetNativeRow(row, y).IsError());
        for (int x = 0; x < it.GetWidth(); ++x) {
            if (t.formatClass == keFormatClassIndexed) {
                const uint32_t index = count ? rng() % uint32_t(count) : 0;
                if (t.bitsPerPixel < 8) {
                    const int bit = (x + it.GetPixelOffset()) * t.bitsPerPixel;
                    const int shift = 8 - t.bitsPerPixel - bit % 8;
                    const uint8_t mask = static_cast<uint8_t>(((1u << t.bitsPerPixel) - 1) << shift);
                    row[bit / 8] = static_cast<uint8_t>((row[bit / 8] & ~mask) | (index << shift));
                } else {
                    row[size_t(x) * (t.bitsPerPixel / 8)] = static_cast<uint8_t>(index);
                    if (t.alpha) row[size_t(x) * 2 + 1] = static_cast<uint8_t>(rng());
                }
                continue;
            }
            double v[4];
            for (double& c : v) c = (rng() % 100001) / 100000.0;
            if (t.premultiplied)
                for (int c = 0; c < t.channelCount; ++c)
                    if (t.channels[c] != keChannelAlpha) v[c] *= v[t.channelCount - 1];
            for (int c = 0; c < t.channelCount; ++c) {
                uint8_t* px = row + size_t(x) * (t.bitsPerPixel / 8) + size_t(c) * (t.bitsPerChannel / 8);
                if (t.bitsPerChannel == 8) *px = static_cast<uint8_t>(v[c] * 255.0 + 0.5);
                else if (t.bitsPerChannel == 16) {
                    const uint16_t w = static_cast<uint16_t>(v[c] * 65535.0 + 0.5);
                    std::memcpy(px, &w, 2);
                } else {
                    const float fl = static_cast<float>(v[c]);
                    std::memcpy(px, &fl, 4);
                }
            }
        }
        it.ReleaseNativeRow(y).Ignore();
    }
}

// A created image of `format` with a 16-entry palette for indexed formats and random pixels.
inline void MakeRandomImage(CRowIterator& it, EQPixelFormat format, int width, int height, uint32_t seed) {
    const std::vector<RGBQUAD> palette = RandomPalette(format == keFormatIndex1 ? 2 : 16, seed);
    ASSERT_FALSE(it.Create(width, height, format, nullptr, palette.data(), static_cast<int>(palette.size())).IsError());
    FillRandom(it, seed + 1);
}

// Bytes of presented row y, packed from its first bit.
inline std::vector<uint8_t> PackedRow(const CRowIterator& it, int y) {
    const size_t bytes = (size_t(it.GetBPP()) * it.GetWidth() + 7) / 8;
    std::vector<uint8_t> out(bytes + 1, 0);
    const uint8_t* row = nullptr;
    int offset = 0;
    if (it.GetRow(row, y, 0, -1, &offset).IsError()) return {};
    const int bpp = it.GetBPP();
    if (offset == 0) {
        std::memcpy(out.data(), row, bytes);
    } else {
        for (int x = 0; x < it.GetWidth(); ++x) {
            const int from = (x + offset) * bpp, to = x * bpp;
            const uint32_t v = (row[from / 8] >> (8 - bpp - from % 8)) & ((1u << bpp) - 1);
            out[size_t(to / 8)] |= static_cast<uint8_t>(v << (8 - bpp - to % 8));
        }
    }
    it.ReleaseRow(y).Ignore();
    out.resize(bytes);
    return out;
}

}  // namespace qgdi::test
