#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <tuple>
#include <utility>

#include "geometry/GenMatrix.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace {

CGenMatrix Hilbert(int n) {
    CGenMatrix h(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) h(i, j) = 1.0 / (i + j + 1);
    return h;
}

int64_t Binomial(int n, int k) {
    if (k < 0 || k > n) return 0;
    int64_t r = 1;
    for (int i = 1; i <= k; ++i) r = r * (n - k + i) / i;
    return r;
}

// The closed form of the inverse Hilbert matrix (1-based i, j):
// (-1)^(i+j) (i+j-1) C(n+i-1, n-j) C(n+j-1, n-i) C(i+j-2, i-1)^2.
int64_t InverseHilbert(int n, int i, int j) {
    const int64_t c = Binomial(i + j - 2, i - 1);
    const int64_t v = (i + j - 1) * Binomial(n + i - 1, n - j) * Binomial(n + j - 1, n - i) * c * c;
    return (i + j) % 2 ? -v : v;
}

CGenMatrix Random(int rows, int cols, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-1, 1);
    CGenMatrix m(rows, cols);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) m(r, c) = u(rng);
    return m;
}

// A rows x cols matrix of the given rank: a product of random rows x rank and rank x cols factors.
CGenMatrix RandomOfRank(int rows, int cols, int rank, uint32_t seed) {
    return Random(rows, rank, seed) * Random(rank, cols, seed + 1);
}

double RelativeError(const CGenMatrix& a, const CGenMatrix& b) {
    const double n = std::max(a.normFrobenius(), 1e-300);
    return (a - b).normFrobenius() / n;
}

void ExpectOrthonormalColumns(const CGenMatrix& q) {
    const CGenMatrix g = q.transpose() * q;
    EXPECT_LT((g - CGenMatrix::identity(q.cols())).maxAbs(), 1e-10);
}

TEST(GenMatrix, HilbertInversesMatchTheirIntegerInverses) {
    // The published order-3 and order-4 inverses anchor the closed form.
    const int64_t h3[9] = {9, -36, 30, -36, 192, -180, 30, -180, 180};
    const int64_t h4[16] = {16,  -120,  240,  -140,  -120, 1200, -2700, 1680,
                            240, -2700, 6480, -4200, -140, 1680, -4200, 2800};
    for (int i = 0; i < 9; ++i) ASSERT_EQ(InverseHilbert(3, i / 3 + 1, i % 3 + 1), h3[i]);
    for (int i = 0; i < 16; ++i) ASSERT_EQ(InverseHilbert(4, i / 4 + 1, i % 4 + 1), h4[i]);
    for (int n = 3; n <= 6; ++n) {
        const CGenMatrix inv = Hilbert(n).inverse();
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                const double expected = double(InverseHilbert(n, i + 1, j + 1));
                EXPECT_NEAR(inv(i, j), expected, 1e-7 * std::fabs(expected))
                    << "order " << n << " (" << i << "," << j << ")";
            }
    }
    EXPECT_NEAR(Hilbert(3).determinant(), 1.0 / 2160, 1e-17);
}

TEST(GenMatrix, SingularAndMisshapenInputsThrow) {
    const CGenMatrix singular(3, 3, {1, 2, 3, 2, 4, 6, 1, 0, 1});
    CGenMatrix m = singular;
    EXPECT_THROW(m.invert(), CGenMatrix::SingularMatrix);
    EXPECT_EQ(m, singular);
    EXPECT_THROW(CGenMatrix(2, 2).inverse(), CGenMatrix::SingularMatrix);
    EXPECT_THROW(singular.solve(CGenMatrix(3, 1, 1.0)), CGenMatrix::SingularMatrix);
    EXPECT_EQ(singular.determinant(), 0.0);
    EXPECT_THROW(CGenMatrix(2, 3).invert(), std::invalid_argument);
    EXPECT_THROW(CGenMatrix(2, 3) * CGenMatrix(2, 3), std::invalid_argument);
    EXPECT_THROW(CGenMatrix(2, 3) + CGenMatrix(3, 2), std::invalid_argument);
    // Tiny but regular: the test is relative to the matrix's own scale.
    const CGenMatrix tiny = CGenMatrix::identity(3) * 1e-200;
    EXPECT_NEAR(tiny.inverse()(1, 1), 1e200, 1e186);
}

// A function that returns a result and calls into CGenMatrix catches at its
// boundary; each kind of failure arrives as its code, never as an exception.
TEST(GenMatrix, ExceptionsBecomeCodesAtTheResultBoundary) {
    const CGenMatrix singular(2, 2, {1, 2, 2, 4});
    const struct {
        std::function<CErrorAutoThrow()> body;
        QuorErrorCode code;
    } cases[] = {
        {[&] { return CGenMatrix(singular).invert(), CErrorAutoThrow(); }, keQuorErrFailed},
        {[&] { return (void)singular.solve(CGenMatrix(3, 1)), CErrorAutoThrow(); }, keQuorErrFailed},
        {[&] { return (void)singular.at(2, 0), CErrorAutoThrow(); }, keQuorErrFailed},
        {[] { return (void)CGenMatrix(-1, 2), CErrorAutoThrow(); }, keQuorErrFailed},
        {[]() -> CErrorAutoThrow { throw std::bad_alloc(); }, keQuorErrOutOfMemory},
        {[]() -> CErrorAutoThrow { throw CQException(keQuorErrCancelled); }, keQuorErrCancelled},
        {[] { return QERR(keQuorErrFormatNotSupported); }, keQuorErrFormatNotSupported},
        {[&] { return (void)singular.inverse().determinant(), CErrorAutoThrow(); }, keQuorErrFailed},
        {[&] { return (void)singular.pseudoInverse(), CErrorAutoThrow(); }, keQuorErrSuccess},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        CErrorAutoThrow r;
        ASSERT_NO_THROW(r = qgdi::result::FromExceptions(cases[i].body)) << "case " << i;
        EXPECT_TRUE(r == cases[i].code) << "case " << i;
    }
}

TEST(GenMatrix, SolveAndLeastSquares) {
    const CGenMatrix a = Random(7, 7, 5);
    const CGenMatrix x = Random(7, 2, 6);
    EXPECT_LT(RelativeError(x, a.solve(a * x)), 1e-12);
    // Coefficients of y = 2 - 3t + 0.5t^2 from eleven exact samples.
    CGenMatrix v(11, 3), y(11, 1);
    for (int i = 0; i < 11; ++i) {
        const double t = i - 5.0;
        v(i, 0) = 1, v(i, 1) = t, v(i, 2) = t * t;
        y(i, 0) = 2 - 3 * t + 0.5 * t * t;
    }
    EXPECT_LT((v.leastSquares(y) - CGenMatrix(3, 1, {2, -3, 0.5})).maxAbs(), 1e-12);
}

struct Shape {
    int rows, cols, rank;
};

class GenMatrixDecompositions : public testing::TestWithParam<Shape> {};

TEST_P(GenMatrixDecompositions, SvdReconstructsWithOrthonormalFactors) {
    const Shape s = GetParam();
    const CGenMatrix a = s.rank < 0 ? Random(s.rows, s.cols, 100 + s.rows) : RandomOfRank(s.rows, s.cols, s.rank, 7);
    CGenMatrix U, V;
    std::vector<double> S;
    a.svd(U, S, V);
    const int k = std::min(s.rows, s.cols);
    ASSERT_EQ(std::tuple(U.rows(), U.cols(), V.rows(), V.cols(), int(S.size())), std::tuple(s.rows, k, s.cols, k, k));
    for (int i = 0; i < k; ++i) EXPECT_TRUE(S[i] >= 0.0 && (i == 0 || S[i - 1] >= S[i])) << i;
    EXPECT_LT(RelativeError(a, U * CGenMatrix::diagonal(S) * V.transpose()), 1e-10);
    ExpectOrthonormalColumns(U);
    ExpectOrthonormalColumns(V);
    if (s.rank >= 0) {
        EXPECT_EQ(a.rank(), s.rank);
    }
}

TEST_P(GenMatrixDecompositions, PseudoInverseSatisfiesMoorePenrose) {
    const Shape s = GetParam();
    const CGenMatrix a = s.rank < 0 ? Random(s.rows, s.cols, 200 + s.cols) : RandomOfRank(s.rows, s.cols, s.rank, 9);
    const CGenMatrix x = a.pseudoInverse();
    ASSERT_EQ(std::pair(x.rows(), x.cols()), std::pair(s.cols, s.rows));
    const CGenMatrix ax = a * x, xa = x * a;
    EXPECT_LT(RelativeError(a, ax * a), 1e-10);
    EXPECT_LT(RelativeError(x, xa * x), 1e-10);
    EXPECT_LT(RelativeError(ax, ax.transpose()), 1e-10);
    EXPECT_LT(RelativeError(xa, xa.transpose()), 1e-10);
}

TEST_P(GenMatrixDecompositions, EvdOfSymmetricProduct) {
    const Shape s = GetParam();
    // a^T a is symmetric positive semi-definite of the same rank.
    const CGenMatrix base = s.rank < 0 ? Random(s.rows, s.cols, 300) : RandomOfRank(s.rows, s.cols, s.rank, 11);
    const CGenMatrix a = base.transpose() * base;
    std::vector<double> values;
    CGenMatrix vectors;
    a.evd(values, vectors);
    ASSERT_EQ(int(values.size()), s.cols);
    for (size_t i = 1; i < values.size(); ++i) EXPECT_GE(values[i - 1], values[i]);
    EXPECT_LT(RelativeError(a, vectors * CGenMatrix::diagonal(values) * vectors.transpose()), 1e-10);
    ExpectOrthonormalColumns(vectors);
    // Its eigenvalues are the squared singular values of the factor.
    CGenMatrix U, V;
    std::vector<double> S;
    base.svd(U, S, V);
    for (size_t i = 0; i < S.size(); ++i) EXPECT_NEAR(values[i], S[i] * S[i], 1e-10 * values[0]);
}

INSTANTIATE_TEST_SUITE_P(Shapes, GenMatrixDecompositions,
                         testing::Values(Shape{1, 1, -1}, Shape{3, 3, -1}, Shape{8, 5, -1}, Shape{5, 8, -1},
                                         Shape{20, 20, -1}, Shape{64, 64, -1}, Shape{50, 3, -1}, Shape{6, 4, 2},
                                         Shape{4, 6, 3}, Shape{10, 10, 1}, Shape{12, 9, 5}));

TEST(GenMatrix, KnownSpectra) {
    CGenMatrix U, V;
    std::vector<double> S;
    // A^T A = [25 20; 20 25] has eigenvalues 45 and 5.
    CGenMatrix(2, 2, {3, 0, 4, 5}).svd(U, S, V);
    EXPECT_TRUE(std::fabs(S[0] - std::sqrt(45.0)) < 1e-14 && std::fabs(S[1] - std::sqrt(5.0)) < 1e-14)
        << S[0] << " " << S[1];

    std::vector<double> values;
    CGenMatrix vectors;
    CGenMatrix(2, 2, {2, 1, 1, 2}).evd(values, vectors);
    EXPECT_TRUE(std::fabs(values[0] - 3) < 1e-14 && std::fabs(values[1] - 1) < 1e-14) << values[0] << " " << values[1];
    EXPECT_NEAR(std::fabs(vectors(0, 0)), std::sqrt(0.5), 1e-14);
    // A repeated eigenvalue: 2 I + a rank-one term along (1, 1, 1).
    CGenMatrix(3, 3, {3, 1, 1, 1, 3, 1, 1, 1, 3}).evd(values, vectors);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(values[size_t(i)], i ? 2 : 5, 1e-13) << i;
    ExpectOrthonormalColumns(vectors);
    // The zero matrix: zero singular values, still orthonormal factors.
    CGenMatrix(4, 3).svd(U, S, V);
    for (double s : S) EXPECT_EQ(s, 0.0);
    ExpectOrthonormalColumns(U);
    EXPECT_EQ(CGenMatrix(4, 3).pseudoInverse(), CGenMatrix(3, 4));
}

TEST(GenMatrix, Covariance) {
    const CGenMatrix data(4, 3, {1, 2, 5, 2, 4, 5, 3, 6, 5, 6, 12, 5});
    const CGenMatrix c = data.covariance();
    // x: 1 2 3 6 (mean 3, squared deviations 4 1 0 9), y = 2x, z constant.
    for (auto [r, col, want] : {std::tuple{0, 0, 14.0 / 3}, {0, 1, 28.0 / 3}, {1, 1, 56.0 / 3}})
        EXPECT_NEAR(c(r, col), want, 1e-14) << r << "," << col;
    EXPECT_EQ(c(2, 2), 0.0);
    EXPECT_EQ(c(1, 0), c(0, 1));
    EXPECT_EQ(CGenMatrix(1, 3, 7.0).covariance(), CGenMatrix(3, 3));
    EXPECT_NEAR(data.columnMeans()(0, 1), 6, 1e-15);
}

}  // namespace
