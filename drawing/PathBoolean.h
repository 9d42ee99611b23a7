#pragma once
// Boolean combination of two filled paths. Curves are flattened, every
// crossing, touching and shared piece of outline is found on an integer grid
// (exact orientation tests), and each piece of the resulting planar graph is
// kept when the operation's inside differs on its two sides. Result contours
// have the inside on their left in a y-up frame (clockwise on a y-down screen)
// and holes run the other way.
#include <vector>

#include "drawing/QPath.h"
#include "qerror/qerror.h"

enum EQPathBoolOp : int32_t {
    keBoolUnion = 0,
    keBoolIntersection = 1,
    keBoolDifference = 2,  // A minus B
    keBoolXor = 3,
};

enum EQPathFillRule : int32_t {
    kePathFillEvenOdd = 0,
    kePathFillNonZero = 1,
};

class QGDI_API CQPathBoolean {
public:
    CQPathBoolean() = default;

    // Flattens both operands (flatness as for the flat iterator: 0 takes the global factor).
    CErrorAutoThrow SetPaths(const CQPath& a, const CQPath& b, double flatness = 0.0);
    // Combines the operands; out is replaced (an empty path for an empty result).
    CErrorAutoThrow GetPath(CQPath& out, EQPathBoolOp op, EQPathFillRule rule = kePathFillNonZero) const;

    // The operands as polygons: each contour a closed ring.
    using Polygon = std::vector<std::vector<SQPOINT>>;
    static CErrorAutoThrow Combine(const Polygon& a, const Polygon& b, EQPathBoolOp op, EQPathFillRule rule,
                                   Polygon& out);
    static bool ToPolygon(const SQPATH* path, double flatness, Polygon& out);

private:
    Polygon m_a, m_b;
};
