#pragma once
// Angles in radians, with the truncated constants of GeomConstants.h.
#include "geometry/QPoint.h"
#include "qgdi_export.h"

// -pi <= angle <= pi.
QGDI_API bool QGDI_AngleIsNormalized(double angle) noexcept;
// Brought into [-pi, pi] by the remainder modulo 2 pi; angles inside are returned unchanged.
QGDI_API double QGDI_AngleNormalized(double angle) noexcept;
// 0 for [0, pi/2), 1 for pi/2 and above, 2 below -pi/2, 3 for [-pi/2, 0).
QGDI_API int QGDI_AngleQuadrant(double angle) noexcept;
// The signed angle in [-pi, pi] that turns the vector a - vertex onto b - vertex
// (positive from +x toward +y). False, with angle 0, when either vector is
// shorter than the geometry tolerance.
QGDI_API bool QGDI_GetAngle(double& angle, const SQPOINT& a, const SQPOINT& vertex, const SQPOINT& b) noexcept;
