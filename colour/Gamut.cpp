#include "colour/Gamut.h"

#include <algorithm>
#include <cmath>

namespace {

double Clamp01(double v) noexcept { return std::clamp(v, 0.0, 1.0); }

}  // namespace

void ClampRGBColor1D(double r, double g, double b, double& rOut, double& gOut, double& bOut) noexcept {
    rOut = Clamp01(r);
    gOut = Clamp01(g);
    bOut = Clamp01(b);
}

void ClampRGBColor3D(double r, double g, double b, double& rOut, double& gOut, double& bOut, double grey) noexcept {
    const double ch[3] = {r, g, b};
    const double c = Clamp01(grey);
    double s = 1.0;
    bool outside = false;
    for (double v : ch) {
        if (v >= 0.0 && v <= 1.0) continue;
        outside = true;
        // s = (bound - c)/(channel - c): the fraction of the way from the grey that stays inside.
        const double bound = v < 0.0 ? 0.0 : 1.0;
        const double sk = std::fabs(v - c) < 1e-10 ? 0.5 : (bound - c) / (v - c);
        s = std::min(s, sk);
    }
    if (!outside) {
        rOut = r, gOut = g, bOut = b;
        return;
    }
    rOut = c + (r - c) * s;
    gOut = c + (g - c) * s;
    bOut = c + (b - c) * s;
}

void ExpandRGBColor3D(double r, double g, double b, double& rOut, double& gOut, double& bOut, double grey) noexcept {
    const double ch[3] = {r, g, b};
    const double c = Clamp01(grey);
    double s = 1e10;
    for (double v : ch) {
        // Channels on the grey do not move and set no limit.
        if (std::fabs(v - c) < 1e-10) continue;
        const double bound = v < c ? 0.0 : 1.0;
        s = std::min(s, (bound - c) / (v - c));
    }
    if (s == 1e10) {
        rOut = r, gOut = g, bOut = b;
        return;
    }
    rOut = c + (r - c) * s;
    gOut = c + (g - c) * s;
    bOut = c + (b - c) * s;
}
