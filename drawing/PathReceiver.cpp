#include "drawing/PathReceiver.h"

#include <cmath>

#include "drawing/Arc.h"
#include "drawing/Bezier.h"
#include "geometry/MatrixFunctions.h"

namespace {
// Written without a lock by design: a torn read is impossible for an aligned
// double on the supported targets and a stale value only changes the detail.
double g_flatness = 0.05;
}  // namespace

double QGDI_GetFlatnessFactor() noexcept { return g_flatness; }

double QGDI_SetFlatnessFactor(double value) noexcept {
    const double old = g_flatness;
    g_flatness = value;
    return old;
}

VPathReceiver::~VPathReceiver() = default;

bool VPathReceiver::MoveTo(const SQPOINT& point, const double*) {
    m_current = point;
    m_start = point;
    return true;
}

bool VPathReceiver::BeginPath() { return true; }
bool VPathReceiver::EndPath() { return true; }

bool VPathReceiver::ClosePath(const double* matrix) {
    const SQPOINT start = m_start;
    return LineTo(start, matrix);
}

double VPathReceiver::GetFlatness() { return QGDI_GetFlatnessFactor(); }

bool VPathReceiver::QuadraticCurveTo(const SQPOINT& control, const SQPOINT& end, const double* matrix) {
    // Copies: LineTo moves m_current while the curve is still being cut.
    const SQPOINT p0 = m_current, p1 = control, p2 = end;
    if (!QGDI_QuadraticBezierFlatten(this, p0, p1, p2, matrix, GetFlatness(), 0)) return false;
    return LineTo(p2, matrix);
}

bool VPathReceiver::CubicCurveTo(const SQPOINT& control1, const SQPOINT& control2, const SQPOINT& end,
                                 const double* matrix) {
    const SQPOINT p0 = m_current, p1 = control1, p2 = control2, p3 = end;
    if (!QGDI_CubicBezierFlatten(this, p0, p1, p2, p3, matrix, GetFlatness(), 0)) return false;
    return LineTo(p3, matrix);
}

bool VPathReceiver::ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end,
                          const double* matrix) {
    SQARC arc;
    if (!QGDI_ArcCreate(arc, m_current, radii, rotation, largeArc, sweep, end)) return false;
    SQPOINT pts[16];
    const int pieces = QGDI_CubicBezierFromArc(pts, arc.startAngle, arc.sweep, arc.unitToUser);
    const SQPOINT target = end;
    if (pieces > 0) {
        if (matrix) QGDI_MatrixTransform(matrix, pts, pieces * 4);
        m_current = pts[0];
        for (int i = 0; i < pieces; ++i)
            if (!CubicCurveTo(pts[4 * i + 1], pts[4 * i + 2], pts[4 * i + 3], nullptr)) return false;
    }
    m_current = target;
    return true;
}
