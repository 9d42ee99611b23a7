#pragma once
// Small dense solvers for the fitting classes. Matrices are row-major and are
// overwritten; sizes are the handful of terms of a fit, so nothing here is
// blocked or parallel.
#include <cstddef>

namespace qgdi::numerics {

// Solves A·x = b for a symmetric positive definite n x n matrix by Cholesky
// factorisation after scaling A to a unit diagonal (the moment matrices of
// monomials span many orders of magnitude, and the scaling removes most of
// that). A and b are destroyed; x receives the solution. False when A is not
// numerically positive definite.
bool SolveSpd(double* a, double* b, double* x, int n) noexcept;

// True when the symmetric n x n matrix is positive definite (a Cholesky
// factorisation succeeds with pivots above a relative threshold).
bool IsPositiveDefinite(const double* a, int n) noexcept;

// Least-squares solution of the rows x cols system A·x ≈ b (rows ≥ cols) by
// Householder QR on unit-norm columns. A and b are destroyed. False when the
// columns are numerically dependent.
bool SolveLeastSquaresQr(double* a, double* b, double* x, int rows, int cols) noexcept;

}  // namespace qgdi::numerics
