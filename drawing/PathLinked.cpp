#include "drawing/PathLinked.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "drawing/Bezier.h"
#include "geometry/MatrixFunctions.h"

namespace {

inline SQPOINT Map(const SQPOINT& p, const double* m) noexcept {
    SQPOINT q = p;
    if (m) QGDI_MatrixTransform(m, q);
    return q;
}

// Quarter-circle cubic control distance: 4/3 (sqrt(2) - 1).
constexpr double kKappa = 0.5522847498307936;

}  // namespace

SQPATH::~SQPATH() { Clear(); }

void SQPATH::Clear() noexcept {
    for (SQCONTOUR* c = first; c;) {
        SQCONTOUR* n = c->next;
        QGDI_ContourDestroy(c);
        c = n;
    }
    first = last = current = nullptr;
    contoursCreated = 0;
    m_start = m_current = SQPOINT{0.0, 0.0};
}

SQCONTOUR* SQPATH::Current() {
    if (current) return current;
    SQCONTOUR* c = QGDI_ContourCreate(contoursCreated);
    if (!c) return nullptr;
    QGDI_PathAddContour(this, c);
    return c;
}

bool SQPATH::Append(SQEDGE* e) {
    if (!e) return false;
    SQCONTOUR* c = Current();
    if (!c) {
        QGDI_EdgeDestroy(e);
        return false;
    }
    QGDI_ContourAddEdge(c, e);
    return true;
}

bool SQPATH::MoveTo(const SQPOINT& point, const double*) {
    // A contour that got no edge yet is reused: consecutive moves create no empty contours.
    if (!current || current->first) {
        SQCONTOUR* c = QGDI_ContourCreate(contoursCreated);
        if (!c) return false;
        QGDI_PathAddContour(this, c);
    }
    m_start = m_current = point;
    return true;
}

bool SQPATH::LineTo(const SQPOINT& point, const double* matrix) {
    if (!Append(QGDI_EdgeCreateLine(Map(m_current, matrix), Map(point, matrix)))) return false;
    m_current = point;
    return true;
}

bool SQPATH::QuadraticCurveTo(const SQPOINT& control, const SQPOINT& end, const double* matrix) {
    if (!Append(QGDI_EdgeCreateQuadraticCurve(Map(m_current, matrix), Map(control, matrix), Map(end, matrix))))
        return false;
    m_current = end;
    return true;
}

bool SQPATH::CubicCurveTo(const SQPOINT& control1, const SQPOINT& control2, const SQPOINT& end, const double* matrix) {
    if (!Append(QGDI_EdgeCreateCubicCurve(Map(m_current, matrix), Map(control1, matrix), Map(control2, matrix),
                                          Map(end, matrix))))
        return false;
    m_current = end;
    return true;
}

bool SQPATH::ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end,
                   const double* matrix) {
    if (!(std::fabs(radii.x * radii.y) >= kQGeomTolerance)) return false;
    if (QGDI_MatrixFlagGet(matrix) != 0) return VPathReceiver::ArcTo(radii, rotation, largeArc, sweep, end, matrix);
    if (!Append(QGDI_EdgeCreateArc(radii, rotation, largeArc, sweep, m_current, end))) return false;
    m_current = end;
    return true;
}

bool SQPATH::ClosePath(const double* matrix) {
    SQCONTOUR* c = Current();
    if (!c) return false;
    c->closed = 1;
    if (!QGDI_IsEqual(m_current.x, m_start.x) || !QGDI_IsEqual(m_current.y, m_start.y)) {
        if (!Append(QGDI_EdgeCreateLine(Map(m_current, matrix), Map(m_start, matrix)))) return false;
    }
    m_current = m_start;
    return true;
}

SQPATH* QGDI_PathCreate() noexcept { return new (std::nothrow) SQPATH(); }

SQPATH* QGDI_PathCopy(const SQPATH* src) noexcept {
    if (!src) return nullptr;
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    for (const SQCONTOUR* c = src->first; c; c = c->next) {
        SQCONTOUR* k = QGDI_ContourCopy(c);
        if (!k) {
            p->Unreference();
            return nullptr;
        }
        QGDI_PathAddContour(p, k);
    }
    p->contoursCreated = src->contoursCreated;
    // The copy continues where the original would.
    p->SetPoints(src->GetStartPoint(), src->GetCurrentPoint());
    return p;
}

bool QGDI_PathAddContour(SQPATH* path, SQCONTOUR* c) noexcept {
    if (!path || !c) return false;
    c->prev = path->last;
    c->next = nullptr;
    if (path->last) path->last->next = c;
    else path->first = c;
    path->last = c;
    path->current = c;
    ++path->contoursCreated;
    return true;
}

SQCONTOUR* QGDI_PathGetContour(const SQPATH* path, int index) noexcept {
    if (!path || index < 0) return nullptr;
    SQCONTOUR* c = path->first;
    while (c && index-- > 0) c = c->next;
    return c;
}

int QGDI_PathGetContourCount(const SQPATH* path) noexcept {
    int n = 0;
    if (path)
        for (const SQCONTOUR* c = path->first; c; c = c->next) ++n;
    return n;
}

bool QGDI_PathIsClosed(const SQPATH* path) noexcept {
    if (!path || !path->first) return false;
    for (const SQCONTOUR* c = path->first; c; c = c->next)
        if (!c->closed) return false;
    return true;
}

bool QGDI_PathTransform(SQPATH* path, const double* m) noexcept {
    if (!path) return false;
    for (SQCONTOUR* c = path->first; c; c = c->next)
        if (!QGDI_ContourTransform(c, m)) return false;
    SQPOINT s = path->GetStartPoint(), p = path->GetCurrentPoint();
    QGDI_MatrixTransform(m, s);
    QGDI_MatrixTransform(m, p);
    path->SetPoints(s, p);
    return true;
}

void QGDI_PathReverseDirection(SQPATH* path) noexcept {
    if (path)
        for (SQCONTOUR* c = path->first; c; c = c->next) QGDI_ContourReverseDirection(c);
}

bool QGDI_PathGetBBox(const SQPATH* path, SQRECT& box) noexcept {
    bool has = false;
    if (!path) return false;
    for (const SQCONTOUR* c = path->first; c; c = c->next) {
        SQRECT r;
        if (!QGDI_ContourGetBBox(c, r)) continue;
        if (!has) box = r;
        else
            box = SQRECT{std::min(box.left, r.left), std::min(box.top, r.top), std::max(box.right, r.right),
                         std::max(box.bottom, r.bottom)};
        has = true;
    }
    return has;
}

bool QGDI_PathGetLooseBBox(const SQPATH* path, SQRECT& box) noexcept {
    bool has = false;
    if (!path) return false;
    for (const SQCONTOUR* c = path->first; c; c = c->next) {
        SQRECT r;
        if (!QGDI_ContourGetLooseBBox(c, r)) continue;
        if (!has) box = r;
        else
            box = SQRECT{std::min(box.left, r.left), std::min(box.top, r.top), std::max(box.right, r.right),
                         std::max(box.bottom, r.bottom)};
        has = true;
    }
    return has;
}

int QGDI_PathGetVertices(const SQPATH* path, SQPOINT* out, int max) noexcept {
    int n = 0;
    if (!path) return 0;
    auto put = [&](const SQPOINT& p) {
        if (out && n < max) out[n] = p;
        ++n;
    };
    for (const SQCONTOUR* c = path->first; c; c = c->next) {
        if (!c->first) continue;
        put(c->first->start);
        for (const SQEDGE* e = c->first; e; e = e->next) put(e->end);
    }
    return n;
}

bool QGDI_PathConvertToCubics(SQPATH* path) noexcept {
    if (!path) return false;
    for (SQCONTOUR* c = path->first; c; c = c->next)
        if (!QGDI_ContourConvertToCubics(c)) return false;
    return true;
}

SQPATH* QGDI_PathCreateRect(const SQRECT& r) noexcept {
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    const bool ok = p->MoveTo({r.left, r.top}, nullptr) && p->LineTo({r.right, r.top}, nullptr) &&
                    p->LineTo({r.right, r.bottom}, nullptr) && p->LineTo({r.left, r.bottom}, nullptr) &&
                    p->ClosePath(nullptr);
    if (!ok) {
        p->Unreference();
        return nullptr;
    }
    return p;
}

SQPATH* QGDI_PathCreateRoundRect(const SQRECT& r, double rx, double ry) noexcept {
    const double w = std::fabs(r.right - r.left), h = std::fabs(r.bottom - r.top);
    rx = std::min(std::fabs(rx), 0.5 * w);
    ry = std::min(std::fabs(ry), 0.5 * h);
    if (!(rx > 0.0 && ry > 0.0)) return QGDI_PathCreateRect(r);
    const double l = std::min(r.left, r.right), t = std::min(r.top, r.bottom);
    const double rr = l + w, b = t + h;
    const double kx = rx * kKappa, ky = ry * kKappa;
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    auto line = [&](double x, double y) {
        const SQPOINT& c = p->GetCurrentPoint();
        return (c.x == x && c.y == y) || p->LineTo({x, y}, nullptr);
    };
    const bool ok = p->MoveTo({l + rx, t}, nullptr) && line(rr - rx, t) &&
                    p->CubicCurveTo({rr - rx + kx, t}, {rr, t + ry - ky}, {rr, t + ry}, nullptr) && line(rr, b - ry) &&
                    p->CubicCurveTo({rr, b - ry + ky}, {rr - rx + kx, b}, {rr - rx, b}, nullptr) && line(l + rx, b) &&
                    p->CubicCurveTo({l + rx - kx, b}, {l, b - ry + ky}, {l, b - ry}, nullptr) && line(l, t + ry) &&
                    p->CubicCurveTo({l, t + ry - ky}, {l + rx - kx, t}, {l + rx, t}, nullptr) && p->ClosePath(nullptr);
    if (!ok) {
        p->Unreference();
        return nullptr;
    }
    return p;
}

SQPATH* QGDI_PathCreateEllipse(const SQRECT& r) noexcept {
    const double cx = 0.5 * (r.left + r.right), cy = 0.5 * (r.top + r.bottom);
    const double rx = 0.5 * (r.right - r.left), ry = 0.5 * (r.bottom - r.top);
    const double kx = rx * kKappa, ky = ry * kKappa;
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    const bool ok = p->MoveTo({cx + rx, cy}, nullptr) &&
                    p->CubicCurveTo({cx + rx, cy + ky}, {cx + kx, cy + ry}, {cx, cy + ry}, nullptr) &&
                    p->CubicCurveTo({cx - kx, cy + ry}, {cx - rx, cy + ky}, {cx - rx, cy}, nullptr) &&
                    p->CubicCurveTo({cx - rx, cy - ky}, {cx - kx, cy - ry}, {cx, cy - ry}, nullptr) &&
                    p->CubicCurveTo({cx + kx, cy - ry}, {cx + rx, cy - ky}, {cx + rx, cy}, nullptr) &&
                    p->ClosePath(nullptr);
    if (!ok) {
        p->Unreference();
        return nullptr;
    }
    return p;
}

SQPATH* QGDI_PathCreatePolygon(const SQPOINT* points, int count, bool closed) noexcept {
    if (count < 0 || (count > 0 && !points)) return nullptr;
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    bool ok = true;
    if (count > 0) {
        ok = p->MoveTo(points[0], nullptr);
        for (int i = 1; ok && i < count; ++i) ok = p->LineTo(points[i], nullptr);
        if (ok && closed) ok = p->ClosePath(nullptr);
    }
    if (!ok) {
        p->Unreference();
        return nullptr;
    }
    return p;
}

SQPATH* QGDI_PathCreateSpiral(const SQPOINT& centre, double r0, double r1, double turns, double startAngle,
                              EQSpiralType type) noexcept {
    if (!std::isfinite(r0) || !std::isfinite(r1) || !std::isfinite(turns) || !std::isfinite(startAngle) ||
        !(turns > 0.0) || turns > 1e5 || r0 < 0.0 || r1 < 0.0)
        return nullptr;
    if (type == keSpiralLogarithmic && !(r0 > 0.0 && r1 > 0.0)) return nullptr;
    const double total = turns * kQ2PiFull;
    // Eighth turns keep the Hermite pieces within about 1e-4 of the radius.
    const int pieces = std::max(1, int(std::ceil(turns * 8.0)));
    const double step = total / pieces;
    const double growth = type == keSpiralLogarithmic ? std::log(r1 / r0) / total : (r1 - r0) / total;
    auto radius = [&](double a) { return type == keSpiralLogarithmic ? r0 * std::exp(growth * a) : r0 + growth * a; };
    auto dradius = [&](double a) { return type == keSpiralLogarithmic ? growth * radius(a) : growth; };
    auto point = [&](double a) {
        const double r = radius(a), th = startAngle + a;
        return SQPOINT{centre.x + r * std::cos(th), centre.y + r * std::sin(th)};
    };
    auto deriv = [&](double a) {
        const double r = radius(a), dr = dradius(a), th = startAngle + a;
        const double c = std::cos(th), s = std::sin(th);
        return SQPOINT{dr * c - r * s, dr * s + r * c};
    };
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    bool ok = p->MoveTo(point(0.0), nullptr);
    for (int i = 0; ok && i < pieces; ++i) {
        const double a0 = step * i, a1 = i + 1 == pieces ? total : step * (i + 1);
        const double h = (a1 - a0) / 3.0;
        const SQPOINT p0 = point(a0), p1 = point(a1), d0 = deriv(a0), d1 = deriv(a1);
        ok = p->CubicCurveTo({p0.x + d0.x * h, p0.y + d0.y * h}, {p1.x - d1.x * h, p1.y - d1.y * h}, p1, nullptr);
    }
    if (!ok) {
        p->Unreference();
        return nullptr;
    }
    return p;
}

bool QGDI_PathSend(const SQPATH* path, VPathReceiver* r, const double* m, bool noHooks) noexcept {
    if (!path || !r) return false;
    if (!noHooks && !r->BeginPath()) return false;
    for (const SQCONTOUR* c = path->first; c; c = c->next) {
        if (!c->first) continue;
        if (!r->MoveTo(c->first->start, m)) return false;
        for (const SQEDGE* e = c->first; e; e = e->next) {
            bool ok;
            switch (e->type) {
            case keEdgeQuadratic: ok = r->QuadraticCurveTo(e->c1, e->end, m); break;
            case keEdgeCubic: ok = r->CubicCurveTo(e->c1, e->c2, e->end, m); break;
            case keEdgeArc:
                ok = r->ArcTo(e->c1, e->arc.rotation, e->arc.largeArc != 0, e->arc.sweep != 0, e->end, m);
                // Degenerate stored radii draw the chord, as SVG renders them.
                if (!ok && !(std::fabs(e->c1.x * e->c1.y) >= kQGeomTolerance)) ok = r->LineTo(e->end, m);
                break;
            default: ok = r->LineTo(e->end, m); break;
            }
            if (!ok) return false;
        }
        if (c->closed && !r->ClosePath(m)) return false;
    }
    return noHooks || r->EndPath();
}
