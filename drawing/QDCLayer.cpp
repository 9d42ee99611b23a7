// Layers: drawing goes to a transparent canvas the size of the image, and
// EndLayer lays the part inside the clip back over the image below through a
// blend mode at the layer's opacity.
#include "drawing/QDCLayer.h"

#include <new>

#include "QuorRender/RowOpApply.h"
#include "QuorRender/RowOpBlendMox.h"
#include "qdibcore/Source/internal/ResultTry.h"

CErrorAutoThrow QDCBASIC::BeginLayer(uint8_t opacity, int blendMode) {
    if (!m_dst) return QERR(keQuorErrIteratorState);
    std::unique_ptr<SLayer> layer(new (std::nothrow) SLayer());
    if (!layer) return QERR(keQuorErrOutOfMemory);
    if (!ClipIC(layer->area)) layer->area = RECT{0, 0, 0, 0};
    const CColorRef clear(0, 0, 0, 0);
    QGDI_TRY(layer->canvas.Create(m_dst->GetWidth(), m_dst->GetHeight(), keFormatBGRA, &clear));
    layer->under = m_dst;
    layer->opacity = opacity;
    layer->blendMode = blendMode;
    m_dst = &layer->canvas;
    try {
        m_layers.push_back(std::move(layer));
    } catch (const std::bad_alloc&) {
        m_dst = layer->under;
        return QERR(keQuorErrOutOfMemory);
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow QDCBASIC::EndLayer() {
    if (m_layers.empty()) return QERR(keQuorErrFailed);
    std::unique_ptr<SLayer> layer = std::move(m_layers.back());
    m_layers.pop_back();
    m_dst = layer->under;
    if (IsRectEmpty(&layer->area) || layer->opacity == 0) return CErrorAutoThrow();
    CRowOpDefRowBlendMox blend(EQBlendMoxMode(layer->blendMode), layer->opacity);
    // The canvas is straight BGRA; any destination is reached through it.
    blend.SetAllowConversion(true);
    if (!PixelIterator_ApplyRowOp(blend, *m_dst, layer->canvas, &layer->area, &layer->area))
        return QERR(keQuorErrCancelled);
    return CErrorAutoThrow();
}

CRowIterator* QDCBASIC::GetCanvasImage() const noexcept { return m_layers.empty() ? nullptr : m_dst; }

CRowIterator* QDCBASIC::GetUnderlayerCanvasImage() const noexcept {
    return m_layers.empty() ? nullptr : m_layers.back()->under;
}
