#include "QuorRender/FilterDisplace.h"

#include <cmath>

#include "QuorRender/internal/FilterChain.h"

CErrorAutoThrow CImageDisplacement::Apply(const CRowIterator& source, const CRowIterator& map,
                                          CRowIterator& destination, CStatusControl* status) const {
    if (!map.IsAttached()) return QERR(keQuorErrIteratorState);
    const CQPixelFormat mf(map.GetPixelFormat());
    if (mf.IsIndexedColor() || (mf.GetBitsPerChannel() != 8 && mf.GetBitsPerChannel() != 16))
        return QERR(keQuorErrFormatNotSupported);
    if (!std::isfinite(m_fScale) || std::fabs(m_fScale) > qgdi::filter::kfMaxDisplaceScale ||
        map.GetWidth() != source.GetWidth() || map.GetHeight() != source.GetHeight() || !EdgeIsValid())
        return QERR(keQuorErrFailed);
    int count = 0;
    EQChannel list[8];
    mf.GetChannels(count, list);
    bool hasX = false, hasY = false;
    for (int i = 0; i < count; ++i) hasX |= list[i] == m_eX, hasY |= list[i] == m_eY;
    if (!hasX || !hasY) return QERR(keQuorErrFailed);
    const EEdgeMode edge = m_bSvg ? keEdgeConstant : m_eEdge;
    const uint32_t colour = m_bSvg ? 0 : m_nEdgeColour;
    qgdi::filter::SChainOptions options;
    options.eChannels = m_eChannels;
    return qgdi::filter::RunChain(
        source, destination, options,
        [&](VSeqOp* tail, const qgdi::filter::SChainContext&) {
            auto* stage = new CSeqOpDisplace(m_eX, m_eY, m_fScale, m_bSvg, edge, colour);
            stage->SetSrc(new CSeqOpRowIterator(&map), 1, true);
            return qgdi::filter::Append(tail, stage);
        },
        status);
}

CErrorAutoThrow QGDI_DisplacementMap(const CRowIterator& source, const CRowIterator& map, CRowIterator& destination,
                                     EQChannel xChannel, EQChannel yChannel, double scale, bool svg,
                                     CStatusControl* status) {
    CImageDisplacement op(xChannel, yChannel, scale);
    op.SetSvg(svg);
    return op.Apply(source, map, destination, status);
}
