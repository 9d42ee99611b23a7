#pragma once
// Kernel windows: the N rows and padded columns a kernel of M x N pixels
// needs around the current output row, split into one array per selected
// channel in the window's element type. Rows rotate through the window by
// pointer; edges are extended once, in the padding, so that the kernel's
// inner loop never tests a border.
#include <cstdint>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/QBuffer.h"
#include "QuorRender/SeqOp.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/QuorType.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qgdi_export.h"

// What the two kernel sources share: the window, its channels and the edge rule.
class QGDI_API CKernelWindow {
public:
    static constexpr int kMaxChannels = 4;

    // `type`: keTypeInt16, keTypeInt32, keTypeReal32 or keTypeReal64. The
    // anchor is the kernel position of the output pixel. `edgeColour` (red in
    // the low byte, then green, blue, alpha) is what the constant mode sees
    // outside the image.
    CKernelWindow(quor::EQType type, int width, int height, int anchorX, int anchorY, EEdgeMode edge,
                  uint32_t edgeColour = 0) noexcept;
    virtual ~CKernelWindow();
    CKernelWindow(const CKernelWindow&) = delete;
    CKernelWindow& operator=(const CKernelWindow&) = delete;

    int GetChannelCount() const noexcept { return m_nChannels; }
    // Ignored unless attached and 0 <= index < channel count.
    void SetChannel(int index) noexcept;
    EQChannel GetCurrentChannel() const noexcept;
    int GetCurrentRow() const noexcept { return m_nCurrentRow; }
    quor::EQType GetElementType() const noexcept { return m_eType; }
    // Column x of the padded row (image column x - anchor column) in row slot
    // r of the current channel.
    void* operator()(int x, int r) const noexcept {
        return m_apSlots[static_cast<size_t>(r)] +
               (static_cast<size_t>(m_nCurrentChannel) * m_nPadded + static_cast<size_t>(x)) * m_nElemSize;
    }
    template <class T>
    const T* Row(int r) const noexcept {
        return static_cast<const T*>((*this)(0, r));
    }

protected:
    // Source rows come from the derived class: `row` already mapped into the image.
    virtual const uint8_t* FetchRow(int row) = 0;
    virtual void ReleaseFetched() noexcept {}
    // Whether rows above and below wrap (random access) or repeat (sequential).
    virtual bool WrapsRows() const noexcept = 0;

    bool Setup(EQPixelFormat format, int width, int height, EQChannelSet channels);
    void Teardown() noexcept;
    bool LoadAll();
    bool Advance();
    bool IsSetUp() const noexcept { return !m_apSlots.empty(); }

private:
    bool LoadSlot(size_t slot, int row);
    void Split(uint8_t* slot, const uint8_t* padded) noexcept;

    quor::EQType m_eType;
    size_t m_nElemSize;
    int m_nKernelWidth, m_nKernelHeight, m_nAnchorX, m_nAnchorY;
    EEdgeMode m_eEdge;
    uint32_t m_nEdgeColour;

    EQPixelFormat m_eFormat = keFormatNone;
    int m_nWidth = 0, m_nHeight = 0;
    int m_nPixelBytes = 0, m_nSampleBytes = 0;
    int m_nChannels = 0;
    EQChannel m_aChannel[kMaxChannels] = {};
    int m_aOffset[kMaxChannels] = {};
    int m_nCurrentChannel = 0;
    size_t m_nPadded = 0;  // width + M columns
    CQBuffer m_oWindow;
    std::vector<uint8_t*> m_apSlots;
    CQBuffer m_oPadded;    // one source row with its left and right pads
    CQBuffer m_oConstant;  // the padded row of the constant edge colour
    int m_nCurrentRow = 0;
};

// A window over a sequential stage. Rows cannot be fetched twice, so wrap
// mode repeats the first and last rows above and below the image (columns
// still wrap).
class QGDI_API CKernelSource : public CKernelWindow {
public:
    using CKernelWindow::CKernelWindow;
    ~CKernelSource() override;
    // Selects the channels of the stage's format that are in `channels` (in
    // the format's order), resets the stage and loads the first window.
    bool Attach(VSeqOp* stage, EQChannelSet channels);
    void Detach() noexcept;
    bool IsAttached() const noexcept { return m_pStage != nullptr; }
    bool Reset();
    // The next output row: false when the stage's rows are done.
    bool Next();

protected:
    const uint8_t* FetchRow(int row) override;
    bool WrapsRows() const noexcept override { return false; }

private:
    VSeqOp* m_pStage = nullptr;
    const uint8_t* m_pLastRow = nullptr;
    int m_nLastPulled = -1;
};

// The same window over an image, fetched by row index: every edge mode
// applies to rows as it does to columns.
class QGDI_API CKernelSourceIterator : public CKernelWindow {
public:
    using CKernelWindow::CKernelWindow;
    ~CKernelSourceIterator() override;
    bool Attach(const CRowIterator* image, EQChannelSet channels);
    void Detach() noexcept;
    bool IsAttached() const noexcept { return m_pImage != nullptr; }
    bool Reset();
    bool Next();

protected:
    const uint8_t* FetchRow(int row) override;
    void ReleaseFetched() noexcept override;
    bool WrapsRows() const noexcept override { return true; }

private:
    const CRowIterator* m_pImage = nullptr;
    int m_nHeld = -1;
};

namespace qgdi::edge {
// Index i folded into 0..n-1 by the edge rule (n > 0); -1 for constant mode outside.
inline int MapIndex(int i, int n, EEdgeMode mode) noexcept {
    if (i >= 0 && i < n) return i;
    switch (mode) {
    case keEdgeWrap: return i < 0 ? n - ((-i - 1) % n) - 1 : i % n;
    case keEdgeClamp: return i < 0 ? 0 : n - 1;
    case keEdgeConstant: return -1;
    default: return i;
    }
}
}  // namespace qgdi::edge
