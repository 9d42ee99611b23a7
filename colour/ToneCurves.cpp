#include "colour/ToneCurves.h"

#include <algorithm>
#include <cmath>

double Brightness(double x, double k) noexcept {
    if (k < 1e-6) return x == 1.0 ? 1.0 : 0.0;
    if (k > 0.999999) return x == 0.0 ? 0.0 : 1.0;
    return x / ((1.0 / k - 2.0) * (1.0 - x) + 1.0);
}

double Contrast(double x, double k) noexcept {
    if (x <= 0.5) return Brightness(2.0 * x, 1.0 - k) * 0.5;
    return 1.0 - Brightness(2.0 - 2.0 * x, 1.0 - k) * 0.5;
}

namespace {

// Sample k of the table extended by one linearly extrapolated sample at each end.
double Sample(const double* t, int n, int k) noexcept {
    if (k < 0) return 2.0 * t[0] - t[1];
    if (k >= n) return 2.0 * t[n - 1] - t[n - 2];
    return t[k];
}

// Limited tangent at sample k: harmonic mean of the neighbouring secants, 0 at
// a local extremum, the one-sided secant at the ends.
double MonotoneTangent(const double* t, int n, int k) noexcept {
    if (k <= 0) return t[1] - t[0];
    if (k >= n - 1) return t[n - 1] - t[n - 2];
    const double a = t[k] - t[k - 1], b = t[k + 1] - t[k];
    if (a * b <= 0) return 0.0;
    return 2.0 * a * b / (a + b);
}

// The cubic of segment i (between samples i and i+1) at f in 0..1; needs n >= 2.
double Segment(const double* t, int n, int i, double f, ESplineBasisType basis) noexcept {
    const double f2 = f * f, f3 = f2 * f;
    const double p1 = t[i], p2 = Sample(t, n, i + 1);
    switch (basis) {
    case keSplineBSpline: {
        const double p0 = Sample(t, n, i - 1), p3 = Sample(t, n, i + 2);
        // ((1-f)^3 p0 + (3f^3 - 6f^2 + 4) p1 + (-3f^3 + 3f^2 + 3f + 1) p2 + f^3 p3)/6
        const double g = 1.0 - f;
        return (g * g * g * p0 + (3 * f3 - 6 * f2 + 4) * p1 + (-3 * f3 + 3 * f2 + 3 * f + 1) * p2 + f3 * p3) / 6.0;
    }
    case keSplineMonotone: {
        const double m1 = MonotoneTangent(t, n, i), m2 = MonotoneTangent(t, n, i + 1);
        // Hermite: (2f^3 - 3f^2 + 1) p1 + (f^3 - 2f^2 + f) m1 + (-2f^3 + 3f^2) p2 + (f^3 - f^2) m2
        return (2 * f3 - 3 * f2 + 1) * p1 + (f3 - 2 * f2 + f) * m1 + (-2 * f3 + 3 * f2) * p2 + (f3 - f2) * m2;
    }
    default: {
        const double p0 = Sample(t, n, i - 1), p3 = Sample(t, n, i + 2);
        // Catmull-Rom: (2p1 + (p2 - p0) f + (2p0 - 5p1 + 4p2 - p3) f^2 + (3p1 - p0 - 3p2 + p3) f^3)/2
        return 0.5 * (2 * p1 + (p2 - p0) * f + (2 * p0 - 5 * p1 + 4 * p2 - p3) * f2 + (3 * p1 - p0 - 3 * p2 + p3) * f3);
    }
    }
}

double LinearSegment(const double* t, int, int i, double f, ESplineBasisType) noexcept {
    return t[i] + (t[i + 1] - t[i]) * f;
}

template <class Eval>
double Lookup(double x, const double* t, int n, ESplineBasisType basis, Eval eval) noexcept {
    if (!t || n < 1) return 0.0;
    if (n == 1) return t[0];
    const double p = (n - 1) * std::clamp(x, 0.0, 1.0);
    const int i = int(p);
    if (i >= n - 1) return t[n - 1];
    return eval(t, n, i, p - i, basis);
}

// Inverse lookup: bracket y between the curve's values at neighbouring samples,
// then bisect inside that segment (the segment functions are continuous).
template <class Eval>
double InverseLookup(double y, const double* t, int n, ESplineBasisType basis, Eval eval) noexcept {
    if (!t || n < 2) return 0.0;
    const double first = eval(t, n, 0, 0.0, basis), last = t[n - 1];
    const bool rising = last >= first;
    // Reflect a falling table so that the search below only sees a rising one.
    const double sgn = rising ? 1.0 : -1.0;
    const double ys = sgn * y;
    if (ys <= sgn * first) return 0.0;
    if (ys >= sgn * last) return 1.0;
    double lo = sgn * first;
    for (int i = 0; i < n - 1; ++i) {
        const double hi = i + 1 == n - 1 ? sgn * last : sgn * eval(t, n, i + 1, 0.0, basis);
        if (ys >= lo && ys <= hi) {
            double a = 0.0, b = 1.0;
            if (ys == lo) return double(i) / (n - 1);
            for (int it = 0; it < 64 && b - a > 1e-16; ++it) {
                const double m = 0.5 * (a + b);
                (sgn * eval(t, n, i, m, basis) < ys ? a : b) = m;
            }
            return (i + 0.5 * (a + b)) / (n - 1);
        }
        lo = hi;
    }
    return 1.0;
}

}  // namespace

double LutLinear(double x, const double* table, int n) noexcept {
    return Lookup(x, table, n, keSplineCatmullRom, LinearSegment);
}

double LutCubic(double x, const double* table, int n, ESplineBasisType basis) noexcept {
    return Lookup(x, table, n, basis, Segment);
}

double InvLutLinear(double y, const double* table, int n) noexcept {
    if (!table || n < 2) return 0.0;
    const bool rising = table[n - 1] >= table[0];
    for (int i = 0; i < n - 1; ++i) {
        const double a = table[i], b = table[i + 1];
        const bool inside = rising ? (y >= a && y <= b) : (y <= a && y >= b);
        if (inside) return (i + (b == a ? 0.0 : (y - a) / (b - a))) / (n - 1);
    }
    // Beyond the table: the nearer end.
    const bool belowStart = rising ? y < table[0] : y > table[0];
    return belowStart ? 0.0 : 1.0;
}

double InvLutCubic(double y, const double* table, int n, ESplineBasisType basis) noexcept {
    return InverseLookup(y, table, n, basis, Segment);
}
