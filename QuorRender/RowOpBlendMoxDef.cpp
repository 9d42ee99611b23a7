// The blend-mode definition: its settings, how it chooses a kernel, and what
// it prepares for the kernels when bound.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>

#include "QuorRender/DivTable2.h"
#include "QuorRender/RowOpBlendMox.h"
#include "QuorRender/RowOpCopy.h"
#include "QuorRender/internal/BlendModes.h"
#include "QuorRender/internal/BlendMoxDicts.h"
#include "QuorRender/internal/RowOpPrepared.h"
#include "qdibcore/Source/PixelFormatTraits.h"

static_assert(offsetof(SBlendRanges, bSkipSrcGrey) == 4 && offsetof(SBlendRanges, bSkipDstGrey) == 9 &&
                  offsetof(SBlendRanges, srcGrey) == 14 && offsetof(SBlendRanges, dstBlue) == 14 + 8 * 256,
              "blend ranges are exchanged with hosts in this layout");

namespace {

using qgdi::blend::TDepth;

struct SModeInfo {
    EQBlendMoxMode mode;
    const char* name;
    QBlendChannelFn channel;  // separable modes only
};

template <class Mode>
uint8_t ChannelFn(uint32_t d, uint32_t s, uint32_t k) {
    using L = TDepth<uint8_t>::L;
    return static_cast<uint8_t>(Mode::template F<TDepth<uint8_t>>(L(d & 255), L(s & 255), L(k & 255)));
}

// In the order of a mode menu: normal group, darkening, lightening, contrast, comparison, colour.
// clang-format off
constexpr SModeInfo kModes[] = {
    {keBlendMoxNormal,        "normal",         nullptr},
    {keBlendMoxDissolve,      "dissolve",       nullptr},
    {keBlendMoxBehind,        "behind",         nullptr},
    {keBlendMoxDarken,        "darken",         &ChannelFn<qgdi::blend::SDarken>},
    {keBlendMoxMultiply,      "multiply",       &ChannelFn<qgdi::blend::SMultiply>},
    {keBlendMoxBurn,          "burn",           &ChannelFn<qgdi::blend::SBurn>},
    {keBlendMoxLighten,       "lighten",        &ChannelFn<qgdi::blend::SLighten>},
    {keBlendMoxScreen,        "screen",         &ChannelFn<qgdi::blend::SScreen>},
    {keBlendMoxDodge,         "dodge",          &ChannelFn<qgdi::blend::SDodge>},
    {keBlendMoxOverlay,       "overlay",        &ChannelFn<qgdi::blend::SOverlay>},
    {keBlendMoxSoftLight,     "soft-light",     &ChannelFn<qgdi::blend::SSoftLight>},
    {keBlendMoxHardLight,     "hard-light",     &ChannelFn<qgdi::blend::SHardLight>},
    {keBlendMoxVividLight,    "vivid-light",    &ChannelFn<qgdi::blend::SVividLight>},
    {keBlendMoxLinearLight,   "linear-light",   &ChannelFn<qgdi::blend::SLinearLight>},
    {keBlendMoxPinLight,      "pin-light",      &ChannelFn<qgdi::blend::SPinLight>},
    {keBlendMoxHardMix,       "hard-mix",       &ChannelFn<qgdi::blend::SHardMix>},
    {keBlendMoxDifference,    "difference",     &ChannelFn<qgdi::blend::SDifference>},
    {keBlendMoxExclusion,     "exclusion",      &ChannelFn<qgdi::blend::SExclusion>},
    {keBlendMoxHue,           "hue",            nullptr},
    {keBlendMoxSaturation,    "saturation",     nullptr},
    {keBlendMoxColor,         "color",          nullptr},
    {keBlendMoxLuminosity,    "luminosity",     nullptr},
    {keBlendMoxHSLHue,        "hsl-hue",        nullptr},
    {keBlendMoxHSLSaturation, "hsl-saturation", nullptr},
    {keBlendMoxHSLColor,      "hsl-color",      nullptr},
    {keBlendMoxHSLLuminosity, "hsl-luminosity", nullptr},
};
// clang-format on

constexpr auto kModeList = [] {
    std::array<EQBlendMoxMode, std::size(kModes)> list{};
    for (size_t i = 0; i < list.size(); ++i) list[i] = kModes[i].mode;
    return list;
}();

const SModeInfo* InfoOf(int mode) noexcept {
    for (const SModeInfo& m : kModes)
        if (m.mode == mode) return &m;
    return nullptr;
}

bool IsSpecial(int mode) noexcept {
    return mode == keBlendMoxLinearLight || mode == keBlendMoxVividLight || mode == keBlendMoxPinLight ||
           mode == keBlendMoxHardMix || mode == keBlendMoxBehind;
}

bool IsColourOnly(int mode) noexcept { return (mode >= 3 && mode <= 6) || (mode >= 17 && mode <= 20); }

// 1 colour, 2 grey, at 8 bits; 3 and 4 at 16 bits; 0 for formats without kernels.
int ClassOf(EQPixelFormat f) noexcept {
    switch (f) {
    case keFormatBGR:
    case keFormatBGRA: return 1;
    case keFormatGrey:
    case keFormatGreyA: return 2;
    case keFormatBGR_u16:
    case keFormatBGRA_u16: return 3;
    case keFormatGrey_u16:
    case keFormatGreyA_u16: return 4;
    default: return 0;
    }
}

// The kernel of a mode that has one, under the rules every mode shares: no
// kernel for a request of processor-specific kernels only, without the mask
// table, or across classes.
QRowOpFn LookUpMode(int mode, EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) {
    if (request == keCPURequestSpecific || !GetMask64KLUT()) return &QGDI_RowOpNOP;
    const int cls = ClassOf(dst);
    if (cls == 0 || cls != ClassOf(src)) return &QGDI_RowOpNOP;
    if (IsColourOnly(mode) && (cls == 2 || cls == 4)) return &QGDI_RowOpNOP;
    const SRowOpDictEntry* dict = qgdi::rowop::BlendMoxDictionary(mode);
    return dict ? RoeLookUpEntry(dict, dst, src, request, report) : &QGDI_RowOpNOP;
}

}  // namespace

const char* QGDI_GetBlendMoxModeName(int mode) noexcept {
    const SModeInfo* m = InfoOf(mode);
    return m ? m->name : nullptr;
}

bool QGDI_FindBlendMoxMode(const char* name, EQBlendMoxMode& mode) noexcept {
    if (!name) return false;
    for (const SModeInfo& m : kModes)
        if (std::string_view(name) == m.name) {
            mode = m.mode;
            return true;
        }
    return false;
}

const EQBlendMoxMode* QGDI_GetBlendMoxModes(int& count) noexcept {
    count = static_cast<int>(kModeList.size());
    return kModeList.data();
}

QBlendChannelFn QGDI_GetBlendChannelFunction(int mode) noexcept {
    const SModeInfo* m = InfoOf(mode);
    return m ? m->channel : nullptr;
}

const SRowOpDictEntry* GetRowBlendMoxDict() noexcept { return qgdi::rowop::BlendMoxDictionary(keBlendMoxNormal); }

// ---- The definition ------------------------------------------------------------------

CRowOpDefRowBlendMox::CRowOpDefRowBlendMox() noexcept : CRowOpDefRowBlendMox(keRoRowBlendMox, keBlendMoxNormal) {}

CRowOpDefRowBlendMox::CRowOpDefRowBlendMox(EQBlendMoxMode mode, uint32_t opacity) noexcept
    : CRowOpDefRowBlendMox(keRoRowBlendMox, mode) {
    SetOpacity(opacity);
}

CRowOpDefRowBlendMox::CRowOpDefRowBlendMox(EQRowOpType kind, EQBlendMoxMode mode) noexcept
    : CRowOpDef(kind, false),
      m_eMode(mode),
      m_nOpacity(255),
      m_pBlendRanges(nullptr),
      m_bPreserveDstAlpha(0),
      m_pfnChannel(QGDI_GetBlendChannelFunction(mode)) {}

CRowOpDefRowBlendMox::CRowOpDefRowBlendMox(const CRowOpDefRowBlendMox& other)
    : CRowOpDef(other),
      m_eMode(other.m_eMode),
      m_nOpacity(other.m_nOpacity),
      m_pBlendRanges(other.m_pBlendRanges ? new SBlendRanges(*other.m_pBlendRanges) : nullptr),
      m_bPreserveDstAlpha(other.m_bPreserveDstAlpha),
      m_pfnChannel(other.m_pfnChannel) {}

CRowOpDefRowBlendMox& CRowOpDefRowBlendMox::operator=(const CRowOpDefRowBlendMox& other) {
    if (this == &other) return *this;
    SetBlendRanges(other.m_pBlendRanges);  // may throw before anything changed
    CRowOpDef::operator=(other);
    m_eMode = other.m_eMode;
    m_nOpacity = other.m_nOpacity;
    m_bPreserveDstAlpha = other.m_bPreserveDstAlpha;
    m_pfnChannel = other.m_pfnChannel;
    return *this;
}

CRowOpDefRowBlendMox::~CRowOpDefRowBlendMox() { delete m_pBlendRanges; }

void CRowOpDefRowBlendMox::Clear() noexcept {
    SetMode(keBlendMoxNormal);
    m_nOpacity = 255;
    delete m_pBlendRanges;
    m_pBlendRanges = nullptr;
    m_bPreserveDstAlpha = 0;
}

CRowOpDef* CRowOpDefRowBlendMox::Copy() const { return new CRowOpDefRowBlendMox(*this); }

void CRowOpDefRowBlendMox::SetMode(EQBlendMoxMode mode) noexcept {
    m_eMode = mode;
    m_pfnChannel = QGDI_GetBlendChannelFunction(mode);
}

void CRowOpDefRowBlendMox::SetBlendRanges(const SBlendRanges* ranges) {
    SBlendRanges* copy = ranges ? new SBlendRanges(*ranges) : nullptr;
    delete m_pBlendRanges;
    m_pBlendRanges = copy;
}

bool CRowOpDefRowBlendMox::Attach(CRowOp& op, const CRowOpData& data, EQCPURequest request, bool report) const {
    QRowOpFn fn;
    if (IsSpecial(m_eMode)) {
        fn = LookUpMode(m_eMode, data.eDstFormat, data.eSrcFormat, request, report);
    } else {
        if (QBlendChannelFn channel = QGDI_GetBlendChannelFunction(m_eMode); channel != m_pfnChannel)
            m_pfnChannel = channel;
        fn = Find(data.eDstFormat, data.eSrcFormat, request, report);
    }
    op.SetKernel(this, fn ? fn : &QGDI_RowOpNOP);
    return true;
}

void CRowOpDefRowBlendMox::Detach(CRowOp& op) const { op.SetKernel(nullptr, nullptr); }

QRowOpFn CRowOpDefRowBlendMox::Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const {
    // An opaque source laid on at full strength is a copy. Opacity and blend
    // ranges weaken it and a preserved alpha must not be written, so only
    // without them.
    if (m_eMode == keBlendMoxNormal && !CQPixelFormat(src).IsAlphaChannelPresent() && src != keFormatNone &&
        m_nOpacity >= 255 && !HasActiveBlendRanges() && !m_bPreserveDstAlpha) {
        if (QRowOpFn copy = RoeLookUpEntry(GetRowCopyDict(), dst, src, request, false); copy != &QGDI_RowOpNOP)
            return copy;
    }
    if (m_eMode < 0 || m_eMode > 20) return &QGDI_RowOpNOP;
    return LookUpMode(m_eMode, dst, src, request, report);
}

QRowOpFn CRowOpDefRowBlendMox::FindForBinding(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request,
                                              bool report) const {
    return IsSpecial(m_eMode) ? LookUpMode(m_eMode, dst, src, request, report) : Find(dst, src, request, report);
}

std::shared_ptr<const CRowOpPrepared> CRowOpDefRowBlendMox::Prepare(EQPixelFormat dst, EQPixelFormat src) const {
    // The copy that stands in for an opaque normal source needs nothing.
    if (ClassOf(dst) == 0) return nullptr;
    return qgdi::rowop::MakePrepared<qgdi::rowop::SBlendMoxPrepared>(*this, dst, src);
}

qgdi::rowop::SBlendMoxPrepared::SBlendMoxPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src)
    : CRowOpPrepared(def, dst, src) {
    const auto& op = static_cast<const CRowOpDefRowBlendMox&>(def);
    opacity8 = std::min<uint32_t>(op.GetOpacity(), 255);
    coverage = CQPixelFormat(dst).Is16bit() ? opacity8 * 257 : opacity8;
    preserveAlpha = op.GetPreserveDstAlpha();
    ranges = op.HasActiveBlendRanges();
    skipSrcGrey = skipDstGrey = 0;
    std::memset(rangeBytes, 0, sizeof rangeBytes);
    std::fill_n(rangeFull, 9, false);
    if (ranges) {
        const SBlendRanges& r = *op.GetBlendRanges();
        skipSrcGrey = r.bSkipSrcGrey ? 1 : 0;
        skipDstGrey = r.bSkipDstGrey ? 1 : 0;
        const uint8_t* tables[9] = {r.srcGrey, r.srcRed, r.srcGreen, r.srcBlue, r.unused,
                                    r.dstGrey, r.dstRed, r.dstGreen, r.dstBlue};
        for (int t = 0; t < 9; ++t) {
            std::memcpy(rangeBytes[t], tables[t], 256);
            rangeFull[t] = std::all_of(tables[t], tables[t] + 256, [](uint8_t v) { return v == 255; });
        }
    }
}

qgdi::rowop::SBlendMoxPrepared::~SBlendMoxPrepared() = default;
