#pragma once
// Dilation and erosion: the largest (smallest) sample of every channel under
// a rectangle or an ellipse of radii rx, ry around each pixel.
//
// The rectangle is separable and each axis runs the van Herk / Gil-Werman
// scheme: the axis is cut into blocks of the window's length k, and running
// maxima from each block's start and from its end give any window as the
// maximum of two numbers, three comparisons per sample whatever the radius.
// Down the image the blocks are blocks of rows, so a stage keeps the k rows
// of the current block, their suffix maxima and one row of prefix maxima.
//
// The ellipse is a stack of row segments, the segment of row offset dy
// reaching w(dy) = floor(rx sqrt(1 - (dy/ry)^2)) to each side. Every row
// that enters the window gets a table of maxima over runs of 1, 2, 4, ...
// samples once; a segment of any length is then the maximum of two
// overlapping runs, so a pixel costs two comparisons per row of the ellipse.
#include <cstdint>
#include <memory>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/KernelSource.h"
#include "QuorRender/SeqOpRowMaker.h"
#include "qgdi_export.h"

enum EQMorphShape : int32_t {
    keMorphRound = 0,   // ellipse of radii rx, ry
    keMorphSquare = 1,  // rectangle of (2 rx + 1) x (2 ry + 1) pixels
};

namespace qgdi::filter {
inline constexpr int kiMaxMorphRadius = 1000;
// The half widths w(dy) of the ellipse's rows, dy = -ry .. ry.
QGDI_API std::vector<int> EllipseHalfWidths(int rx, int ry);
}  // namespace qgdi::filter

// Dilation (or erosion) of source 0, every channel, 8- and 16-bit formats.
// Reset fails for radii outside 0..kiMaxMorphRadius.
class QGDI_API CSeqOpMorphology : public CSeqOpRowMaker {
public:
    CSeqOpMorphology(EQMorphShape shape, bool dilate, int rx, int ry, EEdgeMode edge = keEdgeClamp,
                     uint32_t edgeColour = 0);
    ~CSeqOpMorphology() override;

    bool Reset() override;

private:
    bool MakeRow() override;
    template <bool Max>
    void Square(int channel, uint16_t* out, bool whole);
    template <bool Max>
    void Round(int channel, uint16_t* out, bool whole);
    template <bool Max>
    void Across(const uint16_t* in, uint16_t* out);
    template <bool Max>
    void Levels(const uint16_t* in, uint16_t* table);
    uint16_t* Ring(int channel, int logical) noexcept;

    EQMorphShape m_eShape;
    bool m_bDilate;
    int m_nRx, m_nRy;
    EEdgeMode m_eEdge;
    uint32_t m_nEdgeColour;
    std::unique_ptr<CKernelSource> m_pWindow;
    int32_t m_nRow = 0, m_nWidth = 0, m_nChannels = 0, m_nSampleBytes = 1;
    int32_t m_nRingStart = 0;
    size_t m_nPadded = 0;    // samples of one padded row: width + 2 rx
    size_t m_nRingRow = 0;   // elements of one ring entry
    int m_nLevels = 1;       // round: run lengths 1, 2, 4, ... 2^(levels - 1)
    std::vector<int> m_aHalf;        // round: w(dy) per window row
    std::vector<uint16_t> m_aRing;   // per channel, k entries: filtered rows (square) or run tables (round)
    std::vector<uint16_t> m_aSuffix; // square: per channel, k rows of block suffix maxima
    std::vector<uint16_t> m_aPrefix; // square: per channel, one row of the next block's prefix maxima
    std::vector<uint16_t> m_aScratch;
    std::vector<uint16_t> m_aOut;
};
