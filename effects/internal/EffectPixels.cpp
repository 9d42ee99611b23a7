#include "effects/internal/EffectPixels.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace qgdi::effects {

uint32_t SPixels::At(int x, int y) const noexcept {
    if (x < 0 || y < 0 || x >= width || y >= height) return 0;
    const uint8_t* p = Row(y) + 4 * x;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

CErrorAutoThrow ReadPixels(const CRowIterator* image, int width, int height, SPixels& out) {
    width = std::max(width, 0);
    height = std::max(height, 0);
    try {
        out.width = width;
        out.height = height;
        out.bytes.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 0);
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    if (!image) return {};
    if (!image->IsAttached()) return QERR(keQuorErrFailed);
    const EQPixelFormat format = image->GetPixelFormat();
    if (format != keFormatBGRA && format != keFormatBGRxA) return QERR(keQuorErrFormatNotSupported);
    const bool straight = format == keFormatBGRA;
    const int w = std::min(width, image->GetWidth()), h = std::min(height, image->GetHeight());
    std::atomic<bool> failed{false};
    parallel::For(0, h, [&](int y) {
        const uint8_t* row = image->GetRow(y, 0, w);
        if (!row) {
            failed.store(true, std::memory_order_relaxed);
            return;
        }
        uint8_t* d = out.Row(y);
        if (straight) {
            for (int x = 0; x < 4 * w; x += 4) {
                const uint8_t a = row[x + 3];
                d[x] = Premultiply(row[x], a);
                d[x + 1] = Premultiply(row[x + 1], a);
                d[x + 2] = Premultiply(row[x + 2], a);
                d[x + 3] = a;
            }
        } else {
            std::copy(row, row + 4 * w, d);
        }
        image->ReleaseRow(y).Ignore();
    }, 16);
    return failed.load() ? QERR(keQuorErrOutOfMemory) : CErrorAutoThrow();
}

CErrorAutoThrow WritePixels(CRowIterator& image, const RECT& rc, const SPixels& pixels) {
    if (!image.IsAttached()) return QERR(keQuorErrFailed);
    const EQPixelFormat format = image.GetPixelFormat();
    if (format != keFormatBGRA && format != keFormatBGRxA) return QERR(keQuorErrFormatNotSupported);
    const bool straight = format == keFormatBGRA;
    const int left = std::max<int>(rc.left, 0), top = std::max<int>(rc.top, 0);
    const int right = std::min({static_cast<int>(rc.right), image.GetWidth(), pixels.width});
    const int bottom = std::min({static_cast<int>(rc.bottom), image.GetHeight(), pixels.height});
    if (right <= left) return {};
    std::atomic<bool> failed{false};
    parallel::For(top, bottom, [&](int y) {
        uint8_t* row = image.GetRow(y, left, right - left);
        if (!row) {
            failed.store(true, std::memory_order_relaxed);
            return;
        }
        const uint8_t* s = pixels.Row(y) + 4 * left;
        if (straight) {
            for (int x = 0; x < 4 * (right - left); x += 4) {
                const uint8_t a = s[x + 3];
                row[x] = Unpremultiply(s[x], a);
                row[x + 1] = Unpremultiply(s[x + 1], a);
                row[x + 2] = Unpremultiply(s[x + 2], a);
                row[x + 3] = a;
            }
        } else {
            std::copy(s, s + 4 * (right - left), row);
        }
        image.ReleaseRow(y).Ignore();
    }, 16);
    return failed.load() ? QERR(keQuorErrOutOfMemory) : CErrorAutoThrow();
}

CErrorAutoThrow MapStraightImpl(const CIoData& data, void (*fn)(void*, uint8_t*, int), void* context) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    CRowIterator& dst = *data.pDst;
    const CRowIterator* in = data.GetInput(0);
    if (dst.GetPixelFormat() != keFormatBGRA || (in && in->GetPixelFormat() != keFormatBGRA))
        return QERR(keQuorErrFormatNotSupported);
    const RECT r = data.GetInputRect(0);
    const int w = rc.right - rc.left;
    const int x0 = std::max<int>(rc.left, r.left), x1 = std::min<int>(rc.right, r.right);
    std::atomic<bool> failed{false};
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        uint8_t* row = dst.GetRow(y, rc.left, w);
        if (!row) {
            failed.store(true, std::memory_order_relaxed);
            return;
        }
        std::fill(row, row + 4 * w, uint8_t(0));
        if (in && y >= r.top && y < r.bottom && x1 > x0) {
            if (const uint8_t* s = in->GetRow(y, x0, x1 - x0)) {
                uint8_t* d = row + 4 * (x0 - rc.left);
                for (int i = 0; i < 4 * (x1 - x0); i += 4) {
                    const uint32_t keep = s[i + 3] ? 0xffu : 0u;  // colour under zero alpha is black
                    d[i] = uint8_t(s[i] & keep), d[i + 1] = uint8_t(s[i + 1] & keep), d[i + 2] = uint8_t(s[i + 2] & keep);
                    d[i + 3] = s[i + 3];
                }
                in->ReleaseRow(y).Ignore();
            } else {
                failed.store(true, std::memory_order_relaxed);
            }
        }
        fn(context, row, w);
        dst.ReleaseRow(y).Ignore();
    });
    if (failed.load()) return QERR(keQuorErrOutOfMemory);
    return done ? CErrorAutoThrow() : QERR(keQuorErrCancelled);
}

CErrorAutoThrow ReadInput(const CIoData& data, int index, SPixels& out) {
    const int w = data.pDst ? data.pDst->GetWidth() : 0, h = data.pDst ? data.pDst->GetHeight() : 0;
    QGDI_TRY(ReadPixels(data.GetInput(index), w, h, out));
    const RECT r = data.GetInputRect(index);
    // Transparent outside what the producer wrote.
    for (int y = 0; y < h; ++y) {
        uint8_t* row = out.Row(y);
        if (y < r.top || y >= r.bottom) {
            std::fill(row, row + 4 * w, uint8_t(0));
            continue;
        }
        std::fill(row, row + 4 * std::clamp<int>(r.left, 0, w), uint8_t(0));
        std::fill(row + 4 * std::clamp<int>(r.right, 0, w), row + 4 * w, uint8_t(0));
    }
    return {};
}

CErrorAutoThrow DestinationRect(const CIoData& data, RECT& rc) {
    if (!data.pDst || !data.pDst->IsAttached()) return QERR(keQuorErrFailed);
    rc = {std::max<int>(data.rcDst.left, 0), std::max<int>(data.rcDst.top, 0),
          std::min<int>(data.rcDst.right, data.pDst->GetWidth()),
          std::min<int>(data.rcDst.bottom, data.pDst->GetHeight())};
    if (rc.right <= rc.left || rc.bottom <= rc.top) return QERR(keQuorErrFailed);
    return {};
}

bool ForRowsImpl(int top, int bottom, CStatusControl* parent, void (*fn)(void*, int), void* context) {
    if (bottom <= top) return true;
    CStatusControl status(parent);
    status.SetProgressRange(static_cast<uint64_t>(bottom - top));
    constexpr int kBand = 8;
    const int bands = (bottom - top + kBand - 1) / kBand;
    std::atomic<int> done{0};
    std::atomic<bool> stop{false};
    const std::thread::id caller = std::this_thread::get_id();
    parallel::For(0, bands, [&](int band) {
        if (stop.load(std::memory_order_relaxed)) return;
        const int y0 = top + band * kBand, y1 = std::min(bottom, y0 + kBand);
        for (int y = y0; y < y1; ++y) fn(context, y);
        const int rows = done.fetch_add(y1 - y0, std::memory_order_relaxed) + (y1 - y0);
        if (std::this_thread::get_id() == caller && status.SetProgress(static_cast<uint64_t>(rows)))
            stop.store(true, std::memory_order_relaxed);
    });
    return !stop.load() && !status.SetProgress(static_cast<uint64_t>(bottom - top));
}

}  // namespace qgdi::effects

#include "QuorRender/RowOp.h"

namespace qgdi::effects {

bool RunRowOp(const CRowOpDef& def, SPixels& dst, const SPixels* src, const RECT& rc, CStatusControl* status) {
    CRowOpData proto;
    proto.eDstFormat = keFormatBGRxA;
    proto.eSrcFormat = src ? keFormatBGRxA : keFormatNone;
    proto.nImageWidth = dst.width;
    proto.nImageHeight = dst.height;
    const CRowOp op(&def, proto);
    return ForRows(rc.top, rc.bottom, status, [&](int y) {
        CRowOpData row = proto;
        row.nCount = rc.right - rc.left;
        row.pDst = dst.Row(y) + 4 * rc.left;
        row.pSrc = src ? src->Row(y) + 4 * rc.left : nullptr;
        row.x = rc.left;
        row.y = y;
        op(row);
    });
}

CErrorAutoThrow Finish(bool completed, const CIoData& data, const RECT& rc, const SPixels& pixels) {
    if (!completed) return QERR(keQuorErrCancelled);
    return WritePixels(*data.pDst, rc, pixels);
}

}  // namespace qgdi::effects
