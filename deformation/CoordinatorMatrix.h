#pragma once
// The coordinate map of a 3x3 matrix from destination to source positions, to
// which every affine and perspective distortion reduces.
#include "deformation/Coordinator.h"
#include "geometry/QMatrix3x3.h"

class QGDI_API CCoordinatorMatrix : public CCoordinator {
public:
    // Nine doubles row by row (points as column vectors, perspective in the
    // last row), mapping destination pixels to source pixels; null is the identity.
    explicit CCoordinatorMatrix(const double* m = nullptr) noexcept;
    explicit CCoordinatorMatrix(const CQMatrix3x3& m) noexcept : CCoordinatorMatrix(m.Data()) {}

    // The destination size is the integer box covering the source corners
    // (0, 0) – (W − 1, H − 1) mapped back through the inverse. False, with a
    // 0 x 0 destination, for a singular matrix, a source corner beyond the
    // horizon of a perspective, or a destination wider or taller than 2^28.
    bool Realize(int width, int height) override;

    using CCoordinator::GetCoordinates;
    // The bounding box is that of the four corner points, the extremes of any
    // affine or perspective image of a rectangle.
    void GetCoordinates(POINT* out, const RECT& rect, RECT* bbox) override;
    void GetCoordinates(POINT* out, int y, int x, int count) override;
    bool GetBBox(RECT* bbox, const RECT& rect) override;

    const double* GetMatrix() const noexcept { return m_m; }
    void SetMatrix(const double* m) noexcept;

protected:
    double m_m[9];
};

// Source coordinates in 1/256 pixel of the count pixels (x + i, y) through m
// (null is the identity). The identity is exact; an affine matrix steps its
// start value by (m0, m3)·256 per pixel, a perspective one also steps the
// homogeneous w by m6 and divides once per pixel. Ties round to even.
QGDI_API void QGDI_ResampleGetCoordinates256(POINT* out, int count, int x, int y, const double* m) noexcept;
