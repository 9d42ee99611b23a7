#include "geometry/Angles.h"

#include <cmath>

#include "geometry/GeomConstants.h"

bool QGDI_AngleIsNormalized(double angle) noexcept { return angle >= -kQPi && angle <= kQPi; }

double QGDI_AngleNormalized(double angle) noexcept {
    if (QGDI_AngleIsNormalized(angle) || !std::isfinite(angle)) return angle;
    double a = std::fmod(angle, kQ2Pi);
    if (a > kQPi) a -= kQ2Pi;
    else if (a < -kQPi) a += kQ2Pi;
    return a;
}

int QGDI_AngleQuadrant(double angle) noexcept {
    if (angle >= 0.0) return angle < kQPiHalf ? 0 : 1;
    return angle < -kQPiHalf ? 2 : 3;
}

bool QGDI_GetAngle(double& angle, const SQPOINT& a, const SQPOINT& vertex, const SQPOINT& b) noexcept {
    angle = 0.0;
    const double ux = a.x - vertex.x, uy = a.y - vertex.y;
    const double vx = b.x - vertex.x, vy = b.y - vertex.y;
    if (std::hypot(ux, uy) < kQGeomTolerance || std::hypot(vx, vy) < kQGeomTolerance) return false;
    // atan2(cross, dot) keeps full precision near 0 and pi, unlike acos of the cosine.
    angle = std::atan2(ux * vy - uy * vx, ux * vx + uy * vy);
    return true;
}
