// Copies that read or write palette indices.
#include "QuorRender/RowOpCopy.h"
#include "QuorRender/internal/IndexedRow.h"
#include "QuorRender/internal/PixelMath.h"
#include "QuorRender/internal/RowOpDict.h"

namespace {

using namespace qgdi_px;

// Writes the BGRA word w (blue in the low byte) as a pixel of an 8-bit BGR or BGRA row.
template <EQPixelFormat D>
inline void PutBGRA(uint8_t* d, uint32_t w, uint8_t alpha) noexcept {
    d[0] = static_cast<uint8_t>(w);
    d[1] = static_cast<uint8_t>(w >> 8);
    d[2] = static_cast<uint8_t>(w >> 16);
    if constexpr (D == keFormatBGRA) d[3] = alpha;
}

inline constexpr SQFormatPair kCopyIndexedPairs[] = {
    {keFormatIndex1, keFormatIndex1}, {keFormatIndex4, keFormatIndex4}, {keFormatIndex8, keFormatIndex8},
    {keFormatIndex8A, keFormatIndex8A}, {keFormatBGRA, keFormatIndex1}, {keFormatBGRA, keFormatIndex4},
    {keFormatBGRA, keFormatIndex8},   {keFormatBGRA, keFormatIndex8A},  {keFormatBGR, keFormatIndex1},
    {keFormatBGR, keFormatIndex4},    {keFormatBGR, keFormatIndex8},    {keFormatBGR, keFormatIndex8A},
    {keFormatIndex8, keFormatIndex1}, {keFormatIndex8, keFormatIndex4}, {keFormatIndex8A, keFormatIndex8},
};
static_assert(std::size(kCopyIndexedPairs) == 15);

template <EQPixelFormat D, EQPixelFormat S>
void CopyIndexedSpan(const CRowOpData& data, uint8_t* dst, const uint8_t* src, int n) noexcept {
    if constexpr (D == S) {
        // indices as they are
        CopyIndices<D>(dst, src, n);
    } else if constexpr (D == keFormatBGR || D == keFormatBGRA) {
        // d = palette[s], alpha from Index8A's second byte, else opaque
        const SPaletteLUT lut(data.pSrcPalette, data.nSrcPaletteCount);
        constexpr int step = D == keFormatBGRA ? 4 : 3;
        for (int i = 0; i < n; ++i) {
            const uint8_t alpha = S == keFormatIndex8A ? src[2 * i + 1] : 255;
            PutBGRA<D>(dst + i * step, lut.bgra[IndexAt<S>(src, i)], alpha);
        }
    } else if constexpr (D == keFormatIndex8) {
        // 1- and 4-bit indices widened to a byte each
        for (int i = 0; i < n; ++i) dst[i] = IndexAt<S>(src, i);
    } else {
        static_assert(D == keFormatIndex8A && S == keFormatIndex8);
        // index kept, alpha opaque
        for (int i = 0; i < n; ++i) {
            dst[2 * i] = src[i];
            dst[2 * i + 1] = 255;
        }
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowCopyIndexed {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        if (!data.pSrc) return;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) { CopyIndexedSpan<D, S>(data, dst, src, n); });
    }
};

inline constexpr SQFormatPair kPalettedPairs[] = {
    {keFormatBGRA, keFormatIndex8}, {keFormatBGR, keFormatIndex8},   {keFormatBGRA, keFormatIndex4},
    {keFormatBGRA, keFormatIndex1}, {keFormatIndex8, keFormatIndex8},
};
static_assert(std::size(kPalettedPairs) == 5);

template <EQPixelFormat D, EQPixelFormat S>
struct TRowCopyPaletted {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        const int transparent = static_cast<const CRowOpDefRowCopyPalettedWithTransparencyIndex&>(def).GetTransparentIndex();
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
    return qgdi_rowop::kDict<kCopyIndexedPairs, TRowCopyIndexed>.data();
}

const SRowOpDictEntry* GetRowCopyPalettedWithTransparencyIndexDict() noexcept {
    return qgdi_rowop::kDict<kPalettedPairs, TRowCopyPaletted>.data();
}
