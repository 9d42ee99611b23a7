#include "deformation/WarpImage.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "qdibcore/Source/internal/ResultTry.h"

namespace qgdi::warp {

bool SPaddedImage::Allocate(int w, int h, int border) {
    if (w < 1 || h < 1 || border < 0) return false;
    const size_t stride = static_cast<size_t>(w) + 2 * static_cast<size_t>(border);
    const size_t rows = static_cast<size_t>(h) + 2 * static_cast<size_t>(border);
    if (stride > (size_t{1} << 31) || rows > (size_t{1} << 31) || stride * rows > (size_t{1} << 32)) return false;
    try {
        pixels.assign(stride * rows, 0u);
    } catch (const std::bad_alloc&) {
        return false;
    }
    width = w;
    height = h;
    pad = border;
    this->stride = static_cast<int>(stride);
    return true;
}

void SPaddedImage::FillBorder(bool clamp) noexcept {
    if (pad == 0 || pixels.empty()) return;
    for (int y = 0; y < height; ++y) {
        uint32_t* r = Row(y);
        std::fill(r - pad, r, clamp ? r[0] : 0u);
        std::fill(r + width, r + width + pad, clamp ? r[width - 1] : 0u);
    }
    const size_t bytes = sizeof(uint32_t) * static_cast<size_t>(stride);
    for (int k = 1; k <= pad; ++k) {
        uint32_t* top = Row(-k) - pad;
        uint32_t* bottom = Row(height - 1 + k) - pad;
        if (clamp) {
            std::memcpy(top, Row(0) - pad, bytes);
            std::memcpy(bottom, Row(height - 1) - pad, bytes);
        } else {
            std::memset(top, 0, bytes);
            std::memset(bottom, 0, bytes);
        }
    }
}

CErrorAutoThrow LoadPixels(const CRowIterator& source, SPaddedImage& image, int border, EQPixelFormat format) {
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    const int w = source.GetWidth(), h = source.GetHeight();
    if (!image.Allocate(w, h, border)) return QERR(w < 1 || h < 1 ? keQuorErrFailed : keQuorErrOutOfMemory);
    CRowIterator converted;
    const CRowIterator* view = &source;
    if (source.GetPixelFormat() != format) {
        QGDI_TRY(converted.CreateFromCopy(source, nullptr, format));
        view = &converted;
    }
    for (int y = 0; y < h; ++y) {
        QGDI_TRY(view->GetAndCopyRow(image.Row(y), y, 0, w, static_cast<size_t>(w) * 4));
    }
    return CErrorAutoThrow();
}

bool Downscale(const SPaddedImage& source, int factor, SPaddedImage& out, int border) {
    factor = std::max(1, factor);
    const int w = (source.width + factor - 1) / factor, h = (source.height + factor - 1) / factor;
    if (!out.Allocate(w, h, border)) return false;
    std::vector<uint32_t> sums(static_cast<size_t>(w) * 4);
    for (int y = 0; y < h; ++y) {
        std::fill(sums.begin(), sums.end(), 0u);
        const int y0 = y * factor, y1 = std::min(source.height, y0 + factor);
        for (int sy = y0; sy < y1; ++sy) {
            const uint32_t* r = source.Row(sy);
            for (int sx = 0; sx < source.width; ++sx) {
                uint32_t* s = &sums[static_cast<size_t>(sx / factor) * 4];
                const uint32_t p = r[sx];
                s[0] += p & 255;
                s[1] += (p >> 8) & 255;
                s[2] += (p >> 16) & 255;
                s[3] += p >> 24;
            }
        }
        uint32_t* o = out.Row(y);
        for (int x = 0; x < w; ++x) {
            const uint32_t n = static_cast<uint32_t>((std::min(source.width, (x + 1) * factor) - x * factor) * (y1 - y0));
            const uint32_t* s = &sums[static_cast<size_t>(x) * 4];
            o[x] = ((s[0] + n / 2) / n) | ((s[1] + n / 2) / n) << 8 | ((s[2] + n / 2) / n) << 16 |
                   ((s[3] + n / 2) / n) << 24;
        }
    }
    return true;
}

}  // namespace qgdi::warp
