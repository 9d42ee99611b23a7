#pragma once
// The hexcone model shared by the HSL families: hue in sixths (0..6), and the
// ramp that rebuilds a channel from a hue.
#include <algorithm>

namespace qgdi::colour {

// Channels within this of each other count as grey (no hue, no saturation).
inline constexpr double kHexconeGrey = 1e-6;

// Hue in sixths of the colour; max - min must exceed kHexconeGrey.
inline double HexconeHue(double r, double g, double b, double mx, double d) noexcept {
    double h;
    if (r == mx) h = (g - b) / d;
    else if (g == mx) h = 2.0 + (b - r) / d;
    else h = 4.0 + (r - g) / d;
    return h < 0 ? h + 6.0 : h;
}

// Channel value between lo and hi at hue angle a (degrees, any range): rising
// over 0..60, high to 180, falling to 240, low after.
inline double HexconeRamp(double lo, double hi, double a) noexcept {
    while (a < 0) a += 360.0;
    while (a >= 360.0) a -= 360.0;
    if (a < 60.0) return lo + (hi - lo) * a / 60.0;
    if (a < 180.0) return hi;
    if (a < 240.0) return lo + (hi - lo) * (240.0 - a) / 60.0;
    return lo;
}

// The three channels of hue H (0..1) between lo and hi.
inline void HexconeColour(double H, double lo, double hi, double& r, double& g, double& b) noexcept {
    const double a = H * 360.0;
    r = HexconeRamp(lo, hi, a + 120.0);
    g = HexconeRamp(lo, hi, a);
    b = HexconeRamp(lo, hi, a - 120.0);
}

}  // namespace qgdi::colour
