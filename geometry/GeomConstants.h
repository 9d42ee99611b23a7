#pragma once
// Numbers every geometry routine agrees on.

// Absolute tolerance of every comparison of a coordinate or matrix element
// against zero, one or another value.
inline constexpr double kQGeomTolerance = 1e-6;
// Below this absolute determinant a 3x3 matrix is treated as singular.
inline constexpr double kQSingularDeterminant = 1e-32;

// The two values of pi in the library, each written once. Scaling by a power
// of two is exact, so the multiples below are the same doubles the literals
// 6.28318530717958 and 1.570796326794895 (or their full-precision forms) give.

// Angle code (normalised angles, hue circles) keeps the truncated value so that
// results stay identical to documents written by earlier versions; do not widen it.
inline constexpr double kQPi = 3.14159265358979;
inline constexpr double kQ2Pi = 2.0 * kQPi;
inline constexpr double kQPiHalf = 0.5 * kQPi;

// Degree conversions of the matrix operations and the coordinate maps, and
// trigonometry on geometry, use the nearest double to pi.
inline constexpr double kQPiFull = 3.141592653589793;
inline constexpr double kQ2PiFull = 2.0 * kQPiFull;
inline constexpr double kQDegToRad = kQPiFull / 180.0;

inline constexpr bool QGDI_IsZero(double v) noexcept { return v < kQGeomTolerance && v > -kQGeomTolerance; }
inline constexpr bool QGDI_IsEqual(double a, double b) noexcept { return QGDI_IsZero(a - b); }
