#pragma once
// Helpers shared by the row-operation tests: building a row record and
// running a definition on it the way an operation would.
#include <cstdint>
#include <ostream>
#include <random>
#include <vector>

#include "QuorRender/internal/RowOpRegistry.h"
#include "qgdi.h"

// Test parameters drawn from the kind registry print as the kind's name.
namespace qgdi::rowop {
inline void PrintTo(const SKindSample& kind, std::ostream* os) { *os << kind.name; }
}  // namespace qgdi::rowop

namespace qgdi::test {

using Bytes = std::vector<uint8_t>;

inline int PixelBytes(EQPixelFormat f) { return CQPixelFormat(f).GetBitsPerPixel() / 8; }
inline size_t RowBytes(EQPixelFormat f, int n) { return (size_t(CQPixelFormat(f).GetBitsPerPixel()) * n + 7) / 8; }

// Binds `def` for the formats of the rows and runs it once; returns the bound operation.
inline CRowOp RunOp(const CRowOpDef& def, EQPixelFormat dstFormat, Bytes& dst, EQPixelFormat srcFormat = keFormatNone,
                    const Bytes* src = nullptr, const Bytes* mask = nullptr, const RGBQUAD* palette = nullptr,
                    int paletteCount = 0, int count = -1, int x = 0, int y = 0) {
    CRowOpData data;
    data.eDstFormat = dstFormat;
    data.eSrcFormat = srcFormat;
    data.nCount = count >= 0 ? count : static_cast<int>(dst.size() * 8 / CQPixelFormat(dstFormat).GetBitsPerPixel());
    data.pDst = dst.data();
    data.pSrc = src ? src->data() : nullptr;
    data.pMask = mask ? mask->data() : nullptr;
    data.pSrcPalette = data.pDstPalette = palette;
    data.nSrcPaletteCount = data.nDstPaletteCount = paletteCount;
    data.x = x;
    data.y = y;
    CRowOp op(&def, data);
    op(data);
    return op;
}

// Random bytes, biased towards 0 and 255 where the arithmetic has its corners.
inline Bytes RandomBytes(std::mt19937& rng, size_t n) {
    Bytes b(n);
    for (auto& v : b) {
        const uint32_t r = rng();
        v = (r & 7) == 0 ? 0 : (r & 7) == 1 ? 255 : static_cast<uint8_t>(r >> 8);
    }
    return b;
}

// Float rows need values a kernel can meet in an image: 0..1 with some outside.
inline void RandomizeFloats(std::mt19937& rng, Bytes& b) {
    auto* f = reinterpret_cast<float*>(b.data());
    std::uniform_real_distribution<float> u(-0.25f, 1.25f);
    for (size_t i = 0; i < b.size() / 4; ++i) f[i] = u(rng);
}

}  // namespace qgdi::test
