#include "colour/ChannelMeasures.h"

#include <algorithm>
#include <cmath>

#include "colour/CIEConversions.h"
#include "colour/Gamut.h"
#include "colour/TransferCurves.h"

namespace {

// The three encodings as decode/encode pairs, so that each measure and
// setter is written once over linear light.
struct SEncD {
    static double Decode(double v, const SColorSpecRGB& s) noexcept { return DtoY(v, s); }
    static double Encode(double v, const SColorSpecRGB& s) noexcept { return YtoD(v, s); }
};
struct SEncL {
    static double Decode(double v, const SColorSpecRGB&) noexcept { return LtoY(v); }
    static double Encode(double v, const SColorSpecRGB&) noexcept { return YtoL(v); }
};
struct SEncY {
    static double Decode(double v, const SColorSpecRGB&) noexcept { return v; }
    static double Encode(double v, const SColorSpecRGB&) noexcept { return v; }
};

struct SRGB {
    double r, g, b;
};

template <class E>
SRGB ToLinear(double r, double g, double b, const SColorSpecRGB& cs) noexcept {
    return {E::Decode(r, cs), E::Decode(g, cs), E::Decode(b, cs)};
}

template <class E>
void FromLinear(const SRGB& c, double& r, double& g, double& b, const SColorSpecRGB& cs) noexcept {
    r = E::Encode(c.r, cs);
    g = E::Encode(c.g, cs);
    b = E::Encode(c.b, cs);
}

bool IsGrey(const SRGB& c) noexcept { return std::max({c.r, c.g, c.b}) - std::min({c.r, c.g, c.b}) < 1e-10; }

double Luminance(const SRGB& c, const SColorSpecRGB& cs) noexcept { return QGDI_ColorSpecLuminance(cs, c.r, c.g, c.b); }

// sqrt(sum (c - Y)^2)
double DistanceFromGrey(const SRGB& c, double Y) noexcept {
    return std::sqrt((c.r - Y) * (c.r - Y) + (c.g - Y) * (c.g - Y) + (c.b - Y) * (c.b - Y));
}

double ChromaLinear(const SRGB& c, const SColorSpecRGB& cs) noexcept {
    if (IsGrey(c)) return 0.0;
    double L, a, b;
    RGBYtoLab(c.r, c.g, c.b, L, a, b, cs);
    return std::sqrt(a * a + b * b);
}

double RelativeSaturationLinear(const SRGB& c, const SColorSpecRGB& cs) noexcept {
    if (IsGrey(c)) return 0.0;
    const double Y = Luminance(c, cs);
    SRGB e;
    ExpandRGBColor3D(c.r, c.g, c.b, e.r, e.g, e.b, Y);
    const double ch[3] = {c.r, c.g, c.b}, ex[3] = {e.r, e.g, e.b};
    int k = 0;
    for (int i = 1; i < 3; ++i)
        if (std::fabs(ex[i] - Y) > std::fabs(ex[k] - Y)) k = i;
    // SR = (channel - Y)/(expanded - Y)
    return std::fabs(ex[k] - Y) < 1e-10 ? 0.5 : (ch[k] - Y) / (ex[k] - Y);
}

SRGB SetLuminanceLinear(SRGB c, const SColorSpecRGB& cs, double y, double grey) noexcept {
    double Xw, Yw, Zw;
    QGDI_ColorSpecWhite(cs, Xw, Yw, Zw);
    // The grey whose luminance is y.
    const double yGrey = Yw != 0 ? y / Yw : y;
    const double Y0 = Luminance(c, cs);
    if (Y0 > 1e-12) {
        const double k = y / Y0;
        c = {c.r * k, c.g * k, c.b * k};
    } else {
        c = {yGrey, yGrey, yGrey};
    }
    const bool inside = c.r >= 0 && c.r <= 1 && c.g >= 0 && c.g <= 1 && c.b >= 0 && c.b <= 1;
    if (!inside && yGrey >= 0 && yGrey <= 1) ClampRGBColor3D(c.r, c.g, c.b, c.r, c.g, c.b, grey < 0 ? yGrey : grey);
    return c;
}

SRGB SetChromaLinear(const SRGB& c, const SColorSpecRGB& cs, double chroma) noexcept {
    double L, a, b;
    RGBYtoLab(c.r, c.g, c.b, L, a, b, cs);
    const double c0 = std::sqrt(a * a + b * b);
    if (IsGrey(c) || c0 < 1e-12) {
        a = chroma;
        b = 0.0;
    } else {
        a *= chroma / c0;
        b *= chroma / c0;
    }
    SRGB out;
    LabtoRGBY(L, a, b, out.r, out.g, out.b, cs);
    return out;
}

SRGB SetAbsoluteSaturationLinear(const SRGB& c, const SColorSpecRGB& cs, double s) noexcept {
    const double Y = Luminance(c, cs);
    const double d = DistanceFromGrey(c, Y);
    if (d < 1e-6) return c;
    // c' = Y + (c - Y) s/D
    const double k = s / d;
    return {Y + (c.r - Y) * k, Y + (c.g - Y) * k, Y + (c.b - Y) * k};
}

SRGB SetRelativeSaturationLinear(const SRGB& c, const SColorSpecRGB& cs, double s) noexcept {
    const double Y = Luminance(c, cs);
    SRGB e;
    ExpandRGBColor3D(c.r, c.g, c.b, e.r, e.g, e.b, Y);
    // c' = Y + (expanded - Y) s
    return {Y + (e.r - Y) * s, Y + (e.g - Y) * s, Y + (e.b - Y) * s};
}

template <class E>
double GetY(double r, double g, double b, const SColorSpecRGB& cs) noexcept {
    return Luminance(ToLinear<E>(r, g, b, cs), cs);
}

template <class E>
void SetY(double& r, double& g, double& b, const SColorSpecRGB& cs, double y, double grey) noexcept {
    FromLinear<E>(SetLuminanceLinear(ToLinear<E>(r, g, b, cs), cs, y, grey), r, g, b, cs);
}

template <class E>
void SetL(double& r, double& g, double& b, const SColorSpecRGB& cs, double l, double grey) noexcept {
    SetY<E>(r, g, b, cs, LtoY(l), grey < 0 ? -1.0 : LtoY(grey));
}

template <class E>
void SetC(double& r, double& g, double& b, const SColorSpecRGB& cs, double c) noexcept {
    FromLinear<E>(SetChromaLinear(ToLinear<E>(r, g, b, cs), cs, c), r, g, b, cs);
}

template <class E>
void SetSA(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept {
    const SRGB out = SetAbsoluteSaturationLinear(ToLinear<E>(r, g, b, cs), cs, s);
    r = out.r, g = out.g, b = out.b;
}

template <class E>
void SetSR(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept {
    FromLinear<E>(SetRelativeSaturationLinear(ToLinear<E>(r, g, b, cs), cs, s), r, g, b, cs);
}

}  // namespace

double RGBGetSA(double r, double g, double b) noexcept { return std::max({r, g, b}) - std::min({r, g, b}); }

double RGBDGetY(double r, double g, double b, const SColorSpecRGB& s) noexcept { return GetY<SEncD>(r, g, b, s); }
double RGBLGetY(double r, double g, double b, const SColorSpecRGB& s) noexcept { return GetY<SEncL>(r, g, b, s); }
double RGBYGetY(double r, double g, double b, const SColorSpecRGB& s) noexcept { return GetY<SEncY>(r, g, b, s); }

double RGBDGetL(double r, double g, double b, const SColorSpecRGB& s) noexcept { return YtoL(RGBDGetY(r, g, b, s)); }
double RGBLGetL(double r, double g, double b, const SColorSpecRGB& s) noexcept { return YtoL(RGBLGetY(r, g, b, s)); }
double RGBYGetL(double r, double g, double b, const SColorSpecRGB& s) noexcept { return YtoL(RGBYGetY(r, g, b, s)); }

double RGBDGetC(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    return ChromaLinear(ToLinear<SEncD>(r, g, b, s), s);
}
double RGBLGetC(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    return ChromaLinear(ToLinear<SEncL>(r, g, b, s), s);
}
double RGBYGetC(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    return ChromaLinear(ToLinear<SEncY>(r, g, b, s), s);
}

double RGBDGetSA(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    const SRGB c = ToLinear<SEncD>(r, g, b, s);
    return DistanceFromGrey(c, Luminance(c, s));
}
double RGBLGetSA(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    const SRGB c = ToLinear<SEncL>(r, g, b, s);
    return DistanceFromGrey(c, Luminance(c, s));
}
double RGBYGetSA(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    const SRGB c = ToLinear<SEncY>(r, g, b, s);
    return DistanceFromGrey(c, Luminance(c, s));
}

double RGBDGetSR(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    return RelativeSaturationLinear(ToLinear<SEncD>(r, g, b, s), s);
}
double RGBLGetSR(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    return RelativeSaturationLinear(ToLinear<SEncL>(r, g, b, s), s);
}
double RGBYGetSR(double r, double g, double b, const SColorSpecRGB& s) noexcept {
    return RelativeSaturationLinear(ToLinear<SEncY>(r, g, b, s), s);
}

void RGBDSetY(double& r, double& g, double& b, const SColorSpecRGB& s, double y, double grey) noexcept {
    SetY<SEncD>(r, g, b, s, y, grey);
}
void RGBLSetY(double& r, double& g, double& b, const SColorSpecRGB& s, double y, double grey) noexcept {
    SetY<SEncL>(r, g, b, s, y, grey);
}
void RGBYSetY(double& r, double& g, double& b, const SColorSpecRGB& s, double y, double grey) noexcept {
    SetY<SEncY>(r, g, b, s, y, grey);
}

void RGBDSetL(double& r, double& g, double& b, const SColorSpecRGB& s, double l, double grey) noexcept {
    SetL<SEncD>(r, g, b, s, l, grey);
}
void RGBLSetL(double& r, double& g, double& b, const SColorSpecRGB& s, double l, double grey) noexcept {
    SetL<SEncL>(r, g, b, s, l, grey);
}
void RGBYSetL(double& r, double& g, double& b, const SColorSpecRGB& s, double l, double grey) noexcept {
    SetL<SEncY>(r, g, b, s, l, grey);
}

void RGBDSetC(double& r, double& g, double& b, const SColorSpecRGB& s, double c) noexcept {
    SetC<SEncD>(r, g, b, s, c);
}
void RGBLSetC(double& r, double& g, double& b, const SColorSpecRGB& s, double c) noexcept {
    SetC<SEncL>(r, g, b, s, c);
}
void RGBYSetC(double& r, double& g, double& b, const SColorSpecRGB& s, double c) noexcept {
    SetC<SEncY>(r, g, b, s, c);
}

void RGBDSetSA(double& r, double& g, double& b, const SColorSpecRGB& s, double v) noexcept {
    SetSA<SEncD>(r, g, b, s, v);
}
void RGBLSetSA(double& r, double& g, double& b, const SColorSpecRGB& s, double v) noexcept {
    SetSA<SEncL>(r, g, b, s, v);
}
void RGBYSetSA(double& r, double& g, double& b, const SColorSpecRGB& s, double v) noexcept {
    SetSA<SEncY>(r, g, b, s, v);
}

void RGBDSetSR(double& r, double& g, double& b, const SColorSpecRGB& s, double v) noexcept {
    SetSR<SEncD>(r, g, b, s, v);
}
void RGBLSetSR(double& r, double& g, double& b, const SColorSpecRGB& s, double v) noexcept {
    SetSR<SEncL>(r, g, b, s, v);
}
void RGBYSetSR(double& r, double& g, double& b, const SColorSpecRGB& s, double v) noexcept {
    SetSR<SEncY>(r, g, b, s, v);
}
