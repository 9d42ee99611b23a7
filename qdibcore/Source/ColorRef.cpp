#include "qdibcore/Source/ColorRef.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "qdibcore/Source/internal/pixel/RowConvert.h"

namespace {
using namespace qgdi::px;

template <class E>
TColour<TWork<E>> Channels(const CColorRef& c) noexcept {
    if constexpr (std::is_same_v<E, uint8_t>) return {c.GetBlue8(), c.GetGreen8(), c.GetRed8(), c.GetAlpha8()};
    else if constexpr (std::is_same_v<E, uint16_t>)
        return {c.GetBlue16(), c.GetGreen16(), c.GetRed16(), c.GetAlpha16()};
    else return {c.GetBlueFloat(), c.GetGreenFloat(), c.GetRedFloat(), c.GetAlphaFloat()};
}

template <class E>
CColorRef Make(const TColour<TWork<E>>& c) noexcept {
    if constexpr (std::is_same_v<E, uint8_t>) return CColorRef(c.r, c.g, c.b, c.a);
    else if constexpr (std::is_same_v<E, uint16_t>)
        return CColorRef::From16(uint16_t(c.r), uint16_t(c.g), uint16_t(c.b), uint16_t(c.a));
    else return CColorRef::FromFloat(c.r, c.g, c.b, c.a);
}

// A pixel of a non-indexed format: premultiplied colour is straightened.
template <EQPixelFormat F>
CColorRef ReadPixel(const void* pixel) noexcept {
    using P = TPx<F>;
    typename P::E p[4];
    std::memcpy(p, pixel, sizeof(typename P::E) * P::kN);
    return Make<typename P::E>(P::Load(p));
}

template <EQPixelFormat F>
void WritePixel(void* pixel, const CColorRef& colour) noexcept {
    using P = TPx<F>;
    typename P::E p[4];
    P::Store(p, Channels<typename P::E>(colour));
    std::memcpy(pixel, p, sizeof(typename P::E) * P::kN);
}

using ReadFn = CColorRef (*)(const void*) noexcept;
using WriteFn = void (*)(void*, const CColorRef&) noexcept;

template <int F>
constexpr ReadFn PickRead() {
    if constexpr (F >= keFormatGrey) return &ReadPixel<static_cast<EQPixelFormat>(F)>;
    else return nullptr;
}
template <int F>
constexpr WriteFn PickWrite() {
    if constexpr (F >= keFormatGrey) return &WritePixel<static_cast<EQPixelFormat>(F)>;
    else return nullptr;
}

template <int... F>
constexpr std::array<ReadFn, keFormatLast + 1> ReadTable(std::integer_sequence<int, F...>) {
    return {PickRead<F>()...};
}
template <int... F>
constexpr std::array<WriteFn, keFormatLast + 1> WriteTable(std::integer_sequence<int, F...>) {
    return {PickWrite<F>()...};
}
constexpr auto kRead = ReadTable(std::make_integer_sequence<int, keFormatLast + 1>{});
constexpr auto kWrite = WriteTable(std::make_integer_sequence<int, keFormatLast + 1>{});

uint32_t ReadIndexAt(const uint8_t* p, EQPixelFormat f, int offset) noexcept {
    switch (f) {
    case keFormatIndex1: return IndexAt<keFormatIndex1>(p, offset);
    case keFormatIndex4: return IndexAt<keFormatIndex4>(p, offset);
    default: return p[0];
    }
}

void WriteIndexAt(uint8_t* p, EQPixelFormat f, int i, int offset, uint32_t index) noexcept {
    switch (f) {
    case keFormatIndex1: SetIndex<keFormatIndex1>(p, i + offset, index); break;
    case keFormatIndex4: SetIndex<keFormatIndex4>(p, i + offset, index); break;
    case keFormatIndex8: p[i] = static_cast<uint8_t>(index); break;
    default: p[2 * i] = static_cast<uint8_t>(index); break;
    }
}

uint8_t Clamp8(int v) noexcept { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

}  // namespace

CColorRef::CColorRef(int red, int green, int blue, int alpha) noexcept
    : m_precision(kePrecision8), m_u8{Clamp8(blue), Clamp8(green), Clamp8(red), Clamp8(alpha)} {}

CColorRef CColorRef::FromRGBA(uint32_t rgba) noexcept {
    return CColorRef(rgba & 0xFF, (rgba >> 8) & 0xFF, (rgba >> 16) & 0xFF, rgba >> 24);
}
CColorRef CColorRef::FromBGRA(uint32_t bgra) noexcept {
    return CColorRef((bgra >> 16) & 0xFF, (bgra >> 8) & 0xFF, bgra & 0xFF, bgra >> 24);
}
CColorRef CColorRef::FromCOLORREF(COLORREF colour, uint8_t alpha) noexcept {
    return CColorRef(GetRValue(colour), GetGValue(colour), GetBValue(colour), alpha);
}
CColorRef CColorRef::FromRGBQUAD(const RGBQUAD& quad, uint8_t alpha) noexcept {
    return CColorRef(quad.rgbRed, quad.rgbGreen, quad.rgbBlue, alpha);
}
CColorRef CColorRef::From16(uint16_t red, uint16_t green, uint16_t blue, uint16_t alpha) noexcept {
    CColorRef c;
    c.m_precision = kePrecision16;
    c.m_u16[0] = blue;
    c.m_u16[1] = green;
    c.m_u16[2] = red;
    c.m_u16[3] = alpha;
    return c;
}
CColorRef CColorRef::FromFloat(float red, float green, float blue, float alpha) noexcept {
    CColorRef c;
    c.m_precision = kePrecisionFloat;
    c.m_f[0] = blue;
    c.m_f[1] = green;
    c.m_f[2] = red;
    c.m_f[3] = alpha;
    return c;
}
CColorRef CColorRef::FromGrey8(uint8_t grey, uint8_t alpha) noexcept { return CColorRef(grey, grey, grey, alpha); }
CColorRef CColorRef::FromGrey16(uint16_t grey, uint16_t alpha) noexcept { return From16(grey, grey, grey, alpha); }
CColorRef CColorRef::FromGreyFloat(float grey, float alpha) noexcept { return FromFloat(grey, grey, grey, alpha); }

CColorRef CColorRef::To8() const noexcept {
    return m_precision == kePrecision8 ? *this : CColorRef(GetRed8(), GetGreen8(), GetBlue8(), GetAlpha8());
}
CColorRef CColorRef::To16() const noexcept {
    return m_precision == kePrecision16 ? *this : From16(GetRed16(), GetGreen16(), GetBlue16(), GetAlpha16());
}
CColorRef CColorRef::ToFloat() const noexcept {
    return m_precision == kePrecisionFloat ? *this
                                           : FromFloat(GetRedFloat(), GetGreenFloat(), GetBlueFloat(), GetAlphaFloat());
}

uint8_t CColorRef::GetChannel8(EQChannel channel) const noexcept {
    if (channel == keChannelGrey) return Luma(GetRed8(), GetGreen8(), GetBlue8());
    if (channel < keChannelBlue || channel > keChannelAlpha) return 0;
    switch (m_precision) {
    case kePrecision8: return m_u8[channel];
    case kePrecision16: return Narrow16(m_u16[channel]);
    default: return FloatTo8(m_f[channel]);
    }
}

uint16_t CColorRef::GetChannel16(EQChannel channel) const noexcept {
    if (channel == keChannelGrey) return Luma(GetRed16(), GetGreen16(), GetBlue16());
    if (channel < keChannelBlue || channel > keChannelAlpha) return 0;
    switch (m_precision) {
    case kePrecision8: return Widen8(m_u8[channel]);
    case kePrecision16: return m_u16[channel];
    default: return FloatTo16(m_f[channel]);
    }
}

float CColorRef::GetChannelFloat(EQChannel channel) const noexcept {
    if (channel == keChannelGrey) return Luma(GetRedFloat(), GetGreenFloat(), GetBlueFloat());
    if (channel < keChannelBlue || channel > keChannelAlpha) return 0.0f;
    switch (m_precision) {
    case kePrecision8: return Scale<float>(m_u8[channel]);
    case kePrecision16: return Scale<float>(m_u16[channel]);
    default: return m_f[channel];
    }
}

void CColorRef::SetChannelDouble(EQChannel channel, double value) noexcept {
    if (channel < keChannelBlue || channel > keChannelAlpha) return;
    const double c = value > 0.0 ? (value < 1.0 ? value : 1.0) : 0.0;
    switch (m_precision) {
    case kePrecision8: m_u8[channel] = static_cast<uint8_t>(c * 255.9999); break;
    case kePrecision16: m_u16[channel] = static_cast<uint16_t>(c * 65535.9999); break;
    default: m_f[channel] = static_cast<float>(value); break;
    }
}

void CColorRef::SetAlpha8(uint8_t alpha) noexcept {
    switch (m_precision) {
    case kePrecision8: m_u8[3] = alpha; break;
    case kePrecision16: m_u16[3] = Widen8(alpha); break;
    default: m_f[3] = Scale<float>(alpha); break;
    }
}

uint32_t CColorRef::GetRGBA() const noexcept {
    return uint32_t(GetRed8()) | uint32_t(GetGreen8()) << 8 | uint32_t(GetBlue8()) << 16 | uint32_t(GetAlpha8()) << 24;
}
uint32_t CColorRef::GetBGRA() const noexcept { return QGDI_RGBAtoBGRA(GetRGBA()); }
COLORREF CColorRef::GetCOLORREF() const noexcept { return GetRGBA() & 0x00FFFFFFu; }
RGBQUAD CColorRef::GetRGBQUAD() const noexcept { return RGBQUAD{GetBlue8(), GetGreen8(), GetRed8(), 0}; }

bool CColorRef::IsOpaque() const noexcept {
    switch (m_precision) {
    case kePrecision8: return m_u8[3] == 255;
    case kePrecision16: return m_u16[3] == 65535;
    default: return m_f[3] >= 1.0f;
    }
}

bool CColorRef::IsTransparent() const noexcept {
    switch (m_precision) {
    case kePrecision8: return m_u8[3] == 0;
    case kePrecision16: return m_u16[3] == 0;
    default: return m_f[3] <= 0.0f;
    }
}

bool CColorRef::IsGrey() const noexcept {
    switch (m_precision) {
    case kePrecision8: return m_u8[0] == m_u8[1] && m_u8[1] == m_u8[2];
    case kePrecision16: return m_u16[0] == m_u16[1] && m_u16[1] == m_u16[2];
    default: return m_f[0] == m_f[1] && m_f[1] == m_f[2];
    }
}

bool CColorRef::operator==(const CColorRef& other) const noexcept {
    const EPrecision finer = std::max(m_precision, other.m_precision);
    for (int c = 0; c < 4; ++c) {
        const auto ch = static_cast<EQChannel>(c);
        const bool same = finer == kePrecision8    ? GetChannel8(ch) == other.GetChannel8(ch)
                          : finer == kePrecision16 ? GetChannel16(ch) == other.GetChannel16(ch)
                                                   : GetChannelFloat(ch) == other.GetChannelFloat(ch);
        if (!same) return false;
    }
    return true;
}

CColorRef CColorRef::FromPixel(const void* pixel, EQPixelFormat format, const RGBQUAD* palette, int paletteCount,
                               int pixelOffset) noexcept {
    if (!pixel || format < keFormatIndex1 || format > keFormatLast) return CColorRef();
    if (format <= keFormatIndex8A) {
        const auto* p = static_cast<const uint8_t*>(pixel);
        const uint32_t index = ReadIndexAt(p, format, pixelOffset);
        const uint8_t alpha = format == keFormatIndex8A ? p[1] : 255;
        if (!palette || index >= uint32_t(std::clamp(paletteCount, 0, 256))) return CColorRef(0, 0, 0, alpha);
        return FromRGBQUAD(palette[index], alpha);
    }
    return kRead[format](pixel);
}

int CColorRef::FindNearestIndex(const RGBQUAD* palette, int count) const noexcept {
    if (!palette || count <= 0) return -1;
    const uint8_t bgr[3] = {GetBlue8(), GetGreen8(), GetRed8()};
    return static_cast<int>(NearestIndex(palette, count, bgr));
}

bool CColorRef::ToPixel(void* pixel, EQPixelFormat format, const RGBQUAD* palette, int paletteCount,
                        int pixelOffset) const noexcept {
    return FillPixels(pixel, 1, format, palette, paletteCount, pixelOffset);
}

bool CColorRef::FillPixels(void* row, int count, EQPixelFormat format, const RGBQUAD* palette, int paletteCount,
                           int pixelOffset) const noexcept {
    if (!row || count < 0 || format < keFormatIndex1 || format > keFormatLast) return false;
    auto* p = static_cast<uint8_t*>(row);
    if (format <= keFormatIndex8A) {
        const int index = FindNearestIndex(palette, std::min(paletteCount, 256));
        if (index < 0) return false;
        for (int i = 0; i < count; ++i) {
            WriteIndexAt(p, format, i, pixelOffset, static_cast<uint32_t>(index));
            if (format == keFormatIndex8A) p[2 * i + 1] = GetAlpha8();
        }
        return true;
    }
    if (count == 0) return true;
    const size_t size = size_t(CQPixelFormat(format).GetBytesPerPixel());
    kWrite[format](p, *this);
    // Double the written run until the span is full.
    const size_t total = size * size_t(count);
    for (size_t done = size; done < total;) {
        const size_t n = std::min(done, total - done);
        std::memcpy(p + done, p, n);
        done += n;
    }
    return true;
}
