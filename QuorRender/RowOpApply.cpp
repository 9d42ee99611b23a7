#include "QuorRender/RowOpApply.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "QuorRender/internal/RowOpScratch.h"
#include "diagnostics/QgdiLog.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/pixel/IndexedPixels.h"
#include "diagnostics/Profile.h"

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

// Gives back the rows one ApplyRow took, however it ends.
struct SHeldRows {
    const SApplyArgs& a;
    int r;
    bool dst = false, src = false, mask = false;
    ~SHeldRows() {
        if (src) a.src->ReleaseRow(a.srcOrigin.y + r).Ignore();
        if (mask) a.mask->ReleaseRow(a.maskOrigin.y + r).Ignore();
        if (dst) a.dst->ReleaseRow(a.dstRect.top + r).Ignore();
    }
};

// One row: take the spans, run the operation, give the spans back. A span
// that cannot be taken skips the row; memory that cannot be had is the result.
QuorErrorCode ApplyRow(const SApplyArgs& a, const CRowOp& op, CRowOpData data, int r) {
    const int width = data.nCount;
    SHeldRows held{a, r};
    // A row refused for its state is skipped; a converted row that found no
    // memory stops the apply, so that no row is left unchanged unreported.
    auto refused = [](const CErrorAutoThrow& result) {
        return result == keQuorErrOutOfMemory ? keQuorErrOutOfMemory : keQuorErrSuccess;
    };
    uint8_t* dst = nullptr;
    int dstOffset = 0;
    {
        const CErrorAutoThrow got = a.dst->GetRow(dst, a.dstRect.top + r, a.dstRect.left, width, &dstOffset);
        if (got.IsError() || !dst) return refused(got);
    }
    held.dst = true;
    const uint8_t* src = nullptr;
    int srcOffset = 0;
    if (a.srcWritable) {
        uint8_t* p = nullptr;
        const CErrorAutoThrow got = a.srcWritable->GetRow(p, a.srcOrigin.y + r, a.srcOrigin.x, width, &srcOffset);
        if (got.IsError() || !p) return refused(got);
        held.src = true;
        src = p;
    } else if (a.src) {
        const CErrorAutoThrow got = a.src->GetRow(src, a.srcOrigin.y + r, a.srcOrigin.x, width, &srcOffset);
        if (got.IsError() || !src) return refused(got);
        held.src = true;
    }
    const uint8_t* mask = nullptr;
    if (a.mask) {
        const CErrorAutoThrow got = a.mask->GetRow(mask, a.maskOrigin.y + r, a.maskOrigin.x, width);
        if (got.IsError() || !mask) return refused(got);
        held.mask = true;
    }
    data.pSrc = src;
    data.pMask = mask;
    data.pDst = dst;
    if (dstOffset == 0 && srcOffset == 0) return op.RunCode(data);

    // Kernels see 1- and 4-bit rows starting on a byte.
    qgdi::rowop::CScratchFrame frame;
    const size_t dstBpp = CRowIterator::GetBPP(data.eDstFormat), srcBpp = CRowIterator::GetBPP(data.eSrcFormat);
    const size_t dstBits = size_t(width) * dstBpp, dstShift = size_t(dstOffset) * dstBpp;
    uint8_t* dstBuf = nullptr;
    if (dstOffset) {
        if (!(dstBuf = frame.Take((dstBits + 7) / 8))) return keQuorErrOutOfMemory;
        qgdi::px::MoveBits(dstBuf, 0, dst, dstShift, dstBits);
        data.pDst = dstBuf;
    }
    if (src && srcOffset) {
        const size_t srcBits = size_t(width) * srcBpp;
        uint8_t* srcBuf = frame.Take((srcBits + 7) / 8);
        if (!srcBuf) return keQuorErrOutOfMemory;
        qgdi::px::MoveBits(srcBuf, 0, src, size_t(srcOffset) * srcBpp, srcBits);
        data.pSrc = srcBuf;
    }
    const QuorErrorCode code = op.RunCode(data);
    if (dstBuf && code == keQuorErrSuccess) qgdi::px::MoveBits(dst, dstShift, dstBuf, 0, dstBits);
    return code;
}

QuorErrorCode Apply(const CRowOpDef& def, SApplyArgs& a, const RECT* dstRect, const RECT* srcRect, const RECT* maskRect,
                    CStatusControl* status) {
    QGDI_PROFILE_SCOPE("apply row operation");
    if (!a.dst->IsAttached() || !ClipToImage(dstRect, a.dst->GetWidth(), a.dst->GetHeight(), a.dstRect))
        return keQuorErrSuccess;
    if (a.src && (!a.src->IsAttached() || !FitSecondImage(*a.src, srcRect, a.dstRect, a.srcOrigin)))
        return keQuorErrSuccess;
    if (a.mask) {
        if (!a.mask->IsAttached() || !FitSecondImage(*a.mask, maskRect, a.dstRect, a.maskOrigin))
            return keQuorErrSuccess;
        if (a.mask->GetPixelFormat() != keFormatGrey) {
            QGDI_Log(keLogWarning, "row operation %s skipped: the mask is not 8-bit grey", def.GetTypeName());
            return keQuorErrSuccess;
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
    if (op.IsNOP()) return keQuorErrSuccess;

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
    // The first row that ends the loop (cancelled or failed) and why; an
    // exception must not leave an OpenMP region, so each row catches its own.
    std::atomic<bool> stop{false};
    std::atomic<int> outcome{keQuorErrSuccess}, stoppedAt{-1};
    std::atomic<uint64_t> started{0};
#pragma omp parallel for schedule(static, 4) if (parallel)
    for (int r = 0; r < height; ++r) {
        if (stop.load(std::memory_order_relaxed)) continue;
        QuorErrorCode code = keQuorErrSuccess;
        try {
            if (progress && progress->SetProgress(started.fetch_add(1, std::memory_order_relaxed))) {
                code = keQuorErrCancelled;
            } else {
                CRowOpData data = base;
                data.y = a.dstRect.top + r;
                data.nRowCounter = r;
                code = ApplyRow(a, op, data, r);
            }
        } catch (const CQException& e) {
            code = e.GetErrorCode() != keQuorErrSuccess ? e.GetErrorCode() : keQuorErrFailed;
        } catch (const std::bad_alloc&) {
            code = keQuorErrOutOfMemory;
        } catch (...) {
            code = keQuorErrFailed;
        }
        if (code != keQuorErrSuccess) {
            int none = keQuorErrSuccess;
            if (outcome.compare_exchange_strong(none, code)) stoppedAt.store(a.dstRect.top + r);
            stop.store(true, std::memory_order_relaxed);
        }
    }
    const auto code = static_cast<QuorErrorCode>(outcome.load());
    if (code != keQuorErrSuccess && code != keQuorErrCancelled)
        QGDI_Log(keLogError, "row operation %s stopped at row %d (%s): rows not yet reached are left unchanged",
                 def.GetTypeName(), stoppedAt.load(), QuorErrorText(code));
    return code;
}

// The one door out of the apply functions: a code as a result, and nothing thrown.
template <class F>
CErrorAutoThrow Guarded(F&& apply) noexcept {
    QuorErrorCode code;
    try {
        code = apply();
    } catch (const std::bad_alloc&) {
        code = keQuorErrOutOfMemory;
    } catch (...) {
        code = keQuorErrFailed;
    }
    if (code == keQuorErrSuccess) return CErrorAutoThrow();
    try {
        return QERR(code);
    } catch (...) {
        return CErrorAutoThrow();  // only a throwing error trap gets here
    }
}

}  // namespace

CErrorAutoThrow PixelIterator_ApplyRowOpChecked(const CRowOpDef& def, CRowIterator& iterator, const RECT* rect,
                                                CStatusControl* status) {
    return Guarded([&] {
        SApplyArgs a{&iterator, nullptr, nullptr, nullptr, {}, {}, {}};
        return Apply(def, a, rect, nullptr, nullptr, status);
    });
}

CErrorAutoThrow PixelIterator_ApplyRowOpChecked(const CRowOpDef& def, CRowIterator& destination,
                                                const CRowIterator& source, const RECT* destRect,
                                                const RECT* sourceRect, CStatusControl* status) {
    return Guarded([&] {
        SApplyArgs a{&destination, &source, nullptr, nullptr, {}, {}, {}};
        return Apply(def, a, destRect, sourceRect, nullptr, status);
    });
}

CErrorAutoThrow PixelIterator_ApplyRowOpChecked_NonConst(const CRowOpDef& def, CRowIterator& destination,
                                                         CRowIterator& source, const RECT* destRect,
                                                         const RECT* sourceRect, CStatusControl* status) {
    return Guarded([&] {
        SApplyArgs a{&destination, &source, &source, nullptr, {}, {}, {}};
        return Apply(def, a, destRect, sourceRect, nullptr, status);
    });
}

CErrorAutoThrow PixelIterator_ApplyRowOpChecked(const CRowOpDef& def, CRowIterator& destination,
                                                const CRowIterator* source, const CRowIterator* mask,
                                                const RECT* destRect, const RECT* sourceRect, const RECT* maskRect,
                                                CStatusControl* status) {
    return Guarded([&] {
        SApplyArgs a{&destination, source, nullptr, mask, {}, {}, {}};
        return Apply(def, a, destRect, sourceRect, maskRect, status);
    });
}

bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& iterator, const RECT* rect, CStatusControl* status) {
    return PixelIterator_ApplyRowOpChecked(def, iterator, rect, status) != keQuorErrCancelled;
}

bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& destination, const CRowIterator& source,
                              const RECT* destRect, const RECT* sourceRect, CStatusControl* status) {
    return PixelIterator_ApplyRowOpChecked(def, destination, source, destRect, sourceRect, status) !=
           keQuorErrCancelled;
}

bool PixelIterator_ApplyRowOp_NonConst(const CRowOpDef& def, CRowIterator& destination, CRowIterator& source,
                                       const RECT* destRect, const RECT* sourceRect, CStatusControl* status) {
    return PixelIterator_ApplyRowOpChecked_NonConst(def, destination, source, destRect, sourceRect, status) !=
           keQuorErrCancelled;
}

bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& destination, const CRowIterator* source,
                              const CRowIterator* mask, const RECT* destRect, const RECT* sourceRect,
                              const RECT* maskRect, CStatusControl* status) {
    return PixelIterator_ApplyRowOpChecked(def, destination, source, mask, destRect, sourceRect, maskRect, status) !=
           keQuorErrCancelled;
}
