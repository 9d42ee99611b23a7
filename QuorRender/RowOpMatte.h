#pragma once
// Matting against a solid colour and removing such a matte.
#include "QuorRender/RowOp.h"

// c' = c a + M (1 - a) on straight colour, alpha kept: the colour the pixel
// shows over the matte M. Into a format without alpha it flattens the source.
class QGDI_API CRowOpDefRowMatte : public CRowOpDef {
public:
    // The matte colour has red in the low byte, then green and blue.
    explicit CRowOpDefRowMatte(uint32_t matte = 0x00FFFFFFu) noexcept : CRowOpDef(keRoRowMatte), m_nMatte(matte) {}
    CRowOpDef* Copy() const override { return new CRowOpDefRowMatte(*this); }
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override;
    uint32_t GetMatte() const noexcept { return m_nMatte; }

private:
    uint32_t m_nMatte;
};

// c = (c' - M (1 - a)) / a, clamped; pixels with zero alpha are kept. Undoes
// the matte that antialiased edges picked up from a solid background.
class QGDI_API CRowOpDefRowDematte : public CRowOpDef {
public:
    explicit CRowOpDefRowDematte(uint32_t matte = 0x00FFFFFFu) noexcept : CRowOpDef(keRoRowDematte), m_nMatte(matte) {}
    CRowOpDef* Copy() const override { return new CRowOpDefRowDematte(*this); }
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override;
    uint32_t GetMatte() const noexcept { return m_nMatte; }

private:
    uint32_t m_nMatte;
};

QGDI_API const SRowOpDictEntry* GetRowMatteDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowDematteDict() noexcept;
