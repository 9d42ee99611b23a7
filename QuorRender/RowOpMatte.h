#pragma once
// Matting against a solid colour and removing such a matte.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowMatteDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowDematteDict() noexcept;

// c' = c a + M (1 - a) on straight colour, alpha kept: the colour the pixel
// shows over the matte M. Into a format without alpha it flattens the source.
class QGDI_API CRowOpDefRowMatte : public TRowOpDefKind<CRowOpDefRowMatte, GetRowMatteDict> {
public:
    // The matte colour has red in the low byte, then green and blue.
    explicit CRowOpDefRowMatte(uint32_t matte = 0x00FFFFFFu) noexcept : TRowOpDefKind(keRoRowMatte), m_nMatte(matte) {}
    uint32_t GetMatte() const noexcept { return m_nMatte; }

private:
    uint32_t m_nMatte;
};

// c = (c' - M (1 - a)) / a, clamped; pixels with zero alpha are kept. Undoes
// the matte that antialiased edges picked up from a solid background.
class QGDI_API CRowOpDefRowDematte : public TRowOpDefKind<CRowOpDefRowDematte, GetRowDematteDict> {
public:
    explicit CRowOpDefRowDematte(uint32_t matte = 0x00FFFFFFu) noexcept
        : TRowOpDefKind(keRoRowDematte), m_nMatte(matte) {}
    uint32_t GetMatte() const noexcept { return m_nMatte; }

private:
    uint32_t m_nMatte;
};
