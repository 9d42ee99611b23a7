#include "qdibcore/Source/RowIteratorFunctions.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"
#include "qdibcore/Source/internal/RowSpanCopy.h"
#include "qdibcore/Source/internal/pixel/RowConvert.h"

namespace {
using namespace qgdi::px;

const SQSpanFormat kFloatRow{keFormatBGRA_f32, nullptr, 0, 0};

// Runs `op(dstPixels, srcPixels, width)` over every row, both rows seen as
// straight BGRA floats (src may be null). Rows of `dst` are read, changed and
// written back in its own format; in parallel unless one iterator is both.
template <class Op>
CErrorAutoThrow ForEachFloatRow(CRowIterator& dst, const CRowIterator* src, CStatusControl* status, Op op) {
    if (!dst.IsAttached() || (src && !src->IsAttached())) return QERR(keQuorErrIteratorState);
    if (src && !dst.IsSameSizeAs(*src)) return QERR(keQuorErrFailed);
    const int width = dst.GetWidth(), height = dst.GetHeight();
    const bool parallel = !status && src != &dst;
    CQRowLoopResult result;
    if (status) status->SetProgressRange(uint64_t(height));
#pragma omp parallel if (parallel && uint64_t(width) * uint64_t(height) > 65536)
    {
        std::vector<float> a, b;
        std::vector<uint8_t> scratch;
        result.Guard([&] {
            a.resize(size_t(width) * 4);
            b.resize(src ? size_t(width) * 4 : 0);
            scratch.reserve(QGDI_SpanScratchBytes(width));
        });
#pragma omp for schedule(static)
        for (int y = 0; y < height; ++y) {
            if (result.Failed()) continue;
            uint8_t* row = nullptr;
            int offset = 0;
            CErrorAutoThrow r = dst.GetRow(row, y, 0, -1, &offset);
            if (!r.IsError() && src) {
                const uint8_t* in = nullptr;
                int inOffset = 0;
                r = src->GetRow(in, y, 0, -1, &inOffset);
                if (!r.IsError()) {
                    QGDI_ConvertSpan(b.data(), kFloatRow, in, QGDI_SpanFormatOf(*src, inOffset), width, scratch);
                    src->ReleaseRow(y).Ignore();
                } else {
                    dst.ReleaseRow(y).Ignore();
                }
            }
            if (!r.IsError()) {
                const SQSpanFormat native = QGDI_SpanFormatOf(dst, offset);
                QGDI_ConvertSpan(a.data(), kFloatRow, row, native, width, scratch);
                op(a.data(), src ? b.data() : nullptr, width);
                QGDI_ConvertSpan(row, native, a.data(), kFloatRow, width, scratch);
                dst.ReleaseRow(y).Ignore();
            }
            result.Set(r.Ignore());
            if (!result.Failed() && status && status->SetProgress(uint64_t(y + 1))) result.Set(keQuorErrCancelled);
        }
    }
    return result.Result();
}

bool HasChannel(EQPixelFormat format, EQChannel channel) noexcept {
    const CQPixelFormat pf(format);
    if (channel == keChannelGrey) return pf.GetChannelCount() > 0 && !pf.IsIndexedColor();
    if (channel == keChannelAlpha) return pf.IsAlphaChannelPresent();
    if (channel >= keChannelBlue && channel <= keChannelRed) return pf.IsRGBColor() || pf.IsIndexedColor();
    return false;
}

// Value of `channel` of a straight BGRA float pixel; grey is the luma.
float ChannelOf(const float* p, EQChannel channel) noexcept {
    return channel == keChannelGrey ? Luma(p[2], p[1], p[0]) : p[channel];
}

CErrorAutoThrow CopyChannel(CRowIterator& dst, EQChannel dstChannel, const CRowIterator& src, EQChannel srcChannel,
                            bool sameDepth, CStatusControl* status) {
    if (!dst.IsAttached() || !src.IsAttached()) return QERR(keQuorErrIteratorState);
    if (!HasChannel(dst.GetPixelFormat(), dstChannel) || !HasChannel(src.GetPixelFormat(), srcChannel))
        return QERR(keQuorErrFormatNotSupported);
    if (sameDepth && CQPixelFormat(dst.GetPixelFormat()).GetBitsPerChannel() !=
                         CQPixelFormat(src.GetPixelFormat()).GetBitsPerChannel())
        return QERR(keQuorErrFormatNotSupported);
    // The colour channels of a grey image move together: writing one writes the grey level.
    const bool greyDst = CQPixelFormat(dst.GetPixelFormat()).IsGreyscale();
    return ForEachFloatRow(dst, &src, status, [&](float* d, const float* s, int n) {
        for (int i = 0; i < n; ++i, d += 4, s += 4) {
            const float v = ChannelOf(s, srcChannel);
            if (dstChannel == keChannelGrey || (greyDst && dstChannel != keChannelAlpha)) d[0] = d[1] = d[2] = v;
            else d[dstChannel] = v;
        }
    });
}

// Premultiplies or straightens a row in place in its own format.
template <bool Forward>
void PremultiplyInPlace(uint8_t* row, EQPixelFormat format, int count) {
    switch (format) {
    case keFormatGreyA:
        Forward ? CRowIteratorBands::ConvertGreyAToGreyxA(row, row, count)
                : CRowIteratorBands::ConvertGreyxAToGreyA(row, row, count);
        break;
    case keFormatGreyA_u16:
        Forward ? CRowIteratorBands::ConvertGreyA16ToGreyxA16(row, row, count)
                : CRowIteratorBands::ConvertGreyxA16ToGreyA16(row, row, count);
        break;
    case keFormatGreyA_f32: {
        auto* p = reinterpret_cast<float*>(row);
        for (int i = 0; i < count; ++i, p += 2) p[0] = Forward ? Premul(p[0], p[1]) : Unpremul(p[0], p[1]);
        break;
    }
    default: {
        const CQPixelFormat pf(format);
        const EQPixelFormat other = Forward ? pf.GetPremultipliedFormat() : pf.GetNonPremultipliedFormat();
        SQRowConvertContext ctx;
        CRowIteratorBands::FindConverter(format, other)(row, row, count, ctx);
        break;
    }
    }
}

template <bool Forward>
CErrorAutoThrow Premultiply(CRowIterator& it, CStatusControl* status) {
    if (!it.IsAttached()) return QERR(keQuorErrIteratorState);
    if (it.IsConverting()) return QERR(keQuorErrFailed);
    const CQPixelFormat pf(it.GetNativeFormat());
    if (!pf.IsAlphaChannelPresent() || pf.IsIndexedColor()) return QERR(keQuorErrFormatNotSupported);
    const bool greyA = pf.IsGreyscale();
    // Already in the asked-for form: nothing to do.
    if (!greyA && pf.IsAlphaPremultiplied() == Forward) return CErrorAutoThrow();
    const int height = it.GetHeight(), width = it.GetWidth();
    if (status) status->SetProgressRange(uint64_t(height));
    for (int y = 0; y < height; ++y) {
        uint8_t* row = nullptr;
        QGDI_TRY(it.GetNativeRow(row, y));
        PremultiplyInPlace<Forward>(row, pf, width);
        it.ReleaseNativeRow(y).Ignore();
        if (status && status->SetProgress(uint64_t(y + 1))) return QERR(keQuorErrCancelled);
    }
    if (greyA) return CErrorAutoThrow();
    return it.OverridePixelFormat(Forward ? pf.GetPremultipliedFormat() : pf.GetNonPremultipliedFormat());
}

}  // namespace

CErrorAutoThrow RowIterator_CopyRect(CRowIterator& dst, POINT destination, const CRowIterator& src,
                                     const RECT* sourceRect, CStatusControl* status) {
    if (!dst.IsAttached() || !src.IsAttached()) return QERR(keQuorErrIteratorState);
    const RECT srcWhole = src.GetRect(), dstWhole = dst.GetRect();
    RECT from = sourceRect ? *sourceRect : srcWhole;
    if (from.left > from.right || from.top > from.bottom) return QERR(keQuorErrFailed);
    // Clip against the source, then the destination, moving the other side along.
    RECT clipped;
    if (!::IntersectRect(&clipped, &from, &srcWhole)) return CErrorAutoThrow();
    destination.x += clipped.left - from.left;
    destination.y += clipped.top - from.top;
    from = clipped;
    RECT to{destination.x, destination.y, destination.x + (from.right - from.left),
            destination.y + (from.bottom - from.top)};
    if (!::IntersectRect(&clipped, &to, &dstWhole)) return CErrorAutoThrow();
    from.left += clipped.left - to.left;
    from.top += clipped.top - to.top;
    return QGDI_CopyIteratorRect(dst, clipped.left - dstWhole.left, clipped.top - dstWhole.top, src,
                                 from.left - srcWhole.left, from.top - srcWhole.top, clipped.right - clipped.left,
                                 clipped.bottom - clipped.top, status);
}

CErrorAutoThrow RowIterator_CopyColor(CRowIterator& dst, const CRowIterator& src, CStatusControl* status) {
    if (!dst.IsAttached() || !src.IsAttached()) return QERR(keQuorErrIteratorState);
    if (CQPixelFormat(dst.GetPixelFormat()).GetChannelCount() == 0) return QERR(keQuorErrFormatNotSupported);
    // Colour in, alpha of the destination kept.
    return ForEachFloatRow(dst, &src, status, [](float* d, const float* s, int n) {
        for (int i = 0; i < n; ++i, d += 4, s += 4) {
            d[0] = s[0];
            d[1] = s[1];
            d[2] = s[2];
        }
    });
}

CErrorAutoThrow RowIterator_CopyAlpha(CRowIterator& dst, const CRowIterator& src, CStatusControl* status) {
    if (!dst.IsAttached() || !src.IsAttached()) return QERR(keQuorErrIteratorState);
    if (!CQPixelFormat(dst.GetPixelFormat()).IsAlphaChannelPresent()) return QERR(keQuorErrFormatNotSupported);
    const bool fromAlpha = CQPixelFormat(src.GetPixelFormat()).IsAlphaChannelPresent();
    // Alpha from the source's alpha, or from its grey level when it has none.
    return ForEachFloatRow(dst, &src, status, [fromAlpha](float* d, const float* s, int n) {
        for (int i = 0; i < n; ++i, d += 4, s += 4) d[3] = fromAlpha ? s[3] : Luma(s[2], s[1], s[0]);
    });
}

CErrorAutoThrow RowIterator_CopyChannel(CRowIterator& dst, EQChannel dstChannel, const CRowIterator& src,
                                        EQChannel srcChannel, CStatusControl* status) {
    return CopyChannel(dst, dstChannel, src, srcChannel, true, status);
}

CErrorAutoThrow RowIterator_CopyChannel_Conv(CRowIterator& dst, EQChannel dstChannel, const CRowIterator& src,
                                             EQChannel srcChannel, CStatusControl* status) {
    return CopyChannel(dst, dstChannel, src, srcChannel, false, status);
}

CErrorAutoThrow RowIterator_ClearRGB(CRowIterator& it, CStatusControl* status) {
    if (!it.IsAttached()) return QERR(keQuorErrIteratorState);
    if (CQPixelFormat(it.GetPixelFormat()).GetChannelCount() == 0) return QERR(keQuorErrFormatNotSupported);
    // Colour to black, alpha kept.
    return ForEachFloatRow(it, nullptr, status, [](float* d, const float*, int n) {
        for (int i = 0; i < n; ++i, d += 4) d[0] = d[1] = d[2] = 0.0f;
    });
}

CErrorAutoThrow RowIterator_PreMultiply(CRowIterator& it, CStatusControl* status) {
    return Premultiply<true>(it, status);
}

CErrorAutoThrow RowIterator_UnMultiply(CRowIterator& it, CStatusControl* status) {
    return Premultiply<false>(it, status);
}

CErrorAutoThrow RowIterator_Tile(CRowIterator& dst, const CRowIterator& tile, POINT phase, CStatusControl* status) {
    if (!dst.IsAttached() || !tile.IsAttached()) return QERR(keQuorErrIteratorState);
    const int tw = tile.GetWidth(), th = tile.GetHeight(), width = dst.GetWidth(), height = dst.GetHeight();
    if (!CRowIteratorBands::FindConverter(tile.GetPixelFormat(), dst.GetPixelFormat()))
        return QERR(keQuorErrFormatNotSupported);
    const int bpp = dst.GetBPP();
    // Phase modulo the tile, kept non-negative.
    const int px = static_cast<int>(((int64_t(phase.x) % tw) + tw) % tw);
    const int py = static_cast<int>(((int64_t(phase.y) % th) + th) % th);
    std::vector<uint8_t> scratch;
    if (status) status->SetProgressRange(uint64_t(height));
    for (int y = 0; y < height; ++y) {
        const int ty = static_cast<int>((int64_t(y) + py) % th);
        uint8_t* out = nullptr;
        int outOffset = 0;
        QGDI_TRY(dst.GetRow(out, y, 0, -1, &outOffset));
        const uint8_t* in = nullptr;
        int inOffset = 0;
        CErrorAutoThrow r = tile.GetRow(in, ty, 0, -1, &inOffset);
        if (r.IsError()) {
            dst.ReleaseRow(y).Ignore();
            return r;
        }
        for (int x = 0; x < width;) {
            const int tx = static_cast<int>((int64_t(x) + px) % tw);
            const int n = std::min(tw - tx, width - x);
            const size_t outBit = (size_t(outOffset) + size_t(x)) * size_t(bpp);
            const size_t inBit = (size_t(inOffset) + size_t(tx)) * size_t(tile.GetBPP());
            const int outPixel = bpp < 8 ? static_cast<int>((outBit % 8) / bpp) : 0;
            const int inPixel = tile.GetBPP() < 8 ? static_cast<int>((inBit % 8) / tile.GetBPP()) : 0;
            QGDI_ConvertSpan(out + outBit / 8, QGDI_SpanFormatOf(dst, outPixel), in + inBit / 8,
                             QGDI_SpanFormatOf(tile, inPixel), n, scratch);
            x += n;
        }
        tile.ReleaseRow(ty).Ignore();
        dst.ReleaseRow(y).Ignore();
        if (status && status->SetProgress(uint64_t(y + 1))) return QERR(keQuorErrCancelled);
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow RowIterator_GetRect(const CRowIterator& src, const RECT& rect, CRowIterator& dst,
                                    EQPixelFormat format) {
    return dst.CreateFromCopy(src, &rect, format);
}
