#pragma once
// Convolution with any M x N kernel. The kernel's values, divided by the
// divisor, become integer weights with a power-of-two scale chosen so that
// no sum of an 8-bit row can overflow 32 bits (16-bit rows are summed in
// single precision, whose 24-bit mantissa holds them exactly); weights are
// rounded as a running sum, so their total is exact and a flat image stays
// flat. A kernel of rank one (an outer product of a column and a row) runs
// as a pass across into a ring of intermediate rows and a pass down them,
// M + N multiplies per sample instead of M x N.
#include <cstdint>
#include <memory>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/KernelSource.h"
#include "QuorRender/SeqOpRowMaker.h"
#include "qgdi_export.h"

// The stock matrices.
enum EQFilterMatrix : int32_t {
    keFilterMatrixBlur = 0,          // 3 x 3 binomial, 1 2 1 / 16
    keFilterMatrixSharpen = 1,       // centre 5, edge neighbours -1
    keFilterMatrixSharpenMore = 2,   // centre 9, all eight neighbours -1
    keFilterMatrixEdgeDetect = 3,    // centre 8, all eight neighbours -1 (flat gives black)
    keFilterMatrixEmboss = 4,        // relief lit from the top left, on mid grey
    keFilterMatrixLaplacian = 5,     // 4-neighbour Laplacian, on mid grey
    keFilterMatrixSobelX = 6,        // horizontal gradient (bright on the right is light), on mid grey
    keFilterMatrixSobelY = 7,        // vertical gradient (bright below is light), on mid grey
    keFilterMatrixPrewittX = 8,      // as Sobel, rows weighted equally
    keFilterMatrixPrewittY = 9,
    keFilterMatrixHighPass = 10,     // the image minus its binomial blur, on mid grey
};
constexpr int keFilterMatrixCount = 11;

struct QGDI_API SConvolveKernel {
    static constexpr int kiMaxSize = 255;  // columns and rows
    // Bounds that keep every 8-bit sum inside 32 bits with at least 8
    // fractional bits: the absolute values over the divisor, the bias.
    static constexpr double kfMaxWeightSum = 16384.0;
    static constexpr double kfMaxBias = 1024.0;

    int nColumns = 0, nRows = 0;
    std::vector<double> aValues;  // row by row, nColumns x nRows
    double fDivisor = 1.0;        // every value is divided by it; 0 is refused
    // Added to every result, in 8-bit levels (128 is mid grey; scaled by 257
    // for 16-bit samples).
    double fBias = 0.0;
    int nAnchorX = -1, nAnchorY = -1;  // the output pixel's kernel position; -1: columns / 2, rows / 2

    // Sizes within 1..kiMaxSize, the values all there and finite, a finite
    // non-zero divisor, weights and bias within their bounds, the anchor inside.
    bool IsValid() const noexcept;
    int AnchorX() const noexcept { return nAnchorX < 0 ? nColumns / 2 : nAnchorX; }
    int AnchorY() const noexcept { return nAnchorY < 0 ? nRows / 2 : nAnchorY; }
    double At(int column, int row) const noexcept {
        return aValues[static_cast<size_t>(row) * static_cast<size_t>(nColumns) + static_cast<size_t>(column)];
    }
};

// The stock matrix `which`; false (kernel untouched) for values outside the enumeration.
QGDI_API bool QGDI_GetFilterMatrix(EQFilterMatrix which, SConvolveKernel& kernel);
// "blur", "sharpen", "sharpen-more", "edge", "emboss", "laplacian", "sobel-x",
// "sobel-y", "prewitt-x", "prewitt-y", "high-pass"; null for other values.
QGDI_API const char* QGDI_GetFilterMatrixName(int which) noexcept;
// The matrix of one of those names, or -1.
QGDI_API int QGDI_ParseFilterMatrix(const char* name) noexcept;

namespace qgdi::filter {
// A rank-one kernel as column x row: value(c, r) = column[r] x row[c] within
// a relative 1e-9; false for kernels of higher rank or all zero.
QGDI_API bool SplitKernel(const SConvolveKernel& kernel, std::vector<double>& column, std::vector<double>& row);
// Integer weights for `values` at 2^shift, the rounding error of each carried
// into the next so that they add up to round(sum x 2^shift).
QGDI_API std::vector<int32_t> FixWeights(const std::vector<double>& values, int shift);
}  // namespace qgdi::filter

// The convolution of source 0 (8- and 16-bit formats, every channel).
// Reset fails for a kernel that is not valid or whose weights are so large
// that an 8-bit sum would leave 32 bits.
class QGDI_API CSeqOpConvolve : public CSeqOpRowMaker {
public:
    explicit CSeqOpConvolve(const SConvolveKernel& kernel, EEdgeMode edge = keEdgeClamp, uint32_t edgeColour = 0);
    ~CSeqOpConvolve() override;

    // Whether the last Reset found the kernel separable.
    bool IsSeparable() const noexcept { return m_bSeparable; }

    bool Reset() override;

private:
    bool Plan();
    bool MakeRow() override;
    template <class T>
    void Full(int channel, T* acc);
    template <class T>
    void Separable(int channel, T* acc, bool whole);
    template <class T>
    void Finish(const T* acc);
    // 8-bit rows stay interleaved: a tap reads its neighbour channels' worth
    // further along the row, so nothing is split into planes or put back.
    bool Interleaved();
    bool LoadSlot(int slot, int row);

    SConvolveKernel m_oKernel;
    EEdgeMode m_eEdge;
    uint32_t m_nEdgeColour;
    std::unique_ptr<CKernelSource> m_pWindow;
    bool m_bFloat = false;
    bool m_bSeparable = false;
    int32_t m_nRow = 0, m_nWidth = 0, m_nChannels = 0, m_nSampleBytes = 1, m_nMax = 255;
    // Full kernel: the non-zero taps (column, row) and their weights.
    std::vector<int32_t> m_aTapX, m_aTapY;
    std::vector<int32_t> m_aWeight, m_aRowWeight, m_aColWeight;
    std::vector<float> m_aWeightF, m_aRowWeightF, m_aColWeightF;
    int32_t m_nShift = 0, m_nRowShift = 0, m_nColShift = 0;  // fixed point: of the sums, across, down
    int32_t m_nBias = 0;                                     // in the output sum's scale
    float m_fBias = 0.f;
    // Separable: N rows of intermediate results per channel, slot k holding
    // window row (k - m_nRingStart) mod N.
    std::vector<int32_t> m_aRing;
    std::vector<float> m_aRingF;
    int32_t m_nRingStart = 0;
    // 8-bit: N padded interleaved rows (slot i: window row i), the edge
    // colour's samples, the last source row pulled and its index.
    std::vector<int16_t> m_aSlots;
    std::vector<int16_t*> m_apSlot;
    int32_t m_aEdgeSample[4] = {};
    const uint8_t* m_pLast = nullptr;
    int32_t m_nLast = -1;
    std::vector<int32_t> m_aAcc;  // one row of every channel
    std::vector<float> m_aAccF;
};
