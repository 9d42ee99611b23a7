// The context's state: construction, setters with their return rules,
// matrices, coordinate conversions and the tests.
#include <algorithm>
#include <cmath>

#include "drawing/QDC.h"
#include "drawing/QDCLayer.h"
#include "geometry/MatrixFunctions.h"

VQDC::~VQDC() = default;

QDCBASIC::QDCBASIC(EQPixelFormat format) : m_format(format) {
    QGDI_MatrixIdentity(m_current);
    QGDI_MatrixIdentity(m_viewportMatrix);
    QGDI_MatrixIdentity(m_style);
    QGDI_MatrixIdentity(m_device);
    // The process-wide settings as they are now; later changes there do not
    // reach this context.
    m_raster = *QGDI_GetSystemRasterProps();
    m_raster.antialiasingFilter = QGDI_GetAntialiasingFilter();
    m_raster.antialiasingLevel = QGDI_GetAntialiasingLevel();
    m_raster.polyFillMode = QGDI_GetPolyFillMode();
    m_raster.textRender = QGDI_GetSystemTextRender();
    m_raster.textRenderMemory = QGDI_GetSystemTextRenderMemory();
    m_fill = QGDI_FillCreateRGBA(0xFFFFFFFFu);
    m_strokeFill = QGDI_FillCreateRGBA(0xFFFFFFFFu);
}

QDCBASIC::~QDCBASIC() {
    PopAll();
    while (!m_layers.empty()) {
        // Unfinished layers are dropped, not composited.
        m_dst = m_layers.back()->under;
        m_layers.pop_back();
    }
    if (m_fill) m_fill->Unreference();
    if (m_strokeFill) m_strokeFill->Unreference();
}

CErrorAutoThrow QDCBASIC::AttachIter(CRowIterator* destination) {
    if (!destination || !destination->IsAttached()) return QERR(keQuorErrIteratorState);
    m_dst = destination;
    if (m_format == keFormatNone) m_format = destination->GetPixelFormat();
    m_deviceSize = SIZE{destination->GetWidth(), destination->GetHeight()};
    m_clip = RECT{0, 0, m_deviceSize.cx, m_deviceSize.cy};
    OffsetRect(&m_clip, m_deviceOrg.x, m_deviceOrg.y);
    return CErrorAutoThrow();
}

CRowIterator* QDCBASIC::DetachIter() noexcept {
    CRowIterator* it = m_dst;
    m_dst = nullptr;
    return it;
}

POINT QDCBASIC::SetDeviceOrg(const POINT& origin) noexcept {
    const POINT old = m_deviceOrg;
    m_deviceOrg = origin;
    UpdateMatrices();
    return old;
}

RECT QDCBASIC::SetDeviceClipRect(const RECT& clip) noexcept {
    const RECT old = m_clip;
    m_clip = clip;
    return old;
}

double QDCBASIC::SetStrokeWidth(double width, int flag) noexcept {
    const double old = m_stroke.width;
    m_stroke.width = width;
    m_stroke.widthFlag = flag;
    return old;
}

double QDCBASIC::SetStrokeMiterLimit(double limit) noexcept {
    const double old = m_stroke.miterLimit;
    m_stroke.miterLimit = limit;
    return old;
}

ELineJoin QDCBASIC::SetStrokeLineJoin(ELineJoin join) noexcept {
    const ELineJoin old = m_stroke.lineJoin;
    m_stroke.lineJoin = join;
    return old;
}

int QDCBASIC::SetStrokeLineCap(int cap, int position) {
    if (position == -2) {
        for (SLineCapProps& c : m_stroke.caps) c.type = ELineCap(cap);
        return -1;
    }
    if (position < 0 || position >= keLineCapPosCount) return -1;
    const int old = m_stroke.caps[position].type;
    m_stroke.caps[position].type = ELineCap(cap);
    return old;
}

SQPOINT QDCBASIC::SetStrokeLineCapScale(double sx, double sy, int position) {
    if (position == -2) {
        for (SLineCapProps& c : m_stroke.caps) c.xScale = sx, c.yScale = sy;
        return SQPOINT{0, 0};
    }
    if (position < 0 || position >= keLineCapPosCount) return SQPOINT{0, 0};
    SLineCapProps& c = m_stroke.caps[position];
    const SQPOINT old{c.xScale, c.yScale};
    c.xScale = sx;
    c.yScale = sy;
    return old;
}

bool QDCBASIC::SetStrokeDash(const double* lengths, int count, double offset) {
    return m_stroke.SetDash(lengths, count, offset);
}

bool QDCBASIC::SetStrokeProps(const SStrokeProps& props) {
    try {
        m_stroke = props;
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

namespace {

bool Replace(VQFILL*& slot, VQFILL* fill, uint8_t opacity, const CRowOpDef* op) {
    if (!fill) return false;
    fill->Reference();
    fill->SetOpacity(opacity);
    if (op) fill->SetCompositeOp(op);
    if (slot) slot->Unreference();
    slot = fill;
    return true;
}

bool SetOp(std::unique_ptr<CRowOpDef>& slot, VQFILL* fill, const CRowOpDef* op) {
    std::unique_ptr<CRowOpDef> copy;
    if (op) {
        copy.reset(op->Copy());
        if (!copy) return false;
    }
    if (fill && !fill->SetCompositeOp(op)) return false;
    slot = std::move(copy);
    return true;
}

}  // namespace

bool QDCBASIC::SetFill(VQFILL* fill) { return Replace(m_fill, fill, m_fillOpacity, m_fillOp.get()); }
bool QDCBASIC::SetStrokeFill(VQFILL* fill) { return Replace(m_strokeFill, fill, m_strokeOpacity, m_strokeOp.get()); }

uint8_t QDCBASIC::SetFillOpacity(uint8_t opacity) noexcept {
    const uint8_t old = m_fillOpacity;
    m_fillOpacity = opacity;
    if (m_fill) m_fill->SetOpacity(opacity);
    return old;
}

uint8_t QDCBASIC::SetStrokeOpacity(uint8_t opacity) noexcept {
    const uint8_t old = m_strokeOpacity;
    m_strokeOpacity = opacity;
    if (m_strokeFill) m_strokeFill->SetOpacity(opacity);
    return old;
}

bool QDCBASIC::SetFillCompositeOp(const CRowOpDef* op) { return SetOp(m_fillOp, m_fill, op); }
bool QDCBASIC::SetStrokeCompositeOp(const CRowOpDef* op) { return SetOp(m_strokeOp, m_strokeFill, op); }

bool QDCBASIC::SetMask(const CRowIterator* mask, POINT offset) {
    if (mask && (!mask->IsAttached() || mask->GetPixelFormat() != keFormatGrey)) return false;
    m_mask = mask;
    m_maskOffset = offset;
    return true;
}

EPolyFillMode QDCBASIC::SetPolyFillMode(EPolyFillMode mode) noexcept {
    const EPolyFillMode old = m_raster.polyFillMode;
    m_raster.polyFillMode = mode;
    return old;
}

int QDCBASIC::SetAntialiasingLevel(int level) noexcept {
    const int old = m_raster.antialiasingLevel;
    m_raster.antialiasingLevel = std::clamp(level, 1, 8);
    return old;
}

EAntialiasingFilter QDCBASIC::SetAntialiasingFilter(EAntialiasingFilter filter) noexcept {
    const EAntialiasingFilter old = m_raster.antialiasingFilter;
    m_raster.antialiasingFilter = filter;
    return old;
}

double QDCBASIC::SetPathFlatness(double flatness) noexcept {
    const double old = m_raster.pathFlatness;
    m_raster.pathFlatness = flatness;
    return old;
}

bool QDCBASIC::SetLineDraw(bool lineDraw) noexcept {
    const bool old = m_raster.lineDraw != 0;
    m_raster.lineDraw = lineDraw ? 1 : 0;
    return old;
}

void QDCBASIC::SetSystemTextRenderProps(bool render, uint32_t memory) noexcept {
    m_raster.textRender = render;
    m_raster.textRenderMemory = memory;
}

void QDCBASIC::GetSystemTextRenderProps(bool& render, uint32_t& memory) const noexcept {
    render = m_raster.textRender;
    memory = m_raster.textRenderMemory;
}

void QDCBASIC::SetCurrentMatrix(const double* m, double* previous) noexcept {
    if (previous) QGDI_MatrixCopy(previous, m_current);
    if (m) QGDI_MatrixCopy(m_current, m);
    else QGDI_MatrixIdentity(m_current);
    UpdateMatrices();
}

void QDCBASIC::SetCurrentStyleMatrix(const double* m) noexcept {
    if (m) QGDI_MatrixCopy(m_style, m);
    else QGDI_MatrixIdentity(m_style);
}

bool QDCBASIC::SetTransformStyle(bool transform) noexcept {
    const bool old = m_transformStyle;
    m_transformStyle = transform;
    return old;
}

RECT QDCBASIC::SetViewPortDC(const RECT& viewport) noexcept {
    const RECT old = m_viewport;
    m_viewport = viewport;
    UpdateMatrices();
    return old;
}

RECT QDCBASIC::SetViewPortClipRectDC(const RECT& clip) noexcept {
    const RECT old = m_viewportClip;
    m_viewportClip = clip;
    return old;
}

double QDCBASIC::SetScaleFactor(double scale) noexcept {
    const double old = m_scale;
    if (std::isfinite(scale) && scale > 0.0) m_scale = scale;
    UpdateMatrices();
    return old;
}

void QDCBASIC::UpdateMatrices() noexcept {
    const double vp[9] = {m_scale, 0, double(m_viewport.left), 0, m_scale, double(m_viewport.top), 0, 0, 1};
    QGDI_MatrixCopy(m_viewportMatrix, vp);
    QGDI_MatrixMultiply(m_viewportMatrix, vp, m_current);
    const double toImage[9] = {1, 0, double(-m_deviceOrg.x), 0, 1, double(-m_deviceOrg.y), 0, 0, 1};
    QGDI_MatrixMultiply(m_device, toImage, m_viewportMatrix);
}

const double* QDCBASIC::GetCurrentViewPortMatrix() const noexcept { return m_viewportMatrix; }
const double* QDCBASIC::GetDeviceMatrix() const noexcept { return m_device; }

EQPixelFormat QDCBASIC::SetPixelFormat(EQPixelFormat format) noexcept {
    const EQPixelFormat old = m_format;
    m_format = format;
    return old;
}

SQPOINT QDCBASIC::SetTextCP(const SQPOINT& position) noexcept {
    const SQPOINT old = m_textCP;
    m_textCP = position;
    return old;
}

bool QDCBASIC::SetTextKerning(bool kerning) noexcept {
    const bool old = m_text.kerning;
    m_text.kerning = kerning;
    return old;
}

bool QDCBASIC::SetTextPath(const CQPath* path) {
    if (!path) {
        m_textPath.reset();
        return true;
    }
    try {
        m_textPath = std::make_unique<CQPath>(*path);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void QDCBASIC::SetTextSelection(int first, int count) noexcept {
    m_selFirst = first;
    m_selCount = std::max(0, count);
}

VPathReceiver* QDCBASIC::SetGlyphsBoundPathReceiver(VPathReceiver* receiver) noexcept {
    VPathReceiver* old = m_glyphBounds;
    m_glyphBounds = receiver;
    return old;
}

bool QDCBASIC::IsFillOpaque() const noexcept { return m_fill && m_fillOpacity == 255 && m_fill->IsOpaque(); }

bool QDCBASIC::IsStrokeFillOpaque() const noexcept {
    return m_strokeFill && m_strokeOpacity == 255 && m_strokeFill->IsOpaque();
}

bool QDCBASIC::IsThereStrokeToRender() const noexcept {
    return m_strokeFill && m_strokeOpacity > 0 && m_stroke.width > 0.0 && std::isfinite(m_stroke.width);
}

bool QDCBASIC::OmitOperation(bool omit) noexcept {
    const bool old = m_omit;
    m_omit = omit;
    return old;
}

void QDCBASIC::DCtoIC(SQPOINT& p) const noexcept {
    p.x -= m_deviceOrg.x;
    p.y -= m_deviceOrg.y;
}

void QDCBASIC::ICtoDC(SQPOINT& p) const noexcept {
    p.x += m_deviceOrg.x;
    p.y += m_deviceOrg.y;
}

void QDCBASIC::DCtoIC(RECT& r) const noexcept { OffsetRect(&r, -m_deviceOrg.x, -m_deviceOrg.y); }
void QDCBASIC::ICtoDC(RECT& r) const noexcept { OffsetRect(&r, m_deviceOrg.x, m_deviceOrg.y); }

bool QDCBASIC::ClipIC(RECT& clip) const noexcept {
    if (!m_dst) return false;
    RECT c = m_clip;
    DCtoIC(c);
    const RECT image{0, 0, m_dst->GetWidth(), m_dst->GetHeight()};
    if (!IntersectRect(&clip, &c, &image)) return false;
    for (RECT extra : {m_viewportClip, m_selective}) {
        if (IsRectEmpty(&extra)) continue;
        DCtoIC(extra);
        if (!IntersectRect(&clip, &clip, &extra)) return false;
    }
    return true;
}

bool QDCBASIC::RectOnDevice(const SQRECT& world, RECT& device) const noexcept {
    SQRECT r = world;
    QGDI_MatrixTransform(m_device, r);
    if (!std::isfinite(r.left) || !std::isfinite(r.top) || !std::isfinite(r.right) || !std::isfinite(r.bottom))
        return false;
    RECT clip;
    if (!ClipIC(clip)) return false;
    const RECT touched{LONG(std::clamp(std::floor(r.left), -1e9, 1e9)), LONG(std::clamp(std::floor(r.top), -1e9, 1e9)),
                       LONG(std::clamp(std::ceil(r.right), -1e9, 1e9)), LONG(std::clamp(std::ceil(r.bottom), -1e9, 1e9))};
    return IntersectRect(&device, &touched, &clip) != 0;
}

bool QDCBASIC::Busy() const noexcept { return m_omit; }

QDCBASIC* QGDI_CreateQDC(EQPixelFormat format) {
    try {
        QDCBASIC* dc = new QDCBASIC(format);
        if (!dc->GetFill() || !dc->GetStrokeFill()) {
            delete dc;
            return nullptr;
        }
        return dc;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
