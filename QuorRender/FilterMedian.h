#pragma once
// Median filter over a square of (2 r + 1)^2 pixels, per channel, for 8-bit
// formats. Every column of the padded image keeps a histogram of its 2 r + 1
// samples, moved down by one subtraction and one addition per row; the
// window's 16-bin coarse histogram moves across by adding one column and
// subtracting another, and only the 16 fine bins under the median's coarse
// bin are brought up to date, lazily. The cost per pixel does not depend on
// the radius. Radius 1 runs a sorting network.
#include <cstdint>
#include <memory>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/FilterOptions.h"
#include "QuorRender/KernelSource.h"
#include "QuorRender/SeqOpRowMaker.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

namespace qgdi::filter {
// The window's sample count must fit the 16-bit histogram bins.
inline constexpr int kiMaxMedianRadius = 127;
}

class QGDI_API CSeqOpMedian : public CSeqOpRowMaker {
public:
    explicit CSeqOpMedian(int radius, EEdgeMode edge = keEdgeClamp, uint32_t edgeColour = 0) noexcept
        : m_nRadius(radius), m_eEdge(edge), m_nEdgeColour(edgeColour) {}
    ~CSeqOpMedian() override;

    bool Reset() override;

private:
    bool MakeRow() override;
    void Columns(int slot, int sign) noexcept;
    void Channel(int channel) noexcept;

    int m_nRadius;
    EEdgeMode m_eEdge;
    uint32_t m_nEdgeColour;
    std::unique_ptr<CKernelSource> m_pWindow;
    int32_t m_nRow = 0, m_nWidth = 0, m_nChannels = 0;
    size_t m_nPadded = 0;
    std::vector<uint16_t> m_aColumns;  // per channel and padded column: 256 fine bins, then 16 coarse
};

class QGDI_API CImageMedian : public CImageFilterOptions {
public:
    explicit CImageMedian(int radius) noexcept : m_nRadius(radius) {}
    // As CImageConvolve::Convolve; 101 for a radius outside 0..kiMaxMedianRadius,
    // 120 for formats other than 8-bit grey and colour. Straight alpha is
    // taken as stored.
    CErrorAutoThrow Apply(const CRowIterator& source, CRowIterator& destination,
                          CStatusControl* status = nullptr) const;

private:
    int m_nRadius;
};

QGDI_API CErrorAutoThrow QGDI_Median(const CRowIterator& source, CRowIterator& destination, int radius,
                                     CStatusControl* status = nullptr);
