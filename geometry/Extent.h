#pragma once
// Bounding extents along fixed sets of directions (discrete oriented polytopes):
// for each unit normal n the extent keeps the smallest and largest n . p over
// the points added. With enough directions the intersection of these slabs hugs
// a point set far closer than an axis-aligned box while staying as cheap to
// update and to test.
#include <vector>

#include "geometry/QRect.h"
#include "qgdi_export.h"

struct QGDI_API SQPOINT3 {
    double x;
    double y;
    double z;
};

// What the 2D and 3D extents share: the normals and, for each, the smallest
// and largest projection of the points added.
template <class P>
class QGDI_API TQSlabExtent {
public:
    // Forgets every point; the normals stay.
    void Reset() noexcept;
    bool IsEmpty() const noexcept { return m_empty; }
    int GetNormalCount() const noexcept { return int(m_normals.size()); }
    P GetNormal(int i) const { return m_normals.at(i); }
    double GetMin(int i) const { return m_min.at(i); }
    double GetMax(int i) const { return m_max.at(i); }

    void AddNewPoint(const P& p) noexcept;
    void AddNewPoints(const P* points, int count) noexcept;
    // Moves every slab face outward by d (inward for negative d; an extent
    // shrunk past zero thickness becomes empty).
    void Expand(double d) noexcept;

    // The smallest width over all normals (0 when empty).
    double GetThickness() const noexcept;
    double GetThickness(int i) const { return m_empty ? 0.0 : m_max.at(i) - m_min.at(i); }
    // Inside every slab, faces included, within `tolerance`.
    bool IsPointInside(const P& p, double tolerance = 0.0) const noexcept;
    // The largest signed distance of p beyond a slab face: positive outside (a
    // lower bound of the distance to the hull), zero or negative inside (minus
    // the depth to the nearest face). An empty extent answers +infinity.
    double MeasureDistance(const P& p) const noexcept;

protected:
    // Normalises the caller's normals and drops those shorter than the
    // tolerance; a set that does not span the space gains the axes.
    void SetNormals(const P* normals, int count);

    std::vector<P> m_normals;
    std::vector<double> m_min;
    std::vector<double> m_max;
    bool m_empty = true;
};

extern template class TQSlabExtent<SQPOINT>;
extern template class TQSlabExtent<SQPOINT3>;

class QGDI_API CExtent2D : public TQSlabExtent<SQPOINT> {
public:
    // Four directions 45 degrees apart: an eight-sided hull.
    CExtent2D();
    // `directions` (at least 2) normals spread evenly over half a turn.
    explicit CExtent2D(int directions);
    CExtent2D(const SQPOINT* normals, int count);

    // Adds the other extent's polygon; both must use the same normals to stay tight.
    void AddExtent(const CExtent2D& other);
    // The area of the polygon the slabs enclose.
    double EstimateArea() const;
    // That polygon's corners in counter-clockwise order (y up); empty when the extent is.
    std::vector<SQPOINT> GetPolygon() const;
    // Bounding rectangle of the polygon; false when empty.
    bool GetBoundingRect(SQRECT& rc) const;
};

class QGDI_API CExtent3D : public TQSlabExtent<SQPOINT3> {
public:
    // The three axes and the four body diagonals: a fourteen-sided hull.
    CExtent3D();
    CExtent3D(const SQPOINT3* normals, int count);

    // The volume of the polytope the slabs enclose.
    double EstimateVolume() const;
    // The polytope's corners (no particular order).
    std::vector<SQPOINT3> GetVertices() const;
};
