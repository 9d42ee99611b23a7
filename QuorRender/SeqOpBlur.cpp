#include "QuorRender/SeqOpBlur.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "qdibcore/Source/PixelFormat.h"

namespace qgdi::filter {

SBlurPass SampledGaussian(double sigma) {
    SBlurPass pass;
    const int reach = std::max(1, static_cast<int>(std::ceil(4.0 * sigma)));
    std::vector<double> exact(static_cast<size_t>(2 * reach + 1));
    double total = 0;
    for (int i = -reach; i <= reach; ++i) total += exact[static_cast<size_t>(i + reach)] = std::exp(-0.5 * i * i / (sigma * sigma));
    // Each weight is the rounded running sum minus the weights before it, so
    // the integers add up to the scale exactly whatever the rounding did.
    const double scale = 1 << SBlurPass::kiWeightBits;
    double running = 0;
    int64_t given = 0;
    pass.aWeights.resize(exact.size());
    for (size_t i = 0; i < exact.size(); ++i) {
        running += exact[i] / total * scale;
        const int64_t upTo = std::llround(running);
        pass.aWeights[i] = static_cast<int32_t>(upTo - given);
        given = upTo;
    }
    pass.aWeights.back() += static_cast<int32_t>((1 << SBlurPass::kiWeightBits) - given);
    return pass;
}

SBlurPass ExtendedBox(double variance) {
    // The largest plain box whose variance r (r + 1) / 3 does not pass the
    // target; the ring weight alpha makes up the rest exactly.
    SBlurPass pass;
    int r = static_cast<int>(std::floor((std::sqrt(1.0 + 12.0 * variance) - 1.0) / 2.0));
    r = std::max(r, 0);
    while (r > 0 && r * (r + 1.0) / 3.0 > variance) --r;
    while ((r + 1) * (r + 2.0) / 3.0 <= variance) ++r;
    const double n = 2.0 * r + 1.0;
    const double alpha = n * (variance - r * (r + 1.0) / 3.0) / (2.0 * ((r + 1.0) * (r + 1.0) - variance));
    const double inner = 1.0 / (n + 2.0 * alpha);
    pass.nRadius = r;
    pass.fInner = static_cast<float>(inner);
    pass.fRing = static_cast<float>(alpha * inner);
    return pass;
}

bool PlanGaussian(double sigma, std::vector<SBlurPass>& passes) {
    passes.clear();
    if (!std::isfinite(sigma) || sigma < 0 || sigma > kfMaxSigma) return false;
    if (sigma == 0) return true;
    if (sigma < kfExplicitGaussianLimit) {
        passes.push_back(SampledGaussian(sigma));
    } else {
        for (int i = 0; i < kiGaussianBoxPasses; ++i) passes.push_back(ExtendedBox(sigma * sigma / kiGaussianBoxPasses));
    }
    return true;
}

bool PlanBox(int radius, std::vector<SBlurPass>& passes) {
    passes.clear();
    if (radius < 0 || radius > kiMaxBoxRadius) return false;
    if (radius == 0) return true;
    SBlurPass pass;
    pass.nRadius = radius;
    pass.fInner = static_cast<float>(1.0 / (2.0 * radius + 1.0));
    passes.push_back(pass);
    return true;
}

}  // namespace qgdi::filter

namespace {

constexpr int32_t kHalf = 1 << (SBlurPass::kiWeightBits - 1);

// Rounds a weighted box back to a sample. Both parts are sums of
// non-negative samples, so adding one half and truncating rounds to nearest.
inline int32_t BoxValue(int32_t inner, int32_t ring, float wi, float wr) noexcept {
    return static_cast<int32_t>(static_cast<float>(inner) * wi + static_cast<float>(ring) * wr + 0.5f);
}

template <class S>
void Interleave(uint8_t* dst, const int32_t* planes, int width, int channels) noexcept {
    S* out = reinterpret_cast<S*>(dst);
    for (int c = 0; c < channels; ++c) {
        const int32_t* p = planes + static_cast<size_t>(c) * width;
        for (int x = 0; x < width; ++x) out[static_cast<size_t>(x) * channels + c] = static_cast<S>(p[x]);
    }
}

// One pass across: out[j] for j < count from in[j .. j + 2 reach]. `prefix`
// holds count + 2 reach + 1 elements for the box's running sum.
void Across(const SBlurPass& p, const int32_t* in, int32_t* out, int count, uint32_t* prefix) noexcept {
    if (p.IsBox()) {
        // The running sum is made once as prefix sums (one add per sample);
        // the outputs are then differences of them, a loop with no carried
        // dependency that vectorises. Unsigned sums may wrap on very wide
        // rows; their differences are still exact.
        const int r = p.nRadius, n = count + 2 * r + 2;
        uint32_t acc = 0;
        prefix[0] = 0;
        for (int i = 0; i < n; ++i) prefix[i + 1] = acc += static_cast<uint32_t>(in[i]);
        const float wi = p.fInner, wr = p.fRing;
        for (int x = 0; x < count; ++x) {
            const auto inner = static_cast<int32_t>(prefix[x + 2 * r + 2] - prefix[x + 1]);
            out[x] = BoxValue(inner, in[x] + in[x + 2 * r + 2], wi, wr);
        }
        return;
    }
    // Tap by tap over the whole row: each inner loop is a multiply-add of
    // two contiguous arrays, which vectorises.
    const int taps = static_cast<int>(p.aWeights.size());
    std::fill(out, out + count, kHalf);
    for (int k = 0; k < taps; ++k) {
        const int32_t wk = p.aWeights[static_cast<size_t>(k)];
        const int32_t* src = in + k;
        for (int x = 0; x < count; ++x) out[x] += wk * src[x];
    }
    for (int x = 0; x < count; ++x) out[x] >>= SBlurPass::kiWeightBits;
}

}  // namespace

CSeqOpBlurPass::CSeqOpBlurPass(bool vertical, const SBlurPass& pass, EEdgeMode edge, uint32_t edgeColour)
    : m_bVertical(vertical),
      m_aPasses{pass},
      m_oWindow(quor::keTypeInt32, vertical ? 1 : 2 * pass.Reach() + 1, vertical ? 2 * pass.Reach() + 1 : 1,
                vertical ? 0 : pass.Reach(), vertical ? pass.Reach() : 0, edge, edgeColour) {}

CSeqOpBlurPass::CSeqOpBlurPass(const std::vector<SBlurPass>& passes, EEdgeMode edge, uint32_t edgeColour)
    : m_bVertical(false),
      m_aPasses(passes),
      m_oWindow(quor::keTypeInt32, 2 * qgdi::filter::TotalReach(passes) + 1, 1, qgdi::filter::TotalReach(passes), 0,
                edge, edgeColour) {}

CSeqOpBlurPass::~CSeqOpBlurPass() { m_oWindow.Detach(); }

bool CSeqOpBlurPass::Reset() {
    m_oWindow.Detach();
    VSeqOp* src = Src(0);
    if (!src || m_aPasses.empty() || (m_bVertical && m_aPasses.size() != 1)) return false;
    // The window resets the source itself; CSeqOp::Reset would do it twice.
    if (!m_oWindow.Attach(src, keChannelSetAll)) return false;
    const CQPixelFormat pf(src->GetPixelFormat());
    m_nWidth = src->GetWidth();
    m_nChannels = m_oWindow.GetChannelCount();
    m_nSampleBytes = pf.GetBitsPerChannel() / 8;
    // The window takes every channel in the format's order, so plane c is
    // sample c of each pixel; formats with padding samples are not blurred.
    if (pf.GetBitsPerPixel() != m_nChannels * pf.GetBitsPerChannel()) return false;
    m_oRowBuffer.Free();
    try {
        m_aOut.assign(static_cast<size_t>(m_nWidth) * m_nChannels, 0);
        m_aColumnSums.clear();
        if (m_bVertical && m_aPasses[0].IsBox())
            m_aColumnSums.assign(static_cast<size_t>(m_nWidth + 1) * m_nChannels, 0);
        m_aScratch.clear();
        m_aPrefix.clear();
        if (!m_bVertical)
            m_aPrefix.assign(static_cast<size_t>(m_nWidth) + 2 * qgdi::filter::TotalReach(m_aPasses) + 2, 0);
        if (!m_bVertical && m_aPasses.size() > 1)
            m_aScratch.assign(2 * (static_cast<size_t>(m_nWidth) + 2 * qgdi::filter::TotalReach(m_aPasses)), 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!SizeRows(pf.Get(), m_nWidth)) return false;
    m_nRow = 0;
    return true;
}

void CSeqOpBlurPass::Horizontal(int channel, int32_t* out) noexcept {
    m_oWindow.SetChannel(channel);
    const int32_t* in = m_oWindow.Row<int32_t>(0);
    int length = m_nWidth + 2 * qgdi::filter::TotalReach(m_aPasses);
    const size_t half = m_aScratch.size() / 2;
    for (size_t i = 0; i < m_aPasses.size(); ++i) {
        const int count = length - 2 * m_aPasses[i].Reach();
        int32_t* to = i + 1 == m_aPasses.size() ? out : m_aScratch.data() + (i % 2) * half;
        Across(m_aPasses[i], in, to, count, reinterpret_cast<uint32_t*>(m_aPrefix.data()));
        in = to;
        length = count;
    }
}

void CSeqOpBlurPass::Vertical(int channel, int32_t* out) noexcept {
    m_oWindow.SetChannel(channel);
    const int w = m_nWidth;
    const SBlurPass& pass = m_aPasses[0];
    if (pass.IsBox()) {
        const int r = pass.nRadius;
        int32_t* sums = m_aColumnSums.data() + static_cast<size_t>(channel) * (w + 1);
        if (m_nRow == 0) {
            std::fill(sums, sums + w, 0);
            for (int k = 1; k <= 2 * r + 1; ++k) {
                const int32_t* in = m_oWindow.Row<int32_t>(k);
                for (int x = 0; x < w; ++x) sums[x] += in[x];
            }
        } else {
            // The window moved down by one: its slot 0 was the top inner row.
            const int32_t* gone = m_oWindow.Row<int32_t>(0);
            const int32_t* come = m_oWindow.Row<int32_t>(2 * r + 1);
            for (int x = 0; x < w; ++x) sums[x] += come[x] - gone[x];
        }
        const int32_t* top = m_oWindow.Row<int32_t>(0);
        const int32_t* bottom = m_oWindow.Row<int32_t>(2 * r + 2);
        const float wi = pass.fInner, wr = pass.fRing;
        for (int x = 0; x < w; ++x) out[x] = BoxValue(sums[x], top[x] + bottom[x], wi, wr);
        return;
    }
    const int taps = static_cast<int>(pass.aWeights.size());
    std::fill(out, out + w, kHalf);
    for (int k = 0; k < taps; ++k) {
        const int32_t wk = pass.aWeights[static_cast<size_t>(k)];
        const int32_t* in = m_oWindow.Row<int32_t>(k);
        for (int x = 0; x < w; ++x) out[x] += wk * in[x];
    }
    for (int x = 0; x < w; ++x) out[x] >>= SBlurPass::kiWeightBits;
}

bool CSeqOpBlurPass::MakeRow() {
    if (!m_oWindow.IsAttached() || m_nRow >= GetHeight()) return false;
    if (m_nRow > 0 && !m_oWindow.Next()) return false;
    for (int c = 0; c < m_nChannels; ++c) {
        int32_t* out = m_aOut.data() + static_cast<size_t>(c) * m_nWidth;
        if (m_bVertical) Vertical(c, out);
        else Horizontal(c, out);
    }
    if (m_nSampleBytes == 1) Interleave<uint8_t>(m_oRowBuffer.Data(), m_aOut.data(), m_nWidth, m_nChannels);
    else Interleave<uint16_t>(m_oRowBuffer.Data(), m_aOut.data(), m_nWidth, m_nChannels);
    ++m_nRow;
    return true;
}
