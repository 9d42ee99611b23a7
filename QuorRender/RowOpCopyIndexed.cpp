// Copies that read or write palette indices.
#include "QuorRender/RowOpCopy.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/pixel/RowConvert.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

// Writes the BGRA word w (blue in the low byte) as a pixel of an 8-bit BGR or BGRA row.
template <EQPixelFormat D>
inline void PutBGRA(uint8_t* d, uint32_t w, uint8_t alpha) noexcept {
    d[0] = static_cast<uint8_t>(w);
    d[1] = static_cast<uint8_t>(w >> 8);
    d[2] = static_cast<uint8_t>(w >> 16);
    if constexpr (D == keFormatBGRA) d[3] = alpha;
}

inline constexpr SQFormatPair kCopyIndexedPairs[] = {
    {keFormatIndex1, keFormatIndex1},   {keFormatIndex4, keFormatIndex4}, {keFormatIndex8, keFormatIndex8},
    {keFormatIndex8A, keFormatIndex8A}, {keFormatBGRA, keFormatIndex1},   {keFormatBGRA, keFormatIndex4},
    {keFormatBGRA, keFormatIndex8},     {keFormatBGRA, keFormatIndex8A},  {keFormatBGR, keFormatIndex1},
    {keFormatBGR, keFormatIndex4},      {keFormatBGR, keFormatIndex8},    {keFormatBGR, keFormatIndex8A},
    {keFormatIndex8, keFormatIndex1},   {keFormatIndex8, keFormatIndex4}, {keFormatIndex8A, keFormatIndex8},
};
static_assert(std::size(kCopyIndexedPairs) == 15);

// The iterator's conversion between the same two formats over the source palette.
template <EQPixelFormat D, EQPixelFormat S>
struct TRowCopyIndexed {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        if (!data.pSrc) return;
        SQRowConvertContext ctx;
        ctx.palette = data.pSrcPalette;
        ctx.paletteCount = data.nSrcPaletteCount;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) { ConvertRow<D, S>(dst, src, n, ctx); });
    }
};

inline constexpr SQFormatPair kPalettedPairs[] = {
    {keFormatBGRA, keFormatIndex8}, {keFormatBGR, keFormatIndex8},    {keFormatBGRA, keFormatIndex4},
    {keFormatBGRA, keFormatIndex1}, {keFormatIndex8, keFormatIndex8},
};
static_assert(std::size(kPalettedPairs) == 5);

template <EQPixelFormat D, EQPixelFormat S>
struct TRowCopyPaletted {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        const int transparent =
            static_cast<const CRowOpDefRowCopyPalettedWithTransparencyIndex&>(def).GetTransparentIndex();
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            if constexpr (D == keFormatIndex8) {
                // d = s unless s is the transparent index
                for (int i = 0; i < n; ++i)
                    if (src[i] != transparent) dst[i] = src[i];
            } else {
                // d = palette[s] unless s is the transparent index
                const SPaletteLUT lut(data.pSrcPalette, data.nSrcPaletteCount);
                constexpr int step = D == keFormatBGRA ? 4 : 3;
                for (int i = 0; i < n; ++i) {
                    const uint8_t index = IndexAt<S>(src, i);
                    if (index != transparent) PutBGRA<D>(dst + i * step, lut.bgra[index], 255);
                }
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowCopyIndexedDict() noexcept {
    return qgdi::rowop::kDict<kCopyIndexedPairs, TRowCopyIndexed>.data();
}
const SRowOpDictEntry* GetRowCopyPalettedWithTransparencyIndexDict() noexcept {
    return qgdi::rowop::kDict<kPalettedPairs, TRowCopyPaletted>.data();
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowCopyIndexedDict)
QGDI_DISPATCHED_DICT(GetRowCopyPalettedWithTransparencyIndexDict)
#endif  // QGDI_BASELINE_PASS
