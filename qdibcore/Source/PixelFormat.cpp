#include "qdibcore/Source/PixelFormat.h"

#include <algorithm>
#include <cstring>

#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/internal/pixel/PixelMath.h"

namespace {

const SQPixelFormatTraits* Traits(EQPixelFormat f) noexcept { return QGDI_FindPixelFormatTraits(f); }

template <class T>
T Query(EQPixelFormat f, T SQPixelFormatTraits::*field, T otherwise) noexcept {
    const SQPixelFormatTraits* t = Traits(f);
    return t ? t->*field : otherwise;
}

uint8_t GreyOf(uint32_t rgba) noexcept { return QGDI_GetChannelColor(rgba, keChannelGrey); }

}  // namespace

EQChannelSet QGDI_ChannelToChannelSet(EQChannel channel) noexcept {
    if (channel >= keChannelBlue && channel <= keChannelGrey) return static_cast<EQChannelSet>(channel);
    return channel == keChannelSixth ? keChannelSetSixth : keChannelSetNone;
}

EQChannel QGDI_ChannelSetToChannel(EQChannelSet set) noexcept {
    if (set >= keChannelSetBlue && set <= keChannelSetGrey) return static_cast<EQChannel>(set);
    return set == keChannelSetSixth ? keChannelSixth : keChannelNone;
}

bool QGDI_ChannelIsMember(EQChannelSet set, EQChannel channel) noexcept {
    switch (set) {
    case keChannelSetBlue:
    case keChannelSetGreen:
    case keChannelSetRed:
    case keChannelSetAlpha:
    case keChannelSetGrey: return static_cast<int>(set) == static_cast<int>(channel);
    case keChannelSetAllButAlpha:
        return channel == keChannelBlue || channel == keChannelGreen || channel == keChannelRed ||
               channel == keChannelGrey || channel == keChannelSixth;
    case keChannelSetAll: return channel >= keChannelBlue && channel <= keChannelSixth;
    case keChannelSetSixth: return channel == keChannelSixth;
    default: return false;
    }
}

bool CQPixelFormat::IsGreyPalette(const RGBQUAD* palette, int count) noexcept {
    if (!palette || count != 256) return false;
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t v = uint32_t(palette[i].rgbBlue) | uint32_t(palette[i].rgbGreen) << 8 |
                     uint32_t(palette[i].rgbRed) << 16;
        if (v != i * 0x010101u) return false;
    }
    return true;
}

CQPixelFormat::CQPixelFormat(const BITMAPINFOHEADER& header) noexcept {
    auto greyTest = [&] {
        return header.biClrUsed == 256 &&
               IsGreyPalette(
                   reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const uint8_t*>(&header) + sizeof header), 256);
    };
    switch (header.biBitCount) {
    case 1: m_format = keFormatIndex1; break;
    case 4: m_format = keFormatIndex4; break;
    case 8: m_format = greyTest() ? keFormatGrey : keFormatIndex8; break;
    case 16: m_format = greyTest() ? keFormatGreyA : keFormatIndex8A; break;
    case 24: m_format = keFormatBGR; break;
    case 32: m_format = keFormatBGRA; break;
    default: m_format = keFormatNone; break;
    }
}

int CQPixelFormat::GetBitsPerPixel() const noexcept { return Query(m_format, &SQPixelFormatTraits::bitsPerPixel, 0); }
int CQPixelFormat::GetBitsPerChannel() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::bitsPerChannel, 0);
}
int CQPixelFormat::GetChannelCount() const noexcept { return Query(m_format, &SQPixelFormatTraits::channelCount, 0); }
const wchar_t* CQPixelFormat::GetFormatAsString() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::name, L"<unknown");
}
quor::EQType CQPixelFormat::GetChannelType() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::elementType, quor::keTypeNull);
}
EQFormatClass CQPixelFormat::GetFormatClass() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::formatClass, keFormatClassUnknown);
}

bool CQPixelFormat::GetChannels(int& count, EQChannel* list) const noexcept {
    const SQPixelFormatTraits* t = Traits(m_format);
    count = t ? t->channelCount : 0;
    if (list)
        for (int i = 0; i < count; ++i) list[i] = t->channels[i];
    return count > 0;
}

int CQPixelFormat::GetChannelOffset(EQChannel channel) const noexcept {
    const SQPixelFormatTraits* t = Traits(m_format);
    if (!t || channel < 0) return 0;
    // An indexed pixel stores one index (and Index8A an alpha after it), not its
    // palette entry's channels.
    if (t->formatClass == keFormatClassIndexed) return t->alpha && channel == keChannelAlpha ? 1 : 0;
    for (int i = 0; i < t->channelCount; ++i)
        if (t->channels[i] == channel) return i;
    return 0;
}

bool CQPixelFormat::Is8bit() const noexcept { return m_format >= keFormatIndex8 && m_format <= keFormatBGRxA; }
bool CQPixelFormat::Is16bit() const noexcept { return m_format >= keFormatGrey_u16 && m_format <= keFormatBGRxA_u16; }
bool CQPixelFormat::IsFloat() const noexcept { return m_format >= keFormatGrey_f32 && m_format <= keFormatBGRxA_f32; }
bool CQPixelFormat::IsIndexedColor() const noexcept { return GetFormatClass() == keFormatClassIndexed; }
bool CQPixelFormat::IsGreyscale() const noexcept { return GetFormatClass() == keFormatClassGreyscale; }
bool CQPixelFormat::IsRGBColor() const noexcept { return GetFormatClass() == keFormatClassRGB; }
bool CQPixelFormat::IsAlphaChannelPresent() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::alpha, false);
}
bool CQPixelFormat::IsAlphaPremultiplied() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::premultiplied, false);
}

EQPixelFormat CQPixelFormat::Get8bitFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::to8bit, keFormatNone);
}
EQPixelFormat CQPixelFormat::Get16bitFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::to16bit, keFormatNone);
}
EQPixelFormat CQPixelFormat::GetFloatFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::toFloat, keFormatNone);
}
EQPixelFormat CQPixelFormat::GetFlatFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::flat, m_format);
}
EQPixelFormat CQPixelFormat::GetNonFlatFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::nonFlat, m_format);
}
EQPixelFormat CQPixelFormat::GetPremultipliedFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::premul, m_format);
}
EQPixelFormat CQPixelFormat::GetNonPremultipliedFormat() const noexcept {
    return Query(m_format, &SQPixelFormatTraits::nonPremul, m_format);
}

void CQPixelFormat::GetPixelInFormat(void* pixel, uint32_t colour) const noexcept {
    const SQPixelFormatTraits* t = Traits(m_format);
    if (!pixel || !t || t->channelCount == 0) return;
    const uint8_t c8[5] = {QGDI_GetChannelColor(colour, keChannelBlue), QGDI_GetChannelColor(colour, keChannelGreen),
                           QGDI_GetChannelColor(colour, keChannelRed), QGDI_GetChannelColor(colour, keChannelAlpha),
                           GreyOf(colour)};
    auto* bytes = static_cast<uint8_t*>(pixel);
    if (t->formatClass == keFormatClassIndexed) {
        if (m_format == keFormatIndex1) *bytes = static_cast<uint8_t>((*bytes & 0x7F) | (c8[4] & 0x80));
        else if (m_format == keFormatIndex4) *bytes = static_cast<uint8_t>((*bytes & 0x0F) | (c8[4] & 0xF0));
        else bytes[0] = c8[4];
        if (m_format == keFormatIndex8A) bytes[1] = c8[3];
        return;
    }
    const uint32_t a8 = c8[3];
    for (int i = 0; i < t->channelCount; ++i) {
        const EQChannel ch = t->channels[i];
        const uint32_t v8 = c8[ch];
        const bool scale = t->premultiplied && ch != keChannelAlpha;
        switch (t->bitsPerChannel) {
        case 8:
            // The byte forms keep QGDI_RGBAtoRGBxA's rule, which fills have always written.
            bytes[i] = scale ? static_cast<uint8_t>(QGDI_GetChannelColor(QGDI_RGBAtoRGBxA(colour), ch))
                             : static_cast<uint8_t>(v8);
            break;
        case 16: {
            uint16_t v = qgdi::px::Widen8(v8);
            if (scale) v = qgdi::px::Premul(v, qgdi::px::Widen8(a8));
            std::memcpy(bytes + 2 * i, &v, 2);
            break;
        }
        default: {
            float v = qgdi::px::Unit8(v8);
            if (scale) v = qgdi::px::Premul(v, qgdi::px::Unit8(a8));
            std::memcpy(bytes + 4 * i, &v, 4);
            break;
        }
        }
    }
}

uint8_t QGDI_GetChannelColor(uint32_t colour, EQChannel channel) noexcept {
    const uint32_t r = colour & 0xFF, g = (colour >> 8) & 0xFF, b = (colour >> 16) & 0xFF, a = colour >> 24;
    switch (channel) {
    case keChannelBlue: return static_cast<uint8_t>(b);
    case keChannelGreen: return static_cast<uint8_t>(g);
    case keChannelRed: return static_cast<uint8_t>(r);
    case keChannelAlpha: return static_cast<uint8_t>(a);
    case keChannelGrey: return static_cast<uint8_t>(qgdi::px::Luma(r, g, b));
    default: return 0;
    }
}

uint32_t QGDI_RGBAtoBGRA(uint32_t colour) noexcept {
    return (colour & 0xFF00FF00u) | ((colour & 0xFF) << 16) | ((colour >> 16) & 0xFF);
}

// Not the library's exact premultiplication (see the header): this function's
// own rule, kept for the callers that depend on its bytes.
uint32_t QGDI_RGBAtoRGBxA(uint32_t colour) noexcept {
    const uint32_t a = colour >> 24;
    if (a == 255) return colour;
    if (a == 0) return 0;
    uint32_t out = a << 24;
    for (int shift = 0; shift < 24; shift += 8) {
        uint32_t t = ((colour >> shift) & 0xFF) * a;
        out |= ((t + 128 + (t >> 8)) >> 8) << shift;
    }
    return out;
}
