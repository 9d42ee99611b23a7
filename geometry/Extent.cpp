#include "geometry/Extent.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/GeomConstants.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

double Dot(const SQPOINT& a, const SQPOINT& b) { return a.x * b.x + a.y * b.y; }
double Dot(const SQPOINT3& a, const SQPOINT3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

SQPOINT3 Cross(const SQPOINT3& a, const SQPOINT3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// Keeps the part of a convex polygon where n . p <= c (Sutherland-Hodgman for one edge).
void ClipHalfPlane(std::vector<SQPOINT>& poly, const SQPOINT& n, double c) {
    if (poly.empty()) return;
    std::vector<SQPOINT> out;
    out.reserve(poly.size() + 1);
    for (size_t i = 0; i < poly.size(); ++i) {
        const SQPOINT& a = poly[i];
        const SQPOINT& b = poly[(i + 1) % poly.size()];
        const double da = Dot(n, a) - c, db = Dot(n, b) - c;
        if (da <= 0) out.push_back(a);
        if ((da < 0 && db > 0) || (da > 0 && db < 0)) {
            const double t = da / (da - db);
            out.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)});
        }
    }
    poly.swap(out);
}

// Shoelace formula: positive for counter-clockwise corners in a y-up frame.
double SignedArea(const std::vector<SQPOINT>& poly) {
    double s = 0.0;
    for (size_t i = 0; i < poly.size(); ++i) {
        const SQPOINT& a = poly[i];
        const SQPOINT& b = poly[(i + 1) % poly.size()];
        s += a.x * b.y - a.y * b.x;
    }
    return 0.5 * s;
}

// The polygon where lo[k] <= n[k] . p <= hi[k] for every k, starting from a box
// that is known to contain it.
std::vector<SQPOINT> ClipSlabs(const SQRECT& box, const std::vector<SQPOINT>& n, const std::vector<double>& lo,
                               const std::vector<double>& hi) {
    std::vector<SQPOINT> poly = {
        {box.left, box.top}, {box.right, box.top}, {box.right, box.bottom}, {box.left, box.bottom}};
    for (size_t k = 0; k < n.size() && !poly.empty(); ++k) {
        if (std::fabs(n[k].x) + std::fabs(n[k].y) < 1e-12) continue;
        ClipHalfPlane(poly, n[k], hi[k]);
        ClipHalfPlane(poly, SQPOINT{-n[k].x, -n[k].y}, -lo[k]);
    }
    return poly;
}

template <class P>
double SignedDistance(const std::vector<P>& normals, const std::vector<double>& lo, const std::vector<double>& hi,
                      const P& p) {
    double d = -kInf;
    for (size_t k = 0; k < normals.size(); ++k) {
        const double v = Dot(normals[k], p);
        d = std::max(d, std::max(lo[k] - v, v - hi[k]));
    }
    return d;
}

// ---- shared ----

// Whether the normals span the space: two independent ones in the plane, three in space.
bool Spans(const std::vector<SQPOINT>& n) {
    for (size_t i = 0; i < n.size(); ++i)
        for (size_t j = i + 1; j < n.size(); ++j)
            if (std::fabs(n[i].x * n[j].y - n[i].y * n[j].x) > kQGeomTolerance) return true;
    return false;
}

bool Spans(const std::vector<SQPOINT3>& n) {
    for (size_t i = 0; i < n.size(); ++i)
        for (size_t j = i + 1; j < n.size(); ++j)
            for (size_t k = j + 1; k < n.size(); ++k)
                if (std::fabs(Dot(Cross(n[i], n[j]), n[k])) > kQGeomTolerance) return true;
    return false;
}

void AddAxes(std::vector<SQPOINT>& n) {
    n.push_back({1, 0});
    n.push_back({0, 1});
}

void AddAxes(std::vector<SQPOINT3>& n) {
    n.push_back({1, 0, 0});
    n.push_back({0, 1, 0});
    n.push_back({0, 0, 1});
}

SQPOINT Scaled(const SQPOINT& p, double k) { return {p.x * k, p.y * k}; }
SQPOINT3 Scaled(const SQPOINT3& p, double k) { return {p.x * k, p.y * k, p.z * k}; }

}  // namespace

template <class P>
void TQSlabExtent<P>::SetNormals(const P* normals, int count) {
    m_normals.clear();
    for (int i = 0; i < count; ++i) {
        const double len = std::sqrt(Dot(normals[i], normals[i]));
        if (len >= kQGeomTolerance) m_normals.push_back(Scaled(normals[i], 1.0 / len));
    }
    if (!Spans(m_normals)) AddAxes(m_normals);
    Reset();
}

template <class P>
void TQSlabExtent<P>::Reset() noexcept {
    m_min.assign(m_normals.size(), kInf);
    m_max.assign(m_normals.size(), -kInf);
    m_empty = true;
}

template <class P>
void TQSlabExtent<P>::AddNewPoint(const P& p) noexcept {
    for (size_t k = 0; k < m_normals.size(); ++k) {
        const double v = Dot(m_normals[k], p);
        m_min[k] = std::min(m_min[k], v);
        m_max[k] = std::max(m_max[k], v);
    }
    m_empty = false;
}

template <class P>
void TQSlabExtent<P>::AddNewPoints(const P* points, int count) noexcept {
    if (!points) return;
    for (int i = 0; i < count; ++i) AddNewPoint(points[i]);
}

template <class P>
void TQSlabExtent<P>::Expand(double d) noexcept {
    if (m_empty) return;
    for (size_t k = 0; k < m_normals.size(); ++k) {
        m_min[k] -= d;
        m_max[k] += d;
        if (m_max[k] < m_min[k]) m_empty = true;
    }
    if (m_empty) Reset();
}

template <class P>
double TQSlabExtent<P>::GetThickness() const noexcept {
    if (m_empty) return 0.0;
    double t = kInf;
    for (size_t k = 0; k < m_normals.size(); ++k) t = std::min(t, m_max[k] - m_min[k]);
    return t;
}

template <class P>
bool TQSlabExtent<P>::IsPointInside(const P& p, double tolerance) const noexcept {
    return !m_empty && SignedDistance(m_normals, m_min, m_max, p) <= tolerance;
}

template <class P>
double TQSlabExtent<P>::MeasureDistance(const P& p) const noexcept {
    return m_empty ? kInf : SignedDistance(m_normals, m_min, m_max, p);
}

template class TQSlabExtent<SQPOINT>;
template class TQSlabExtent<SQPOINT3>;

CExtent2D::CExtent2D() : CExtent2D(4) {}

CExtent2D::CExtent2D(int directions) {
    directions = std::clamp(directions, 2, 360);
    std::vector<SQPOINT> n(directions);
    for (int i = 0; i < directions; ++i) {
        const double a = kQPiFull * i / directions;
        n[i] = {std::cos(a), std::sin(a)};
    }
    // Exact axes, so that the axis-aligned box of the points is reproduced exactly.
    n[0] = {1, 0};
    if (directions % 2 == 0) n[directions / 2] = {0, 1};
    SetNormals(n.data(), directions);
}

CExtent2D::CExtent2D(const SQPOINT* normals, int count) { SetNormals(normals, normals ? count : 0); }

void CExtent2D::AddExtent(const CExtent2D& other) {
    for (const SQPOINT& p : other.GetPolygon()) AddNewPoint(p);
}

std::vector<SQPOINT> CExtent2D::GetPolygon() const {
    if (m_empty) return {};
    // The first two independent slabs bound a parallelogram; start from its
    // bounding box and cut it down with every slab.
    size_t j = 1;
    while (j < m_normals.size() &&
           std::fabs(m_normals[0].x * m_normals[j].y - m_normals[0].y * m_normals[j].x) <= kQGeomTolerance)
        ++j;
    const SQPOINT a = m_normals[0], b = m_normals[j];
    const double det = a.x * b.y - a.y * b.x;
    CQRect box(kInf, kInf, -kInf, -kInf);
    for (double u : {m_min[0], m_max[0]})
        for (double v : {m_min[j], m_max[j]})
            // Cramer's rule for a . p = u, b . p = v.
            box.IncludePoint({(u * b.y - a.y * v) / det, (a.x * v - u * b.x) / det});
    std::vector<SQPOINT> poly = ClipSlabs(box, m_normals, m_min, m_max);
    if (SignedArea(poly) < 0) std::reverse(poly.begin(), poly.end());
    return poly;
}

double CExtent2D::EstimateArea() const { return std::fabs(SignedArea(GetPolygon())); }

bool CExtent2D::GetBoundingRect(SQRECT& rc) const {
    const std::vector<SQPOINT> poly = GetPolygon();
    if (poly.empty()) return false;
    CQRect r(poly[0], poly[0]);
    for (const SQPOINT& p : poly) r.IncludePoint(p);
    rc = r;
    return true;
}

CExtent3D::CExtent3D() {
    const SQPOINT3 n[7] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}, {1, 1, -1}, {1, -1, 1}, {-1, 1, 1}};
    SetNormals(n, 7);
}

CExtent3D::CExtent3D(const SQPOINT3* normals, int count) { SetNormals(normals, normals ? count : 0); }

std::vector<SQPOINT3> CExtent3D::GetVertices() const {
    std::vector<SQPOINT3> out;
    if (m_empty) return out;
    // Every corner lies on three independent face planes: try each triple of
    // planes and keep the intersections that satisfy every slab.
    struct Plane {
        SQPOINT3 n;
        double c;
    };
    std::vector<Plane> planes;
    double scale = 1.0;
    for (size_t k = 0; k < m_normals.size(); ++k) {
        planes.push_back({m_normals[k], m_max[k]});
        planes.push_back({m_normals[k], m_min[k]});
        scale = std::max({scale, std::fabs(m_min[k]), std::fabs(m_max[k])});
    }
    const double tol = 1e-9 * scale;
    for (size_t i = 0; i < planes.size(); ++i)
        for (size_t j = i + 1; j < planes.size(); ++j)
            for (size_t k = j + 1; k < planes.size(); ++k) {
                const SQPOINT3 &a = planes[i].n, &b = planes[j].n, &c = planes[k].n;
                const SQPOINT3 bc = Cross(b, c);
                const double det = Dot(a, bc);
                if (std::fabs(det) < 1e-9) continue;
                // p = (ca (b x c) + cb (c x a) + cc (a x b)) / det.
                const SQPOINT3 ca = Cross(c, a), ab = Cross(a, b);
                const double u = planes[i].c, v = planes[j].c, w = planes[k].c;
                const SQPOINT3 p{(u * bc.x + v * ca.x + w * ab.x) / det, (u * bc.y + v * ca.y + w * ab.y) / det,
                                 (u * bc.z + v * ca.z + w * ab.z) / det};
                if (SignedDistance(m_normals, m_min, m_max, p) > tol) continue;
                const bool known = std::any_of(out.begin(), out.end(), [&](const SQPOINT3& q) {
                    return std::fabs(q.x - p.x) <= tol && std::fabs(q.y - p.y) <= tol && std::fabs(q.z - p.z) <= tol;
                });
                if (!known) out.push_back(p);
            }
    return out;
}

double CExtent3D::EstimateVolume() const {
    const std::vector<SQPOINT3> v = GetVertices();
    if (v.size() < 4) return 0.0;
    CQRect box(v[0].x, v[0].y, v[0].x, v[0].y);
    std::vector<double> levels;
    for (const SQPOINT3& p : v) {
        box.IncludePoint({p.x, p.y});
        levels.push_back(p.z);
    }
    std::sort(levels.begin(), levels.end());
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
    // The section at height z is the polygon of the slabs with z fixed:
    // lo - nz z <= (nx, ny) . (x, y) <= hi - nz z.
    std::vector<SQPOINT> n2(m_normals.size());
    for (size_t k = 0; k < m_normals.size(); ++k) n2[k] = {m_normals[k].x, m_normals[k].y};
    std::vector<double> lo(m_normals.size()), hi(m_normals.size());
    auto area = [&](double z) {
        for (size_t k = 0; k < m_normals.size(); ++k) {
            lo[k] = m_min[k] - m_normals[k].z * z;
            hi[k] = m_max[k] - m_normals[k].z * z;
        }
        return std::fabs(SignedArea(ClipSlabs(box, n2, lo, hi)));
    };
    // Between consecutive corner heights the section area is quadratic in z, so
    // Simpson's rule over each such interval is exact.
    double vol = 0.0;
    for (size_t i = 0; i + 1 < levels.size(); ++i) {
        const double z0 = levels[i], z1 = levels[i + 1];
        vol += (z1 - z0) / 6.0 * (area(z0) + 4.0 * area(0.5 * (z0 + z1)) + area(z1));
    }
    return vol;
}
