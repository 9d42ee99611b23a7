#pragma once
// Dense matrices of doubles of any size, row-major, with the decompositions the
// colour, fitting and clustering code needs: inverse, pseudo-inverse, singular
// values, symmetric eigenvalues and covariance.
//
// Errors. This is the one class of the library that reports failure by
// exception: a value type built with operators has no result to return.
//  - std::invalid_argument: a shape error. Constructing with a negative size,
//    with a list of the wrong length or from a null array; resize to a negative
//    size; +, -, +=, -= of different shapes; * with unequal inner dimensions;
//    trace, determinant, invert, inverse and evd of a non-square matrix; solve
//    with a non-square matrix or a right-hand side of another height;
//    leastSquares with a right-hand side of another height.
//  - CGenMatrix::SingularMatrix (a std::runtime_error): invert, inverse and
//    solve when a pivot vanishes. determinant reports a singular matrix as 0 and
//    pseudoInverse, leastSquares and rank accept any matrix instead.
//  - std::out_of_range: at() outside the matrix. operator() does not check.
//  - std::bad_alloc from any call that makes or grows a matrix.
// Everything else (svd, covariance, columnMeans, transpose, the norms) throws
// only std::bad_alloc. No exception crosses a library function that returns a
// result or a bool: such a function catches at its boundary, through
// qgdi::result::FromExceptions (out of memory becomes 102, anything else 101) or
// by returning false.
#include <initializer_list>
#include <stdexcept>
#include <vector>

#include "qgdi_export.h"

class QGDI_API CGenMatrix {
public:
    class QGDI_API SingularMatrix : public std::runtime_error {
    public:
        SingularMatrix() : std::runtime_error("singular matrix") {}
    };

    CGenMatrix() noexcept = default;
    CGenMatrix(int rows, int cols, double fill = 0.0);
    // Row by row; the list must hold rows x cols values.
    CGenMatrix(int rows, int cols, std::initializer_list<double> values);
    CGenMatrix(int rows, int cols, const double* values);
    static CGenMatrix identity(int n);
    static CGenMatrix diagonal(const std::vector<double>& d);

    int rows() const noexcept { return m_rows; }
    int cols() const noexcept { return m_cols; }
    bool empty() const noexcept { return m_rows == 0 || m_cols == 0; }
    bool isSquare() const noexcept { return m_rows == m_cols; }
    double& operator()(int r, int c) noexcept { return m_data[size_t(r) * m_cols + c]; }
    double operator()(int r, int c) const noexcept { return m_data[size_t(r) * m_cols + c]; }
    // Bounds-checked access: throws std::out_of_range.
    double& at(int r, int c);
    double at(int r, int c) const;
    double* data() noexcept { return m_data.data(); }
    const double* data() const noexcept { return m_data.data(); }
    void resize(int rows, int cols, double fill = 0.0);

    CGenMatrix transpose() const;
    CGenMatrix operator+(const CGenMatrix& o) const;
    CGenMatrix operator-(const CGenMatrix& o) const;
    CGenMatrix operator*(const CGenMatrix& o) const;
    CGenMatrix operator*(double k) const;
    CGenMatrix& operator+=(const CGenMatrix& o);
    CGenMatrix& operator-=(const CGenMatrix& o);
    CGenMatrix& operator*=(double k) noexcept;
    // Element-wise exact equality of shape and values.
    bool operator==(const CGenMatrix& o) const noexcept;
    bool operator!=(const CGenMatrix& o) const noexcept { return !(*this == o); }

    double normFrobenius() const noexcept;
    double maxAbs() const noexcept;
    double trace() const;
    // By LU with partial pivoting; 0 for a numerically singular matrix.
    double determinant() const;

    // In place; throws SingularMatrix when a pivot vanishes relative to the
    // matrix's largest element, leaving this unchanged.
    CGenMatrix& invert();
    CGenMatrix inverse() const;
    // The Moore-Penrose pseudo-inverse by singular values; those not above
    // `tolerance` count as zero (a negative tolerance means max(rows, cols) x
    // machine epsilon x the largest singular value).
    CGenMatrix& pseudoInvert(double tolerance = -1.0);
    CGenMatrix pseudoInverse(double tolerance = -1.0) const;
    // Solves this x = b for square this (throws SingularMatrix).
    CGenMatrix solve(const CGenMatrix& b) const;
    // The minimum-norm least-squares solution of this x = b for any shape.
    CGenMatrix leastSquares(const CGenMatrix& b) const;
    int rank(double tolerance = -1.0) const;

    // Thin singular value decomposition this = U diag(S) V^T with k = min(rows, cols):
    // U is rows x k, V is cols x k, both with orthonormal columns, and S holds k
    // non-negative values in decreasing order.
    void svd(CGenMatrix& U, std::vector<double>& S, CGenMatrix& V) const;
    // Eigenvalues (decreasing) and orthonormal eigenvectors (the columns of
    // `vectors`) of a symmetric matrix: this = vectors diag(values) vectors^T.
    // Only the mean of this and its transpose is used.
    void evd(std::vector<double>& values, CGenMatrix& vectors) const;
    // Rows are observations, columns variables: the cols x cols sample covariance
    // (divided by rows - 1; all zero for fewer than two rows).
    CGenMatrix covariance() const;
    // The mean of each column as a 1 x cols matrix.
    CGenMatrix columnMeans() const;

private:
    void requireSameShape(const CGenMatrix& o) const;

    int m_rows = 0;
    int m_cols = 0;
    std::vector<double> m_data;
};
