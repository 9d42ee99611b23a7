#pragma once
// 3x3 projective matrices as bare arrays of nine doubles, row by row:
//   m0 m1 m2 / m3 m4 m5 / m6 m7 m8
// Points are column vectors: x' = (m0 x + m1 y + m2) / w, y' = (m3 x + m4 y + m5) / w,
// w = m6 x + m7 y + m8. A null input array stands for the identity; a null
// output array makes the call do nothing.
//
// The composing functions here pre-multiply (m = Op x m): the new operation acts
// after the transform already in m. CQMatrix3x3's members post-multiply.
#include <cstdint>

#include "geometry/QRect.h"
#include "platform/windef.h"
#include "qgdi_export.h"

// Classification bits: each is set when its element differs from the identity
// value by at least the geometry tolerance.
enum EQMatrixFlag : uint32_t {
    keMatrixFlagNone = 0,
    keMatrixFlagTranslateX = 1,      // m2
    keMatrixFlagTranslateY = 2,      // m5
    keMatrixFlagScaleX = 4,          // m0 - 1
    keMatrixFlagScaleY = 8,          // m4 - 1
    keMatrixFlagShearX = 16,         // m1
    keMatrixFlagShearY = 32,         // m3
    keMatrixFlagPerspectiveX = 64,   // m6
    keMatrixFlagPerspectiveY = 128,  // m7
    keMatrixFlagHomogeneous = 256,   // m8 - 1
    keMatrixFlagTranslate = 3,
    keMatrixFlagLinear = 60,
    keMatrixFlagProjective = 448,
    keMatrixFlagsUnknown = 0xFFFF,  // cached word not computed yet
};

QGDI_API void QGDI_MatrixIdentity(double* m) noexcept;
QGDI_API void QGDI_MatrixCopy(double* dst, const double* src) noexcept;
// out = a x b; out may be a or b.
QGDI_API void QGDI_MatrixMultiply(double* out, const double* a, const double* b) noexcept;
// m = other x m, the composition order of this family.
QGDI_API void QGDI_MatrixMulEquals(double* m, const double* other) noexcept;

QGDI_API void QGDI_MatrixRotate(double* m, double radians) noexcept;
QGDI_API void QGDI_MatrixScale(double* m, double sx, double sy) noexcept;
QGDI_API void QGDI_MatrixTranslate(double* m, double tx, double ty) noexcept;
QGDI_API void QGDI_MatrixShearX(double* m, double k) noexcept;
QGDI_API void QGDI_MatrixShearY(double* m, double k) noexcept;
QGDI_API void QGDI_MatrixPerspectiveX(double* m, double k) noexcept;
QGDI_API void QGDI_MatrixPerspectiveY(double* m, double k) noexcept;

QGDI_API double QGDI_MatrixGetDeterminant(const double* m) noexcept;
QGDI_API void QGDI_MatrixGetAdjoint(const double* m, double* out) noexcept;
QGDI_API void QGDI_MatrixGetTranspose(const double* m, double* out) noexcept;
// False, with out untouched, when |det| < 1e-32.
QGDI_API bool QGDI_MatrixGetInverse(const double* m, double* out) noexcept;

QGDI_API bool QGDI_MatrixIsIdentity(const double* m) noexcept;
// No flag outside the translation bits; the identity counts.
QGDI_API bool QGDI_MatrixIsTranslateOnly(const double* m) noexcept;
// Affine: no perspective and no homogeneous scale.
QGDI_API bool QGDI_MatrixIs2x3(const double* m) noexcept;
QGDI_API bool QGDI_MatrixIsEqual(const double* a, const double* b) noexcept;
// Compares only the linear part m0 m1 m3 m4.
QGDI_API bool QGDI_MatrixIsEqual2x2(const double* a, const double* b) noexcept;

QGDI_API uint32_t QGDI_MatrixFlagGet(const double* m) noexcept;
inline bool QGDI_MatrixFlagIsSet(uint32_t flags, uint32_t mask) noexcept { return (flags & mask) != 0; }
inline bool QGDI_MatrixFlagIsClear(uint32_t flags, uint32_t mask) noexcept { return (flags & mask) == 0; }
inline bool QGDI_MatrixFlagIsSetExclusively(uint32_t flags, uint32_t mask) noexcept {
    return (flags & mask) != 0 && (flags & ~mask) == 0;
}

QGDI_API void QGDI_MatrixTransform(const double* m, double& x, double& y) noexcept;
QGDI_API void QGDI_MatrixTransform(const double* m, SQPOINT& p) noexcept;
QGDI_API void QGDI_MatrixTransform(const double* m, SQPOINT* points, int count) noexcept;
// count pairs of doubles x0 y0 x1 y1 ...
QGDI_API void QGDI_MatrixTransform(const double* m, double* xy, int count) noexcept;
// The bounding rectangle of the four transformed corners.
QGDI_API void QGDI_MatrixTransform(const double* m, SQRECT& rc) noexcept;

// Splits the linear part into row scales and one rotation, diag(sx, sy) x R(angle);
// false (angle 0) for shear, mirroring or a degenerate linear part.
QGDI_API bool QGDI_MatrixDecomposeScalingAndRotation(const double* m, double& sx, double& sy, double& angle) noexcept;
