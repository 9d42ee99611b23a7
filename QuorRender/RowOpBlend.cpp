// Kernels of the compositing operators: one loop over premultiplied colour,
// instantiated per operator and format, compiled for every target.
#include "QuorRender/RowOpBlend.h"

#include <algorithm>
#include <optional>
#include <string_view>

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

template <class Op, EQPixelFormat D>
void CompositeSpan(uint8_t* dstRow, const uint8_t* srcRow, int n, uint32_t opacity) noexcept {
    using P = TPx<D>;
    using T = typename P::Traits;
    using E = typename P::E;
    constexpr uint32_t kF = uint32_t(P::kMax);
    constexpr bool k8 = sizeof(E) == 1;
    auto* d = reinterpret_cast<E*>(dstRow);
    const auto* s = reinterpret_cast<const E*>(srcRow);
    auto M = [](uint32_t p) { return k8 ? Div255(p) : Div65535(p); };
    for (int i = 0; i < n; ++i, d += P::kN, s += P::kN) {  // @vectorised
        typename P::C dc = P::LoadRaw(d), sc = P::LoadRaw(s);
        // premultiplied colour of both, the source weakened by the opacity
        if constexpr (T::kAlpha && !T::kPremultiplied) {
            P::Premultiply(dc);
            P::Premultiply(sc);
        }
        const uint32_t sa = M(uint32_t(sc.a) * opacity), da = uint32_t(dc.a);
        const uint32_t fa = Factor<Op::Fa>(sa, da, kF), fb = Factor<Op::Fb>(sa, da, kF);
        auto combine = [&](uint32_t sw, uint32_t dv) {
            uint32_t r;
            if constexpr (Op::kSaturate) r = sw + dv;
            // at 8 bits one rounding of the sum; 16-bit products leave no room for a sum
            else if constexpr (k8) r = M(sw * fa + dv * fb);
            else r = M(sw * fa) + M(dv * fb);
            return std::min(r, kF);  // colour above its alpha can overflow
        };
        typename P::C out;
        out.b = typename P::W(combine(M(uint32_t(sc.b) * opacity), uint32_t(dc.b)));
        out.g = typename P::W(combine(M(uint32_t(sc.g) * opacity), uint32_t(dc.g)));
        out.r = typename P::W(combine(M(uint32_t(sc.r) * opacity), uint32_t(dc.r)));
        out.a = typename P::W(combine(sa, da));
        if constexpr (T::kAlpha && !T::kPremultiplied) P::Unpremultiply(out);
        P::StoreRaw(d, out);
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
    "clear",   "copy",         "destination",     "source-over", "destination-over", "source-in", "destination-in",
    "source-out", "destination-out", "source-atop", "destination-atop", "xor", "lighter"};
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
