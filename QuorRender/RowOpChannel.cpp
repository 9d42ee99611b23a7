#include "QuorRender/RowOpChannel.h"

#include <cmath>
#include <optional>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowOpPrepared.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kChannelGetPairs[] = {
    {keFormatGrey, keFormatBGRA},          {keFormatGrey, keFormatBGR},          {keFormatGrey, keFormatGreyA},
    {keFormatGrey, keFormatBGRxA},         {keFormatGrey_u16, keFormatBGRA_u16}, {keFormatGrey_u16, keFormatBGR_u16},
    {keFormatGrey_u16, keFormatGreyA_u16}, {keFormatGrey_f32, keFormatBGRA_f32}, {keFormatGrey_f32, keFormatBGR_f32},
    {keFormatGrey_f32, keFormatGreyA_f32},
};
static_assert(std::size(kChannelGetPairs) == 10);

inline constexpr SQFormatPair kChannelSetPairs[] = {
    {keFormatBGRA, keFormatGrey},          {keFormatBGR, keFormatGrey},          {keFormatGreyA, keFormatGrey},
    {keFormatBGRxA, keFormatGrey},         {keFormatBGRA_u16, keFormatGrey_u16}, {keFormatBGR_u16, keFormatGrey_u16},
    {keFormatGreyA_u16, keFormatGrey_u16}, {keFormatBGRA_f32, keFormatGrey_f32}, {keFormatBGR_f32, keFormatGrey_f32},
    {keFormatGreyA_f32, keFormatGrey_f32},
};
static_assert(std::size(kChannelSetPairs) == 10);

inline constexpr SQFormatPair kChannelConstantPairs[] = {
    {keFormatBGRA, keFormatNone}, {keFormatBGR, keFormatNone},      {keFormatGreyA, keFormatNone},
    {keFormatGrey, keFormatNone}, {keFormatBGRA_u16, keFormatNone}, {keFormatBGRA_f32, keFormatNone},
};
static_assert(std::size(kChannelConstantPairs) == 6);

inline constexpr SQFormatPair kChannelLinearPairs[] = {
    {keFormatBGRA, keFormatNone},
    {keFormatBGRA_u16, keFormatNone},
};
static_assert(std::size(kChannelLinearPairs) == 2);

// Channel `Ch` of a straight colour; grey of a colour is its luminance.
template <EQChannel Ch, bool kGreySource, class W>
inline W Pick(const TColour<W>& c) noexcept {
    if constexpr (Ch == keChannelBlue) return c.b;
    else if constexpr (Ch == keChannelGreen) return c.g;
    else if constexpr (Ch == keChannelRed) return c.r;
    else if constexpr (Ch == keChannelAlpha) return c.a;
    else if constexpr (kGreySource) return c.r;
    else return Luma(c.r, c.g, c.b);
}

template <EQPixelFormat D, EQPixelFormat S, EQChannel Ch>
void GetChannelSpan(uint8_t* dst, const uint8_t* src, int n) noexcept {
    using PS = TPx<S>;
    using ED = typename TQPixelFormat<D>::Elem;
    auto* d = reinterpret_cast<ED*>(dst);
    const auto* s = reinterpret_cast<const typename PS::E*>(src);
    // d = s[channel]
    for (int i = 0; i < n; ++i, s += PS::kN) d[i] = static_cast<ED>(Pick<Ch, PS::Traits::kGrey>(PS::Load(s)));
}

template <EQPixelFormat D, EQPixelFormat S>
struct TChannelGet {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        void (*span)(uint8_t*, const uint8_t*, int) = nullptr;
        switch (static_cast<const CRowOpDefChannelGet&>(def).GetChannel()) {
        case keChannelBlue: span = GetChannelSpan<D, S, keChannelBlue>; break;
        case keChannelGreen: span = GetChannelSpan<D, S, keChannelGreen>; break;
        case keChannelRed: span = GetChannelSpan<D, S, keChannelRed>; break;
        case keChannelAlpha: span = GetChannelSpan<D, S, keChannelAlpha>; break;
        case keChannelGrey: span = GetChannelSpan<D, S, keChannelGrey>; break;
        default: return;
        }
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) { span(dst, src, n); });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TChannelSet {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        if (!data.pSrc) return;
        using PD = TPx<D>;
        using ES = typename TQPixelFormat<S>::Elem;
        const EQChannel ch = static_cast<const CRowOpDefChannelSet&>(def).GetChannel();
        const bool spread = ch == keChannelGrey && !PD::Traits::kGrey;
        const int offset = ch >= 0 && ch < keChannelSixth ? PD::Traits::Offset(ch) : -1;
        if (offset < 0 && !spread) return;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            auto* d = reinterpret_cast<typename PD::E*>(dst);
            const ES* s = reinterpret_cast<const ES*>(src);
            if constexpr (PD::Traits::kPremultiplied) {
                // on the straight colour, so that the other channels keep their values
                for (int i = 0; i < n; ++i, d += PD::kN) {
                    typename PD::C c = PD::Load(d);
                    const typename PD::W v = s[i];
                    if (spread) c.b = c.g = c.r = v;
                    else if (ch == keChannelAlpha) c.a = v;
                    else if (ch == keChannelBlue) c.b = v;
                    else if (ch == keChannelGreen) c.g = v;
                    else c.r = v;
                    PD::Store(d, c);
                }
            } else if (spread) {
                // d.b = d.g = d.r = s
                for (int i = 0; i < n; ++i, d += PD::kN)
                    d[PD::Traits::kBlue] = d[PD::Traits::kGreen] = d[PD::Traits::kRed] = s[i];
            } else {
                // d[channel] = s
                for (int i = 0; i < n; ++i) d[i * PD::kN + offset] = s[i];
            }
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TChannelConstant {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using E = typename TQPixelFormat<D>::Elem;
        constexpr int kN = TQPixelFormat<D>::kChannels;
        std::optional<qgdi::rowop::SChannelConstantPrepared> local;
        const auto& prep = qgdi::rowop::PreparedFor<qgdi::rowop::SChannelConstantPrepared, D, S>(def, data, local);
        const bool* member = prep.member;
        const E value = kIsFloat<E> ? E(prep.valueF) : E(prep.value);
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) {
            E* d = reinterpret_cast<E*>(dst);
            // d[c] = k for the channels in the set
            for (int i = 0; i < n; ++i)
                for (int c = 0; c < kN; ++c)
                    if (member[c]) d[i * kN + c] = value;
        });
    }
};

template <EQPixelFormat D, EQPixelFormat S>
struct TChannelLinear {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        using E = typename TQPixelFormat<D>::Elem;
        constexpr int kN = TQPixelFormat<D>::kChannels;
        std::optional<qgdi::rowop::SChannelLinearPrepared> local;
        const auto& prep = qgdi::rowop::PreparedFor<qgdi::rowop::SChannelLinearPrepared, D, S>(def, data, local);
        const bool* member = prep.member;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int, int n) {
            E* d = reinterpret_cast<E*>(dst);
            if constexpr (sizeof(E) == 1) {
                // 20.12 fixed point: |K d| and |O| stay below 2^26, their sum inside int32
                const int32_t k = prep.k, o = prep.o;
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < kN; ++c)
                        if (member[c]) d[i * kN + c] = Saturate<E>((k * d[i * kN + c] + o) >> 12);
            } else {
                // d = scale d + offset, in float for the wider channels
                const float k = prep.kF, o = prep.oF;
                for (int i = 0; i < n; ++i)
                    for (int c = 0; c < kN; ++c)
                        if (member[c]) d[i * kN + c] = Saturate<E>(static_cast<TWork<E>>(k * d[i * kN + c] + o));
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetChannelGetDict() noexcept { return qgdi::rowop::kDict<kChannelGetPairs, TChannelGet>.data(); }
const SRowOpDictEntry* GetChannelSetDict() noexcept { return qgdi::rowop::kDict<kChannelSetPairs, TChannelSet>.data(); }
const SRowOpDictEntry* GetChannelConstantDict() noexcept {
    return qgdi::rowop::kDict<kChannelConstantPairs, TChannelConstant>.data();
}
const SRowOpDictEntry* GetChannelLinearDict() noexcept {
    return qgdi::rowop::kDict<kChannelLinearPairs, TChannelLinear>.data();
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DISPATCHED_DICT(GetChannelGetDict)
QGDI_DISPATCHED_DICT(GetChannelSetDict)
QGDI_DISPATCHED_DICT(GetChannelConstantDict)
QGDI_DISPATCHED_DICT(GetChannelLinearDict)
#endif  // QGDI_BASELINE_PASS
