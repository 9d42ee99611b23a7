#pragma once
// Bounding extents along fixed sets of directions (discrete oriented polytopes):
// for each unit normal n the extent keeps the smallest and largest n . p over
// the points added. With enough directions the intersection of these slabs hugs
// a point set far closer than an axis-aligned box while staying as cheap to
// update and to test.
#include <vector>

#include "geometry/QRect.h"
#include "qgdi_export.h"

struct SQPOINT3 {
    double x;
    double y;
    double z;
};

class QGDI_API CExtent2D {
public:
    // Four directions 45 degrees apart: an eight-sided hull.
    CExtent2D();
    // `directions` (at least 2) normals spread evenly over half a turn.
    explicit CExtent2D(int directions);
    // Caller's normals, normalised; vectors shorter than the tolerance are
    // dropped, and a set that does not span the plane gains the two axes.
    CExtent2D(const SQPOINT* normals, int count);

    // Forgets every point; the normals stay.
    void Reset() noexcept;
    bool IsEmpty() const noexcept { return m_empty; }
    int GetNormalCount() const noexcept { return int(m_normals.size()); }
    SQPOINT GetNormal(int i) const { return m_normals.at(i); }
    double GetMin(int i) const { return m_min.at(i); }
    double GetMax(int i) const { return m_max.at(i); }

    void AddNewPoint(const SQPOINT& p) noexcept;
    void AddNewPoints(const SQPOINT* points, int count) noexcept;
    // Adds the other extent's polygon; both must use the same normals to stay tight.
    void AddExtent(const CExtent2D& other);
    // Moves every slab face outward by d (inward for negative d; an extent
    // shrunk past zero thickness becomes empty).
    void Expand(double d) noexcept;

    // The smallest width over all normals (0 when empty).
    double GetThickness() const noexcept;
    double GetThickness(int i) const { return m_empty ? 0.0 : m_max.at(i) - m_min.at(i); }
    // Inside every slab, faces included, within `tolerance`.
    bool IsPointInside(const SQPOINT& p, double tolerance = 0.0) const noexcept;
    // The largest signed distance of p beyond a slab face: positive outside (a
    // lower bound of the distance to the polygon), zero or negative inside
    // (minus the depth to the nearest face). An empty extent answers +infinity.
    double MeasureDistance(const SQPOINT& p) const noexcept;
    // The area of the polygon the slabs enclose.
    double EstimateArea() const;
    // That polygon's corners in counter-clockwise order (y up); empty when the extent is.
    std::vector<SQPOINT> GetPolygon() const;
    // Bounding rectangle of the polygon; false when empty.
    bool GetBoundingRect(SQRECT& rc) const;

private:
    void SetNormals(const SQPOINT* normals, int count);

    std::vector<SQPOINT> m_normals;
    std::vector<double> m_min;
    std::vector<double> m_max;
    bool m_empty = true;
};

class QGDI_API CExtent3D {
public:
    // The three axes and the four body diagonals: a fourteen-sided hull.
    CExtent3D();
    // Caller's normals, normalised; a set that does not span space gains the axes.
    CExtent3D(const SQPOINT3* normals, int count);

    void Reset() noexcept;
    bool IsEmpty() const noexcept { return m_empty; }
    int GetNormalCount() const noexcept { return int(m_normals.size()); }
    SQPOINT3 GetNormal(int i) const { return m_normals.at(i); }
    double GetMin(int i) const { return m_min.at(i); }
    double GetMax(int i) const { return m_max.at(i); }

    void AddNewPoint(const SQPOINT3& p) noexcept;
    void AddNewPoints(const SQPOINT3* points, int count) noexcept;
    void Expand(double d) noexcept;

    double GetThickness() const noexcept;
    double GetThickness(int i) const { return m_empty ? 0.0 : m_max.at(i) - m_min.at(i); }
    bool IsPointInside(const SQPOINT3& p, double tolerance = 0.0) const noexcept;
    double MeasureDistance(const SQPOINT3& p) const noexcept;
    // The volume of the polytope the slabs enclose.
    double EstimateVolume() const;
    // The polytope's corners (no particular order).
    std::vector<SQPOINT3> GetVertices() const;

private:
    void SetNormals(const SQPOINT3* normals, int count);

    std::vector<SQPOINT3> m_normals;
    std::vector<double> m_min;
    std::vector<double> m_max;
    bool m_empty = true;
};
