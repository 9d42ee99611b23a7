#pragma once
// The one table of pixel-format traits. The descriptor's queries, the kernel
// templates and the test lists are all derived from it.
#include <array>
#include <cstdint>
#include <type_traits>

#include "qdibcore/Source/PixelFormat.h"

struct SQPixelFormatTraits {
    EQPixelFormat format;
    const wchar_t* name;    // "keFormatBGRA" ...
    const char* shortName;  // "BGRA" ...; the word the text dump and the tool print
    int bitsPerPixel;
    int bitsPerChannel;
    int channelCount;
    EQChannel channels[4];  // storage order, blue first
    quor::EQType elementType;
    bool alpha;
    bool premultiplied;
    EQFormatClass formatClass;
    EQPixelFormat to8bit, to16bit, toFloat, flat, nonFlat, premul, nonPremul;
};

namespace qgdi::formats {
constexpr EQChannel N = keChannelNone, B = keChannelBlue, G = keChannelGreen, R = keChannelRed, A = keChannelAlpha,
                    Y = keChannelGrey;
constexpr EQFormatClass CU = keFormatClassCustom, NO = keFormatClassNone, IX = keFormatClassIndexed,
                        GR = keFormatClassGreyscale, RGB = keFormatClassRGB;
using enum EQPixelFormat;
using namespace quor;
}  // namespace qgdi::formats

// Indexed by format + 1. The mapping columns are the conversions of the
// descriptor; GetFlatFormat of the float formats with alpha is BGR_u16 on purpose.
// clang-format off
inline constexpr std::array<SQPixelFormatTraits, 21> kQPixelFormatTraits = [] {
    using namespace qgdi::formats;
    return std::array<SQPixelFormatTraits, 21>{{
        // format              name                  short      bpp bpc ch  channels      elem         a      pm     class 8bit        16bit               float               flat                nonFlat             premul              nonPremul
        {keFormatCustom,    L"keFormatCustom",    "Custom",    0,  0, 0, {N, N, N, N}, keTypeNull,   false, false, CU,  keFormatNone,  keFormatNone,      keFormatNone,      keFormatCustom,    keFormatCustom,    keFormatCustom,    keFormatCustom},
        {keFormatNone,      L"keFormatNone",      "None",      0,  0, 0, {N, N, N, N}, keTypeNull,   false, false, NO,  keFormatNone,  keFormatNone,      keFormatNone,      keFormatNone,      keFormatNone,      keFormatNone,      keFormatNone},
        {keFormatIndex1,    L"keFormatIndex1",    "Index1",    1,  1, 3, {B, G, R, N}, keTypeUInt08, false, false, IX,  keFormatIndex8, keFormatNone,     keFormatNone,      keFormatIndex1,    keFormatIndex8A,   keFormatIndex1,    keFormatIndex1},
        {keFormatIndex4,    L"keFormatIndex4",    "Index4",    4,  4, 3, {B, G, R, N}, keTypeUInt08, false, false, IX,  keFormatIndex8, keFormatNone,     keFormatNone,      keFormatIndex4,    keFormatIndex8A,   keFormatIndex4,    keFormatIndex4},
        {keFormatIndex8,    L"keFormatIndex8",    "Index8",    8,  8, 3, {B, G, R, N}, keTypeUInt08, false, false, IX,  keFormatIndex8, keFormatNone,     keFormatNone,      keFormatIndex8,    keFormatIndex8A,   keFormatIndex8,    keFormatIndex8},
        {keFormatIndex8A,   L"keFormatIndex8A",   "Index8A",   16, 8, 4, {B, G, R, A}, keTypeUInt08, true,  false, IX,  keFormatIndex8A, keFormatNone,    keFormatNone,      keFormatIndex8,    keFormatIndex8A,   keFormatIndex8A,   keFormatIndex8A},
        {keFormatGrey,      L"keFormatGrey",      "Grey",      8,  8, 1, {Y, N, N, N}, keTypeUInt08, false, false, GR,  keFormatGrey,  keFormatGrey_u16,  keFormatGrey_f32,  keFormatGrey,      keFormatGreyA,     keFormatGrey,      keFormatGrey},
        {keFormatGreyA,     L"keFormatGreyA",     "GreyA",     16, 8, 2, {Y, A, N, N}, keTypeUInt08, true,  false, GR,  keFormatGreyA, keFormatGreyA_u16, keFormatGreyA_f32, keFormatGrey,      keFormatGreyA,     keFormatGreyA,     keFormatGreyA},
        {keFormatBGR,       L"keFormatBGR",       "BGR",       24, 8, 3, {B, G, R, N}, keTypeUInt08, false, false, RGB, keFormatBGR,   keFormatBGR_u16,   keFormatBGR_f32,   keFormatBGR,       keFormatBGRA,      keFormatBGR,       keFormatBGR},
        {keFormatBGRA,      L"keFormatBGRA",      "BGRA",      32, 8, 4, {B, G, R, A}, keTypeUInt08, true,  false, RGB, keFormatBGRA,  keFormatBGRA_u16,  keFormatBGRA_f32,  keFormatBGR,       keFormatBGRA,      keFormatBGRxA,     keFormatBGRA},
        {keFormatBGRxA,     L"keFormatBGRxA",     "BGRxA",     32, 8, 4, {B, G, R, A}, keTypeUInt08, true,  true,  RGB, keFormatBGRxA, keFormatBGRxA_u16, keFormatBGRxA_f32, keFormatBGR,       keFormatBGRxA,     keFormatBGRxA,     keFormatBGRA},
        {keFormatGrey_u16,  L"keFormatGrey_u16",  "Grey_u16",  16, 16, 1, {Y, N, N, N}, keTypeUInt16, false, false, GR, keFormatGrey,  keFormatGrey_u16,  keFormatGrey_f32,  keFormatGrey_u16,  keFormatGreyA_u16, keFormatGrey_u16,  keFormatGrey_u16},
        {keFormatGreyA_u16, L"keFormatGreyA_u16", "GreyA_u16", 32, 16, 2, {Y, A, N, N}, keTypeUInt16, true,  false, GR, keFormatGreyA, keFormatGreyA_u16, keFormatGreyA_f32, keFormatGrey_u16,  keFormatGreyA_u16, keFormatGreyA_u16, keFormatGreyA_u16},
        {keFormatBGR_u16,   L"keFormatBGR_u16",   "BGR_u16",   48, 16, 3, {B, G, R, N}, keTypeUInt16, false, false, RGB, keFormatBGR,  keFormatBGR_u16,   keFormatBGR_f32,   keFormatBGR_u16,   keFormatBGRA_u16,  keFormatBGR_u16,   keFormatBGR_u16},
        {keFormatBGRA_u16,  L"keFormatBGRA_u16",  "BGRA_u16",  64, 16, 4, {B, G, R, A}, keTypeUInt16, true,  false, RGB, keFormatBGRA, keFormatBGRA_u16,  keFormatBGRA_f32,  keFormatBGR_u16,   keFormatBGRA_u16,  keFormatBGRxA_u16, keFormatBGRA_u16},
        {keFormatBGRxA_u16, L"keFormatBGRxA_u16", "BGRxA_u16", 64, 16, 4, {B, G, R, A}, keTypeUInt16, true,  true,  RGB, keFormatBGRxA, keFormatBGRxA_u16, keFormatBGRxA_f32, keFormatBGR_u16,  keFormatBGRxA_u16, keFormatBGRxA_u16, keFormatBGRA_u16},
        {keFormatGrey_f32,  L"keFormatGrey_f32",  "Grey_f32",  32, 32, 1, {Y, N, N, N}, keTypeReal32, false, false, GR, keFormatGrey,  keFormatGrey_u16,  keFormatGrey_f32,  keFormatGrey_f32,  keFormatGreyA_f32, keFormatGrey_f32,  keFormatGrey_f32},
        {keFormatGreyA_f32, L"keFormatGreyA_f32", "GreyA_f32", 64, 32, 2, {Y, A, N, N}, keTypeReal32, true,  false, GR, keFormatGreyA, keFormatGreyA_u16, keFormatGreyA_f32, keFormatGrey_f32,  keFormatGreyA_f32, keFormatGreyA_f32, keFormatGreyA_f32},
        {keFormatBGR_f32,   L"keFormatBGR_f32",   "BGR_f32",   96, 32, 3, {B, G, R, N}, keTypeReal32, false, false, RGB, keFormatBGR,  keFormatBGR_u16,   keFormatBGR_f32,   keFormatBGR_f32,   keFormatBGRA_f32,  keFormatBGR_f32,   keFormatBGR_f32},
        {keFormatBGRA_f32,  L"keFormatBGRA_f32",  "BGRA_f32",  128, 32, 4, {B, G, R, A}, keTypeReal32, true, false, RGB, keFormatBGRA, keFormatBGRA_u16,  keFormatBGRA_f32,  keFormatBGR_u16,   keFormatBGRA_f32,  keFormatBGRxA_f32, keFormatBGRA_f32},
        {keFormatBGRxA_f32, L"keFormatBGRxA_f32", "BGRxA_f32", 128, 32, 4, {B, G, R, A}, keTypeReal32, true, true,  RGB, keFormatBGRxA, keFormatBGRxA_u16, keFormatBGRxA_f32, keFormatBGR_u16,  keFormatBGRxA_f32, keFormatBGRxA_f32, keFormatBGRA_f32},
    }};
}();
// clang-format on

// Traits of a format, or null outside -1..19.
constexpr const SQPixelFormatTraits* QGDI_FindPixelFormatTraits(int format) noexcept {
    return format >= keFormatFirst && format <= keFormatLast ? &kQPixelFormatTraits[format + 1] : nullptr;
}

// Compile-time view of one format for kernel templates.
template <EQPixelFormat F>
struct TQPixelFormat {
    static constexpr const SQPixelFormatTraits& kTraits = kQPixelFormatTraits[F + 1];
    static constexpr EQPixelFormat kFormat = F;
    static constexpr int kChannels = kTraits.channelCount;
    static constexpr int kBitsPerPixel = kTraits.bitsPerPixel;
    static constexpr bool kAlpha = kTraits.alpha;
    static constexpr bool kPremultiplied = kTraits.premultiplied;
    static constexpr bool kIndexed = kTraits.formatClass == keFormatClassIndexed;
    static constexpr bool kGrey = kTraits.formatClass == keFormatClassGreyscale;
    // Element type of one channel; indexed formats store 8-bit indices.
    using Elem = std::conditional_t<kTraits.bitsPerChannel == 32, float,
                                    std::conditional_t<kTraits.bitsPerChannel == 16, uint16_t, uint8_t>>;
    // Position of a channel in the pixel, -1 when absent.
    static constexpr int Offset(EQChannel c) {
        for (int i = 0; i < 4; ++i)
            if (kTraits.channels[i] == c) return i;
        return -1;
    }
    static constexpr int kBlue = Offset(keChannelBlue), kGreen = Offset(keChannelGreen), kRed = Offset(keChannelRed),
                         kAlphaOffset = Offset(keChannelAlpha), kGreyOffset = Offset(keChannelGrey);
    // Full-scale value of a channel: 255, 65535 or 1.0.
    static constexpr Elem kMax = std::is_floating_point_v<Elem> ? Elem(1) : Elem(~Elem(0));
};
