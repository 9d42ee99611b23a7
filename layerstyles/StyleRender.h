#pragma once
// Drawing a layer with its styles onto a destination. The layer and its
// effects are built as a group over the destination (effects below the layer,
// the layer at its fill opacity, the effects inside it, the bevel and the
// stroke, each in its own blend mode) and the group is then laid on the
// destination at the layer's opacity.
#include "layerstyles/LayerStyle.h"
#include "platform/windef.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

class QGDI_API CLayerStyleRenderer {
public:
    explicit CLayerStyleRenderer(const SLayerStyles& styles) noexcept : m_styles(styles) {}

    // The destination pixels that drawing a layer occupying `layer` may
    // change: the layer and every enabled effect's reach.
    RECT CalculateRectangle(const RECT& layer) const;

    // Draws `layer` (any format; without alpha it is an opaque rectangle)
    // with its top-left pixel at `at` of `destination`. Pixels outside the
    // destination are skipped. 110 for a detached image, 120 for a format
    // that cannot be converted, 102 when memory is short, 100 when cancelled.
    // A BGRA destination under an opaque layer is drawn on directly (a
    // cancelled drawing leaves the effects drawn so far); any other is drawn
    // as a copy of the region and written back once complete.
    CErrorAutoThrow Render(const CRowIterator& layer, POINT at, CRowIterator& destination,
                           CStatusControl* status = nullptr) const;

private:
    SLayerStyles m_styles;
};

// Shorthands over CLayerStyleRenderer.
QGDI_API RECT QGDI_CalculateStyleRectangle(const SLayerStyles& styles, const RECT& layer);
QGDI_API CErrorAutoThrow QGDI_RenderLayerStyles(const SLayerStyles& styles, const CRowIterator& layer, POINT at,
                                                CRowIterator& destination, CStatusControl* status = nullptr);
