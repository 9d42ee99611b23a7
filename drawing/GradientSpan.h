#pragma once
// The per-pixel half of the gradients: from a parameter that moves linearly
// (or per lane) along a span to table colours, under a spread method. Whole
// spans, no per-pixel branch or division on the linear path; compiled once
// per instruction-set target.
#include <cstdint>

namespace qgdi::gradient {

// Where a span sits in gradient space: pixel i of the span is at
// (u0 + i du, v0 + i dv).
struct SSpanWalk {
    double u0, v0, du, dv;
};

// Radial geometry in the space where the circle is the unit circle at the
// origin: the focal point, and 1 / (|f|^2 - 1) (the focal point lies inside).
struct SRadial {
    double fx, fy, inv;
};

// t = u: the linear gradient, `n` pixels with parameter t0 + i dt.
void LinearSpan(const uint32_t* lut, int spread, double t0, double dt, int n, uint32_t* out) noexcept;
// t from SVG's two-circle rule with a zero focal radius.
void RadialSpan(const uint32_t* lut, int spread, const SRadial& radial, const SSpanWalk& walk, int n,
                uint32_t* out) noexcept;
// t = the angle of (u, v) from the +u axis towards +v, in turns (0..1).
void ConicSpan(const uint32_t* lut, int spread, const SSpanWalk& walk, int n, uint32_t* out) noexcept;
// t = max(|u|, |v|).
void RectangularSpan(const uint32_t* lut, int spread, const SSpanWalk& walk, int n, uint32_t* out) noexcept;

}  // namespace qgdi::gradient
