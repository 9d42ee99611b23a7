#pragma once
// The stage that resamples the rows of its source with a horizontal and a
// vertical kernel array. Each source row is resampled across once, into a
// cache of as many rows as the vertical kernel reads; output rows are
// weighted sums of cached rows. All arithmetic is fixed point in units of
// the arrays' scales.
#include <cstdint>
#include <vector>

#include "QuorRender/QBuffer.h"
#include "QuorRender/ResamplingKernel.h"
#include "QuorRender/SeqOp.h"
#include "QuorRender/ResampleFns.h"

class QGDI_API CSeqOpResampleKernel : public CSeqOp {
public:
    CSeqOpResampleKernel() noexcept = default;
    ~CSeqOpResampleKernel() override;
    // Both arrays are referred to, not copied: they must outlive the stage.
    // The output is horizontal count x vertical count pixels.
    void SetCoef(const CResamplingKernelArray* horizontal, const CResamplingKernelArray* vertical) noexcept;
    int GetResultShift() const noexcept { return m_nShift; }
    // Source rows pulled since the last reset.
    int GetRowsPulled() const noexcept { return m_nPulled; }

    int32_t GetWidth() const override { return m_nOutWidth; }
    int32_t GetHeight() const override { return m_nOutHeight; }
    bool Reset() override;
    // Seeks the source to the first row of the current output row's vertical
    // record and makes `row` the current output row.
    bool Seek(int row) override;
    using CSeqOp::GetNextRow;
    bool GetNextRow(void* dst, int x, int count) override;

private:
    bool BuildPlan();
    bool FillSlot(size_t slot, int row);

    int32_t m_nOutWidth = 0;
    int32_t m_nOutHeight = 0;
    int32_t m_nCurrentRow = 0;
    int32_t m_nSrcWidth = 0;
    int32_t m_nSrcHeight = 0;
    int32_t m_nPulled = 0;
    int32_t m_nChannels = 0;
    int m_nShift = 0;
    const CResamplingKernelArray* m_pHorizontal = nullptr;
    const CResamplingKernelArray* m_pVertical = nullptr;
    qgdi::resample::ESampleType m_eSample = qgdi::resample::ESampleType::kU8;
    qgdi::resample::SRowFns m_oFns;
    bool m_bSigned = false;
    size_t m_nAccSize = 0;  // bytes of one cached sample

    // Uniform horizontal records (see SHorizontalPlan).
    qgdi::resample::SHorizontalPlan m_oPlan;
    std::vector<int32_t> m_aStart;
    CQBuffer m_oPlanWeights;

    // The cache: slot k holds source row m_aCacheRow[k] resampled across (-1 = empty).
    CQBuffer m_oCache;
    std::vector<uint8_t*> m_apCache;
    std::vector<int32_t> m_aCacheRow;
    CQBuffer m_oAccumulation;  // signed sums before the clamping conversion
};
