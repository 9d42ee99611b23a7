// The stack of saved states: fills are cloned on the way in, so that a
// fill changed after Push (its opacity, its colour) comes back as it was.
#include <new>

#include "drawing/QDCLayer.h"
#include "geometry/MatrixFunctions.h"

bool QDCBASIC::Push() {
    SQDCState* s = new (std::nothrow) SQDCState();
    if (!s) return false;
    try {
        s->fill = m_fill ? m_fill->Clone() : nullptr;
        s->strokeFill = m_strokeFill ? m_strokeFill->Clone() : nullptr;
        if ((m_fill && !s->fill) || (m_strokeFill && !s->strokeFill)) throw std::bad_alloc();
        if (m_fillOp) s->fillOp.reset(m_fillOp->Copy());
        if (m_strokeOp) s->strokeOp.reset(m_strokeOp->Copy());
        s->fillOpacity = m_fillOpacity;
        s->strokeOpacity = m_strokeOpacity;
        s->clip = m_clip;
        s->viewport = m_viewport;
        s->viewportClip = m_viewportClip;
        s->selective = m_selective;
        s->deviceOrg = m_deviceOrg;
        s->deviceSize = m_deviceSize;
        s->scale = m_scale;
        QGDI_MatrixCopy(s->current, m_current);
        QGDI_MatrixCopy(s->style, m_style);
        s->transformStyle = m_transformStyle;
        s->stroke = m_stroke;
        s->raster = m_raster;
        s->font = m_font;
        s->text = m_text;
        s->textCP = m_textCP;
        if (m_textPath) s->textPath = std::make_unique<CQPath>(*m_textPath);
        s->selFirst = m_selFirst;
        s->selCount = m_selCount;
        s->mask = m_mask;
        s->maskOffset = m_maskOffset;
    } catch (const std::bad_alloc&) {
        delete s;
        return false;
    }
    s->next = m_stack;
    m_stack = s;
    return true;
}

bool QDCBASIC::Pop() {
    SQDCState* s = m_stack;
    if (!s) return false;
    m_stack = s->next;
    if (m_fill) m_fill->Unreference();
    if (m_strokeFill) m_strokeFill->Unreference();
    m_fill = s->fill;
    m_strokeFill = s->strokeFill;
    s->fill = s->strokeFill = nullptr;
    m_fillOp = std::move(s->fillOp);
    m_strokeOp = std::move(s->strokeOp);
    m_fillOpacity = s->fillOpacity;
    m_strokeOpacity = s->strokeOpacity;
    m_clip = s->clip;
    m_viewport = s->viewport;
    m_viewportClip = s->viewportClip;
    m_selective = s->selective;
    m_deviceOrg = s->deviceOrg;
    m_deviceSize = s->deviceSize;
    m_scale = s->scale;
    QGDI_MatrixCopy(m_current, s->current);
    QGDI_MatrixCopy(m_style, s->style);
    m_transformStyle = s->transformStyle;
    // The saved records move back whole: nothing here can fail.
    std::swap(m_stroke.dash, s->stroke.dash);
    m_stroke.dashCount = s->stroke.dashCount;
    m_stroke.dashOffset = s->stroke.dashOffset;
    m_stroke.lineJoin = s->stroke.lineJoin;
    for (int i = 0; i < keLineCapPosCount; ++i) m_stroke.caps[i] = s->stroke.caps[i];
    m_stroke.width = s->stroke.width;
    m_stroke.widthFlag = s->stroke.widthFlag;
    m_stroke.miterLimit = s->stroke.miterLimit;
    m_raster = s->raster;
    m_font = std::move(s->font);
    m_text = s->text;
    m_textCP = s->textCP;
    m_textPath = std::move(s->textPath);
    m_selFirst = s->selFirst;
    m_selCount = s->selCount;
    m_mask = s->mask;
    m_maskOffset = s->maskOffset;
    UpdateMatrices();
    delete s;
    return true;
}

void QDCBASIC::PopAll() {
    while (Pop()) {
    }
}

int QDCBASIC::GetStackDepth() const noexcept {
    int n = 0;
    for (const SQDCState* s = m_stack; s; s = s->next) ++n;
    return n;
}
