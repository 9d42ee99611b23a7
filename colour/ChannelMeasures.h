#pragma once
// Measures of one colour and setters that replace one measure. Every family
// exists for the three encodings: D (device), L (lightness-encoded) and Y
// (linear light); the colour is decoded to linear light before measuring.
//
//   GetY   luminance (the Y row of the matrix applied to linear light)
//   GetL   YtoL(GetY), lightness/100 (from the shared YtoL table, so in 8192 steps)
//   GetC   L*a*b* chroma sqrt(a^2 + b^2) under the colour space's white, 0 for a grey
//   GetSA  absolute saturation: distance of the linear colour from (Y, Y, Y)
//   GetSR  relative saturation: 0 for a grey, 1 on the gamut surface, along
//          the line from (Y, Y, Y) through the colour
//
// Setters edit the three channels in place and keep the luminance where the
// measure allows:
//   SetY(y, grey)  scales linear light to luminance y, keeping chromaticity.
//                  A black colour becomes the grey of luminance y. When the
//                  scaled colour leaves the unit cube it is pulled back toward
//                  (grey, grey, grey) in linear light; a negative grey (use
//                  -1.0) means the grey of luminance y itself, which keeps the
//                  luminance exactly y. grey is in linear light like y.
//   SetL(l, grey)  the same for lightness l = YtoL(y); grey is lightness/100
//                  too, negative for the grey of lightness l.
//   SetC(c)        scales a*, b* to chroma c at the same L* and hue (a grey
//                  takes hue a*); may leave the cube when c is beyond the gamut.
//   SetSA(s)       D and L forms decode to linear light and RETURN LINEAR LIGHT,
//                  not re-encoded; the caller converts the result itself.
//   SetSR(s)       D and L forms re-encode the result in their own encoding.
#include "colour/ColourSpaceRGB.h"

QGDI_API double RGBDGetY(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBDGetL(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBDGetC(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBDGetSA(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBDGetSR(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBLGetY(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBLGetL(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBLGetC(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBLGetSA(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBLGetSR(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBYGetY(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBYGetL(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBYGetC(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBYGetSA(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
QGDI_API double RGBYGetSR(double r, double g, double b, const SColorSpecRGB& cs) noexcept;
// max - min of the three channels, whatever their encoding.
QGDI_API double RGBGetSA(double r, double g, double b) noexcept;

QGDI_API void RGBDSetY(double& r, double& g, double& b, const SColorSpecRGB& cs, double y, double grey) noexcept;
QGDI_API void RGBDSetL(double& r, double& g, double& b, const SColorSpecRGB& cs, double l, double grey) noexcept;
QGDI_API void RGBDSetC(double& r, double& g, double& b, const SColorSpecRGB& cs, double c) noexcept;
QGDI_API void RGBDSetSA(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept;
QGDI_API void RGBDSetSR(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept;
QGDI_API void RGBLSetY(double& r, double& g, double& b, const SColorSpecRGB& cs, double y, double grey) noexcept;
QGDI_API void RGBLSetL(double& r, double& g, double& b, const SColorSpecRGB& cs, double l, double grey) noexcept;
QGDI_API void RGBLSetC(double& r, double& g, double& b, const SColorSpecRGB& cs, double c) noexcept;
QGDI_API void RGBLSetSA(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept;
QGDI_API void RGBLSetSR(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept;
QGDI_API void RGBYSetY(double& r, double& g, double& b, const SColorSpecRGB& cs, double y, double grey) noexcept;
QGDI_API void RGBYSetL(double& r, double& g, double& b, const SColorSpecRGB& cs, double l, double grey) noexcept;
QGDI_API void RGBYSetC(double& r, double& g, double& b, const SColorSpecRGB& cs, double c) noexcept;
QGDI_API void RGBYSetSA(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept;
QGDI_API void RGBYSetSR(double& r, double& g, double& b, const SColorSpecRGB& cs, double s) noexcept;
