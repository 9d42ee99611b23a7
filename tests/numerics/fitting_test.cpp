#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "geometry/LeastSquares.h"
#include "geometry/Random.h"
#include "geometry/Regression.h"

namespace {

struct ExactPolynomial {
    const char* name;
    std::vector<double> coefficients;  // constant first
    std::vector<double> xs;
};

double Horner(const std::vector<double>& c, double x) {
    double y = 0.0;
    for (size_t k = c.size(); k-- > 0;) y = y * x + c[k];
    return y;
}

class LeastSquaresExact : public ::testing::TestWithParam<ExactPolynomial> {};

TEST_P(LeastSquaresExact, RecoversCoefficients) {
    const ExactPolynomial& p = GetParam();
    const int degree = static_cast<int>(p.coefficients.size()) - 1;
    CLeastSquares fit(degree);
    double yMax = 0.0;
    for (double x : p.xs) {
        fit.AddNewPoint(x, Horner(p.coefficients, x));
        yMax = std::max(yMax, std::fabs(Horner(p.coefficients, x)));
    }
    EXPECT_EQ(fit.GetSampleCount(), static_cast<int>(p.xs.size()));
    std::vector<double> c(p.coefficients.size());
    ASSERT_TRUE(fit.GetCoefficients(c.data()));
    for (size_t k = 0; k < c.size(); ++k)
        EXPECT_NEAR(c[k], p.coefficients[k], 1e-7 * (1 + std::fabs(p.coefficients[k]))) << k;
    EXPECT_NEAR(fit.PredictY(0.37), Horner(p.coefficients, 0.37), 1e-6);
    // The error comes from the sums alone, so it carries their cancellation.
    EXPECT_LT(fit.GetError(), 1e-7 * yMax);
}

INSTANTIATE_TEST_SUITE_P(
    Polynomials, LeastSquaresExact,
    ::testing::Values(ExactPolynomial{"Line", {3, -2}, {0, 1}},
                      ExactPolynomial{"LineManyPoints", {-1.5, 0.25}, {-5, -2, 0, 1, 7, 9, 11}},
                      ExactPolynomial{"Parabola", {1, 2, 3}, {-1, 0, 1}},
                      ExactPolynomial{"Cubic", {0.5, -1, 0, 2}, {-2, -1, 0, 1, 2, 3}},
                      ExactPolynomial{"QuarticWideRange", {7, 0, -3, 0, 0.01}, {0, 10, 20, 30, 40, 50, 60, 70, 80, 90}},
                      ExactPolynomial{"Quintic", {1, 1, 1, 1, 1, 1}, {-1, -0.6, -0.2, 0.2, 0.6, 1.0, 1.4}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CLeastSquares, TooFewOrDegenerateSamplesGiveNoFit) {
    CLeastSquares quad(2);
    quad.AddNewPoint(0, 1);
    quad.AddNewPoint(1, 2);
    double c[3] = {-7, -7, -7};
    EXPECT_FALSE(quad.GetCoefficients(c));
    EXPECT_EQ(c[0], -7);
    EXPECT_TRUE(std::isnan(quad.PredictY(0.5)));
    EXPECT_TRUE(std::isnan(quad.GetError()));

    // Three samples but only two distinct x cannot fix a parabola.
    quad.AddNewPoint(1, 2);
    EXPECT_FALSE(quad.HasFit());
    // A third distinct x can.
    quad.AddNewPoint(2, 5);
    EXPECT_TRUE(quad.HasFit());

    quad.Reset();
    EXPECT_EQ(quad.GetSampleCount(), 0);
    EXPECT_FALSE(quad.HasFit());

    CLeastSquares clamped(-4);
    EXPECT_EQ(clamped.GetDegree(), 1);
}

TEST(CLeastSquares, NoisyLineMatchesClosedForm) {
    // Simple linear regression: slope = Sxy/Sxx, intercept = ȳ − slope·x̄.
    CRandom rnd(17);
    CLeastSquares fit(1);
    std::vector<double> xs, ys;
    for (int i = 0; i < 200; ++i) {
        const double x = i * 0.5;
        const double y = 4.0 - 0.75 * x + rnd.Get(2.0) - 1.0;
        xs.push_back(x);
        ys.push_back(y);
        fit.AddNewPoint(x, y);
    }
    double mx = 0, my = 0;
    for (size_t i = 0; i < xs.size(); ++i) mx += xs[i], my += ys[i];
    mx /= xs.size();
    my /= ys.size();
    double sxy = 0, sxx = 0;
    for (size_t i = 0; i < xs.size(); ++i) sxy += (xs[i] - mx) * (ys[i] - my), sxx += (xs[i] - mx) * (xs[i] - mx);
    const double slope = sxy / sxx, intercept = my - slope * mx;
    double c[2];
    ASSERT_TRUE(fit.GetCoefficients(c));
    EXPECT_NEAR(c[1], slope, 1e-10);
    EXPECT_NEAR(c[0], intercept, 1e-9);
    double sse = 0;
    for (size_t i = 0; i < xs.size(); ++i) sse += std::pow(ys[i] - intercept - slope * xs[i], 2);
    EXPECT_NEAR(fit.GetError(), std::sqrt(sse / xs.size()), 1e-8);
}

// Samples of a known polynomial over a grid of the variables.
CMultipleLinearRegression FitGrid(CMultipleLinearRegression reg, const CPolynomial& truth, int perAxis) {
    const int n = truth.GetVariableCount();
    std::vector<int> idx(static_cast<size_t>(n), 0);
    std::vector<double> x(static_cast<size_t>(n));
    for (;;) {
        for (int v = 0; v < n; ++v) x[v] = -1.0 + 2.0 * idx[v] / (perAxis - 1) + 0.1 * v;
        reg.AddSample(x.data(), truth.Evaluate(x.data()));
        int v = 0;
        while (v < n && ++idx[v] == perAxis) idx[v++] = 0;
        if (v == n) break;
    }
    return reg;
}

CPolynomial Poly(int n, std::initializer_list<std::pair<double, std::vector<int>>> terms) {
    CPolynomial p(n);
    for (const auto& [c, e] : terms) p.AddTerm(CTerm(c, e));
    return p.CombineLikeTerms();
}

struct RegressionCase {
    const char* name;
    CPolynomial truth;
    int degree;  // full model of this degree, or −1 for the truth's own terms
};

class RegressionExact : public ::testing::TestWithParam<RegressionCase> {};

TEST_P(RegressionExact, RecoversCoefficientsWithPerfectFit) {
    const RegressionCase& c = GetParam();
    const int n = c.truth.GetVariableCount();
    CMultipleLinearRegression reg = c.degree >= 0 ? CMultipleLinearRegression(n, c.degree)
                                                  : CMultipleLinearRegression(c.truth);
    reg = FitGrid(reg, c.truth, 5);
    ASSERT_TRUE(reg.Compute());
    EXPECT_TRUE(reg.GetPolynomial().IsEqual(c.truth, 1e-9)) << c.name;
    EXPECT_NEAR(reg.GetRSquared(), 1.0, 1e-12);
    EXPECT_NEAR(reg.GetAdjustedRSquared(), 1.0, 1e-12);
    EXPECT_LT(reg.GetResidualSumOfSquares(), 1e-18);
    // Partial derivatives against central differences.
    std::vector<double> x(static_cast<size_t>(n));
    for (int v = 0; v < n; ++v) x[v] = 0.3 - 0.2 * v;
    for (int v = 0; v < n; ++v) {
        const double h = 1e-5;
        std::vector<double> a = x, b = x;
        a[v] += h;
        b[v] -= h;
        const double fd = (c.truth.Evaluate(a.data()) - c.truth.Evaluate(b.data())) / (2 * h);
        EXPECT_NEAR(reg.GetPartialDerivative(x.data(), v), fd, 1e-6) << v;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Surfaces, RegressionExact,
    ::testing::Values(
        RegressionCase{"Plane3", Poly(3, {{1.5, {0, 0, 0}}, {-2, {1, 0, 0}}, {0.5, {0, 1, 0}}, {3, {0, 0, 1}}}), 1},
        RegressionCase{"Quadric2",
                       Poly(2, {{1, {0, 0}}, {2, {1, 0}}, {-1, {0, 1}}, {0.5, {2, 0}}, {-3, {1, 1}}, {4, {0, 2}}}), 2},
        RegressionCase{"CubicInQuarticModel", Poly(2, {{-1, {3, 0}}, {2, {1, 2}}, {1, {0, 0}}}), 4},
        RegressionCase{"OwnTermsNoConstant", Poly(2, {{2.5, {1, 1}}, {-0.5, {0, 3}}}), -1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CMultipleLinearRegression, NoisyFitStatistics) {
    // R² against its definition from an independent evaluation of the fitted model.
    CRandom rnd(23);
    CMultipleLinearRegression reg(2, 1);
    std::vector<std::array<double, 3>> samples;
    for (int i = 0; i < 50; ++i) {
        const double x[2] = {rnd.Get(10.0), rnd.Get(10.0)};
        const double y = 1 + 2 * x[0] - x[1] + rnd.Get(4.0) - 2.0;
        samples.push_back({x[0], x[1], y});
        reg.AddSample(x, y);
    }
    double c[3];
    ASSERT_TRUE(reg.GetCoefficients(c));
    double mean = 0;
    for (auto& s : samples) mean += s[2];
    mean /= samples.size();
    double sse = 0, sst = 0;
    for (auto& s : samples) {
        sse += std::pow(s[2] - (c[0] + c[1] * s[0] + c[2] * s[1]), 2);
        sst += std::pow(s[2] - mean, 2);
    }
    EXPECT_NEAR(reg.GetRSquared(), 1 - sse / sst, 1e-12);
    EXPECT_NEAR(reg.GetAdjustedRSquared(), 1 - (sse / sst) * 49 / 47, 1e-12);
    EXPECT_LT(reg.GetAdjustedRSquared(), reg.GetRSquared());
    EXPECT_NEAR(c[1], 2.0, 0.2);
    EXPECT_NEAR(c[2], -1.0, 0.2);
}

TEST(CMultipleLinearRegression, UnderdeterminedAndDependentSamplesFail) {
    CMultipleLinearRegression plane(2, 1);
    const double pts[3][2] = {{0, 0}, {1, 1}, {2, 2}};  // all on one line
    for (auto& p : pts) plane.AddSample(p, p[0]);
    EXPECT_FALSE(plane.Compute());
    EXPECT_TRUE(std::isnan(plane.Predict(pts[0])));
    EXPECT_TRUE(std::isnan(plane.GetRSquared()));
    double c[3];
    EXPECT_FALSE(plane.GetCoefficients(c));
    EXPECT_EQ(plane.FindLocalExtremum(pts[0], nullptr, nullptr), keExtremumNone);

    CMultipleLinearRegression few(1, 3);
    const double x = 1.0;
    few.AddSample(&x, 1.0);
    EXPECT_FALSE(few.Compute());
    EXPECT_TRUE(std::isnan(few.GetAdjustedRSquared()));
    const double bad = std::nan("");
    EXPECT_FALSE(few.AddSample(&bad, 1.0));
    EXPECT_FALSE(few.AddSample(&x, bad));
    EXPECT_FALSE(few.AddSample(nullptr, 1.0));
}

struct ExtremumCase {
    const char* name;
    CPolynomial surface;
    std::vector<double> start, at;
    EQExtremumKind kind;
    double value;
};

class RegressionExtremum : public ::testing::TestWithParam<ExtremumCase> {};

TEST_P(RegressionExtremum, FindsAndClassifiesStationaryPoint) {
    const ExtremumCase& c = GetParam();
    CMultipleLinearRegression reg = FitGrid(CMultipleLinearRegression(c.surface.GetVariableCount(), 3), c.surface, 6);
    std::vector<double> at(c.at.size());
    double value = 0;
    EXPECT_EQ(reg.FindLocalExtremum(c.start.data(), at.data(), &value), c.kind);
    for (size_t i = 0; i < at.size(); ++i) EXPECT_NEAR(at[i], c.at[i], 1e-8) << i;
    EXPECT_NEAR(value, c.value, 1e-8);
}

INSTANTIATE_TEST_SUITE_P(
    Surfaces, RegressionExtremum,
    ::testing::Values(
        // 5 − (x − 1)² − 2(y + 3)²
        ExtremumCase{"Maximum",
                     Poly(2, {{5 - 1 - 18, {0, 0}}, {2, {1, 0}}, {-12, {0, 1}}, {-1, {2, 0}}, {-2, {0, 2}}}),
                     {0, 0},
                     {1, -3},
                     keExtremumMaximum,
                     5},
        // x² + y² + xy − 3x
        ExtremumCase{"Minimum",
                     Poly(2, {{-3, {1, 0}}, {1, {2, 0}}, {1, {1, 1}}, {1, {0, 2}}}),
                     {0.5, 0.5},
                     {2, -1},
                     keExtremumMinimum,
                     -3},
        // x² − y²
        ExtremumCase{"Saddle", Poly(2, {{1, {2, 0}}, {-1, {0, 2}}}), {0.3, -0.2}, {0, 0}, keExtremumSaddle, 0},
        // x³ − 3x: maximum at −1 (value 2), minimum at +1 (value −2)
        ExtremumCase{"CubicMax", Poly(1, {{1, {3}}, {-3, {1}}}), {-0.7}, {-1}, keExtremumMaximum, 2},
        ExtremumCase{"CubicMin", Poly(1, {{1, {3}}, {-3, {1}}}), {0.6}, {1}, keExtremumMinimum, -2}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CMultipleLinearRegression, PlaneHasNoStationaryPoint) {
    CMultipleLinearRegression reg = FitGrid(CMultipleLinearRegression(2, 1), Poly(2, {{1, {1, 0}}, {1, {0, 0}}}), 3);
    const double start[2] = {0, 0};
    double at[2] = {9, 9};
    EXPECT_EQ(reg.FindLocalExtremum(start, at, nullptr), keExtremumNone);
    EXPECT_EQ(at[0], 9);
}

}  // namespace
