#pragma once
// The box a map must report for a set of coordinates: min to max + 1.
#include <algorithm>
#include <climits>
#include <vector>

#include "platform/windef.h"

inline RECT BoxOfPoints(const std::vector<POINT>& pts) {
    RECT all{INT_MAX, INT_MAX, INT_MIN, INT_MIN};
    for (const POINT& p : pts) {
        all.left = std::min(all.left, p.x);
        all.top = std::min(all.top, p.y);
        all.right = std::max(all.right, p.x + 1);
        all.bottom = std::max(all.bottom, p.y + 1);
    }
    return all;
}
