#pragma once
// Building 3x3 matrices from point correspondences, parameters and boxes. Every
// function here writes a whole new matrix into `m` (nothing is composed) and
// leaves `m` untouched when it fails.
#include "geometry/QRect.h"
#include "qgdi_export.h"

// The factors of a projective matrix, applied to a point in this order: scale,
// shear along x, rotation, translation, and last the perspective division:
//   M = A x P,  A = T(offset) x R(rotation) x Sh(tan shear) x S(scaleX, scaleY),
//   P = [1 0 0; 0 1 0; perspectiveX perspectiveY 1].
// Angles are in degrees; rotation turns +x toward +y.
struct SQMatrixParams {
    double dScaleX = 1.0;
    double dScaleY = 1.0;
    double dRotation = 0.0;
    double dShear = 0.0;
    double dOffsetX = 0.0;
    double dOffsetY = 0.0;
    double dPerspectiveX = 0.0;
    double dPerspectiveY = 0.0;
};

enum EQSpaceMapMode : int {
    keSpaceMapStretch = 0,  // independent x and y scales: `from` fills `to` exactly
    keSpaceMapFit = 1,      // one scale, the whole of `from` visible, centred
    keSpaceMapFill = 2,     // one scale, `to` covered entirely, centred
    keSpaceMapCenter = 3,   // no scaling, centres aligned
};

// The affine map taking src[i] to dst[i]; false when the source points are collinear.
QGDI_API bool QGDI_MatrixFrom3Points(double* m, const SQPOINT src[3], const SQPOINT dst[3]) noexcept;
// The projective map taking src[i] to dst[i]; false when three of either set are collinear.
QGDI_API bool QGDI_MatrixFrom4Points(double* m, const SQPOINT src[4], const SQPOINT dst[4]) noexcept;
// The projective map of the rectangle's corners (top-left, top-right,
// bottom-right, bottom-left) onto dst[0..3].
QGDI_API bool QGDI_MatrixFromRectAnd4Points(double* m, const SQRECT& rc, const SQPOINT dst[4]) noexcept;
// By the number of correspondences: 1 a translation, 2 a similarity (uniform
// scale, rotation, translation), 3 an affine map, 4 a projective map, and more
// than 4 the least-squares projective map (algebraic error on normalised points).
QGDI_API bool QGDI_MatrixFromPoints(double* m, const SQPOINT* src, const SQPOINT* dst, int count) noexcept;

QGDI_API void QGDI_MatrixFromParameters(double* m, const SQMatrixParams& params) noexcept;
// The inverse of QGDI_MatrixFromParameters. A mirrored matrix comes back with a
// negative dScaleY; false when the matrix has m8 = 0 or a singular linear part.
QGDI_API bool QGDI_MatrixToParameters(const double* m, SQMatrixParams& params) noexcept;

// The scale-and-translate map of `from` onto `to` by `mode`; false when `from`
// is empty (or `to`, for the scaling modes).
QGDI_API bool QGDI_MatrixGetSpaceMap(double* m, const SQRECT& from, const SQRECT& to, EQSpaceMapMode mode) noexcept;

// Replaces a perspective matrix by the nearest one without x perspective (m6 = 0)
// when, over `area`, no mapped point moves by more than `maxError`: along each
// row the source position then advances by a constant step, which row loops can
// step without a division per pixel. True when m is linear in x on return; false
// leaves m unchanged.
QGDI_API bool QGDI_SimplifyMatrixToLinearX(double* m, const SQRECT& area, double maxError) noexcept;
