#include "QuorRender/RowOpMatte.h"

#include <atomic>
#include <new>

#include "QuorRender/DivTable2.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

// round(65536 / a), so that t / a needs no division.
inline constexpr auto kRecip16 = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t a = 1; a < 256; ++a) t[a] = (65536u + a / 2) / a;
    return t;
}();

// The matte colour in the channel scale of element type E.
template <class E>
TColour<TWork<E>> MatteIn(uint32_t rgb) noexcept {
    return {Cast<E, uint8_t>(static_cast<int32_t>((rgb >> 16) & 255)),
            Cast<E, uint8_t>(static_cast<int32_t>((rgb >> 8) & 255)), Cast<E, uint8_t>(static_cast<int32_t>(rgb & 255)),
            kFull<E>};
}

// c a + m (1 - a)
template <class E>
inline TWork<E> Matte(TWork<E> c, TWork<E> a, TWork<E> m) noexcept {
    if constexpr (kIsFloat<E>) return c * a + m * (1 - a);
    else if constexpr (sizeof(E) == 1) return TWork<E>(Div255(c * a + m * (255 - a)));
    else return TWork<E>(Div65535(uint32_t(c) * uint32_t(a) + uint32_t(m) * uint32_t(65535 - a)));
}

// (c - m (1 - a)) / a clamped to the channel range, for a > 0
template <class E>
inline TWork<E> Dematte(TWork<E> c, TWork<E> a, TWork<E> m) noexcept {
    if constexpr (kIsFloat<E>) {
        return Saturate<E>((c - m * (1 - a)) / a);
    } else if constexpr (sizeof(E) == 1) {
        // t = c 255 - m (255 - a) in 255ths, |t| <= 65025; t / a through round(65536 / a)
        // (a negative t clamps to 0 before the division, so no branch is needed)
        const int32_t t = std::max<int32_t>(c * 255 - m * (255 - a), 0);
        return std::min<int32_t>(255, int32_t((uint32_t(t) * kRecip16[a] + 32768) >> 16));
    } else {
        const float k = 65535.0f / static_cast<float>(a);
        return Saturate<E>(static_cast<float>(c) * k - static_cast<float>(m) * (k - 1.0f) + 0.5f);
    }
}

inline constexpr SQFormatPair kMattePairs[] = {
    {keFormatGreyA, keFormatNone},       {keFormatBGRA, keFormatNone},     {keFormatBGRxA, keFormatNone},
    {keFormatGreyA_u16, keFormatNone},   {keFormatBGRA_u16, keFormatNone}, {keFormatBGRxA_u16, keFormatNone},
    {keFormatGreyA_f32, keFormatNone},   {keFormatBGRA_f32, keFormatNone}, {keFormatBGRxA_f32, keFormatNone},
    {keFormatBGR, keFormatBGRA},         {keFormatBGR, keFormatBGRxA},     {keFormatGrey, keFormatGreyA},
    {keFormatBGR_u16, keFormatBGRA_u16},
};
static_assert(std::size(kMattePairs) == 13);

inline constexpr SQFormatPair kDemattePairs[] = {
    {keFormatGreyA, keFormatNone},        {keFormatBGRA, keFormatNone},     {keFormatBGRxA, keFormatNone},
    {keFormatGreyA_u16, keFormatNone},    {keFormatBGRA_u16, keFormatNone}, {keFormatBGRxA_u16, keFormatNone},
    {keFormatGreyA_f32, keFormatNone},    {keFormatBGRA_f32, keFormatNone}, {keFormatBGRxA_f32, keFormatNone},
    {keFormatBGRA, keFormatBGRA},         {keFormatBGRxA, keFormatBGRxA},   {keFormatGreyA, keFormatGreyA},
    {keFormatBGRA_u16, keFormatBGRA_u16},
};
static_assert(std::size(kDemattePairs) == 13);

// Matte or dematte of one 8-bit channel against matte byte m, [a][c], built
// the first time a matte byte is used: the whole rule then costs one load,
// where SSE2 has neither byte shuffles to spread alpha nor a division. The
// wide targets keep the tables too: computed per pixel, the rule measured
// slower there as well (AVX2: 0.86x for matte, 0.53x for dematte). Tables of
// threads racing for the same m are identical; the loser frees its own.
std::array<std::atomic<const uint8_t*>, 512> g_matteTables{};

void FreeMatteTables() {
    for (auto& t : g_matteTables) delete[] t.exchange(nullptr);
}

template <bool kRemove>
const uint8_t* MatteTable(int m) {
    std::atomic<const uint8_t*>& slot = g_matteTables[kRemove * 256 + m];
    if (const uint8_t* t = slot.load(std::memory_order_acquire)) return t;
    // Kernels run inside parallel loops, where nothing may throw; without the
    // memory the caller computes the rule per pixel.
    auto* t = new (std::nothrow) uint8_t[256 * 256];
    if (!t) return nullptr;
    for (int a = 0; a < 256; ++a)
        for (int c = 0; c < 256; ++c) {
            // a transparent pixel keeps its colour when the matte is removed
            if constexpr (kRemove) t[a * 256 + c] = uint8_t(a == 0 ? c : Dematte<uint8_t>(c, a, m));
            else t[a * 256 + c] = uint8_t(Matte<uint8_t>(c, a, m));
        }
    const uint8_t* expected = nullptr;
    if (!slot.compare_exchange_strong(expected, t, std::memory_order_acq_rel)) {
        delete[] t;
        return expected;
    }
    // Registration may allocate; failing it only means shutdown does not free the tables.
    static const bool registered = [] {
        try {
            QGDI_RegisterRowOpCache(&FreeMatteTables);
            return true;
        } catch (...) {
            return false;
        }
    }();
    (void)registered;
    return t;
}

// Straight 8-bit BGRA pixels through the per-channel tables `t` of the matte
// bytes in storage order b, g, r. `src` may equal `dst`.
void MatteBGRA8(uint8_t* dst, const uint8_t* src, int n, const uint8_t* const (&t)[3]) {
    for (int i = 0; i < 4 * n; i += 4) {
        const uint8_t* p = src + i;
        const int a = p[3] * 256;
        dst[i] = t[0][a + p[0]], dst[i + 1] = t[1][a + p[1]], dst[i + 2] = t[2][a + p[2]], dst[i + 3] = p[3];
    }
}

// Matting (or its removal) in place, or from a source row of the same layout.
template <EQPixelFormat D, EQPixelFormat S, bool kRemove>
void MatteRow(uint32_t matteRGB, CRowOpData& data) {
    constexpr EQPixelFormat kFrom = S == keFormatNone ? D : S;
    using E = typename TQPixelFormat<kFrom>::Elem;
    using C = TColour<TWork<E>>;
    const C m = MatteIn<E>(matteRGB);
    using TF = TQPixelFormat<kFrom>;
    if constexpr (sizeof(E) == 1 && TF::kAlpha && !TF::kPremultiplied && !TF::kGrey && TF::kAlphaOffset == 3 &&
                  TF::kBlue == 0 && TF::kRed == 2 && (S == keFormatNone || S == D)) {
        if (S != keFormatNone && !data.pSrc) return;
        const uint8_t* const t[3] = {MatteTable<kRemove>((matteRGB >> 16) & 255),
                                     MatteTable<kRemove>((matteRGB >> 8) & 255), MatteTable<kRemove>(matteRGB & 255)};
        if (t[0] && t[1] && t[2]) {
            ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
                MatteBGRA8(dst, S == keFormatNone ? dst : src, n, t);
            });
            return;
        }
    }
    auto op = [&](C& c) {
        if constexpr (kRemove) {
            // a transparent pixel keeps its colour; computed anyway and dropped, to keep the loop branch-free
            const bool clear = c.a == 0;
            const auto b = Dematte<E>(c.b, c.a, m.b), g = Dematte<E>(c.g, c.a, m.g), r = Dematte<E>(c.r, c.a, m.r);
            c.b = clear ? c.b : b, c.g = clear ? c.g : g, c.r = clear ? c.r : r;
        } else {
            c.b = Matte<E>(c.b, c.a, m.b), c.g = Matte<E>(c.g, c.a, m.g), c.r = Matte<E>(c.r, c.a, m.r);
        }
    };
    if constexpr (S == keFormatNone) {
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) { MapStraight<D>(dst, n, op); });
    } else {
        if (!data.pSrc) return;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            MapStraight2<D, S>(dst, src, n, [&](C& d, const C& s) {
                d = s;
                op(d);
            });
        });
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowMatte {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        MatteRow<D, S, false>(static_cast<const CRowOpDefRowMatte&>(def).GetMatte(), data);
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowDematte {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        MatteRow<D, S, true>(static_cast<const CRowOpDefRowDematte&>(def).GetMatte(), data);
    }
};

}  // namespace

const SRowOpDictEntry* GetRowMatteDict() noexcept { return qgdi::rowop::kDict<kMattePairs, TRowMatte>.data(); }
const SRowOpDictEntry* GetRowDematteDict() noexcept { return qgdi::rowop::kDict<kDemattePairs, TRowDematte>.data(); }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowMatteDict)
QGDI_DISPATCHED_DICT(GetRowDematteDict)
#endif  // QGDI_BASELINE_PASS
