// The converter table between every pair of pixel formats and the named
// converters and channel movers of the iterator.
#include <array>
#include <utility>

#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/RowIteratorState.h"
#include "qdibcore/Source/internal/pixel/RowConvert.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {
using namespace qgdi::px;

// Every pair is the one row conversion that the row-copy kinds use as well.
template <int S, int D>
constexpr QRowConvertFn Pick() {
    return &ConvertRow<static_cast<EQPixelFormat>(D), static_cast<EQPixelFormat>(S)>;
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

}  // namespace

// This pass's converter between two formats of 1..19.
QRowConvertFn FindRowConverter(EQPixelFormat from, EQPixelFormat to) noexcept { return kConverters[from - 1][to - 1]; }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS

QGDI_DECLARE_PER_TARGET(QRowConvertFn FindRowConverter(EQPixelFormat from, EQPixelFormat to) noexcept)

// The named converters go through the table of the active pass as well.
namespace {
using namespace qgdi::px;

SQRowConvertContext Plain(int channel = 0) {
    SQRowConvertContext c;
    c.channel = channel;
    return c;
}

template <EQPixelFormat S, EQPixelFormat D>
void Run(void* dst, const void* src, int count) {
    CRowIteratorBands::FindConverter(S, D)(dst, src, count, Plain());
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
    return QGDI_DISPATCH(FindRowConverter)(from, to);
}

// clang-format off
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
// (b, g, r, a) -> (b, g, r): alpha dropped.
void CRowIteratorBands::ConvertBGRAToBGR(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatBGR>(dst, src, count); }
// c -> round(c a / 255), alpha kept.
void CRowIteratorBands::ConvertBGRAToBGRxA(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatBGRxA>(dst, src, count); }
// -> (77 r + 151 g + 28 b) >> 8.
void CRowIteratorBands::ConvertBGRAtoGrey(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatGrey>(dst, src, count); }
// -> ((77 r + 151 g + 28 b) >> 8, a).
void CRowIteratorBands::ConvertBGRAtoGreyA(void* dst, const void* src, int count) { Run<keFormatBGRA, keFormatGreyA>(dst, src, count); }
// (b, g, r) -> (b, g, r, 255).
void CRowIteratorBands::ConvertBGRToBGRA(void* dst, const void* src, int count) { Run<keFormatBGR, keFormatBGRA>(dst, src, count); }
// -> (77 r + 151 g + 28 b) >> 8.
void CRowIteratorBands::ConvertBGRtoGrey(void* dst, const void* src, int count) { Run<keFormatBGR, keFormatGrey>(dst, src, count); }
// -> ((77 r + 151 g + 28 b) >> 8, 255).
void CRowIteratorBands::ConvertBGRtoGreyA(void* dst, const void* src, int count) { Run<keFormatBGR, keFormatGreyA>(dst, src, count); }
// c -> min(255, round(c 255 / a)), 0 where a = 0; alpha kept.
void CRowIteratorBands::ConvertBGRxAToBGRA(void* dst, const void* src, int count) { Run<keFormatBGRxA, keFormatBGRA>(dst, src, count); }
// (v, a) -> (v, v, v).
void CRowIteratorBands::ConvertGreyAToBGR(void* dst, const void* src, int count) { Run<keFormatGreyA, keFormatBGR>(dst, src, count); }
// (v, a) -> (v, v, v, a).
void CRowIteratorBands::ConvertGreyAToBGRA(void* dst, const void* src, int count) { Run<keFormatGreyA, keFormatBGRA>(dst, src, count); }
// v -> (v, v, v).
void CRowIteratorBands::ConvertGreyToBGR(void* dst, const void* src, int count) { Run<keFormatGrey, keFormatBGR>(dst, src, count); }
// v -> (v, v, v, 255).
void CRowIteratorBands::ConvertGreyToBGRA(void* dst, const void* src, int count) { Run<keFormatGrey, keFormatBGRA>(dst, src, count); }
// (b, g, r) -> (b, g, r, 65535).
void CRowIteratorBands::ConvertBGR16ToBGRA16(void* dst, const void* src, int count) { Run<keFormatBGR_u16, keFormatBGRA_u16>(dst, src, count); }
// (b, g, r, a) -> (b, g, r).
void CRowIteratorBands::ConvertBGRA16ToBGR16(void* dst, const void* src, int count) { Run<keFormatBGRA_u16, keFormatBGR_u16>(dst, src, count); }
// c -> round(c a / 65535), alpha kept.
void CRowIteratorBands::ConvertBGRA16ToBGRxA16(void* dst, const void* src, int count) { Run<keFormatBGRA_u16, keFormatBGRxA_u16>(dst, src, count); }
// c -> min(65535, round(c 65535 / a)), 0 where a = 0; alpha kept.
void CRowIteratorBands::ConvertBGRxA16ToBGRA16(void* dst, const void* src, int count) { Run<keFormatBGRxA_u16, keFormatBGRA_u16>(dst, src, count); }
// v -> (v, 65535).
void CRowIteratorBands::ConvertGrey16ToGreyA16(void* dst, const void* src, int count) { Run<keFormatGrey_u16, keFormatGreyA_u16>(dst, src, count); }
// (v, a) -> v.
void CRowIteratorBands::ConvertGreyA16ToGrey16(void* dst, const void* src, int count) { Run<keFormatGreyA_u16, keFormatGrey_u16>(dst, src, count); }
// (v, a) -> (v a / 65535 rounded, a).
void CRowIteratorBands::ConvertGreyA16ToGreyxA16(void* dst, const void* src, int count) { PremultiplyLayout<uint16_t, 2, true>(dst, src, count); }
// (v, a) -> (min(65535, v 65535 / a) rounded, a).
void CRowIteratorBands::ConvertGreyxA16ToGreyA16(void* dst, const void* src, int count) { PremultiplyLayout<uint16_t, 2, false>(dst, src, count); }
// (v, a) -> (v a / 255 rounded, a).
void CRowIteratorBands::ConvertGreyAToGreyxA(void* dst, const void* src, int count) { PremultiplyLayout<uint8_t, 2, true>(dst, src, count); }
// (v, a) -> (min(255, v 255 / a) rounded, a).
void CRowIteratorBands::ConvertGreyxAToGreyA(void* dst, const void* src, int count) { PremultiplyLayout<uint8_t, 2, false>(dst, src, count); }

namespace {
template <EQPixelFormat S, EQPixelFormat D>
void RunIndexed(const CRowIteratorBands& it, void* dst, const void* src, int count) {
    SQRowConvertContext c;
    c.palette = it.GetPalette();
    c.paletteCount = it.GetPaletteCount();
    // Packed sources are whole rows of this iterator; packed destinations start at their first bit.
    c.srcPixelOffset = TQPixelFormat<S>::kBitsPerPixel < 8 ? it.GetPixelOffset() : 0;
    CRowIteratorBands::FindConverter(S, D)(dst, src, count, c);
}
}  // namespace

// bit i (most significant first) -> byte i.
void CRowIteratorBands::ConvertIndex1to8(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex1, keFormatIndex8>(*this, dst, src, count); }
// bit -> its palette entry (b, g, r).
void CRowIteratorBands::ConvertIndex1toBGR(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex1, keFormatBGR>(*this, dst, src, count); }
// bit -> its palette entry (b, g, r, 255).
void CRowIteratorBands::ConvertIndex1toBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex1, keFormatBGRA>(*this, dst, src, count); }
// nibble i (high first) -> byte i.
void CRowIteratorBands::ConvertIndex4to8(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex4, keFormatIndex8>(*this, dst, src, count); }
// nibble -> its palette entry (b, g, r).
void CRowIteratorBands::ConvertIndex4toBGR(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex4, keFormatBGR>(*this, dst, src, count); }
// nibble -> its palette entry (b, g, r, 255).
void CRowIteratorBands::ConvertIndex4toBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex4, keFormatBGRA>(*this, dst, src, count); }
// (i, a) -> (palette[i], a).
void CRowIteratorBands::ConvertIndex8AtoBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8A, keFormatBGRA>(*this, dst, src, count); }
// byte -> its low bit, packed most significant first.
void CRowIteratorBands::ConvertIndex8to1(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatIndex1>(*this, dst, src, count); }
// byte -> its low nibble, packed high first.
void CRowIteratorBands::ConvertIndex8to4(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatIndex4>(*this, dst, src, count); }
// i -> palette[i]; indices past the palette give black.
void CRowIteratorBands::ConvertIndex8toBGR(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatBGR>(*this, dst, src, count); }
// i -> (palette[i], 255); indices past the palette give opaque black.
void CRowIteratorBands::ConvertIndex8toBGRA(void* dst, const void* src, int count) const { RunIndexed<keFormatIndex8, keFormatBGRA>(*this, dst, src, count); }

// d[i] = s[2 i + channel] (bytes).
void CRowIteratorBands::GetChannelFrom16(void* dst, const void* src, int count, int channel) { GetChannel<uint8_t, 2>(dst, src, count, Plain(channel)); }
// d[i] = s[3 i + channel] (bytes).
void CRowIteratorBands::GetChannelFrom24(void* dst, const void* src, int count, int channel) { GetChannel<uint8_t, 3>(dst, src, count, Plain(channel)); }
// d[i] = s[4 i + channel] (bytes).
void CRowIteratorBands::GetChannelFrom32(void* dst, const void* src, int count, int channel) { GetChannel<uint8_t, 4>(dst, src, count, Plain(channel)); }
// d[i] = s[3 i + channel] (16-bit words).
void CRowIteratorBands::GetChannelFrom48(void* dst, const void* src, int count, int channel) { GetChannel<uint16_t, 3>(dst, src, count, Plain(channel)); }
// d[i] = s[4 i + channel] (16-bit words).
void CRowIteratorBands::GetChannelFrom64(void* dst, const void* src, int count, int channel) { GetChannel<uint16_t, 4>(dst, src, count, Plain(channel)); }
// d[i] = s[2 i + channel] (16-bit words).
void CRowIteratorBands::Get16ChannelFrom32(void* dst, const void* src, int count, int channel) { GetChannel<uint16_t, 2>(dst, src, count, Plain(channel)); }
// (b, g, r, a) -> (b, g, r) (bytes).
void CRowIteratorBands::GetBGRChannelFromBGRA(void* dst, const void* src, int count) { GetColourChannels<uint8_t>(dst, src, count, Plain()); }
// (b, g, r, a) -> (b, g, r) (16-bit words).
void CRowIteratorBands::GetBGRChannelFromBGRA_u16(void* dst, const void* src, int count) { GetColourChannels<uint16_t>(dst, src, count, Plain()); }
// d[2 i + channel] = s[i], other bytes kept.
void CRowIteratorBands::MoveChannelTo16(void* dst, const void* src, int count, int channel) { MoveChannel<uint8_t, 2>(dst, src, count, Plain(channel)); }
// d[3 i + channel] = s[i], other bytes kept.
void CRowIteratorBands::MoveChannelTo24(void* dst, const void* src, int count, int channel) { MoveChannel<uint8_t, 3>(dst, src, count, Plain(channel)); }
// d[4 i + channel] = s[i], other bytes kept.
void CRowIteratorBands::MoveChannelTo32(void* dst, const void* src, int count, int channel) { MoveChannel<uint8_t, 4>(dst, src, count, Plain(channel)); }
// d[3 i + channel] = s[i], other words kept.
void CRowIteratorBands::MoveChannelTo48(void* dst, const void* src, int count, int channel) { MoveChannel<uint16_t, 3>(dst, src, count, Plain(channel)); }
// d[4 i + channel] = s[i], other words kept.
void CRowIteratorBands::MoveChannelTo64(void* dst, const void* src, int count, int channel) { MoveChannel<uint16_t, 4>(dst, src, count, Plain(channel)); }
// d[2 i + channel] = s[i], other words kept.
void CRowIteratorBands::Move16ChannelTo32(void* dst, const void* src, int count, int channel) { MoveChannel<uint16_t, 2>(dst, src, count, Plain(channel)); }
// (b, g, r) into (b, g, r, a), alpha kept (bytes).
void CRowIteratorBands::MoveBGRChannelToBGRA(void* dst, const void* src, int count) { MoveColourChannels<uint8_t>(dst, src, count, Plain()); }
// (b, g, r) into (b, g, r, a), alpha kept (16-bit words).
void CRowIteratorBands::MoveBGRChannelToBGRA_u16(void* dst, const void* src, int count) { MoveColourChannels<uint16_t>(dst, src, count, Plain()); }
// clang-format on

#endif  // QGDI_BASELINE_PASS
