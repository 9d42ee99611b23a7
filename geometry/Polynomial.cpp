#include "geometry/Polynomial.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>

namespace {

// Exponents without trailing zeros, so that terms of different variable counts compare.
size_t SignificantLength(const std::vector<int>& e) noexcept {
    size_t n = e.size();
    while (n > 0 && e[n - 1] == 0) --n;
    return n;
}

}  // namespace

CTerm CTerm::Constant(int nVariables, double c) {
    return CTerm(c, std::vector<int>(static_cast<size_t>(std::max(0, nVariables)), 0));
}

CTerm::CTerm(double coefficient, std::vector<int> exponents)
    : m_coefficient(coefficient), m_exponents(std::move(exponents)) {
    for (int& e : m_exponents) e = std::max(0, e);
}

int CTerm::GetExponent(int v) const noexcept {
    return v >= 0 && v < GetVariableCount() ? m_exponents[static_cast<size_t>(v)] : 0;
}

void CTerm::SetExponent(int v, int e) {
    if (v < 0) return;
    if (v >= GetVariableCount()) m_exponents.resize(static_cast<size_t>(v) + 1, 0);
    m_exponents[static_cast<size_t>(v)] = std::max(0, e);
}

int CTerm::GetDegree() const noexcept {
    int d = 0;
    for (int e : m_exponents) d += e;
    return d;
}

bool CTerm::IsLike(const CTerm& other) const noexcept {
    const size_t n = SignificantLength(m_exponents);
    return n == SignificantLength(other.m_exponents) &&
           std::equal(m_exponents.begin(), m_exponents.begin() + static_cast<ptrdiff_t>(n), other.m_exponents.begin());
}

CTerm CTerm::operator*(const CTerm& other) const {
    CTerm r(m_coefficient * other.m_coefficient, m_exponents);
    if (r.m_exponents.size() < other.m_exponents.size()) r.m_exponents.resize(other.m_exponents.size(), 0);
    for (size_t i = 0; i < other.m_exponents.size(); ++i) r.m_exponents[i] += other.m_exponents[i];
    return r;
}

CTerm CTerm::Derivative(int v) const {
    const int e = GetExponent(v);
    CTerm r(m_coefficient * e, m_exponents);
    if (e > 0) r.m_exponents[static_cast<size_t>(v)] = e - 1;
    return r;
}

double CTerm::Evaluate(const double* x) const noexcept { return m_coefficient * EvaluateMonomial(x); }

double CTerm::EvaluateMonomial(const double* x) const noexcept {
    double r = 1.0;
    for (size_t v = 0; v < m_exponents.size(); ++v)
        for (int k = 0; k < m_exponents[v]; ++k) r *= x[v];
    return r;
}

bool CTerm::GradedLess(const CTerm& a, const CTerm& b) noexcept {
    const int da = a.GetDegree(), db = b.GetDegree();
    if (da != db) return da < db;
    const int n = std::max(a.GetVariableCount(), b.GetVariableCount());
    for (int v = 0; v < n; ++v) {
        const int ea = a.GetExponent(v), eb = b.GetExponent(v);
        if (ea != eb) return ea > eb;
    }
    return false;
}

CPolynomial::CPolynomial(int nVariables) : m_variables(std::max(0, nVariables)) {}

CPolynomial CPolynomial::Generate(int nVariables, int degree, double coefficient) {
    CPolynomial p(nVariables);
    if (degree < 0) return p;
    // Odometer over exponent vectors with total degree ≤ degree.
    std::vector<int> e(static_cast<size_t>(p.m_variables), 0);
    for (;;) {
        p.m_terms.emplace_back(coefficient, e);
        int v = 0;
        int total = 0;
        for (int x : e) total += x;
        while (v < p.m_variables && total == degree) {
            total -= e[static_cast<size_t>(v)];
            e[static_cast<size_t>(v)] = 0;
            ++v;
        }
        if (v == p.m_variables) break;
        ++e[static_cast<size_t>(v)];
    }
    std::sort(p.m_terms.begin(), p.m_terms.end(), CTerm::GradedLess);
    return p;
}

CPolynomial CPolynomial::Constant(int nVariables, double c) {
    CPolynomial p(nVariables);
    p.m_terms.push_back(CTerm::Constant(p.m_variables, c));
    return p;
}

CPolynomial CPolynomial::Variable(int nVariables, int v) {
    CPolynomial p(std::max(nVariables, v + 1));
    CTerm t = CTerm::Constant(p.m_variables, 1.0);
    t.SetExponent(v, 1);
    p.m_terms.push_back(t);
    return p;
}

int CPolynomial::GetDegree() const noexcept {
    int d = -1;
    for (const CTerm& t : m_terms)
        if (t.GetCoefficient() != 0.0) d = std::max(d, t.GetDegree());
    return d;
}

bool CPolynomial::IsZero() const noexcept { return GetDegree() < 0; }

void CPolynomial::AddTerm(const CTerm& term) {
    CTerm t = term;
    if (t.GetVariableCount() > m_variables) {
        m_variables = t.GetVariableCount();
        for (CTerm& u : m_terms) u.SetExponent(m_variables - 1, u.GetExponent(m_variables - 1));
    } else if (t.GetVariableCount() < m_variables) {
        t.SetExponent(m_variables - 1, t.GetExponent(m_variables - 1));
    }
    m_terms.push_back(std::move(t));
}

CPolynomial& CPolynomial::CombineLikeTerms(double tolerance) {
    std::map<std::vector<int>, double> sums;
    for (const CTerm& t : m_terms) sums[t.GetExponents()] += t.GetCoefficient();
    m_terms.clear();
    for (const auto& [e, c] : sums)
        if (std::fabs(c) > tolerance) m_terms.emplace_back(c, e);
    std::sort(m_terms.begin(), m_terms.end(), CTerm::GradedLess);
    return *this;
}

double CPolynomial::Evaluate(const double* x) const {
    double s = 0.0;
    for (const CTerm& t : m_terms) s += t.Evaluate(x);
    return s;
}

CPolynomial CPolynomial::Derivative(int v) const {
    CPolynomial r(m_variables);
    for (const CTerm& t : m_terms)
        if (t.GetExponent(v) > 0) r.m_terms.push_back(t.Derivative(v));
    return r.CombineLikeTerms();
}

CPolynomial CPolynomial::Substitute(int v, const CPolynomial& q) const {
    CPolynomial r(std::max(m_variables, q.m_variables));
    if (v < 0 || v >= m_variables) {
        r += *this;
        return r;
    }
    // Powers of q are built once, up to the highest exponent of x_v.
    int top = 0;
    for (const CTerm& t : m_terms) top = std::max(top, t.GetExponent(v));
    std::vector<CPolynomial> powers(1, Constant(r.m_variables, 1.0));
    for (int k = 1; k <= top; ++k) powers.push_back(powers.back() * q);
    for (const CTerm& t : m_terms) {
        CTerm rest = t;
        rest.SetExponent(v, 0);
        CPolynomial piece(r.m_variables);
        piece.AddTerm(rest);
        r += piece * powers[static_cast<size_t>(t.GetExponent(v))];
    }
    return r.CombineLikeTerms();
}

CPolynomial CPolynomial::Substitute(int v, double value) const { return Substitute(v, Constant(m_variables, value)); }

CPolynomial CPolynomial::Power(int n) const {
    CPolynomial r = Constant(m_variables, 1.0);
    CPolynomial base = *this;
    // Square and multiply.
    for (int k = std::max(0, n); k > 0; k >>= 1) {
        if (k & 1) r *= base;
        if (k > 1) base *= CPolynomial(base);
    }
    return r;
}

CPolynomial& CPolynomial::operator+=(const CPolynomial& other) {
    for (const CTerm& t : other.m_terms) AddTerm(t);
    return CombineLikeTerms();
}

CPolynomial& CPolynomial::operator-=(const CPolynomial& other) {
    for (const CTerm& t : other.m_terms) {
        CTerm n = t;
        n.SetCoefficient(-t.GetCoefficient());
        AddTerm(n);
    }
    return CombineLikeTerms();
}

CPolynomial& CPolynomial::operator*=(const CPolynomial& other) {
    CPolynomial r(std::max(m_variables, other.m_variables));
    for (const CTerm& a : m_terms)
        for (const CTerm& b : other.m_terms) r.AddTerm(a * b);
    *this = std::move(r.CombineLikeTerms());
    return *this;
}

CPolynomial& CPolynomial::operator*=(double k) {
    for (CTerm& t : m_terms) t.SetCoefficient(t.GetCoefficient() * k);
    return CombineLikeTerms();
}

bool CPolynomial::IsEqual(const CPolynomial& other, double tolerance) const {
    CPolynomial d = *this;
    d -= other;
    for (const CTerm& t : d.m_terms)
        if (std::fabs(t.GetCoefficient()) > tolerance) return false;
    return true;
}
