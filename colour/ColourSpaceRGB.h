#pragma once
// Description of an RGB colour space: its transfer curve and its matrices to
// and from CIE XYZ. A plain record, copied by value.
#include <cstdint>

#include "qgdi_export.h"

// Transfer-curve kinds of nGammaType.
enum EQGammaType : uint32_t {
    keGammaPower = 0,  // x^dGamma (sRGB when dGamma <= 0)
    keGammaSRGB = 1,
    keGammaLStar = 2,  // the CIE L* curve
    keGammaRec709 = 3,
};

struct SColorSpecRGB {
    uint32_t nGammaType;
    double dGamma;
    // Column by column: entries 0-2 are X, Y, Z of pure red, 3-5 of green, 6-8 of blue.
    double mRGBtoXYZ[9];
    // Stored the same way: entries 0-2 are R, G, B of X, 3-5 of Y, 6-8 of Z.
    double mXYZtoRGB[9];
};

// sRGB with its D65 matrices (the published 7-decimal values).
inline constexpr SColorSpecRGB kColorSpecSRGB = {
    keGammaSRGB,
    2.4,
    {0.4124564, 0.2126729, 0.0193339, 0.3575761, 0.7151522, 0.1191920, 0.1804375, 0.0721750, 0.9503041},
    {3.2404542, -0.9692660, 0.0556434, -1.5371385, 1.8760108, -0.2040259, -0.4985314, 0.0415560, 1.0572252},
};

// The process-wide current colour-space description. The pointer is kept, not the
// record: the caller keeps it alive. Null restores the built-in sRGB.
QGDI_API void QGDI_Vantor_SetColorSpec(const SColorSpecRGB* cs) noexcept;
QGDI_API const SColorSpecRGB* QGDI_Vantor_GetColorSpec() noexcept;

// Reference white of a space: the XYZ of linear RGB (1, 1, 1), i.e. the column sums.
inline void QGDI_ColorSpecWhite(const SColorSpecRGB& cs, double& Xw, double& Yw, double& Zw) noexcept {
    const double* m = cs.mRGBtoXYZ;
    Xw = m[0] + m[3] + m[6];
    Yw = m[1] + m[4] + m[7];
    Zw = m[2] + m[5] + m[8];
}

// Luminance of a linear-light colour: the Y row of the matrix.
inline double QGDI_ColorSpecLuminance(const SColorSpecRGB& cs, double r, double g, double b) noexcept {
    const double* m = cs.mRGBtoXYZ;
    return r * m[1] + g * m[4] + b * m[7];
}

// Builds a space from the xy chromaticities of its three primaries and the XYZ
// of its white: each primary column is scaled so that the columns sum to the
// white, and the inverse is stored beside it. False (cs untouched) when a
// primary has y = 0 or the primaries are collinear.
QGDI_API bool QGDI_MakeColorSpec(double xr, double yr, double xg, double yg, double xb, double yb, double Xw, double Yw,
                                 double Zw, uint32_t gammaType, double gamma, SColorSpecRGB& cs) noexcept;
