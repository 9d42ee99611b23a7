// The public context: shapes, colours and transform shortcuts over the engine.
#include <algorithm>
#include <cmath>
#include <new>

#include "drawing/QDC.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

CQDC::CQDC() { m_dc = QGDI_CreateQDC(keFormatNone); }

CQDC::~CQDC() { delete m_dc; }

bool CQDC::Initialize(EQPixelFormat format) {
    QDCBASIC* dc = QGDI_CreateQDC(format);
    if (!dc) return false;
    SetQDC(dc);
    return true;
}

void CQDC::SetQDC(QDCBASIC* dc) noexcept {
    if (dc == m_dc) return;
    delete m_dc;
    m_dc = dc;
}

CErrorAutoThrow CQDC::Shape(const CQPath& path, EQDrawMode mode) {
    if (!m_dc) return QERR(keQuorErrFailed);
    VPathIteratorRefed* it = QGDI_PathIteratorCreate(path.GetPath());
    if (!it) return QERR(keQuorErrOutOfMemory);
    CErrorAutoThrow r;
    if (mode & keDrawFill) r = m_dc->FillPath(it);
    if (!qgdi::result::Failed(r) && (mode & keDrawStroke)) r = m_dc->StrokePath(it);
    it->Unreference();
    return r;
}

CErrorAutoThrow CQDC::Line(const SQPOINT& a, const SQPOINT& b) {
    CQPath p;
    if (!p.MoveTo(a) || !p.LineTo(b)) return QERR(keQuorErrOutOfMemory);
    return Shape(p, keDrawStroke);
}

CErrorAutoThrow CQDC::Polyline(const SQPOINT* points, int count) {
    if (!points || count < 1) return QERR(keQuorErrFailed);
    CQPath p;
    if (!p.CreatePolygon(points, count, false)) return QERR(keQuorErrOutOfMemory);
    return Shape(p, keDrawStroke);
}

CErrorAutoThrow CQDC::Polygon(const SQPOINT* points, int count, EQDrawMode mode) {
    if (!points || count < 1) return QERR(keQuorErrFailed);
    CQPath p;
    if (!p.CreatePolygon(points, count, true)) return QERR(keQuorErrOutOfMemory);
    return Shape(p, mode);
}

CErrorAutoThrow CQDC::Rectangle(const SQRECT& rect, EQDrawMode mode) {
    CQPath p;
    if (!p.CreateRect(rect)) return QERR(keQuorErrOutOfMemory);
    return Shape(p, mode);
}

CErrorAutoThrow CQDC::RoundRect(const SQRECT& rect, double rx, double ry, EQDrawMode mode) {
    CQPath p;
    if (!p.CreateRoundRect(rect, rx, ry)) return QERR(keQuorErrOutOfMemory);
    return Shape(p, mode);
}

CErrorAutoThrow CQDC::Ellipse(const SQRECT& rect, EQDrawMode mode) {
    CQPath p;
    if (!p.CreateEllipse(rect)) return QERR(keQuorErrOutOfMemory);
    return Shape(p, mode);
}

CErrorAutoThrow CQDC::StrokeAndFillPath(const CQPath& path) { return Shape(path, keDrawFillAndStroke); }

namespace {

uint32_t Rgba(int r, int g, int b, int a) {
    auto c = [](int v) { return uint32_t(std::clamp(v, 0, 255)); };
    return c(r) | (c(g) << 8) | (c(b) << 16) | (c(a) << 24);
}

}  // namespace

bool CQDC::SetFillColorRGBA(int r, int g, int b, int a) {
    VQFILL* fill = QGDI_FillCreateRGBA(Rgba(r, g, b, a));
    if (!fill) return false;
    const bool ok = m_dc->SetFill(fill);
    fill->Unreference();
    return ok;
}

bool CQDC::SetStrokeColorRGBA(int r, int g, int b, int a) {
    VQFILL* fill = QGDI_FillCreateRGBA(Rgba(r, g, b, a));
    if (!fill) return false;
    const bool ok = m_dc->SetStrokeFill(fill);
    fill->Unreference();
    return ok;
}

int CQDC::SetAntialiasing(bool on, int level) noexcept { return m_dc->SetAntialiasingLevel(on ? level : 1); }

namespace {

// current = current x op: the operation acts on world coordinates first.
void Apply(QDCBASIC* dc, const double* op) {
    double m[9];
    QGDI_MatrixMultiply(m, dc->GetCurrentMatrix(), op);
    dc->SetCurrentMatrix(m);
}

}  // namespace

void CQDC::Translate(double dx, double dy) noexcept {
    const double t[9] = {1, 0, dx, 0, 1, dy, 0, 0, 1};
    Apply(m_dc, t);
}

void CQDC::Scale(double sx, double sy) noexcept {
    const double t[9] = {sx, 0, 0, 0, sy, 0, 0, 0, 1};
    Apply(m_dc, t);
}

void CQDC::Rotate(double radians) noexcept {
    const double c = std::cos(radians), s = std::sin(radians);
    const double t[9] = {c, -s, 0, s, c, 0, 0, 0, 1};
    Apply(m_dc, t);
}

void CQDC::SkewX(double k) noexcept {
    const double t[9] = {1, k, 0, 0, 1, 0, 0, 0, 1};
    Apply(m_dc, t);
}

void CQDC::SkewY(double k) noexcept {
    const double t[9] = {1, 0, 0, k, 1, 0, 0, 0, 1};
    Apply(m_dc, t);
}

void CQDC::Transform(const double* m) noexcept {
    if (m) Apply(m_dc, m);
}

bool CQDC::InverseTransform(const double* m) noexcept {
    double inv[9];
    if (!m || !QGDI_MatrixGetInverse(m, inv)) return false;
    Apply(m_dc, inv);
    return true;
}

void CQDC::TransformToDevice(SQPOINT& p) const noexcept { QGDI_MatrixTransform(m_dc->GetCurrentViewPortMatrix(), p); }

bool CQDC::TransformToWorld(SQPOINT& p) const noexcept {
    double inv[9];
    if (!QGDI_MatrixGetInverse(m_dc->GetCurrentViewPortMatrix(), inv)) return false;
    QGDI_MatrixTransform(inv, p);
    return true;
}

void CQDC::DistanceTransform(SQPOINT& d) const noexcept {
    const double* m = m_dc->GetCurrentViewPortMatrix();
    d = SQPOINT{m[0] * d.x + m[1] * d.y, m[3] * d.x + m[4] * d.y};
}

bool CQDC::InverseDistanceTransform(SQPOINT& d) const noexcept {
    const double* m = m_dc->GetCurrentViewPortMatrix();
    const double det = m[0] * m[4] - m[1] * m[3];
    if (std::fabs(det) < 1e-32) return false;
    d = SQPOINT{(m[4] * d.x - m[1] * d.y) / det, (-m[3] * d.x + m[0] * d.y) / det};
    return true;
}
