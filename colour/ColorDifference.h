#pragma once
// Colour differences. Colour 1 is the reference: its chroma and hue weight the
// terms of the CMC and CIE 1994 formulas. Hue angles in the CMC and CIEDE2000
// forms use the same two angle constants as LabtoLCHab / LCHabtoLab, so those
// two formulas give this library's values, not textbook ones.
#include "colour/ColourSpaceRGB.h"

enum EDeltaEType : int32_t {
    keDeltaECMC = 0,      // CMC with l = c = 1
    keDeltaECIE1976 = 1,  // Euclidean distance in Lab; also any unknown value
    keDeltaECIE1994 = 2,  // graphic-arts weights
    keDeltaECIEDE2000 = 3,
};

QGDI_API double DeltaE(double L1, double a1, double b1, double L2, double a2, double b2, EDeltaEType type) noexcept;
// Device RGB of both colours to Lab under the colour space's white, then the above.
QGDI_API double DeltaE(double R1, double G1, double B1, double R2, double G2, double B2, const SColorSpecRGB& cs,
                       EDeltaEType type) noexcept;
