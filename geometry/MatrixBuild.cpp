#include "geometry/MatrixBuild.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "geometry/GeomConstants.h"
#include "geometry/MatrixFunctions.h"
#include "geometry/internal/SmallLeastSquares.h"

namespace {

// Which elements of a fitted matrix are free; the others keep their identity
// value and m8 is fixed at 1 (in the normalised frame).
enum class EModel { Affine, LinearX, Projective };

// Translates the centroid to the origin and scales the mean distance to sqrt 2,
// which keeps the fitting systems well conditioned whatever the pixel range.
bool Normaliser(const SQPOINT* p, int n, double* t) {
    double cx = 0, cy = 0;
    for (int i = 0; i < n; ++i) {
        cx += p[i].x;
        cy += p[i].y;
    }
    cx /= n;
    cy /= n;
    double d = 0;
    for (int i = 0; i < n; ++i) d += std::hypot(p[i].x - cx, p[i].y - cy);
    d /= n;
    if (!(d > 0.0) || !std::isfinite(d)) return false;
    const double s = std::sqrt(2.0) / d;
    const double m[9] = {s, 0, -s * cx, 0, s, -s * cy, 0, 0, 1};
    std::memcpy(t, m, sizeof(m));
    return true;
}

// Twice the signed area of a triangle.
double Area2(const SQPOINT& a, const SQPOINT& b, const SQPOINT& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

// The matrix of `model` that best maps src onto dst in the least-squares sense of
//   u (h6 x + h7 y + 1) = h0 x + h1 y + h2,  v (h6 x + h7 y + 1) = h3 x + h4 y + h5
// on normalised coordinates; exact when the model has as many unknowns as equations.
bool FitModel(const SQPOINT* src, const SQPOINT* dst, int n, EModel model, double* out) {
    double ts[9], td[9];
    if (!Normaliser(src, n, ts) || !Normaliser(dst, n, td)) return false;
    int freeIdx[8];
    int k = 0;
    for (int i = 0; i < 6; ++i) freeIdx[k++] = i;
    if (model == EModel::Projective) freeIdx[k++] = 6;
    if (model != EModel::Affine) freeIdx[k++] = 7;
    const int rows = 2 * n;
    if (rows < k) return false;
    std::vector<double> A(size_t(rows) * k), b(rows);
    for (int i = 0; i < n; ++i) {
        SQPOINT p = src[i], q = dst[i];
        QGDI_MatrixTransform(ts, p);
        QGDI_MatrixTransform(td, q);
        const double ru[8] = {p.x, p.y, 1, 0, 0, 0, -q.x * p.x, -q.x * p.y};
        const double rv[8] = {0, 0, 0, p.x, p.y, 1, -q.y * p.x, -q.y * p.y};
        for (int j = 0; j < k; ++j) {
            A[size_t(2 * i) * k + j] = ru[freeIdx[j]];
            A[size_t(2 * i + 1) * k + j] = rv[freeIdx[j]];
        }
        b[2 * i] = q.x;
        b[2 * i + 1] = q.y;
    }
    double x[8];
    if (!qgdi::geom::SolveLeastSquaresQR(A.data(), b.data(), rows, k, x)) return false;
    double h[9] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
    for (int j = 0; j < k; ++j) h[freeIdx[j]] = x[j];
    // Back to pixel coordinates: M = Td^-1 x H x Ts.
    double tdInv[9];
    if (!QGDI_MatrixGetInverse(td, tdInv)) return false;
    double r[9];
    QGDI_MatrixMultiply(r, h, ts);
    QGDI_MatrixMultiply(r, tdInv, r);
    if (!(std::fabs(r[8]) > 1e-300) || !std::isfinite(r[8])) return false;
    const double inv8 = 1.0 / r[8];
    for (double& v : r) v *= inv8;
    r[8] = 1.0;
    for (double v : r)
        if (!std::isfinite(v)) return false;
    std::memcpy(out, r, sizeof(r));
    return true;
}

// No three of four points on one line, judged on normalised coordinates.
bool InGeneralPosition(const SQPOINT* p) {
    double t[9];
    if (!Normaliser(p, 4, t)) return false;
    SQPOINT q[4];
    std::memcpy(q, p, sizeof(q));
    QGDI_MatrixTransform(t, q, 4);
    constexpr int tri[4][3] = {{0, 1, 2}, {0, 1, 3}, {0, 2, 3}, {1, 2, 3}};
    for (const auto& c : tri)
        if (std::fabs(Area2(q[c[0]], q[c[1]], q[c[2]])) < 1e-9) return false;
    return true;
}

bool FromSimilarity(double* m, const SQPOINT* src, const SQPOINT* dst) {
    // u = a x - b y + tx, v = b x + a y + ty: a uniform scale with rotation.
    const double dx = src[1].x - src[0].x, dy = src[1].y - src[0].y;
    const double len2 = dx * dx + dy * dy;
    if (!(len2 > kQGeomTolerance * kQGeomTolerance)) return false;
    const double ex = dst[1].x - dst[0].x, ey = dst[1].y - dst[0].y;
    // (a + ib) = (e) / (d) as complex numbers.
    const double a = (ex * dx + ey * dy) / len2;
    const double b = (ey * dx - ex * dy) / len2;
    const double r[9] = {
        a, -b, dst[0].x - (a * src[0].x - b * src[0].y), b, a, dst[0].y - (b * src[0].x + a * src[0].y), 0, 0, 1};
    std::memcpy(m, r, sizeof(r));
    return true;
}

void RectCorners(const SQRECT& rc, SQPOINT* c) {
    c[0] = {rc.left, rc.top};
    c[1] = {rc.right, rc.top};
    c[2] = {rc.right, rc.bottom};
    c[3] = {rc.left, rc.bottom};
}

}  // namespace

bool QGDI_MatrixFrom3Points(double* m, const SQPOINT src[3], const SQPOINT dst[3]) noexcept {
    if (!m || !src || !dst) return false;
    double t[9];
    if (!Normaliser(src, 3, t)) return false;
    SQPOINT q[3] = {src[0], src[1], src[2]};
    QGDI_MatrixTransform(t, q, 3);
    if (std::fabs(Area2(q[0], q[1], q[2])) < 1e-9) return false;
    return FitModel(src, dst, 3, EModel::Affine, m);
}

bool QGDI_MatrixFrom4Points(double* m, const SQPOINT src[4], const SQPOINT dst[4]) noexcept {
    if (!m || !src || !dst) return false;
    if (!InGeneralPosition(src) || !InGeneralPosition(dst)) return false;
    return FitModel(src, dst, 4, EModel::Projective, m);
}

bool QGDI_MatrixFromRectAnd4Points(double* m, const SQRECT& rc, const SQPOINT dst[4]) noexcept {
    SQPOINT src[4];
    RectCorners(rc, src);
    return QGDI_MatrixFrom4Points(m, src, dst);
}

bool QGDI_MatrixFromPoints(double* m, const SQPOINT* src, const SQPOINT* dst, int count) noexcept {
    if (!m || !src || !dst || count <= 0) return false;
    switch (count) {
    case 1:
        QGDI_MatrixIdentity(m);
        m[2] = dst[0].x - src[0].x;
        m[5] = dst[0].y - src[0].y;
        return true;
    case 2: return FromSimilarity(m, src, dst);
    case 3: return QGDI_MatrixFrom3Points(m, src, dst);
    case 4: return QGDI_MatrixFrom4Points(m, src, dst);
    default: return FitModel(src, dst, count, EModel::Projective, m);
    }
}

void QGDI_MatrixFromParameters(double* m, const SQMatrixParams& p) noexcept {
    if (!m) return;
    const double a = p.dRotation * kQPiFull / 180.0;
    const double c = std::cos(a), s = std::sin(a);
    const double k = std::tan(p.dShear * kQPiFull / 180.0);
    // L = R x [sx k sy; 0 sy].
    const double l00 = c * p.dScaleX, l01 = c * k * p.dScaleY - s * p.dScaleY;
    const double l10 = s * p.dScaleX, l11 = s * k * p.dScaleY + c * p.dScaleY;
    const double tx = p.dOffsetX, ty = p.dOffsetY, px = p.dPerspectiveX, py = p.dPerspectiveY;
    // A x P = [L + t p^T, t; p^T, 1].
    const double r[9] = {l00 + tx * px, l01 + tx * py, tx, l10 + ty * px, l11 + ty * py, ty, px, py, 1};
    std::memcpy(m, r, sizeof(r));
}

bool QGDI_MatrixToParameters(const double* m, SQMatrixParams& p) noexcept {
    double n[9];
    QGDI_MatrixCopy(n, m);
    if (!(std::fabs(n[8]) > 1e-300)) return false;
    for (double& v : n) v /= n[8];
    const double px = n[6], py = n[7], tx = n[2], ty = n[5];
    const double l00 = n[0] - tx * px, l01 = n[1] - tx * py;
    const double l10 = n[3] - ty * px, l11 = n[4] - ty * py;
    const double sx = std::hypot(l00, l10);
    if (!(sx > 1e-12)) return false;
    const double a = std::atan2(l10, l00);
    const double c = std::cos(a), s = std::sin(a);
    // R^T (l01, l11) = (k sy, sy).
    const double ksy = c * l01 + s * l11;
    const double sy = -s * l01 + c * l11;
    if (!(std::fabs(sy) > 1e-12)) return false;
    p.dScaleX = sx;
    p.dScaleY = sy;
    p.dRotation = a * 180.0 / kQPiFull;
    p.dShear = std::atan(ksy / sy) * 180.0 / kQPiFull;
    p.dOffsetX = tx;
    p.dOffsetY = ty;
    p.dPerspectiveX = px;
    p.dPerspectiveY = py;
    return true;
}

bool QGDI_MatrixGetSpaceMap(double* m, const SQRECT& from, const SQRECT& to, EQSpaceMapMode mode) noexcept {
    if (!m) return false;
    const double fw = from.right - from.left, fh = from.bottom - from.top;
    const double tw = to.right - to.left, th = to.bottom - to.top;
    if (QGDI_IsZero(fw) || QGDI_IsZero(fh)) return false;
    double sx = 1.0, sy = 1.0;
    switch (mode) {
    case keSpaceMapStretch:
        sx = tw / fw;
        sy = th / fh;
        break;
    case keSpaceMapFit:
    case keSpaceMapFill: {
        if (QGDI_IsZero(tw) || QGDI_IsZero(th)) return false;
        const double rx = std::fabs(tw / fw), ry = std::fabs(th / fh);
        sx = sy = mode == keSpaceMapFit ? std::min(rx, ry) : std::max(rx, ry);
        break;
    }
    case keSpaceMapCenter: break;
    default: return false;
    }
    // The centre of `from` goes to the centre of `to`.
    const double fcx = (from.left + from.right) * 0.5, fcy = (from.top + from.bottom) * 0.5;
    const double tcx = (to.left + to.right) * 0.5, tcy = (to.top + to.bottom) * 0.5;
    const double r[9] = {sx, 0, tcx - sx * fcx, 0, sy, tcy - sy * fcy, 0, 0, 1};
    std::memcpy(m, r, sizeof(r));
    return true;
}

bool QGDI_SimplifyMatrixToLinearX(double* m, const SQRECT& area, double maxError) noexcept {
    if (!m) return true;
    if (m[6] == 0.0) return true;
    const double w = area.right - area.left, h = area.bottom - area.top;
    if (QGDI_IsZero(w) || QGDI_IsZero(h) || !(maxError >= 0.0)) return false;
    // Fit on a 5 x 5 grid, then judge on a finer 9 x 9 grid that includes it.
    constexpr int kFit = 5, kCheck = 9;
    auto sample = [&](int n, std::vector<SQPOINT>& s, std::vector<SQPOINT>& d) {
        s.clear();
        d.clear();
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i) {
                const SQPOINT p{area.left + w * i / (n - 1), area.top + h * j / (n - 1)};
                s.push_back(p);
                SQPOINT q = p;
                QGDI_MatrixTransform(m, q);
                d.push_back(q);
            }
    };
    std::vector<SQPOINT> src, dst;
    sample(kCheck, src, dst);
    // The map must not cross its horizon inside the area.
    double w0 = m[6] * src[0].x + m[7] * src[0].y + m[8];
    for (const SQPOINT& p : src) {
        const double wp = m[6] * p.x + m[7] * p.y + m[8];
        if (!(wp * w0 > 0.0)) return false;
    }
    std::vector<SQPOINT> fs, fd;
    sample(kFit, fs, fd);
    double r[9];
    if (!FitModel(fs.data(), fd.data(), kFit * kFit, EModel::LinearX, r)) return false;
    for (size_t i = 0; i < src.size(); ++i) {
        SQPOINT q = src[i];
        QGDI_MatrixTransform(r, q);
        if (!(std::hypot(q.x - dst[i].x, q.y - dst[i].y) <= maxError)) return false;
    }
    std::memcpy(m, r, sizeof(r));
    return true;
}
