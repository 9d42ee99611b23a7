#pragma once
// The outliner behind the stroke iterators: one flattened polyline in, the
// closed outline of its stroke out. Open polylines give one contour (one side
// forward, end cap, other side back, start cap); closed ones give the two
// sides as two contours running opposite ways, so the non-zero rule fills
// exactly the ring between them.
#include <vector>

#include "drawing/Stroke.h"

namespace qgdi::drawing {

class CStrokeOutliner {
public:
    // `halfWidth` and `tolerance` (a distance) are in the space of the points.
    CStrokeOutliner(const SStrokeProps& props, double halfWidth, double tolerance) noexcept;

    // Appends the outline's contours, each a closed point list, to `out`.
    // A polyline of one point (a zero-length subpath or dash) gets both caps
    // facing +x and -x, so round and square caps still draw a dot.
    void Stroke(const std::vector<SQPOINT>& points, bool closed, ELineCapPos startCap, ELineCapPos endCap,
                std::vector<std::vector<SQPOINT>>& out);

private:
    // The offset on the left of travel (the side of (-dy, dx)) with its joins.
    void Side(const std::vector<SQPOINT>& p, bool closed, std::vector<SQPOINT>& o) const;
    void Join(const SQPOINT& v, const SQPOINT& d0, const SQPOINT& d1, double len0, double len1,
              std::vector<SQPOINT>& o) const;
    void Cap(const SQPOINT& e, const SQPOINT& d, const SLineCapProps& cap, std::vector<SQPOINT>& o) const;
    // Points of the elliptical arc centre + a·cos t + b·sin t for t in [0, sweep], both ends included.
    void Arc(const SQPOINT& centre, const SQPOINT& a, const SQPOINT& b, double sweep, double radius,
             std::vector<SQPOINT>& o) const;

    double m_hw;
    double m_tol;
    ELineJoin m_join;
    double m_miterLimit;
    SLineCapProps m_caps[keLineCapPosCount];
    std::vector<SQPOINT> m_clean;
    std::vector<SQPOINT> m_reverse;
};

}  // namespace qgdi::drawing
