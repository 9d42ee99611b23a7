#pragma once
// Float planes over a rectangle of destination pixels, and what the styles do
// to them: Gaussian blurs planned by the image blur (extended boxes whose
// cost does not depend on the size), exact Euclidean distances to the shape
// (every spread, choke, stroke and chisel size from one transform).
// Every pass runs its rows, or bands of columns, on all threads.
#include <cstdint>
#include <vector>

#include "platform/windef.h"
#include "qdibcore/Source/internal/Parallel.h"

namespace qgdi::styles {

// The values' memory comes from a small pool and goes back to it, so that
// styles drawn again and again do not fault fresh pages in every time.
struct SPlane {
    RECT rect{0, 0, 0, 0};  // destination pixels the plane covers
    int width = 0, height = 0;
    std::vector<float> values;

    SPlane() noexcept = default;
    SPlane(const SPlane& other);
    SPlane& operator=(const SPlane& other);
    SPlane(SPlane&& other) noexcept = default;
    SPlane& operator=(SPlane&& other) noexcept = default;
    ~SPlane();

    // False when memory is short; `zero` clears what an earlier use left.
    bool Allocate(const RECT& r, bool zero = true);
    float* Row(int y) noexcept { return values.data() + static_cast<size_t>(y) * width; }
    const float* Row(int y) const noexcept { return values.data() + static_cast<size_t>(y) * width; }
};

// body(y, scratch) for rows [0, rows) in bands of `band` rows, one Scratch
// per band (thread-locals would cost a call per mention in a shared library).
template <class Scratch, class Body>
void ForRows(int rows, int band, Body&& body) {
    const int bands = (rows + band - 1) / band;
    qgdi::parallel::For(0, bands, [&](int b) {
        Scratch scratch;
        const int y1 = rows < (b + 1) * band ? rows : (b + 1) * band;
        for (int y = b * band; y < y1; ++y) body(y, scratch);
    });
}

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
