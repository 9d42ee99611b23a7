#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "drawing/Bezier.h"
#include "drawing/PathLinked.h"
#include "geometry/MatrixFunctions.h"

namespace {

void Grow(SQRECT& r, const SQPOINT& p, bool& has) noexcept {
    if (!has) {
        r = SQRECT{p.x, p.y, p.x, p.y};
        has = true;
        return;
    }
    r.left = std::min(r.left, p.x);
    r.right = std::max(r.right, p.x);
    r.top = std::min(r.top, p.y);
    r.bottom = std::max(r.bottom, p.y);
}

// Replaces edge e (linked in c) by a chain of cubic edges; false on allocation failure.
bool ReplaceByCubics(SQCONTOUR* c, SQEDGE* e) noexcept {
    SQPOINT pts[16];
    const int n = QGDI_EdgeToCubics(e, pts);
    SQEDGE* head = nullptr;
    SQEDGE* tail = nullptr;
    for (int i = 0; i < n; ++i) {
        SQEDGE* k = QGDI_EdgeCreateCubicCurve(pts[4 * i], pts[4 * i + 1], pts[4 * i + 2], pts[4 * i + 3]);
        if (!k) {
            while (head) {
                SQEDGE* nx = head->next;
                delete head;
                head = nx;
            }
            return false;
        }
        k->prev = tail;
        if (tail) tail->next = k;
        else head = k;
        tail = k;
    }
    head->prev = e->prev;
    tail->next = e->next;
    if (e->prev) e->prev->next = head;
    else c->first = head;
    if (e->next) e->next->prev = tail;
    else c->last = tail;
    c->edgeCount += n - 1;
    delete e;
    return true;
}

// The contour's outline as a polygon: flattened with a fine tolerance relative
// to its size, for area and convexity.
std::vector<SQPOINT> Polygon(const SQCONTOUR* c) {
    std::vector<SQPOINT> poly;
    if (!c || !c->first) return poly;
    struct Collect : VPathReceiver {
        std::vector<SQPOINT>* out;
        bool LineTo(const SQPOINT& p, const double*) override {
            if (out->empty() || out->back().x != p.x || out->back().y != p.y) out->push_back(p);
            m_current = p;
            return true;
        }
    } rec;
    rec.out = &poly;
    poly.push_back(c->first->start);
    SQRECT box;
    QGDI_ContourGetLooseBBox(c, box);
    const double size = std::max(box.right - box.left, box.bottom - box.top);
    const double f = std::max(size * size * 1e-8, 1e-300);
    for (const SQEDGE* e = c->first; e; e = e->next) {
        if (e->type == keEdgeLine) {
            rec.LineTo(e->end, nullptr);
            continue;
        }
        SQPOINT pts[16];
        const int n = QGDI_EdgeToCubics(e, pts);
        for (int i = 0; i < n; ++i) {
            const SQPOINT* p = pts + 4 * i;
            QGDI_CubicBezierFlatten(&rec, p[0], p[1], p[2], p[3], nullptr, f, 0);
        }
    }
    if (poly.size() > 1 && poly.front().x == poly.back().x && poly.front().y == poly.back().y) poly.pop_back();
    return poly;
}

}  // namespace

SQCONTOUR* QGDI_ContourCreate(int number) noexcept {
    SQCONTOUR* c = new (std::nothrow) SQCONTOUR{};
    if (!c) return nullptr;
    c->number = number;
    c->modified = 1;
    return c;
}

bool QGDI_ContourAddEdge(SQCONTOUR* c, SQEDGE* e) noexcept {
    if (!c || !e) return false;
    SQEDGE* tail = e;
    int count = 1;
    while (tail->next) {
        tail = tail->next;
        ++count;
    }
    e->prev = c->last;
    if (c->last) c->last->next = e;
    else c->first = e;
    c->last = tail;
    c->modified = 1;
    c->vertexCount += e->next ? 3 : 1;
    c->edgeCount += count;
    return true;
}

void QGDI_ContourDestroy(SQCONTOUR* c) noexcept {
    if (!c) return;
    for (SQEDGE* e = c->first; e;) {
        SQEDGE* n = e->next;
        delete e;
        e = n;
    }
    delete c;
}

SQCONTOUR* QGDI_ContourCopy(const SQCONTOUR* src) noexcept {
    if (!src) return nullptr;
    SQCONTOUR* c = QGDI_ContourCreate(src->number);
    if (!c) return nullptr;
    for (const SQEDGE* e = src->first; e; e = e->next) {
        SQEDGE* k = QGDI_EdgeCopy(e);
        if (!k) {
            QGDI_ContourDestroy(c);
            return nullptr;
        }
        QGDI_ContourAddEdge(c, k);
    }
    c->vertexCount = src->vertexCount;
    c->closed = src->closed;
    return c;
}

bool QGDI_ContourIsClosed(const SQCONTOUR* c) noexcept { return c && c->closed != 0; }

bool QGDI_ContourIsClockwise(const SQCONTOUR* c) noexcept {
    if (!c || c->vertexCount < 3 || !c->first) return false;
    SQRECT box{};
    bool has = false;
    for (const SQEDGE* e = c->first; e; e = e->next) Grow(box, e->start, has);
    constexpr double eps = 1e-10;
    auto onBorder = [&](const SQPOINT& p) {
        if (p.x < box.left - eps || p.x > box.right + eps || p.y < box.top - eps || p.y > box.bottom + eps)
            return false;
        return std::fabs(p.x - box.left) <= eps || std::fabs(p.x - box.right) <= eps ||
               std::fabs(p.y - box.top) <= eps || std::fabs(p.y - box.bottom) <= eps;
    };
    SQPOINT pt[3];
    int n = 0;
    for (const SQEDGE* e = c->first; e && n < 3; e = e->next)
        if (onBorder(e->start)) pt[n++] = e->start;
    if (n < 3) return false;
    const SQPOINT &a = pt[0], &b = pt[1], &d = pt[2];
    return (b.x - a.x) * (d.y - b.y) - (b.y - a.y) * (d.x - b.x) >= 0.0;
}

double QGDI_ContourGetArea(const SQCONTOUR* c) noexcept {
    const std::vector<SQPOINT> poly = Polygon(c);
    double a = 0.0;
    for (size_t i = 0, n = poly.size(); i < n; ++i) {
        const SQPOINT& p = poly[i];
        const SQPOINT& q = poly[(i + 1) % n];
        a += p.x * q.y - q.x * p.y;
    }
    return 0.5 * a;
}

bool QGDI_ContourIsConvex(const SQCONTOUR* c) noexcept {
    const std::vector<SQPOINT> poly = Polygon(c);
    const size_t n = poly.size();
    if (n < 3) return false;
    int sign = 0;
    double turning = 0.0;
    for (size_t i = 0; i < n; ++i) {
        const SQPOINT& a = poly[i];
        const SQPOINT& b = poly[(i + 1) % n];
        const SQPOINT& d = poly[(i + 2) % n];
        const double ux = b.x - a.x, uy = b.y - a.y, vx = d.x - b.x, vy = d.y - b.y;
        const double cr = ux * vy - uy * vx;
        const double scale = std::hypot(ux, uy) * std::hypot(vx, vy);
        if (std::fabs(cr) > 1e-12 * scale) {
            const int s = cr > 0 ? 1 : -1;
            if (sign && s != sign) return false;
            sign = s;
        }
        turning += std::atan2(cr, ux * vx + uy * vy);
    }
    // One turn exactly: a star that turns the same way all along winds more than once.
    return sign != 0 && std::fabs(std::fabs(turning) - 2.0 * kQPiFull) < 1e-6;
}

SQPOINT QGDI_ContourGetCenterOfMass(const SQCONTOUR* c) noexcept {
    if (!c || c->vertexCount == 0) return SQPOINT{0.0, 0.0};
    double x = 0.0, y = 0.0;
    for (const SQEDGE* e = c->first; e; e = e->next) {
        x += e->start.x + e->end.x;
        y += e->start.y + e->end.y;
    }
    const double k = 0.5 / c->vertexCount;
    return SQPOINT{x * k, y * k};
}

bool QGDI_ContourGetBBox(const SQCONTOUR* c, SQRECT& box) noexcept {
    bool has = false;
    if (!c) return false;
    for (const SQEDGE* e = c->first; e; e = e->next) {
        SQRECT r;
        if (!QGDI_EdgeGetBBox(e, r)) continue;
        Grow(box, SQPOINT{r.left, r.top}, has);
        Grow(box, SQPOINT{r.right, r.bottom}, has);
    }
    return has;
}

bool QGDI_ContourGetLooseBBox(const SQCONTOUR* c, SQRECT& box) noexcept {
    bool has = false;
    if (!c) return false;
    for (const SQEDGE* e = c->first; e; e = e->next) {
        Grow(box, e->start, has);
        Grow(box, e->end, has);
        if (e->type == keEdgeQuadratic || e->type == keEdgeCubic) Grow(box, e->c1, has);
        if (e->type == keEdgeCubic) Grow(box, e->c2, has);
        if (e->type == keEdgeArc) {
            SQPOINT pts[16];
            const int n = QGDI_EdgeToCubics(e, pts);
            for (int i = 0; i < 4 * n; ++i) Grow(box, pts[i], has);
        }
    }
    return has;
}

double QGDI_ContourGetLength(const SQCONTOUR* c) noexcept {
    double len = 0.0;
    if (c)
        for (const SQEDGE* e = c->first; e; e = e->next) len += QGDI_EdgeGetLength(e);
    return len;
}

bool QGDI_ContourTransform(SQCONTOUR* c, const double* m) noexcept {
    if (!c) return false;
    if (QGDI_MatrixFlagGet(m) == 0) return true;
    const bool projective = (QGDI_MatrixFlagGet(m) & keMatrixFlagProjective) != 0;
    for (SQEDGE* e = c->first; e;) {
        SQEDGE* next = e->next;
        if (e->type == keEdgeArc && projective) {
            SQEDGE* before = e->prev;
            if (!ReplaceByCubics(c, e)) return false;
            for (SQEDGE* k = before ? before->next : c->first; k != next; k = k->next) QGDI_EdgeTransform(k, m);
        } else {
            QGDI_EdgeTransform(e, m);
        }
        e = next;
    }
    c->modified = 1;
    return true;
}

void QGDI_ContourReverseDirection(SQCONTOUR* c) noexcept {
    if (!c) return;
    for (SQEDGE* e = c->first; e;) {
        SQEDGE* next = e->next;
        std::swap(e->prev, e->next);
        QGDI_EdgeReverseDirection(e);
        e = next;
    }
    std::swap(c->first, c->last);
    c->modified = 1;
}

bool QGDI_ContourConvertToCubics(SQCONTOUR* c) noexcept {
    if (!c) return false;
    for (SQEDGE* e = c->first; e;) {
        SQEDGE* next = e->next;
        if (e->type != keEdgeCubic && !ReplaceByCubics(c, e)) return false;
        e = next;
    }
    c->modified = 1;
    return true;
}
