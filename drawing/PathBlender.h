#pragma once
// A path between two paths: contours are paired in order, each made of the
// same number of cubic pieces (the longest pieces of the shorter one are
// halved, which keeps its shape), closed contours are turned to run the same
// way from the nearest start points, and the control points are interpolated.
// Parameter 0 gives the first path back and 1 the second.
#include <vector>

#include "drawing/Bezier.h"
#include "drawing/QPath.h"

class QGDI_API CQPathBlender {
public:
    bool SetPaths(const CQPath& a, const CQPath& b);
    // t is clamped to 0..1; false when the operands were not set.
    bool GetPath(double t, CQPath& out) const;

    struct SContour {
        std::vector<QCubicCurve> pieces;
        bool closed = false;
    };

private:
    std::vector<SContour> m_a, m_b;
    CQPath m_pathA, m_pathB;
    bool m_set = false;
};
