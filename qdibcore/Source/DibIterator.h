#pragma once
// The iterator over one device-independent bitmap: header, palette and pixels
// packed in one memory block, the form in which bitmaps travel between the
// editor's modules. It is a row iterator in every respect (operations take it
// as a CRowIterator); what it adds is that an image it creates is itself one
// packed bitmap, handed out with GetDIB without a copy.
#include "colour/ColourSpaceRGB.h"
#include "qdibcore/Source/RowIteratorBands.h"

class QGDI_API CDibIterator : public CRowIteratorBands {
public:
    CDibIterator() noexcept;
    ~CDibIterator() override;
    CDibIterator(CDibIterator&& other) noexcept;
    CDibIterator& operator=(CDibIterator&& other) noexcept;

    // The packed bitmap behind the iterator (the whole bitmap, whatever the
    // rectangle), or null when it is not attached to one.
    IBinAccessor* GetDIB() const noexcept;
    // The header of that bitmap, valid while the iterator stays attached.
    const BITMAPINFOHEADER* GetBitmapInfoHeader() const noexcept;

    // The 256-entry grey ramp that grey formats carry as their palette.
    static const RGBQUAD (&sm_aoGreyPalette)[256];
    static const SColorSpecRGB sm_kColorSpecRGB;
    static const POINT sm_kptZero;
    // A rectangle containing every other: "no restriction".
    static const RECT sm_krcMax;

protected:
    const char* DumpTag() const noexcept override;
    void DumpExtraFields(std::ostream& out) const override;
    // One packed bitmap: header, palette and bottom-up rows in one block.
    CErrorAutoThrow CreateStorage(int width, int height, EQPixelFormat format, const RGBQUAD* palette,
                                  int paletteCount) override;
};
