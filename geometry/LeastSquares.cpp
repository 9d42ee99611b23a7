#include "geometry/LeastSquares.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/internal/DenseSolve.h"

CLeastSquares::CLeastSquares(int degree)
    : m_degree(std::max(1, degree)),
      m_powerSums(static_cast<size_t>(2 * m_degree + 1), 0.0),
      m_momentSums(static_cast<size_t>(m_degree + 1), 0.0),
      m_coefficients(static_cast<size_t>(m_degree + 1), 0.0) {}

void CLeastSquares::AddNewPoint(double x, double y) noexcept {
    m_sumY2 += y * y;
    double xk = 1.0;
    for (int k = 0; k <= 2 * m_degree; ++k) {
        m_powerSums[static_cast<size_t>(k)] += xk;
        if (k <= m_degree) m_momentSums[static_cast<size_t>(k)] += y * xk;
        xk *= x;
    }
    m_coefficientsDone = m_errorDone = false;
}

int CLeastSquares::GetSampleCount() const noexcept { return static_cast<int>(std::lround(m_powerSums[0])); }

void CLeastSquares::Reset() noexcept {
    std::fill(m_powerSums.begin(), m_powerSums.end(), 0.0);
    std::fill(m_momentSums.begin(), m_momentSums.end(), 0.0);
    m_sumY2 = 0.0;
    m_coefficientsDone = m_errorDone = m_haveFit = false;
}

void CLeastSquares::ComputeCoefficients() {
    if (m_coefficientsDone) return;
    m_coefficientsDone = true;
    m_haveFit = false;
    if (GetSampleCount() <= m_degree) return;
    // Normal equations M·c = T with the Hankel moment matrix M_ij = S_(i+j).
    const int n = m_degree + 1;
    std::vector<double> m(static_cast<size_t>(n * n)), t(m_momentSums), c(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) m[static_cast<size_t>(i * n + j)] = m_powerSums[static_cast<size_t>(i + j)];
    if (!qgdi::numerics::SolveSpd(m.data(), t.data(), c.data(), n)) return;
    m_coefficients = c;
    m_haveFit = true;
}

bool CLeastSquares::HasFit() {
    ComputeCoefficients();
    return m_haveFit;
}

bool CLeastSquares::GetCoefficients(double* coefficients) {
    if (!coefficients || !HasFit()) return false;
    std::copy(m_coefficients.begin(), m_coefficients.end(), coefficients);
    return true;
}

double CLeastSquares::PredictY(double x) {
    if (!HasFit()) return std::numeric_limits<double>::quiet_NaN();
    // Horner
    double y = 0.0;
    for (int k = m_degree; k >= 0; --k) y = y * x + m_coefficients[static_cast<size_t>(k)];
    return y;
}

void CLeastSquares::ComputeError() {
    if (m_errorDone) return;
    m_errorDone = true;
    if (!HasFit()) return;
    // SSE = Σy² − 2·c·T + cᵀ·M·c, from the sums alone.
    const int n = m_degree + 1;
    double sse = m_sumY2;
    for (int i = 0; i < n; ++i) {
        const double ci = m_coefficients[static_cast<size_t>(i)];
        sse -= 2.0 * ci * m_momentSums[static_cast<size_t>(i)];
        for (int j = 0; j < n; ++j)
            sse += ci * m_coefficients[static_cast<size_t>(j)] * m_powerSums[static_cast<size_t>(i + j)];
    }
    m_error = std::sqrt(std::max(0.0, sse) / m_powerSums[0]);
}

double CLeastSquares::GetError() {
    ComputeError();
    return m_haveFit ? m_error : std::numeric_limits<double>::quiet_NaN();
}
