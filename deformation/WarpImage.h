#pragma once
// Working images of the warp and the layer styles: 8-bit BGRA (straight or
// premultiplied) in one block with a border around it, so that samplers and filters read
// their taps without a test per pixel; and row loops split over threads with
// progress and cancellation from the calling thread.
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "qdibcore/Source/RowIteratorBands.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qerror/qerror.h"

namespace qgdi::warp {

struct SPaddedImage {
    int width = 0, height = 0, pad = 0, stride = 0;
    std::vector<uint32_t> pixels;

    uint32_t* Row(int y) noexcept { return pixels.data() + static_cast<size_t>(y + pad) * stride + pad; }
    const uint32_t* Row(int y) const noexcept {
        return pixels.data() + static_cast<size_t>(y + pad) * stride + pad;
    }
    // Sizes the block, border cleared (transparent). False when memory is short.
    bool Allocate(int w, int h, int border);
    // The border repeats the edge pixels (the clamp edge) or stays transparent.
    void FillBorder(bool clamp) noexcept;
};

// `source` converted to `format` (straight or premultiplied BGRA) into `image`.
CErrorAutoThrow LoadPixels(const CRowIterator& source, SPaddedImage& image, int border, EQPixelFormat format);
// The mean of every factor x factor block (the last ones partial).
bool Downscale(const SPaddedImage& source, int factor, SPaddedImage& out, int border);

// body(y0, y1) over [0, rows) in bands of `band` rows on all threads; progress
// and cancellation through `status` from the calling thread. 0, 100 or 102.
template <class Body>
QuorErrorCode ParallelRows(int rows, int band, CStatusControl* status, Body&& body) {
    if (rows <= 0) return keQuorErrSuccess;
    band = band < 1 ? 1 : band;
    CStatusControl nested(status);
    nested.SetProgressRange(static_cast<uint64_t>(rows));
    std::atomic<bool> cancelled{false};
    std::atomic<int64_t> done{0};
    const std::thread::id caller = std::this_thread::get_id();
    const int bands = (rows + band - 1) / band;
    const bool ok = qgdi::parallel::For(0, bands, [&](int b) {
        if (cancelled.load(std::memory_order_relaxed)) return;
        const int y0 = b * band, y1 = y0 + band < rows ? y0 + band : rows;
        body(y0, y1);
        const int64_t now = done.fetch_add(y1 - y0, std::memory_order_relaxed) + (y1 - y0);
        if (status && std::this_thread::get_id() == caller && nested.SetProgress(static_cast<uint64_t>(now)))
            cancelled.store(true, std::memory_order_relaxed);
    });
    if (!ok) return keQuorErrOutOfMemory;
    return cancelled.load() ? keQuorErrCancelled : keQuorErrSuccess;
}

}  // namespace qgdi::warp
