#pragma once
// Strokes: the properties of a pen and the iterators that turn a centre line
// into the outline of its stroke (joins, caps, dashes), ready for scan
// conversion with the non-zero rule.
#include <cstdint>

#include "drawing/PathIterator.h"
#include "drawing/Polygon.h"
#include "drawing/RasterProps.h"

enum ELineJoin : int32_t {
    keLineJoinMiter = 0,  // pointed, falling back to bevel past the miter limit
    keLineJoinRound = 1,
    keLineJoinBevel = 2,
};

// A cap spans `xScale` half-widths along the line beyond its end and `yScale`
// half-widths across it (1, 1 is the usual cap of the stroke's own width).
enum ELineCap : int32_t {
    keLineCapButt = 0,
    keLineCapRound = 1,      // half an ellipse
    keLineCapSquare = 2,     // a rectangle
    keLineCapTriangle = 3,   // a point
    keLineCapArrow = 4,      // an arrowhead twice the stroke's width, two widths long
    keLineCapCount = 5,
};

enum ELineCapPos : int32_t {
    keLineCapPosStart = 0,      // start of an open contour
    keLineCapPosEnd = 1,        // end of an open contour
    keLineCapPosDashStart = 2,  // start of a dash inside a contour
    keLineCapPosDashEnd = 3,    // end of a dash inside a contour
    keLineCapPosCount = 4,
};

struct QGDI_API SLineCapProps {
    ELineCap type = keLineCapButt;
    double xScale = 1.0;
    double yScale = 1.0;
    // Same type, scales within 1e-6.
    bool operator==(const SLineCapProps& other) const noexcept;
    bool operator!=(const SLineCapProps& other) const noexcept { return !(*this == other); }
};

// Owns its dash array: copies are deep.
struct QGDI_API SStrokeProps {
    ELineJoin lineJoin = keLineJoinMiter;
    SLineCapProps caps[keLineCapPosCount];
    double width = 1.0;
    // Set: the width is in device units, whatever the matrix.
    int32_t widthFlag = 0;
    double miterLimit = 8.0;
    double* dash = nullptr;
    int32_t dashCount = 0;
    double dashOffset = 0.0;

    SStrokeProps() noexcept = default;
    ~SStrokeProps();
    SStrokeProps(const SStrokeProps& other);
    SStrokeProps& operator=(const SStrokeProps& other);
    // Width, miter limit, offset and dash lengths within 1e-6; join, flag,
    // dash count and the four caps equal.
    bool operator==(const SStrokeProps& other) const noexcept;
    bool operator!=(const SStrokeProps& other) const noexcept { return !(*this == other); }
    // Replaces the dash array (null or a negative count: none); false when out of memory.
    bool SetDash(const double* lengths, int count, double offset);
};

// Flags of QGDI_PathIteratorCreateStroke.
enum EStrokeFlag : uint32_t {
    keStrokeFlagNone = 0,
    // The width is in device units (as the width flag says), for callers that
    // scale the pen themselves.
    keStrokeFlagDeviceWidth = 1,
};

// The outline of `path` stroked by `props`, in device space (through matrix),
// curves and round parts flattened to `flatness` (squared device distance; 0
// or less: the global factor). Path types keQPathHairline and keQPathOutline
// give the flattened centre line itself. Null on failure; with `takeOwnership`
// the caller's reference to the path is released whatever happens.
QGDI_API VPathIteratorRefed* QGDI_PathIteratorCreateStroke(SQPATH* path, EQPATHTYPE type, const SStrokeProps& props,
                                                           const double* matrix, double flatness, uint32_t flags,
                                                           bool takeOwnership);
// The outline of a polyline given as points (user space, mapped by matrix).
QGDI_API VPathIteratorRefed* QGDI_PolylineIteratorCreateStroke(const SQPOINT* points, int count, bool closed,
                                                               const SStrokeProps& props, const double* matrix,
                                                               double flatness, uint32_t flags);

// Whether the stroke may be drawn as a one-pixel line rather than an outline.
QGDI_API bool QGDI_ShouldUseLineDraw(const SStrokeProps& props, const SRasterProps& raster, const double* matrix) noexcept;

// A vector of length `distance` along the outer bisector of the corner at
// `vertex`; false for a straight or reversed corner or a degenerate segment.
QGDI_API bool QGDI_GetMiterVector(SQPOINT& out, double distance, const SQPOINT& previous, const SQPOINT& vertex,
                                  const SQPOINT& next) noexcept;
