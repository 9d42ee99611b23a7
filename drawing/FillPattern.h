#pragma once
// Image colour sources: a pattern (an image repeated over the plane through a
// pattern matrix, resampled) and the checkerboard that shows transparency.
#include <memory>

#include "QuorRender/SeqOpResample.h"
#include "drawing/FillSrc.h"
#include "qdibcore/Source/RowIteratorBands.h"

namespace qgdi::fill {
class CImageSampler;
}

class QGDI_API CFillSrcPattern : public CQFillSrc {
public:
    CFillSrcPattern() noexcept;
    ~CFillSrcPattern() override;
    // `matrix` maps pattern pixels to device pixels (null: identity); the
    // image must outlive the source. 110/120 for an image the resampler
    // cannot read, 101 for a singular matrix.
    CErrorAutoThrow Create(const CRowIterator* image, const double* matrix, EQResampleMode mode);
    CErrorAutoThrow SetMatrix(const double* matrix);
    EQFillType GetType() const noexcept override { return keFillPattern; }
    CQFillSrc* Clone() const override;
    bool IsOpaque() const noexcept override;
    void GetSpan(int x, int y, int count, uint32_t* out) override;

private:
    std::unique_ptr<qgdi::fill::CImageSampler> m_sampler;
    double m_matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
};

// Squares of `cellSize` device pixels from the device origin.
class QGDI_API CFillSrcCheckerBoard : public CQFillSrc {
public:
    CFillSrcCheckerBoard(int cellSize, uint32_t rgba0, uint32_t rgba1) noexcept;
    EQFillType GetType() const noexcept override { return keFillCheckerBoard; }
    CQFillSrc* Clone() const override;
    bool IsOpaque() const noexcept override { return ((m_bgra[0] & m_bgra[1]) >> 24) == 0xFF; }
    void GetSpan(int x, int y, int count, uint32_t* out) override;

private:
    int m_cell;
    uint32_t m_bgra[2];
};

// Null for a missing or unreadable image, a singular matrix, or out of memory.
QGDI_API CQFillSrc* QGDI_FillSrcPattern_Create(const CRowIterator* image, const double* matrix,
                                               EQResampleMode mode = keResampleBilinear);
// Null for a cell size below 1.
QGDI_API CQFillSrc* QGDI_FillSrcCheckerboard_Create(int cellSize, uint32_t rgba0, uint32_t rgba1);
