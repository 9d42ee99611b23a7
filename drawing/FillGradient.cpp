#include "drawing/FillGradient.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "drawing/Fill.h"
#include "drawing/GradientSpan.h"
#include "geometry/MatrixBuild.h"
#include "geometry/MatrixFunctions.h"

using qgdi::gradient::SSpanWalk;

namespace {

constexpr double kPi = 3.14159265358979;
// Perspective spans are walked in stretches this long, exact at both ends.
constexpr int kPerspectiveStretch = 64;

bool AllFinite(const double* m, int n) noexcept {
    for (int i = 0; i < n; ++i)
        if (!std::isfinite(m[i])) return false;
    return true;
}

bool Finite(const SQPOINT& p) noexcept { return std::isfinite(p.x) && std::isfinite(p.y); }

// Pieces of a span that one walk serves: the whole span when affine.
template <class Fn>
void ByStretch(bool perspective, int x, int count, uint32_t* out, Fn&& fn) {
    const int stretch = perspective ? kPerspectiveStretch : std::max(count, 1);
    for (int done = 0; done < count; done += stretch) fn(x + done, std::min(stretch, count - done), out + done);
}

template <class T, class... Args>
CQFillSrc* Make(Args&&... args) {
    std::unique_ptr<T> src(new (std::nothrow) T);
    if (!src || !src->Create(std::forward<Args>(args)...)) return nullptr;
    return src.release();
}

}  // namespace

CFillSrcGradient::CFillSrcGradient(const CFillSrcGradient& other) noexcept
    : CQFillSrc(other), m_spread(other.m_spread), m_opaque(other.m_opaque) {
    std::memcpy(m_lut, other.m_lut, sizeof(m_lut));
    std::memcpy(m_matrix, other.m_matrix, sizeof(m_matrix));
}

bool CFillSrcGradient::Init(const SQRECT& bounds, int flag, const double* matrix, const double* pointsToGradient,
                            const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread) {
    if (!colours || !offsets || count <= 0) return false;
    if (matrix && !AllFinite(matrix, 9)) return false;
    if (!AllFinite(pointsToGradient, 9)) return false;
    double* cleaned = nullptr;
    if (!QGDI_CleanUpGradient(offsets, cleaned, count)) return false;
    const bool built = QGDI_CalculateGradientLUT1024(m_lut, cleaned, colours, count);
    delete[] cleaned;
    if (!built) return false;
    m_spread = spread;
    m_opaque = QGDI_IsBufferOpaqueBGRA(m_lut, kGradientLUTSize);

    // points -> device is matrix x box; its inverse, after the shift that
    // puts device pixel (x, y) at its centre, lands in points space.
    double box[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    if (flag == keGradientBoundingBox) {
        const double w = bounds.right - bounds.left, h = bounds.bottom - bounds.top;
        if (!std::isfinite(w) || !std::isfinite(h) || std::fabs(w) < 1e-12 || std::fabs(h) < 1e-12) return false;
        box[0] = w;
        box[2] = bounds.left;
        box[4] = h;
        box[5] = bounds.top;
    }
    double toDevice[9], toPoints[9];
    QGDI_MatrixMultiply(toDevice, matrix, box);
    if (std::fabs(QGDI_MatrixGetDeterminant(toDevice)) < 1e-32 || !QGDI_MatrixGetInverse(toDevice, toPoints))
        return false;
    const double centre[9] = {1, 0, 0.5, 0, 1, 0.5, 0, 0, 1};
    QGDI_MatrixMultiply(toPoints, toPoints, centre);
    QGDI_MatrixMultiply(m_matrix, pointsToGradient, toPoints);
    if (!AllFinite(m_matrix, 9) || m_matrix[8] == 0.0) return false;
    if (HasPerspective()) {
        // Rows then advance by a constant step when the perspective is mild
        // over the device area the bounds cover: a quarter of an entry at most.
        SQRECT area = bounds;
        QGDI_MatrixTransform(matrix, area);
        QGDI_SimplifyMatrixToLinearX(m_matrix, area, 0.25 / 1024.0);
    }
    return true;
}

void CFillSrcGradient::ToGradient(double x, double y, double& u, double& v) const noexcept {
    const double* m = m_matrix;
    const double w = m[6] * x + m[7] * y + m[8];
    u = (m[0] * x + m[1] * y + m[2]) / w;
    v = (m[3] * x + m[4] * y + m[5]) / w;
}

void CFillSrcGradient::Walk(int x, int y, int n, SSpanWalk& walk) const noexcept {
    const double* m = m_matrix;
    if (!HasPerspective()) {
        // Constant along the row even when the row's own y has perspective.
        const double w = m[7] * y + m[8];
        walk.u0 = (m[0] * x + m[1] * y + m[2]) / w;
        walk.v0 = (m[3] * x + m[4] * y + m[5]) / w;
        walk.du = m[0] / w;
        walk.dv = m[3] / w;
        return;
    }
    double u1, v1;
    ToGradient(x, y, walk.u0, walk.v0);
    ToGradient(double(x) + n, y, u1, v1);
    walk.du = (u1 - walk.u0) / n;
    walk.dv = (v1 - walk.v0) / n;
}

// ---- Linear -------------------------------------------------------------------

bool CFillSrcLinearGradient::Create(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end, int flag,
                                    const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                                    const double* matrix) {
    if (!Finite(start) || !Finite(end)) return false;
    const double dx = end.x - start.x, dy = end.y - start.y, len2 = dx * dx + dy * dy;
    if (!(len2 > 1e-12)) return false;
    // u along start -> end, v across it, both in lengths of start -> end.
    const double g[9] = {dx / len2, dy / len2, -(start.x * dx + start.y * dy) / len2,
                         -dy / len2, dx / len2, (start.x * dy - start.y * dx) / len2,
                         0, 0, 1};
    return Init(bounds, flag, matrix, g, colours, offsets, count, spread);
}

CQFillSrc* CFillSrcLinearGradient::Clone() const { return new (std::nothrow) CFillSrcLinearGradient(*this); }

void CFillSrcLinearGradient::GetSpan(int x, int y, int count, uint32_t* out) {
    ByStretch(HasPerspective(), x, count, out, [&](int x0, int n, uint32_t* dst) {
        SSpanWalk walk;
        Walk(x0, y, n, walk);
        qgdi::gradient::LinearSpan(m_lut, m_spread, walk.u0, walk.du, n, dst);
    });
}

double CFillSrcLinearGradient::GetParameter(double x, double y) const noexcept {
    double u, v;
    ToGradient(x, y, u, v);
    return u;
}

// ---- Radial -------------------------------------------------------------------

bool CFillSrcRadialGradient::Create(const SQRECT& bounds, const SQPOINT& centre, double radius,
                                    const SQPOINT& focal, int flag, const uint32_t* colours, const double* offsets,
                                    int count, ESpreadMethod spread, const double* matrix) {
    if (!Finite(centre) || !Finite(focal) || !std::isfinite(radius) || !(radius > 1e-12)) return false;
    const double r = radius;
    const double g[9] = {1 / r, 0, -centre.x / r, 0, 1 / r, -centre.y / r, 0, 0, 1};
    m_fx = (focal.x - centre.x) / r;
    m_fy = (focal.y - centre.y) / r;
    // On or outside the circle the two-circle rule leaves a cone without
    // colour; the focal point is kept just inside instead.
    const double f = std::hypot(m_fx, m_fy);
    if (f > 0.999) {
        m_fx *= 0.999 / f;
        m_fy *= 0.999 / f;
    }
    return Init(bounds, flag, matrix, g, colours, offsets, count, spread);
}

CQFillSrc* CFillSrcRadialGradient::Clone() const { return new (std::nothrow) CFillSrcRadialGradient(*this); }

void CFillSrcRadialGradient::GetSpan(int x, int y, int count, uint32_t* out) {
    const qgdi::gradient::SRadial radial{m_fx, m_fy, 1.0 / (m_fx * m_fx + m_fy * m_fy - 1.0)};
    ByStretch(HasPerspective(), x, count, out, [&](int x0, int n, uint32_t* dst) {
        SSpanWalk walk;
        Walk(x0, y, n, walk);
        qgdi::gradient::RadialSpan(m_lut, m_spread, radial, walk, n, dst);
    });
}

double CFillSrcRadialGradient::GetParameter(double x, double y) const noexcept {
    double u, v;
    ToGradient(x, y, u, v);
    const double px = u - m_fx, py = v - m_fy;
    const double a = m_fx * m_fx + m_fy * m_fy - 1.0, b = -(px * m_fx + py * m_fy), c = px * px + py * py;
    return (b - std::sqrt(std::max(b * b - a * c, 0.0))) / a;
}

// ---- Angular ------------------------------------------------------------------

bool CFillSrcAngularGradient::Create(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag,
                                     const uint32_t* colours, const double* offsets, int count,
                                     ESpreadMethod spread, const double* matrix) {
    if (!Finite(centre) || !std::isfinite(angle)) return false;
    const double c = std::cos(angle), s = std::sin(angle);
    const double g[9] = {c, s, -(c * centre.x + s * centre.y), -s, c, s * centre.x - c * centre.y, 0, 0, 1};
    return Init(bounds, flag, matrix, g, colours, offsets, count, spread);
}

CQFillSrc* CFillSrcAngularGradient::Clone() const { return new (std::nothrow) CFillSrcAngularGradient(*this); }

void CFillSrcAngularGradient::GetSpan(int x, int y, int count, uint32_t* out) {
    ByStretch(HasPerspective(), x, count, out, [&](int x0, int n, uint32_t* dst) {
        SSpanWalk walk;
        Walk(x0, y, n, walk);
        qgdi::gradient::ConicSpan(m_lut, m_spread, walk, n, dst);
    });
}

double CFillSrcAngularGradient::GetParameter(double x, double y) const noexcept {
    double u, v;
    ToGradient(x, y, u, v);
    const double a = std::atan2(v, u);
    return (a < 0 ? a + 2 * kPi : a) / (2 * kPi);
}

// ---- Rectangular --------------------------------------------------------------

bool CFillSrcRectangularGradient::Create(const SQRECT& bounds, const SQPOINT& corner0, const SQPOINT& corner1,
                                         int flag, const uint32_t* colours, const double* offsets, int count,
                                         ESpreadMethod spread, const double* matrix) {
    if (!Finite(corner0) || !Finite(corner1)) return false;
    const double hx = std::fabs(corner1.x - corner0.x) / 2, hy = std::fabs(corner1.y - corner0.y) / 2;
    if (!(hx > 1e-12) || !(hy > 1e-12)) return false;
    const double cx = (corner0.x + corner1.x) / 2, cy = (corner0.y + corner1.y) / 2;
    const double g[9] = {1 / hx, 0, -cx / hx, 0, 1 / hy, -cy / hy, 0, 0, 1};
    return Init(bounds, flag, matrix, g, colours, offsets, count, spread);
}

CQFillSrc* CFillSrcRectangularGradient::Clone() const {
    return new (std::nothrow) CFillSrcRectangularGradient(*this);
}

void CFillSrcRectangularGradient::GetSpan(int x, int y, int count, uint32_t* out) {
    ByStretch(HasPerspective(), x, count, out, [&](int x0, int n, uint32_t* dst) {
        SSpanWalk walk;
        Walk(x0, y, n, walk);
        qgdi::gradient::RectangularSpan(m_lut, m_spread, walk, n, dst);
    });
}

double CFillSrcRectangularGradient::GetParameter(double x, double y) const noexcept {
    double u, v;
    ToGradient(x, y, u, v);
    return std::max(std::fabs(u), std::fabs(v));
}

// ---- Creation -------------------------------------------------------------------

CQFillSrc* QGDI_FillSrcLinearGradient_Create(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end,
                                             int flag, const uint32_t* colours, const double* offsets, int count,
                                             ESpreadMethod spread, const double* matrix) {
    return Make<CFillSrcLinearGradient>(bounds, start, end, flag, colours, offsets, count, spread, matrix);
}

CQFillSrc* QGDI_FillSrcRadialGradient_Create(const SQRECT& bounds, const SQPOINT& centre, double radius,
                                             const SQPOINT& focal, int flag, const uint32_t* colours,
                                             const double* offsets, int count, ESpreadMethod spread,
                                             const double* matrix) {
    return Make<CFillSrcRadialGradient>(bounds, centre, radius, focal, flag, colours, offsets, count, spread, matrix);
}

CQFillSrc* QGDI_FillSrcAngularGradient_Create(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag,
                                              const uint32_t* colours, const double* offsets, int count,
                                              ESpreadMethod spread, const double* matrix) {
    return Make<CFillSrcAngularGradient>(bounds, centre, angle, flag, colours, offsets, count, spread, matrix);
}

CQFillSrc* QGDI_FillSrcRectangularGradient_Create(const SQRECT& bounds, const SQPOINT& corner0,
                                                  const SQPOINT& corner1, int flag, const uint32_t* colours,
                                                  const double* offsets, int count, ESpreadMethod spread,
                                                  const double* matrix) {
    return Make<CFillSrcRectangularGradient>(bounds, corner0, corner1, flag, colours, offsets, count, spread,
                                             matrix);
}

VQFILL* QGDI_FillCreateLinearGradient(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end, int flag,
                                      const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                                      const double* matrix) {
    CQFillSrc* src =
        QGDI_FillSrcLinearGradient_Create(bounds, start, end, flag, colours, offsets, count, spread, matrix);
    return src ? QGDI_FillCreateFromFillSrc(src) : nullptr;
}

VQFILL* QGDI_FillCreateRadialGradient(const SQRECT& bounds, const SQPOINT& centre, double radius,
                                      const SQPOINT& focal, int flag, const uint32_t* colours, const double* offsets,
                                      int count, ESpreadMethod spread, const double* matrix) {
    CQFillSrc* src = QGDI_FillSrcRadialGradient_Create(bounds, centre, radius, focal, flag, colours, offsets, count,
                                                       spread, matrix);
    return src ? QGDI_FillCreateFromFillSrc(src) : nullptr;
}

VQFILL* QGDI_FillCreateAngularGradient(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag,
                                       const uint32_t* colours, const double* offsets, int count,
                                       ESpreadMethod spread, const double* matrix) {
    CQFillSrc* src =
        QGDI_FillSrcAngularGradient_Create(bounds, centre, angle, flag, colours, offsets, count, spread, matrix);
    return src ? QGDI_FillCreateFromFillSrc(src) : nullptr;
}

VQFILL* QGDI_FillCreateRectangularGradient(const SQRECT& bounds, const SQPOINT& corner0, const SQPOINT& corner1,
                                           int flag, const uint32_t* colours, const double* offsets, int count,
                                           ESpreadMethod spread, const double* matrix) {
    CQFillSrc* src = QGDI_FillSrcRectangularGradient_Create(bounds, corner0, corner1, flag, colours, offsets, count,
                                                            spread, matrix);
    return src ? QGDI_FillCreateFromFillSrc(src) : nullptr;
}
