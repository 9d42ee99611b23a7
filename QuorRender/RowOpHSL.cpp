// Adjustments in hue, saturation and lightness.
#include <cmath>

#include "QuorRender/RowOpAdjust.h"
#include "QuorRender/internal/PixelMath.h"
#include "QuorRender/internal/RowOpDict.h"

namespace {

using namespace qgdi_px;

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

struct SHSL {
    float h, s, l;  // hue in turns (0..1), saturation and lightness 0..1
};

SHSL ToHSL(float r, float g, float b) noexcept {
    const float hi = std::max({r, g, b}), lo = std::min({r, g, b});
    const float l = (hi + lo) * 0.5f, d = hi - lo;
    if (d <= 0) return {0, 0, l};
    const float s = d / (1 - std::fabs(2 * l - 1));
    float h;
    if (hi == r) h = (g - b) / d + (g < b ? 6 : 0);
    else if (hi == g) h = (b - r) / d + 2;
    else h = (r - g) / d + 4;
    return {h / 6, std::min(s, 1.0f), l};
}

// Channel of hue offset t (in turns) for chroma c around lightness l.
float FromHue(float h, float c, float l, float t) noexcept {
    float k = (h + t) * 6;
    k -= 6 * std::floor(k * (1.0f / 6));
    // 1 within a sixth of a turn of the channel's own hue, 0 from a third away, linear between
    const float ramp = std::clamp(std::fabs(k - 3) - 1, 0.0f, 1.0f);
    return l + c * (ramp - 0.5f);
}

void FromHSL(const SHSL& v, float& r, float& g, float& b) noexcept {
    const float c = (1 - std::fabs(2 * v.l - 1)) * v.s;
    r = FromHue(v.h, c, v.l, 0.0f);
    g = FromHue(v.h, c, v.l, -1.0f / 3);
    b = FromHue(v.h, c, v.l, 1.0f / 3);
}

// Moves v towards 1 by k when k > 0, towards 0 when k < 0.
inline float Towards(float v, float k) noexcept { return k >= 0 ? v + (1 - v) * k : v * (1 + k); }

template <class W>
inline float Unit(W v, W full) noexcept { return static_cast<float>(v) / static_cast<float>(full); }
template <class E>
inline TWork<E> Back(float v) noexcept {
    if constexpr (kIsFloat<E>) return v;
    else return static_cast<TWork<E>>(std::clamp(v, 0.0f, 1.0f) * kFull<E> + 0.5f);
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowHSLAdjust {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using P = TPx<D>;
        const auto& op = static_cast<const CRowOpDefRowHSLAdjust&>(def);
        const float hue = static_cast<float>(op.GetHue() / 360.0);
        const float sat = static_cast<float>(std::clamp(op.GetSaturation(), -1.0, 1.0));
        const float light = static_cast<float>(std::clamp(op.GetLightness(), -1.0, 1.0));
        ForSpans<D, S>(data, [&](uint8_t* row, const uint8_t*, int, int n) {
            MapStraight<D>(row, n, [&](typename P::C& c) {
                // h' = h + hue; s' = towards(s, sat); l' = towards(l, light)
                SHSL v = ToHSL(Unit(c.r, P::kMax), Unit(c.g, P::kMax), Unit(c.b, P::kMax));
                v.h += hue, v.s = Towards(v.s, sat), v.l = Towards(v.l, light);
                float r, g, b;
                FromHSL(v, r, g, b);
                c.r = Back<typename P::E>(r), c.g = Back<typename P::E>(g), c.b = Back<typename P::E>(b);
            });
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TRowHSLCopyChannel {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        using P = TPx<D>;
        const EQHSLChannel which = static_cast<const CRowOpDefRowHSLCopyChannel&>(def).GetChannel();
        if (which < keHSLHue || which > keHSLLightness) return;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            MapStraight2<D, S>(dst, src, n, [&](typename P::C& d, const typename P::C& s) {
                // d takes the chosen component of s
                SHSL dv = ToHSL(Unit(d.r, P::kMax), Unit(d.g, P::kMax), Unit(d.b, P::kMax));
                const SHSL sv = ToHSL(Unit(s.r, P::kMax), Unit(s.g, P::kMax), Unit(s.b, P::kMax));
                if (which == keHSLHue) dv.h = sv.h;
                else if (which == keHSLSaturation) dv.s = sv.s;
                else dv.l = sv.l;
                float r, g, b;
                FromHSL(dv, r, g, b);
                d.r = Back<typename P::E>(r), d.g = Back<typename P::E>(g), d.b = Back<typename P::E>(b);
            });
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowHSLAdjustDict() noexcept { return qgdi_rowop::kDict<kHSLAdjustPairs, TRowHSLAdjust>.data(); }
const SRowOpDictEntry* GetRowHSLCopyChannelDict() noexcept {
    return qgdi_rowop::kDict<kHSLCopyPairs, TRowHSLCopyChannel>.data();
}
