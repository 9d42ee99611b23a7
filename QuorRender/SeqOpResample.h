#pragma once
// Resizing stages: the filter modes, the choice of kernel arrays for a pair
// of sizes, the stage that resizes its source with them and the
// nearest-neighbour stage. Colour with straight alpha is resampled
// premultiplied and divided back afterwards, so that transparent pixels,
// whatever colour they hold, never bleed into their neighbours.
#include <cstdint>
#include <memory>
#include <vector>

#include "QuorRender/ResamplingKernel.h"
#include "QuorRender/SeqOp.h"
#include "QuorRender/SeqOpResampleKernel.h"

enum EQResampleMode : int32_t {
    keResampleNearestNeighbor = 0,
    keResampleBilinear = 1,
    keResampleBicubic = 2,
    keResampleAreaAverage = 3,
    keResampleLanczos3 = 4,
    keResampleMitchell = 5,
};
constexpr int keResampleModeCount = 6;

// "nearest", "bilinear", "bicubic", "area", "lanczos", "mitchell"; null for other values.
QGDI_API const char* QGDI_GetResampleModeName(int mode) noexcept;
// The mode of one of those names, or -1.
QGDI_API int QGDI_ParseResampleMode(const char* name) noexcept;

namespace qgdi::resample {
// The format rows are resampled in: straight alpha becomes premultiplied
// (grey with alpha through BGRxA of its depth), palette images become BGRA or
// BGR; keFormatNone for formats that cannot be resampled.
QGDI_API EQPixelFormat WorkingFormat(EQPixelFormat format) noexcept;
// The format a resize delivers for a source format (palette images give BGR or BGRA).
QGDI_API EQPixelFormat OutputFormat(EQPixelFormat format) noexcept;
// Fills the kernel arrays of both axes for resizing srcW x srcH to dstW x dstH
// in `mode` (not nearest neighbour): bicubic or bilinear arrays where an
// axis grows, area averages where it shrinks (Lanczos and Mitchell stretched
// by the reduction instead), weight widths and power-of-two scales chosen
// by the working format's depth so that no sum can overflow. Every record
// is folded inside its source axis.
QGDI_API bool BuildKernels(EQResampleMode mode, EQPixelFormat working, int srcW, int srcH, int dstW, int dstH,
                           CResamplingKernelArray& horizontal, CResamplingKernelArray& vertical);
}  // namespace qgdi::resample

// The change between straight and premultiplied alpha of one layout (BGRA
// and BGRxA of a depth). Premultiplying an opaque pixel changes nothing, so
// a row whose pixels are all opaque passes through untouched, as the
// source's own memory; other rows are converted. Between formats of
// different layouts it converts every row.
class QGDI_API CSeqOpAlphaForm : public CSeqOpConvert {
public:
    explicit CSeqOpAlphaForm(EQPixelFormat target) : CSeqOpConvert(target) {}
    bool Reset() override;
    bool GetNextRow(void* dst, int x, int count) override;
    const void* GetNextRow(int x, int count) override;
    // Rows passed through since the last reset.
    int GetOpaqueRows() const noexcept { return m_nOpaqueRows; }

private:
    bool m_bSameLayout = false;
    int m_nOpaqueRows = 0;
};

namespace qgdi::resample {
// Whether the last channel (the alpha of every format that has one) of all
// `count` pixels is full: 255, 65535 or at least 1.0.
QGDI_API bool RowIsOpaque(const void* row, int count, EQPixelFormat format) noexcept;
}  // namespace qgdi::resample

// Source 0 resized to the given size in the given mode.
class QGDI_API CSeqOpResample : public CSeqOp {
public:
    CSeqOpResample(int width = 0, int height = 0, EQResampleMode mode = keResampleBilinear) noexcept;
    ~CSeqOpResample() override;
    void SetSize(int width, int height) noexcept;
    void SetMode(EQResampleMode mode) noexcept { m_eMode = mode; }
    EQResampleMode GetMode() const noexcept { return m_eMode; }
    // Resample light rather than encoded values: sRGB samples go to 16-bit
    // linear light before the kernels and are encoded again after them (see
    // CSeqOpLinearLight). Nearest neighbour picks pixels and ignores it.
    void SetLinearLight(bool linear) noexcept { m_bLinearLight = linear; }
    bool GetLinearLight() const noexcept { return m_bLinearLight; }
    const CResamplingKernelArray& GetHorizontal() const noexcept { return m_oHorizontal; }
    const CResamplingKernelArray& GetVertical() const noexcept { return m_oVertical; }

    EQPixelFormat GetPixelFormat() const override;
    int32_t GetWidth() const override { return m_nWidth; }
    int32_t GetHeight() const override { return m_nHeight; }
    bool Reset() override;
    bool GetNextRow(void* dst, int x, int count) override;
    const void* GetNextRow(int x, int count) override;

private:
    int32_t m_nWidth, m_nHeight;
    EQResampleMode m_eMode;
    bool m_bLinearLight = false;
    CResamplingKernelArray m_oHorizontal, m_oVertical;
    // source 0 -> [to the working format] -> resampling -> [back]; the last
    // stage owns the ones before it, the first refers to source 0.
    std::unique_ptr<VSeqOp> m_pTail;
};

// Source 0 resized by taking, for each output pixel, the source pixel whose
// area holds the output pixel's centre.
class QGDI_API CSeqOpResampleNearestNeighbor : public CSeqOp {
public:
    CSeqOpResampleNearestNeighbor(int width = 0, int height = 0) noexcept;
    void SetSize(int width, int height) noexcept;
    int32_t GetWidth() const override { return m_nWidth; }
    int32_t GetHeight() const override { return m_nHeight; }
    bool Reset() override;
    // Positions the stage without making the skipped rows: row `row` comes next.
    bool Seek(int row) override;
    using CSeqOp::GetNextRow;
    bool GetNextRow(void* dst, int x, int count) override;

    // Source index of output index i of count taken from n.
    static int SourceIndex(int i, int count, int n) noexcept {
        return static_cast<int>(
            std::min<int64_t>(n - 1, (2 * static_cast<int64_t>(i) + 1) * n / (2 * static_cast<int64_t>(count))));
    }

private:
    int32_t m_nWidth, m_nHeight;
    int32_t m_nCurrentRow = 0;
    int32_t m_nPulled = 0;  // source rows pulled since the reset
    int32_t m_nPixelBytes = 0;
    const uint8_t* m_pRow = nullptr;
    std::vector<int32_t> m_aOffset;  // byte offset of each output column's source pixel
};
