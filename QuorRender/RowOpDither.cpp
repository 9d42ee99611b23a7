// Ordered dithering while narrowing 16-bit and float rows to 8 bits.
#include "QuorRender/RowOpCopy.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

// The 8 x 8 Bayer index matrix (0..63): the bits of x ^ y and y interleaved,
// most significant first, so neighbouring thresholds are as far apart as possible.
inline constexpr auto kBayer8 = [] {
    std::array<std::array<uint8_t, 8>, 8> m{};
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const int a = x ^ y;
            int v = 0;
            for (int bit = 0; bit < 3; ++bit) {
                v |= ((a >> bit) & 1) << (5 - 2 * bit);
                v |= ((y >> bit) & 1) << (4 - 2 * bit);
            }
            m[y][x] = static_cast<uint8_t>(v);
        }
    return m;
}();

inline constexpr SQFormatPair kDitherPairs[] = {
    {keFormatBGRA, keFormatBGRA_u16}, {keFormatBGR, keFormatBGR_u16},   {keFormatGrey, keFormatGrey_u16},
    {keFormatBGRA, keFormatBGRA_f32}, {keFormatGrey, keFormatGrey_f32},
};
static_assert(std::size(kDitherPairs) == 5);

template <EQPixelFormat D, EQPixelFormat S>
struct TRowDither {
    static_assert(TQPixelFormat<D>::kChannels == TQPixelFormat<S>::kChannels);
    static void Run(const CRowOpDef&, CRowOpData& data) {
        if (!data.pSrc) return;
        using ES = typename TQPixelFormat<S>::Elem;
        constexpr int kN = TQPixelFormat<S>::kChannels;
        // Thresholds of this row in (0, 1), indexed by x mod 8.
        float threshold[8];
        for (int i = 0; i < 8; ++i) threshold[i] = (kBayer8[data.y & 7][i] + 0.5f) * (1.0f / 64.0f);
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int x, int n) {
            const ES* s = reinterpret_cast<const ES*>(src);
            for (int i = 0; i < n; ++i) {
                const float t = threshold[(x + i) & 7];
                for (int c = 0; c < kN; ++c) {
                    float v = static_cast<float>(s[i * kN + c]);
                    // v scaled to 0..255 before the threshold is added
                    if constexpr (kIsFloat<ES>) v = (v > 0 ? (v < 1 ? v : 1) : 0) * 255.0f;
                    else v *= 255.0f / 65535.0f;
                    dst[i * kN + c] = static_cast<uint8_t>(std::min(255.0f, v + t));
                }
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowDitherDict() noexcept { return qgdi::rowop::kDict<kDitherPairs, TRowDither>.data(); }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowDitherDict)
#endif  // QGDI_BASELINE_PASS
