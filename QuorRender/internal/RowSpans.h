#pragma once
// How a kernel meets an optional coverage mask: the pixel math lives in
// qdibcore's pixel headers; this adds the row record of the row operations.
#include <algorithm>
#include <cstring>

#include "QuorRender/RowOp.h"
#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/pixel/Pixel.h"

namespace qgdi::rowop {
// Each kernel pass has its own copies (see platform/TargetPass.h).
inline namespace QGDI_TARGET_NS {

// Runs `body(dst, src, x, n)` over the row. Without a mask that is one call
// for the whole span; with one, blocks of 64 pixels are run and mixed back
// with their original pixels by the mask.
template <EQPixelFormat D, EQPixelFormat S, class Body>
void ForSpans(CRowOpData& data, Body&& body) {
    using px::ByteOffset;
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
        px::MixByMask<D>(dst, saved, data.pMask + i, m);
    }
}

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::rowop
