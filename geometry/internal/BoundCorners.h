#pragma once
// The bounding rectangle of four mapped corners, for double and integer rectangles alike.
#include <algorithm>

namespace qgdi::geom {

template <class Point, class Rect>
void BoundCorners(const Point (&c)[4], Rect& rc) noexcept {
    rc.left = rc.right = c[0].x;
    rc.top = rc.bottom = c[0].y;
    for (int i = 1; i < 4; ++i) {
        rc.left = std::min(rc.left, c[i].x);
        rc.top = std::min(rc.top, c[i].y);
        rc.right = std::max(rc.right, c[i].x);
        rc.bottom = std::max(rc.bottom, c[i].y);
    }
}

}  // namespace qgdi::geom
