#include "deformation/CoordinatorMatrix.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "deformation/internal/Fixed256.h"
#include "geometry/GeomConstants.h"
#include "geometry/MatrixFunctions.h"

namespace {

using qgdi::deform::RoundFixed;

// Largest destination side a matrix map realises; beyond it the map is
// degenerate rather than an image.
constexpr double kMaxRealizedSide = double(1 << 28);

void IdentityRow(POINT* out, int count, int x, int y) noexcept {
    // (x + i)·256 in 64 bits, wrapped to 32 as the other paths saturate; only
    // absurd coordinates beyond ±2^23 pixels reach that.
    const auto fy = static_cast<LONG>(static_cast<int64_t>(y) * 256);
    int64_t fx = static_cast<int64_t>(x) * 256;
    for (int i = 0; i < count; ++i, fx += 256) out[i] = POINT{static_cast<LONG>(fx), fy};
}

// X, Y in 1/256 units, stepped by dX, dY per pixel; the packed add and the
// packed conversion give bit for bit the results of the scalar recurrence.
void AffineRow(POINT* out, int count, double X, double Y, double dX, double dY) noexcept {
#if defined(__SSE2__)
    __m128d xy = _mm_set_pd(Y, X);
    const __m128d d = _mm_set_pd(dY, dX);
    for (int i = 0; i < count; ++i) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_cvtpd_epi32(xy));
        xy = _mm_add_pd(xy, d);
    }
#else
    for (int i = 0; i < count; ++i, X += dX, Y += dY) out[i] = POINT{RoundFixed(X), RoundFixed(Y)};
#endif
}

// As AffineRow with the homogeneous w: point i is (X/W, Y/W), one packed division.
void PerspectiveRow(POINT* out, int count, double X, double Y, double W, double dX, double dY, double dW) noexcept {
#if defined(__SSE2__)
    __m128d xy = _mm_set_pd(Y, X);
    const __m128d d = _mm_set_pd(dY, dX);
    for (int i = 0; i < count; ++i) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_cvtpd_epi32(_mm_div_pd(xy, _mm_set1_pd(W))));
        xy = _mm_add_pd(xy, d);
        W += dW;
    }
#else
    for (int i = 0; i < count; ++i, X += dX, Y += dY, W += dW) out[i] = POINT{RoundFixed(X / W), RoundFixed(Y / W)};
#endif
}

RECT CornerBox(const POINT& a, const POINT& b, const POINT& c, const POINT& d) noexcept {
    const LONG l = std::min({a.x, b.x, c.x, d.x}), t = std::min({a.y, b.y, c.y, d.y});
    const LONG r = std::max({a.x, b.x, c.x, d.x}), btm = std::max({a.y, b.y, c.y, d.y});
    return RECT{l, t, r == INT_MAX ? r : r + 1, btm == INT_MAX ? btm : btm + 1};
}

}  // namespace

void QGDI_ResampleGetCoordinates256(POINT* out, int count, int x, int y, const double* m) noexcept {
    if (!out || count <= 0) return;
    if (!m || QGDI_MatrixIsIdentity(m)) {
        IdentityRow(out, count, x, y);
        return;
    }
    const double fx = x, fy = y;
    // X = (m0·x + m1·y + m2)·256, Y = (m3·x + m4·y + m5)·256
    const double X = (m[0] * fx + m[1] * fy + m[2]) * 256.0;
    const double Y = (m[3] * fx + m[4] * fy + m[5]) * 256.0;
    if (QGDI_MatrixIs2x3(m)) {
        AffineRow(out, count, X, Y, m[0] * 256.0, m[3] * 256.0);
        return;
    }
    // W = m6·x + m7·y + m8
    const double W = m[6] * fx + m[7] * fy + m[8];
    PerspectiveRow(out, count, X, Y, W, m[0] * 256.0, m[3] * 256.0, m[6]);
}

CCoordinatorMatrix::CCoordinatorMatrix(const double* m) noexcept { SetMatrix(m); }

void CCoordinatorMatrix::SetMatrix(const double* m) noexcept {
    if (m) std::copy(m, m + 9, m_m);
    else QGDI_MatrixIdentity(m_m);
}

bool CCoordinatorMatrix::Realize(int width, int height) {
    m_nWidth = m_nHeight = 0;
    double inv[9];
    if (width <= 0 || height <= 0 || !QGDI_MatrixGetInverse(m_m, inv)) return false;
    const double xs[4] = {0.0, width - 1.0, width - 1.0, 0.0};
    const double ys[4] = {0.0, 0.0, height - 1.0, height - 1.0};
    SQRECT box{1e300, 1e300, -1e300, -1e300};
    double firstW = 0.0;
    for (int i = 0; i < 4; ++i) {
        // A corner on or beyond the horizon has no finite image.
        const double w = inv[6] * xs[i] + inv[7] * ys[i] + inv[8];
        if (i == 0) firstW = w;
        if (std::fabs(w) < kQSingularDeterminant || (w > 0.0) != (firstW > 0.0)) return false;
        const double px = (inv[0] * xs[i] + inv[1] * ys[i] + inv[2]) / w;
        const double py = (inv[3] * xs[i] + inv[4] * ys[i] + inv[5]) / w;
        box.left = std::min(box.left, px);
        box.top = std::min(box.top, py);
        box.right = std::max(box.right, px);
        box.bottom = std::max(box.bottom, py);
    }
    if (!(box.right - box.left < kMaxRealizedSide && box.bottom - box.top < kMaxRealizedSide)) return false;
    // Shrink by the tolerance, then cover pixel positions by unit cells.
    box.left += kQGeomTolerance;
    box.top += kQGeomTolerance;
    box.right += 1.0 - kQGeomTolerance;
    box.bottom += 1.0 - kQGeomTolerance;
    RECT r;
    QGDI_CastRect(box, r);
    m_nWidth = r.right - r.left;
    m_nHeight = r.bottom - r.top;
    return true;
}

void CCoordinatorMatrix::GetCoordinates(POINT* out, int y, int x, int count) {
    QGDI_ResampleGetCoordinates256(out, count, x, y, m_m);
}

void CCoordinatorMatrix::GetCoordinates(POINT* out, const RECT& rect, RECT* bbox) {
    const int w = rect.right - rect.left, h = rect.bottom - rect.top;
    if (!out || w <= 0 || h <= 0) {
        if (bbox) SetRectEmpty(bbox);
        return;
    }
    // Rows are independent; small rectangles are not worth waking threads.
    const bool parallel = static_cast<int64_t>(w) * h >= (1 << 16);
#pragma omp parallel for schedule(static) if (parallel)
    for (int j = 0; j < h; ++j)
        QGDI_ResampleGetCoordinates256(out + static_cast<size_t>(j) * w, w, rect.left, rect.top + j, m_m);
    if (bbox) {
        const POINT* last = out + static_cast<size_t>(h - 1) * w;
        *bbox = CornerBox(out[0], out[w - 1], last[0], last[w - 1]);
    }
}

bool CCoordinatorMatrix::GetBBox(RECT* bbox, const RECT& rect) {
    const int w = rect.right - rect.left, h = rect.bottom - rect.top;
    if (!bbox) return false;
    if (w <= 0 || h <= 0) {
        SetRectEmpty(bbox);
        return true;
    }
    // The last point of a row comes from stepping along the row, so the two
    // end rows are stepped in full for the box to match GetCoordinates exactly.
    std::vector<POINT> first(static_cast<size_t>(w)), last(static_cast<size_t>(w));
    QGDI_ResampleGetCoordinates256(first.data(), w, rect.left, rect.top, m_m);
    QGDI_ResampleGetCoordinates256(last.data(), w, rect.left, rect.bottom - 1, m_m);
    *bbox = CornerBox(first[0], first.back(), last[0], last.back());
    return true;
}
