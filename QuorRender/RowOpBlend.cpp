// Kernels of the compositing operators: one loop over premultiplied colour,
// instantiated per operator and format, compiled for every target.
#include "QuorRender/RowOpBlend.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <type_traits>

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowOpPrepared.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/pixel/Pixel.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;

// Factors of Porter-Duff compositing: result = s Fa + d Fb.
enum class EFactor { kZero, kOne, kDstAlpha, kOneMinusDstAlpha, kSrcAlpha, kOneMinusSrcAlpha };

template <EFactor kA, EFactor kB, bool kClampSum = false>
struct TPorterDuff {
    static constexpr EFactor Fa = kA, Fb = kB;
    static constexpr bool kSaturate = kClampSum;
};

// 0
using SClear = TPorterDuff<EFactor::kZero, EFactor::kZero>;
// s
using SSource = TPorterDuff<EFactor::kOne, EFactor::kZero>;
// d
using SDestination = TPorterDuff<EFactor::kZero, EFactor::kOne>;
// s + d (1 - as)
using SOver = TPorterDuff<EFactor::kOne, EFactor::kOneMinusSrcAlpha>;
// s (1 - ad) + d
using SDestinationOver = TPorterDuff<EFactor::kOneMinusDstAlpha, EFactor::kOne>;
// s ad
using SIn = TPorterDuff<EFactor::kDstAlpha, EFactor::kZero>;
// d as
using SDestinationIn = TPorterDuff<EFactor::kZero, EFactor::kSrcAlpha>;
// s (1 - ad)
using SOut = TPorterDuff<EFactor::kOneMinusDstAlpha, EFactor::kZero>;
// d (1 - as)
using SDestinationOut = TPorterDuff<EFactor::kZero, EFactor::kOneMinusSrcAlpha>;
// s ad + d (1 - as)
using SAtop = TPorterDuff<EFactor::kDstAlpha, EFactor::kOneMinusSrcAlpha>;
// s (1 - ad) + d as
using SDestinationAtop = TPorterDuff<EFactor::kOneMinusDstAlpha, EFactor::kSrcAlpha>;
// s (1 - ad) + d (1 - as)
using SXor = TPorterDuff<EFactor::kOneMinusDstAlpha, EFactor::kOneMinusSrcAlpha>;
// min(1, s + d)
using SLighter = TPorterDuff<EFactor::kOne, EFactor::kOne, true>;

template <EFactor f>
QGDI_PX_INLINE uint32_t Factor(uint32_t sa, uint32_t da, uint32_t full) noexcept {
    if constexpr (f == EFactor::kZero) return 0;
    else if constexpr (f == EFactor::kOne) return full;
    else if constexpr (f == EFactor::kDstAlpha) return da;
    else if constexpr (f == EFactor::kOneMinusDstAlpha) return full - da;
    else if constexpr (f == EFactor::kSrcAlpha) return sa;
    else return full - sa;
}

// The formats with kernels: each meets a source of its own format.
// clang-format off
inline constexpr SQFormatPair kPairs[] = {
    {keFormatBGRA, keFormatBGRA},           {keFormatBGRxA, keFormatBGRxA},
    {keFormatBGRA_u16, keFormatBGRA_u16},   {keFormatBGRxA_u16, keFormatBGRxA_u16},
    {keFormatGrey, keFormatGrey},           {keFormatGreyA, keFormatGreyA},
    {keFormatGrey_u16, keFormatGrey_u16},   {keFormatGreyA_u16, keFormatGreyA_u16},
};
// clang-format on

// Pixels with alpha whose channels fill a 16-, 32- or 64-bit word move as
// one word and split by shifts: unit-stride access, which every target widens.
template <EQPixelFormat D>
using TWord =
    std::conditional_t<!TPx<D>::Traits::kAlpha, void,
                       std::conditional_t<TPx<D>::kBytes == 2, uint16_t,
                                          std::conditional_t<TPx<D>::kBytes == 4, uint32_t,
                                                             std::conditional_t<TPx<D>::kBytes == 8, uint64_t, void>>>>;

template <EQPixelFormat D>
QGDI_PX_INLINE typename TPx<D>::C LoadPixel(const uint8_t* p) noexcept {
    using P = TPx<D>;
    using W = TWord<D>;
    using V = typename P::W;
    if constexpr (std::is_void_v<W>) {
        return P::LoadRaw(reinterpret_cast<const typename P::E*>(p));
    } else {
        constexpr int kBits = 8 * sizeof(typename P::E);
        constexpr W kMask = W(P::kMax);
        W w;
        std::memcpy(&w, p, sizeof(W));
        auto at = [&](int offset) { return V((w >> (kBits * offset)) & kMask); };
        if constexpr (P::Traits::kGrey) return {at(0), at(0), at(0), at(1)};
        else return {at(0), at(1), at(2), at(3)};
    }
}

// Grey rows carry the same value in b, g and r, which the operators keep equal.
template <EQPixelFormat D>
QGDI_PX_INLINE void StorePixel(uint8_t* p, const typename TPx<D>::C& c) noexcept {
    using P = TPx<D>;
    using W = TWord<D>;
    if constexpr (std::is_void_v<W>) {
        if constexpr (P::Traits::kGrey) reinterpret_cast<typename P::E*>(p)[0] = typename P::E(c.b);
        else P::StoreRaw(reinterpret_cast<typename P::E*>(p), c);
    } else {
        constexpr int kBits = 8 * sizeof(typename P::E);
        W w;
        if constexpr (P::Traits::kGrey) w = W(W(c.b) | W(W(c.a) << kBits));
        else w = W(W(c.b) | W(W(c.g) << kBits) | W(W(c.r) << (2 * kBits)) | W(W(c.a) << (3 * kBits)));
        std::memcpy(p, &w, sizeof(W));
    }
}

template <class Op, EQPixelFormat D>
void CompositeSpan(uint8_t* dstRow, const uint8_t* srcRow, int n, uint32_t opacity) noexcept {
    using P = TPx<D>;
    using T = typename P::Traits;
    using E = typename P::E;
    constexpr uint32_t kF = uint32_t(P::kMax);
    constexpr bool k8 = sizeof(E) == 1;
    auto M = [](uint32_t p) { return k8 ? Div255(p) : Div65535(p); };
    for (int i = 0; i < n; ++i) {  // @vectorised
        uint8_t* d = dstRow + i * P::kBytes;
        typename P::C dc = LoadPixel<D>(d), sc = LoadPixel<D>(srcRow + i * P::kBytes);
        // premultiplied colour of both, the source weakened by the opacity
        if constexpr (T::kAlpha && !T::kPremultiplied) {
            P::Premultiply(dc);
            P::Premultiply(sc);
        }
        // 8-bit products and sums stay below 2^16: 16-bit lanes, twice as many per register
        using V = std::conditional_t<k8, uint16_t, uint32_t>;
        auto weaken = [&](auto v) { return V(k8 ? Div255u16(uint16_t(V(v) * V(opacity))) : M(uint32_t(v) * opacity)); };
        const V sa = weaken(sc.a), da = V(dc.a);
        const V fa = V(Factor<Op::Fa>(sa, da, kF)), fb = V(Factor<Op::Fb>(sa, da, kF));
        auto combine = [&](V sw, V dv) {
            V r;
            if constexpr (Op::kSaturate) r = V(std::min<uint32_t>(uint32_t(sw) + dv, kF));
            // at 8 bits one rounding of the sum; 16-bit products leave no room for a sum
            else if constexpr (k8) r = Div255u16(uint16_t(V(sw * fa) + V(dv * fb)));
            else r = V(M(sw * fa) + M(dv * fb));
            return std::min(r, V(kF));  // colour above its alpha can overflow
        };
        typename P::C out;
        out.b = typename P::W(combine(weaken(sc.b), V(dc.b)));
        out.g = typename P::W(combine(weaken(sc.g), V(dc.g)));
        out.r = typename P::W(combine(weaken(sc.r), V(dc.r)));
        out.a = typename P::W(combine(sa, da));
        if constexpr (T::kAlpha && !T::kPremultiplied) P::Unpremultiply(out);
        StorePixel<D>(d, out);
    }
}

template <class Op>
struct TBind {
    template <EQPixelFormat D, EQPixelFormat S>
    struct K {
        static void Run(const CRowOpDef& def, CRowOpData& data) {
            if (!data.pSrc) return;
            std::optional<rowop::SCompositePrepared> local;
            const uint32_t opacity = rowop::PreparedFor<rowop::SCompositePrepared, D, S>(def, data, local).opacity;
            rowop::ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
                CompositeSpan<Op, D>(dst, src, n, opacity);
            });
        }
    };
};

template <class Op>
const SRowOpDictEntry* DictOf() noexcept {
    return rowop::kDict<kPairs, TBind<Op>::template K>.data();
}

}  // namespace

const SRowOpDictEntry* CompositeOpDict(int op) noexcept {
    switch (op) {
    case keCompositeClear: return DictOf<SClear>();
    case keCompositeSource: return DictOf<SSource>();
    case keCompositeDestination: return DictOf<SDestination>();
    case keCompositeOver: return DictOf<SOver>();
    case keCompositeDestinationOver: return DictOf<SDestinationOver>();
    case keCompositeIn: return DictOf<SIn>();
    case keCompositeDestinationIn: return DictOf<SDestinationIn>();
    case keCompositeOut: return DictOf<SOut>();
    case keCompositeDestinationOut: return DictOf<SDestinationOut>();
    case keCompositeAtop: return DictOf<SAtop>();
    case keCompositeDestinationAtop: return DictOf<SDestinationAtop>();
    case keCompositeXor: return DictOf<SXor>();
    case keCompositeLighter: return DictOf<SLighter>();
    default: return nullptr;
    }
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DECLARE_PER_TARGET(const SRowOpDictEntry* CompositeOpDict(int op) noexcept)

namespace {
constexpr const char* kOpNames[keCompositeOpCount] = {
    "clear",          "copy",       "destination",     "source-over", "destination-over", "source-in",
    "destination-in", "source-out", "destination-out", "source-atop", "destination-atop", "xor",
    "lighter"};
}  // namespace

const char* QGDI_GetCompositeOpName(int op) noexcept {
    return op >= 0 && op < keCompositeOpCount ? kOpNames[op] : nullptr;
}

bool QGDI_FindCompositeOp(const char* name, EQCompositeOp& op) noexcept {
    if (!name) return false;
    for (int i = 0; i < keCompositeOpCount; ++i)
        if (std::string_view(name) == kOpNames[i]) {
            op = EQCompositeOp(i);
            return true;
        }
    return false;
}

const SRowOpDictEntry* RoeLookUpBlendDictionary(EQCompositeOp op) noexcept {
    return QGDI_DISPATCH(CompositeOpDict)(op);
}

const SRowOpDictEntry* GetRowBlendDict() noexcept { return RoeLookUpBlendDictionary(keCompositeOver); }

QRowOpFn CRowOpDefRowBlend::Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const {
    const SRowOpDictEntry* dict = RoeLookUpBlendDictionary(m_eOp);
    return dict ? RoeLookUpEntry(dict, dst, src, request, report) : &QGDI_RowOpNOP;
}

std::shared_ptr<const CRowOpPrepared> CRowOpDefRowBlend::Prepare(EQPixelFormat dst, EQPixelFormat src) const {
    return qgdi::rowop::MakePrepared<qgdi::rowop::SCompositePrepared>(*this, dst, src);
}

qgdi::rowop::SCompositePrepared::SCompositePrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src)
    : CRowOpPrepared(def, dst, src) {
    const uint32_t o = static_cast<const CRowOpDefRowBlend&>(def).GetOpacity();
    opacity = CQPixelFormat(dst).Is16bit() ? o * 257 : o;
    opacityF = float(o) / 255.0f;
}

qgdi::rowop::SCompositePrepared::~SCompositePrepared() = default;
#endif  // QGDI_BASELINE_PASS
