#pragma once
// Gradient colour sources. Each owns its 1025-entry table, its spread and the
// matrix from device pixels to its gradient space (the pixel-centre offset
// included, so pixel (x, y) maps through m as the point (x, y)); the row work
// is one walk through gradient space per span and a table read per pixel.
#include "drawing/FillSrc.h"
#include "drawing/Gradient.h"
#include "geometry/QPoint.h"
#include "geometry/QRect.h"

namespace qgdi::gradient {
struct SSpanWalk;
}

class QGDI_API CFillSrcGradient : public CQFillSrc {
public:
    bool IsOpaque() const noexcept override { return m_opaque; }
    const uint32_t* GetLUT() const noexcept { return m_lut; }
    ESpreadMethod GetSpread() const noexcept { return m_spread; }
    // Device to gradient space.
    const double* GetMatrix() const noexcept { return m_matrix; }
    // The gradient parameter at device pixel (x, y), before spreading.
    virtual double GetParameter(double x, double y) const noexcept = 0;

protected:
    CFillSrcGradient() noexcept = default;
    CFillSrcGradient(const CFillSrcGradient& other) noexcept;
    // Cleans the stops, builds the table and takes the spread and the matrix
    // `pointsToGradient` x inverse(device from points); false on bad stops,
    // a singular mapping or an empty box in bounding-box units.
    bool Init(const SQRECT& bounds, int flag, const double* matrix, const double* pointsToGradient,
              const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread);
    // Where pixels x .. x + n - 1 of row y lie in gradient space; with
    // perspective, exact at both ends of the stretch (callers keep it short).
    void Walk(int x, int y, int n, qgdi::gradient::SSpanWalk& walk) const noexcept;
    // Maps the device point through the matrix to gradient space.
    void ToGradient(double x, double y, double& u, double& v) const noexcept;
    // Whether the map divides differently along a row (perspective in x).
    bool HasPerspective() const noexcept { return m_matrix[6] != 0.0; }

    uint32_t m_lut[kGradientLUTSize] = {};
    ESpreadMethod m_spread = keSpreadUnset;
    double m_matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    bool m_opaque = false;
};

// t = 0 at the start point, 1 at the end point, constant across the line between them.
class QGDI_API CFillSrcLinearGradient : public CFillSrcGradient {
public:
    bool Create(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end, int flag, const uint32_t* colours,
                const double* offsets, int count, ESpreadMethod spread, const double* matrix);
    EQFillType GetType() const noexcept override { return keFillLinearGradient; }
    CQFillSrc* Clone() const override;
    void GetSpan(int x, int y, int count, uint32_t* out) override;
    double GetParameter(double x, double y) const noexcept override;
};

class QGDI_API CFillSrcRadialGradient : public CFillSrcGradient {
public:
    // A focal point on or outside the circle is moved inside it (to 0.999 of the radius).
    bool Create(const SQRECT& bounds, const SQPOINT& centre, double radius, const SQPOINT& focal, int flag,
                const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                const double* matrix);
    EQFillType GetType() const noexcept override { return keFillRadialGradient; }
    CQFillSrc* Clone() const override;
    void GetSpan(int x, int y, int count, uint32_t* out) override;
    double GetParameter(double x, double y) const noexcept override;

private:
    double m_fx = 0, m_fy = 0;  // the focal point where the circle is the unit circle
};

class QGDI_API CFillSrcAngularGradient : public CFillSrcGradient {
public:
    bool Create(const SQRECT& bounds, const SQPOINT& centre, double angle, int flag, const uint32_t* colours,
                const double* offsets, int count, ESpreadMethod spread, const double* matrix);
    EQFillType GetType() const noexcept override { return keFillAngularGradient; }
    CQFillSrc* Clone() const override;
    void GetSpan(int x, int y, int count, uint32_t* out) override;
    double GetParameter(double x, double y) const noexcept override;
};

class QGDI_API CFillSrcRectangularGradient : public CFillSrcGradient {
public:
    bool Create(const SQRECT& bounds, const SQPOINT& corner0, const SQPOINT& corner1, int flag,
                const uint32_t* colours, const double* offsets, int count, ESpreadMethod spread,
                const double* matrix);
    EQFillType GetType() const noexcept override { return keFillRectangularGradient; }
    CQFillSrc* Clone() const override;
    void GetSpan(int x, int y, int count, uint32_t* out) override;
    double GetParameter(double x, double y) const noexcept override;
};

// Null on bad stops or degenerate geometry (start on end, a radius or a side
// of 0, a singular matrix) or when memory runs out.
QGDI_API CQFillSrc* QGDI_FillSrcLinearGradient_Create(const SQRECT& bounds, const SQPOINT& start, const SQPOINT& end,
                                                      int flag, const uint32_t* colours, const double* offsets,
                                                      int count, ESpreadMethod spread, const double* matrix);
QGDI_API CQFillSrc* QGDI_FillSrcRadialGradient_Create(const SQRECT& bounds, const SQPOINT& centre, double radius,
                                                      const SQPOINT& focal, int flag, const uint32_t* colours,
                                                      const double* offsets, int count, ESpreadMethod spread,
                                                      const double* matrix);
QGDI_API CQFillSrc* QGDI_FillSrcAngularGradient_Create(const SQRECT& bounds, const SQPOINT& centre, double angle,
                                                       int flag, const uint32_t* colours, const double* offsets,
                                                       int count, ESpreadMethod spread, const double* matrix);
QGDI_API CQFillSrc* QGDI_FillSrcRectangularGradient_Create(const SQRECT& bounds, const SQPOINT& corner0,
                                                           const SQPOINT& corner1, int flag, const uint32_t* colours,
                                                           const double* offsets, int count, ESpreadMethod spread,
                                                           const double* matrix);
