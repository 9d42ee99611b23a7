#include "drawing/Curve.h"

#include <algorithm>
#include <cmath>

#include "drawing/QPath.h"

bool CQCurve::Create(const SQPATH* path) {
    Clear();
    if (!path) return false;
    int contours = 0;
    bool closed = true;
    for (const SQCONTOUR* c = path->first; c; c = c->next) {
        if (!c->first) continue;
        ++contours;
        closed = closed && c->closed;
        for (const SQEDGE* e = c->first; e; e = e->next) {
            SQPOINT pts[16];
            const int n = QGDI_EdgeToCubics(e, pts);
            for (int i = 0; i < n; ++i)
                if (!Add(QCubicCurve(pts[4 * i], pts[4 * i + 1], pts[4 * i + 2], pts[4 * i + 3]))) return false;
        }
    }
    // Wrapping around makes sense only for one closed outline.
    m_closed = contours == 1 && closed;
    return true;
}

bool CQCurve::Create(const CQPath& path) { return Create(path.GetPath()); }

bool CQCurve::Add(const QCubicCurve& cubic) {
    const double len = cubic.Length();
    if (!std::isfinite(len)) return false;
    m_segments.push_back(SQCURVESEGMENT{cubic, m_length, len});
    m_length += len;
    return true;
}

void CQCurve::Clear() noexcept {
    m_segments.clear();
    m_length = 0.0;
    m_closed = false;
}

bool CQCurve::CreateSpiralCurve(const SQPOINT& centre, double r0, double r1, double turns, double startAngle,
                                EQSpiralType type) {
    SQPATH* p = QGDI_PathCreateSpiral(centre, r0, r1, turns, startAngle, type);
    if (!p) {
        Clear();
        return false;
    }
    const bool ok = Create(p);
    p->Unreference();
    m_closed = false;
    return ok;
}

double CQCurve::Wrap(double d) const noexcept {
    if (m_closed && m_length > 0.0) {
        d = std::fmod(d, m_length);
        if (d < 0.0) d += m_length;
        return d;
    }
    return std::clamp(d, 0.0, m_length);
}

bool CQCurve::Seek(double distance, int& segment, double& t) const {
    if (m_segments.empty() || !std::isfinite(distance)) return false;
    const double d = Wrap(distance);
    // The last segment whose start is not beyond d.
    auto it = std::upper_bound(m_segments.begin(), m_segments.end(), d,
                               [](double v, const SQCURVESEGMENT& s) { return v < s.start; });
    size_t i = it == m_segments.begin() ? 0 : size_t(it - m_segments.begin()) - 1;
    // Skip zero-length segments at the same distance so the point is on a real one.
    while (i + 1 < m_segments.size() && m_segments[i].length == 0.0) ++i;
    segment = int(i);
    return m_segments[i].cubic.Seek(d - m_segments[i].start, t);
}

bool CQCurve::GetPoint(double distance, SQPOINT& point) const {
    int s;
    double t;
    if (!Seek(distance, s, t)) return false;
    point = m_segments[size_t(s)].cubic.Point(t);
    return true;
}

bool CQCurve::GetNormal(double distance, SQPOINT& normal) const {
    int s;
    double t;
    if (!Seek(distance, s, t)) return false;
    normal = m_segments[size_t(s)].cubic.Normal(t);
    return true;
}

double CQCurve::Nearest(const SQPOINT& p, int& segment, double& t) const {
    double best = -1.0;
    for (size_t i = 0; i < m_segments.size(); ++i) {
        const CQRect box = m_segments[i].cubic.BBox();
        // A segment whose box is farther than the best so far cannot win.
        const double dx = std::max({box.left - p.x, 0.0, p.x - box.right});
        const double dy = std::max({box.top - p.y, 0.0, p.y - box.bottom});
        if (best >= 0.0 && std::hypot(dx, dy) > best) continue;
        double ti;
        const double d = m_segments[i].cubic.Nearest(p, ti);
        if (best < 0.0 || d < best) {
            best = d;
            segment = int(i);
            t = ti;
        }
    }
    return best;
}

double CQCurve::GetDistance(const SQPOINT& p) const {
    int s = 0;
    double t = 0.0;
    if (Nearest(p, s, t) < 0.0) return -1.0;
    const SQCURVESEGMENT& seg = m_segments[size_t(s)];
    return seg.start + seg.cubic.Length(0.0, t);
}

double CQCurve::GetDistanceNearestPoint(const SQPOINT& p, SQPOINT& nearest) const {
    int s = 0;
    double t = 0.0;
    const double d = Nearest(p, s, t);
    if (d >= 0.0) nearest = m_segments[size_t(s)].cubic.Point(t);
    return d;
}

bool CQCurve::GetSegmentInfo(int index, SQCURVESEGMENT& info) const {
    if (index < 0 || size_t(index) >= m_segments.size()) return false;
    info = m_segments[size_t(index)];
    return true;
}
