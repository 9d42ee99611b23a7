#include "QuorRender/ImageResize.h"


#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <memory>
#include <thread>

#include "QuorRender/SeqOpLinearLight.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

namespace {

bool RowFits(int width, EQPixelFormat format) noexcept {
    return width >= 1 && static_cast<int64_t>(width) * CQPixelFormat(format).GetBitsPerPixel() / 8 < INT32_MAX;
}

// A copy of records first .. first + count - 1 whose starts count from the
// strip's first source row, so that its chain can begin there.
bool StripArray(const CResamplingKernelArray& all, int first, int count, CResamplingKernelArray& strip, int& base) {
    if (!strip.Create(count, all.nMaxTaps, all.eWeightType, all.nScale, all.nIntermediateSize)) return false;
    std::memcpy(strip.pRecords, all.pRecords + static_cast<size_t>(first) * all.nStride,
                static_cast<size_t>(count) * all.nStride);
    base = all.Start(first);
    for (int i = 0; i < count; ++i) base = std::min(base, strip.Start(i));
    for (int i = 0; i < count; ++i) strip.Header(i).nStart -= base;
    return true;
}

struct SShared {
    const CRowIterator* source;
    CRowIterator* destination;
    EQResampleMode mode;
    EQPixelFormat working;  // what the kernels see: premultiplied where alpha is straight
    EQPixelFormat base;     // the same before premultiplication (16-bit in linear light)
    EQPixelFormat output;
    bool linear;
    const CResamplingKernelArray* horizontal;
    const CResamplingKernelArray* vertical;
    CStatusControl* status;
    std::thread::id caller;
    std::atomic<int64_t> rowsDone{0};
    std::atomic<bool> cancelled{false};
    std::atomic<int> failure{keQuorErrSuccess};
};

void Fail(SShared& s, QuorErrorCode code) {
    int expected = keQuorErrSuccess;
    s.failure.compare_exchange_strong(expected, code);
    s.cancelled.store(true);
}

// One strip: output rows [first, last).
void RunStrip(SShared& s, int first, int last) {
    const CRowIterator& src = *s.source;
    CRowIterator& dst = *s.destination;
    const int width = dst.GetWidth();
    CResamplingKernelArray vertical;
    std::unique_ptr<VSeqOp> tail;
    CSeqOpRowIterator* adapter = nullptr;
    CSeqOpResampleNearestNeighbor* nearest = nullptr;
    int base = 0;
    if (s.mode == keResampleNearestNeighbor) {
        auto* head = new CSeqOpRowIterator(&src, s.output == src.GetPixelFormat() ? keFormatNone : s.output);
        adapter = head;
        auto nn = std::make_unique<CSeqOpResampleNearestNeighbor>(width, dst.GetHeight());
        nn->SetSrc(head, 0, true);
        nearest = nn.get();
        tail = std::move(nn);
    } else {
        if (!StripArray(*s.vertical, first, last - first, vertical, base)) return Fail(s, keQuorErrOutOfMemory);
        // Palette images become colour on the way in; linear light (when asked
        // for) comes next; straight alpha is premultiplied before the
        // resampling and divided out after it, except in opaque rows, where
        // both change nothing.
        const bool indexed = CQPixelFormat(src.GetPixelFormat()).IsIndexedColor();
        adapter = new CSeqOpRowIterator(&src, indexed ? s.output : keFormatNone);
        VSeqOp* head = adapter;
        if (s.linear) {
            auto* linear = new CSeqOpLinearLight(true);
            linear->SetSrc(head, 0, true);
            head = linear;
        }
        auto* in = new CSeqOpAlphaForm(s.working);
        in->SetSrc(head, 0, true);
        auto* kernel = new CSeqOpResampleKernel;
        kernel->SetCoef(s.horizontal, &vertical);
        kernel->SetSrc(in, 0, true);
        auto* out = new CSeqOpAlphaForm(s.base);
        out->SetSrc(kernel, 0, true);
        tail.reset(out);
        if (s.linear) {
            auto encode = std::make_unique<CSeqOpLinearLight>(false, s.output);
            encode->SetSrc(tail.release(), 0, true);
            tail = std::move(encode);
        }
    }
    if (s.output != dst.GetPixelFormat()) {
        auto convert = std::make_unique<CSeqOpConvert>(dst.GetPixelFormat());
        convert->SetSrc(tail.release(), 0, true);
        tail = std::move(convert);
    }
    if (!tail->Reset()) return Fail(s, keQuorErrFailed);
    // Start the strip's chain at its rows: the adapter jumps straight there,
    // the nearest-neighbour stage maps its rows without making the ones before.
    if (s.mode == keResampleNearestNeighbor) {
        if (first > 0 && !nearest->Seek(first)) return Fail(s, keQuorErrFailed);
    } else if (base > 0 && !adapter->Seek(base - 1)) {
        return Fail(s, keQuorErrFailed);
    }
    const bool reporter = std::this_thread::get_id() == s.caller;
    for (int y = first; y < last; ++y) {
        if (s.cancelled.load(std::memory_order_relaxed)) return;
        uint8_t* row = dst.GetRow(y, 0, width);
        if (!row) return Fail(s, keQuorErrOutOfMemory);
        const bool ok = tail->GetNextRow(row, 0, width);
        dst.ReleaseRow(y).Ignore();
        if (!ok) return Fail(s, keQuorErrFailed);
        const int64_t done = s.rowsDone.fetch_add(1, std::memory_order_relaxed) + 1;
        // Progress goes to the host from the calling thread only; the others
        // learn of a cancellation through the shared flag.
        if (reporter && s.status && s.status->SetProgress(static_cast<uint64_t>(done))) {
            Fail(s, keQuorErrCancelled);
            return;
        }
    }
}

}  // namespace

CErrorAutoThrow CImageResize::Resize(const CRowIterator& source, int width, int height, CRowIterator& destination,
                                     CStatusControl* status) const {
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    const EQPixelFormat output = qgdi::resample::OutputFormat(source.GetPixelFormat());
    if (output == keFormatNone) return QERR(keQuorErrFormatNotSupported);
    if (width < 1 || height < 1 || !RowFits(width, output)) return QERR(keQuorErrFailed);
    if (destination.IsAttached()) return QERR(keQuorErrIteratorState);
    QGDI_TRY(destination.Create(width, height, output));
    return Resize(source, destination, status);
}

CErrorAutoThrow CImageResize::Resize(const CRowIterator& source, CRowIterator& destination,
                                     CStatusControl* status) const {
    QGDI_PROFILE_SCOPE("resize");
    if (!source.IsAttached() || !destination.IsAttached()) return QERR(keQuorErrIteratorState);
    const int sw = source.GetWidth(), sh = source.GetHeight(), dw = destination.GetWidth(),
              dh = destination.GetHeight();
    const EQPixelFormat format = source.GetPixelFormat();
    const EQPixelFormat output = qgdi::resample::OutputFormat(format);
    const EQPixelFormat base = m_bLinearLight ? CSeqOpLinearLight::LinearFormat(output) : output;
    const EQPixelFormat working = qgdi::resample::WorkingFormat(base);
    if (working == keFormatNone || m_eMode < 0 || m_eMode >= keResampleModeCount)
        return QERR(keQuorErrFormatNotSupported);
    if (sw < 1 || sh < 1 || dw < 1 || dh < 1 || !RowFits(sw, working) || !RowFits(dw, working) ||
        !RowFits(dw, destination.GetPixelFormat()))
        return QERR(keQuorErrFailed);

    CResamplingKernelArray horizontal, vertical;
    if (m_eMode != keResampleNearestNeighbor &&
        !qgdi::resample::BuildKernels(m_eMode, working, sw, sh, dw, dh, horizontal, vertical))
        return QERR(keQuorErrOutOfMemory);

    CStatusControl nested(status);
    nested.SetProgressRange(static_cast<uint64_t>(dh));
    SShared shared{&source,
                   &destination,
                   m_eMode,
                   working,
                   base,
                   output,
                   m_bLinearLight && m_eMode != keResampleNearestNeighbor,
                   &horizontal,
                   &vertical,
                   &nested,
                   std::this_thread::get_id()};

    // More threads than the processors would only queue behind them.
    const int processors = qgdi::parallel::MaxThreads();
    const int threads = m_nThreads > 0 ? std::min(m_nThreads, processors) : processors;
    // Several strips per thread even out the load; each costs a kernel's
    // height of extra source rows, so strips stay tall.
    int rows = m_nStripRows > 0 ? m_nStripRows : std::max(64, (dh + threads * 4 - 1) / (threads * 4));
    rows = std::min(rows, dh);
    const int strips = (dh + rows - 1) / rows;
    const auto run = [&](int i) {
        if (!shared.cancelled.load()) RunStrip(shared, i * rows, std::min(dh, (i + 1) * rows));
    };
    if (!qgdi::parallel::For(0, strips, run, 1, threads)) return QERR(keQuorErrOutOfMemory);
    const int failure = shared.failure.load();
    if (failure != keQuorErrSuccess) return QERR(static_cast<QuorErrorCode>(failure));
    static_cast<void>(nested.SetProgress(static_cast<uint64_t>(dh)));
    return CErrorAutoThrow();
}
