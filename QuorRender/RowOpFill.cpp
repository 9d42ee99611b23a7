#include "QuorRender/RowOpFill.h"

#include <cwchar>
#include <optional>

#include "QuorRender/internal/PixelMath.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowOpPrepared.h"

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

using qgdi::rowop::SFillPrepared;
constexpr size_t kPatternBytes = SFillPrepared::kPatternBytes;

template <EQPixelFormat D, EQPixelFormat S>
struct TRowFill {
    static constexpr size_t kPixel = TQPixelFormat<D>::kBitsPerPixel / 8;
    static_assert(kPatternBytes % kPixel == 0);

    static void Run(const CRowOpDef& def, CRowOpData& data) {
        std::optional<SFillPrepared> local;
        const uint8_t* pattern = qgdi::rowop::PreparedFor<SFillPrepared, D, S>(def, data, local).pattern;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) {
            // d = colour
            if constexpr (kPixel == 1) {
                std::memset(dst, pattern[0], static_cast<size_t>(n));
            } else if constexpr (kPixel == 2 || kPixel == 4 || kPixel == 8) {
                // pixels that are whole machine words: plain stores the compiler widens
                using Word = std::conditional_t<kPixel == 2, uint16_t, std::conditional_t<kPixel == 4, uint32_t, uint64_t>>;
                Word w;
                std::memcpy(&w, pattern, kPixel);
                if constexpr (sizeof(wchar_t) % kPixel == 0) {
                    // The C library's wide-character fill is its widest store
                    // loop; smaller pixels are repeated to fill one wide character.
                    constexpr int kPerChar = sizeof(wchar_t) / kPixel;
                    if (reinterpret_cast<uintptr_t>(dst) % alignof(wchar_t) == 0) {
                        wchar_t c;
                        std::memcpy(&c, pattern, sizeof c);
                        std::wmemset(reinterpret_cast<wchar_t*>(dst), c, static_cast<size_t>(n / kPerChar));
                        for (int i = n - n % kPerChar; i < n; ++i) std::memcpy(dst + static_cast<size_t>(i) * kPixel, &w, kPixel);
                        return;
                    }
                }
                for (int i = 0; i < n; ++i) std::memcpy(dst + static_cast<size_t>(i) * kPixel, &w, kPixel);
            } else {
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
