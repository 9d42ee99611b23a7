#pragma once
// Hue/saturation/lightness models.
//
// Classic HSL: the hexcone model on the values as given; H, S, L all 0..1.
//
// JKL: an opponent model on lightness-encoded channels. L is YtoL of the
// colour's luminance (a perceptual lightness 0..1, not the HSL mean); the hue
// and saturation of the hexcone model, taken from the L-encoded channels, are
// placed on a circle of radius S (circular) or on the hexagon with corners
// (S, 0), (S, S), (-S, S), (-S, 0), (-S, -S), (S, -S) at hues 0..5 (hexagonal).
// Both the channels and L pass through YtoL, whose table answers in 8192 steps,
// so values from RGBtoJKL are quantised to that table; JKLtoRGB inverts the
// exact curves and clamps requests outside the gamut (L to 0..1, S to 1).
//
// Colour-space-aware HSL: JKL with the circular layout read back as hue and saturation.
#include "colour/ColourSpaceRGB.h"

QGDI_API void ClassicRGBtoHSL(double r, double g, double b, double& h, double& s, double& l) noexcept;
QGDI_API void ClassicHSLtoRGB(double h, double s, double l, double& r, double& g, double& b) noexcept;

QGDI_API void RGBtoJKL(double r, double g, double b, double& J, double& K, double& L, const SColorSpecRGB& cs,
                       bool bCircular) noexcept;
QGDI_API void JKLtoRGB(double J, double K, double L, double& r, double& g, double& b, const SColorSpecRGB& cs,
                       bool bCircular) noexcept;
// (J, K) = S (cos 2 pi H, sin 2 pi H) with H wrapped into [0, 1) and S clamped
// to at most 1 (a negative S gives (0, 0)); returns 1 when S was out of range.
QGDI_API int HStoJK(double H, double S, double& J, double& K) noexcept;
// S = |(J, K)| clamped to 1 (returns 1 when clamped); H in [0, 1), 0 when S < 1e-6.
QGDI_API int JKtoHS(double J, double K, double& H, double& S) noexcept;
QGDI_API void RGBtoHSL(double r, double g, double b, double& H, double& S, double& L, const SColorSpecRGB& cs) noexcept;
QGDI_API void HSLtoRGB(double H, double S, double L, double& r, double& g, double& b, const SColorSpecRGB& cs) noexcept;
