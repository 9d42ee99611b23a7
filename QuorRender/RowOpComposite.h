#pragma once
// Compositing of solid colours and palette images onto a row, and erasing,
// each weighted by the row's coverage mask (full coverage without one) and an opacity.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowMaskOverSolidDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowBlendSolidDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowEraseDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowBlendIndexedBGRADict() noexcept;

// Settings shared by the kinds that lay one colour over the row: the colour
// (red in the low byte, then green, blue, alpha) and an opacity.
template <class Derived, const SRowOpDictEntry* (*kGetDict)() noexcept>
class TRowOpDefSolidColour : public TRowOpDefKind<Derived, kGetDict> {
public:
    uint32_t GetColour() const noexcept { return m_nColour; }
    uint8_t GetOpacity() const noexcept { return m_nOpacity; }

protected:
    TRowOpDefSolidColour(EQRowOpType kind, uint32_t colour, uint8_t opacity) noexcept
        : TRowOpDefKind<Derived, kGetDict>(kind), m_nColour(colour), m_nOpacity(opacity) {}

private:
    uint32_t m_nColour;
    uint8_t m_nOpacity;
};

// The colour laid over the row through the mask: source-over with source
// alpha a = colour alpha x coverage x opacity. Colours have red in the low
// byte, then green, blue and alpha.
class QGDI_API CRowOpDefRowMaskOverSolid
    : public TRowOpDefSolidColour<CRowOpDefRowMaskOverSolid, GetRowMaskOverSolidDict> {
public:
    explicit CRowOpDefRowMaskOverSolid(uint32_t colour = 0xFF000000u, uint8_t opacity = 255) noexcept
        : TRowOpDefSolidColour(keRoRowMaskOverSolid, colour, opacity) {}
    // The colour in the row's scale and its alpha per mask byte, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;
};

// d = d + (P - d) t on every stored channel, alpha included: P the colour as a
// pixel of the row's format, t = coverage x opacity. A tint towards a colour.
class QGDI_API CRowOpDefRowBlendSolid : public TRowOpDefSolidColour<CRowOpDefRowBlendSolid, GetRowBlendSolidDict> {
public:
    explicit CRowOpDefRowBlendSolid(uint32_t colour = 0xFF000000u, uint8_t opacity = 255) noexcept
        : TRowOpDefSolidColour(keRoRowBlendSolid, colour, opacity) {}
    // The colour as a pixel of the row's format, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;
};

// a = a (1 - t), t = coverage x opacity; premultiplied colour fades with its alpha.
class QGDI_API CRowOpDefRowErase : public TRowOpDefKind<CRowOpDefRowErase, GetRowEraseDict> {
public:
    explicit CRowOpDefRowErase(uint8_t opacity = 255) noexcept : TRowOpDefKind(keRoRowErase), m_nOpacity(opacity) {}
    uint8_t GetOpacity() const noexcept { return m_nOpacity; }

private:
    uint8_t m_nOpacity;
};

// A palette image laid over a BGRA row: s = palette[index] with the index's
// alpha (Index8A) or opaque, source-over with alpha x coverage x opacity.
class QGDI_API CRowOpDefRowBlendIndexedBGRA
    : public TRowOpDefKind<CRowOpDefRowBlendIndexedBGRA, GetRowBlendIndexedBGRADict> {
public:
    explicit CRowOpDefRowBlendIndexedBGRA(uint8_t opacity = 255) noexcept
        : TRowOpDefKind(keRoRowBlend), m_nOpacity(opacity) {}
    uint8_t GetOpacity() const noexcept { return m_nOpacity; }
    // The coverage per mask byte, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;

private:
    uint8_t m_nOpacity;
};
