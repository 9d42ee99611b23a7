// The converter table between every pair of pixel formats and the named
// converters and channel movers of the iterator.
#include <array>
#include <utility>

#include "qdibcore/Source/internal/RowConvertKernels.h"
#include "qdibcore/Source/internal/RowIteratorState.h"

namespace {
using namespace qgdi_convert;

// Same non-indexed format: the bytes as they are.
template <int BytesPerPixel>
void CopyPixels(void* dst, const void* src, int count, const SQRowConvertContext&) {
    std::memcpy(dst, src, size_t(count) * BytesPerPixel);
}

constexpr bool IsIndexed(int f) { return f >= keFormatIndex1 && f <= keFormatIndex8A; }

template <int S, int D>
constexpr QRowConvertFn Pick() {
    constexpr auto s = static_cast<EQPixelFormat>(S);
    constexpr auto d = static_cast<EQPixelFormat>(D);
    if constexpr (IsIndexed(S) && IsIndexed(D)) return &IndexToIndex<s, d>;
    else if constexpr (IsIndexed(S)) return &IndexToPixels<s, d>;
    else if constexpr (IsIndexed(D)) return &PixelsToIndex<s, d>;
    else if constexpr (S == D) return &CopyPixels<TQPixelFormat<s>::kBitsPerPixel / 8>;
    else return &ConvertPixels<s, d>;
}

constexpr int kFormats = keFormatLast;  // formats 1..19 hold pixels

template <int S, int... D>
constexpr std::array<QRowConvertFn, kFormats> ConverterRow(std::integer_sequence<int, D...>) {
    return {Pick<S, D + 1>()...};
}

template <int... S>
constexpr std::array<std::array<QRowConvertFn, kFormats>, kFormats> ConverterTable(std::integer_sequence<int, S...>) {
    return {ConverterRow<S + 1>(std::make_integer_sequence<int, kFormats>{})...};
}

constexpr auto kConverters = ConverterTable(std::make_integer_sequence<int, kFormats>{});

SQRowConvertContext Plain(int channel = 0) {
    SQRowConvertContext c;
    c.channel = channel;
    return c;
}

template <EQPixelFormat S, EQPixelFormat D>
void Run(void* dst, const void* src, int count) {
    Pick<S, D>()(dst, src, count, Plain());
}

// Premultiply (or straighten) the colour channels 0..N-2 by the alpha in N-1,
// keeping the layout: the grey-alpha forms that have no format of their own.
template <class E, int N, bool Forward>
void PremultiplyLayout(void* dst, const void* src, int count) {
    const E* s = static_cast<const E*>(src);
    E* d = static_cast<E*>(dst);
    for (int i = 0; i < count; ++i, s += N, d += N) {
        const E a = s[N - 1];
        for (int c = 0; c < N - 1; ++c) d[c] = Forward ? Premul(s[c], a) : Unpremul(s[c], a);
        d[N - 1] = a;
    }
}

}  // namespace

QRowConvertFn CRowIteratorBands::FindConverter(EQPixelFormat from, EQPixelFormat to) noexcept {
    if (from < keFormatIndex1 || from > keFormatLast || to < keFormatIndex1 || to > keFormatLast) return nullptr;
    return kConverters[from - 1][to - 1];
}

// Second byte dropped: d[i] = s[2 i] (GreyA to Grey, Index8A to Index8).
void CRowIteratorBands::Convert8ATo8(void* dst, const void* src, int count) {
    GetChannel<uint8_t, 2>(dst, src, count, Plain(0));
}
// Opaque alpha appended: (d[2 i], d[2 i + 1]) = (s[i], 255).
void CRowIteratorBands::Convert8To8A(void* dst, const void* src, int count) {
    const auto* s = static_cast<const uint8_t*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    for (int i = 0; i < count; ++i) {
        d[2 * i] = s[i];
        d[2 * i + 1] = 255;
    }
}
void CRowIteratorBands::ConvertBGRAToBGR(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatBGR>(dst, src, count); }
void CRowIteratorBands::ConvertBGRAToBGRxA(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatBGRxA>(dst, src, count); }
void CRowIteratorBands::ConvertBGRAtoGrey(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatGrey>(dst, src, count); }
void CRowIteratorBands::ConvertBGRAtoGreyA(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatGreyA>(dst, src, count); }
void CRowIteratorBands::ConvertBGRToBGRA(void* dst, const void* src, int count) { Run<keFormatBGR, keFormatBGRA>(dst, src, count); }
void CRowIteratorBands::ConvertBGRtoGrey(void* dst, const void* src, int count) { Run<keFormatBGR, keFormatGrey>(dst, src, count); }
void CRowIteratorBands::ConvertBGRtoGreyA(void* dst, const void* src, int count) { Run<keFormatBGR, keFormatGreyA>(dst, src, count); }
void CRowIteratorBands::ConvertBGRxAToBGRA(void* dst, const void* src, int count) { Run<keFormatBGRxA, keFormatBGRA>(dst, src, count); }
void CRowIteratorBands::ConvertGreyAToBGR(void* dst, const void* src, int count) { Run<keFormatGreyA, keFormatBGR>(dst, src, count); }
void CRowIteratorBands::ConvertGreyAToBGRA(void* dst, const void* src, int count) { Run<keFormatGreyA, keFormatBGRA>(dst, src, count); }
void CRowIteratorBands::ConvertGreyToBGR(void* dst, const void* src, int count) { Run<keFormatGrey, keFormatBGR>(dst, src, count); }
void CRowIteratorBands::ConvertGreyToBGRA(void* dst, const void* src, int count) { Run<keFormatGrey, keFormatBGRA>(dst, src, count); }
void CRowIteratorBands::ConvertBGR16ToBGRA16(void* dst, const void* src, int count) { Run<keFormatBGR_u16, keFormatBGRA_u16>(dst, src, count); }
void CRowIteratorBands::ConvertBGRA16ToBGR16(void* dst, const void* src, int count) { Run<keFormatBGRA_u16, keFormatBGR_u16>(dst, src, count); }
void CRowIteratorBands::ConvertBGRA16ToBGRxA16(void* dst, const void* src, int count) { Run<keFormatBGRA_u16, keFormatBGRxA_u16>(dst, src, count); }
void CRowIteratorBands::ConvertBGRxA16ToBGRA16(void* dst, const void* src, int count) { Run<keFormatBGRxA_u16, keFormatBGRA_u16>(dst, src, count); }
void CRowIteratorBands::ConvertGrey16ToGreyA16(void* dst, const void* src, int count) { Run<keFormatGrey_u16, keFormatGreyA_u16>(dst, src, count); }
void CRowIteratorBands::ConvertGreyA16ToGrey16(void* dst, const void* src, int count) { Run<keFormatGreyA_u16, keFormatGrey_u16>(dst, src, count); }
void CRowIteratorBands::ConvertGreyA16ToGreyxA16(void* dst, const void* src, int count) { PremultiplyLayout<uint16_t, 2, true>(dst, src, count); }
void CRowIteratorBands::ConvertGreyxA16ToGreyA16(void* dst, const void* src, int count) { PremultiplyLayout<uint16_t, 2, false>(dst, src, count); }
void CRowIteratorBands::ConvertGreyAToGreyxA(void* dst, const void* src, int count) { PremultiplyLayout<uint8_t, 2, true>(dst, src, count); }
void CRowIteratorBands::ConvertGreyxAToGreyA(void* dst, const void* src, int count) { PremultiplyLayout<uint8_t, 2, false>(dst, src, count); }

namespace {
template <EQPixelFormat S, EQPixelFormat D>
void RunIndexed(const CRowIteratorBands& it, void* dst, const void* src, int count) {
    SQRowConvertContext c;
    c.palette = it.GetPalette();
    c.paletteCount = it.GetPaletteCount();
    // Packed sources are whole rows of this iterator; packed destinations start at their first bit.
    c.srcPixelOffset = TQPixelFormat<S>::kBitsPerPixel < 8 ? it.GetPixelOffset() : 0;
    Pick<S, D>()(dst, src, count, c);
}
}  // namespace

void CRowIteratorBands::ConvertIndex1to8(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex1, keFormatIndex8>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex1toBGR(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex1, keFormatBGR>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex1toBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex1, keFormatBGRA>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex4to8(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex4, keFormatIndex8>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex4toBGR(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex4, keFormatBGR>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex4toBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex4, keFormatBGRA>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex8AtoBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8A, keFormatBGRA>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex8to1(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatIndex1>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex8to4(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatIndex4>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex8toBGR(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatBGR>(*this, dst, src, count); }
void CRowIteratorBands::ConvertIndex8toBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatBGRA>(*this, dst, src, count); }

void CRowIteratorBands::GetChannelFrom16(void* dst, const void* src, int count, int channel) { GetChannel<uint8_t, 2>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::GetChannelFrom24(void* dst, const void* src, int count, int channel) { GetChannel<uint8_t, 3>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::GetChannelFrom32(void* dst, const void* src, int count, int channel) { GetChannel<uint8_t, 4>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::GetChannelFrom48(void* dst, const void* src, int count, int channel) { GetChannel<uint16_t, 3>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::GetChannelFrom64(void* dst, const void* src, int count, int channel) { GetChannel<uint16_t, 4>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::Get16ChannelFrom32(void* dst, const void* src, int count, int channel) { GetChannel<uint16_t, 2>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::GetBGRChannelFromBGRA(void* dst, const void* src, int count) { GetColourChannels<uint8_t>(dst, src, count, Plain()); }
void CRowIteratorBands::GetBGRChannelFromBGRA_u16(void* dst, const void* src, int count) { GetColourChannels<uint16_t>(dst, src, count, Plain()); }
void CRowIteratorBands::MoveChannelTo16(void* dst, const void* src, int count, int channel) { MoveChannel<uint8_t, 2>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::MoveChannelTo24(void* dst, const void* src, int count, int channel) { MoveChannel<uint8_t, 3>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::MoveChannelTo32(void* dst, const void* src, int count, int channel) { MoveChannel<uint8_t, 4>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::MoveChannelTo48(void* dst, const void* src, int count, int channel) { MoveChannel<uint16_t, 3>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::MoveChannelTo64(void* dst, const void* src, int count, int channel) { MoveChannel<uint16_t, 4>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::Move16ChannelTo32(void* dst, const void* src, int count, int channel) { MoveChannel<uint16_t, 2>(dst, src, count, Plain(channel)); }
void CRowIteratorBands::MoveBGRChannelToBGRA(void* dst, const void* src, int count) { MoveColourChannels<uint8_t>(dst, src, count, Plain()); }
void CRowIteratorBands::MoveBGRChannelToBGRA_u16(void* dst, const void* src, int count) { MoveColourChannels<uint16_t>(dst, src, count, Plain()); }
