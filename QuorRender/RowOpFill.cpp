#include "QuorRender/RowOpFill.h"

#include "QuorRender/internal/PixelMath.h"
#include "QuorRender/internal/RowOpDict.h"

namespace {

using namespace qgdi_px;

inline constexpr SQFormatPair kFillPairs[] = {
    {keFormatGrey, keFormatNone},      {keFormatGreyA, keFormatNone},      {keFormatBGR, keFormatNone},
    {keFormatBGRA, keFormatNone},      {keFormatBGRxA, keFormatNone},      {keFormatGrey_u16, keFormatNone},
    {keFormatGreyA_u16, keFormatNone}, {keFormatBGR_u16, keFormatNone},    {keFormatBGRA_u16, keFormatNone},
    {keFormatBGRxA_u16, keFormatNone}, {keFormatGrey_f32, keFormatNone},   {keFormatBGRA_f32, keFormatNone},
    {keFormatIndex8, keFormatNone},
};
static_assert(std::size(kFillPairs) == 13);

// A block of whole pixels for every pixel size up to 16 bytes (48 is a
// multiple of 1, 2, 3, 4, 6, 8, 12 and 16), copied with constant-size moves.
constexpr size_t kPatternBytes = 4 * 48;

template <EQPixelFormat D, EQPixelFormat S>
struct TRowFill {
    static constexpr size_t kPixel = TQPixelFormat<D>::kBitsPerPixel / 8;
    static_assert(kPatternBytes % kPixel == 0);

    static void Run(const CRowOpDef& def, CRowOpData& data) {
        const auto& fill = static_cast<const CRowOpDefRowFill&>(def);
        uint8_t pixel[16];
        if constexpr (TQPixelFormat<D>::kIndexed) pixel[0] = fill.GetIndex();
        else CQPixelFormat(D).GetPixelInFormat(pixel, fill.GetColour());
        alignas(16) uint8_t pattern[kPatternBytes];
        for (size_t i = 0; i < kPatternBytes; i += kPixel) std::memcpy(pattern + i, pixel, kPixel);
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) {
            // d = colour
            const size_t bytes = static_cast<size_t>(n) * kPixel;
            size_t i = 0;
            for (; i + kPatternBytes <= bytes; i += kPatternBytes) std::memcpy(dst + i, pattern, kPatternBytes);
            std::memcpy(dst + i, pattern, bytes - i);
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowFillDict() noexcept { return qgdi_rowop::kDict<kFillPairs, TRowFill>.data(); }

QRowOpFn CRowOpDefRowFill::Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const {
    return RoeLookUpEntry(GetRowFillDict(), dst, src, request, report);
}
