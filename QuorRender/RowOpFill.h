#pragma once
// Solid colour fills.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowFillDict() noexcept;

// d = colour: the colour (red in the low byte, then green, blue, alpha) in the
// destination's format, or the palette index for indexed rows.
class QGDI_API CRowOpDefRowFill : public TRowOpDefKind<CRowOpDefRowFill, GetRowFillDict> {
public:
    explicit CRowOpDefRowFill(uint32_t colour = 0xFF000000u, uint8_t index = 0) noexcept
        : TRowOpDefKind(keRoRowFill), m_nColour(colour), m_nIndex(index) {}

    uint32_t GetColour() const noexcept { return m_nColour; }
    void SetColour(uint32_t colour) noexcept { m_nColour = colour; }
    uint8_t GetIndex() const noexcept { return m_nIndex; }
    void SetIndex(uint8_t index) noexcept { m_nIndex = index; }
    // The pixel pattern, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;

private:
    uint32_t m_nColour;
    uint8_t m_nIndex;
};
