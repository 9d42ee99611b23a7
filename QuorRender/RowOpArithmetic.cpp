#include "QuorRender/RowOpArithmetic.h"

#include <cmath>
#include <memory>
#include <new>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"

namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kArithmeticPairs[] = {
    {keFormatBGRxA, keFormatBGRxA},
    {keFormatBGRA, keFormatBGRA},
    {keFormatGrey, keFormatGrey},
    {keFormatBGRxA_f32, keFormatBGRxA_f32},
};
static_assert(std::size(kArithmeticPairs) == 4);

inline constexpr SQFormatPair kMulPlusPairs[] = {
    {keFormatBGRA, keFormatBGRA},
    {keFormatGrey, keFormatGrey},
    {keFormatBGRA_u16, keFormatBGRA_u16},
    {keFormatBGRA_f32, keFormatBGRA_f32},
};
static_assert(std::size(kMulPlusPairs) == 4);

inline constexpr SQFormatPair kHighPassPairs[] = {
    {keFormatGrey, keFormatGrey},         {keFormatGreyA, keFormatGreyA},       {keFormatBGR, keFormatBGR},
    {keFormatBGRA, keFormatBGRA},         {keFormatGrey_u16, keFormatGrey_u16}, {keFormatBGR_u16, keFormatBGR_u16},
    {keFormatBGRA_u16, keFormatBGRA_u16}, {keFormatBGRA_f32, keFormatBGRA_f32},
};
static_assert(std::size(kHighPassPairs) == 8);

// Runs body(d, s, count) over the elements of both rows, all channels alike.
template <EQPixelFormat D, class Body>
void ForElements(CRowOpData& data, Body&& body) {
    if (!data.pSrc) return;
    using E = typename TQPixelFormat<D>::Elem;
    ForSpans<D, D>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
        body(reinterpret_cast<E*>(dst), reinterpret_cast<const E*>(src), n * TQPixelFormat<D>::kChannels);
    });
}

// r = k1 (s d / 255) + k2 s + k3 d + k4 255 with 12 fractional bits: K = k 4096
// with |K| <= 2^16, each term K x (a byte) stays below 2^24 and the four sum
// inside int32 (k4 carries the rounding half).
inline uint8_t ArithmeticByte(int32_t s, int32_t d, const int32_t (&k)[4]) noexcept {
    const int32_t sd = static_cast<int32_t>(Div255(uint32_t(s) * uint32_t(d)));
    return Saturate<uint8_t>((k[0] * sd + k[1] * s + k[2] * d + k[3]) >> 12);
}

// The byte rule of one set of constants as a [s][d] table, kept per thread. It
// is built on the second consecutive row with the same constants, so a single
// row never pays for 65536 entries; SSE2 has no 32-bit multiply, which makes
// the table the faster of the two on long runs of rows.
struct SArithmeticCache {
    int32_t k[4] = {};
    int rows = 0;
    bool valid = false;
    std::unique_ptr<uint8_t[]> table;
};

const uint8_t* ArithmeticTable(const int32_t (&k)[4]) {
    thread_local SArithmeticCache cache;
    if (!std::equal(k, k + 4, cache.k)) {
        std::copy(k, k + 4, cache.k);
        cache.rows = 0;
        cache.valid = false;
    }
    if (cache.valid) return cache.table.get();
    if (++cache.rows < 2) return nullptr;
    if (!cache.table) cache.table.reset(new (std::nothrow) uint8_t[256 * 256]);
    if (!cache.table) return nullptr;
    for (int32_t s = 0; s < 256; ++s)
        for (int32_t d = 0; d < 256; ++d) cache.table[s * 256 + d] = ArithmeticByte(s, d, k);
    cache.valid = true;
    return cache.table.get();
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowArithmetic {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        const auto& op = static_cast<const CRowOpDefRowArithmetic&>(def);
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        double k[4];
        for (int i = 0; i < 4; ++i) k[i] = std::clamp(op.GetK(i), -16.0, 16.0);
        if (!data.pSrc) return;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            E* d = reinterpret_cast<E*>(dst);
            const E* s = reinterpret_cast<const E*>(src);
            if constexpr (sizeof(E) == 1) {
                const int32_t kf[4] = {static_cast<int32_t>(std::lround(k[0] * 4096)), static_cast<int32_t>(std::lround(k[1] * 4096)),
                                       static_cast<int32_t>(std::lround(k[2] * 4096)),
                                       static_cast<int32_t>(std::lround(k[3] * 4096 * 255)) + 2048};
                if (const uint8_t* table = ArithmeticTable(kf)) {
                    for (int i = 0; i < n * T::kChannels; ++i) d[i] = table[s[i] * 256 + d[i]];
                } else {
                    for (int i = 0; i < n * T::kChannels; ++i) d[i] = ArithmeticByte(s[i], d[i], kf);
                }
            } else {
                const float f1 = float(k[0]), f2 = float(k[1]), f3 = float(k[2]), f4 = float(k[3]);
                for (int i = 0; i < n * T::kChannels; ++i) d[i] = Saturate<E>(f1 * s[i] * d[i] + f2 * s[i] + f3 * d[i] + f4);
            }
            if constexpr (T::kPremultiplied) {
                // premultiplied colour cannot exceed its alpha
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < 3; ++c) d[4 * i + c] = std::min(d[4 * i + c], d[4 * i + 3]);
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowMulEqual {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using E = typename TQPixelFormat<D>::Elem;
        ForElements<D>(data, [](E* d, const E* s, int n) {
            // d = d s / full
            for (int i = 0; i < n; ++i) {
                if constexpr (kIsFloat<E>) d[i] = d[i] * s[i];
                else if constexpr (sizeof(E) == 1) d[i] = static_cast<E>(Div255u16(uint16_t(d[i] * s[i])));
                else d[i] = static_cast<E>(Div65535(uint32_t(d[i]) * s[i]));
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowPlusEqual {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using E = typename TQPixelFormat<D>::Elem;
        ForElements<D>(data, [](E* d, const E* s, int n) {
            // d = min(full, d + s)
            for (int i = 0; i < n; ++i) d[i] = Saturate<E>(TWork<E>(d[i]) + TWork<E>(s[i]));
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct THighPass {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        // Half scale: 128 for bytes, 32768 for words, 0.5 for floats.
        constexpr TWork<E> kHalf = kIsFloat<E> ? TWork<E>(0.5f) : TWork<E>((kFull<E> + 1) / 2);
        ForElements<D>(data, [](E* d, const E* s, int count) {
            constexpr int kN = T::kChannels;
            for (int i = 0; i < count; i += kN)
                for (int c = 0; c < kN; ++c) {
                    // d = clamp(s - d + half); alpha = s
                    const bool alpha = T::kAlpha && c == T::kAlphaOffset;
                    if constexpr (sizeof(E) == 1) {
                        // -127..383 fits 16-bit lanes, eight channels to a register
                        const int16_t v = int16_t(s[i + c] - d[i + c] + 128);
                        d[i + c] = alpha ? s[i + c] : E(std::min<int16_t>(std::max<int16_t>(v, 0), 255));
                    } else {
                        d[i + c] = alpha ? s[i + c] : Saturate<E>(TWork<E>(s[i + c]) - TWork<E>(d[i + c]) + kHalf);
                    }
                }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowArithmeticDict() noexcept {
    return qgdi_rowop::kDict<kArithmeticPairs, TRowArithmetic>.data();
}
const SRowOpDictEntry* GetRowMulEqualDict() noexcept { return qgdi_rowop::kDict<kMulPlusPairs, TRowMulEqual>.data(); }
const SRowOpDictEntry* GetRowPlusEqualDict() noexcept { return qgdi_rowop::kDict<kMulPlusPairs, TRowPlusEqual>.data(); }
const SRowOpDictEntry* GetHighPassDict() noexcept { return qgdi_rowop::kDict<kHighPassPairs, THighPass>.data(); }
