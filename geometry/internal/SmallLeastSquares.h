#pragma once
// Dense least squares for the small systems of matrix construction (at most a
// few columns, any number of rows), by Householder QR so that square systems
// are solved without squaring their condition number.
namespace qgdi::geom {

// Minimises |A x - b| for A of rows x cols (row-major, rows >= cols), both A
// and b overwritten. False when A is numerically rank deficient: a diagonal
// element of R below relTol times the largest one.
bool SolveLeastSquaresQR(double* A, double* b, int rows, int cols, double* x, double relTol = 1e-10) noexcept;

}  // namespace qgdi::geom
