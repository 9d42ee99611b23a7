#include "QuorRender/SeqOpResample.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "QuorRender/SeqOpLinearLight.h"
#include "qdibcore/Source/PixelFormatTraits.h"

namespace {
constexpr const char* kModeNames[keResampleModeCount] = {"nearest", "bilinear", "bicubic",
                                                         "area",    "lanczos",  "mitchell"};
}

const char* QGDI_GetResampleModeName(int mode) noexcept {
    return mode >= 0 && mode < keResampleModeCount ? kModeNames[mode] : nullptr;
}

int QGDI_ParseResampleMode(const char* name) noexcept {
    if (!name) return -1;
    for (int i = 0; i < keResampleModeCount; ++i)
        if (std::strcmp(name, kModeNames[i]) == 0) return i;
    return -1;
}

namespace qgdi::resample {

EQPixelFormat WorkingFormat(EQPixelFormat format) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(format);
    if (!t || format <= keFormatNone) return keFormatNone;
    if (t->formatClass == keFormatClassIndexed) return t->alpha ? keFormatBGRxA : keFormatBGR;
    if (!t->alpha || t->premultiplied) return format;
    switch (t->bitsPerChannel) {
    case 8: return keFormatBGRxA;
    case 16: return keFormatBGRxA_u16;
    default: return keFormatBGRxA_f32;
    }
}

EQPixelFormat OutputFormat(EQPixelFormat format) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(format);
    if (!t || format <= keFormatNone) return keFormatNone;
    if (t->formatClass == keFormatClassIndexed) return t->alpha ? keFormatBGRA : keFormatBGR;
    return format;
}

namespace {

enum class EAxisKind { kBilinear, kBicubic, kAverage, kGeneric };

struct SAxis {
    EAxisKind kind;
    bool negative;  // weights below zero
    int taps;
    int offset;
    double stretch;  // generic kernels: distances divided by this
    double radius;
};

SAxis ChooseAxis(EQResampleMode mode, int n, int count) {
    const bool grow = count >= n;
    const double f = grow ? 1.0 : static_cast<double>(n) / count;
    switch (mode) {
    case keResampleLanczos3:
    case keResampleMitchell: {
        const double radius = mode == keResampleLanczos3 ? 3.0 : 2.0;
        const int reach = static_cast<int>(std::ceil(radius * f - 1e-9));
        return {EAxisKind::kGeneric, true, 2 * reach, reach - 1, f, radius};
    }
    case keResampleBicubic:
        if (grow) return {EAxisKind::kBicubic, true, 4, 0, 1, 0};
        break;
    case keResampleBilinear:
        if (grow) return {EAxisKind::kBilinear, false, 2, 0, 1, 0};
        break;
    default: break;
    }
    return {EAxisKind::kAverage, false, static_cast<int>(std::ceil(f)) + 2, 0, f, 0};
}

bool Generate(CResamplingKernelArray& a, const SAxis& axis, EQResampleMode mode, int n) {
    bool ok = false;
    switch (axis.kind) {
    case EAxisKind::kBilinear: ok = GenerateBilinearKernel(a, n); break;
    case EAxisKind::kBicubic: ok = GenerateBicubicKernel(a, n); break;
    case EAxisKind::kAverage: ok = GenerateAverageKernel(a, 0.0, n, 0, true); break;
    case EAxisKind::kGeneric: {
        const double stretch = axis.stretch, radius = axis.radius;
        const bool lanczos = mode == keResampleLanczos3;
        ok = GenerateGeneric(
            a, n,
            [=](double kt, int offset, int) {
                const double d = (kt - offset) / stretch;
                return lanczos ? LanczosWeight(d, radius) : MitchellWeight(d);
            },
            axis.offset, axis.taps);
        break;
    }
    }
    return ok && a.FoldToRange(n);
}

}  // namespace

bool BuildKernels(EQResampleMode mode, EQPixelFormat working, int srcW, int srcH, int dstW, int dstH,
                  CResamplingKernelArray& horizontal, CResamplingKernelArray& vertical) {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(working);
    if (!t || working <= keFormatNone || srcW < 1 || srcH < 1 || dstW < 1 || dstH < 1) return false;
    const SAxis h = ChooseAxis(mode, srcW, dstW), v = ChooseAxis(mode, srcH, dstH);
    const bool anySigned = h.negative || v.negative;
    const bool eight = t->bitsPerChannel == 8;
    // See QuorRender/ResampleFns.h for the ranges these keep.
    const uint32_t hScale = eight ? (anySigned ? 1u << 11 : 1u << 12) : 1u << 15;
    const uint32_t vScale = eight ? (anySigned ? 1u << 10 : 1u << 12) : 1u << 15;
    const auto type = [&](bool negative) {
        if (eight) return negative ? quor::keTypeInt16 : quor::keTypeUInt16;
        return negative ? quor::keTypeInt32 : quor::keTypeUInt32;
    };
    const uint32_t intermediate = t->bitsPerChannel == 16 ? 8 : 4;
    return horizontal.Create(dstW, h.taps, type(h.negative), hScale, intermediate) &&
           vertical.Create(dstH, v.taps, type(v.negative), vScale, intermediate) &&
           Generate(horizontal, h, mode, srcW) && Generate(vertical, v, mode, srcH);
}

}  // namespace qgdi::resample

// ---- CSeqOpAlphaForm --------------------------------------------------------

namespace {
// AND of the row's pixels taken as whole words: alpha is the last channel,
// so it is full everywhere when the top bits of the AND are all set.
template <class Word>
Word AndPixels(const uint8_t* row, int n) noexcept {
    Word all = static_cast<Word>(~Word(0));
    for (int x = 0; x < n; ++x) {
        Word v;
        std::memcpy(&v, row + static_cast<size_t>(x) * sizeof(Word), sizeof(Word));
        all &= v;
    }
    return all;
}
}  // namespace

bool qgdi::resample::RowIsOpaque(const void* row, int count, EQPixelFormat format) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(format);
    if (!t || !t->alpha || t->formatClass == keFormatClassIndexed) return false;
    const auto* p = static_cast<const uint8_t*>(row);
    const int pixel = t->bitsPerPixel / 8, bits = t->bitsPerChannel;
    if (bits == 32) {
        bool opaque = true;
        for (int x = 0; x < count; ++x) {
            float a;
            std::memcpy(&a, p + static_cast<size_t>(x) * pixel + pixel - 4, 4);
            opaque &= a >= 1.0f;
        }
        return opaque;
    }
    const uint64_t all = pixel == 2   ? AndPixels<uint16_t>(p, count)
                         : pixel == 4 ? AndPixels<uint32_t>(p, count)
                                      : AndPixels<uint64_t>(p, count);
    return (all >> (pixel * 8 - bits)) == (uint64_t(1) << bits) - 1;
}

bool CSeqOpAlphaForm::Reset() {
    m_nOpaqueRows = 0;
    if (!CSeqOpConvert::Reset()) return false;
    const SQPixelFormatTraits* from = QGDI_FindPixelFormatTraits(Src(0)->GetPixelFormat());
    const SQPixelFormatTraits* to = QGDI_FindPixelFormatTraits(GetPixelFormat());
    m_bSameLayout = from && to && from->alpha && to->alpha && from->bitsPerPixel == to->bitsPerPixel &&
                    from->channelCount == to->channelCount && from->formatClass == to->formatClass;
    return true;
}

const void* CSeqOpAlphaForm::GetNextRow(int x, int count) {
    if (IsPassThrough() || !m_bSameLayout) return CSeqOpConvert::GetNextRow(x, count);
    VSeqOp* src = Src(0);
    const void* row = src ? src->GetNextRow(x, count) : nullptr;
    if (!row) return nullptr;
    if (qgdi::resample::RowIsOpaque(row, count, src->GetPixelFormat())) {
        ++m_nOpaqueRows;
        return row;
    }
    m_oData.pSrc = static_cast<const uint8_t*>(row);
    m_oData.pDst = m_oRowBuffer.Data();
    m_oData.nCount = count;
    m_oData.x = x;
    if (m_oRowOp.RunCode(m_oData) != keQuorErrSuccess) return nullptr;
    return m_oRowBuffer.Data();
}

bool CSeqOpAlphaForm::GetNextRow(void* dst, int x, int count) {
    if (x < 0 || count < 0) return false;
    VSeqOp* src = Src(0);
    if (m_bSameLayout && !IsPassThrough() && src) {
        // The source writes straight into the caller's row; only a row that is
        // not opaque goes through the row buffer and back.
        if (!src->GetNextRow(dst, x, count)) return false;
        if (qgdi::resample::RowIsOpaque(dst, count, src->GetPixelFormat())) {
            ++m_nOpaqueRows;
            return true;
        }
        m_oData.pSrc = static_cast<const uint8_t*>(dst);
        m_oData.pDst = m_oRowBuffer.Data();
        m_oData.nCount = count;
        m_oData.x = x;
        if (m_oRowOp.RunCode(m_oData) != keQuorErrSuccess) return false;
        std::memcpy(
            dst, m_oRowBuffer.Data(),
            static_cast<size_t>(static_cast<int64_t>(CQPixelFormat(GetPixelFormat()).GetBitsPerPixel()) * count / 8));
        return true;
    }
    const void* row = GetNextRow(x, count);
    if (!row) return false;
    std::memcpy(
        dst, row,
        static_cast<size_t>(static_cast<int64_t>(CQPixelFormat(GetPixelFormat()).GetBitsPerPixel()) * count / 8));
    return true;
}

// ---- CSeqOpResample ---------------------------------------------------------

CSeqOpResample::CSeqOpResample(int width, int height, EQResampleMode mode) noexcept
    : m_nWidth(width), m_nHeight(height), m_eMode(mode) {}

CSeqOpResample::~CSeqOpResample() = default;

void CSeqOpResample::SetSize(int width, int height) noexcept {
    m_nWidth = width;
    m_nHeight = height;
}

EQPixelFormat CSeqOpResample::GetPixelFormat() const { return qgdi::resample::OutputFormat(CSeqOp::GetPixelFormat()); }

bool CSeqOpResample::Reset() {
    m_pTail.reset();
    VSeqOp* src = Src(0);
    if (!src || m_nWidth < 1 || m_nHeight < 1 || !CSeqOp::Reset()) return false;
    const EQPixelFormat format = src->GetPixelFormat();
    const EQPixelFormat output = GetPixelFormat();
    if (m_eMode == keResampleNearestNeighbor) {
        auto nn = std::make_unique<CSeqOpResampleNearestNeighbor>(m_nWidth, m_nHeight);
        VSeqOp* head = src;
        if (!CQPixelFormat(format).IsPixelByteAligned()) {
            auto convert = new CSeqOpConvert(output);
            convert->SetSrc(src, 0, false);
            head = convert;
        }
        nn->SetSrc(head, 0, head != src);
        m_pTail = std::move(nn);
    } else {
        // Palette images become colour first; linear light (when asked for)
        // comes next; straight alpha is premultiplied around the kernels.
        const EQPixelFormat base = m_bLinearLight ? CSeqOpLinearLight::LinearFormat(output) : output;
        const EQPixelFormat working = qgdi::resample::WorkingFormat(m_bLinearLight ? base : format);
        if (working == keFormatNone ||
            !qgdi::resample::BuildKernels(m_eMode, working, src->GetWidth(), src->GetHeight(), m_nWidth, m_nHeight,
                                          m_oHorizontal, m_oVertical))
            return false;
        VSeqOp* head = src;
        bool owned = false;
        if (m_bLinearLight) {
            if (CQPixelFormat(format).IsIndexedColor()) {
                auto* convert = new CSeqOpConvert(output);
                convert->SetSrc(head, 0, owned);
                head = convert;
                owned = true;
            }
            auto* linear = new CSeqOpLinearLight(true);
            linear->SetSrc(head, 0, owned);
            head = linear;
            owned = true;
        }
        auto* in = new CSeqOpAlphaForm(working);
        in->SetSrc(head, 0, owned);
        auto* kernel = new CSeqOpResampleKernel;
        kernel->SetCoef(&m_oHorizontal, &m_oVertical);
        kernel->SetSrc(in, 0, true);
        auto out = std::make_unique<CSeqOpAlphaForm>(base);
        out->SetSrc(kernel, 0, true);
        m_pTail = std::move(out);
        if (m_bLinearLight) {
            auto encode = std::make_unique<CSeqOpLinearLight>(false, output);
            encode->SetSrc(m_pTail.release(), 0, true);
            m_pTail = std::move(encode);
        }
    }
    return m_pTail->Reset();
}

bool CSeqOpResample::GetNextRow(void* dst, int x, int count) { return m_pTail && m_pTail->GetNextRow(dst, x, count); }

const void* CSeqOpResample::GetNextRow(int x, int count) { return m_pTail ? m_pTail->GetNextRow(x, count) : nullptr; }

// ---- CSeqOpResampleNearestNeighbor -----------------------------------------

CSeqOpResampleNearestNeighbor::CSeqOpResampleNearestNeighbor(int width, int height) noexcept
    : m_nWidth(width), m_nHeight(height) {}

void CSeqOpResampleNearestNeighbor::SetSize(int width, int height) noexcept {
    m_nWidth = width;
    m_nHeight = height;
}

bool CSeqOpResampleNearestNeighbor::Reset() {
    m_pRow = nullptr;
    m_nPulled = 0;
    m_nCurrentRow = 0;
    VSeqOp* src = Src(0);
    if (!src || m_nWidth < 1 || m_nHeight < 1 || !CSeqOp::Reset()) return false;
    const CQPixelFormat format(src->GetPixelFormat());
    if (!format.IsPixelByteAligned() || src->GetWidth() < 1 || src->GetHeight() < 1) return false;
    m_nPixelBytes = format.GetBytesPerPixel();
    m_aOffset.resize(static_cast<size_t>(m_nWidth));
    for (int x = 0; x < m_nWidth; ++x)
        m_aOffset[static_cast<size_t>(x)] = SourceIndex(x, m_nWidth, src->GetWidth()) * m_nPixelBytes;
    return true;
}

bool CSeqOpResampleNearestNeighbor::Seek(int row) {
    if (row < 0 || !Reset()) return false;
    m_nCurrentRow = row;
    return true;
}

namespace {
template <size_t P>
void Gather(uint8_t* dst, const uint8_t* src, const int32_t* offset, int count) {
    for (int i = 0; i < count; ++i) std::memcpy(dst + static_cast<size_t>(i) * P, src + offset[i], P);
}
}  // namespace

bool CSeqOpResampleNearestNeighbor::GetNextRow(void* dst, int x, int count) {
    VSeqOp* src = Src(0);
    if (!src || m_aOffset.empty() || x < 0 || count < 0 || static_cast<int64_t>(x) + count > m_nWidth ||
        m_nCurrentRow >= m_nHeight)
        return false;
    const int want = SourceIndex(m_nCurrentRow, m_nHeight, src->GetHeight());
    while (m_nPulled <= want) {
        m_pRow = static_cast<const uint8_t*>(src->GetNextRow(0, src->GetWidth()));
        if (!m_pRow) return false;
        ++m_nPulled;
    }
    auto* out = static_cast<uint8_t*>(dst);
    const int32_t* offset = m_aOffset.data() + x;
    switch (m_nPixelBytes) {
    case 1: Gather<1>(out, m_pRow, offset, count); break;
    case 2: Gather<2>(out, m_pRow, offset, count); break;
    case 3: Gather<3>(out, m_pRow, offset, count); break;
    case 4: Gather<4>(out, m_pRow, offset, count); break;
    case 6: Gather<6>(out, m_pRow, offset, count); break;
    case 8: Gather<8>(out, m_pRow, offset, count); break;
    case 12: Gather<12>(out, m_pRow, offset, count); break;
    case 16: Gather<16>(out, m_pRow, offset, count); break;
    default: return false;
    }
    ++m_nCurrentRow;
    return true;
}
