#pragma once
// Colour sources: what a fill paints before it is combined with the
// destination. A source produces the straight-alpha BGRA colours of a stretch
// of one device row; fills ask it for exactly the pixels a coverage run
// touches, so a source never works on pixels nobody sees.
#include <cstdint>
#include <vector>

#include "QuorRender/RowOp.h"
#include "drawing/Refed.h"
#include "qgdi_export.h"

enum EQFillType : int32_t {
    keFillNone = 0,
    keFillSolid = 1,
    keFillLinearGradient = 2,
    keFillRadialGradient = 3,
    keFillAngularGradient = 4,
    keFillRectangularGradient = 5,
    keFillPattern = 6,
    keFillCheckerBoard = 7,
    keFillEraser = 8,
    keFillUneraser = 9,
};

// Whether every one of `count` BGRA pixels has alpha 255 (true for none).
QGDI_API bool QGDI_IsBufferOpaqueBGRA(const void* buffer, int count) noexcept;

class QGDI_API CQFillSrc : public VQGDIRefed {
public:
    virtual EQFillType GetType() const noexcept = 0;
    // An independent copy (count 1), or null when memory runs out.
    virtual CQFillSrc* Clone() const = 0;
    // Whether every colour the source can produce is opaque.
    virtual bool IsOpaque() const noexcept = 0;
    // The colours of pixels x .. x + count - 1 of device row y, BGRA with
    // straight alpha, into `out`. Used by one thread at a time.
    virtual void GetSpan(int x, int y, int count, uint32_t* out) = 0;
    // The one colour of a source that has one (BGRA), for fills that can then
    // skip producing colours altogether.
    virtual bool GetSolidColour(uint32_t& bgra) const noexcept {
        (void)bgra;
        return false;
    }

    // Writes the colours of the run data.x .. data.x + data.nCount - 1 of row
    // data.y into data.pDst in data.eDstFormat: straight into BGRA rows, into
    // other formats through a scratch row and a conversion bound on first use.
    // False when scratch memory runs out.
    bool Row(CRowOpData& data);

protected:
    CQFillSrc() noexcept = default;
    // What a Clone copies: the conversion is bound again on first use.
    CQFillSrc(const CQFillSrc&) noexcept : VQGDIRefed() {}

private:
    std::vector<uint32_t> m_scratch;
    CRowOp m_convert;
    EQPixelFormat m_convertFormat = keFormatNone;
};

// One colour everywhere.
class QGDI_API CFillSrcRGBA : public CQFillSrc {
public:
    // `rgba`: red in the low byte, then green, blue, alpha.
    explicit CFillSrcRGBA(uint32_t rgba) noexcept;
    EQFillType GetType() const noexcept override { return keFillSolid; }
    CQFillSrc* Clone() const override;
    bool IsOpaque() const noexcept override { return (m_bgra >> 24) == 0xFF; }
    void GetSpan(int x, int y, int count, uint32_t* out) override;
    bool GetSolidColour(uint32_t& bgra) const noexcept override {
        bgra = m_bgra;
        return true;
    }
    uint32_t GetRGBA() const noexcept;

private:
    uint32_t m_bgra;
};

QGDI_API CQFillSrc* QGDI_FillSrcSolid_Create(uint32_t rgba);
