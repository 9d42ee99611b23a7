#include "QuorRender/FilterBlur.h"

#include "QuorRender/internal/FilterChain.h"

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
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    std::vector<SBlurPass> across, down;
    const bool planned = m_bBox ? qgdi::filter::PlanBox(m_nRx, across) && qgdi::filter::PlanBox(m_nRy, down)
                                : qgdi::filter::PlanGaussian(m_fSx, across) && qgdi::filter::PlanGaussian(m_fSy, down);
    if (!planned || m_eEdge < keEdgeWrap || m_eEdge > keEdgeConstant) return QERR(keQuorErrFailed);
    // Straight alpha is blurred premultiplied (the chain's default), so that
    // the colour of transparent pixels weighs nothing.
    return qgdi::filter::RunChain(
        source, destination, {},
        [&](VSeqOp* tail, const qgdi::filter::SChainContext&) {
            if (!across.empty()) tail = qgdi::filter::Append(tail, new CSeqOpBlurPass(across, m_eEdge, m_nEdgeColour));
            for (const SBlurPass& p : down)
                tail = qgdi::filter::Append(tail, new CSeqOpBlurPass(true, p, m_eEdge, m_nEdgeColour));
            return tail;
        },
        status);
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
