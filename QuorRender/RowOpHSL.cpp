// Adjustments in hue, saturation and lightness.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "QuorRender/RowOpAdjust.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kHSLAdjustPairs[] = {
    {keFormatBGR, keFormatNone},     {keFormatBGRA, keFormatNone},     {keFormatBGRxA, keFormatNone},
    {keFormatBGR_u16, keFormatNone}, {keFormatBGRA_u16, keFormatNone},
};
static_assert(std::size(kHSLAdjustPairs) == 5);

inline constexpr SQFormatPair kHSLCopyPairs[] = {
    {keFormatBGRA, keFormatBGRA},
    {keFormatBGR, keFormatBGR},
};
static_assert(std::size(kHSLCopyPairs) == 2);

// Pixels are converted in blocks of structure-of-arrays floats so that the
// colour model runs as straight-line code the compiler vectorises: every
// branch of the per-pixel rule is computed and the right one selected.
constexpr int kBlock = 64;

struct SBlock {
    float x[kBlock], y[kBlock], z[kBlock];  // r, g, b or h (turns), s, l
};

inline float Clamp01(float v) noexcept { return std::min(std::max(v, 0.0f), 1.0f); }

// r, g, b (0..1) to h, s, l in place.
void ToHSL(SBlock& v, int n) noexcept {
    for (int i = 0; i < n; ++i) {  // @vectorised
        const float r = v.x[i], g = v.y[i], b = v.z[i];
        const float hi = std::max(std::max(r, g), b), lo = std::min(std::min(r, g), b);
        const float l = (hi + lo) * 0.5f, d = hi - lo;
        // s = d / (1 - |2l - 1|), at most 1
        const float s = d / (1 - std::fabs(2 * l - 1));
        // h in sixths from the largest channel
        const float hr = (g - b) / d + (g < b ? 6.0f : 0.0f), hg = (b - r) / d + 2, hb = (r - g) / d + 4;
        const float h = (hi == r ? hr : hi == g ? hg : hb) / 6;
        const bool grey = !(d > 0);
        v.x[i] = grey ? 0.0f : h;
        v.y[i] = grey ? 0.0f : std::min(s, 1.0f);
        v.z[i] = l;
    }
}

// Channel of hue offset t (in turns) for chroma c around lightness l. h + t
// lies in [-1/3, 7/3) turns: hues come from ToHSL in [0, 1), plus at most
// one turn of adjustment.
inline float FromHue(float h, float c, float l, float t) noexcept {
    float k = (h + t) * 6;  // sixths of a turn, in [-2, 14)
    // Whole turns off by selects: a floor has no SSE2 vector form, and a
    // float-to-int floor turns into branches once the wide targets fold it.
    k = k >= 6 ? k - 6 : k;
    k = k >= 6 ? k - 6 : k;
    k = k < 0 ? k + 6 : k;
    // 1 within a sixth of a turn of the channel's own hue, 0 from a third away, linear between
    const float ramp = Clamp01(std::fabs(k - 3) - 1);
    return l + c * (ramp - 0.5f);
}

// h, s, l to r, g, b (0..1) in place.
void FromHSL(SBlock& v, int n) noexcept {
    for (int i = 0; i < n; ++i) {  // @vectorised
        const float h = v.x[i], l = v.z[i];
        const float c = (1 - std::fabs(2 * l - 1)) * v.y[i];
        v.x[i] = FromHue(h, c, l, 0.0f);
        v.y[i] = FromHue(h, c, l, -1.0f / 3);
        v.z[i] = FromHue(h, c, l, 1.0f / 3);
    }
}

// Moves v towards 1 by k when k > 0, towards 0 when k < 0.
inline float Towards(float v, float k) noexcept { return k >= 0 ? v + (1 - v) * k : v * (1 + k); }

// The straight colours of n pixels, kept whole for their alpha, and their
// r, g, b as fractions of full scale.
template <EQPixelFormat F>
void LoadBlock(const uint8_t* row, int n, typename TPx<F>::C* c, SBlock& v) noexcept {
    using P = TPx<F>;
    const auto* p = reinterpret_cast<const typename P::E*>(row);
    for (int i = 0; i < n; ++i) c[i] = P::Load(p + i * P::kN);
    const float full = static_cast<float>(P::kMax);
    for (int i = 0; i < n; ++i) {  // @vectorised
        v.x[i] = static_cast<float>(c[i].r) / full;
        v.y[i] = static_cast<float>(c[i].g) / full;
        v.z[i] = static_cast<float>(c[i].b) / full;
    }
}

// c = round(clamp(v) x full)
template <EQPixelFormat F>
void StoreBlock(uint8_t* row, int n, typename TPx<F>::C* c, const SBlock& v) noexcept {
    using P = TPx<F>;
    using W = typename P::W;
    const float full = static_cast<float>(P::kMax);
    for (int i = 0; i < n; ++i) {  // @vectorised
        c[i].r = static_cast<W>(Clamp01(v.x[i]) * full + 0.5f);
        c[i].g = static_cast<W>(Clamp01(v.y[i]) * full + 0.5f);
        c[i].b = static_cast<W>(Clamp01(v.z[i]) * full + 0.5f);
    }
    auto* p = reinterpret_cast<typename P::E*>(row);
    for (int i = 0; i < n; ++i) P::Store(p + i * P::kN, c[i]);
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowHSLAdjust {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using P = TPx<D>;
        const auto& op = static_cast<const CRowOpDefRowHSLAdjust&>(def);
        // The offset within one turn, as FromHue expects; a NaN or infinite hue turns nothing.
        double turns = op.GetHue() / 360.0;
        turns -= std::floor(turns);
        const float hue = turns >= 0 && turns < 1 ? static_cast<float>(turns) : 0.0f;
        const float sat = static_cast<float>(std::clamp(op.GetSaturation(), -1.0, 1.0));
        const float light = static_cast<float>(std::clamp(op.GetLightness(), -1.0, 1.0));
        ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
            typename P::C c[kBlock];
            SBlock v;
            for (int i = 0; i < n; i += kBlock) {
                const int m = std::min(kBlock, n - i);
                uint8_t* at = row + static_cast<size_t>(i) * P::kBytes;
                LoadBlock<D>(at, m, c, v);
                ToHSL(v, m);
                // h' = h + hue; s' = towards(s, sat); l' = towards(l, light)
                for (int k = 0; k < m; ++k)  // @vectorised
                    v.x[k] += hue, v.y[k] = Towards(v.y[k], sat), v.z[k] = Towards(v.z[k], light);
                FromHSL(v, m);
                StoreBlock<D>(at, m, c, v);
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowHSLCopyChannel {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        static_assert(D == S, "the source is read in the destination's layout");
        using P = TPx<D>;
        const EQHSLChannel which = static_cast<const CRowOpDefRowHSLCopyChannel&>(def).GetChannel();
        if (which < keHSLHue || which > keHSLLightness) return;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            typename P::C c[kBlock], sc[kBlock];
            SBlock dv, sv;
            for (int i = 0; i < n; i += kBlock) {
                const int m = std::min(kBlock, n - i);
                const size_t at = static_cast<size_t>(i) * P::kBytes;
                LoadBlock<D>(dst + at, m, c, dv);
                LoadBlock<S>(src + at, m, sc, sv);
                ToHSL(dv, m);
                ToHSL(sv, m);
                // d takes the chosen component of s
                float* to = which == keHSLHue ? dv.x : which == keHSLSaturation ? dv.y : dv.z;
                const float* from = which == keHSLHue ? sv.x : which == keHSLSaturation ? sv.y : sv.z;
                std::memcpy(to, from, sizeof(float) * m);
                FromHSL(dv, m);
                StoreBlock<D>(dst + at, m, c, dv);
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowHSLAdjustDict() noexcept {
    return qgdi::rowop::kDict<kHSLAdjustPairs, TRowHSLAdjust>.data();
}
const SRowOpDictEntry* GetRowHSLCopyChannelDict() noexcept {
    return qgdi::rowop::kDict<kHSLCopyPairs, TRowHSLCopyChannel>.data();
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetRowHSLAdjustDict)
QGDI_DISPATCHED_DICT(GetRowHSLCopyChannelDict)
#endif  // QGDI_BASELINE_PASS
