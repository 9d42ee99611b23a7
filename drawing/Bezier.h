#pragma once
// Adaptive flattening of Bézier curves by midpoint subdivision, the flatness
// tests it uses, and the measuring of single cubics (length, seeking, nearest
// point). Flatness values are squared device distances.
#include "drawing/PathReceiver.h"
#include "geometry/QRect.h"

// Depth at which subdivision stops whatever the flatness: 2^10 lines at most.
inline constexpr int kQFlattenMaxDepth = 10;

// Flat when both inner points lie within sqrt(flatness) of the chord (or of P0
// when P0 and P3 coincide). No square roots, no divisions.
QGDI_API bool QGDI_QuadrilateralIsFlat(const SQPOINT* points, double flatness) noexcept;
QGDI_API bool QGDI_TriangleIsFlat(const SQPOINT* points, double flatness) noexcept;

// de Casteljau at t = 1/2: out[0..3] and out[3..6] are the two halves.
QGDI_API void QGDI_CubicBezierSubdivide(const SQPOINT* in4, SQPOINT* out7) noexcept;
// out[0..2] and out[2..4].
QGDI_API void QGDI_QuadraticBezierSubdivide(const SQPOINT* in3, SQPOINT* out5) noexcept;
// Split at any t: out[0..3] and out[3..6].
QGDI_API void QGDI_CubicBezierSplit(const SQPOINT* in4, double t, SQPOINT* out7) noexcept;

// Sends LineTo(point, matrix) for every flat piece, points unmapped; the flatness
// is tested on the control polygon mapped through the matrix. False as soon as
// a LineTo fails. depth is the starting depth (0 for a whole curve).
QGDI_API bool QGDI_CubicBezierFlatten(VPathReceiver* receiver, const SQPOINT& p0, const SQPOINT& p1, const SQPOINT& p2,
                                      const SQPOINT& p3, const double* matrix, double flatness, int depth);
QGDI_API bool QGDI_QuadraticBezierFlatten(VPathReceiver* receiver, const SQPOINT& p0, const SQPOINT& p1,
                                          const SQPOINT& p2, const double* matrix, double flatness, int depth);

// Point and first derivative of a cubic at t.
QGDI_API SQPOINT QGDI_CubicBezierPoint(const SQPOINT* p4, double t) noexcept;
QGDI_API SQPOINT QGDI_CubicBezierDerivative(const SQPOINT* p4, double t) noexcept;
// Arc length between t0 and t1 by adaptive Gauss-Legendre quadrature, to
// 1e-9 relative.
QGDI_API double QGDI_CubicBezierGetLength(const SQPOINT* p4, double t0 = 0.0, double t1 = 1.0) noexcept;
// The parameter at which the length from the start equals distance (clamped
// to the curve); false for a non-finite distance.
QGDI_API bool QGDI_CubicBezierSeekDistance(const SQPOINT* p4, double distance, double& t) noexcept;
// Parameter and distance of the point of the curve nearest to q.
QGDI_API double QGDI_CubicBezierNearestPoint(const SQPOINT* p4, const SQPOINT& q, double& t) noexcept;
// Tight box: end points and the extrema of each coordinate.
QGDI_API void QGDI_CubicBezierGetBBox(const SQPOINT* p4, SQRECT& box) noexcept;
// The quadratic as the cubic of the same shape.
QGDI_API void QGDI_QuadraticToCubic(const SQPOINT* p3, SQPOINT* out4) noexcept;

// One cubic Bézier as a value.
class QGDI_API QCubicCurve {
public:
    SQPOINT p[4];

    QCubicCurve() noexcept : p{} {}
    QCubicCurve(const SQPOINT& a, const SQPOINT& b, const SQPOINT& c, const SQPOINT& d) noexcept : p{a, b, c, d} {}
    // A straight line as a cubic (controls at thirds, so speed is uniform).
    static QCubicCurve Line(const SQPOINT& a, const SQPOINT& b) noexcept;

    SQPOINT Point(double t) const noexcept { return QGDI_CubicBezierPoint(p, t); }
    SQPOINT Derivative(double t) const noexcept { return QGDI_CubicBezierDerivative(p, t); }
    // Unit normal (tangent turned a quarter counter-clockwise in a y-up frame);
    // falls back to the chord where the derivative vanishes.
    SQPOINT Normal(double t) const noexcept;
    double Length(double t0 = 0.0, double t1 = 1.0) const noexcept { return QGDI_CubicBezierGetLength(p, t0, t1); }
    bool Seek(double distance, double& t) const noexcept { return QGDI_CubicBezierSeekDistance(p, distance, t); }
    double Nearest(const SQPOINT& q, double& t) const noexcept { return QGDI_CubicBezierNearestPoint(p, q, t); }
    void Split(double t, QCubicCurve& a, QCubicCurve& b) const noexcept;
    CQRect BBox() const noexcept;
    QCubicCurve Reversed() const noexcept { return QCubicCurve(p[3], p[2], p[1], p[0]); }
};
