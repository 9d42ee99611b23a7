#pragma once
// Multiple linear regression: y ≈ Σ c_k·t_k(x) over samples of several
// independent variables, where the expansion terms t_k are monomials of the
// variables (the model stays linear in the coefficients however high the
// powers). Used to fit smooth response surfaces, for example a background
// shading or a tone curve over two coordinates, and to locate their extrema.
#include <vector>

#include "geometry/Polynomial.h"
#include "qgdi_export.h"

// What a stationary point of the fitted surface is.
enum EQExtremumKind : int {
    keExtremumNone = 0,  // no stationary point found
    keExtremumMinimum = 1,
    keExtremumMaximum = 2,
    keExtremumSaddle = 3,  // also where the curvature is degenerate
};

class QGDI_API CMultipleLinearRegression {
public:
    // The full polynomial of the given degree in nVariables variables: all
    // monomials of total degree 0..degree (degree 1 is the plane c0 + Σ c_i·x_i).
    explicit CMultipleLinearRegression(int nVariables, int degree = 1);
    // Expansion terms taken from the monomials of a polynomial (its
    // coefficients are ignored). A model without a constant term is allowed;
    // R² is then still measured about the mean of y.
    explicit CMultipleLinearRegression(const CPolynomial& terms);

    int GetVariableCount() const noexcept { return m_model.GetVariableCount(); }
    int GetTermCount() const noexcept { return m_model.GetTermCount(); }
    const CTerm& GetTerm(int k) const { return m_model.GetTerm(k); }

    // One observation; x holds GetVariableCount() values. Non-finite samples are rejected.
    bool AddSample(const double* x, double y);
    int GetSampleCount() const noexcept { return static_cast<int>(m_y.size()); }
    void Reset() noexcept;

    // Fits the coefficients by least squares (Householder QR of the design
    // matrix). False when there are fewer samples than terms or the terms are
    // linearly dependent over the samples (for example all samples on a line
    // for a plane fit). Queries call it on demand.
    bool Compute();
    bool IsComputed() const noexcept { return m_computed; }

    // Coefficients in term order; false (and nothing written) without a fit.
    bool GetCoefficients(double* coefficients);
    // The fitted model as a polynomial; the zero polynomial without a fit.
    CPolynomial GetPolynomial();
    // Model value at x; NaN without a fit.
    double Predict(const double* x);

    // 1 − SSE/SST. A constant y gives 1 when the fit is exact, else 0. NaN without a fit.
    double GetRSquared();
    // 1 − (1 − R²)(n − 1)/(n − p) with p fitted coefficients, NaN when n ≤ p.
    double GetAdjustedRSquared();
    // Σ (y − ŷ)² over the samples; NaN without a fit.
    double GetResidualSumOfSquares();

    // ∂ŷ/∂x_v at x; NaN without a fit.
    double GetPartialDerivative(const double* x, int v);
    // All partial derivatives at x; false without a fit.
    bool GetGradient(const double* x, double* gradient);

    // Newton iteration on the gradient from start, classifying the stationary
    // point it converges to by the curvature there. at receives the point and
    // value the model value; both are left alone when nothing is found (no fit,
    // a singular Hessian along the way, or no convergence in maxIterations).
    EQExtremumKind FindLocalExtremum(const double* start, double* at, double* value, int maxIterations = 100);

private:
    bool EnsureFit();

    CPolynomial m_model;      // terms, with the fitted coefficients once computed
    std::vector<double> m_x;  // samples, GetVariableCount() values each
    std::vector<double> m_y;
    bool m_computed = false;
    bool m_failed = false;  // the last fit over the current samples failed
    double m_sse = 0.0, m_sst = 0.0;
    std::vector<CPolynomial> m_gradient;  // ∂/∂x_v of the fitted model
    std::vector<CPolynomial> m_hessian;   // ∂²/∂x_i∂x_j, row-major
};
