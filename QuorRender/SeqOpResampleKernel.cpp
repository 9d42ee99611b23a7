#include "QuorRender/SeqOpResampleKernel.h"

#include <algorithm>
#include <bit>
#include <cstring>

using qgdi::resample::ESampleType;

CSeqOpResampleKernel::~CSeqOpResampleKernel() = default;

void CSeqOpResampleKernel::SetCoef(const CResamplingKernelArray* horizontal,
                                   const CResamplingKernelArray* vertical) noexcept {
    m_pHorizontal = horizontal;
    m_pVertical = vertical;
    m_nOutWidth = horizontal ? horizontal->nCount : 0;
    m_nOutHeight = vertical ? vertical->nCount : 0;
    m_nShift = 0;
    if (horizontal && vertical) {
        const uint64_t product = static_cast<uint64_t>(horizontal->nScale) * vertical->nScale;
        m_nShift = product ? static_cast<int>(std::bit_width(product)) - 1 : 0;
    }
}

namespace {

// Outputs below `four` carry four weights per tap (the channels', then 0)
// and keep one pixel after their run inside the row; the others carry
// `channels` weights per tap.
template <class Acc>
void ExpandWeights(const CResamplingKernelArray& h, int taps, int channels, int four, int width, int32_t* start,
                   Acc* out) {
    for (int x = 0; x < h.nCount; ++x) {
        const int s = h.Start(x), n = static_cast<int>(h.Taps(x));
        const int lanes = x < four ? 4 : channels, room = x < four ? 1 : 0;
        // Moved left where the run would pass the row's end; the weights follow.
        const int first = std::clamp(s, 0, width - taps - room);
        start[x] = first * channels;
        for (int k = 0; k < taps; ++k) {
            const int j = first + k - s;
            const Acc w = j >= 0 && j < n ? static_cast<Acc>(h.Weight(x, j)) : Acc(0);
            for (int c = 0; c < lanes; ++c) *out++ = c < channels ? w : Acc(0);
        }
    }
}

}  // namespace

bool CSeqOpResampleKernel::BuildPlan() {
    const int taps = std::min(m_pHorizontal->nMaxTaps, m_nSrcWidth);
    // Three channels run in four lanes up to the first record that reaches
    // the row's last pixel.
    int four = 0;
    const bool threeInFour = m_nChannels == 3 && taps < m_nSrcWidth;
    if (threeInFour)
        while (four < m_nOutWidth &&
               m_pHorizontal->Start(four) + static_cast<int64_t>(m_pHorizontal->Taps(four)) < m_nSrcWidth)
            ++four;
    m_aStart.assign(static_cast<size_t>(m_nOutWidth), 0);
    const size_t count = (static_cast<size_t>(four) * 4 + static_cast<size_t>(m_nOutWidth - four) * m_nChannels) *
                         static_cast<size_t>(taps);
    if (!m_oPlanWeights.Grow(count * m_nAccSize)) return false;
    switch (m_eSample) {
    case ESampleType::kU8:
        if (m_bSigned)
            ExpandWeights(*m_pHorizontal, taps, m_nChannels, four, m_nSrcWidth, m_aStart.data(),
                          m_oPlanWeights.As<int32_t>());
        else
            ExpandWeights(*m_pHorizontal, taps, m_nChannels, four, m_nSrcWidth, m_aStart.data(),
                          m_oPlanWeights.As<uint32_t>());
        break;
    case ESampleType::kU16:
        if (m_bSigned)
            ExpandWeights(*m_pHorizontal, taps, m_nChannels, four, m_nSrcWidth, m_aStart.data(),
                          m_oPlanWeights.As<int64_t>());
        else
            ExpandWeights(*m_pHorizontal, taps, m_nChannels, four, m_nSrcWidth, m_aStart.data(),
                          m_oPlanWeights.As<uint64_t>());
        break;
    case ESampleType::kF32:
        ExpandWeights(*m_pHorizontal, taps, m_nChannels, four, m_nSrcWidth, m_aStart.data(),
                      m_oPlanWeights.As<float>());
        break;
    }
    m_oPlan.nOut = m_nOutWidth;
    m_oPlan.nTaps = taps;
    m_oPlan.pStart = m_aStart.data();
    m_oPlan.pWeights = m_oPlanWeights.Data();
    m_oPlan.nFour = four;
    m_oFns = qgdi::resample::FindRowFns(m_eSample, m_bSigned, m_pVertical->eWeightType, m_nChannels, taps, threeInFour);
    return m_oFns.horizontal != nullptr;
}

bool CSeqOpResampleKernel::Reset() {
    m_oCache.Free();
    m_apCache.clear();
    m_aCacheRow.clear();
    m_nPulled = 0;
    if (!CSeqOp::Reset()) return false;
    VSeqOp* src = Src(0);
    if (!src || !m_pHorizontal || !m_pVertical || !m_pHorizontal->pRecords || !m_pVertical->pRecords) return false;
    const CQPixelFormat format(src->GetPixelFormat());
    m_nChannels = format.GetChannelCount();
    m_nSrcWidth = src->GetWidth();
    m_nSrcHeight = src->GetHeight();
    if (format.IsIndexedColor() || m_nChannels < 1 || m_nChannels > 4) return false;
    // Records that read outside the source would read memory that is not there.
    if (!m_pHorizontal->IsWithin(m_nSrcWidth) || !m_pVertical->IsWithin(m_nSrcHeight)) return false;
    m_eSample = format.IsFloat() ? ESampleType::kF32 : format.Is16bit() ? ESampleType::kU16 : ESampleType::kU8;
    const auto weightFamily = [](quor::EQType t) { return t >= quor::keTypeUInt16 && t <= quor::keTypeInt32; };
    if (!weightFamily(m_pHorizontal->eWeightType) || !weightFamily(m_pVertical->eWeightType)) return false;
    m_bSigned = m_eSample != ESampleType::kF32 &&
                (m_pHorizontal->HasSignedWeights() || m_pVertical->HasSignedWeights());
    m_nAccSize = m_eSample == ESampleType::kU16 ? 8 : 4;
    if (!BuildPlan()) return false;

    const size_t samples = static_cast<size_t>(m_nOutWidth) * static_cast<size_t>(m_nChannels);
    const size_t slots = static_cast<size_t>(m_pVertical->nMaxTaps);
    const size_t rowBytes = (samples * m_nAccSize + 63) / 64 * 64;
    if (!m_oCache.Grow(rowBytes * slots)) return false;
    m_apCache.resize(slots);
    m_aCacheRow.assign(slots, -1);
    for (size_t k = 0; k < slots; ++k) m_apCache[k] = m_oCache.Data() + k * rowBytes;
    m_oAccumulation.Free();
    if (m_bSigned && !m_oAccumulation.Grow(samples * m_nAccSize)) return false;
    m_nCurrentRow = 0;
    return src->Reset();
}

bool CSeqOpResampleKernel::FillSlot(size_t slot, int row) {
    VSeqOp* src = Src(0);
    if (m_nPulled > row) return false;  // a stage cannot go back
    while (m_nPulled < row) {
        if (!src->GetNextRow(0, m_nSrcWidth)) return false;
        ++m_nPulled;
    }
    const void* line = src->GetNextRow(0, m_nSrcWidth);
    if (!line) return false;
    ++m_nPulled;
    m_oFns.horizontal(m_apCache[slot], line, m_oPlan);
    m_aCacheRow[slot] = row;
    return true;
}

bool CSeqOpResampleKernel::GetNextRow(void* dst, int x, int count) {
    if (!Src(0) || m_apCache.empty() || x < 0 || count < 0 || static_cast<int64_t>(x) + count > m_nOutWidth ||
        m_nCurrentRow >= m_nOutHeight)
        return false;
    const int s = m_pVertical->Start(m_nCurrentRow);
    const int taps = static_cast<int>(m_pVertical->Taps(m_nCurrentRow));
    const int size = static_cast<int>(m_apCache.size());
    // Slot k must end up holding row s + k where that row is cached.
    for (int k = 0; k < size;) {
        const int r = m_aCacheRow[static_cast<size_t>(k)];
        if (r < 0) {
            ++k;
            continue;
        }
        const int want = r - s;
        if (want < 0 || want >= size) {
            m_aCacheRow[static_cast<size_t>(k)] = -1;
            ++k;
        } else if (want != k) {
            std::swap(m_apCache[static_cast<size_t>(k)], m_apCache[static_cast<size_t>(want)]);
            std::swap(m_aCacheRow[static_cast<size_t>(k)], m_aCacheRow[static_cast<size_t>(want)]);
            k = 0;
        } else {
            ++k;
        }
    }
    for (int k = 0; k < taps; ++k)
        if (m_aCacheRow[static_cast<size_t>(k)] < 0 && !FillSlot(static_cast<size_t>(k), s + k)) return false;

    const size_t samples = static_cast<size_t>(m_nOutWidth) * static_cast<size_t>(m_nChannels);
    const auto fn = m_oFns.vertical[taps <= qgdi::resample::kMaxFixedVerticalTaps ? taps : 0];
    const void* const* rows = reinterpret_cast<const void* const*>(m_apCache.data());
    if (m_oFns.clamp) {
        fn(m_oAccumulation.Data(), rows, m_pVertical->Weights(m_nCurrentRow), taps, samples, m_nShift);
        m_oFns.clamp(dst, m_oAccumulation.Data(), samples);
    } else {
        fn(dst, rows, m_pVertical->Weights(m_nCurrentRow), taps, samples, m_nShift);
    }
    ++m_nCurrentRow;
    return true;
}

bool CSeqOpResampleKernel::Seek(int row) {
    VSeqOp* src = Src(0);
    if (row < 0 || row >= GetWidth() || !src || !m_pVertical || m_nCurrentRow >= m_pVertical->nCount) return false;
    if (!src->Seek(m_pVertical->Start(m_nCurrentRow))) return false;
    m_nCurrentRow = row;
    return true;
}
