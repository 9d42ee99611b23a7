#pragma once
// Conversion of source positions (pixels, doubles) to the 1/256-pixel integers
// of the coordinate maps. Rounding is to nearest with ties to even (the
// processor's default mode); positions that do not fit in 32 bits, and NaN,
// come out as INT_MIN, far outside any source.
#include <climits>
#include <cmath>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qgdi::deform {

// v already in 1/256 units.
inline int32_t RoundFixed(double v) noexcept {
#if defined(__SSE2__)
    return _mm_cvtsd_si32(_mm_set_sd(v));
#else
    if (!(v > -2147483648.5 && v < 2147483647.5)) return INT_MIN;
    return static_cast<int32_t>(std::nearbyint(v));
#endif
}

// v in pixels.
inline int32_t ToFixed256(double v) noexcept { return RoundFixed(v * 256.0); }

}  // namespace qgdi::deform
