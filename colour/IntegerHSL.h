#pragma once
// Hue/saturation models on integer channels, for pixel kernels (the
// non-separable blend modes among them).
//
// The _Fract forms take channels 0..nMax (255 for 8-bit, 65535 for 16-bit
// pixels) and give a fractional triple: hue in [0, 1), the other two in 0..1.
// Back to channels they truncate v x (nMax + 0.9999) and clamp, as every
// quantiser of the library does, so that channels survive a round trip.
//   HSL  hexcone hue, HSL saturation, lightness (max + min)/2
//   HSB  hexcone hue, saturation (max - min)/max, brightness max
//   HSY  hexcone hue, chroma max - min, luma 0.299 R + 0.587 G + 0.114 B; a
//        triple outside the cube is pulled toward the grey of its luma, so
//        the luma is kept
//
// RGB_to_HSL / HSL_to_RGB: 8-bit channels and an 8-bit triple, each of H, S, L
// rounded to 0..255 (H in 256ths of a turn). A round trip can move a channel
// by a few steps: the hue has only 256 values around the circle.
#include "qgdi_export.h"

QGDI_API void RGB_to_HSL(int r, int g, int b, int& h, int& s, int& l) noexcept;
QGDI_API void HSL_to_RGB(int h, int s, int l, int& r, int& g, int& b) noexcept;

QGDI_API void RGB_to_HSL_Fract(int r, int g, int b, double& h, double& s, double& l, int nMax = 255) noexcept;
QGDI_API void HSL_Fract_to_RGB(double h, double s, double l, int& r, int& g, int& b, int nMax = 255) noexcept;
QGDI_API void RGB_to_HSB_Fract(int r, int g, int b, double& h, double& s, double& v, int nMax = 255) noexcept;
QGDI_API void HSB_Fract_to_RGB(double h, double s, double v, int& r, int& g, int& b, int nMax = 255) noexcept;
QGDI_API void RGB_to_HSY_Fract(int r, int g, int b, double& h, double& s, double& y, int nMax = 255) noexcept;
QGDI_API void HSY_Fract_to_RGB(double h, double s, double y, int& r, int& g, int& b, int nMax = 255) noexcept;
