#pragma once
// Scalar building blocks shared by the conversions and the pixel functors:
// the Lab companding function and the library's truncating quantisers.
#include <cmath>
#include <cstdint>

#include "colour/internal/TransferCurveKernels.h"

namespace qgdi::colour {

// f(t) = t^(1/3) above epsilon, (kappa t + 16)/116 below.
inline double LabF(double t) noexcept { return t > kLabEpsilon ? std::cbrt(t) : (kLabKappa * t + 16.0) / 116.0; }

// Inverse of LabF for the a and b axes: f^3 when it reaches epsilon, the linear part below.
inline double LabFInv(double f) noexcept {
    const double f3 = f * f * f;
    return f3 >= kLabEpsilon ? f3 : (116.0 * f - 16.0) / kLabKappa;
}

// v already multiplied by its full scale plus 0.9999: truncate toward zero and
// clamp to 0..hi; NaN gives 0.
inline int TruncClamp(double v, int hi) noexcept {
    if (!(v > 0)) return 0;
    if (v >= double(hi)) return hi;
    return int(v);
}

// A colour value 0..1 to 8 and 16 bits.
inline uint8_t ToU8(double v) noexcept { return uint8_t(TruncClamp(v * 255.9999, 255)); }
inline uint16_t ToU16(double v) noexcept { return uint16_t(TruncClamp(v * 65535.9999, 65535)); }

}  // namespace qgdi::colour
