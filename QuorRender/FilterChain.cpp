#include "QuorRender/internal/FilterChain.h"

#include <new>

#include "QuorRender/SeqOpChannelMask.h"
#include "QuorRender/SeqOpResample.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

namespace qgdi::filter {

namespace {

VSeqOp* MakeHead(const CRowIterator& source, EQPixelFormat format, EQPixelFormat working) {
    VSeqOp* head = new CSeqOpRowIterator(&source);
    if (working != format) head = Append(head, new CSeqOpAlphaForm(working));
    return head;
}

}  // namespace

CErrorAutoThrow RunChain(const CRowIterator& source, CRowIterator& destination, const SChainOptions& options,
                         const FChainBuilder& build, CStatusControl* status) {
    QGDI_PROFILE_SCOPE("filter");
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    const EQPixelFormat format = source.GetPixelFormat();
    const CQPixelFormat pf(format);
    const int bpc = pf.GetBitsPerChannel();
    if (pf.IsIndexedColor() || (bpc != 8 && (bpc != 16 || !options.bSixteenBit)))
        return QERR(keQuorErrFormatNotSupported);
    const EQPixelFormat working = options.bPremultiply ? qgdi::resample::WorkingFormat(format) : format;
    if (working == keFormatNone) return QERR(keQuorErrFormatNotSupported);
    const int width = source.GetWidth(), height = source.GetHeight();
    if (!destination.IsAttached()) {
        QGDI_TRY(destination.Create(width, height, format));
    } else if (destination.GetWidth() != width || destination.GetHeight() != height) {
        return QERR(keQuorErrFailed);
    }

    std::unique_ptr<VSeqOp> tail;
    try {
        SChainContext context;
        context.eWorking = working;
        context.nWidth = width;
        context.nHeight = height;
        context.fnHead = [&source, format, working] { return MakeHead(source, format, working); };
        tail.reset(build(MakeHead(source, format, working), context));
        if (!tail) return QERR(keQuorErrFailed);
        if (options.eChannels != keChannelSetAll) {
            auto* mask = new CSeqOpChannelMask(options.eChannels);
            mask->SetSrc(tail.release(), 0, true);
            tail.reset(mask);
            mask->SetSrc(MakeHead(source, format, working), 1, true);
        }
        if (working != format) tail.reset(Append(tail.release(), new CSeqOpAlphaForm(format)));
        if (destination.GetPixelFormat() != format)
            tail.reset(Append(tail.release(), new CSeqOpConvert(destination.GetPixelFormat())));
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    if (!tail->Reset()) return QERR(keQuorErrOutOfMemory);

    CStatusControl nested(status);
    nested.SetProgressRange(static_cast<uint64_t>(height));
    for (int y = 0; y < height; ++y) {
        uint8_t* row = destination.GetRow(y, 0, width);
        if (!row) return QERR(keQuorErrOutOfMemory);
        const bool ok = tail->GetNextRow(row, 0, width);
        destination.ReleaseRow(y).Ignore();
        if (!ok) return QERR(keQuorErrFailed);
        if (nested.SetProgress(static_cast<uint64_t>(y + 1))) return QERR(keQuorErrCancelled);
    }
    return CErrorAutoThrow();
}

}  // namespace qgdi::filter
