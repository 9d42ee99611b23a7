#include "drawing/Arc.h"

#include <algorithm>
#include <cmath>

#include "drawing/Bezier.h"
#include "geometry/GeomConstants.h"
#include "geometry/MatrixFunctions.h"

SQPOINT QGDI_GetUnitCircleCenter(const SQPOINT& q, bool largeArc, bool sweep) noexcept {
    const double len2 = q.x * q.x + q.y * q.y;
    const SQPOINT mid{q.x * 0.5, q.y * 0.5};
    if (!(len2 > 0.0)) return SQPOINT{0.0, 1.0};
    // Distance from the chord's middle to the centre, along the chord's normal.
    const double h = std::sqrt(std::max(0.0, 1.0 - 0.25 * len2));
    const double inv = 1.0 / std::sqrt(len2);
    // (-q.y, q.x) is on the counter-clockwise side of q: a centre there makes the
    // short way from the origin to q run with increasing angle.
    const double side = (largeArc != sweep) ? h * inv : -h * inv;
    return SQPOINT{mid.x - q.y * side, mid.y + q.x * side};
}

bool QGDI_ArcCreate(SQARC& arc, const SQPOINT& start, const SQPOINT& radii, double rotation, bool largeArc, bool sweep,
                    const SQPOINT& end) noexcept {
    if (!(std::fabs(radii.x * radii.y) >= kQGeomTolerance)) return false;
    double rx = std::fabs(radii.x), ry = std::fabs(radii.y);
    const double phi = -rotation * kQPi / 180.0;
    const double cs = std::cos(phi), sn = std::sin(phi);
    const double dx = end.x - start.x, dy = end.y - start.y;
    SQPOINT q{(cs * dx - sn * dy) / rx, (sn * dx + cs * dy) / ry};
    const double qlen = std::sqrt(q.x * q.x + q.y * q.y);
    if (!std::isfinite(qlen)) return false;
    if (qlen > 2.0) {
        // The radii cannot reach the end: grow them until the end lies on the
        // far side of the circle, which draws half an ellipse.
        const double k = qlen * 0.5;
        q.x /= k;
        q.y /= k;
        rx *= k;
        ry *= k;
    }
    const SQPOINT c = QGDI_GetUnitCircleCenter(q, largeArc, sweep);
    double a0 = std::atan2(-c.y, -c.x);
    double da = qlen > 0.0 ? std::atan2(q.y - c.y, q.x - c.x) - a0 : 0.0;
    if (qlen > 0.0) {
        if (!largeArc) {
            if (da < -kQPi) da += kQ2Pi;
            else if (da > kQPi) da -= kQ2Pi;
        } else {
            if (da > -kQPi && da < 0.0) da += kQ2Pi;
            else if (da > 0.0 && da < kQPi) da -= kQ2Pi;
        }
        if (std::fabs(std::fabs(da) - kQPi) < kQGeomTolerance) da = sweep ? kQPi : -kQPi;
    }
    double toUnit[9];
    QGDI_MatrixIdentity(toUnit);
    QGDI_MatrixTranslate(toUnit, -start.x, -start.y);
    QGDI_MatrixRotate(toUnit, phi);
    QGDI_MatrixScale(toUnit, 1.0 / rx, 1.0 / ry);
    QGDI_MatrixTranslate(toUnit, -c.x, -c.y);
    if (!QGDI_MatrixGetInverse(toUnit, arc.unitToUser)) return false;
    arc.startAngle = a0;
    arc.sweep = da;
    arc.radii = SQPOINT{rx, ry};
    return true;
}

int QGDI_CubicBezierFromArc(SQPOINT* out, double startAngle, double sweep, const double* matrix) noexcept {
    if (!out || !std::isfinite(sweep) || !std::isfinite(startAngle)) return 0;
    const double dir = sweep < 0.0 ? -1.0 : 1.0;
    double left = std::fabs(sweep);
    if (left > kQ2Pi + kQGeomTolerance) left = std::fmod(left, kQ2Pi);
    int pieces = 0;
    double a = startAngle;
    // A remainder below the tolerance is rounding of a full turn, not a piece.
    while (left >= kQGeomTolerance && pieces < 4) {
        const double theta = std::min(left, kQPiHalf);
        const double half = theta * 0.5;
        const double s = std::sin(half), c = std::cos(half);
        const double k = (4.0 / 3.0) * (1.0 - c) / s;
        // Symmetric about +y: from (s, c) to (-s, c) with increasing angle, mirrored otherwise.
        SQPOINT* p = out + 4 * pieces;
        p[0] = SQPOINT{dir * s, c};
        p[1] = SQPOINT{dir * (s - k * c), c + k * s};
        p[2] = SQPOINT{-dir * (s - k * c), c + k * s};
        p[3] = SQPOINT{-dir * s, c};
        const double rot = dir * half + a - kQPiHalf;
        const double rc = std::cos(rot), rs = std::sin(rot);
        for (int i = 0; i < 4; ++i) {
            const double x = p[i].x, y = p[i].y;
            p[i] = SQPOINT{rc * x - rs * y, rs * x + rc * y};
        }
        a += dir * theta;
        left -= theta;
        ++pieces;
    }
    if (matrix && pieces) QGDI_MatrixTransform(matrix, out, pieces * 4);
    return pieces;
}

bool QGDI_ArcFlatten(VPathReceiver* receiver, const SQPOINT& start, const SQPOINT& radii, double rotation,
                     bool largeArc, bool sweep, const SQPOINT& end, const double* matrix, double flatness) {
    if (!receiver) return false;
    SQARC arc;
    if (!QGDI_ArcCreate(arc, start, radii, rotation, largeArc, sweep, end)) return false;
    SQPOINT pts[16];
    const int pieces = QGDI_CubicBezierFromArc(pts, arc.startAngle, arc.sweep, arc.unitToUser);
    for (int i = 0; i < pieces; ++i) {
        const SQPOINT* p = pts + 4 * i;
        if (!QGDI_CubicBezierFlatten(receiver, p[0], p[1], p[2], p[3], matrix, flatness, 0)) return false;
    }
    return true;
}
