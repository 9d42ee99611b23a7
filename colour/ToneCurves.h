#pragma once
// Tone curves on 0..1: brightness and contrast bends, and lookups in sampled
// curves (tables of n values spaced evenly over 0..1).
#include <cstdint>

#include "qgdi_export.h"

// Cubic through the table samples for LutCubic / InvLutCubic. At both ends the
// table is extended by linear extrapolation, so every basis passes through the
// first and the last sample and a linear table stays linear.
enum ESplineBasisType : int32_t {
    keSplineCatmullRom = 0,  // interpolating, C1; may overshoot between steep samples
    keSplineBSpline = 1,     // uniform cubic B-spline: smoothing, C2, does not pass through inner samples
    keSplineMonotone = 2,    // monotone cubic Hermite: interpolating, never overshoots
};

// x / ((1/k - 2)(1 - x) + 1): k = 0.5 is the identity, larger k brightens.
QGDI_API double Brightness(double x, double k) noexcept;
// An S-curve from two brightness halves meeting at (0.5, 0.5); k = 0.5 is the identity.
QGDI_API double Contrast(double x, double k) noexcept;

// Value of the sampled curve at x (clamped to 0..1); n = 1 gives table[0],
// n < 1 or a null table gives 0.
QGDI_API double LutLinear(double x, const double* table, int n) noexcept;
QGDI_API double LutCubic(double x, const double* table, int n, ESplineBasisType basis) noexcept;
// The x in 0..1 whose lookup gives y, in a monotone (rising or falling) table;
// y beyond either end gives that end's x. Within a flat run the first x wins.
QGDI_API double InvLutLinear(double y, const double* table, int n) noexcept;
QGDI_API double InvLutCubic(double y, const double* table, int n, ESplineBasisType basis) noexcept;
