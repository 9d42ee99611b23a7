#include "colour/Chromaticity.h"

#include "colour/CIEConversions.h"
#include "colour/TransferCurves.h"
#include "colour/internal/EncodingAdapters.h"

using namespace qgdi::colour;

namespace {

// Numerator factor of v: 6 for the 1960 scale, 9 for 1976.
double VFactor(EUCSType type) noexcept { return type == keUCS1960 ? 6.0 : 9.0; }

// Chromaticity of a colour with its white as the fallback; a white without
// chromaticity either gives (0, 0).
// Denominator d = wx X + wy Y + wz Z; results kx X/d and ky Y/d.
void Chromaticity(double X, double Y, double Z, double Xw, double Yw, double Zw, double wx, double wy, double wz,
                  double kx, double ky, double& cx, double& cy) noexcept {
    double d = wx * X + wy * Y + wz * Z;
    if (d < 1e-10) {
        X = Xw;
        Y = Yw;
        d = wx * Xw + wy * Yw + wz * Zw;
        if (d < 1e-10) {
            cx = cy = 0.0;
            return;
        }
    }
    cx = kx * X / d;
    cy = ky * Y / d;
}

}  // namespace

void XYZtoxyY(double X, double Y, double Z, double& x, double& y, double& Yout, double Xw, double Yw,
              double Zw) noexcept {
    // x = X/(X+Y+Z), y = Y/(X+Y+Z)
    Chromaticity(X, Y, Z, Xw, Yw, Zw, 1.0, 1.0, 1.0, 1.0, 1.0, x, y);
    Yout = Y;
}

void xyYtoXYZ(double x, double y, double Y, double& X, double& Yout, double& Z) noexcept {
    if (y < 1e-10) {
        X = Yout = Z = 0.0;
        return;
    }
    // X = xY/y, Z = (1-x-y)Y/y
    X = x * Y / y;
    Z = (1.0 - x - y) * Y / y;
    Yout = Y;
}

void XYZtouvY(double X, double Y, double Z, double& u, double& v, double& Yout, double Xw, double Yw, double Zw,
              EUCSType type) noexcept {
    // u = 4X/(X+15Y+3Z), v = kY/(X+15Y+3Z)
    Chromaticity(X, Y, Z, Xw, Yw, Zw, 1.0, 15.0, 3.0, 4.0, VFactor(type), u, v);
    Yout = Y;
}

void uvYtoXYZ(double u, double v, double Y, double& X, double& Yout, double& Z, EUCSType type) noexcept {
    if (v < 1e-10) {
        X = Yout = Z = 0.0;
        return;
    }
    const double k = VFactor(type);
    // X = k u Y/(4v), Z = ((4-u)k - 60v) Y/(12v)
    X = k * u * Y / (4.0 * v);
    Z = ((4.0 - u) * k - 60.0 * v) * Y / (12.0 * v);
    Yout = Y;
}

void RGBYtoxyY(double r, double g, double b, double& x, double& y, double& Y, const SColorSpecRGB& cs) noexcept {
    double X, Z, Xw, Yw, Zw;
    RGBYtoXYZ(r, g, b, X, Y, Z, cs);
    QGDI_ColorSpecWhite(cs, Xw, Yw, Zw);
    XYZtoxyY(X, Y, Z, x, y, Y, Xw, Yw, Zw);
}

void RGBDtoxyY(double r, double g, double b, double& x, double& y, double& Y, const SColorSpecRGB& cs) noexcept {
    FromDevice<RGBYtoxyY>(r, g, b, x, y, Y, cs);
}

void RGBLtoxyY(double r, double g, double b, double& x, double& y, double& Y, const SColorSpecRGB& cs) noexcept {
    FromLightness<RGBYtoxyY>(r, g, b, x, y, Y, cs);
}

void xyYtoRGBY(double x, double y, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs) noexcept {
    double X, Z;
    xyYtoXYZ(x, y, Y, X, Y, Z);
    XYZtoRGBY(X, Y, Z, r, g, b, cs);
}

void xyYtoRGBD(double x, double y, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs) noexcept {
    ToDevice<xyYtoRGBY>(x, y, Y, r, g, b, cs);
}

void xyYtoRGBL(double x, double y, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs) noexcept {
    ToLightness<xyYtoRGBY>(x, y, Y, r, g, b, cs);
}

void RGBYtouvY(double r, double g, double b, double& u, double& v, double& Y, const SColorSpecRGB& cs,
               EUCSType type) noexcept {
    double X, Z, Xw, Yw, Zw;
    RGBYtoXYZ(r, g, b, X, Y, Z, cs);
    QGDI_ColorSpecWhite(cs, Xw, Yw, Zw);
    XYZtouvY(X, Y, Z, u, v, Y, Xw, Yw, Zw, type);
}

void RGBDtouvY(double r, double g, double b, double& u, double& v, double& Y, const SColorSpecRGB& cs,
               EUCSType type) noexcept {
    FromDevice<RGBYtouvY>(r, g, b, u, v, Y, cs, type);
}

void RGBLtouvY(double r, double g, double b, double& u, double& v, double& Y, const SColorSpecRGB& cs,
               EUCSType type) noexcept {
    FromLightness<RGBYtouvY>(r, g, b, u, v, Y, cs, type);
}

void uvYtoRGBY(double u, double v, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs,
               EUCSType type) noexcept {
    double X, Z;
    uvYtoXYZ(u, v, Y, X, Y, Z, type);
    XYZtoRGBY(X, Y, Z, r, g, b, cs);
}

void uvYtoRGBD(double u, double v, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs,
               EUCSType type) noexcept {
    ToDevice<uvYtoRGBY>(u, v, Y, r, g, b, cs, type);
}

void uvYtoRGBL(double u, double v, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs,
               EUCSType type) noexcept {
    ToLightness<uvYtoRGBY>(u, v, Y, r, g, b, cs, type);
}
