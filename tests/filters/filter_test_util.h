#pragma once
// Shared by the filter tests: sample access and brute-force neighbourhoods
// with the edge rules of a sequential chain (columns by the mode; rows wrap
// only as far as the chain can, so wrap repeats the first and last rows).
#include <cmath>
#include <functional>

#include "../pipeline/pipeline_test_util.h"
#include "QuorRender/EdgeMode.h"
#include "qdibcore/Source/PixelFormat.h"

namespace qgdi::test {

inline double At(const CRowIterator& img, int x, int y, int c) {
    const CQPixelFormat f(img.GetPixelFormat());
    const uint8_t* row = img.GetRow(y, 0, img.GetWidth());
    const size_t i = static_cast<size_t>(x) * f.GetChannelCount() + c;
    const double v = f.Is8bit() ? row[i] : reinterpret_cast<const uint16_t*>(row)[i];
    img.ReleaseRow(y).Ignore();
    return v;
}

// Sample c at (x, y), outside the image by the chain's edge rule; `outside`
// for the constant mode.
inline double AtEdge(const CRowIterator& img, int x, int y, int c, EEdgeMode edge, double outside) {
    const int w = img.GetWidth(), h = img.GetHeight();
    if (edge == keEdgeConstant && (x < 0 || x >= w || y < 0 || y >= h)) return outside;
    if (edge == keEdgeWrap) x = ((x % w) + w) % w;
    x = std::min(std::max(x, 0), w - 1);
    y = std::min(std::max(y, 0), h - 1);
    return At(img, x, y, c);
}

}  // namespace qgdi::test
