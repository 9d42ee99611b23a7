#include "geometry/GenMatrix.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>
#include <utility>

namespace {

constexpr double kEps = DBL_EPSILON;

// LU factorisation with partial pivoting in place (L below the diagonal with unit
// diagonal, U on and above). False when a pivot is not above n x eps x the
// largest element of the original matrix, i.e. the matrix is singular to
// working precision.
bool FactorLU(std::vector<double>& a, int n, std::vector<int>& perm, int& sign) {
    perm.resize(n);
    std::iota(perm.begin(), perm.end(), 0);
    sign = 1;
    double amax = 0.0;
    for (double v : a) amax = std::max(amax, std::fabs(v));
    const double tiny = n * kEps * amax;
    if (!(amax > 0.0)) return false;
    for (int k = 0; k < n; ++k) {
        int p = k;
        for (int r = k + 1; r < n; ++r)
            if (std::fabs(a[size_t(r) * n + k]) > std::fabs(a[size_t(p) * n + k])) p = r;
        if (!(std::fabs(a[size_t(p) * n + k]) > tiny)) return false;
        if (p != k) {
            std::swap_ranges(a.begin() + size_t(p) * n, a.begin() + size_t(p + 1) * n, a.begin() + size_t(k) * n);
            std::swap(perm[p], perm[k]);
            sign = -sign;
        }
        const double inv = 1.0 / a[size_t(k) * n + k];
        for (int r = k + 1; r < n; ++r) {
            double& l = a[size_t(r) * n + k];
            l *= inv;
            if (l == 0.0) continue;
            for (int c = k + 1; c < n; ++c) a[size_t(r) * n + c] -= l * a[size_t(k) * n + c];
        }
    }
    return true;
}

// Solves LU x = P b for each column of b (n x m, row-major) in place.
void SolveLU(const std::vector<double>& lu, int n, const std::vector<int>& perm, std::vector<double>& b, int m) {
    std::vector<double> x(size_t(n) * m);
    for (int r = 0; r < n; ++r) std::copy_n(b.begin() + size_t(perm[r]) * m, m, x.begin() + size_t(r) * m);
    for (int r = 0; r < n; ++r)
        for (int k = 0; k < r; ++k) {
            const double l = lu[size_t(r) * n + k];
            if (l != 0.0)
                for (int c = 0; c < m; ++c) x[size_t(r) * m + c] -= l * x[size_t(k) * m + c];
        }
    for (int r = n - 1; r >= 0; --r) {
        for (int k = r + 1; k < n; ++k) {
            const double u = lu[size_t(r) * n + k];
            if (u != 0.0)
                for (int c = 0; c < m; ++c) x[size_t(r) * m + c] -= u * x[size_t(k) * m + c];
        }
        const double inv = 1.0 / lu[size_t(r) * n + r];
        for (int c = 0; c < m; ++c) x[size_t(r) * m + c] *= inv;
    }
    b.swap(x);
}

// Four partial sums break the chain of dependent additions.
double Dot(const double* a, const double* b, int n) {
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        s0 += a[i] * b[i];
        s1 += a[i + 1] * b[i + 1];
        s2 += a[i + 2] * b[i + 2];
        s3 += a[i + 3] * b[i + 3];
    }
    for (; i < n; ++i) s0 += a[i] * b[i];
    return (s0 + s1) + (s2 + s3);
}

// Makes column vector `v` (length n) orthogonal to the first `count` vectors of
// `basis` (each length n, stored one after another) and of unit length; two
// passes of Gram-Schmidt keep it orthogonal to working precision.
bool Orthonormalise(double* v, const std::vector<double>& basis, int count, int n) {
    for (int pass = 0; pass < 2; ++pass)
        for (int j = 0; j < count; ++j) {
            const double* b = basis.data() + size_t(j) * n;
            const double d = Dot(v, b, n);
            for (int i = 0; i < n; ++i) v[i] -= d * b[i];
        }
    const double len = std::sqrt(Dot(v, v, n));
    if (!(len > 1e-8)) return false;
    for (int i = 0; i < n; ++i) v[i] /= len;
    return true;
}

// One-sided Jacobi SVD of a (m x n, m >= n) given as n columns of length m.
// On return `cols` holds U's columns (unit length, orthonormal), `v` holds V's
// columns (n of length n) and `s` the singular values, sorted decreasing.
void JacobiSVD(std::vector<double>& cols, int m, int n, std::vector<double>& s, std::vector<double>& v) {
    v.assign(size_t(n) * n, 0.0);
    for (int i = 0; i < n; ++i) v[size_t(i) * n + i] = 1.0;
    std::vector<double> norm2(n);
    for (int sweep = 0; sweep < 80; ++sweep) {
        // Squared column norms, refreshed each sweep and updated in closed form
        // after every rotation; that saves two of the three dot products per pair.
        for (int j = 0; j < n; ++j) norm2[j] = Dot(cols.data() + size_t(j) * m, cols.data() + size_t(j) * m, m);
        bool rotated = false;
        for (int p = 0; p < n - 1; ++p) {
            for (int q = p + 1; q < n; ++q) {
                double* up = cols.data() + size_t(p) * m;
                double* uq = cols.data() + size_t(q) * m;
                const double alpha = norm2[p], beta = norm2[q], gamma = Dot(up, uq, m);
                // Columns already orthogonal to working precision need no rotation.
                if (gamma == 0.0 || std::fabs(gamma) <= kEps * std::sqrt(alpha * beta)) continue;
                rotated = true;
                // The rotation that makes columns p and q orthogonal:
                // zeta = (beta - alpha) / (2 gamma), t = sign(zeta) / (|zeta| + sqrt(1 + zeta^2)).
                const double zeta = (beta - alpha) / (2.0 * gamma);
                const double t = (zeta >= 0 ? 1.0 : -1.0) / (std::fabs(zeta) + std::sqrt(1.0 + zeta * zeta));
                const double c = 1.0 / std::sqrt(1.0 + t * t), sn = c * t;
                for (int i = 0; i < m; ++i) {
                    const double a = up[i], b = uq[i];
                    up[i] = c * a - sn * b;
                    uq[i] = sn * a + c * b;
                }
                // |u_p'|^2 = alpha - t gamma, |u_q'|^2 = beta + t gamma.
                norm2[p] = alpha - t * gamma;
                norm2[q] = beta + t * gamma;
                double* vp = v.data() + size_t(p) * n;
                double* vq = v.data() + size_t(q) * n;
                for (int i = 0; i < n; ++i) {
                    const double a = vp[i], b = vq[i];
                    vp[i] = c * a - sn * b;
                    vq[i] = sn * a + c * b;
                }
            }
        }
        if (!rotated) break;
    }
    s.resize(n);
    for (int j = 0; j < n; ++j) s[j] = std::sqrt(Dot(cols.data() + size_t(j) * m, cols.data() + size_t(j) * m, m));
    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return s[a] > s[b]; });
    std::vector<double> u2(size_t(n) * m), v2(size_t(n) * n), s2(n);
    for (int j = 0; j < n; ++j) {
        s2[j] = s[order[j]];
        std::copy_n(cols.begin() + size_t(order[j]) * m, m, u2.begin() + size_t(j) * m);
        std::copy_n(v.begin() + size_t(order[j]) * n, n, v2.begin() + size_t(j) * n);
    }
    // Columns of non-zero singular values are normalised; the others carry no
    // information and are replaced by unit vectors orthogonal to those before.
    const double tiny = std::max(m, n) * kEps * (n > 0 ? s2[0] : 0.0);
    int e = 0;
    for (int j = 0; j < n; ++j) {
        double* u = u2.data() + size_t(j) * m;
        if (s2[j] > tiny && s2[j] > 0.0) {
            for (int i = 0; i < m; ++i) u[i] /= s2[j];
            Orthonormalise(u, u2, j, m);
            continue;
        }
        s2[j] = std::max(s2[j], 0.0);
        for (;; ++e) {
            std::fill(u, u + m, 0.0);
            u[e % m] = 1.0;
            if (Orthonormalise(u, u2, j, m) || e >= 2 * m) break;
        }
        ++e;
    }
    cols.swap(u2);
    v.swap(v2);
    s.swap(s2);
}

}  // namespace

CGenMatrix::CGenMatrix(int rows, int cols, double fill) { resize(rows, cols, fill); }

CGenMatrix::CGenMatrix(int rows, int cols, std::initializer_list<double> values) {
    resize(rows, cols);
    if (values.size() != m_data.size()) throw std::invalid_argument("CGenMatrix: wrong number of values");
    std::copy(values.begin(), values.end(), m_data.begin());
}

CGenMatrix::CGenMatrix(int rows, int cols, const double* values) {
    resize(rows, cols);
    if (!values && !m_data.empty()) throw std::invalid_argument("CGenMatrix: null values");
    if (values) std::copy_n(values, m_data.size(), m_data.begin());
}

CGenMatrix CGenMatrix::identity(int n) {
    CGenMatrix r(n, n);
    for (int i = 0; i < n; ++i) r(i, i) = 1.0;
    return r;
}

CGenMatrix CGenMatrix::diagonal(const std::vector<double>& d) {
    const int n = int(d.size());
    CGenMatrix r(n, n);
    for (int i = 0; i < n; ++i) r(i, i) = d[i];
    return r;
}

double& CGenMatrix::at(int r, int c) {
    if (r < 0 || r >= m_rows || c < 0 || c >= m_cols) throw std::out_of_range("CGenMatrix: index out of range");
    return (*this)(r, c);
}

double CGenMatrix::at(int r, int c) const {
    if (r < 0 || r >= m_rows || c < 0 || c >= m_cols) throw std::out_of_range("CGenMatrix: index out of range");
    return (*this)(r, c);
}

void CGenMatrix::resize(int rows, int cols, double fill) {
    if (rows < 0 || cols < 0) throw std::invalid_argument("CGenMatrix: negative size");
    m_rows = rows;
    m_cols = cols;
    m_data.assign(size_t(rows) * cols, fill);
}

void CGenMatrix::requireSameShape(const CGenMatrix& o) const {
    if (m_rows != o.m_rows || m_cols != o.m_cols) throw std::invalid_argument("CGenMatrix: shapes differ");
}

CGenMatrix CGenMatrix::transpose() const {
    CGenMatrix t(m_cols, m_rows);
    for (int r = 0; r < m_rows; ++r)
        for (int c = 0; c < m_cols; ++c) t(c, r) = (*this)(r, c);
    return t;
}

CGenMatrix CGenMatrix::operator+(const CGenMatrix& o) const {
    CGenMatrix r(*this);
    r += o;
    return r;
}
CGenMatrix CGenMatrix::operator-(const CGenMatrix& o) const {
    CGenMatrix r(*this);
    r -= o;
    return r;
}
CGenMatrix CGenMatrix::operator*(double k) const {
    CGenMatrix r(*this);
    r *= k;
    return r;
}

CGenMatrix& CGenMatrix::operator+=(const CGenMatrix& o) {
    requireSameShape(o);
    for (size_t i = 0; i < m_data.size(); ++i) m_data[i] += o.m_data[i];
    return *this;
}

CGenMatrix& CGenMatrix::operator-=(const CGenMatrix& o) {
    requireSameShape(o);
    for (size_t i = 0; i < m_data.size(); ++i) m_data[i] -= o.m_data[i];
    return *this;
}

CGenMatrix& CGenMatrix::operator*=(double k) noexcept {
    for (double& v : m_data) v *= k;
    return *this;
}

CGenMatrix CGenMatrix::operator*(const CGenMatrix& o) const {
    if (m_cols != o.m_rows) throw std::invalid_argument("CGenMatrix: inner dimensions differ");
    CGenMatrix r(m_rows, o.m_cols);
    // i-k-j order walks both operands along rows.
    for (int i = 0; i < m_rows; ++i) {
        double* out = r.m_data.data() + size_t(i) * o.m_cols;
        for (int k = 0; k < m_cols; ++k) {
            const double a = (*this)(i, k);
            if (a == 0.0) continue;
            const double* b = o.m_data.data() + size_t(k) * o.m_cols;
            for (int j = 0; j < o.m_cols; ++j) out[j] += a * b[j];
        }
    }
    return r;
}

bool CGenMatrix::operator==(const CGenMatrix& o) const noexcept {
    return m_rows == o.m_rows && m_cols == o.m_cols && m_data == o.m_data;
}

double CGenMatrix::normFrobenius() const noexcept {
    double s = 0.0;
    for (double v : m_data) s += v * v;
    return std::sqrt(s);
}

double CGenMatrix::maxAbs() const noexcept {
    double s = 0.0;
    for (double v : m_data) s = std::max(s, std::fabs(v));
    return s;
}

double CGenMatrix::trace() const {
    if (!isSquare()) throw std::invalid_argument("CGenMatrix: trace of a non-square matrix");
    double s = 0.0;
    for (int i = 0; i < m_rows; ++i) s += (*this)(i, i);
    return s;
}

double CGenMatrix::determinant() const {
    if (!isSquare()) throw std::invalid_argument("CGenMatrix: determinant of a non-square matrix");
    if (m_rows == 0) return 1.0;
    std::vector<double> lu = m_data;
    std::vector<int> perm;
    int sign;
    if (!FactorLU(lu, m_rows, perm, sign)) return 0.0;
    double d = sign;
    for (int i = 0; i < m_rows; ++i) d *= lu[size_t(i) * m_rows + i];
    return d;
}

CGenMatrix& CGenMatrix::invert() {
    if (!isSquare()) throw std::invalid_argument("CGenMatrix: inverse of a non-square matrix");
    const int n = m_rows;
    std::vector<double> lu = m_data;
    std::vector<int> perm;
    int sign;
    if (n > 0 && !FactorLU(lu, n, perm, sign)) throw SingularMatrix();
    std::vector<double> x(size_t(n) * n, 0.0);
    for (int i = 0; i < n; ++i) x[size_t(i) * n + i] = 1.0;
    if (n > 0) SolveLU(lu, n, perm, x, n);
    m_data.swap(x);
    return *this;
}

CGenMatrix CGenMatrix::inverse() const {
    CGenMatrix r(*this);
    r.invert();
    return r;
}

CGenMatrix CGenMatrix::solve(const CGenMatrix& b) const {
    if (!isSquare() || b.m_rows != m_rows) throw std::invalid_argument("CGenMatrix: solve needs a square matrix");
    std::vector<double> lu = m_data;
    std::vector<int> perm;
    int sign;
    if (m_rows > 0 && !FactorLU(lu, m_rows, perm, sign)) throw SingularMatrix();
    CGenMatrix x(b);
    if (m_rows > 0) SolveLU(lu, m_rows, perm, x.m_data, b.m_cols);
    return x;
}

void CGenMatrix::svd(CGenMatrix& U, std::vector<double>& S, CGenMatrix& V) const {
    // Jacobi works on the taller orientation; a wide matrix is decomposed through
    // its transpose with the roles of U and V exchanged.
    const bool wide = m_cols > m_rows;
    const int m = wide ? m_cols : m_rows, n = wide ? m_rows : m_cols;
    std::vector<double> cols(size_t(m) * n);
    // Column j of the tall matrix, stored contiguously.
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) cols[size_t(j) * m + i] = wide ? (*this)(j, i) : (*this)(i, j);
    std::vector<double> v;
    JacobiSVD(cols, m, n, S, v);
    CGenMatrix left(m, n), right(n, n);
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < m; ++i) left(i, j) = cols[size_t(j) * m + i];
        for (int i = 0; i < n; ++i) right(i, j) = v[size_t(j) * n + i];
    }
    if (wide) {
        U = std::move(right);
        V = std::move(left);
    } else {
        U = std::move(left);
        V = std::move(right);
    }
}

void CGenMatrix::evd(std::vector<double>& values, CGenMatrix& vectors) const {
    if (!isSquare()) throw std::invalid_argument("CGenMatrix: eigenvalues of a non-square matrix");
    const int n = m_rows;
    std::vector<double> a(size_t(n) * n);
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) a[size_t(r) * n + c] = 0.5 * ((*this)(r, c) + (*this)(c, r));
    CGenMatrix v = identity(n);
    auto A = [&](int r, int c) -> double& { return a[size_t(r) * n + c]; };
    // Cyclic Jacobi: each rotation zeroes one off-diagonal pair, and the
    // off-diagonal mass falls quadratically once it is small.
    for (int sweep = 0; sweep < 100; ++sweep) {
        double off = 0.0;
        for (int p = 0; p < n; ++p)
            for (int q = p + 1; q < n; ++q) off += A(p, q) * A(p, q);
        if (!(off > 0.0)) break;
        for (int p = 0; p < n - 1; ++p) {
            for (int q = p + 1; q < n; ++q) {
                const double apq = A(p, q);
                if (apq == 0.0) continue;
                // An element that no longer changes either diagonal entry it
                // couples is dropped, which is what ends the iteration.
                const double g = 100.0 * std::fabs(apq);
                if (sweep > 3 && std::fabs(A(p, p)) + g == std::fabs(A(p, p)) &&
                    std::fabs(A(q, q)) + g == std::fabs(A(q, q))) {
                    A(p, q) = A(q, p) = 0.0;
                    continue;
                }
                // theta = (a_qq - a_pp) / (2 a_pq); t = sign(theta) / (|theta| + sqrt(theta^2 + 1)).
                const double theta = (A(q, q) - A(p, p)) / (2.0 * apq);
                const double t = (theta >= 0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                const double c = 1.0 / std::sqrt(t * t + 1.0), s = t * c;
                for (int k = 0; k < n; ++k) {
                    const double kp = A(k, p), kq = A(k, q);
                    A(k, p) = c * kp - s * kq;
                    A(k, q) = s * kp + c * kq;
                }
                for (int k = 0; k < n; ++k) {
                    const double pk = A(p, k), qk = A(q, k);
                    A(p, k) = c * pk - s * qk;
                    A(q, k) = s * pk + c * qk;
                }
                A(p, q) = A(q, p) = 0.0;
                for (int k = 0; k < n; ++k) {
                    const double kp = v(k, p), kq = v(k, q);
                    v(k, p) = c * kp - s * kq;
                    v(k, q) = s * kp + c * kq;
                }
            }
        }
    }
    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int x, int y) { return A(x, x) > A(y, y); });
    values.resize(n);
    vectors.resize(n, n);
    for (int j = 0; j < n; ++j) {
        values[j] = A(order[j], order[j]);
        for (int i = 0; i < n; ++i) vectors(i, j) = v(i, order[j]);
    }
}

CGenMatrix& CGenMatrix::pseudoInvert(double tolerance) {
    *this = pseudoInverse(tolerance);
    return *this;
}

CGenMatrix CGenMatrix::pseudoInverse(double tolerance) const {
    if (empty()) return CGenMatrix(m_cols, m_rows);
    CGenMatrix U, V;
    std::vector<double> S;
    svd(U, S, V);
    if (tolerance < 0.0) tolerance = std::max(m_rows, m_cols) * kEps * S[0];
    // A+ = V diag(1/s) U^T over the singular values above the tolerance.
    CGenMatrix r(m_cols, m_rows);
    for (size_t k = 0; k < S.size(); ++k) {
        if (!(S[k] > tolerance)) break;
        const double inv = 1.0 / S[k];
        for (int i = 0; i < m_cols; ++i) {
            const double vi = V(i, int(k)) * inv;
            if (vi == 0.0) continue;
            for (int j = 0; j < m_rows; ++j) r(i, j) += vi * U(j, int(k));
        }
    }
    return r;
}

CGenMatrix CGenMatrix::leastSquares(const CGenMatrix& b) const {
    if (b.m_rows != m_rows) throw std::invalid_argument("CGenMatrix: right-hand side has the wrong height");
    return pseudoInverse() * b;
}

int CGenMatrix::rank(double tolerance) const {
    if (empty()) return 0;
    CGenMatrix U, V;
    std::vector<double> S;
    svd(U, S, V);
    if (tolerance < 0.0) tolerance = std::max(m_rows, m_cols) * kEps * S[0];
    return int(std::count_if(S.begin(), S.end(), [&](double s) { return s > tolerance; }));
}

CGenMatrix CGenMatrix::columnMeans() const {
    CGenMatrix mean(1, m_cols);
    if (m_rows == 0) return mean;
    for (int r = 0; r < m_rows; ++r)
        for (int c = 0; c < m_cols; ++c) mean(0, c) += (*this)(r, c);
    mean *= 1.0 / m_rows;
    return mean;
}

CGenMatrix CGenMatrix::covariance() const {
    CGenMatrix cov(m_cols, m_cols);
    if (m_rows < 2) return cov;
    const CGenMatrix mean = columnMeans();
    // cov[i][j] = sum_r (x_ri - mean_i)(x_rj - mean_j) / (rows - 1).
    std::vector<double> d(m_cols);
    for (int r = 0; r < m_rows; ++r) {
        for (int c = 0; c < m_cols; ++c) d[c] = (*this)(r, c) - mean(0, c);
        for (int i = 0; i < m_cols; ++i)
            for (int j = i; j < m_cols; ++j) cov(i, j) += d[i] * d[j];
    }
    const double inv = 1.0 / (m_rows - 1);
    for (int i = 0; i < m_cols; ++i)
        for (int j = i; j < m_cols; ++j) cov(j, i) = cov(i, j) = cov(i, j) * inv;
    return cov;
}
