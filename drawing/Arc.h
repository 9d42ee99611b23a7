#pragma once
// Elliptical arcs given SVG-style (end points, radii, rotation, two flags) and
// their conversion to at most four cubic Bézier pieces.
#include "drawing/PathReceiver.h"

// A centre parameterisation on the unit circle: the arc runs from startAngle
// by sweep (radians, signed) and unitToUser maps the unit circle to user space.
struct QGDI_API SQARC {
    double startAngle;
    double sweep;
    double unitToUser[9];
    SQPOINT radii;  // after enlargement when the given radii could not reach the end
};

// The centre of the unit circle through the origin and q on the side the SVG
// rule picks: the arc from the origin to q runs in the sweep direction and is
// the larger one when largeArc is set. |q| must not exceed 2.
QGDI_API SQPOINT QGDI_GetUnitCircleCenter(const SQPOINT& q, bool largeArc, bool sweep) noexcept;
// False (arc untouched) when |rx*ry| < 1e-6. Coincident end points give a sweep of 0.
QGDI_API bool QGDI_ArcCreate(SQARC& arc, const SQPOINT& start, const SQPOINT& radii, double rotation, bool largeArc,
                             bool sweep, const SQPOINT& end) noexcept;
// Writes 4 points per piece into out (room for 16) and returns the piece count
// (0 to 4); the points are mapped by matrix (null = unit circle).
QGDI_API int QGDI_CubicBezierFromArc(SQPOINT* out, double startAngle, double sweep, const double* matrix) noexcept;
// Flattens an arc into LineTo calls on the receiver (points mapped by matrix).
QGDI_API bool QGDI_ArcFlatten(VPathReceiver* receiver, const SQPOINT& start, const SQPOINT& radii, double rotation,
                              bool largeArc, bool sweep, const SQPOINT& end, const double* matrix, double flatness);
