#include "colour/IntegerHSL.h"

#include <algorithm>
#include <cmath>

#include "colour/Gamut.h"
#include "colour/HSL.h"
#include "colour/internal/ColourScalar.h"
#include "colour/internal/Hexcone.h"

using namespace qgdi::colour;

namespace {

constexpr double kLumaR = 0.299, kLumaG = 0.587, kLumaB = 0.114;

struct SUnit {
    double r, g, b;
};

// Channels 0..nMax to 0..1; a full scale below 1 is treated as 1.
SUnit ToUnit(int r, int g, int b, int nMax) noexcept {
    const double k = 1.0 / std::max(nMax, 1);
    return {r * k, g * k, b * k};
}

void FromUnit(double r, double g, double b, int& ro, int& go, int& bo, int nMax) noexcept {
    const int hi = std::max(nMax, 1);
    const double scale = hi + 0.9999;
    ro = TruncClamp(r * scale, hi);
    go = TruncClamp(g * scale, hi);
    bo = TruncClamp(b * scale, hi);
}

double HueOf(const SUnit& c, double mx, double d) noexcept {
    return d <= kHexconeGrey ? 0.0 : HexconeHue(c.r, c.g, c.b, mx, d) / 6.0;
}

double Wrap01(double h) noexcept {
    h -= std::floor(h);
    return h >= 1.0 ? 0.0 : h;
}

int RoundByte(double v) noexcept { return std::clamp(int(std::lround(v * 255.0)), 0, 255); }

}  // namespace

void RGB_to_HSL_Fract(int r, int g, int b, double& h, double& s, double& l, int nMax) noexcept {
    const SUnit c = ToUnit(r, g, b, nMax);
    ClassicRGBtoHSL(c.r, c.g, c.b, h, s, l);
}

void HSL_Fract_to_RGB(double h, double s, double l, int& r, int& g, int& b, int nMax) noexcept {
    double cr, cg, cb;
    ClassicHSLtoRGB(Wrap01(h), std::clamp(s, 0.0, 1.0), std::clamp(l, 0.0, 1.0), cr, cg, cb);
    FromUnit(cr, cg, cb, r, g, b, nMax);
}

void RGB_to_HSB_Fract(int r, int g, int b, double& h, double& s, double& v, int nMax) noexcept {
    const SUnit c = ToUnit(r, g, b, nMax);
    const double mx = std::max({c.r, c.g, c.b}), d = mx - std::min({c.r, c.g, c.b});
    h = HueOf(c, mx, d);
    s = mx > 0 && d > kHexconeGrey ? d / mx : 0.0;
    v = mx;
}

void HSB_Fract_to_RGB(double h, double s, double v, int& r, int& g, int& b, int nMax) noexcept {
    s = std::clamp(s, 0.0, 1.0);
    v = std::clamp(v, 0.0, 1.0);
    // Channels between min = v(1 - s) and max = v.
    double cr, cg, cb;
    HexconeColour(Wrap01(h), v * (1.0 - s), v, cr, cg, cb);
    FromUnit(cr, cg, cb, r, g, b, nMax);
}

void RGB_to_HSY_Fract(int r, int g, int b, double& h, double& s, double& y, int nMax) noexcept {
    const SUnit c = ToUnit(r, g, b, nMax);
    const double mx = std::max({c.r, c.g, c.b}), d = mx - std::min({c.r, c.g, c.b});
    h = HueOf(c, mx, d);
    s = d;
    y = kLumaR * c.r + kLumaG * c.g + kLumaB * c.b;
}

void HSY_Fract_to_RGB(double h, double s, double y, int& r, int& g, int& b, int nMax) noexcept {
    s = std::clamp(s, 0.0, 1.0);
    y = std::clamp(y, 0.0, 1.0);
    // The hue at chroma s with minimum 0, then shifted so that its luma is y.
    double cr, cg, cb;
    HexconeColour(Wrap01(h), 0.0, s, cr, cg, cb);
    const double shift = y - (kLumaR * cr + kLumaG * cg + kLumaB * cb);
    ClampRGBColor3D(cr + shift, cg + shift, cb + shift, cr, cg, cb, y);
    FromUnit(cr, cg, cb, r, g, b, nMax);
}

void RGB_to_HSL(int r, int g, int b, int& h, int& s, int& l) noexcept {
    double hf, sf, lf;
    RGB_to_HSL_Fract(std::clamp(r, 0, 255), std::clamp(g, 0, 255), std::clamp(b, 0, 255), hf, sf, lf, 255);
    // The hue byte is in 256ths of a turn, so 256 wraps to 0.
    h = int(std::lround(hf * 256.0)) & 255;
    s = RoundByte(sf);
    l = RoundByte(lf);
}

void HSL_to_RGB(int h, int s, int l, int& r, int& g, int& b) noexcept {
    double cr, cg, cb;
    ClassicHSLtoRGB((h & 255) / 256.0, std::clamp(s, 0, 255) / 255.0, std::clamp(l, 0, 255) / 255.0, cr, cg, cb);
    r = RoundByte(cr);
    g = RoundByte(cg);
    b = RoundByte(cb);
}
