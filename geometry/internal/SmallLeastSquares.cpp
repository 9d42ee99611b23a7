#include "geometry/internal/SmallLeastSquares.h"

#include <cmath>

namespace qgdi::geom {

bool SolveLeastSquaresQR(double* A, double* b, int rows, int cols, double* x, double relTol) noexcept {
    if (!A || !b || !x || cols <= 0 || rows < cols) return false;
    auto at = [&](int r, int c) -> double& { return A[r * cols + c]; };
    double rmax = 0.0;
    for (int k = 0; k < cols; ++k) {
        // Householder reflector zeroing column k below the diagonal: v = a + sign(a0)|a| e0.
        double norm = 0.0;
        for (int r = k; r < rows; ++r) norm += at(r, k) * at(r, k);
        norm = std::sqrt(norm);
        if (norm == 0.0) return false;
        const double alpha = at(k, k) > 0 ? -norm : norm;
        at(k, k) -= alpha;
        // |v|^2 = 2 |a| (|a| + |a0|) expressed through the modified first element.
        const double vnorm2 = -2.0 * alpha * at(k, k);
        if (vnorm2 != 0.0) {
            for (int c = k + 1; c < cols; ++c) {
                double dot = 0.0;
                for (int r = k; r < rows; ++r) dot += at(r, k) * at(r, c);
                const double f = 2.0 * dot / vnorm2;
                for (int r = k; r < rows; ++r) at(r, c) -= f * at(r, k);
            }
            double dot = 0.0;
            for (int r = k; r < rows; ++r) dot += at(r, k) * b[r];
            const double f = 2.0 * dot / vnorm2;
            for (int r = k; r < rows; ++r) b[r] -= f * at(r, k);
        }
        at(k, k) = alpha;
        rmax = std::fmax(rmax, std::fabs(alpha));
    }
    for (int k = 0; k < cols; ++k)
        if (!(std::fabs(at(k, k)) > relTol * rmax)) return false;
    // Back substitution through R.
    for (int k = cols - 1; k >= 0; --k) {
        double s = b[k];
        for (int c = k + 1; c < cols; ++c) s -= at(k, c) * x[c];
        x[k] = s / at(k, k);
    }
    return true;
}

}  // namespace qgdi::geom
