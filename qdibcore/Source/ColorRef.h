#pragma once
// The library's colour value: blue, green, red and alpha, straight (never
// premultiplied), held in the precision it was made in (8-bit, 16-bit or
// float) so that a pixel read and written back through it is not rounded.
// It converts to and from a pixel of every format; indexed formats go through
// the palette, picking the nearest entry when the colour is not in it.
#include <cstdint>

#include "platform/windef.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qgdi_export.h"

class QGDI_API CColorRef {
public:
    enum EPrecision : int32_t {
        kePrecision8 = 0,
        kePrecision16 = 1,
        kePrecisionFloat = 2,
    };

    // Opaque black.
    constexpr CColorRef() noexcept : m_precision(kePrecision8), m_u8{0, 0, 0, 255} {}
    // 8-bit red, green, blue, alpha; each argument is clamped to 0..255.
    CColorRef(int red, int green, int blue, int alpha = 255) noexcept;

    // Red in the low byte, then green, blue, alpha (the order of QGDI_GetChannelColor).
    static CColorRef FromRGBA(uint32_t rgba) noexcept;
    // Blue in the low byte: a BGRA pixel read as a little-endian word.
    static CColorRef FromBGRA(uint32_t bgra) noexcept;
    static CColorRef FromCOLORREF(COLORREF colour, uint8_t alpha = 255) noexcept;
    static CColorRef FromRGBQUAD(const RGBQUAD& quad, uint8_t alpha = 255) noexcept;
    static CColorRef From16(uint16_t red, uint16_t green, uint16_t blue, uint16_t alpha = 65535) noexcept;
    // Float channels are kept as given (HDR values above 1 survive until stored
    // into an integer pixel, where they clamp).
    static CColorRef FromFloat(float red, float green, float blue, float alpha = 1.0f) noexcept;
    static CColorRef FromGrey8(uint8_t grey, uint8_t alpha = 255) noexcept;
    static CColorRef FromGrey16(uint16_t grey, uint16_t alpha = 65535) noexcept;
    static CColorRef FromGreyFloat(float grey, float alpha = 1.0f) noexcept;

    EPrecision GetPrecision() const noexcept { return m_precision; }
    // The same colour in another precision.
    CColorRef To8() const noexcept;
    CColorRef To16() const noexcept;
    CColorRef ToFloat() const noexcept;

    // One channel (blue, green, red, alpha or grey) in each precision; grey is
    // (77 R + 151 G + 28 B) / 256 in the precision of the request.
    uint8_t GetChannel8(EQChannel channel) const noexcept;
    uint16_t GetChannel16(EQChannel channel) const noexcept;
    float GetChannelFloat(EQChannel channel) const noexcept;
    // 0..1 (float colours may exceed it).
    double GetChannelDouble(EQChannel channel) const noexcept { return GetChannelFloat(channel); }

    uint8_t GetRed8() const noexcept { return GetChannel8(keChannelRed); }
    uint8_t GetGreen8() const noexcept { return GetChannel8(keChannelGreen); }
    uint8_t GetBlue8() const noexcept { return GetChannel8(keChannelBlue); }
    uint8_t GetAlpha8() const noexcept { return GetChannel8(keChannelAlpha); }
    uint8_t GetGrey8() const noexcept { return GetChannel8(keChannelGrey); }
    uint16_t GetRed16() const noexcept { return GetChannel16(keChannelRed); }
    uint16_t GetGreen16() const noexcept { return GetChannel16(keChannelGreen); }
    uint16_t GetBlue16() const noexcept { return GetChannel16(keChannelBlue); }
    uint16_t GetAlpha16() const noexcept { return GetChannel16(keChannelAlpha); }
    uint16_t GetGrey16() const noexcept { return GetChannel16(keChannelGrey); }
    float GetRedFloat() const noexcept { return GetChannelFloat(keChannelRed); }
    float GetGreenFloat() const noexcept { return GetChannelFloat(keChannelGreen); }
    float GetBlueFloat() const noexcept { return GetChannelFloat(keChannelBlue); }
    float GetAlphaFloat() const noexcept { return GetChannelFloat(keChannelAlpha); }
    float GetGreyFloat() const noexcept { return GetChannelFloat(keChannelGrey); }

    // Sets one channel (not grey) in the colour's own precision, from a 0..1 value.
    void SetChannelDouble(EQChannel channel, double value) noexcept;
    void SetAlpha8(uint8_t alpha) noexcept;

    uint32_t GetRGBA() const noexcept;
    uint32_t GetBGRA() const noexcept;
    COLORREF GetCOLORREF() const noexcept;
    RGBQUAD GetRGBQUAD() const noexcept;

    bool IsOpaque() const noexcept;
    bool IsTransparent() const noexcept;
    bool IsGrey() const noexcept;

    // Equal when both describe the same value at the finer of their precisions.
    bool operator==(const CColorRef& other) const noexcept;
    bool operator!=(const CColorRef& other) const noexcept { return !(*this == other); }

    // The colour of one pixel. `pixel` addresses the pixel's first byte; for
    // Index1 and Index4, `pixelOffset` is the pixel's position inside that byte
    // (0 = most significant bits). Indexed formats need the palette; an index
    // beyond it reads as opaque black.
    static CColorRef FromPixel(const void* pixel, EQPixelFormat format, const RGBQUAD* palette = nullptr,
                               int paletteCount = 0, int pixelOffset = 0) noexcept;
    // Writes the colour as one pixel. Indexed formats store the nearest palette
    // entry (false without a palette); Index8A keeps the alpha byte. False for
    // formats without pixels.
    bool ToPixel(void* pixel, EQPixelFormat format, const RGBQUAD* palette = nullptr, int paletteCount = 0,
                 int pixelOffset = 0) const noexcept;
    // Writes `count` pixels of this colour starting at `pixelOffset` of the first byte.
    bool FillPixels(void* row, int count, EQPixelFormat format, const RGBQUAD* palette = nullptr, int paletteCount = 0,
                    int pixelOffset = 0) const noexcept;
    // Index of the palette entry nearest in RGB (squared distance, first of
    // equals); -1 for an empty palette.
    int FindNearestIndex(const RGBQUAD* palette, int count) const noexcept;

private:
    EPrecision m_precision;
    // Storage order is the channel order: blue, green, red, alpha.
    union {
        uint8_t m_u8[4];
        uint16_t m_u16[4];
        float m_f[4];
    };
};
