#pragma once
// Least-squares fit of a polynomial y ≈ c0 + c1·x + … + cp·x^p to samples that
// arrive one at a time. Only the power and moment sums are kept, so a fit over
// millions of pixels costs no memory beyond the 3p + 3 sums.
#include <vector>

#include "qgdi_export.h"

class QGDI_API CLeastSquares {
public:
    // Degrees below 1 become 1 (a straight line).
    explicit CLeastSquares(int degree = 1);

    int GetDegree() const noexcept { return m_degree; }
    void AddNewPoint(double x, double y) noexcept;
    // S0 rounded to the nearest integer.
    int GetSampleCount() const noexcept;
    void Reset() noexcept;

    // Writes the degree + 1 coefficients, constant first. False (nothing
    // written) while there are no more samples than the degree or when the
    // samples do not determine the polynomial (too few distinct x).
    bool GetCoefficients(double* coefficients);
    bool HasFit();
    // The fitted polynomial at x, NaN without a fit.
    double PredictY(double x);
    // Root-mean-square residual of the fit over the samples, NaN without a fit.
    double GetError();

private:
    void ComputeCoefficients();
    void ComputeError();

    int m_degree;
    std::vector<double> m_powerSums;   // S_k = Σ x^k, k = 0..2p
    std::vector<double> m_momentSums;  // T_k = Σ y·x^k, k = 0..p
    double m_sumY2 = 0.0;
    std::vector<double> m_coefficients;
    double m_error = 0.0;
    bool m_coefficientsDone = false;  // computed (or attempted) since the last sample
    bool m_haveFit = false;
    bool m_errorDone = false;
};
