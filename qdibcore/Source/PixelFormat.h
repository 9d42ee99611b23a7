#pragma once
// Pixel formats and channels. Every property comes from one table of format
// traits (PixelFormatTraits.h); the queries here only read it.
#include <cstdint>

#include "platform/windef.h"
#include "qdibcore/Source/QuorType.h"
#include "qgdi_export.h"

enum EQPixelFormat : int32_t {
    keFormatCustom = -1,
    keFormatNone = 0,
    keFormatIndex1 = 1,
    keFormatIndex4 = 2,
    keFormatIndex8 = 3,
    keFormatIndex8A = 4,
    keFormatGrey = 5,
    keFormatGreyA = 6,
    keFormatBGR = 7,
    keFormatBGRA = 8,
    keFormatBGRxA = 9,
    keFormatGrey_u16 = 10,
    keFormatGreyA_u16 = 11,
    keFormatBGR_u16 = 12,
    keFormatBGRA_u16 = 13,
    keFormatBGRxA_u16 = 14,
    keFormatGrey_f32 = 15,
    keFormatGreyA_f32 = 16,
    keFormatBGR_f32 = 17,
    keFormatBGRA_f32 = 18,
    keFormatBGRxA_f32 = 19,
};

constexpr int keFormatFirst = keFormatCustom;
constexpr int keFormatLast = keFormatBGRxA_f32;

enum EQChannel : int32_t {
    keChannelNone = -1,
    keChannelBlue = 0,
    keChannelGreen = 1,
    keChannelRed = 2,
    keChannelAlpha = 3,
    keChannelGrey = 4,
    keChannelSixth = 5,  // reached only through keChannelSetSixth
};

enum EQChannelSet : int32_t {
    keChannelSetNone = -1,
    keChannelSetBlue = 0,
    keChannelSetGreen = 1,
    keChannelSetRed = 2,
    keChannelSetAlpha = 3,
    keChannelSetGrey = 4,
    keChannelSetAllButAlpha = 5,  // blue, green, red, grey and the sixth channel
    keChannelSetAll = 6,
    keChannelSetSixth = 7,
};

// Single channels 0-4 map to the sets 0-4 and channel 5 to set 7; anything else to -1.
QGDI_API EQChannelSet QGDI_ChannelToChannelSet(EQChannel channel) noexcept;
QGDI_API EQChannel QGDI_ChannelSetToChannel(EQChannelSet set) noexcept;
QGDI_API bool QGDI_ChannelIsMember(EQChannelSet set, EQChannel channel) noexcept;

enum EQFormatClass : int32_t {
    keFormatClassUnknown = -2,
    keFormatClassCustom = -1,
    keFormatClassNone = 0,
    keFormatClassIndexed = 1,
    keFormatClassGreyscale = 2,
    keFormatClassRGB = 3,
};

class QGDI_API CQPixelFormat {
public:
    constexpr CQPixelFormat() noexcept = default;
    constexpr CQPixelFormat(EQPixelFormat format) noexcept : m_format(format) {}
    // Bit counts 1, 4, 24, 32 give Index1, Index4, BGR, BGRA; 8 and 16 give Grey
    // and GreyA when the header carries the 256-entry grey palette right behind it
    // (so `header` must be the start of a packed bitmap), Index8 and Index8A otherwise.
    explicit CQPixelFormat(const BITMAPINFOHEADER& header) noexcept;

    constexpr EQPixelFormat Get() const noexcept { return m_format; }
    constexpr operator EQPixelFormat() const noexcept { return m_format; }
    void Set(EQPixelFormat format) noexcept { m_format = format; }

    int GetBitsPerPixel() const noexcept;
    int GetBitsPerChannel() const noexcept;
    int GetBytesPerPixel() const noexcept { return GetBitsPerPixel() / 8; }
    int GetChannelCount() const noexcept;
    // Fills `list` (room for 4) in storage order and sets `count`; false for a
    // format without channels.
    bool GetChannels(int& count, EQChannel* list) const noexcept;
    // Index of `channel` within a pixel, in channel units.
    int GetChannelOffset(EQChannel channel) const noexcept;
    const wchar_t* GetFormatAsString() const noexcept;
    quor::EQType GetChannelType() const noexcept;
    EQFormatClass GetFormatClass() const noexcept;

    bool IsValid() const noexcept { return m_format >= keFormatFirst && m_format <= keFormatLast; }
    bool Is8bit() const noexcept;
    bool Is16bit() const noexcept;
    bool IsFloat() const noexcept;
    bool IsIndexedColor() const noexcept;
    bool IsGreyscale() const noexcept;
    bool IsRGBColor() const noexcept;
    bool IsAlphaChannelPresent() const noexcept;
    bool IsAlphaPremultiplied() const noexcept;
    bool IsPixelByteAligned() const noexcept { return m_format > keFormatIndex4; }

    EQPixelFormat Get8bitFormat() const noexcept;
    EQPixelFormat Get16bitFormat() const noexcept;
    EQPixelFormat GetFloatFormat() const noexcept;
    EQPixelFormat GetFlatFormat() const noexcept;
    EQPixelFormat GetNonFlatFormat() const noexcept;
    EQPixelFormat GetPremultipliedFormat() const noexcept;
    EQPixelFormat GetNonPremultipliedFormat() const noexcept;

    // Writes one colour (red in the low byte, then green, blue, alpha) as a pixel
    // of this format. 8-bit values widen to 16 bits as v x 257 and to float as
    // v / 255; premultiplied forms premultiply in their own precision. Indexed
    // formats receive the colour's grey level as the index (the high bit of the
    // byte for Index1, the high nibble for Index4) and Index8A the alpha after it.
    void GetPixelInFormat(void* pixel, uint32_t colour) const noexcept;

    static bool IsGreyPalette(const RGBQUAD* palette, int count) noexcept;

private:
    EQPixelFormat m_format = keFormatNone;
};

// Byte of `channel` from a colour laid out red, green, blue, alpha from the low
// byte up; grey is (77 R + 151 G + 28 B) >> 8; 0 for other channels.
QGDI_API uint8_t QGDI_GetChannelColor(uint32_t colour, EQChannel channel) noexcept;
// Swaps the low and third bytes (red and blue).
QGDI_API uint32_t QGDI_RGBAtoBGRA(uint32_t colour) noexcept;
// Premultiplies the colour bytes by alpha by its own published rule, t = c x a,
// (t + 128 + (t >> 8)) >> 8: for 24 (c, a) pairs that is one below the exact
// rounding the row converters use (152 x 229 gives 136, not 137); callers
// rely on these bytes, so the rule stays.
QGDI_API uint32_t QGDI_RGBAtoRGBxA(uint32_t colour) noexcept;
