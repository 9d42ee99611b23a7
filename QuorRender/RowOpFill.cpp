#include "QuorRender/RowOpFill.h"

#include <algorithm>
#include <cwchar>
#include <optional>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowOpPrepared.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kFillPairs[] = {
    {keFormatGrey, keFormatNone},      {keFormatGreyA, keFormatNone},    {keFormatBGR, keFormatNone},
    {keFormatBGRA, keFormatNone},      {keFormatBGRxA, keFormatNone},    {keFormatGrey_u16, keFormatNone},
    {keFormatGreyA_u16, keFormatNone}, {keFormatBGR_u16, keFormatNone},  {keFormatBGRA_u16, keFormatNone},
    {keFormatBGRxA_u16, keFormatNone}, {keFormatGrey_f32, keFormatNone}, {keFormatBGRA_f32, keFormatNone},
    {keFormatIndex8, keFormatNone},
};
static_assert(std::size(kFillPairs) == 13);

using qgdi::rowop::SFillPrepared;
constexpr size_t kPatternBytes = SFillPrepared::kPatternBytes;

// Every pixel size divides 48, so 48 bytes of the pattern taken at the
// phase of an address repeat from there on.
constexpr size_t kPeriod = 48;
static_assert(kPatternBytes >= kPeriod + 2 * 16);

// Writes `bytes` of the pattern of `pixel`-byte pixels to `dst` (a row
// start) with non-temporal stores, which skip the cache: a fill larger than
// the cache would only evict what the next operation reads.
void StreamPattern(uint8_t* dst, size_t bytes, const uint8_t* pattern, size_t pixel) noexcept {
#if defined(__SSE2__)
    size_t head = (16 - reinterpret_cast<uintptr_t>(dst) % 16) % 16;
    if (head >= bytes) {
        std::memcpy(dst, pattern, bytes);
        return;
    }
    std::memcpy(dst, pattern, head);
    const uint8_t* phase = pattern + head % pixel;
    const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(phase));
    const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(phase + 16));
    const __m128i v2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(phase + 32));
    size_t i = head;
    for (; i + kPeriod <= bytes; i += kPeriod) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i), v0);
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i + 16), v1);
        _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i + 32), v2);
    }
    std::memcpy(dst + i, pattern + i % pixel, bytes - i);
    // Streaming stores are weakly ordered: fence them before the row is handed back.
    _mm_sfence();
#else
    // Without a portable streaming store the cached fill is the only one.
    for (size_t i = 0; i < bytes; i += kPatternBytes) std::memcpy(dst + i, pattern, std::min(kPatternBytes, bytes - i));
#endif
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowFill {
    static constexpr size_t kPixel = TQPixelFormat<D>::kBitsPerPixel / 8;
    static_assert(kPatternBytes % kPixel == 0);

    static void Run(const CRowOpDef& def, CRowOpData& data) {
        std::optional<SFillPrepared> local;
        const SFillPrepared& prep = qgdi::rowop::PreparedFor<SFillPrepared, D, S>(def, data, local);
        const uint8_t* pattern = prep.pattern;
        // The whole fill (this row's width down the image) larger than the cache.
        const size_t rowBytes = static_cast<size_t>(data.nCount) * kPixel;
        if (!data.pMask && prep.streamAbove && data.nImageHeight > 0 &&
            rowBytes * static_cast<size_t>(data.nImageHeight) > prep.streamAbove) {
            StreamPattern(data.pDst, rowBytes, pattern, kPixel);
            return;
        }
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) {
            // d = colour
            if constexpr (kPixel == 1) {
                std::memset(dst, pattern[0], static_cast<size_t>(n));
            } else if constexpr (kPixel == 2 || kPixel == 4 || kPixel == 8) {
                // pixels that are whole machine words: plain stores the compiler widens
                using Word =
                    std::conditional_t<kPixel == 2, uint16_t, std::conditional_t<kPixel == 4, uint32_t, uint64_t>>;
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
                        for (int i = n - n % kPerChar; i < n; ++i)
                            std::memcpy(dst + static_cast<size_t>(i) * kPixel, &w, kPixel);
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

const SRowOpDictEntry* GetRowFillDict() noexcept { return qgdi::rowop::kDict<kFillPairs, TRowFill>.data(); }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowFillDict)
#endif  // QGDI_BASELINE_PASS
