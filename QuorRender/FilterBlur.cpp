#include "QuorRender/FilterBlur.h"

#include <memory>
#include <new>

#include "QuorRender/SeqOpResample.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

void CImageBlur::SetGaussian(double sx, double sy) noexcept {
    m_bBox = false;
    m_fSx = sx;
    m_fSy = sy;
}

void CImageBlur::SetBox(int rx, int ry) noexcept {
    m_bBox = true;
    m_nRx = rx;
    m_nRy = ry;
}

CErrorAutoThrow CImageBlur::Blur(const CRowIterator& source, CRowIterator& destination,
                                 CStatusControl* status) const {
    QGDI_PROFILE_SCOPE("blur");
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    std::vector<SBlurPass> across, down;
    const bool planned = m_bBox ? qgdi::filter::PlanBox(m_nRx, across) && qgdi::filter::PlanBox(m_nRy, down)
                                : qgdi::filter::PlanGaussian(m_fSx, across) && qgdi::filter::PlanGaussian(m_fSy, down);
    if (!planned || m_eEdge < keEdgeWrap || m_eEdge > keEdgeConstant) return QERR(keQuorErrFailed);
    const EQPixelFormat format = source.GetPixelFormat();
    const CQPixelFormat pf(format);
    const int bpc = pf.GetBitsPerChannel();
    if (pf.IsIndexedColor() || (bpc != 8 && bpc != 16)) return QERR(keQuorErrFormatNotSupported);
    // Straight alpha is blurred premultiplied, so that the colour of
    // transparent pixels weighs nothing, then divided back.
    const EQPixelFormat working = qgdi::resample::WorkingFormat(format);
    if (working == keFormatNone) return QERR(keQuorErrFormatNotSupported);
    const int width = source.GetWidth(), height = source.GetHeight();
    if (!destination.IsAttached()) {
        QGDI_TRY(destination.Create(width, height, format));
    } else if (destination.GetWidth() != width || destination.GetHeight() != height) {
        return QERR(keQuorErrFailed);
    }

    std::unique_ptr<VSeqOp> tail;
    try {
        tail = std::make_unique<CSeqOpRowIterator>(&source);
        const auto chain = [&tail](VSeqOp* stage) {
            stage->SetSrc(tail.release(), 0, true);
            tail.reset(stage);
        };
        if (working != format) chain(new CSeqOpAlphaForm(working));
        if (!across.empty()) chain(new CSeqOpBlurPass(across, m_eEdge, m_nEdgeColour));
        for (const SBlurPass& p : down) chain(new CSeqOpBlurPass(true, p, m_eEdge, m_nEdgeColour));
        if (working != format) chain(new CSeqOpAlphaForm(format));
        if (destination.GetPixelFormat() != format) chain(new CSeqOpConvert(destination.GetPixelFormat()));
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

CErrorAutoThrow QGDI_GaussianBlur(const CRowIterator& source, CRowIterator& destination, double sx, double sy,
                                  EEdgeMode edge, CStatusControl* status) {
    CImageBlur blur;
    blur.SetGaussian(sx, sy);
    blur.SetEdgeMode(edge);
    return blur.Blur(source, destination, status);
}

CErrorAutoThrow QGDI_BoxBlur(const CRowIterator& source, CRowIterator& destination, int rx, int ry, EEdgeMode edge,
                             CStatusControl* status) {
    CImageBlur blur;
    blur.SetBox(rx, ry);
    blur.SetEdgeMode(edge);
    return blur.Blur(source, destination, status);
}
