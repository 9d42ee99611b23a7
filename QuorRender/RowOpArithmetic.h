#pragma once
// Channel arithmetic between a destination row and a source row of the same format.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowArithmeticDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowMulEqualDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowPlusEqualDict() noexcept;
QGDI_API const SRowOpDictEntry* GetHighPassDict() noexcept;

// r = k1 s d + k2 s + k3 d + k4 on every channel, values in 0..1, clamped;
// premultiplied colour is also clamped to its alpha (SVG's arithmetic composite).
// The constants are limited to +-16.
class QGDI_API CRowOpDefRowArithmetic : public TRowOpDefKind<CRowOpDefRowArithmetic, GetRowArithmeticDict> {
public:
    CRowOpDefRowArithmetic(double k1 = 0, double k2 = 0, double k3 = 0, double k4 = 0) noexcept
        : TRowOpDefKind(keRoRowArithmetic), m_k{k1, k2, k3, k4} {}
    double GetK(int i) const noexcept { return i >= 0 && i < 4 ? m_k[i] : 0; }

private:
    double m_k[4];
};

// d = d s on every channel, alpha included (s read as a fraction of full scale).
class QGDI_API CRowOpDefRowMulEqual : public TRowOpDefKind<CRowOpDefRowMulEqual, GetRowMulEqualDict> {
public:
    CRowOpDefRowMulEqual() noexcept : TRowOpDefKind(keRoRowMulEqual) {}
};

// d = min(full, d + s) on every channel, alpha included.
class QGDI_API CRowOpDefRowPlusEqual : public TRowOpDefKind<CRowOpDefRowPlusEqual, GetRowPlusEqualDict> {
public:
    CRowOpDefRowPlusEqual() noexcept : TRowOpDefKind(keRoRowPlusEqual) {}
};

// The high-pass step after a blur: the destination holds the blurred image,
// the source the original. d = clamp(s - d + half) on colour, alpha = the source's.
class QGDI_API CRowOpDefHighPass : public TRowOpDefKind<CRowOpDefHighPass, GetHighPassDict> {
public:
    CRowOpDefHighPass() noexcept : TRowOpDefKind(keRoHighPass) {}
};
