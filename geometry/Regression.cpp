#include "geometry/Regression.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/internal/DenseSolve.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The distinct monomials of p, each with coefficient 1, in graded order.
CPolynomial MonomialsOf(const CPolynomial& p) {
    CPolynomial r(p.GetVariableCount());
    for (const CTerm& t : p.GetTerms()) r.AddTerm(CTerm(1.0, t.GetExponents()));
    r.CombineLikeTerms();
    for (int k = 0; k < r.GetTermCount(); ++k) r.GetTerm(k).SetCoefficient(1.0);
    return r;
}

}  // namespace

CMultipleLinearRegression::CMultipleLinearRegression(int nVariables, int degree)
    : m_model(CPolynomial::Generate(std::max(1, nVariables), std::max(0, degree))) {}

CMultipleLinearRegression::CMultipleLinearRegression(const CPolynomial& terms) : m_model(MonomialsOf(terms)) {}

bool CMultipleLinearRegression::AddSample(const double* x, double y) {
    if (!x || !std::isfinite(y)) return false;
    const int n = GetVariableCount();
    for (int v = 0; v < n; ++v)
        if (!std::isfinite(x[v])) return false;
    m_x.insert(m_x.end(), x, x + n);
    m_y.push_back(y);
    m_computed = m_failed = false;
    return true;
}

void CMultipleLinearRegression::Reset() noexcept {
    m_x.clear();
    m_y.clear();
    m_computed = m_failed = false;
}

bool CMultipleLinearRegression::Compute() {
    m_computed = false;
    m_failed = true;
    const int rows = GetSampleCount(), cols = GetTermCount(), n = GetVariableCount();
    if (rows < cols || cols == 0) return false;

    std::vector<double> a(static_cast<size_t>(rows) * cols), b(m_y), c(static_cast<size_t>(cols));
    for (int i = 0; i < rows; ++i) {
        const double* x = &m_x[static_cast<size_t>(i) * n];
        for (int k = 0; k < cols; ++k) a[static_cast<size_t>(i) * cols + k] = GetTerm(k).EvaluateMonomial(x);
    }
    if (!qgdi::numerics::SolveLeastSquaresQr(a.data(), b.data(), c.data(), rows, cols)) return false;
    for (int k = 0; k < cols; ++k) m_model.GetTerm(k).SetCoefficient(c[static_cast<size_t>(k)]);

    double mean = 0.0;
    for (double y : m_y) mean += y;
    mean /= rows;
    m_sse = m_sst = 0.0;
    for (int i = 0; i < rows; ++i) {
        const double r = m_y[static_cast<size_t>(i)] - m_model.Evaluate(&m_x[static_cast<size_t>(i) * n]);
        const double d = m_y[static_cast<size_t>(i)] - mean;
        m_sse += r * r;
        m_sst += d * d;
    }

    m_gradient.clear();
    m_hessian.clear();
    for (int v = 0; v < n; ++v) m_gradient.push_back(m_model.Derivative(v));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) m_hessian.push_back(m_gradient[static_cast<size_t>(i)].Derivative(j));
    m_computed = true;
    m_failed = false;
    return true;
}

bool CMultipleLinearRegression::EnsureFit() {
    if (!m_computed && !m_failed) Compute();
    return m_computed;
}

bool CMultipleLinearRegression::GetCoefficients(double* coefficients) {
    if (!coefficients || !EnsureFit()) return false;
    for (int k = 0; k < GetTermCount(); ++k) coefficients[k] = GetTerm(k).GetCoefficient();
    return true;
}

CPolynomial CMultipleLinearRegression::GetPolynomial() {
    if (!EnsureFit()) return CPolynomial(GetVariableCount());
    CPolynomial p = m_model;
    return p.CombineLikeTerms();
}

double CMultipleLinearRegression::Predict(const double* x) { return x && EnsureFit() ? m_model.Evaluate(x) : kNaN; }

double CMultipleLinearRegression::GetRSquared() {
    if (!EnsureFit()) return kNaN;
    // A constant response is explained perfectly or not at all.
    constexpr double kTiny = 1e-300;
    if (m_sst <= kTiny) return m_sse <= kTiny ? 1.0 : 0.0;
    return 1.0 - m_sse / m_sst;
}

double CMultipleLinearRegression::GetAdjustedRSquared() {
    const int n = GetSampleCount(), p = GetTermCount();
    if (n <= p) return kNaN;
    const double r2 = GetRSquared();
    return 1.0 - (1.0 - r2) * (n - 1) / (n - p);
}

double CMultipleLinearRegression::GetResidualSumOfSquares() { return EnsureFit() ? m_sse : kNaN; }

double CMultipleLinearRegression::GetPartialDerivative(const double* x, int v) {
    if (!x || v < 0 || v >= GetVariableCount() || !EnsureFit()) return kNaN;
    return m_gradient[static_cast<size_t>(v)].Evaluate(x);
}

bool CMultipleLinearRegression::GetGradient(const double* x, double* gradient) {
    if (!x || !gradient || !EnsureFit()) return false;
    for (int v = 0; v < GetVariableCount(); ++v) gradient[v] = m_gradient[static_cast<size_t>(v)].Evaluate(x);
    return true;
}

EQExtremumKind CMultipleLinearRegression::FindLocalExtremum(const double* start, double* at, double* value,
                                                            int maxIterations) {
    if (!start || !EnsureFit()) return keExtremumNone;
    const int n = GetVariableCount();
    const size_t nn = static_cast<size_t>(n);
    std::vector<double> x(start, start + n), g(nn), h(nn * nn), step(nn);
    for (int it = 0; it < maxIterations; ++it) {
        for (size_t i = 0; i < nn; ++i) g[i] = -m_gradient[i].Evaluate(x.data());
        for (size_t i = 0; i < nn * nn; ++i) h[i] = m_hessian[i].Evaluate(x.data());
        // Newton step: H·Δ = −∇ŷ
        if (!qgdi::numerics::SolveLeastSquaresQr(h.data(), g.data(), step.data(), n, n)) return keExtremumNone;
        double stepNorm = 0.0, xNorm = 0.0;
        for (size_t i = 0; i < nn; ++i) {
            x[i] += step[i];
            stepNorm = std::max(stepNorm, std::fabs(step[i]));
            xNorm = std::max(xNorm, std::fabs(x[i]));
        }
        if (!std::isfinite(stepNorm)) return keExtremumNone;
        if (stepNorm > 1e-12 * (1.0 + xNorm)) continue;

        for (size_t i = 0; i < nn * nn; ++i) h[i] = m_hessian[i].Evaluate(x.data());
        EQExtremumKind kind = keExtremumSaddle;
        if (qgdi::numerics::IsPositiveDefinite(h.data(), n)) {
            kind = keExtremumMinimum;
        } else {
            for (double& e : h) e = -e;
            if (qgdi::numerics::IsPositiveDefinite(h.data(), n)) kind = keExtremumMaximum;
        }
        if (at) std::copy(x.begin(), x.end(), at);
        if (value) *value = m_model.Evaluate(x.data());
        return kind;
    }
    return keExtremumNone;
}
