#pragma once
// Copies between pixel formats: the plain copies (every format to and from
// BGR and BGRA, the 16-bit formats to and from BGR_u16 and BGRA_u16,
// widenings and narrowings of one layout), the copies that read or write
// palette indices, the copy that skips a transparent index, and the copy that
// dithers while it narrows to 8 bits.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowCopyDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowCopyIndexedDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowCopyPalettedWithTransparencyIndexDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowDitherDict() noexcept;

// d = s in the destination's format: channels rescaled, grey from the
// luminance (77 R + 151 G + 28 B) / 256, a missing alpha opaque, premultiplied
// alpha divided out or multiplied in as the formats require.
class QGDI_API CRowOpDefRowCopy : public TRowOpDefKind<CRowOpDefRowCopy, GetRowCopyDict> {
public:
    CRowOpDefRowCopy() noexcept : TRowOpDefKind(keRoRowCopy) {}
};

// Palette images: indices expanded through the source palette to BGR and
// BGRA, 1- and 4-bit indices unpacked to 8 bits, Index8 given an opaque alpha,
// and index rows copied as they are.
class QGDI_API CRowOpDefRowCopyIndexed : public TRowOpDefKind<CRowOpDefRowCopyIndexed, GetRowCopyIndexedDict> {
public:
    CRowOpDefRowCopyIndexed() noexcept : TRowOpDefKind(keRoRowCopyIndexed) {}
};

// The conversion used wherever a row must change format: the plain copies,
// then the palette ones, then any pair through an intermediate format.
class QGDI_API CRowOpDefConvert : public CRowOpDef {
public:
    CRowOpDefConvert() noexcept : CRowOpDef(keRoRowCopy) {}
    CRowOpDef* Copy() const override { return new CRowOpDefConvert(*this); }
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override;
};

// d = palette[s] where s differs from the transparent index; elsewhere d is kept.
class QGDI_API CRowOpDefRowCopyPalettedWithTransparencyIndex
    : public TRowOpDefKind<CRowOpDefRowCopyPalettedWithTransparencyIndex, GetRowCopyPalettedWithTransparencyIndexDict> {
public:
    // A negative index makes every pixel opaque.
    explicit CRowOpDefRowCopyPalettedWithTransparencyIndex(int transparentIndex = -1) noexcept
        : TRowOpDefKind(keRoRowCopyPalettedWithTransparencyIndex), m_nTransparentIndex(transparentIndex) {}
    int GetTransparentIndex() const noexcept { return m_nTransparentIndex; }
    void SetTransparentIndex(int index) noexcept { m_nTransparentIndex = index; }

private:
    int m_nTransparentIndex;
};

// Narrowing to 8 bits with an 8 x 8 ordered dither:
// d = floor(s x 255 + t(x mod 8, y mod 8)), t the Bayer threshold in (0, 1).
class QGDI_API CRowOpDefRowDither : public TRowOpDefKind<CRowOpDefRowDither, GetRowDitherDict> {
public:
    CRowOpDefRowDither() noexcept : TRowOpDefKind(keRoRowCopy) {}
};

// The definition the converted path hands to its converters.
QGDI_API const CRowOpDefRowCopy& QGDI_GetRowCopyDef() noexcept;
