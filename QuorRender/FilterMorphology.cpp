#include "QuorRender/FilterMorphology.h"

#include "QuorRender/internal/FilterChain.h"

CErrorAutoThrow CImageMorphology::Apply(const CRowIterator& source, CRowIterator& destination,
                                        CStatusControl* status) const {
    using qgdi::filter::kiMaxMorphRadius;
    if (m_nRx < 0 || m_nRy < 0 || m_nRx > kiMaxMorphRadius || m_nRy > kiMaxMorphRadius ||
        (m_eShape != keMorphRound && m_eShape != keMorphSquare) || !EdgeIsValid())
        return QERR(keQuorErrFailed);
    qgdi::filter::SChainOptions options;
    options.eChannels = m_eChannels;
    options.bPremultiply = false;
    return qgdi::filter::RunChain(
        source, destination, options,
        [this](VSeqOp* tail, const qgdi::filter::SChainContext&) {
            return qgdi::filter::Append(
                tail, new CSeqOpMorphology(m_eShape, m_bDilate, m_nRx, m_nRy, m_eEdge, m_nEdgeColour));
        },
        status);
}

CErrorAutoThrow QGDI_Dilate(const CRowIterator& source, CRowIterator& destination, EQMorphShape shape, int rx, int ry,
                            EQChannelSet channels, CStatusControl* status) {
    CImageMorphology op(true, shape, rx, ry);
    op.SetChannels(channels);
    return op.Apply(source, destination, status);
}

CErrorAutoThrow QGDI_Erode(const CRowIterator& source, CRowIterator& destination, EQMorphShape shape, int rx, int ry,
                           EQChannelSet channels, CStatusControl* status) {
    CImageMorphology op(false, shape, rx, ry);
    op.SetChannels(channels);
    return op.Apply(source, destination, status);
}
