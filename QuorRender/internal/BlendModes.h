#pragma once
// The blend modes as operators. Each mode is a small struct whose rule stands
// in one comment line above it; the compositing loop (BlendCompositor.h)
// combines it with the pixel depth and the row formats. Channels are worked
// on as uint32 in the depth's own scale F (255 or 65535); M[p] is p / F
// rounded, the mask table's rule, and k the pixel's coverage in 0..F.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/pixel/PixelMath.h"

namespace qgdi::blend {
// Each kernel pass has its own copies (see platform/TargetPass.h).
inline namespace QGDI_TARGET_NS {

// ---- Depths -----------------------------------------------------------------
//
// Each depth works in a lane type L wide enough for a product of two channels
// and no wider: 16 bits for 8-bit channels (255^2 < 2^16), 32 for 16-bit ones.
// Every step is cast back to L, which keeps the values exact (they never
// exceed F^2) and lets the compiler keep twice as many 8-bit pixels per
// register as it would with 32-bit lanes.

template <class E>
struct TDepth;

template <>
struct TDepth<uint8_t> {
    using E = uint8_t;
    using L = uint16_t;
    static constexpr L kFull = 255, kHalf = 128, kShift = 7;
    // (p + 128) / 255 for p <= 255^2, the mask table without reading it: the
    // high half of (p + 129) x 257. Not quite p / 255 rounded: the table gives
    // 1 for 127, where 127 / 255 < 1/2.
    static QGDI_PX_INLINE L M(L p) noexcept { return L((uint32_t(L(p + 129)) * 257u) >> 16); }
    // floor(n / d) for n <= 255^2 and 1 <= d <= 2 x 255: the float quotient
    // never reaches the next integer (gap >= 1/510 against an error of 2^-17)
    static QGDI_PX_INLINE L Quot(L n, L d) noexcept { return L(int32_t(float(int32_t(n)) / float(int32_t(d)))); }
    // floor(sqrt(255 d)) = truncate(sqrt(d / 255) x 255), the square-root table's rule
    static QGDI_PX_INLINE L Sqrt(L d) noexcept { return L(int32_t(std::sqrt(float(int32_t(L(d * 255)))))); }
};

template <>
struct TDepth<uint16_t> {
    using E = uint16_t;
    using L = uint32_t;
    static constexpr L kFull = 65535, kHalf = 32768, kShift = 15;
    static QGDI_PX_INLINE L M(L p) noexcept { return px::Div65535(p); }
    // products reach 2^32, beyond a float's 24 bits: the quotient is taken in double
    static QGDI_PX_INLINE L Quot(L n, L d) noexcept { return L(double(n) / double(d)); }
    static QGDI_PX_INLINE L Sqrt(L d) noexcept { return L(std::sqrt(double(d) * 65535.0)); }
};

// t laid over d by the coverage: M[t k + d (F - k)].
template <class Dp, class L = typename Dp::L>
QGDI_PX_INLINE L Mix(L t, L d, L k) noexcept {
    return Dp::M(L(L(t * k) + L(d * L(Dp::kFull - k))));
}

// ---- Separable modes: B = f(d, s, k) per colour channel -------------------------

// f = M[min(d, s) k + d (F - k)]
struct SDarken {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(std::min(d, s), d, k);
    }
};

// f = M[max(d, s) k + d (F - k)]
struct SLighten {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(std::max(d, s), d, k);
    }
};

// f = M[M[d s] k + d (F - k)]
struct SMultiply {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(Dp::M(L(d * s)), d, k);
    }
};

// f = M[(F - M[(F - d)(F - s)]) k + d (F - k)]
struct SScreen {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(L(Dp::kFull - Dp::M(L(L(Dp::kFull - d) * L(Dp::kFull - s)))), d, k);
    }
};

// t = F - (((F - s)(F - d)) >> 7) where the test channel is at least half, else (s d) >> 7 (shift 15 at 16 bits)
template <class Dp, bool kTestSource, class L = typename Dp::L>
QGDI_PX_INLINE L OverlayTerm(L d, L s) noexcept {
    const L test = kTestSource ? s : d;
    const L hi = L(Dp::kFull - L(L(L(Dp::kFull - s) * L(Dp::kFull - d)) >> Dp::kShift));
    const L lo = L(L(s * d) >> Dp::kShift);
    return test >= Dp::kHalf ? hi : lo;
}

// f = M[t k + d (F - k)], t the overlay term tested on d
struct SOverlay {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(OverlayTerm<Dp, false>(d, s), d, k);
    }
};

// f = M[t k + d (F - k)], t the overlay term tested on s
struct SHardLight {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(OverlayTerm<Dp, true>(d, s), d, k);
    }
};

// t = d - M[M[d (F - d)] max(0, F - 2s)] for s <= half, d + M[(2s - F)(sqrt(d) - d)] above; f = M[t k + d (F - k)]
struct SSoftLight {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        constexpr L kF = Dp::kFull;
        const L twice = L(2 * s);
        const L dark = twice >= kF ? L(0) : L(kF - twice);  // 0 at s = half: the two rules meet
        const L lo = L(d - Dp::M(L(Dp::M(L(d * L(kF - d))) * dark)));
        const L light = twice > kF ? L(twice - kF) : L(0);
        const L hi = L(d + Dp::M(L(light * L(Dp::Sqrt(d) - d))));
        return Mix<Dp>(s > Dp::kHalf ? hi : lo, d, k);
    }
};

// f = |d - M[s k]|: the coverage weakens the source only
struct SDifference {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        const L sk = Dp::M(L(s * k));
        return L(std::max(d, sk) - std::min(d, sk));
    }
};

// f = min(F, d F / (F - M[s k])); F where the divisor is 0
struct SDodge {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        const L den = L(Dp::kFull - Dp::M(L(s * k)));
        const L q = std::min(Dp::kFull, Dp::Quot(L(d * Dp::kFull), std::max(den, L(1))));
        return den == 0 ? Dp::kFull : q;
    }
};

// f = F - min(F, (F - d) F / s'), s' = F - M[(F - s) k] the source weakened towards white; 0 where s' is 0
struct SBurn {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        const L den = L(Dp::kFull - Dp::M(L(L(Dp::kFull - s) * k)));
        const L q = std::min(Dp::kFull, Dp::Quot(L(L(Dp::kFull - d) * Dp::kFull), std::max(den, L(1))));
        return den == 0 ? L(0) : L(Dp::kFull - q);
    }
};

// f = M[M[(F - d) s + d (F - s)] k + d (F - k)]
struct SExclusion {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(Dp::M(L(L(L(Dp::kFull - d) * s) + L(d * L(Dp::kFull - s)))), d, k);
    }
};

// t = clamp(d + 2s - F, 0, F); f = M[t k + d (F - k)]
struct SLinearLight {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        const L sum = L(d + 2 * s);  // at most 3F
        const L t = std::min(Dp::kFull, L(sum - std::min(sum, Dp::kFull)));
        return Mix<Dp>(t, d, k);
    }
};

// t = F - min(F, (F - d) F / 2s) below half (0 at s = 0), min(F, d F / 2(F - s)) from half (F at s = F); f = M[t k + d (F - k)]
struct SVividLight {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        constexpr L kF = Dp::kFull;
        const L burnDen = L(2 * s), dodgeDen = L(2 * L(kF - s));
        const L burn = burnDen == 0 ? L(0) : L(kF - std::min(kF, Dp::Quot(L(L(kF - d) * kF), std::max(burnDen, L(1)))));
        const L dodge = dodgeDen == 0 ? kF : std::min(kF, Dp::Quot(L(d * kF), std::max(dodgeDen, L(1))));
        return Mix<Dp>(s < Dp::kHalf ? burn : dodge, d, k);
    }
};

// t = min(d, 2s) below half, max(d, 2s - F) from half; f = M[t k + d (F - k)]
struct SPinLight {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        const L twice = L(2 * s);
        const L lo = std::min(d, twice), hi = std::max(d, L(twice - std::min(twice, Dp::kFull)));
        return Mix<Dp>(s < Dp::kHalf ? lo : hi, d, k);
    }
};

// t = F where d + s >= F, else 0; f = M[t k + d (F - k)]
struct SHardMix {
    template <class Dp, class L = typename Dp::L>
    static QGDI_PX_INLINE L F(L d, L s, L k) noexcept {
        return Mix<Dp>(L(d + s) >= Dp::kFull ? Dp::kFull : L(0), d, k);
    }
};

// ---- Colour-space modes ------------------------------------------------------------
//
// The destination and the source are split into hue, chroma or saturation,
// and luma or lightness; the result takes each from one of them. The hue is
// kept as the colour's shape, (c - min) / (max - min) per channel, which is
// what a hexcone hue rebuilds: grey has hue 0, the shape of pure red. This
// gives the colour functions' results without trigonometry or branches.

enum EFrom : int { kFromDst = 0, kFromSrc = 1 };

struct SHSYModel {
    static constexpr bool kHSL = false;
};
struct SHSLModel {
    static constexpr bool kHSL = true;
};

// Hue from kHue, saturation (chroma in the luma model) from kSat, luma or lightness from kLum.
template <class Model, int kHue, int kSat, int kLum>
struct TColourSpaceMode {
    static constexpr bool kColourOnly = true;
    static constexpr bool kHSL = Model::kHSL;
    static constexpr int kHueFrom = kHue, kSatFrom = kSat, kLumFrom = kLum;
};

// B = hue of s, chroma and luma of d (luma model)
using SHue = TColourSpaceMode<SHSYModel, kFromSrc, kFromDst, kFromDst>;
// B = chroma of s, hue and luma of d
using SSaturation = TColourSpaceMode<SHSYModel, kFromDst, kFromSrc, kFromDst>;
// B = hue and chroma of s, luma of d
using SColour = TColourSpaceMode<SHSYModel, kFromSrc, kFromSrc, kFromDst>;
// B = luma of s, hue and chroma of d
using SLuminosity = TColourSpaceMode<SHSYModel, kFromDst, kFromDst, kFromSrc>;
// the same four in hue, saturation and lightness
using SHSLHue = TColourSpaceMode<SHSLModel, kFromSrc, kFromDst, kFromDst>;
using SHSLSaturation = TColourSpaceMode<SHSLModel, kFromDst, kFromSrc, kFromDst>;
using SHSLColour = TColourSpaceMode<SHSLModel, kFromSrc, kFromSrc, kFromDst>;
using SHSLLuminosity = TColourSpaceMode<SHSLModel, kFromDst, kFromDst, kFromSrc>;

// ---- Modes with a compositing rule of their own -------------------------------------

// channel = d + (s - d) a / A, A = a + da (1 - a): source-over by the coverage a = M[sa k]
struct SNormal {};
// the source where the dissolve table at (x mod 128, y mod 128) lies below a = M[sa k], opaque; else d
struct SDissolve {};
// channel = s + (d - s) da / A, A = da + a (1 - da): the source seen through the destination's transparency
struct SBehind {};

}  // namespace QGDI_TARGET_NS
}  // namespace qgdi::blend
