#pragma once
// Polynomials in several variables, as sums of terms c·x0^e0·x1^e1·…
// They describe the models of the regression class, whose derivatives and
// changes of variable are exact polynomial operations rather than numerical
// approximations.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qgdi_export.h"

class QGDI_API CTerm {
public:
    CTerm() = default;
    // Negative exponents count as 0.
    CTerm(double coefficient, std::vector<int> exponents);
    // The constant c in nVariables variables.
    static CTerm Constant(int nVariables, double c);

    double GetCoefficient() const noexcept { return m_coefficient; }
    void SetCoefficient(double c) noexcept { m_coefficient = c; }
    int GetVariableCount() const noexcept { return static_cast<int>(m_exponents.size()); }
    // Exponent of variable v; 0 for variables beyond the term's own count.
    int GetExponent(int v) const noexcept;
    void SetExponent(int v, int e);
    const std::vector<int>& GetExponents() const noexcept { return m_exponents; }
    // Total degree, the sum of the exponents.
    int GetDegree() const noexcept;

    // Same monomial (exponents equal, trailing zeros ignored), whatever the coefficients.
    bool IsLike(const CTerm& other) const noexcept;
    // Product of coefficients, sum of exponents.
    CTerm operator*(const CTerm& other) const;
    // ∂/∂x_v: e·c·x_v^(e−1)·…; a zero term when x_v does not occur.
    CTerm Derivative(int v) const;
    double Evaluate(const double* x) const noexcept;
    // The monomial alone, without the coefficient.
    double EvaluateMonomial(const double* x) const noexcept;

    // Graded order: lower total degree first, then higher powers of the
    // earlier variables first, so 1, x, y, x², xy, y², … for two variables.
    static bool GradedLess(const CTerm& a, const CTerm& b) noexcept;

private:
    double m_coefficient = 0.0;
    std::vector<int> m_exponents;
};

class QGDI_API CPolynomial {
public:
    explicit CPolynomial(int nVariables = 1);

    // Every monomial of total degree 0..degree in nVariables variables, in
    // graded order, each with the given coefficient.
    static CPolynomial Generate(int nVariables, int degree, double coefficient = 1.0);
    static CPolynomial Constant(int nVariables, double c);
    // The polynomial x_v.
    static CPolynomial Variable(int nVariables, int v);

    int GetVariableCount() const noexcept { return m_variables; }
    int GetTermCount() const noexcept { return static_cast<int>(m_terms.size()); }
    const CTerm& GetTerm(int i) const { return m_terms.at(static_cast<size_t>(i)); }
    CTerm& GetTerm(int i) { return m_terms.at(static_cast<size_t>(i)); }
    const std::vector<CTerm>& GetTerms() const noexcept { return m_terms; }
    // Highest total degree of a term with a non-zero coefficient; −1 for the zero polynomial.
    int GetDegree() const noexcept;
    bool IsZero() const noexcept;

    // Appends a term as it is; like terms are merged by CombineLikeTerms.
    void AddTerm(const CTerm& term);
    void Clear() noexcept { m_terms.clear(); }

    // Merges terms with the same monomial, drops those whose coefficient is at
    // most tolerance in magnitude and sorts the rest in graded order.
    CPolynomial& CombineLikeTerms(double tolerance = 0.0);

    double Evaluate(const double* x) const;
    CPolynomial Derivative(int v) const;
    // Replaces x_v by the polynomial q (a change of variable) or by a value.
    CPolynomial Substitute(int v, const CPolynomial& q) const;
    CPolynomial Substitute(int v, double value) const;
    CPolynomial Power(int n) const;

    CPolynomial& operator+=(const CPolynomial& other);
    CPolynomial& operator-=(const CPolynomial& other);
    CPolynomial& operator*=(const CPolynomial& other);
    CPolynomial& operator*=(double k);
    friend CPolynomial operator+(CPolynomial a, const CPolynomial& b) { return a += b; }
    friend CPolynomial operator-(CPolynomial a, const CPolynomial& b) { return a -= b; }
    friend CPolynomial operator*(const CPolynomial& a, const CPolynomial& b) {
        CPolynomial r(a);
        return r *= b;
    }
    friend CPolynomial operator*(CPolynomial a, double k) { return a *= k; }

    // Equal after combining like terms, coefficient by coefficient within tolerance.
    bool IsEqual(const CPolynomial& other, double tolerance = 1e-12) const;

private:
    int m_variables;
    std::vector<CTerm> m_terms;
};
