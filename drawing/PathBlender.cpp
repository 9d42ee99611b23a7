#include "drawing/PathBlender.h"

#include <algorithm>
#include <cmath>

namespace {

using SContour = CQPathBlender::SContour;

std::vector<SContour> Contours(const SQPATH* path) {
    std::vector<SContour> out;
    if (!path) return out;
    for (const SQCONTOUR* c = path->first; c; c = c->next) {
        if (!c->first) continue;
        SContour k;
        k.closed = c->closed != 0;
        for (const SQEDGE* e = c->first; e; e = e->next) {
            SQPOINT pts[16];
            const int n = QGDI_EdgeToCubics(e, pts);
            for (int i = 0; i < n; ++i)
                k.pieces.emplace_back(pts[4 * i], pts[4 * i + 1], pts[4 * i + 2], pts[4 * i + 3]);
        }
        if (k.closed) {
            // A closed contour whose last edge does not come back gets its closing line.
            const SQPOINT s = k.pieces.front().p[0], e = k.pieces.back().p[3];
            if (s.x != e.x || s.y != e.y) k.pieces.push_back(QCubicCurve::Line(e, s));
        }
        out.push_back(std::move(k));
    }
    return out;
}

double SignedArea(const SContour& c) {
    // Green's theorem on the cubic pieces' control polygons is enough for the sign.
    double a = 0.0;
    for (const QCubicCurve& q : c.pieces)
        for (int i = 0; i < 3; ++i) a += q.p[i].x * q.p[i + 1].y - q.p[i + 1].x * q.p[i].y;
    return a;
}

void Reverse(SContour& c) {
    std::reverse(c.pieces.begin(), c.pieces.end());
    for (QCubicCurve& q : c.pieces) q = q.Reversed();
}

// Halves the longest pieces until there are n.
void Refine(SContour& c, size_t n) {
    while (c.pieces.size() < n) {
        size_t best = 0;
        double len = -1.0;
        for (size_t i = 0; i < c.pieces.size(); ++i) {
            const QCubicCurve& q = c.pieces[i];
            const double l = std::hypot(q.p[3].x - q.p[0].x, q.p[3].y - q.p[0].y) +
                             std::hypot(q.p[1].x - q.p[0].x, q.p[1].y - q.p[0].y) +
                             std::hypot(q.p[3].x - q.p[2].x, q.p[3].y - q.p[2].y);
            if (l > len) {
                len = l;
                best = i;
            }
        }
        QCubicCurve x, y;
        c.pieces[best].Split(0.5, x, y);
        c.pieces[best] = x;
        c.pieces.insert(c.pieces.begin() + std::ptrdiff_t(best) + 1, y);
    }
}

// A contour with no partner blends with its own centre, shrinking to a point.
SContour Collapsed(const SContour& c) {
    double x = 0.0, y = 0.0;
    for (const QCubicCurve& q : c.pieces) {
        x += q.p[0].x;
        y += q.p[0].y;
    }
    const double n = double(std::max<size_t>(c.pieces.size(), 1));
    const SQPOINT m{x / n, y / n};
    SContour k;
    k.closed = c.closed;
    k.pieces.assign(c.pieces.size(), QCubicCurve(m, m, m, m));
    return k;
}

}  // namespace

bool CQPathBlender::SetPaths(const CQPath& a, const CQPath& b) {
    m_pathA = a;
    m_pathB = b;
    m_a = Contours(a.GetPath());
    m_b = Contours(b.GetPath());
    const size_t n = std::max(m_a.size(), m_b.size());
    for (size_t i = 0; i < n; ++i) {
        if (i >= m_a.size()) m_a.push_back(Collapsed(m_b[i]));
        if (i >= m_b.size()) m_b.push_back(Collapsed(m_a[i]));
        SContour &ca = m_a[i], &cb = m_b[i];
        if (ca.closed && cb.closed && cb.pieces.size() > 1) {
            if ((SignedArea(ca) < 0.0) != (SignedArea(cb) < 0.0)) Reverse(cb);
            const SQPOINT s = ca.pieces.front().p[0];
            size_t best = 0;
            double bd = INFINITY;
            for (size_t k = 0; k < cb.pieces.size(); ++k) {
                const double d = std::hypot(cb.pieces[k].p[0].x - s.x, cb.pieces[k].p[0].y - s.y);
                if (d < bd) {
                    bd = d;
                    best = k;
                }
            }
            std::rotate(cb.pieces.begin(), cb.pieces.begin() + std::ptrdiff_t(best), cb.pieces.end());
        }
        const size_t m = std::max(ca.pieces.size(), cb.pieces.size());
        Refine(ca, m);
        Refine(cb, m);
    }
    m_set = true;
    return true;
}

bool CQPathBlender::GetPath(double t, CQPath& out) const {
    if (!m_set || !std::isfinite(t)) return false;
    t = std::clamp(t, 0.0, 1.0);
    // The ends are the operands themselves, arcs and lines included.
    if (t == 0.0) return out.Copy(m_pathA);
    if (t == 1.0) return out.Copy(m_pathB);
    if (!out.BeginPath()) return false;
    auto mix = [t](const SQPOINT& p, const SQPOINT& q) {
        return SQPOINT{p.x + (q.x - p.x) * t, p.y + (q.y - p.y) * t};
    };
    for (size_t i = 0; i < m_a.size(); ++i) {
        const SContour &ca = m_a[i], &cb = m_b[i];
        if (ca.pieces.empty()) continue;
        if (!out.MoveTo(mix(ca.pieces[0].p[0], cb.pieces[0].p[0]))) return false;
        for (size_t k = 0; k < ca.pieces.size(); ++k) {
            const QCubicCurve &p = ca.pieces[k], &q = cb.pieces[k];
            if (!out.CubicCurveTo(mix(p.p[1], q.p[1]), mix(p.p[2], q.p[2]), mix(p.p[3], q.p[3]))) return false;
        }
        if (ca.closed && !out.ClosePath()) return false;
    }
    return true;
}
