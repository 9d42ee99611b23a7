#pragma once
// Float planes over a rectangle of destination pixels, and what the styles do
// to them: Gaussian blurs planned by the image blur (extended boxes whose
// cost does not depend on the size), exact Euclidean distances to the shape
// (every spread, choke, stroke and chisel size from one transform).
// Every pass runs its rows, or bands of columns, on all threads.
#include <cstdint>
#include <vector>

#include "platform/windef.h"

namespace qgdi::styles {

struct SPlane {
    RECT rect{0, 0, 0, 0};  // destination pixels the plane covers
    int width = 0, height = 0;
    std::vector<float> values;

    bool Allocate(const RECT& r);  // zeroed; false when memory is short
    float* Row(int y) noexcept { return values.data() + static_cast<size_t>(y) * width; }
    const float* Row(int y) const noexcept { return values.data() + static_cast<size_t>(y) * width; }
};

// The samples a Gaussian of deviation `sigma` reads on each side (0 for none).
int BlurReach(double sigma);
// In place; false when memory is short.
bool Blur(SPlane& plane, double sigma);

// Distance from every pixel's centre to the shape's edge, on the side the
// pixel is not on: `inside` false measures outside pixels (alpha below one
// half) to the shape, true measures inside pixels to the outside. Pixels on
// the other side get 0. Edges of partial alpha are placed within their pixel
// by its coverage. Pixels beyond the plane count as neither side.
bool EdgeDistance(const SPlane& alpha, bool inside, SPlane& distance);

}  // namespace qgdi::styles
