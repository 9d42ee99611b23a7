#include "geometry/internal/DenseSolve.h"

#include <cmath>
#include <limits>
#include <vector>

namespace qgdi::numerics {

namespace {

// A pivot below this fraction of the (unit) scaled diagonal means the matrix
// has lost rank in double precision.
constexpr double kRelativePivot = 1e-13;

// In-place lower Cholesky factor of a unit-diagonal symmetric matrix.
bool Cholesky(double* a, int n) noexcept {
    for (int j = 0; j < n; ++j) {
        double d = a[j * n + j];
        for (int k = 0; k < j; ++k) d -= a[j * n + k] * a[j * n + k];
        if (!(d > kRelativePivot)) return false;
        const double l = std::sqrt(d);
        a[j * n + j] = l;
        for (int i = j + 1; i < n; ++i) {
            double s = a[i * n + j];
            for (int k = 0; k < j; ++k) s -= a[i * n + k] * a[j * n + k];
            a[i * n + j] = s / l;
        }
    }
    return true;
}

// D·A·D with D = diag(1/√a_ii), so that the diagonal becomes 1. Returns false
// when a diagonal entry is not positive (no SPD matrix has one).
bool Equilibrate(double* a, double* d, int n) noexcept {
    for (int i = 0; i < n; ++i) {
        const double v = a[i * n + i];
        if (!(v > 0.0) || !std::isfinite(v)) return false;
        d[i] = 1.0 / std::sqrt(v);
    }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) a[i * n + j] *= d[i] * d[j];
    return true;
}

}  // namespace

bool SolveSpd(double* a, double* b, double* x, int n) noexcept {
    if (n <= 0) return n == 0;
    std::vector<double> d(static_cast<size_t>(n));
    if (!Equilibrate(a, d.data(), n) || !Cholesky(a, n)) return false;
    // (D A D)(D⁻¹ x) = D b: forward then backward substitution on the scaled system.
    for (int i = 0; i < n; ++i) {
        double s = b[i] * d[i];
        for (int k = 0; k < i; ++k) s -= a[i * n + k] * x[k];
        x[i] = s / a[i * n + i];
    }
    for (int i = n - 1; i >= 0; --i) {
        double s = x[i];
        for (int k = i + 1; k < n; ++k) s -= a[k * n + i] * x[k];
        x[i] = s / a[i * n + i];
    }
    for (int i = 0; i < n; ++i) x[i] *= d[i];
    return true;
}

bool IsPositiveDefinite(const double* a, int n) noexcept {
    if (n <= 0) return false;
    std::vector<double> m(a, a + static_cast<size_t>(n) * n);
    std::vector<double> d(static_cast<size_t>(n));
    return Equilibrate(m.data(), d.data(), n) && Cholesky(m.data(), n);
}

bool SolveLeastSquaresQr(double* a, double* b, double* x, int rows, int cols) noexcept {
    if (cols <= 0 || rows < cols) return false;
    // Unit-norm columns make the rank test scale-free; x is unscaled at the end.
    std::vector<double> scale(static_cast<size_t>(cols));
    for (int j = 0; j < cols; ++j) {
        double s = 0.0;
        for (int i = 0; i < rows; ++i) s += a[i * cols + j] * a[i * cols + j];
        if (!(s > 0.0) || !std::isfinite(s)) return false;
        scale[j] = 1.0 / std::sqrt(s);
        for (int i = 0; i < rows; ++i) a[i * cols + j] *= scale[j];
    }
    constexpr double kRank = 1e-12;
    for (int k = 0; k < cols; ++k) {
        // Householder reflector v = x + sign(x0)|x|e0 zeroes column k below the diagonal.
        double norm = 0.0;
        for (int i = k; i < rows; ++i) norm += a[i * cols + k] * a[i * cols + k];
        norm = std::sqrt(norm);
        if (norm < kRank) return false;
        const double alpha = a[k * cols + k] > 0.0 ? -norm : norm;
        const double v0 = a[k * cols + k] - alpha;
        a[k * cols + k] = v0;
        // H = I − v vᵀ / (−alpha·v0), with vᵀv = −2·alpha·v0
        const double beta = -alpha * v0;
        for (int j = k + 1; j < cols; ++j) {
            double s = 0.0;
            for (int i = k; i < rows; ++i) s += a[i * cols + k] * a[i * cols + j];
            s /= beta;
            for (int i = k; i < rows; ++i) a[i * cols + j] -= s * a[i * cols + k];
        }
        double s = 0.0;
        for (int i = k; i < rows; ++i) s += a[i * cols + k] * b[i];
        s /= beta;
        for (int i = k; i < rows; ++i) b[i] -= s * a[i * cols + k];
        a[k * cols + k] = alpha;
    }
    // R x = Qᵀ b; R's diagonal is alpha, its strict upper part the updated columns.
    for (int i = cols - 1; i >= 0; --i) {
        double s = b[i];
        for (int j = i + 1; j < cols; ++j) s -= a[i * cols + j] * x[j];
        x[i] = s / a[i * cols + i];
    }
    for (int j = 0; j < cols; ++j) x[j] *= scale[j];
    return true;
}

}  // namespace qgdi::numerics
