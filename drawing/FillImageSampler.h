#pragma once
// Straight BGRA colours of an image seen through a matrix: what patterns and
// fill textures paint. Pixel centres map to pixel centres; each row is one
// affine walk through the image in 1/256 pixel, resampled by CPixelResampler
// and converted to BGRA by a row operation bound once.
#include <cstdint>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/PixelResampler.h"
#include "QuorRender/RowOp.h"

namespace qgdi::fill {

class CImageSampler {
public:
    CImageSampler(EQResampleMode mode, EEdgeMode edge) : m_resampler(mode, edge), m_mode(mode), m_edge(edge) {}
    // `toImage` maps device pixels to image pixels (null: identity). 110 or
    // 120 from the resampler; 101 for a singular matrix.
    CErrorAutoThrow Attach(const CRowIterator* image, const double* toImage);
    const CRowIterator* GetImage() const noexcept { return m_image; }
    const double* GetMatrix() const noexcept { return m_matrix; }
    EQResampleMode GetMode() const noexcept { return m_mode; }
    EEdgeMode GetEdge() const noexcept { return m_edge; }
    bool IsOpaque() const noexcept { return m_opaque; }
    // Pixels x .. x + count - 1 of device row y; false when a row cannot be read.
    bool GetSpan(int x, int y, int count, uint32_t* out);

private:
    CPixelResampler m_resampler;
    EQResampleMode m_mode;
    EEdgeMode m_edge;
    const CRowIterator* m_image = nullptr;
    double m_matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    bool m_opaque = false;
    size_t m_pixelBytes = 4;
    std::vector<uint8_t> m_raw;
    CRowOp m_toBGRA;
};

}  // namespace qgdi::fill
