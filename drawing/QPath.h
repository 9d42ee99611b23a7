#pragma once
// The public path object: a handle on one SQPATH with value semantics
// (copies are deep).
#include "drawing/PathLinked.h"
#include "geometry/QMatrix3x3.h"

class CQCurve;

class QGDI_API CQPath {
public:
    CQPath();
    ~CQPath();
    CQPath(const CQPath& other);
    CQPath& operator=(const CQPath& other);
    CQPath(CQPath&& other) noexcept;
    CQPath& operator=(CQPath&& other) noexcept;
    // Takes over the caller's reference (null gives an empty path).
    explicit CQPath(SQPATH* adopt) noexcept;

    // Starts afresh: every contour is dropped.
    bool BeginPath();
    bool EndPath() { return m_path != nullptr; }
    bool MoveTo(double x, double y) { return MoveTo(SQPOINT{x, y}); }
    bool MoveTo(const SQPOINT& p);
    bool LineTo(double x, double y) { return LineTo(SQPOINT{x, y}); }
    bool LineTo(const SQPOINT& p);
    bool QuadraticCurveTo(const SQPOINT& c, const SQPOINT& end);
    bool CubicCurveTo(const SQPOINT& c1, const SQPOINT& c2, const SQPOINT& end);
    bool ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end);
    bool ClosePath();

    // Each replaces the path's content.
    bool CreateRect(const SQRECT& rect);
    bool CreateRoundRect(const SQRECT& rect, double rx, double ry);
    bool CreateEllipse(const SQRECT& rect);
    bool CreatePolygon(const SQPOINT* points, int count, bool closed = true);
    bool CreateSpiral(const SQPOINT& centre, double r0, double r1, double turns, double startAngle = 0.0,
                      EQSpiralType type = keSpiralArchimedean);

    bool Copy(const CQPath& src);
    bool Transform(const CQMatrix3x3& m) { return Transform(m.Data()); }
    bool Transform(const double* m);
    void ReversePath();
    bool ConvertToCubics();

    bool GetBBox(SQRECT& box) const;
    bool GetLooseBBox(SQRECT& box) const;
    int GetContourCount() const;
    int GetVertices(SQPOINT* out, int max) const;
    bool ContourIsClockwise(int contour) const;
    SQPOINT ContourGetCenterOfMass(int contour) const;
    bool IsEmpty() const;
    // Every contour's outline joined as one curve.
    bool AsCurve(CQCurve& curve) const;
    bool Send(VPathReceiver* receiver, const double* matrix = nullptr, bool noHooks = false) const;

    VPathReceiver* GetPathReceiver() noexcept { return m_path; }
    SQPATH* GetPath() const noexcept { return m_path; }

private:
    SQPATH* m_path;
};
