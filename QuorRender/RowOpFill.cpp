#include "QuorRender/RowOpFill.h"

#include <cwchar>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"

namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

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
        alignas(16) uint8_t pixel[16];
        if constexpr (TQPixelFormat<D>::kIndexed) pixel[0] = fill.GetIndex();
        else CQPixelFormat(D).GetPixelInFormat(pixel, fill.GetColour());
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) {
            // d = colour
            if constexpr (kPixel == 1) {
                std::memset(dst, pixel[0], static_cast<size_t>(n));
            } else if constexpr (kPixel == 2 || kPixel == 4 || kPixel == 8) {
                // pixels that are whole machine words: plain stores the compiler widens
                using Word = std::conditional_t<kPixel == 2, uint16_t, std::conditional_t<kPixel == 4, uint32_t, uint64_t>>;
                Word w;
                std::memcpy(&w, pixel, kPixel);
                if constexpr (sizeof(wchar_t) % kPixel == 0) {
                    // The C library's wide-character fill is its widest store
                    // loop; smaller pixels are repeated to fill one wide character.
                    constexpr int kPerChar = sizeof(wchar_t) / kPixel;
                    if (reinterpret_cast<uintptr_t>(dst) % alignof(wchar_t) == 0) {
                        uint8_t bytes[sizeof(wchar_t)];
                        for (int k = 0; k < kPerChar; ++k) std::memcpy(bytes + k * kPixel, &w, kPixel);
                        wchar_t c;
                        std::memcpy(&c, bytes, sizeof c);
                        std::wmemset(reinterpret_cast<wchar_t*>(dst), c, static_cast<size_t>(n / kPerChar));
                        for (int i = n - n % kPerChar; i < n; ++i) std::memcpy(dst + static_cast<size_t>(i) * kPixel, &w, kPixel);
                        return;
                    }
                }
                for (int i = 0; i < n; ++i) std::memcpy(dst + static_cast<size_t>(i) * kPixel, &w, kPixel);
            } else {
                alignas(16) uint8_t pattern[kPatternBytes];
                std::memcpy(pattern, pixel, kPixel);
                for (size_t len = kPixel; len < kPatternBytes; len *= 2)
                    std::memcpy(pattern + len, pattern, std::min(len, kPatternBytes - len));
                const size_t bytes = static_cast<size_t>(n) * kPixel;
                size_t i = 0;
                for (; i + kPatternBytes <= bytes; i += kPatternBytes) std::memcpy(dst + i, pattern, kPatternBytes);
                std::memcpy(dst + i, pattern, bytes - i);
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowFillDict() noexcept { return qgdi_rowop::kDict<kFillPairs, TRowFill>.data(); }
