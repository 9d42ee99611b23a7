#include "QuorRender/RowOpApply.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include "diagnostics/QgdiLog.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/pixel/IndexedPixels.h"

namespace {

// Where the rows come from: the destination rectangle and the top-left
// corners of the source and mask spans that go with it.
struct SApplyArgs {
    CRowIterator* dst;
    const CRowIterator* src;
    CRowIterator* srcWritable;  // set when source rows are taken for writing
    const CRowIterator* mask;
    RECT dstRect;
    POINT srcOrigin;
    POINT maskOrigin;
};

// Clips `rect` (null: everything) to an image of width x height.
bool ClipToImage(const RECT* rect, int width, int height, RECT& out) {
    const RECT all{0, 0, width, height};
    return IntersectRect(&out, rect ? rect : &all, &all) != FALSE;
}

// Narrows the destination rectangle to what a second image (source or mask)
// can supply from `rect` (null: from its origin on), and returns its origin.
bool FitSecondImage(const CRowIterator& image, const RECT* rect, RECT& dst, POINT& origin) {
    RECT avail;
    if (!ClipToImage(rect, image.GetWidth(), image.GetHeight(), avail)) return false;
    // A requested rectangle that starts outside the image moves the destination along.
    if (rect) dst.left += avail.left - rect->left, dst.top += avail.top - rect->top;
    dst.right = std::min<LONG>(dst.right, dst.left + (avail.right - avail.left));
    dst.bottom = std::min<LONG>(dst.bottom, dst.top + (avail.bottom - avail.top));
    origin = POINT{avail.left, avail.top};
    return dst.left < dst.right && dst.top < dst.bottom;
}

// One row: take the spans, run the operation, give the spans back. A span
// that cannot be taken skips the row.
void ApplyRow(const SApplyArgs& a, const CRowOp& op, CRowOpData data, int r) {
    const int width = data.nCount;
    uint8_t* dst = nullptr;
    int dstOffset = 0;
    if (a.dst->GetRow(dst, a.dstRect.top + r, a.dstRect.left, width, &dstOffset).IsError() || !dst) return;
    const uint8_t* src = nullptr;
    int srcOffset = 0;
    bool ok = true, srcHeld = false, maskHeld = false;
    if (a.srcWritable) {
        uint8_t* p = nullptr;
        ok = srcHeld = !a.srcWritable->GetRow(p, a.srcOrigin.y + r, a.srcOrigin.x, width, &srcOffset).IsError() && p;
        src = p;
    } else if (a.src) {
        ok = srcHeld = !a.src->GetRow(src, a.srcOrigin.y + r, a.srcOrigin.x, width, &srcOffset).IsError() && src;
    }
    const uint8_t* mask = nullptr;
    if (ok && a.mask) ok = maskHeld = !a.mask->GetRow(mask, a.maskOrigin.y + r, a.maskOrigin.x, width).IsError() && mask;
    if (ok) {
        data.pSrc = src;
        data.pMask = mask;
        if (dstOffset == 0 && srcOffset == 0) {
            data.pDst = dst;
            op(data);
        } else {
            // Kernels see 1- and 4-bit rows starting on a byte.
            const size_t dstBits = size_t(width) * CRowIterator::GetBPP(data.eDstFormat);
            const size_t srcBits = size_t(width) * CRowIterator::GetBPP(data.eSrcFormat);
            std::vector<uint8_t> dstBuf((dstBits + 7) / 8 + 1), srcBuf((srcBits + 7) / 8 + 1);
            const size_t dstShift = size_t(dstOffset) * CRowIterator::GetBPP(data.eDstFormat);
            qgdi::px::MoveBits(dstBuf.data(), 0, dst, dstShift, dstBits);
            if (src && srcOffset) {
                qgdi::px::MoveBits(srcBuf.data(), 0, src, size_t(srcOffset) * CRowIterator::GetBPP(data.eSrcFormat), srcBits);
                data.pSrc = srcBuf.data();
            }
            data.pDst = dstBuf.data();
            op(data);
            qgdi::px::MoveBits(dst, dstShift, dstBuf.data(), 0, dstBits);
        }
    }
    if (srcHeld) a.src->ReleaseRow(a.srcOrigin.y + r).Ignore();
    if (maskHeld) a.mask->ReleaseRow(a.maskOrigin.y + r).Ignore();
    a.dst->ReleaseRow(a.dstRect.top + r).Ignore();
}

bool Apply(const CRowOpDef& def, SApplyArgs& a, const RECT* dstRect, const RECT* srcRect, const RECT* maskRect,
           CStatusControl* status) {
    if (!a.dst->IsAttached() || !ClipToImage(dstRect, a.dst->GetWidth(), a.dst->GetHeight(), a.dstRect)) return true;
    if (a.src && (!a.src->IsAttached() || !FitSecondImage(*a.src, srcRect, a.dstRect, a.srcOrigin))) return true;
    if (a.mask) {
        if (!a.mask->IsAttached() || !FitSecondImage(*a.mask, maskRect, a.dstRect, a.maskOrigin)) return true;
        if (a.mask->GetPixelFormat() != keFormatGrey) {
            QGDI_Log(keLogWarning, "row operation %s skipped: the mask is not 8-bit grey", def.GetTypeName());
            return true;
        }
    }
    const int width = a.dstRect.right - a.dstRect.left;
    const int height = a.dstRect.bottom - a.dstRect.top;

    CRowOpData base;
    base.eDstFormat = a.dst->GetPixelFormat();
    base.nDstPaletteCount = a.dst->GetPaletteCount();
    base.pDstPalette = a.dst->GetPalette();
    base.nCount = width;
    base.x = a.dstRect.left;
    base.nImageWidth = a.dst->GetWidth();
    base.nImageHeight = a.dst->GetHeight();
    if (a.src) {
        base.eSrcFormat = a.src->GetPixelFormat();
        base.nSrcPaletteCount = a.src->GetPaletteCount();
        base.pSrcPalette = a.src->GetPalette();
    }
    CRowOp op;
    op.Attach(&def, base, keCPURequestBest, true);
    if (op.IsNOP()) return true;

    // Threads may share a converting iterator, but one converting iterator in
    // two roles could meet itself on a row with two spans, which rows taken in
    // order never do.
    const CRowIterator* dst = a.dst;
    const bool parallel = height > 1 && !(dst->IsConverting() && (dst == a.src || dst == a.mask)) &&
                          !(a.src && a.src->IsConverting() && a.src == a.mask);
    std::unique_ptr<CStatusControl> progress;
    if (status) {
        progress = std::make_unique<CStatusControl>(status);
        progress->SetProgressRange(static_cast<uint64_t>(height));
    }
    std::atomic<bool> cancelled{false};
    std::atomic<uint64_t> started{0};
#pragma omp parallel for schedule(static, 4) if (parallel)
    for (int r = 0; r < height; ++r) {
        if (cancelled.load(std::memory_order_relaxed)) continue;
        if (progress && progress->SetProgress(started.fetch_add(1, std::memory_order_relaxed))) {
            cancelled.store(true, std::memory_order_relaxed);
            continue;
        }
        CRowOpData data = base;
        data.y = a.dstRect.top + r;
        data.nRowCounter = r;
        ApplyRow(a, op, data, r);
    }
    return !cancelled.load();
}

}  // namespace

bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& iterator, const RECT* rect, CStatusControl* status) {
    SApplyArgs a{&iterator, nullptr, nullptr, nullptr, {}, {}, {}};
    return Apply(def, a, rect, nullptr, nullptr, status);
}

bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& destination, const CRowIterator& source,
                              const RECT* destRect, const RECT* sourceRect, CStatusControl* status) {
    SApplyArgs a{&destination, &source, nullptr, nullptr, {}, {}, {}};
    return Apply(def, a, destRect, sourceRect, nullptr, status);
}

bool PixelIterator_ApplyRowOp_NonConst(const CRowOpDef& def, CRowIterator& destination, CRowIterator& source,
                                       const RECT* destRect, const RECT* sourceRect, CStatusControl* status) {
    SApplyArgs a{&destination, &source, &source, nullptr, {}, {}, {}};
    return Apply(def, a, destRect, sourceRect, nullptr, status);
}

bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& destination, const CRowIterator* source,
                              const CRowIterator* mask, const RECT* destRect, const RECT* sourceRect,
                              const RECT* maskRect, CStatusControl* status) {
    SApplyArgs a{&destination, source, nullptr, mask, {}, {}, {}};
    return Apply(def, a, destRect, sourceRect, maskRect, status);
}
