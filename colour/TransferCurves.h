#pragma once
// Per-channel transfer curves and the three RGB encodings: device (D, the
// image's gamma-encoded values), linear light (Y) and lightness-encoded (L,
// each linear channel through the CIE L* curve, divided by 100).
//
// Encoding into L goes through YtoL, whose table answers in 8192 steps, so
// every L-encoded result (RGBYtoRGBL, DtoL, the RGBL setters...) is exact to
// one step of that table (about 1e-4, up to 1.1e-3 near black); decoding from
// L is exact.
#include "colour/ColourSpaceRGB.h"

// Device to linear light by the curve of the colour space; odd-symmetric.
QGDI_API double DtoY(double x, const SColorSpecRGB& cs) noexcept;
// Linear light to device; odd-symmetric, YtoD(0) = 0.
QGDI_API double YtoD(double y, const SColorSpecRGB& cs) noexcept;
// Linear light to lightness/100. Inside 0..1 it answers from a shared 8192-entry
// table (index = trunc(y * 8191)), so its result is a step function there;
// outside it computes the curve exactly.
QGDI_API double YtoL(double y) noexcept;
// Lightness/100 to linear light, always exact.
QGDI_API double LtoY(double l) noexcept;
QGDI_API double DtoL(double x, const SColorSpecRGB& cs) noexcept;
QGDI_API double LtoD(double l, const SColorSpecRGB& cs) noexcept;

QGDI_API void RGBDtoRGBY(double r, double g, double b, double& rY, double& gY, double& bY,
                         const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBDtoRGBL(double r, double g, double b, double& rL, double& gL, double& bL,
                         const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBLtoRGBD(double r, double g, double b, double& rD, double& gD, double& bD,
                         const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBLtoRGBY(double r, double g, double b, double& rY, double& gY, double& bY) noexcept;
QGDI_API void RGBYtoRGBD(double r, double g, double b, double& rD, double& gD, double& bD,
                         const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBYtoRGBL(double r, double g, double b, double& rL, double& gL, double& bL) noexcept;
