#include "QuorRender/SeqOpMorphology.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "qdibcore/Source/PixelFormat.h"

namespace {

template <bool Max>
inline uint16_t Op(uint16_t a, uint16_t b) noexcept {
    return Max ? std::max(a, b) : std::min(a, b);
}

template <bool Max>
void Combine(uint16_t* out, const uint16_t* a, const uint16_t* b,
             size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) out[i] = Op<Max>(a[i], b[i]);
}

template <class S>
void Interleave(uint8_t* dst, const uint16_t* planes, int width, int channels) noexcept {
    S* out = reinterpret_cast<S*>(dst);
    for (int c = 0; c < channels; ++c) {
        const uint16_t* p = planes + static_cast<size_t>(c) * width;
        for (int x = 0; x < width; ++x) out[static_cast<size_t>(x) * channels + c] = static_cast<S>(p[x]);
    }
}

int FloorLog2(int v) noexcept {
    int l = 0;
    while ((2 << l) <= v) ++l;
    return l;
}

}  // namespace

namespace qgdi::filter {

std::vector<int> EllipseHalfWidths(int rx, int ry) {
    std::vector<int> w(static_cast<size_t>(2 * ry + 1), rx);
    if (ry == 0) return w;
    for (int dy = -ry; dy <= ry; ++dy) {
        const double t = static_cast<double>(dy) / ry;
        w[static_cast<size_t>(dy + ry)] = static_cast<int>(std::floor(rx * std::sqrt(std::max(0.0, 1.0 - t * t)) + 1e-9));
    }
    return w;
}

}  // namespace qgdi::filter

CSeqOpMorphology::CSeqOpMorphology(EQMorphShape shape, bool dilate, int rx, int ry, EEdgeMode edge,
                                   uint32_t edgeColour)
    : m_eShape(shape), m_bDilate(dilate), m_nRx(rx), m_nRy(ry), m_eEdge(edge), m_nEdgeColour(edgeColour) {}

CSeqOpMorphology::~CSeqOpMorphology() = default;

bool CSeqOpMorphology::Reset() {
    m_pWindow.reset();
    VSeqOp* src = Src(0);
    using qgdi::filter::kiMaxMorphRadius;
    if (!src || m_nRx < 0 || m_nRy < 0 || m_nRx > kiMaxMorphRadius || m_nRy > kiMaxMorphRadius ||
        (m_eShape != keMorphRound && m_eShape != keMorphSquare))
        return false;
    const CQPixelFormat pf(src->GetPixelFormat());
    const int bpc = pf.GetBitsPerChannel();
    if (pf.IsIndexedColor() || (bpc != 8 && bpc != 16)) return false;
    m_nSampleBytes = bpc / 8;
    const int k = 2 * m_nRy + 1;
    // Samples are held as 16-bit integers; 16-bit samples keep their bits
    // and are read back unsigned.
    if (!OpenWindow(m_pWindow, quor::keTypeInt16, 2 * m_nRx + 1, k, m_nRx, m_nRy, m_eEdge, m_nEdgeColour, m_nWidth,
                    m_nChannels))
        return false;
    m_nPadded = static_cast<size_t>(m_nWidth) + 2 * static_cast<size_t>(m_nRx);
    m_oRowBuffer.Free();
    try {
        const size_t w = static_cast<size_t>(m_nWidth), ch = static_cast<size_t>(m_nChannels);
        if (m_eShape == keMorphSquare) {
            m_nRingRow = w;
            m_aSuffix.assign(ch * k * w, 0);
            m_aPrefix.assign(ch * w, 0);
            m_aScratch.assign(2 * m_nPadded, 0);
        } else {
            m_aHalf = qgdi::filter::EllipseHalfWidths(m_nRx, m_nRy);
            m_nLevels = FloorLog2(2 * m_nRx + 1) + 1;
            m_nRingRow = m_nPadded * static_cast<size_t>(m_nLevels);
            m_aSuffix.clear(), m_aPrefix.clear(), m_aScratch.clear();
        }
        m_aRing.assign(ch * k * m_nRingRow, 0);
        m_aOut.assign(ch * w, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!SizeRows(pf.Get(), m_nWidth)) return false;
    m_nRow = 0;
    m_nRingStart = 0;
    return true;
}

uint16_t* CSeqOpMorphology::Ring(int channel, int logical) noexcept {
    const int k = 2 * m_nRy + 1;
    const size_t slot = static_cast<size_t>(channel) * k + static_cast<size_t>((m_nRingStart + logical) % k);
    return m_aRing.data() + slot * m_nRingRow;
}

template <bool Max>
void CSeqOpMorphology::Across(const uint16_t* f, uint16_t* out) {
    const size_t n = m_nPadded, k = 2 * static_cast<size_t>(m_nRx) + 1, w = static_cast<size_t>(m_nWidth);
    if (k == 1) {
        std::memcpy(out, f, w * sizeof(uint16_t));
        return;
    }
    uint16_t* g = m_aScratch.data();
    uint16_t* h = g + n;
    for (size_t b = 0; b < n; b += k) {
        const size_t e = std::min(b + k, n);
        g[b] = f[b];
        for (size_t i = b + 1; i < e; ++i) g[i] = Op<Max>(g[i - 1], f[i]);
        h[e - 1] = f[e - 1];
        for (size_t i = e - 1; i-- > b;) h[i] = Op<Max>(h[i + 1], f[i]);
    }
    Combine<Max>(out, h, g + k - 1, w);
}

template <bool Max>
void CSeqOpMorphology::Square(int channel, uint16_t* out, bool whole) {
    m_pWindow->SetChannel(channel);
    const int k = 2 * m_nRy + 1;
    const size_t w = static_cast<size_t>(m_nWidth);
    for (int r = whole ? 0 : k - 1; r < k; ++r)
        Across<Max>(m_pWindow->Row<uint16_t>(r), Ring(channel, r));
    uint16_t* suffix = m_aSuffix.data() + static_cast<size_t>(channel) * k * w;
    uint16_t* prefix = m_aPrefix.data() + static_cast<size_t>(channel) * w;
    const int phase = m_nRow % k;
    if (phase == 0) {
        // The window is exactly one block: its suffix maxima serve the k rows from here.
        std::memcpy(suffix + (k - 1) * w, Ring(channel, k - 1), w * sizeof(uint16_t));
        for (int i = k - 2; i >= 0; --i) Combine<Max>(suffix + i * w, Ring(channel, i), suffix + (i + 1) * w, w);
        std::memcpy(out, suffix, w * sizeof(uint16_t));
        return;
    }
    // The newest row belongs to the next block.
    if (phase == 1) std::memcpy(prefix, Ring(channel, k - 1), w * sizeof(uint16_t));
    else Combine<Max>(prefix, prefix, Ring(channel, k - 1), w);
    Combine<Max>(out, suffix + static_cast<size_t>(phase) * w, prefix, w);
}

template <bool Max>
void CSeqOpMorphology::Levels(const uint16_t* in, uint16_t* table) {
    const size_t n = m_nPadded;
    std::memcpy(table, in, n * sizeof(uint16_t));
    for (int l = 1; l < m_nLevels; ++l) {
        const size_t step = size_t(1) << (l - 1);
        const uint16_t* prev = table + (l - 1) * n;
        uint16_t* cur = table + l * n;
        const size_t valid = n >= 2 * step ? n - 2 * step + 1 : 0;
        Combine<Max>(cur, prev, prev + step, valid);
    }
}

template <bool Max>
void CSeqOpMorphology::Round(int channel, uint16_t* out, bool whole) {
    m_pWindow->SetChannel(channel);
    const int k = 2 * m_nRy + 1;
    const size_t w = static_cast<size_t>(m_nWidth), n = m_nPadded;
    for (int r = whole ? 0 : k - 1; r < k; ++r) Levels<Max>(m_pWindow->Row<uint16_t>(r), Ring(channel, r));
    std::fill(out, out + w, Max ? uint16_t(0) : uint16_t(0xFFFF));
    for (int i = 0; i < k; ++i) {
        const int half = m_aHalf[static_cast<size_t>(i)], len = 2 * half + 1, l = FloorLog2(len);
        const uint16_t* table = Ring(channel, i) + static_cast<size_t>(l) * n;
        const uint16_t* a = table + (m_nRx - half);
        const uint16_t* b = a + (len - (1 << l));
        for (size_t x = 0; x < w; ++x) out[x] = Op<Max>(out[x], Op<Max>(a[x], b[x]));
    }
}

bool CSeqOpMorphology::MakeRow() {
    if (!m_pWindow || !m_pWindow->IsAttached() || m_nRow >= GetHeight()) return false;
    const bool whole = m_nRow == 0;
    if (!whole) {
        if (!m_pWindow->Next()) return false;
        m_nRingStart = (m_nRingStart + 1) % (2 * m_nRy + 1);
    }
    for (int c = 0; c < m_nChannels; ++c) {
        uint16_t* out = m_aOut.data() + static_cast<size_t>(c) * m_nWidth;
        if (m_eShape == keMorphSquare) m_bDilate ? Square<true>(c, out, whole) : Square<false>(c, out, whole);
        else m_bDilate ? Round<true>(c, out, whole) : Round<false>(c, out, whole);
    }
    if (m_nSampleBytes == 1) Interleave<uint8_t>(m_oRowBuffer.Data(), m_aOut.data(), m_nWidth, m_nChannels);
    else Interleave<uint16_t>(m_oRowBuffer.Data(), m_aOut.data(), m_nWidth, m_nChannels);
    ++m_nRow;
    return true;
}
