#pragma once
// Moving pixels between row iterators and the inpainting image type. Every
// format of 8 or 16 bits per channel converts: grey, grey with alpha, BGR,
// BGRA and premultiplied BGRA map to one to four channels of uint8_t or
// uint16_t as they are stored; 8-bit indexed images are expanded through their
// palette to BGR (BGRA with the alpha of Index8A) and written back as the
// nearest palette entry. 1- and 4-bit indexed and float formats give 162.
#include <cstring>
#include <type_traits>

#include "inpainting/InpaintImage.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/locatecolorinpal.h"
#include "qerror/qerror.h"

namespace qgdi::inpaint {

template <class T>
struct TTypeTag {
    using type = T;
};
template <int C>
using TChannels = std::integral_constant<int, C>;

// Calls fn(TTypeTag<T>{}, TChannels<C>{}) with the image type a format
// converts to and returns its result; 162 when there is none.
template <class Fn>
CErrorAutoThrow VisitImageType(EQPixelFormat format, Fn&& fn) {
    using u8 = TTypeTag<uint8_t>;
    using u16 = TTypeTag<uint16_t>;
    switch (format) {
    case keFormatGrey: return fn(u8{}, TChannels<1>{});
    case keFormatGreyA: return fn(u8{}, TChannels<2>{});
    case keFormatIndex8:
    case keFormatBGR: return fn(u8{}, TChannels<3>{});
    case keFormatIndex8A:
    case keFormatBGRA:
    case keFormatBGRxA: return fn(u8{}, TChannels<4>{});
    case keFormatGrey_u16: return fn(u16{}, TChannels<1>{});
    case keFormatGreyA_u16: return fn(u16{}, TChannels<2>{});
    case keFormatBGR_u16: return fn(u16{}, TChannels<3>{});
    case keFormatBGRA_u16:
    case keFormatBGRxA_u16: return fn(u16{}, TChannels<4>{});
    default: return QERR(keQuorErrInpaintFormat);
    }
}

// True when the presented format converts (the test VisitImageType makes).
inline bool IsConvertible(EQPixelFormat format) noexcept {
    return (format >= keFormatIndex8 && format <= keFormatBGRxA_u16);
}

namespace detail {
template <class T, int C>
bool TypeMatches(EQPixelFormat format) noexcept {
    bool match = false;
    VisitImageType(format, [&](auto tag, auto channels) {
        match = std::is_same_v<typename decltype(tag)::type, T> && decltype(channels)::value == C;
        return CErrorAutoThrow();
    }).Ignore();
    return match;
}
}  // namespace detail

// Copies the rectangle at (x0, y0) of dst's size out of `image` (presented
// format) into dst. 162 when the format does not convert to T x C.
template <class T, int C>
CErrorAutoThrow ReadImage(const CRowIterator& image, int x0, int y0, TImageView<T, C> dst) {
    const EQPixelFormat format = image.GetPixelFormat();
    if (!detail::TypeMatches<T, C>(format)) return QERR(keQuorErrInpaintFormat);
    const bool indexed = format == keFormatIndex8 || format == keFormatIndex8A;
    const RGBQUAD* palette = image.GetPalette();
    const int entries = palette ? image.GetPaletteCount() : 0;
    const int w = dst.Width();
    for (int y = 0; y < dst.Height(); ++y) {
        const uint8_t* row = nullptr;
        QGDI_TRY(image.GetRow(row, y0 + y, x0, w));
        T* out = dst.Row(y);
        if (!indexed) {
            std::memcpy(out, row, sizeof(T) * C * static_cast<size_t>(w));
        } else {
            for (int x = 0; x < w; ++x) {
                const int index = row[x * (C - 2)];
                const RGBQUAD entry = index < entries ? palette[index] : RGBQUAD{0, 0, 0, 0};
                out[x * C + 0] = entry.rgbBlue;
                out[x * C + 1] = entry.rgbGreen;
                out[x * C + 2] = entry.rgbRed;
                if constexpr (C == 4) out[x * C + 3] = row[x * 2 + 1];
            }
        }
        image.ReleaseRow(y0 + y).Ignore();
    }
    return {};
}

// Writes the pixels of src whose `where` value is not 0 into `image` at
// (x0, y0); the others are left as they are.
template <class T, int C>
CErrorAutoThrow WriteImage(TImageView<const T, C> src, TImageView<const uint8_t, 1> where, CRowIterator& image, int x0,
                           int y0) {
    const EQPixelFormat format = image.GetPixelFormat();
    if (!detail::TypeMatches<T, C>(format)) return QERR(keQuorErrInpaintFormat);
    const bool indexed = format == keFormatIndex8 || format == keFormatIndex8A;
    const RGBQUAD* palette = image.GetPalette();
    const int entries = palette ? image.GetPaletteCount() : 0;
    const int w = src.Width();
    for (int y = 0; y < src.Height(); ++y) {
        const uint8_t* mask = where.Row(y);
        int first = 0, last = w - 1;
        while (first < w && !mask[first]) ++first;
        while (last >= first && !mask[last]) --last;
        if (first > last) continue;
        uint8_t* row = nullptr;
        QGDI_TRY(image.GetRow(row, y0 + y, x0 + first, last - first + 1));
        const T* in = src.Row(y);
        for (int x = first; x <= last; ++x) {
            if (!mask[x]) continue;
            uint8_t* px = row + static_cast<ptrdiff_t>(x - first) * (indexed ? C - 2 : C * sizeof(T));
            if (!indexed) {
                std::memcpy(px, in + x * C, sizeof(T) * C);
            } else {
                px[0] = static_cast<uint8_t>(LocateNearestColor(in[x * C + 2], in[x * C + 1], in[x * C], palette ? &palette->rgbBlue : nullptr,
                                                                entries, 4, nullptr));
                if constexpr (C == 4) px[1] = in[x * C + 3];
            }
        }
        image.ReleaseRow(y0 + y).Ignore();
    }
    return {};
}

}  // namespace qgdi::inpaint
