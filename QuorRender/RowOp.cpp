#include "QuorRender/RowOp.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "QuorRender/RowOpCopy.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowOpScratch.h"
#include "diagnostics/QgdiLog.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/internal/pixel/IndexedPixels.h"

namespace {

// Diagnostic names indexed by kind value; the gaps stay null and print as "Unknown".
#define QGDI_ROWOP_KIND_NAME(value, Name, ...) {value, "keRo" #Name},
constexpr std::pair<int, const char*> kNamedKinds[] = {
    QGDI_ROWOP_KIND_LIST(QGDI_ROWOP_KIND_NAME, QGDI_ROWOP_KIND_NAME, QGDI_ROWOP_KIND_SKIP)};
#undef QGDI_ROWOP_KIND_NAME

constexpr int kLastKind = [] {
    int last = 0;
    for (const auto& named : kNamedKinds) last = named.first > last ? named.first : last;
    return last;
}();

constexpr auto kTypeNames = [] {
    std::array<const char*, kLastKind + 1> names{};
    for (const auto& [value, name] : kNamedKinds) {
        if (value < 0 || names[value]) throw "a kind value is negative or listed twice";
        names[value] = name;
    }
    return names;
}();

std::atomic<int> g_processorMode{keProcessorModeOff};
// -1 until the first detection; detection finds no processor-specific kernels to use.
std::atomic<int> g_detected{-1};

const wchar_t* FormatName(EQPixelFormat f) { return CQPixelFormat(f).GetFormatAsString(); }

// A converter from `src` to `dst`: the plain copies first, then the indexed
// ones, so that palette images can pass through an intermediate format too.
QRowOpFn FindConverter(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request) {
    QRowOpFn fn = RoeLookUpEntry(GetRowCopyDict(), dst, src, request, false);
    if (fn == &QGDI_RowOpNOP) fn = RoeLookUpEntry(GetRowCopyIndexedDict(), dst, src, request, false);
    return fn;
}

bool IsSubByte(EQPixelFormat f) noexcept { return f == keFormatIndex1 || f == keFormatIndex4; }

EQPixelFormat Widen(EQPixelFormat f) noexcept { return IsSubByte(f) ? keFormatIndex8 : f; }

void PackRow(EQPixelFormat f, uint8_t* dst, const uint8_t* indices, int n) noexcept {
    if (f == keFormatIndex1) qgdi::px::PackIndices<keFormatIndex1>(dst, indices, n);
    else qgdi::px::PackIndices<keFormatIndex4>(dst, indices, n);
}

inline constexpr SQFormatPair kNOPPairs[] = {
    {keFormatIndex8, keFormatNone},   {keFormatGrey, keFormatNone},     {keFormatGreyA, keFormatNone},
    {keFormatBGR, keFormatNone},      {keFormatBGRA, keFormatNone},     {keFormatBGRxA, keFormatNone},
    {keFormatBGRA_u16, keFormatNone}, {keFormatBGRA_f32, keFormatNone},
};
static_assert(std::size(kNOPPairs) == 8);

// Every entry is the no-op kernel itself, so that IsNOP knows a bound NOP.
constexpr auto kNOPDict = [] {
    std::array<SRowOpDictEntry, std::size(kNOPPairs) + 1> dict{};
    for (size_t i = 0; i < std::size(kNOPPairs); ++i)
        dict[i] = {kNOPPairs[i].dst, kNOPPairs[i].src, keRoVariantPlain, &QGDI_RowOpNOP};
    dict.back() = {keFormatNone, keFormatNone, keRoVariantPlain, nullptr};
    return dict;
}();

// The box a developer would see, as one log line: its title, then its lines
// separated by tabs like every other field of the log.
void ReportMissing(const CRowOpDef& def, const CRowOpData& data) {
    std::string text = QGDI_MissingRowOpText(def.GetType(), data.eDstFormat, data.eSrcFormat);
    for (char& c : text)
        if (c == '\n') c = '\t';
    QGDI_Log(keLogWarning, "Missing Row Operation\t%s", text.c_str());
}

// Bytes of the first `pixels` pixels of a row of format f (a multiple of 8
// pixels for the packed formats).
size_t SpanBytes(EQPixelFormat f, int pixels) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(f);
    return t ? static_cast<size_t>(pixels) * static_cast<size_t>(t->bitsPerPixel) / 8 : 0;
}

// Eight bytes hold one pixel of every intermediate format.
constexpr uint32_t kIntermediateBytes = 8;

// Spans longer than this run in pieces of it, each under one constant mask;
// a multiple of 8 so that packed rows split on whole bytes.
constexpr int kSpanPiece = 64;

void ReportNoScratch(const CRowOpDef& def, const CRowOpData& data) {
    QGDI_Log(keLogError, "row operation %s: no scratch memory for %d pixels, row %d left unchanged", def.GetTypeName(),
             data.nCount, data.y);
}

}  // namespace

const char* QGDI_GetRowOpTypeName(int type) noexcept {
    if (type < 0 || type >= static_cast<int>(std::size(kTypeNames)) || !kTypeNames[type]) return "Unknown";
    return kTypeNames[type];
}

void QGDI_SetProcessorMode(int mode) noexcept { g_processorMode.store(mode, std::memory_order_relaxed); }

int QGDI_GetProcessorMode() noexcept { return g_processorMode.load(std::memory_order_relaxed); }

bool UseMMX() noexcept {
    switch (g_processorMode.load(std::memory_order_relaxed)) {
    case keProcessorModeOn: return true;
    case keProcessorModeDetect: {
        int detected = g_detected.load(std::memory_order_acquire);
        if (detected < 0) {
            detected = 0;
            g_detected.store(detected, std::memory_order_release);
        }
        return detected != 0;
    }
    default: return false;
    }
}

void QGDI_RowOpNOP(const CRowOpDef&, CRowOpData&) {}

QRowOpFn RoeLookUpEntry(const SRowOpDictEntry* dict, EQPixelFormat dst, EQPixelFormat src, EQCPURequest request,
                        bool report) {
    QRowOpFn plain = nullptr, specific = nullptr;
    for (const SRowOpDictEntry* e = dict; e && e->pfnKernel; ++e) {
        if (e->nDstFormat != dst || e->nSrcFormat != src) continue;
        if (e->nVariant == keRoVariantPlain) plain = e->pfnKernel;
        else if (e->nVariant == keRoVariantSpecific) specific = e->pfnKernel;
    }
    QRowOpFn chosen = nullptr;
    switch (request) {
    case keCPURequestPlain: chosen = plain; break;
    case keCPURequestSpecific: chosen = specific; break;
    case keCPURequestBest: chosen = specific && UseMMX() ? specific : plain; break;
    default: break;
    }
    if (chosen) return chosen;
    if (report)
        QGDI_Log(keLogDebug, "no row kernel for %ls <- %ls (request %d)", FormatName(dst), FormatName(src), request);
    return &QGDI_RowOpNOP;
}

std::string QGDI_MissingRowOpText(int type, EQPixelFormat dst, EQPixelFormat src) {
    char text[256];
    std::snprintf(text, sizeof text, "Type = %s\nDst = %ls\nSrc = %ls", QGDI_GetRowOpTypeName(type), FormatName(dst),
                  FormatName(src));
    return text;
}

CRowOpDef::~CRowOpDef() = default;

bool CRowOpDef::Attach(CRowOp& op, const CRowOpData& data, EQCPURequest request, bool report) const {
    QRowOpFn fn = Find(data.eDstFormat, data.eSrcFormat, request, report);
    op.SetKernel(this, fn ? fn : &QGDI_RowOpNOP);
    return true;
}

void CRowOpDef::Detach(CRowOp& op) const { op.SetKernel(nullptr, nullptr); }

std::shared_ptr<const CRowOpPrepared> CRowOpDef::Prepare(EQPixelFormat, EQPixelFormat) const { return nullptr; }

CRowOpPrepared::~CRowOpPrepared() = default;

const SRowOpDictEntry* GetNOPDict() noexcept { return kNOPDict.data(); }

CRowOp::CRowOp(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request, bool report) {
    (void)Attach(def, data, request, report);
}

CRowOp::~CRowOp() = default;

void CRowOp::SetKernel(const CRowOpDef* def, QRowOpFn kernel) noexcept {
    m_pDef = def;
    m_pfnKernel = kernel;
}

void CRowOp::Detach() noexcept {
    if (m_pDef) m_pDef->Detach(*this);
    m_pDef = nullptr;
    m_pfnKernel = nullptr;
    m_bConverted = false;
    m_eIntermediate = keFormatNone;
    m_pfnSrcToIntermediate = m_pfnDstToIntermediate = m_pfnIntermediateToDst = nullptr;
    m_eWidenedDst = m_eWidenedSrc = keFormatNone;
    m_pfnUnpackDst = m_pfnUnpackSrc = nullptr;
    m_eKernelDst = m_eKernelSrc = keFormatNone;
    m_pPrepared.reset();
    m_nScratchPerPixel = 0;
}

bool CRowOp::BindThrough(EQPixelFormat intermediate, const CRowOpData& data, EQCPURequest request) {
    const bool hasSource = data.eSrcFormat != keFormatNone;
    QRowOpFn fn = m_pDef->FindForBinding(intermediate, hasSource ? intermediate : keFormatNone, request, false);
    if (!fn || fn == &QGDI_RowOpNOP) return false;
    m_pfnKernel = fn;
    m_bConverted = true;
    m_eIntermediate = intermediate;
    m_eKernelDst = intermediate;
    m_eKernelSrc = hasSource ? intermediate : keFormatNone;
    m_pfnDstToIntermediate = FindConverter(intermediate, data.eDstFormat, request);
    m_pfnSrcToIntermediate = hasSource ? FindConverter(intermediate, data.eSrcFormat, request) : nullptr;
    m_pfnIntermediateToDst = FindConverter(data.eDstFormat, intermediate, request);
    if (m_pfnDstToIntermediate == &QGDI_RowOpNOP || m_pfnIntermediateToDst == &QGDI_RowOpNOP ||
        (hasSource && m_pfnSrcToIntermediate == &QGDI_RowOpNOP))
        QGDI_Log(keLogDebug, "%s: %ls <- %ls through %ls lacks a converter", m_pDef->GetTypeName(),
                 FormatName(data.eDstFormat), FormatName(data.eSrcFormat), FormatName(intermediate));
    return true;
}

// Binds the same pair with its 1- and 4-bit sides read as 8-bit indices.
// Accepted only when the result can be written back: a direct kernel, or an
// intermediate format with converters both ways.
bool CRowOp::BindWidened(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request) {
    CRowOpData wide = data;
    wide.eDstFormat = Widen(data.eDstFormat);
    wide.eSrcFormat = Widen(data.eSrcFormat);
    CRowOp inner;
    (void)inner.Bind(def, wide, request, false);
    if (inner.IsNOP()) return false;
    const bool hasSource = wide.eSrcFormat != keFormatNone;
    if (inner.m_bConverted &&
        (inner.m_pfnDstToIntermediate == &QGDI_RowOpNOP || inner.m_pfnIntermediateToDst == &QGDI_RowOpNOP ||
         (hasSource && inner.m_pfnSrcToIntermediate == &QGDI_RowOpNOP)))
        return false;
    *this = inner;
    if (IsSubByte(data.eDstFormat)) {
        m_eWidenedDst = data.eDstFormat;
        m_pfnUnpackDst = FindConverter(keFormatIndex8, data.eDstFormat, request);
    }
    if (IsSubByte(data.eSrcFormat)) {
        m_eWidenedSrc = data.eSrcFormat;
        m_pfnUnpackSrc = FindConverter(keFormatIndex8, data.eSrcFormat, request);
    }
    return true;
}

bool CRowOp::Attach(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request, bool report) {
    Detach();
    if (!Bind(def, data, request, report)) return false;
    Prepare(data);
    return true;
}

// Everything that depends only on the definition and the formats: the
// kernel's prepared block and the scratch one pixel needs.
void CRowOp::Prepare(const CRowOpData& data) {
    if (m_bConverted) m_nScratchPerPixel = kIntermediateBytes * (data.eSrcFormat != keFormatNone ? 2 : 1);
    m_nScratchPerPixel += (m_eWidenedDst != keFormatNone ? 1 : 0) + (m_eWidenedSrc != keFormatNone ? 1 : 0);
    if (IsNOP()) return;
    try {
        m_pPrepared = m_pDef->Prepare(m_eKernelDst, m_eKernelSrc);
    } catch (const std::bad_alloc&) {
        // The kernel prepares on every call instead: slower, same pixels.
        QGDI_Log(keLogWarning, "row operation %s: no memory to prepare the binding", m_pDef->GetTypeName());
        m_pPrepared.reset();
    }
}

bool CRowOp::Bind(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request, bool report) {
    if (!def) return false;
    def->Attach(*this, data, request, report);
    if (!m_pfnKernel) m_pfnKernel = &QGDI_RowOpNOP;
    m_eKernelDst = data.eDstFormat;
    m_eKernelSrc = data.eSrcFormat;
    if (m_pfnKernel != &QGDI_RowOpNOP || !def->AllowsConversion()) {
        if (report && m_pfnKernel == &QGDI_RowOpNOP && def->GetType() != keRoNOP) ReportMissing(*def, data);
        return true;
    }
    // No intermediate colour format converts back into 1- or 4-bit indices,
    // so a packed destination goes through 8-bit indices first.
    if (IsSubByte(data.eDstFormat) && BindWidened(def, data, request)) return true;

    // 16-bit destinations keep their precision if they can; a format with alpha
    // is needed as soon as either side carries alpha.
    const CQPixelFormat dst(data.eDstFormat), src(data.eSrcFormat);
    const bool flat = !dst.IsAlphaChannelPresent() && !src.IsAlphaChannelPresent();
    EQPixelFormat candidates[4];
    int n = 0;
    if (dst.Is16bit()) {
        if (flat) candidates[n++] = keFormatBGR_u16;
        candidates[n++] = keFormatBGRA_u16;
    }
    if (flat) candidates[n++] = keFormatBGR;
    candidates[n++] = keFormatBGRA;
    for (int i = 0; i < n; ++i)
        if (BindThrough(candidates[i], data, request)) return true;
    // A packed source alone still has a chance with the kernels of 8-bit indices.
    if (IsSubByte(data.eSrcFormat) && BindWidened(def, data, request)) return true;

    if (report) ReportMissing(*def, data);
    return true;
}

void CRowOp::operator()(CRowOpData& data) const {
    if (RunCode(data) != keQuorErrSuccess) ReportNoScratch(*m_pDef, data);
}

CErrorAutoThrow CRowOp::Run(CRowOpData& data) const {
    const QuorErrorCode code = RunCode(data);
    return code == keQuorErrSuccess ? CErrorAutoThrow() : QERR(code);
}

QuorErrorCode CRowOp::RunCode(CRowOpData& data) const noexcept {
    if (!m_pfnKernel || !data.pDst || data.nCount <= 0) return keQuorErrSuccess;
    if (m_nScratchPerPixel == 0) {
        const CRowOpPrepared* const caller = std::exchange(data.pPrepared, m_pPrepared.get());
        m_pfnKernel(*m_pDef, data);
        data.pPrepared = caller;
        return keQuorErrSuccess;
    }
    qgdi::rowop::CScratchFrame frame;
    uint8_t* scratch = frame.Take(static_cast<size_t>(data.nCount) * m_nScratchPerPixel);
    if (!scratch) return keQuorErrOutOfMemory;
    if (IsWidened()) RunWidened(data, scratch);
    else RunBound(data, scratch);
    return keQuorErrSuccess;
}

CErrorAutoThrow CRowOp::SpanMasked(CRowOpData& data, const uint8_t* mask) const {
    data.pMask = mask;
    return Run(data);
}

CErrorAutoThrow CRowOp::Span(CRowOpData& data, uint8_t coverage) const {
    if (coverage == 0) return CErrorAutoThrow();
    if (coverage == 255) return SpanMasked(data, nullptr);
    // A copy of the record, so that the caller's never points at this frame's mask.
    alignas(64) uint8_t mask[kSpanPiece];
    const int n = data.nCount;
    std::memset(mask, coverage, static_cast<size_t>(std::clamp(n, 0, kSpanPiece)));
    CRowOpData piece = data;
    piece.pMask = mask;
    // Longer runs go piece by piece under the same constant mask.
    for (int i = 0; i < n; i += kSpanPiece) {
        piece.nCount = std::min(kSpanPiece, n - i);
        piece.x = data.x + i;
        piece.pDst = data.pDst + SpanBytes(data.eDstFormat, i);
        piece.pSrc = data.pSrc ? data.pSrc + SpanBytes(data.eSrcFormat, i) : nullptr;
        const QuorErrorCode code = RunCode(piece);
        if (code != keQuorErrSuccess) return QERR(code);
    }
    return CErrorAutoThrow();
}

void CRowOp::RunBound(CRowOpData& data, uint8_t* scratch) const noexcept {
    if (m_bConverted) {
        RunConverted(data, scratch);
    } else {
        const CRowOpPrepared* const caller = std::exchange(data.pPrepared, m_pPrepared.get());
        m_pfnKernel(*m_pDef, data);
        data.pPrepared = caller;
    }
}

// The scratch holds the intermediate rows first (when converted), then the
// widened destination and source indices.
void CRowOp::RunWidened(CRowOpData& data, uint8_t* scratch) const noexcept {
    const size_t n = static_cast<size_t>(data.nCount);
    uint8_t* wideBytes = scratch + (m_bConverted ? n * (m_nScratchPerPixel - (m_eWidenedDst != keFormatNone) -
                                                        (m_eWidenedSrc != keFormatNone))
                                                 : 0);
    uint8_t* dstBuf = m_eWidenedDst != keFormatNone ? wideBytes : nullptr;
    uint8_t* srcBuf = m_eWidenedSrc != keFormatNone && data.pSrc ? wideBytes + (dstBuf ? n : 0) : nullptr;

    // 8-bit indices of one packed side into its buffer.
    auto unpack = [&](QRowOpFn fn, EQPixelFormat packed, const uint8_t* from, uint8_t* to) {
        CRowOpData conv;
        conv.nCount = data.nCount;
        conv.eDstFormat = keFormatIndex8;
        conv.pDst = to;
        conv.eSrcFormat = packed;
        conv.pSrc = from;
        fn(QGDI_GetRowCopyDef(), conv);
    };
    CRowOpData wide = data;
    if (dstBuf) {
        unpack(m_pfnUnpackDst, m_eWidenedDst, data.pDst, dstBuf);
        wide.eDstFormat = keFormatIndex8;
        wide.pDst = dstBuf;
    }
    if (m_eWidenedSrc != keFormatNone) {
        if (srcBuf) unpack(m_pfnUnpackSrc, m_eWidenedSrc, data.pSrc, srcBuf);
        wide.eSrcFormat = keFormatIndex8;
        wide.pSrc = srcBuf;
    }
    RunBound(wide, scratch);
    if (dstBuf) PackRow(m_eWidenedDst, data.pDst, dstBuf, data.nCount);
}

void CRowOp::RunConverted(CRowOpData& data, uint8_t* scratch) const noexcept {
    const size_t bytes = static_cast<size_t>(data.nCount) * kIntermediateBytes;
    uint8_t* dstBuf = scratch;
    uint8_t* srcBuf = scratch + bytes;
    const bool hasSource = m_pfnSrcToIntermediate && data.pSrc;
    // A missing converter leaves its buffer as it is: zeros, never last row's pixels.
    if (m_pfnDstToIntermediate == &QGDI_RowOpNOP) std::memset(dstBuf, 0, bytes);
    if (hasSource && m_pfnSrcToIntermediate == &QGDI_RowOpNOP) std::memset(srcBuf, 0, bytes);

    const CRowOpDef& copyDef = QGDI_GetRowCopyDef();
    // Destination row into the intermediate format.
    CRowOpData conv = data;
    conv.pMask = nullptr;
    conv.pPrepared = nullptr;
    conv.eDstFormat = m_eIntermediate;
    conv.pDst = dstBuf;
    conv.nDstPaletteCount = 0;
    conv.pDstPalette = nullptr;
    conv.eSrcFormat = data.eDstFormat;
    conv.pSrc = data.pDst;
    conv.nSrcPaletteCount = data.nDstPaletteCount;
    conv.pSrcPalette = data.pDstPalette;
    m_pfnDstToIntermediate(copyDef, conv);
    if (hasSource) {
        conv.pDst = srcBuf;
        conv.eSrcFormat = data.eSrcFormat;
        conv.pSrc = data.pSrc;
        conv.nSrcPaletteCount = data.nSrcPaletteCount;
        conv.pSrcPalette = data.pSrcPalette;
        m_pfnSrcToIntermediate(copyDef, conv);
    }

    CRowOpData work = data;
    work.pPrepared = m_pPrepared.get();
    work.eDstFormat = m_eIntermediate;
    work.pDst = dstBuf;
    work.nDstPaletteCount = 0;
    work.pDstPalette = nullptr;
    if (data.eSrcFormat != keFormatNone) {
        work.eSrcFormat = m_eIntermediate;
        work.pSrc = hasSource ? srcBuf : nullptr;
        work.nSrcPaletteCount = 0;
        work.pSrcPalette = nullptr;
    }
    m_pfnKernel(*m_pDef, work);

    // And back, through the destination's palette when it has one.
    CRowOpData back = data;
    back.pMask = nullptr;
    back.pPrepared = nullptr;
    back.eSrcFormat = m_eIntermediate;
    back.pSrc = dstBuf;
    back.nSrcPaletteCount = 0;
    back.pSrcPalette = nullptr;
    m_pfnIntermediateToDst(copyDef, back);
}
