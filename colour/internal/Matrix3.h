#pragma once
// Fixed 3x3 helpers for the colour code, row-major, so that small closed-form
// solves stay inline; anything larger goes through the general matrix.
#include <cmath>

namespace qgdi::colour {

// Inverse by cofactors; false when the determinant is below 1e-32 in magnitude.
inline bool Invert3x3(const double m[9], double inv[9]) noexcept {
    const double c00 = m[4] * m[8] - m[5] * m[7];
    const double c01 = m[5] * m[6] - m[3] * m[8];
    const double c02 = m[3] * m[7] - m[4] * m[6];
    const double det = m[0] * c00 + m[1] * c01 + m[2] * c02;
    if (!(std::fabs(det) >= 1e-32)) return false;
    const double k = 1.0 / det;
    inv[0] = c00 * k;
    inv[1] = (m[2] * m[7] - m[1] * m[8]) * k;
    inv[2] = (m[1] * m[5] - m[2] * m[4]) * k;
    inv[3] = c01 * k;
    inv[4] = (m[0] * m[8] - m[2] * m[6]) * k;
    inv[5] = (m[2] * m[3] - m[0] * m[5]) * k;
    inv[6] = c02 * k;
    inv[7] = (m[1] * m[6] - m[0] * m[7]) * k;
    inv[8] = (m[0] * m[4] - m[1] * m[3]) * k;
    return true;
}

inline void Mul3x3(const double m[9], const double v[3], double out[3]) noexcept {
    const double x = v[0], y = v[1], z = v[2];
    out[0] = m[0] * x + m[1] * y + m[2] * z;
    out[1] = m[3] * x + m[4] * y + m[5] * z;
    out[2] = m[6] * x + m[7] * y + m[8] * z;
}

}  // namespace qgdi::colour
