#include <algorithm>
#include <cmath>
#include <new>

#include "drawing/Arc.h"
#include "drawing/Bezier.h"
#include "drawing/PathBuffer.h"
#include "drawing/PathLinked.h"
#include "geometry/MatrixFunctions.h"

namespace {

SQEDGE* NewEdge(int32_t type, const SQPOINT& start, const SQPOINT& end) noexcept {
    SQEDGE* e = new (std::nothrow) SQEDGE{};
    if (!e) return nullptr;
    e->type = type;
    e->start = start;
    e->end = end;
    return e;
}

SQPOINT Lerp(const SQPOINT& a, const SQPOINT& b, double t) noexcept {
    return SQPOINT{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

void Grow(SQRECT& r, const SQPOINT& p) noexcept {
    r.left = std::min(r.left, p.x);
    r.right = std::max(r.right, p.x);
    r.top = std::min(r.top, p.y);
    r.bottom = std::max(r.bottom, p.y);
}

// Pairs of cubic pieces are cut until both are flat to a tolerance relative
// to the edges' size; the crossing of the chords then gives the point. The
// work is budgeted: two coincident curves overlap everywhere and would
// otherwise split into pairs without end.
struct SIntersect {
    double flatness;  // squared, from the size of the two edges
    long budget;
    SQPOINT* out;
    int max;
    int n;
};

void IntersectCubics(const SQPOINT* a, const SQPOINT* b, int depth, SIntersect& k) noexcept {
    if (k.n >= k.max || --k.budget < 0) return;
    SQRECT ra, rb;
    ra = SQRECT{a[0].x, a[0].y, a[0].x, a[0].y};
    rb = SQRECT{b[0].x, b[0].y, b[0].x, b[0].y};
    for (int i = 1; i < 4; ++i) {
        Grow(ra, a[i]);
        Grow(rb, b[i]);
    }
    if (ra.left > rb.right || rb.left > ra.right || ra.top > rb.bottom || rb.top > ra.bottom) return;
    const bool flatA = QGDI_QuadrilateralIsFlat(a, k.flatness);
    const bool flatB = QGDI_QuadrilateralIsFlat(b, k.flatness);
    if ((flatA && flatB) || depth >= 48) {
        const double d1x = a[3].x - a[0].x, d1y = a[3].y - a[0].y;
        const double d2x = b[3].x - b[0].x, d2y = b[3].y - b[0].y;
        const double den = d1x * d2y - d1y * d2x;
        if (den == 0.0) return;  // parallel chords: overlaps have no single point
        const double ex = b[0].x - a[0].x, ey = b[0].y - a[0].y;
        const double s = (ex * d2y - ey * d2x) / den, t = (ex * d1y - ey * d1x) / den;
        const double eps = 1e-9;
        if (s < -eps || s > 1 + eps || t < -eps || t > 1 + eps) return;
        const SQPOINT p = Lerp(a[0], a[3], std::clamp(s, 0.0, 1.0));
        const double near = std::sqrt(k.flatness) * 4.0;
        for (int i = 0; i < k.n; ++i)
            if (std::fabs(k.out[i].x - p.x) <= near && std::fabs(k.out[i].y - p.y) <= near) return;
        k.out[k.n++] = p;
        return;
    }
    SQPOINT sa[7], sb[7];
    if (!flatA) QGDI_CubicBezierSubdivide(a, sa);
    if (!flatB) QGDI_CubicBezierSubdivide(b, sb);
    if (flatA) {
        IntersectCubics(a, sb, depth + 1, k);
        IntersectCubics(a, sb + 3, depth + 1, k);
    } else if (flatB) {
        IntersectCubics(sa, b, depth + 1, k);
        IntersectCubics(sa + 3, b, depth + 1, k);
    } else {
        for (int i = 0; i < 2; ++i)
            for (int j = 0; j < 2; ++j) IntersectCubics(sa + 3 * i, sb + 3 * j, depth + 1, k);
    }
}

}  // namespace

SQEDGE* QGDI_EdgeCreateLine(const SQPOINT& start, const SQPOINT& end) noexcept {
    return NewEdge(keEdgeLine, start, end);
}

SQEDGE* QGDI_EdgeCreateQuadraticCurve(const SQPOINT& start, const SQPOINT& control, const SQPOINT& end) noexcept {
    SQEDGE* e = NewEdge(keEdgeQuadratic, start, end);
    if (e) e->c1 = control;
    return e;
}

SQEDGE* QGDI_EdgeCreateCubicCurve(const SQPOINT& start, const SQPOINT& c1, const SQPOINT& c2,
                                  const SQPOINT& end) noexcept {
    SQEDGE* e = NewEdge(keEdgeCubic, start, end);
    if (e) {
        e->c1 = c1;
        e->c2 = c2;
    }
    return e;
}

SQEDGE* QGDI_EdgeCreateArc(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& start,
                           const SQPOINT& end) noexcept {
    SQEDGE* e = NewEdge(keEdgeArc, start, end);
    if (e) {
        e->c1 = radii;
        e->arc.rotation = rotation;
        e->arc.sweep = sweep ? 1 : 0;
        e->arc.largeArc = largeArc ? 1 : 0;
    }
    return e;
}

SQEDGE* QGDI_EdgeCopy(const SQEDGE* edge) noexcept {
    if (!edge) return nullptr;
    SQEDGE* e = new (std::nothrow) SQEDGE(*edge);
    if (e) e->prev = e->next = nullptr;
    return e;
}

bool QGDI_EdgeFromPathCmd(SQEDGE* edge, const SQPOINT& start, const SQPATHCMD& cmd) noexcept {
    if (!edge) return false;
    switch (cmd.command) {
    case keCmdLineTo: edge->type = keEdgeLine; break;
    case keCmdQuadraticCurveTo:
        edge->type = keEdgeQuadratic;
        edge->c1 = cmd.a;
        break;
    case keCmdCubicCurveTo:
        edge->type = keEdgeCubic;
        edge->c1 = cmd.a;
        edge->c2 = cmd.b;
        break;
    case keCmdArcTo:
        edge->type = keEdgeArc;
        edge->c1 = cmd.a;
        edge->arc = cmd.arc;
        break;
    default: return false;
    }
    edge->start = start;
    edge->end = cmd.end;
    return true;
}

int QGDI_EdgeToCubics(const SQEDGE* e, SQPOINT* out) noexcept {
    if (!e) return 0;
    switch (e->type) {
    case keEdgeQuadratic: {
        const SQPOINT q[3] = {e->start, e->c1, e->end};
        QGDI_QuadraticToCubic(q, out);
        return 1;
    }
    case keEdgeCubic:
        out[0] = e->start;
        out[1] = e->c1;
        out[2] = e->c2;
        out[3] = e->end;
        return 1;
    case keEdgeArc: {
        SQARC arc;
        if (QGDI_ArcCreate(arc, e->start, e->c1, e->arc.rotation, e->arc.largeArc != 0, e->arc.sweep != 0, e->end)) {
            const int n = QGDI_CubicBezierFromArc(out, arc.startAngle, arc.sweep, arc.unitToUser);
            if (n > 0) {
                // The mapped ends differ from the given ones by rounding; pin them
                // so that pieces and neighbours meet exactly.
                out[0] = e->start;
                out[4 * n - 1] = e->end;
                return n;
            }
        }
        [[fallthrough]];
    }
    default: {
        const QCubicCurve c = QCubicCurve::Line(e->start, e->end);
        std::copy(c.p, c.p + 4, out);
        return 1;
    }
    }
}

double QGDI_EdgeGetLength(const SQEDGE* edge) noexcept {
    if (!edge) return 0.0;
    if (edge->type == keEdgeLine || edge->type < 0 || edge->type > keEdgeArc)
        return std::hypot(edge->end.x - edge->start.x, edge->end.y - edge->start.y);
    SQPOINT pts[16];
    const int n = QGDI_EdgeToCubics(edge, pts);
    double len = 0.0;
    for (int i = 0; i < n; ++i) len += QGDI_CubicBezierGetLength(pts + 4 * i);
    return len;
}

bool QGDI_EdgeGetBBox(const SQEDGE* edge, SQRECT& box) noexcept {
    if (!edge) return false;
    SQPOINT pts[16];
    const int n = QGDI_EdgeToCubics(edge, pts);
    box = SQRECT{edge->start.x, edge->start.y, edge->start.x, edge->start.y};
    Grow(box, edge->end);
    if (edge->type == keEdgeLine) return true;
    for (int i = 0; i < n; ++i) {
        SQRECT r;
        QGDI_CubicBezierGetBBox(pts + 4 * i, r);
        Grow(box, SQPOINT{r.left, r.top});
        Grow(box, SQPOINT{r.right, r.bottom});
    }
    return true;
}

bool QGDI_EdgeSeekDistance(const SQEDGE* edge, double distance, SQPOINT& point, SQPOINT* tangent) noexcept {
    if (!edge || !std::isfinite(distance)) return false;
    SQPOINT pts[16];
    const int n = QGDI_EdgeToCubics(edge, pts);
    double left = std::max(distance, 0.0);
    for (int i = 0; i < n; ++i) {
        const SQPOINT* p = pts + 4 * i;
        const double len = QGDI_CubicBezierGetLength(p);
        if (left > len && i + 1 < n) {
            left -= len;
            continue;
        }
        double t = 1.0;
        if (!QGDI_CubicBezierSeekDistance(p, left, t)) return false;
        point = QGDI_CubicBezierPoint(p, t);
        if (tangent) {
            const QCubicCurve c(p[0], p[1], p[2], p[3]);
            const SQPOINT nrm = c.Normal(t);
            *tangent = SQPOINT{nrm.y, -nrm.x};
        }
        return true;
    }
    return false;
}

int QGDI_EdgeIntersection(const SQEDGE* a, const SQEDGE* b, SQPOINT* out, int max) noexcept {
    if (!a || !b || !out || max <= 0) return 0;
    SQPOINT pa[16], pb[16];
    const int na = QGDI_EdgeToCubics(a, pa), nb = QGDI_EdgeToCubics(b, pb);
    SQRECT box{pa[0].x, pa[0].y, pa[0].x, pa[0].y};
    for (int i = 0; i < 4 * na; ++i) Grow(box, pa[i]);
    for (int i = 0; i < 4 * nb; ++i) Grow(box, pb[i]);
    const double size = std::max(box.right - box.left, box.bottom - box.top);
    if (!std::isfinite(size)) return 0;
    // Points to about 1e-10 of the edges' size, with a floor for degenerate ones.
    const double tol = std::max(size * 1e-10, 1e-300);
    SIntersect k{tol * tol, 200000, out, max, 0};
    for (int i = 0; i < na; ++i)
        for (int j = 0; j < nb; ++j) IntersectCubics(pa + 4 * i, pb + 4 * j, 0, k);
    return k.n;
}

void QGDI_EdgeReverseDirection(SQEDGE* e) noexcept {
    if (!e) return;
    std::swap(e->start, e->end);
    if (e->type == keEdgeCubic) std::swap(e->c1, e->c2);
    else if (e->type == keEdgeArc) e->arc.sweep = e->arc.sweep ? 0 : 1;
}

bool QGDI_EdgeTransform(SQEDGE* e, const double* m) noexcept {
    if (!e) return false;
    const uint32_t flags = QGDI_MatrixFlagGet(m);
    if (flags == 0) return true;
    if (e->type == keEdgeArc) {
        if (flags & keMatrixFlagProjective) return false;
        // The ellipse is A = M R(rot) diag(rx, ry) applied to the unit circle;
        // its axes are the eigenvectors of A A^T.
        const double rot = e->arc.rotation * kQPi / 180.0;
        const double c = std::cos(rot), s = std::sin(rot);
        const double rx = e->c1.x, ry = e->c1.y;
        const double a00 = (m[0] * c + m[1] * s) * rx, a01 = (-m[0] * s + m[1] * c) * ry;
        const double a10 = (m[3] * c + m[4] * s) * rx, a11 = (-m[3] * s + m[4] * c) * ry;
        const double s00 = a00 * a00 + a01 * a01, s01 = a00 * a10 + a01 * a11, s11 = a10 * a10 + a11 * a11;
        const double ang = 0.5 * std::atan2(2.0 * s01, s00 - s11);
        const double ca = std::cos(ang), sa = std::sin(ang);
        const double l1 = s00 * ca * ca + 2.0 * s01 * sa * ca + s11 * sa * sa;
        const double l2 = s00 * sa * sa - 2.0 * s01 * sa * ca + s11 * ca * ca;
        e->c1 = SQPOINT{std::sqrt(std::max(l1, 0.0)), std::sqrt(std::max(l2, 0.0))};
        e->arc.rotation = ang * 180.0 / kQPi;
        if (m[0] * m[4] - m[1] * m[3] < 0.0) e->arc.sweep = e->arc.sweep ? 0 : 1;
    } else {
        if (e->type == keEdgeQuadratic || e->type == keEdgeCubic) QGDI_MatrixTransform(m, e->c1);
        if (e->type == keEdgeCubic) QGDI_MatrixTransform(m, e->c2);
    }
    QGDI_MatrixTransform(m, e->start);
    QGDI_MatrixTransform(m, e->end);
    return true;
}

void QGDI_EdgeDestroy(SQEDGE* edge) noexcept { delete edge; }
