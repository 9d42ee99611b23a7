#include "colour/HSL.h"

#include <algorithm>
#include <cmath>

#include "colour/TransferCurves.h"
#include "colour/internal/Hexcone.h"
#include "geometry/GeomConstants.h"

using namespace qgdi::colour;

namespace {

double Wrap01(double h) noexcept {
    h -= std::floor(h);
    return h >= 1.0 ? 0.0 : h;
}

// Hexcone hue in sixths and HSL saturation of three channels.
void HueSixthsAndSaturation(double r, double g, double b, double& hue6, double& s, double& l) noexcept {
    const double mx = std::max({r, g, b}), mn = std::min({r, g, b});
    const double d = mx - mn;
    l = (mx + mn) * 0.5;
    if (d <= kHexconeGrey) {
        hue6 = s = 0.0;
        return;
    }
    // S = d/(max + min) in the lower half, d/(2 - max - min) in the upper
    s = mx + mn <= 1.0 ? d / (mx + mn) : d / (2.0 - mx - mn);
    hue6 = HexconeHue(r, g, b, mx, d);
}

void HexagonToHueSat(double J, double K, double& hue6, double& S) noexcept {
    S = std::max(std::fabs(J), std::fabs(K));
    hue6 = 0.0;
    if (S <= 0) return;
    const double j = J / S, k = K / S;
    // Sides of the hexagon, walked from hue 0: J = S, K = S, J = -S, J = -S, K = -S, J = S.
    if (k >= 0) {
        if (j >= k) hue6 = k;                            // sector 0: (S, S f)
        else if (k >= -j) hue6 = 1.0 + (1.0 - j) * 0.5;  // sector 1: (S - 2 S f, S)
        else hue6 = 2.0 + (1.0 - k);                     // sector 2: (-S, S (1 - f))
    } else {
        if (-j >= -k) hue6 = 3.0 - k;                    // sector 3: (-S, -S f)
        else if (-k >= j) hue6 = 4.0 + (j + 1.0) * 0.5;  // sector 4: (-S + 2 S f, -S)
        else hue6 = 5.0 + (1.0 + k);                     // sector 5: (S, -S (1 - f))
    }
    if (hue6 >= 6.0) hue6 -= 6.0;
}

void HueSatToHexagon(double hue6, double S, double& J, double& K) noexcept {
    const int i = std::clamp(int(hue6), 0, 5);
    const double f = hue6 - i;
    switch (i) {
    case 0: J = S, K = S * f; break;
    case 1: J = S - 2.0 * S * f, K = S; break;
    case 2: J = -S, K = S * (1.0 - f); break;
    case 3: J = -S, K = -S * f; break;
    case 4: J = -S + 2.0 * S * f, K = -S; break;
    default: J = S, K = -S * (1.0 - f); break;
    }
}

}  // namespace

void ClassicRGBtoHSL(double r, double g, double b, double& h, double& s, double& l) noexcept {
    double hue6;
    HueSixthsAndSaturation(r, g, b, hue6, s, l);
    h = hue6 / 6.0;
}

void ClassicHSLtoRGB(double h, double s, double l, double& r, double& g, double& b) noexcept {
    if (s == 0.0) {
        r = g = b = l;
        return;
    }
    // m2 = L(1 + S) in the lower half, L + S - LS in the upper; m1 = 2L - m2
    const double m2 = l <= 0.5 ? l * (1.0 + s) : l + s - l * s;
    const double m1 = 2.0 * l - m2;
    HexconeColour(h, m1, m2, r, g, b);
}

void RGBtoJKL(double r, double g, double b, double& J, double& K, double& L, const SColorSpecRGB& cs,
              bool bCircular) noexcept {
    L = YtoL(QGDI_ColorSpecLuminance(cs, DtoY(r, cs), DtoY(g, cs), DtoY(b, cs)));
    double hue6, S, mean;
    HueSixthsAndSaturation(DtoL(r, cs), DtoL(g, cs), DtoL(b, cs), hue6, S, mean);
    if (bCircular) HStoJK(hue6 / 6.0, S, J, K);
    else HueSatToHexagon(hue6, S, J, K);
}

void JKLtoRGB(double J, double K, double L, double& r, double& g, double& b, const SColorSpecRGB& cs,
              bool bCircular) noexcept {
    double hue6, S;
    if (bCircular) {
        double H;
        JKtoHS(J, K, H, S);
        hue6 = H * 6.0;
    } else {
        HexagonToHueSat(J, K, hue6, S);
        S = std::min(S, 1.0);
    }
    const double H = hue6 / 6.0;
    const double target = LtoY(std::clamp(L, 0.0, 1.0));
    // With hue and saturation fixed, every L-encoded channel of
    // ClassicHSLtoRGB(H, S, m) rises with m, so the luminance does too: bisect m.
    auto channels = [&](double m, double& cr, double& cg, double& cb) { ClassicHSLtoRGB(H, S, m, cr, cg, cb); };
    auto luminance = [&](double m) {
        double cr, cg, cb;
        channels(m, cr, cg, cb);
        return QGDI_ColorSpecLuminance(cs, LtoY(cr), LtoY(cg), LtoY(cb));
    };
    double lo = 0.0, hi = 1.0;
    if (luminance(hi) <= target) lo = hi;
    for (int it = 0; it < 100 && hi > lo; ++it) {
        const double m = 0.5 * (lo + hi);
        if (m <= lo || m >= hi) break;
        (luminance(m) < target ? lo : hi) = m;
    }
    double cr, cg, cb;
    channels(hi, cr, cg, cb);
    r = LtoD(cr, cs);
    g = LtoD(cg, cs);
    b = LtoD(cb, cs);
}

int HStoJK(double H, double S, double& J, double& K) noexcept {
    if (S < 0) {
        J = K = 0.0;
        return 1;
    }
    const int clamped = S > 1.0 ? 1 : 0;
    S = std::min(S, 1.0);
    const double a = kQ2Pi * Wrap01(H);
    J = S * std::cos(a);
    K = S * std::sin(a);
    return clamped;
}

int JKtoHS(double J, double K, double& H, double& S) noexcept {
    S = std::sqrt(J * J + K * K);
    int clamped = 0;
    if (S > 1.0) {
        S = 1.0;
        clamped = 1;
    }
    if (S < 1e-6) {
        H = 0.0;
        return clamped;
    }
    H = Wrap01(std::atan2(K, J) / kQ2Pi);
    return clamped;
}

void RGBtoHSL(double r, double g, double b, double& H, double& S, double& L, const SColorSpecRGB& cs) noexcept {
    double J, K;
    RGBtoJKL(r, g, b, J, K, L, cs, true);
    JKtoHS(J, K, H, S);
}

void HSLtoRGB(double H, double S, double L, double& r, double& g, double& b, const SColorSpecRGB& cs) noexcept {
    double J = 0.0, K = 0.0;
    if (S >= 0) {
        const double a = kQ2Pi * Wrap01(H);
        const double s = std::min(S, 1.0);
        J = s * std::cos(a);
        K = s * std::sin(a);
    }
    JKLtoRGB(J, K, L, r, g, b, cs, true);
}
