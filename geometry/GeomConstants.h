#pragma once
// Numbers every geometry routine agrees on.

// Absolute tolerance of every comparison of a coordinate or matrix element
// against zero, one or another value.
inline constexpr double kQGeomTolerance = 1e-6;
// Below this absolute determinant a 3x3 matrix is treated as singular.
inline constexpr double kQSingularDeterminant = 1e-32;

// The angle functions keep these truncated values so that results stay
// identical to documents written by earlier versions; do not widen them.
inline constexpr double kQPi = 3.14159265358979;
inline constexpr double kQ2Pi = 6.28318530717958;
inline constexpr double kQPiHalf = 1.570796326794895;

// Degree conversions of the matrix operations use the full-precision values.
inline constexpr double kQPiFull = 3.141592653589793;
inline constexpr double kQ2PiFull = 6.283185307179586;

inline constexpr bool QGDI_IsZero(double v) noexcept { return v < kQGeomTolerance && v > -kQGeomTolerance; }
inline constexpr bool QGDI_IsEqual(double a, double b) noexcept { return QGDI_IsZero(a - b); }
