#include "QuorRender/RowOpNoise.h"

#include <cmath>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "geometry/Random.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kNoisePairs[] = {
    {keFormatGrey, keFormatNone},    {keFormatGreyA, keFormatNone},    {keFormatBGR, keFormatNone},
    {keFormatBGRA, keFormatNone},    {keFormatBGRxA, keFormatNone},    {keFormatGrey_u16, keFormatNone},
    {keFormatBGR_u16, keFormatNone}, {keFormatBGRA_u16, keFormatNone}, {keFormatBGRA_f32, keFormatNone},
};
static_assert(std::size(kNoisePairs) == 9);

// The state CRandom reaches from `state` after n steps. One step is the affine
// map s -> 214013 s + 2531011 (mod 2^32); maps are composed by squaring.
uint32_t JumpAhead(uint32_t state, uint64_t n) noexcept {
    uint32_t mul = 214013u, add = 2531011u;  // the map of 2^k steps
    uint32_t accMul = 1, accAdd = 0;         // the map of the steps taken so far
    for (; n; n >>= 1) {
        if (n & 1) {
            accMul *= mul;
            accAdd = accAdd * mul + add;
        }
        add = add * mul + add;
        mul *= mul;
    }
    return accMul * state + accAdd;
}

// Seed of a row: the definition's seed mixed with y so rows do not repeat each other.
uint32_t RowSeed(uint32_t seed, int32_t y) noexcept {
    uint32_t h = seed ^ (static_cast<uint32_t>(y) * 0x9E3779B1u);
    h ^= h >> 16;
    h *= 0x85EBCA6Bu;
    h ^= h >> 13;
    return h;
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowNoise {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        const auto& op = static_cast<const CRowOpDefRowNoise&>(def);
        using P = TPx<D>;
        using W = typename P::W;
        const bool mono = op.IsMonochrome() || P::Traits::kGrey;
        const bool gauss = op.IsGaussian();
        const int drawsPerPixel = (mono ? 1 : 3) * (gauss ? 3 : 1);
        const double amount = std::clamp(op.GetAmount(), 0.0, 1.0);
        // Noise n in [-32767, 32767] (15 bits); delta = n K >> 15 with K = amount x
        // full scale, so |n K| < 2^31 for 16-bit channels and float needs no scale.
        const int64_t k = static_cast<int64_t>(amount * static_cast<double>(P::kMax) + 0.5);
        const float kf = static_cast<float>(amount) * (1.0f / 32767.0f);
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int x, int n) {
            CRandom rng(JumpAhead(RowSeed(op.GetSeed(), data.y),
                                  static_cast<uint64_t>(static_cast<uint32_t>(x)) * drawsPerPixel));
            auto draw = [&]() -> int32_t {
                if (!gauss) return 2 * rng.Get() - 32767;
                const int32_t sum = rng.Get() + rng.Get() + rng.Get();
                return (2 * sum) / 3 - 32767;
            };
            auto delta = [&](int32_t v) -> W {
                if constexpr (kIsFloat<typename P::E>) return static_cast<float>(v) * kf;
                else return static_cast<W>((v * k) >> 15);
            };
            // c' = clamp(c + amount x n)
            MapStraight<D>(dst, n, [&](typename P::C& c) {
                const W db = delta(draw());
                const W dg = mono ? db : delta(draw());
                const W dr = mono ? db : delta(draw());
                c.b = Saturate<typename P::E>(c.b + db);
                c.g = Saturate<typename P::E>(c.g + dg);
                c.r = Saturate<typename P::E>(c.r + dr);
            });
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowNoiseDict() noexcept { return qgdi::rowop::kDict<kNoisePairs, TRowNoise>.data(); }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowNoiseDict)
#endif  // QGDI_BASELINE_PASS
