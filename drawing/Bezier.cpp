#include "drawing/Bezier.h"

#include <algorithm>
#include <cmath>

#include "geometry/MatrixFunctions.h"

namespace {

inline SQPOINT Mid(const SQPOINT& a, const SQPOINT& b) noexcept {
    return SQPOINT{(a.x + b.x) * 0.5, (a.y + b.y) * 0.5};
}

inline bool CubicFlat(const SQPOINT* p, double f) noexcept {
    if (p[0].x == p[3].x && p[0].y == p[3].y) {
        const double ax = p[1].x - p[0].x, ay = p[1].y - p[0].y;
        const double bx = p[2].x - p[0].x, by = p[2].y - p[0].y;
        return ax * ax + ay * ay < f && bx * bx + by * by < f;
    }
    const double dx = p[3].x - p[0].x, dy = p[3].y - p[0].y;
    // cross^2 < f |d|^2 is dist^2 < f with the division moved across.
    const double lim = f * (dx * dx + dy * dy);
    const double c1 = (p[1].x - p[0].x) * dy - (p[1].y - p[0].y) * dx;
    const double c2 = (p[2].x - p[0].x) * dy - (p[2].y - p[0].y) * dx;
    return c1 * c1 < lim && c2 * c2 < lim;
}

inline bool QuadFlat(const SQPOINT* p, double f) noexcept {
    if (p[0].x == p[2].x && p[0].y == p[2].y) {
        const double ax = p[1].x - p[0].x, ay = p[1].y - p[0].y;
        return ax * ax + ay * ay < f;
    }
    const double dx = p[2].x - p[0].x, dy = p[2].y - p[0].y;
    const double c1 = (p[1].x - p[0].x) * dy - (p[1].y - p[0].y) * dx;
    return c1 * c1 < f * (dx * dx + dy * dy);
}

inline void Subdivide3(const SQPOINT* p, SQPOINT* o) noexcept {
    const SQPOINT a = Mid(p[0], p[1]), b = Mid(p[1], p[2]), c = Mid(p[2], p[3]);
    const SQPOINT ab = Mid(a, b), bc = Mid(b, c);
    o[0] = p[0];
    o[1] = a;
    o[2] = ab;
    o[3] = Mid(ab, bc);
    o[4] = bc;
    o[5] = c;
    o[6] = p[3];
}

inline void Subdivide2(const SQPOINT* p, SQPOINT* o) noexcept {
    const SQPOINT a = Mid(p[0], p[1]), b = Mid(p[1], p[2]);
    o[0] = p[0];
    o[1] = a;
    o[2] = Mid(a, b);
    o[3] = b;
    o[4] = p[2];
}

// The flatness is judged in device space; an identity mapping skips the copy.
struct NoMap {
    const SQPOINT* operator()(const SQPOINT* p, SQPOINT*, int) const noexcept { return p; }
};
struct AffineMap {
    double m[6];
    const SQPOINT* operator()(const SQPOINT* p, SQPOINT* q, int n) const noexcept {
        for (int i = 0; i < n; ++i)
            q[i] = SQPOINT{m[0] * p[i].x + m[1] * p[i].y + m[2], m[3] * p[i].x + m[4] * p[i].y + m[5]};
        return q;
    }
};
struct ProjectiveMap {
    const double* m;
    const SQPOINT* operator()(const SQPOINT* p, SQPOINT* q, int n) const noexcept {
        for (int i = 0; i < n; ++i) {
            q[i] = p[i];
            QGDI_MatrixTransform(m, q[i]);
        }
        return q;
    }
};

template <class Map>
bool FlattenCubic(VPathReceiver* r, const SQPOINT* p, const Map& map, const double* m, double f, int depth) {
    if (depth < kQFlattenMaxDepth) {
        SQPOINT dev[4];
        if (!CubicFlat(map(p, dev, 4), f)) {
            SQPOINT s[7];
            Subdivide3(p, s);
            if (!FlattenCubic(r, s, map, m, f, depth + 1)) return false;
            return FlattenCubic(r, s + 3, map, m, f, depth + 1);
        }
    }
    return r->LineTo(p[3], m);
}

template <class Map>
bool FlattenQuad(VPathReceiver* r, const SQPOINT* p, const Map& map, const double* m, double f, int depth) {
    if (depth < kQFlattenMaxDepth) {
        SQPOINT dev[3];
        if (!QuadFlat(map(p, dev, 3), f)) {
            SQPOINT s[5];
            Subdivide2(p, s);
            if (!FlattenQuad(r, s, map, m, f, depth + 1)) return false;
            return FlattenQuad(r, s + 2, map, m, f, depth + 1);
        }
    }
    return r->LineTo(p[2], m);
}

template <class Fn>
bool WithMap(const double* m, Fn&& fn) {
    const uint32_t flags = QGDI_MatrixFlagGet(m);
    if (flags == 0) return fn(NoMap{});
    if ((flags & keMatrixFlagProjective) == 0) return fn(AffineMap{{m[0], m[1], m[2], m[3], m[4], m[5]}});
    return fn(ProjectiveMap{m});
}

// 8-point Gauss-Legendre on [-1, 1].
constexpr double kGLx[4] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267, 0.9602898564975363};
constexpr double kGLw[4] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745, 0.1012285362903763};

struct Speed {
    // B'(t) = 3[(1-t)^2 d0 + 2(1-t)t d1 + t^2 d2]
    double ax, ay, bx, by, cx, cy;
    explicit Speed(const SQPOINT* p) noexcept {
        const double d0x = p[1].x - p[0].x, d0y = p[1].y - p[0].y;
        const double d1x = p[2].x - p[1].x, d1y = p[2].y - p[1].y;
        const double d2x = p[3].x - p[2].x, d2y = p[3].y - p[2].y;
        // As a polynomial a t^2 + b t + c.
        ax = 3.0 * (d0x - 2.0 * d1x + d2x);
        ay = 3.0 * (d0y - 2.0 * d1y + d2y);
        bx = 6.0 * (d1x - d0x);
        by = 6.0 * (d1y - d0y);
        cx = 3.0 * d0x;
        cy = 3.0 * d0y;
    }
    double operator()(double t) const noexcept {
        const double x = (ax * t + bx) * t + cx, y = (ay * t + by) * t + cy;
        return std::sqrt(x * x + y * y);
    }
    double GL(double a, double b) const noexcept {
        const double h = 0.5 * (b - a), c = 0.5 * (a + b);
        double s = 0.0;
        for (int i = 0; i < 4; ++i) s += kGLw[i] * ((*this)(c - h * kGLx[i]) + (*this)(c + h * kGLx[i]));
        return s * h;
    }
    double Adaptive(double a, double b, double whole, double tol, int depth) const noexcept {
        const double m = 0.5 * (a + b);
        const double l = GL(a, m), r = GL(m, b);
        if (depth >= 40 || std::fabs(l + r - whole) <= tol) return l + r;
        return Adaptive(a, m, l, tol * 0.5, depth + 1) + Adaptive(m, b, r, tol * 0.5, depth + 1);
    }
};

}  // namespace

bool QGDI_QuadrilateralIsFlat(const SQPOINT* points, double flatness) noexcept { return CubicFlat(points, flatness); }
bool QGDI_TriangleIsFlat(const SQPOINT* points, double flatness) noexcept { return QuadFlat(points, flatness); }
void QGDI_CubicBezierSubdivide(const SQPOINT* in4, SQPOINT* out7) noexcept { Subdivide3(in4, out7); }
void QGDI_QuadraticBezierSubdivide(const SQPOINT* in3, SQPOINT* out5) noexcept { Subdivide2(in3, out5); }

void QGDI_CubicBezierSplit(const SQPOINT* p, double t, SQPOINT* o) noexcept {
    auto lerp = [t](const SQPOINT& a, const SQPOINT& b) {
        return SQPOINT{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
    };
    const SQPOINT a = lerp(p[0], p[1]), b = lerp(p[1], p[2]), c = lerp(p[2], p[3]);
    const SQPOINT ab = lerp(a, b), bc = lerp(b, c);
    const SQPOINT p0 = p[0], p3 = p[3];
    o[0] = p0;
    o[1] = a;
    o[2] = ab;
    o[3] = lerp(ab, bc);
    o[4] = bc;
    o[5] = c;
    o[6] = p3;
}

bool QGDI_CubicBezierFlatten(VPathReceiver* receiver, const SQPOINT& p0, const SQPOINT& p1, const SQPOINT& p2,
                             const SQPOINT& p3, const double* matrix, double flatness, int depth) {
    if (!receiver) return false;
    const SQPOINT p[4] = {p0, p1, p2, p3};
    return WithMap(matrix, [&](const auto& map) { return FlattenCubic(receiver, p, map, matrix, flatness, depth); });
}

bool QGDI_QuadraticBezierFlatten(VPathReceiver* receiver, const SQPOINT& p0, const SQPOINT& p1, const SQPOINT& p2,
                                 const double* matrix, double flatness, int depth) {
    if (!receiver) return false;
    const SQPOINT p[3] = {p0, p1, p2};
    return WithMap(matrix, [&](const auto& map) { return FlattenQuad(receiver, p, map, matrix, flatness, depth); });
}

SQPOINT QGDI_CubicBezierPoint(const SQPOINT* p, double t) noexcept {
    const double u = 1.0 - t;
    const double b0 = u * u * u, b1 = 3.0 * u * u * t, b2 = 3.0 * u * t * t, b3 = t * t * t;
    return SQPOINT{b0 * p[0].x + b1 * p[1].x + b2 * p[2].x + b3 * p[3].x,
                   b0 * p[0].y + b1 * p[1].y + b2 * p[2].y + b3 * p[3].y};
}

SQPOINT QGDI_CubicBezierDerivative(const SQPOINT* p, double t) noexcept {
    const double u = 1.0 - t;
    const double a = 3.0 * u * u, b = 6.0 * u * t, c = 3.0 * t * t;
    return SQPOINT{a * (p[1].x - p[0].x) + b * (p[2].x - p[1].x) + c * (p[3].x - p[2].x),
                   a * (p[1].y - p[0].y) + b * (p[2].y - p[1].y) + c * (p[3].y - p[2].y)};
}

double QGDI_CubicBezierGetLength(const SQPOINT* p, double t0, double t1) noexcept {
    if (!(t1 > t0)) return 0.0;
    const Speed speed(p);
    const double whole = speed.GL(t0, t1);
    if (!std::isfinite(whole)) return whole;
    // The control polygon bounds the length from above; relative to it the
    // tolerance never collapses to zero on a degenerate curve.
    double poly = 0.0;
    for (int i = 0; i < 3; ++i) poly += std::hypot(p[i + 1].x - p[i].x, p[i + 1].y - p[i].y);
    const double tol = 1e-10 * std::max(whole, poly * (t1 - t0));
    if (tol == 0.0) return 0.0;
    return speed.Adaptive(t0, t1, whole, tol, 0);
}

bool QGDI_CubicBezierSeekDistance(const SQPOINT* p, double distance, double& t) noexcept {
    if (!std::isfinite(distance)) return false;
    const double total = QGDI_CubicBezierGetLength(p, 0.0, 1.0);
    if (!std::isfinite(total)) return false;
    if (distance <= 0.0 || total <= 0.0) {
        t = 0.0;
        return true;
    }
    if (distance >= total) {
        t = 1.0;
        return true;
    }
    const Speed speed(p);
    double lo = 0.0, hi = 1.0, x = distance / total;
    for (int i = 0; i < 60; ++i) {
        const double f = QGDI_CubicBezierGetLength(p, 0.0, x) - distance;
        if (std::fabs(f) <= 1e-12 * total) break;
        if (f > 0.0) hi = x;
        else lo = x;
        const double v = speed(x);
        double next = v > 0.0 ? x - f / v : 0.5 * (lo + hi);
        // Newton leaving the bracket (a cusp, a flat start) falls back to bisection.
        if (!(next > lo && next < hi)) next = 0.5 * (lo + hi);
        x = next;
        if (hi - lo < 1e-15) break;
    }
    t = x;
    return true;
}

double QGDI_CubicBezierNearestPoint(const SQPOINT* p, const SQPOINT& q, double& tBest) noexcept {
    auto dist2 = [&](double t) {
        const SQPOINT b = QGDI_CubicBezierPoint(p, t);
        return (b.x - q.x) * (b.x - q.x) + (b.y - q.y) * (b.y - q.y);
    };
    // A cubic's squared distance has at most five minima; 32 samples separate
    // them well enough for Newton to converge to the right one.
    constexpr int kSamples = 32;
    double d[kSamples + 1];
    for (int i = 0; i <= kSamples; ++i) d[i] = dist2(double(i) / kSamples);
    double best = d[0];
    tBest = 0.0;
    if (d[kSamples] < best) {
        best = d[kSamples];
        tBest = 1.0;
    }
    for (int i = 0; i <= kSamples; ++i) {
        const bool localMin = (i == 0 || d[i] <= d[i - 1]) && (i == kSamples || d[i] <= d[i + 1]);
        if (!localMin) continue;
        double t = double(i) / kSamples;
        for (int k = 0; k < 12; ++k) {
            const SQPOINT b = QGDI_CubicBezierPoint(p, t), d1 = QGDI_CubicBezierDerivative(p, t);
            // Second derivative: 6[(1-t)(p2 - 2p1 + p0) + t(p3 - 2p2 + p1)]
            const double u = 1.0 - t;
            const double d2x = 6.0 * (u * (p[2].x - 2 * p[1].x + p[0].x) + t * (p[3].x - 2 * p[2].x + p[1].x));
            const double d2y = 6.0 * (u * (p[2].y - 2 * p[1].y + p[0].y) + t * (p[3].y - 2 * p[2].y + p[1].y));
            const double g = (b.x - q.x) * d1.x + (b.y - q.y) * d1.y;
            const double h = d1.x * d1.x + d1.y * d1.y + (b.x - q.x) * d2x + (b.y - q.y) * d2y;
            if (!(h > 0.0)) break;
            const double nt = std::clamp(t - g / h, 0.0, 1.0);
            if (std::fabs(nt - t) < 1e-15) {
                t = nt;
                break;
            }
            t = nt;
        }
        const double dt = dist2(t);
        if (dt < best) {
            best = dt;
            tBest = t;
        }
    }
    return std::sqrt(best);
}

void QGDI_CubicBezierGetBBox(const SQPOINT* p, SQRECT& box) noexcept {
    box = SQRECT{std::min(p[0].x, p[3].x), std::min(p[0].y, p[3].y), std::max(p[0].x, p[3].x),
                 std::max(p[0].y, p[3].y)};
    auto grow = [&](double t) {
        if (!(t > 0.0 && t < 1.0)) return;
        const SQPOINT b = QGDI_CubicBezierPoint(p, t);
        box.left = std::min(box.left, b.x);
        box.right = std::max(box.right, b.x);
        box.top = std::min(box.top, b.y);
        box.bottom = std::max(box.bottom, b.y);
    };
    // Roots of the derivative a t^2 + b t + c per axis.
    const double v[2][4] = {{p[0].x, p[1].x, p[2].x, p[3].x}, {p[0].y, p[1].y, p[2].y, p[3].y}};
    for (const auto& c4 : v) {
        const double a = -c4[0] + 3 * c4[1] - 3 * c4[2] + c4[3];
        const double b = 2 * (c4[0] - 2 * c4[1] + c4[2]);
        const double c = c4[1] - c4[0];
        if (std::fabs(a) < 1e-12 * (std::fabs(b) + std::fabs(c) + 1e-300)) {
            if (b != 0.0) grow(-c / b);
            continue;
        }
        const double disc = b * b - 4 * a * c;
        if (disc < 0.0) continue;
        const double s = std::sqrt(disc);
        grow((-b + s) / (2 * a));
        grow((-b - s) / (2 * a));
    }
}

void QGDI_QuadraticToCubic(const SQPOINT* p, SQPOINT* o) noexcept {
    const SQPOINT p0 = p[0], p1 = p[1], p2 = p[2];
    o[0] = p0;
    o[1] = SQPOINT{p0.x + (p1.x - p0.x) * (2.0 / 3.0), p0.y + (p1.y - p0.y) * (2.0 / 3.0)};
    o[2] = SQPOINT{p2.x + (p1.x - p2.x) * (2.0 / 3.0), p2.y + (p1.y - p2.y) * (2.0 / 3.0)};
    o[3] = p2;
}

QCubicCurve QCubicCurve::Line(const SQPOINT& a, const SQPOINT& b) noexcept {
    return QCubicCurve(a, SQPOINT{a.x + (b.x - a.x) / 3.0, a.y + (b.y - a.y) / 3.0},
                       SQPOINT{a.x + (b.x - a.x) * (2.0 / 3.0), a.y + (b.y - a.y) * (2.0 / 3.0)}, b);
}

SQPOINT QCubicCurve::Normal(double t) const noexcept {
    SQPOINT d = Derivative(t);
    double len = std::hypot(d.x, d.y);
    if (len < 1e-12) {
        // A vanishing derivative at a cusp or a doubled control point: the
        // direction is the limit, which the neighbouring chord gives.
        const double h = t < 0.5 ? 1e-4 : -1e-4;
        const SQPOINT a = Point(t), b = Point(t + h);
        d = SQPOINT{(b.x - a.x) * (h > 0 ? 1 : -1), (b.y - a.y) * (h > 0 ? 1 : -1)};
        len = std::hypot(d.x, d.y);
        if (len == 0.0) return SQPOINT{0.0, 0.0};
    }
    return SQPOINT{-d.y / len, d.x / len};
}

void QCubicCurve::Split(double t, QCubicCurve& a, QCubicCurve& b) const noexcept {
    SQPOINT o[7];
    QGDI_CubicBezierSplit(p, t, o);
    a = QCubicCurve(o[0], o[1], o[2], o[3]);
    b = QCubicCurve(o[3], o[4], o[5], o[6]);
}

CQRect QCubicCurve::BBox() const noexcept {
    SQRECT r;
    QGDI_CubicBezierGetBBox(p, r);
    return CQRect(r);
}
