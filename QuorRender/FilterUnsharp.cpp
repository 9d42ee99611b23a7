#include "QuorRender/FilterUnsharp.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "QuorRender/SeqOpBlur.h"
#include "QuorRender/internal/FilterChain.h"

namespace {

constexpr int kAmountBits = 12;

template <class S>
void Sharpen(S* __restrict__ out, const S* __restrict__ o, const S* __restrict__ b, int n, int32_t amount,
             int32_t threshold, int32_t top) noexcept {
    // Fixed point with the amount at 2^12; the threshold is a select, not a
    // branch, so the loop vectorises.
    for (int i = 0; i < n; ++i) {
        const int32_t ov = o[i], d = ov - static_cast<int32_t>(b[i]);
        const int32_t s = std::min(std::max(ov + ((d * amount + (1 << (kAmountBits - 1))) >> kAmountBits), 0), top);
        const int32_t ad = d < 0 ? -d : d;
        out[i] = static_cast<S>(ad >= threshold ? s : ov);
    }
}

}  // namespace

bool CSeqOpUnsharp::Reset() {
    if (!CSeqOp::Reset()) return false;
    VSeqOp* o = Src(0);
    VSeqOp* b = Src(1);
    if (!o || !b || o->GetPixelFormat() != b->GetPixelFormat() || o->GetWidth() != b->GetWidth()) return false;
    const CQPixelFormat pf(o->GetPixelFormat());
    const int bpc = pf.GetBitsPerChannel();
    if (pf.IsIndexedColor() || (bpc != 8 && bpc != 16) || !(m_fAmount >= 0 && m_fAmount <= CImageUnsharp::kfMaxAmount))
        return false;
    m_nSampleBytes = bpc / 8;
    m_nMax = bpc == 8 ? 255 : 65535;
    m_nSamples = pf.GetChannelCount();
    // 8-bit differences times the largest amount stay inside 32 bits; 16-bit
    // rows are summed in 64.
    m_nAmount = static_cast<int32_t>(std::lround(m_fAmount * (1 << kAmountBits)));
    m_nThreshold = static_cast<int32_t>(std::ceil(m_fThreshold * (bpc == 8 ? 1 : 257)));
    return true;
}

bool CSeqOpUnsharp::GetNextRow(void* dst, int x, int count) {
    VSeqOp* o = Src(0);
    VSeqOp* b = Src(1);
    if (!o || !b) return false;
    const void* orow = o->GetNextRow(x, count);
    const void* brow = b->GetNextRow(x, count);
    if (!orow || !brow) return false;
    const int n = count * m_nSamples;
    if (m_nSampleBytes == 1) {
        Sharpen(static_cast<uint8_t*>(dst), static_cast<const uint8_t*>(orow), static_cast<const uint8_t*>(brow), n,
                m_nAmount, m_nThreshold, m_nMax);
    } else {
        auto* out = static_cast<uint16_t*>(dst);
        const auto* ov = static_cast<const uint16_t*>(orow);
        const auto* bv = static_cast<const uint16_t*>(brow);
        for (int i = 0; i < n; ++i) {
            const int64_t d = static_cast<int64_t>(ov[i]) - bv[i];
            const int64_t s = ov[i] + ((d * m_nAmount + (1 << (kAmountBits - 1))) >> kAmountBits);
            out[i] = static_cast<uint16_t>((d < 0 ? -d : d) >= m_nThreshold ? std::clamp<int64_t>(s, 0, m_nMax) : ov[i]);
        }
    }
    return true;
}

CErrorAutoThrow CImageUnsharp::Apply(const CRowIterator& source, CRowIterator& destination,
                                     CStatusControl* status) const {
    std::vector<SBlurPass> passes;
    if (!(m_fAmount >= 0 && m_fAmount <= kfMaxAmount) || !(m_fThreshold >= 0 && m_fThreshold <= 65535) ||
        !qgdi::filter::PlanGaussian(m_fRadius, passes) || !EdgeIsValid())
        return QERR(keQuorErrFailed);
    qgdi::filter::SChainOptions options;
    options.eChannels = m_eChannels;
    options.bPremultiply = QGDI_ChannelIsMember(m_eChannels, keChannelAlpha);
    return qgdi::filter::RunChain(
        source, destination, options,
        [&](VSeqOp* tail, const qgdi::filter::SChainContext& context) {
            auto* stage = new CSeqOpUnsharp(m_fAmount, m_fThreshold);
            stage->SetSrc(tail, 0, true);
            VSeqOp* blurred = context.fnHead();
            if (!passes.empty()) {
                blurred = qgdi::filter::Append(blurred, new CSeqOpBlurPass(passes, m_eEdge, m_nEdgeColour));
                for (const SBlurPass& p : passes) blurred = qgdi::filter::Append(blurred, new CSeqOpBlurPass(true, p, m_eEdge, m_nEdgeColour));
            }
            stage->SetSrc(blurred, 1, true);
            return static_cast<VSeqOp*>(stage);
        },
        status);
}

CErrorAutoThrow QGDI_UnsharpMask(const CRowIterator& source, CRowIterator& destination, double amount, double radius,
                                 double threshold, CStatusControl* status) {
    return CImageUnsharp(amount, radius, threshold).Apply(source, destination, status);
}
