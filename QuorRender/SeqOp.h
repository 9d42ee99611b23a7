#pragma once
// Sequential stages: operations that need several neighbouring rows to make
// one output row are chains of stages pulled from the consumer's end, top to
// bottom, one row per call. A stage can be rewound (Reset) and skipped
// forward (Seek), never stepped back, so each stage keeps exactly the rows it
// will need again and asks its sources for nothing earlier.
//
//   CSeqOpRowIterator  an image as the head of a chain (no copy when formats agree)
//   CSeqOpRowOp        a bound row operation applied to each row of source 0
//   CSeqOpConvert      a change of pixel format (passes rows through when none is needed)
//   CSeqOpTile         source 0 repeated across and down
#include <cstdint>

#include "QuorRender/QBuffer.h"
#include "QuorRender/RowOp.h"
#include "QuorRender/RowOpCopy.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

// Palette of the rows a stage delivers.
struct SPal {
    int32_t nCount = 0;
    const RGBQUAD* pEntries = nullptr;
};

// A stage. The pointer from the buffered GetNextRow stays valid only until the
// next GetNextRow, Reset or Seek on the same stage.
class QGDI_API VSeqOp {
public:
    virtual ~VSeqOp();
    virtual int32_t GetSrcCount() const = 0;
    // Attaches `src` (null detaches) as source `index`; an owned source is
    // destroyed with the stage or when it is replaced.
    virtual void SetSrc(VSeqOp* src, int index, bool owned) = 0;
    virtual VSeqOp* GetSrc(int index) = 0;
    // keFormatNone when unknown.
    virtual EQPixelFormat GetPixelFormat() const = 0;
    virtual SPal GetPalette() const = 0;
    virtual int32_t GetWidth() const = 0;
    virtual int32_t GetHeight() const = 0;
    // Back to before the first row; rebuilds what depends on the sources.
    virtual bool Reset() = 0;
    virtual bool Seek(int row) = 0;
    // Pixels x .. x+count-1 of the next row into the caller's memory.
    virtual bool GetNextRow(void* dst, int x, int count) = 0;
    // The next row in memory the stage owns; null at the end or on failure.
    virtual const void* GetNextRow(int x, int count) = 0;
};

// Common base of the stages: two source slots and one row buffer.
class QGDI_API CSeqOp : public VSeqOp {
public:
    static constexpr int kiMaxSrc = 2;

    CSeqOp() noexcept = default;
    ~CSeqOp() override;
    CSeqOp(const CSeqOp&) = delete;
    CSeqOp& operator=(const CSeqOp&) = delete;

    int32_t GetSrcCount() const override { return m_nSrcCount; }
    void SetSrc(VSeqOp* src, int index, bool owned) override;
    VSeqOp* GetSrc(int index) override;
    EQPixelFormat GetPixelFormat() const override;
    SPal GetPalette() const override;
    int32_t GetWidth() const override;
    int32_t GetHeight() const override;
    // Resets source 0 then source 1 and sizes the row buffer for one row of
    // this stage's format and width.
    bool Reset() override;
    // Reset, then `row` rows pulled and dropped: row `row` comes next.
    bool Seek(int row) override;
    bool GetNextRow(void* dst, int x, int count) override = 0;
    const void* GetNextRow(int x, int count) override;

protected:
    VSeqOp* Src(int index) const noexcept { return index >= 0 && index < kiMaxSrc ? m_aSrc[index].pOp : nullptr; }
    // Bytes of `count` pixels of `bpp` bits, or -1 when that leaves 32 bits.
    static int64_t RowBytes(int bpp, int64_t count) noexcept { return (static_cast<int64_t>(bpp) * count + 7) / 8; }

    struct SSource {
        VSeqOp* pOp = nullptr;
        bool bOwned = false;
    };
    int32_t m_nSrcCount = 0;
    CQBuffer m_oRowBuffer;
    SSource m_aSrc[kiMaxSrc];
};

// An image as the head of a chain: it has no sources.
class QGDI_API CSeqOpRowIterator : public CSeqOp {
public:
    // `format` keFormatNone delivers the image's own format; another format is
    // converted to row by row.
    explicit CSeqOpRowIterator(const CRowIterator* image = nullptr, EQPixelFormat format = keFormatNone) noexcept;
    ~CSeqOpRowIterator() override;
    void SetImage(const CRowIterator* image, EQPixelFormat format = keFormatNone) noexcept;
    const CRowIterator* GetImage() const noexcept { return m_pImage; }

    int32_t GetSrcCount() const override { return 0; }
    void SetSrc(VSeqOp*, int, bool) override {}
    VSeqOp* GetSrc(int) override { return nullptr; }
    EQPixelFormat GetPixelFormat() const override;
    SPal GetPalette() const override;
    int32_t GetWidth() const override;
    int32_t GetHeight() const override;
    bool Reset() override;
    // `row` becomes the last delivered row: row + 1 comes next.
    bool Seek(int row) override;
    bool GetNextRow(void* dst, int x, int count) override;
    const void* GetNextRow(int x, int count) override;

private:
    void ReleaseHeld() noexcept;

    const CRowIterator* m_pImage = nullptr;
    EQPixelFormat m_eFormat = keFormatNone;
    bool m_bConverting = false;
    int32_t m_nLastRow = -1;
    int32_t m_nHeldRow = -1;
    int32_t m_nBpp = 0;
    CRowOpDefConvert m_oConvertDef;
    CRowOp m_oConvert;
    CRowOpData m_oData;
};

// A row operation applied to every row of source 0.
class QGDI_API CSeqOpRowOp : public CSeqOp {
public:
    explicit CSeqOpRowOp(const CRowOpDef& def);
    explicit CSeqOpRowOp(const CRowOpDef* def = nullptr);
    ~CSeqOpRowOp() override;
    // Keeps a private copy of `def` (null: none); `outputFormat` keFormatNone
    // delivers source 0's format.
    void SetRowOp(const CRowOpDef* def, EQPixelFormat outputFormat = keFormatNone);
    const CRowOpDef* GetRowOp() const noexcept { return m_pDef; }

    EQPixelFormat GetPixelFormat() const override;
    bool Reset() override;
    bool Seek(int row) override;
    bool GetNextRow(void* dst, int x, int count) override;
    const void* GetNextRow(int x, int count) override;

protected:
    CRowOpDef* m_pDef = nullptr;
    EQPixelFormat m_eOutputFormat = keFormatNone;
    CRowOp m_oRowOp;
    CRowOpData m_oData;
    int32_t m_nSrcBpp = 0;
    // Kinds that only work on the destination row get the source row copied
    // in first and run without a source.
    bool m_bInPlace = false;
    CRowOp m_oCopyIn;
};

// A change of pixel format. Rows already in the target format pass through untouched.
class QGDI_API CSeqOpConvert : public CSeqOpRowOp {
public:
    explicit CSeqOpConvert(EQPixelFormat target);
    bool IsPassThrough() const noexcept { return m_bPassThrough; }
    bool Reset() override;
    bool GetNextRow(void* dst, int x, int count) override;
    const void* GetNextRow(int x, int count) override;

private:
    bool m_bPassThrough = false;
};

// Source 0 repeated across and down to nOutWidth x nOutHeight. The row
// counter never advances, so the stage goes on delivering rows after its
// height: the consumer stops at GetHeight.
class QGDI_API CSeqOpTile : public CSeqOp {
public:
    CSeqOpTile() noexcept = default;
    int32_t GetWidth() const override { return nOutWidth; }
    int32_t GetHeight() const override { return nOutHeight; }
    bool Reset() override;
    using CSeqOp::GetNextRow;
    bool GetNextRow(void* dst, int x, int count) override;

    int32_t nOutWidth = 0;
    int32_t nOutHeight = 0;

private:
    int32_t m_nSrcBpp = 0;
    int64_t m_nOutRowBytes = 0;
    int32_t m_nRow = 0;
    int32_t m_nSrcWidth = 0;
    int32_t m_nSrcHeight = 0;
    int64_t m_nSrcRowBytes = 0;
    int32_t m_nRowsSinceWrap = 0;
};

// Runs the chain ending at `op` into a new banded image and puts that on the
// clipboard as RGB; the stage is reset again afterwards.
QGDI_API QuorErrorCode SeqOp_CopyRGBtoClipboard(VSeqOp* op);
