#pragma once
// Chromaticity coordinates: CIE xyY and the uniform chromaticity scales (1960
// uv or 1976 u'v') with Y. A colour without chromaticity (X + Y + Z, or
// X + 15Y + 3Z, below 1e-10) takes the chromaticity of the white.
#include "colour/ColourSpaceRGB.h"

// u = 4X/(X+15Y+3Z) in both; v = 6Y/(...) for 1960, v' = 9Y/(...) for 1976 and any other value.
enum EUCSType : int32_t {
    keUCS1960 = 0,
    keUCS1976 = 1,
};

QGDI_API void XYZtoxyY(double X, double Y, double Z, double& x, double& y, double& Yout, double Xw, double Yw,
                       double Zw) noexcept;
QGDI_API void xyYtoXYZ(double x, double y, double Y, double& X, double& Yout, double& Z) noexcept;
QGDI_API void RGBDtoxyY(double r, double g, double b, double& x, double& y, double& Y,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBLtoxyY(double r, double g, double b, double& x, double& y, double& Y,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBYtoxyY(double r, double g, double b, double& x, double& y, double& Y,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void xyYtoRGBD(double x, double y, double Y, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void xyYtoRGBL(double x, double y, double Y, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void xyYtoRGBY(double x, double y, double Y, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;

QGDI_API void XYZtouvY(double X, double Y, double Z, double& u, double& v, double& Yout, double Xw, double Yw,
                       double Zw, EUCSType type) noexcept;
QGDI_API void uvYtoXYZ(double u, double v, double Y, double& X, double& Yout, double& Z, EUCSType type) noexcept;
QGDI_API void RGBDtouvY(double r, double g, double b, double& u, double& v, double& Y, const SColorSpecRGB& cs,
                        EUCSType type) noexcept;
QGDI_API void RGBLtouvY(double r, double g, double b, double& u, double& v, double& Y, const SColorSpecRGB& cs,
                        EUCSType type) noexcept;
QGDI_API void RGBYtouvY(double r, double g, double b, double& u, double& v, double& Y, const SColorSpecRGB& cs,
                        EUCSType type) noexcept;
QGDI_API void uvYtoRGBD(double u, double v, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs,
                        EUCSType type) noexcept;
QGDI_API void uvYtoRGBL(double u, double v, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs,
                        EUCSType type) noexcept;
QGDI_API void uvYtoRGBY(double u, double v, double Y, double& r, double& g, double& b, const SColorSpecRGB& cs,
                        EUCSType type) noexcept;
