// Kernels of the blend modes: one compositing loop (internal/BlendCompositor.h)
// instantiated per mode and format pair, compiled for every target.
#include "QuorRender/RowOpBlendMox.h"

#include "QuorRender/internal/BlendCompositor.h"
#include "QuorRender/internal/BlendMoxDicts.h"
#include "QuorRender/internal/RowOpDict.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::blend;

// Both sides of one class and one depth: colour (BGR, BGRA) or grey (Grey, GreyA).
// clang-format off
inline constexpr SQFormatPair kAllPairs[] = {
    {keFormatBGR, keFormatBGR},             {keFormatBGR, keFormatBGRA},
    {keFormatBGRA, keFormatBGR},            {keFormatBGRA, keFormatBGRA},
    {keFormatGrey, keFormatGrey},           {keFormatGrey, keFormatGreyA},
    {keFormatGreyA, keFormatGrey},          {keFormatGreyA, keFormatGreyA},
    {keFormatBGR_u16, keFormatBGR_u16},     {keFormatBGR_u16, keFormatBGRA_u16},
    {keFormatBGRA_u16, keFormatBGR_u16},    {keFormatBGRA_u16, keFormatBGRA_u16},
    {keFormatGrey_u16, keFormatGrey_u16},   {keFormatGrey_u16, keFormatGreyA_u16},
    {keFormatGreyA_u16, keFormatGrey_u16},  {keFormatGreyA_u16, keFormatGreyA_u16},
};
inline constexpr SQFormatPair kColourPairs[] = {
    {keFormatBGR, keFormatBGR},             {keFormatBGR, keFormatBGRA},
    {keFormatBGRA, keFormatBGR},            {keFormatBGRA, keFormatBGRA},
    {keFormatBGR_u16, keFormatBGR_u16},     {keFormatBGR_u16, keFormatBGRA_u16},
    {keFormatBGRA_u16, keFormatBGR_u16},    {keFormatBGRA_u16, keFormatBGRA_u16},
};
// clang-format on
static_assert(std::size(kAllPairs) == rowop::kBlendMoxPairs && std::size(kColourPairs) == rowop::kBlendMoxPairs / 2);

template <class Mode>
struct TBind {
    template <EQPixelFormat D, EQPixelFormat S>
    using K = TBlendMoxKernel<Mode, D, S>;
};

template <class Mode>
const SRowOpDictEntry* DictOf() noexcept {
    if constexpr (requires { Mode::kColourOnly; }) return rowop::kDict<kColourPairs, TBind<Mode>::template K>.data();
    else return rowop::kDict<kAllPairs, TBind<Mode>::template K>.data();
}

}  // namespace

const SRowOpDictEntry* BlendMoxModeDict(int mode) noexcept {
    switch (mode) {
    case keBlendMoxNormal: return DictOf<SNormal>();
    case keBlendMoxDarken: return DictOf<SDarken>();
    case keBlendMoxLighten: return DictOf<SLighten>();
    case keBlendMoxHue: return DictOf<SHue>();
    case keBlendMoxSaturation: return DictOf<SSaturation>();
    case keBlendMoxColor: return DictOf<SColour>();
    case keBlendMoxLuminosity: return DictOf<SLuminosity>();
    case keBlendMoxMultiply: return DictOf<SMultiply>();
    case keBlendMoxScreen: return DictOf<SScreen>();
    case keBlendMoxDissolve: return DictOf<SDissolve>();
    case keBlendMoxOverlay: return DictOf<SOverlay>();
    case keBlendMoxHardLight: return DictOf<SHardLight>();
    case keBlendMoxSoftLight: return DictOf<SSoftLight>();
    case keBlendMoxDifference: return DictOf<SDifference>();
    case keBlendMoxDodge: return DictOf<SDodge>();
    case keBlendMoxBurn: return DictOf<SBurn>();
    case keBlendMoxExclusion: return DictOf<SExclusion>();
    case keBlendMoxHSLHue: return DictOf<SHSLHue>();
    case keBlendMoxHSLSaturation: return DictOf<SHSLSaturation>();
    case keBlendMoxHSLColor: return DictOf<SHSLColour>();
    case keBlendMoxHSLLuminosity: return DictOf<SHSLLuminosity>();
    case keBlendMoxLinearLight: return DictOf<SLinearLight>();
    case keBlendMoxVividLight: return DictOf<SVividLight>();
    case keBlendMoxPinLight: return DictOf<SPinLight>();
    case keBlendMoxHardMix: return DictOf<SHardMix>();
    case keBlendMoxBehind: return DictOf<SBehind>();
    default: return nullptr;
    }
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DECLARE_PER_TARGET(const SRowOpDictEntry* BlendMoxModeDict(int mode) noexcept)

const SRowOpDictEntry* qgdi::rowop::BlendMoxDictionary(int mode) noexcept {
    return QGDI_DISPATCH(BlendMoxModeDict)(mode);
}
#endif  // QGDI_BASELINE_PASS
