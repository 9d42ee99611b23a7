#include "geometry/MatrixFunctions.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/GeomConstants.h"
#include "geometry/internal/BoundCorners.h"

namespace {

constexpr double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

inline const double* OrIdentity(const double* m) noexcept { return m ? m : kIdentity; }

// m = op x m; op is a full matrix built by the caller.
void PreMultiply(double* m, const double* op) noexcept {
    if (!m) return;
    QGDI_MatrixMultiply(m, op, m);
}

}  // namespace

void QGDI_MatrixIdentity(double* m) noexcept {
    if (m) std::memcpy(m, kIdentity, sizeof(kIdentity));
}

void QGDI_MatrixCopy(double* dst, const double* src) noexcept {
    if (dst && dst != src) std::memmove(dst, OrIdentity(src), 9 * sizeof(double));
}

void QGDI_MatrixMultiply(double* out, const double* a, const double* b) noexcept {
    if (!out) return;
    if (!a) {
        QGDI_MatrixCopy(out, b);
        return;
    }
    if (!b) {
        QGDI_MatrixCopy(out, a);
        return;
    }
    // out[r][c] = sum_k a[r][k] * b[k][c]; formed on the stack so out may alias a or b.
    double t[9];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) t[r * 3 + c] = a[r * 3] * b[c] + a[r * 3 + 1] * b[3 + c] + a[r * 3 + 2] * b[6 + c];
    std::memcpy(out, t, sizeof(t));
}

void QGDI_MatrixMulEquals(double* m, const double* other) noexcept {
    if (m && other) PreMultiply(m, other);
}

void QGDI_MatrixRotate(double* m, double radians) noexcept {
    const double c = std::cos(radians), s = std::sin(radians);
    const double r[9] = {c, -s, 0, s, c, 0, 0, 0, 1};
    PreMultiply(m, r);
}

void QGDI_MatrixScale(double* m, double sx, double sy) noexcept {
    if (!m) return;
    // diag(sx, sy, 1) x m scales the first two rows.
    for (int c = 0; c < 3; ++c) {
        m[c] *= sx;
        m[3 + c] *= sy;
    }
}

void QGDI_MatrixTranslate(double* m, double tx, double ty) noexcept {
    if (!m) return;
    // [1 0 tx; 0 1 ty; 0 0 1] x m adds tx (ty) times the last row to the first (second).
    for (int c = 0; c < 3; ++c) {
        m[c] += tx * m[6 + c];
        m[3 + c] += ty * m[6 + c];
    }
}

void QGDI_MatrixShearX(double* m, double k) noexcept {
    const double op[9] = {1, k, 0, 0, 1, 0, 0, 0, 1};
    PreMultiply(m, op);
}

void QGDI_MatrixShearY(double* m, double k) noexcept {
    const double op[9] = {1, 0, 0, k, 1, 0, 0, 0, 1};
    PreMultiply(m, op);
}

void QGDI_MatrixPerspectiveX(double* m, double k) noexcept {
    const double op[9] = {1, 0, 0, 0, 1, 0, k, 0, 1};
    PreMultiply(m, op);
}

void QGDI_MatrixPerspectiveY(double* m, double k) noexcept {
    const double op[9] = {1, 0, 0, 0, 1, 0, 0, k, 1};
    PreMultiply(m, op);
}

double QGDI_MatrixGetDeterminant(const double* m) noexcept {
    if (!m) return 1.0;
    // Expansion along the first column.
    return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[3] * (m[1] * m[8] - m[2] * m[7]) + m[6] * (m[1] * m[5] - m[2] * m[4]);
}

void QGDI_MatrixGetAdjoint(const double* m, double* out) noexcept {
    if (!out) return;
    m = OrIdentity(m);
    // adj[r][c] is the cofactor of element (c, r).
    const double t[9] = {
        m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
        m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
        m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3],
    };
    std::memcpy(out, t, sizeof(t));
}

void QGDI_MatrixGetTranspose(const double* m, double* out) noexcept {
    if (!out) return;
    m = OrIdentity(m);
    const double t[9] = {m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]};
    std::memcpy(out, t, sizeof(t));
}

bool QGDI_MatrixGetInverse(const double* m, double* out) noexcept {
    if (!m) {
        QGDI_MatrixIdentity(out);
        return true;
    }
    const double det = QGDI_MatrixGetDeterminant(m);
    if (!(std::fabs(det) >= kQSingularDeterminant)) return false;
    if (!out) return true;
    double adj[9];
    QGDI_MatrixGetAdjoint(m, adj);
    // inverse = adj / det, with the reciprocal formed once.
    const double inv = 1.0 / det;
    for (int i = 0; i < 9; ++i) out[i] = adj[i] * inv;
    return true;
}

uint32_t QGDI_MatrixFlagGet(const double* m) noexcept {
    if (!m) return 0;
    // A bit is set when its quantity is not below the tolerance (NaN sets it too).
    auto bit = [](double v, uint32_t b) -> uint32_t { return std::fabs(v) < kQGeomTolerance ? 0u : b; };
    return bit(m[2], keMatrixFlagTranslateX) | bit(m[5], keMatrixFlagTranslateY) | bit(m[0] - 1.0, keMatrixFlagScaleX) |
           bit(m[4] - 1.0, keMatrixFlagScaleY) | bit(m[1], keMatrixFlagShearX) | bit(m[3], keMatrixFlagShearY) |
           bit(m[6], keMatrixFlagPerspectiveX) | bit(m[7], keMatrixFlagPerspectiveY) |
           bit(m[8] - 1.0, keMatrixFlagHomogeneous);
}

bool QGDI_MatrixIsIdentity(const double* m) noexcept { return QGDI_MatrixFlagGet(m) == 0; }

bool QGDI_MatrixIsTranslateOnly(const double* m) noexcept {
    return QGDI_MatrixFlagIsClear(QGDI_MatrixFlagGet(m), ~uint32_t(keMatrixFlagTranslate));
}

bool QGDI_MatrixIs2x3(const double* m) noexcept {
    return QGDI_MatrixFlagIsClear(QGDI_MatrixFlagGet(m), keMatrixFlagProjective);
}

bool QGDI_MatrixIsEqual(const double* a, const double* b) noexcept {
    a = OrIdentity(a);
    b = OrIdentity(b);
    for (int i = 0; i < 9; ++i)
        if (!QGDI_IsEqual(a[i], b[i])) return false;
    return true;
}

bool QGDI_MatrixIsEqual2x2(const double* a, const double* b) noexcept {
    a = OrIdentity(a);
    b = OrIdentity(b);
    return QGDI_IsEqual(a[0], b[0]) && QGDI_IsEqual(a[1], b[1]) && QGDI_IsEqual(a[3], b[3]) && QGDI_IsEqual(a[4], b[4]);
}

void QGDI_MatrixTransform(const double* m, double* xy, int count) noexcept {
    if (!xy || count <= 0) return;
    const uint32_t flags = QGDI_MatrixFlagGet(m);
    if (flags == 0) return;
    // Elements in locals: xy could alias m and would otherwise force reloads per point.
    const double a = m[0], b = m[1], tx = m[2], c = m[3], d = m[4], ty = m[5], p = m[6], q = m[7], w = m[8];
    if (QGDI_MatrixFlagIsClear(flags, ~uint32_t(keMatrixFlagTranslate))) {
        for (int i = 0; i < count; ++i) {
            xy[2 * i] += tx;
            xy[2 * i + 1] += ty;
        }
        return;
    }
    // The affine path needs exact values: a perspective term below the flag
    // tolerance still moves far points by whole pixels.
    if (p == 0.0 && q == 0.0 && w == 1.0) {
        for (int i = 0; i < count; ++i) {
            const double x = xy[2 * i], y = xy[2 * i + 1];
            xy[2 * i] = a * x + b * y + tx;
            xy[2 * i + 1] = c * x + d * y + ty;
        }
        return;
    }
    for (int i = 0; i < count; ++i) {
        const double x = xy[2 * i], y = xy[2 * i + 1];
        // One division per point: the reciprocal of w is multiplied in.
        const double rw = 1.0 / (p * x + q * y + w);
        xy[2 * i] = (a * x + b * y + tx) * rw;
        xy[2 * i + 1] = (c * x + d * y + ty) * rw;
    }
}

void QGDI_MatrixTransform(const double* m, SQPOINT* points, int count) noexcept {
    static_assert(sizeof(SQPOINT) == 2 * sizeof(double));
    QGDI_MatrixTransform(m, reinterpret_cast<double*>(points), count);
}

void QGDI_MatrixTransform(const double* m, double& x, double& y) noexcept {
    double xy[2] = {x, y};
    QGDI_MatrixTransform(m, xy, 1);
    x = xy[0];
    y = xy[1];
}

void QGDI_MatrixTransform(const double* m, SQPOINT& p) noexcept { QGDI_MatrixTransform(m, p.x, p.y); }

void QGDI_MatrixTransform(const double* m, SQRECT& rc) noexcept {
    if (QGDI_MatrixFlagGet(m) == 0) return;
    SQPOINT c[4] = {{rc.left, rc.top}, {rc.right, rc.top}, {rc.right, rc.bottom}, {rc.left, rc.bottom}};
    QGDI_MatrixTransform(m, c, 4);
    qgdi::geom::BoundCorners(c, rc);
}

bool QGDI_MatrixDecomposeScalingAndRotation(const double* m, double& sx, double& sy, double& angle) noexcept {
    m = OrIdentity(m);
    angle = 0.0;
    sx = std::sqrt(m[0] * m[0] + m[1] * m[1]);
    sy = std::sqrt(m[3] * m[3] + m[4] * m[4]);
    if (!(sx >= kQGeomTolerance) || !(sy >= kQGeomTolerance)) return false;
    const double c0 = m[0] / sx, s0 = m[1] / sx;
    const double s1 = m[3] / sy, c1 = m[4] / sy;
    // A pure rotation has rows (cos, -sin) and (sin, cos).
    if (!QGDI_IsEqual(c0, c1) || !QGDI_IsEqual(-s0, s1) || !QGDI_IsEqual(c0 * c0 + s0 * s0, 1.0)) return false;
    // Adding +0 turns -0 into +0, so that a half turn reads as +pi rather than -pi.
    angle = std::atan2(-s0 + 0.0, c0);
    return true;
}
