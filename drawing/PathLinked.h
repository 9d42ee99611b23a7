#pragma once
// The linked form of a path: a reference-counted SQPATH holding a doubly
// linked list of SQCONTOURs, each a doubly linked list of SQEDGEs. Edges and
// contours are heap records owned by whatever links them.
#include <cstdint>

#include "drawing/PathReceiver.h"
#include "drawing/Refed.h"
#include "geometry/QRect.h"

enum EQEdgeType : int32_t {
    keEdgeLine = 0,
    keEdgeQuadratic = 1,  // control point 1 used
    keEdgeCubic = 2,      // both control points
    keEdgeArc = 3,        // radii in c1, rotation and flags in arc
};

// The arc's parameters where a cubic keeps its second control point.
struct SQARCPARAMS {
    double rotation;  // x-axis rotation, degrees
    int32_t sweep;
    int32_t largeArc;
};

struct SQEDGE {
    SQPOINT c1;  // control point 1, or the arc's radii
    union {
        SQPOINT c2;
        SQARCPARAMS arc;
    };
    SQPOINT start;
    SQPOINT end;
    int32_t type;
    SQEDGE* prev;
    SQEDGE* next;
};

struct SQCONTOUR {
    SQEDGE* first;
    SQEDGE* last;
    SQCONTOUR* prev;
    SQCONTOUR* next;
    int32_t number;
    int32_t modified;     // 1 at creation and after every added edge
    int32_t vertexCount;  // +1 per added edge, +3 per added chain of edges
    int32_t closed;
    int32_t edgeCount;
    int32_t reserved;
};

struct SQPATHCMD;

// A path that builds itself from the receiver protocol.
struct QGDI_API SQPATH : public VPathReceiver, public VQGDIRefed {
    SQCONTOUR* current = nullptr;
    SQCONTOUR* first = nullptr;
    SQCONTOUR* last = nullptr;
    int32_t contoursCreated = 0;

    SQPATH() noexcept = default;

    bool LineTo(const SQPOINT& point, const double* matrix) override;
    bool MoveTo(const SQPOINT& point, const double* matrix) override;
    bool ClosePath(const double* matrix) override;
    bool QuadraticCurveTo(const SQPOINT& control, const SQPOINT& end, const double* matrix) override;
    bool CubicCurveTo(const SQPOINT& control1, const SQPOINT& control2, const SQPOINT& end,
                      const double* matrix) override;
    bool ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end,
               const double* matrix) override;

    void SetPoints(const SQPOINT& start, const SQPOINT& current) noexcept {
        m_start = start;
        m_current = current;
    }
    // Frees every contour; the path stays usable and empty.
    void Clear() noexcept;

protected:
    ~SQPATH() override;

private:
    SQCONTOUR* Current();
    bool Append(SQEDGE* edge);
};

// ---- Edges
QGDI_API SQEDGE* QGDI_EdgeCreateLine(const SQPOINT& start, const SQPOINT& end) noexcept;
QGDI_API SQEDGE* QGDI_EdgeCreateQuadraticCurve(const SQPOINT& start, const SQPOINT& control,
                                               const SQPOINT& end) noexcept;
QGDI_API SQEDGE* QGDI_EdgeCreateCubicCurve(const SQPOINT& start, const SQPOINT& c1, const SQPOINT& c2,
                                           const SQPOINT& end) noexcept;
QGDI_API SQEDGE* QGDI_EdgeCreateArc(const SQPOINT& radii, double rotation, bool largeArc, bool sweep,
                                    const SQPOINT& start, const SQPOINT& end) noexcept;
QGDI_API SQEDGE* QGDI_EdgeCopy(const SQEDGE* edge) noexcept;
// Fills edge from a command starting at start; false (edge untouched) for MoveTo and ClosePath.
QGDI_API bool QGDI_EdgeFromPathCmd(SQEDGE* edge, const SQPOINT& start, const SQPATHCMD& cmd) noexcept;
QGDI_API double QGDI_EdgeGetLength(const SQEDGE* edge) noexcept;
// Tight (exact extrema of the curve) box.
QGDI_API bool QGDI_EdgeGetBBox(const SQEDGE* edge, SQRECT& box) noexcept;
// The point at a distance along the edge (clamped); tangent optional (unit).
QGDI_API bool QGDI_EdgeSeekDistance(const SQEDGE* edge, double distance, SQPOINT& point,
                                    SQPOINT* tangent = nullptr) noexcept;
// Up to max intersection points of two edges; returns how many were found.
QGDI_API int QGDI_EdgeIntersection(const SQEDGE* a, const SQEDGE* b, SQPOINT* out, int max) noexcept;
QGDI_API void QGDI_EdgeReverseDirection(SQEDGE* edge) noexcept;
// False for an arc under a perspective matrix (an arc cannot stay an arc).
QGDI_API bool QGDI_EdgeTransform(SQEDGE* edge, const double* matrix) noexcept;
QGDI_API void QGDI_EdgeDestroy(SQEDGE* edge) noexcept;
// The edge as cubic pieces, four points each (room for 16); lines and
// quadratics give one piece, arcs up to four, a degenerate arc a straight piece.
QGDI_API int QGDI_EdgeToCubics(const SQEDGE* edge, SQPOINT* out16) noexcept;

// ---- Contours
QGDI_API SQCONTOUR* QGDI_ContourCreate(int number) noexcept;
// Appends the edge and any edges chained after it.
QGDI_API bool QGDI_ContourAddEdge(SQCONTOUR* contour, SQEDGE* edge) noexcept;
QGDI_API void QGDI_ContourDestroy(SQCONTOUR* contour) noexcept;
QGDI_API SQCONTOUR* QGDI_ContourCopy(const SQCONTOUR* contour) noexcept;
QGDI_API bool QGDI_ContourIsClosed(const SQCONTOUR* contour) noexcept;
QGDI_API bool QGDI_ContourIsClockwise(const SQCONTOUR* contour) noexcept;
QGDI_API bool QGDI_ContourIsConvex(const SQCONTOUR* contour) noexcept;
QGDI_API SQPOINT QGDI_ContourGetCenterOfMass(const SQCONTOUR* contour) noexcept;
QGDI_API bool QGDI_ContourGetBBox(const SQCONTOUR* contour, SQRECT& box) noexcept;
QGDI_API bool QGDI_ContourGetLooseBBox(const SQCONTOUR* contour, SQRECT& box) noexcept;
QGDI_API double QGDI_ContourGetLength(const SQCONTOUR* contour) noexcept;
QGDI_API bool QGDI_ContourTransform(SQCONTOUR* contour, const double* matrix) noexcept;
QGDI_API void QGDI_ContourReverseDirection(SQCONTOUR* contour) noexcept;
QGDI_API bool QGDI_ContourConvertToCubics(SQCONTOUR* contour) noexcept;
// Signed area of the flattened contour (positive when clockwise on a y-down screen).
QGDI_API double QGDI_ContourGetArea(const SQCONTOUR* contour) noexcept;

// ---- Paths
QGDI_API SQPATH* QGDI_PathCreate() noexcept;
QGDI_API SQPATH* QGDI_PathCopy(const SQPATH* path) noexcept;
// Links the contour after the last one and makes it current; the path owns it.
QGDI_API bool QGDI_PathAddContour(SQPATH* path, SQCONTOUR* contour) noexcept;
QGDI_API SQCONTOUR* QGDI_PathGetContour(const SQPATH* path, int index) noexcept;
QGDI_API int QGDI_PathGetContourCount(const SQPATH* path) noexcept;
// Every contour closed (and at least one).
QGDI_API bool QGDI_PathIsClosed(const SQPATH* path) noexcept;
QGDI_API bool QGDI_PathTransform(SQPATH* path, const double* matrix) noexcept;
QGDI_API void QGDI_PathReverseDirection(SQPATH* path) noexcept;
QGDI_API bool QGDI_PathGetBBox(const SQPATH* path, SQRECT& box) noexcept;
QGDI_API bool QGDI_PathGetLooseBBox(const SQPATH* path, SQRECT& box) noexcept;
// The end points of every contour (its start, then each edge's end); writes at
// most max and returns how many there are.
QGDI_API int QGDI_PathGetVertices(const SQPATH* path, SQPOINT* out, int max) noexcept;
QGDI_API bool QGDI_PathConvertToCubics(SQPATH* path) noexcept;
QGDI_API SQPATH* QGDI_PathCreateRect(const SQRECT& rect) noexcept;
// Corners are quarter ellipses of radii (rx, ry), clamped to half the sides.
QGDI_API SQPATH* QGDI_PathCreateRoundRect(const SQRECT& rect, double rx, double ry) noexcept;
QGDI_API SQPATH* QGDI_PathCreateEllipse(const SQRECT& rect) noexcept;
QGDI_API SQPATH* QGDI_PathCreatePolygon(const SQPOINT* points, int count, bool closed) noexcept;
// Archimedean (r grows linearly with the angle) or logarithmic (r grows by a
// constant factor per turn) spiral from radius r0 to r1 over turns, as cubics.
enum EQSpiralType : int32_t { keSpiralArchimedean = 0, keSpiralLogarithmic = 1 };
QGDI_API SQPATH* QGDI_PathCreateSpiral(const SQPOINT& centre, double r0, double r1, double turns, double startAngle,
                                       EQSpiralType type) noexcept;
// Sends the whole path to a receiver (hooks, then each contour's commands).
QGDI_API bool QGDI_PathSend(const SQPATH* path, VPathReceiver* receiver, const double* matrix, bool noHooks) noexcept;
