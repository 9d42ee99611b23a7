#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "geometry/Polynomial.h"
#include "geometry/Random.h"

namespace {

CPolynomial RandomPolynomial(CRandom& rnd, int n, int degree) {
    CPolynomial p = CPolynomial::Generate(n, degree);
    for (int k = 0; k < p.GetTermCount(); ++k) p.GetTerm(k).SetCoefficient(rnd.Get(4.0) - 2.0);
    return p;
}

std::vector<double> RandomPoint(CRandom& rnd, int n) {
    std::vector<double> x(static_cast<size_t>(n));
    for (double& v : x) v = rnd.Get(3.0) - 1.5;
    return x;
}

TEST(CPolynomial, GenerateCountsAndOrder) {
    // C(n + d, d) monomials of total degree ≤ d in n variables.
    struct Case {
        int n, d, count;
    };
    for (auto c :
         {Case{1, 0, 1}, Case{1, 4, 5}, Case{2, 2, 6}, Case{3, 2, 10}, Case{3, 3, 20}, Case{4, 2, 15}, Case{0, 3, 1}})
        EXPECT_EQ(CPolynomial::Generate(c.n, c.d).GetTermCount(), c.count) << c.n << "," << c.d;
    const CPolynomial q = CPolynomial::Generate(2, 2);
    const std::vector<std::vector<int>> order = {{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1}, {0, 2}};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(q.GetTerm(k).GetExponents(), order[static_cast<size_t>(k)]);
    EXPECT_EQ(CPolynomial::Generate(2, -1).GetTermCount(), 0);
}

TEST(CPolynomial, BinomialExpansion) {
    const CPolynomial x = CPolynomial::Variable(2, 0), y = CPolynomial::Variable(2, 1);
    CPolynomial expected(2);
    for (auto [c, e] : {std::pair{1.0, std::vector<int>{3, 0}}, {3.0, {2, 1}}, {3.0, {1, 2}}, {1.0, {0, 3}}})
        expected.AddTerm(CTerm(c, e));
    EXPECT_TRUE((x + y).Power(3).IsEqual(expected));
    EXPECT_TRUE(((x + y) * (x - y)).IsEqual(x * x - y * y));
    EXPECT_EQ((x - x).GetDegree(), -1);
    EXPECT_TRUE((x - x).IsZero());
}

TEST(CPolynomial, CombineLikeTermsMergesAndDropsZeros) {
    CPolynomial p(2);
    p.AddTerm(CTerm(2.0, {1, 1}));
    p.AddTerm(CTerm(1.0, {0, 0}));
    p.AddTerm(CTerm(-2.0, {1, 1}));
    p.AddTerm(CTerm(0.5, std::vector<int>{1}));  // fewer exponents: the missing ones are 0
    p.AddTerm(CTerm(0.25, {1, 0}));
    p.CombineLikeTerms();
    ASSERT_EQ(p.GetTermCount(), 2);
    EXPECT_EQ(p.GetTerm(0).GetCoefficient(), 1.0);
    EXPECT_EQ(p.GetTerm(1).GetCoefficient(), 0.75);
    EXPECT_TRUE(p.GetTerm(1).IsLike(CTerm(9.0, std::vector<int>{1})));
}

// Properties checked on random polynomials at random points.
TEST(CPolynomial, AlgebraMatchesEvaluation) {
    CRandom rnd(31);
    for (int trial = 0; trial < 40; ++trial) {
        const int n = 1 + trial % 3;
        const CPolynomial p = RandomPolynomial(rnd, n, 1 + trial % 4);
        const CPolynomial q = RandomPolynomial(rnd, n, 1 + trial % 2);
        const std::vector<double> x = RandomPoint(rnd, n);
        const double px = p.Evaluate(x.data()), qx = q.Evaluate(x.data());
        EXPECT_NEAR((p + q).Evaluate(x.data()), px + qx, 1e-12);
        EXPECT_NEAR((p * q).Evaluate(x.data()), px * qx, 1e-10);
        EXPECT_NEAR(p.Power(3).Evaluate(x.data()), px * px * px, 1e-8 * (1 + std::fabs(px * px * px)));
        // Substituting q for x_v equals evaluating with x_v = q(x).
        const int v = trial % n;
        std::vector<double> y = x;
        y[static_cast<size_t>(v)] = qx;
        EXPECT_NEAR(p.Substitute(v, q).Evaluate(x.data()), p.Evaluate(y.data()),
                    1e-9 * (1 + std::fabs(p.Evaluate(y.data()))));
        y[static_cast<size_t>(v)] = 0.7;
        EXPECT_NEAR(p.Substitute(v, 0.7).Evaluate(x.data()), p.Evaluate(y.data()), 1e-12);
        // The derivative against a central difference.
        const double h = 1e-6;
        std::vector<double> a = x, b = x;
        a[static_cast<size_t>(v)] += h;
        b[static_cast<size_t>(v)] -= h;
        EXPECT_NEAR(p.Derivative(v).Evaluate(x.data()), (p.Evaluate(a.data()) - p.Evaluate(b.data())) / (2 * h), 1e-6);
    }
}

TEST(CTerm, ProductAndDerivative) {
    const CTerm a(3.0, {2, 0, 1}), b(-2.0, {1, 4});
    const CTerm ab = a * b;
    EXPECT_EQ(ab.GetCoefficient(), -6.0);
    EXPECT_EQ(ab.GetExponents(), (std::vector<int>{3, 4, 1}));
    EXPECT_EQ(ab.GetDegree(), 8);
    const CTerm da = a.Derivative(0);
    EXPECT_EQ(da.GetCoefficient(), 6.0);
    EXPECT_EQ(da.GetExponent(0), 1);
    EXPECT_EQ(a.Derivative(1).GetCoefficient(), 0.0);
    EXPECT_EQ(a.GetExponent(7), 0);
    EXPECT_EQ(CTerm(1.0, std::vector<int>{-2}).GetExponent(0), 0);
    const double x[3] = {2.0, 5.0, -1.0};
    EXPECT_EQ(a.Evaluate(x), -12.0);
}

}  // namespace
