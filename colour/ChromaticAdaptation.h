#pragma once
// Chromatic adaptation between two white points by scaling cone responses.
#include "geometry/GenMatrix.h"
#include "qgdi_export.h"

enum EChromaticAdaptationType : int32_t {
    keAdaptXYZScaling = 0,  // identity cone matrix
    keAdaptVonKries = 1,
    keAdaptBradford = 2,  // also any other value
};

// The 3x3 adaptation from the source white to the destination white (XYZ):
// A = M^-1 diag(gains) M with gain k = (row k of M . destination)/(row k of M .
// source). The matrix returned is A transposed, the layout ChromaticAdaptation
// expects. A source white with no response in some cone channel gives the identity.
QGDI_API CGenMatrix CreateChromaticAdaptationMatrix(double Xs, double Ys, double Zs, double Xd, double Yd, double Zd,
                                                    EChromaticAdaptationType type);
// X' = X e(0,0) + Y e(1,0) + Z e(2,0), Y' and Z' likewise with columns 1 and 2.
// A matrix that is not 3x3 leaves the colour unchanged.
QGDI_API void ChromaticAdaptation(double X, double Y, double Z, double& Xout, double& Yout, double& Zout,
                                  const CGenMatrix& m) noexcept;
