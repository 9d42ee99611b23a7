#pragma once
// Conversions from double coordinates to the platform's 32-bit integers. Values
// beyond the LONG range saturate and NaN becomes 0, because a plain cast of such
// values is undefined and coordinates from user transforms can be anything.
#include <cmath>
#include <cstdint>

#include "platform/windef.h"

namespace qgdi::geom {

inline LONG SaturateToLong(double v) noexcept {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return INT32_MAX;
    if (v <= -2147483648.0) return INT32_MIN;
    return static_cast<LONG>(v);
}

// Toward zero.
inline LONG TruncToLong(double v) noexcept { return SaturateToLong(v); }

// Ties to even: the processor's default rounding mode.
inline LONG RoundEvenToLong(double v) noexcept { return SaturateToLong(std::nearbyint(v)); }

// Half away from zero: add or subtract one half, then truncate.
inline LONG RoundHalfAwayToLong(double v) noexcept { return SaturateToLong(v >= 0.0 ? v + 0.5 : v - 0.5); }

}  // namespace qgdi::geom
