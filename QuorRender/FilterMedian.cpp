#include "QuorRender/FilterMedian.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "QuorRender/internal/FilterChain.h"
#include "qdibcore/Source/PixelFormat.h"

namespace {

constexpr size_t kFine = 256, kCoarse = 16, kBins = kFine + kCoarse;

inline void Sort2(int16_t& a, int16_t& b) noexcept {
    const int16_t lo = std::min(a, b), hi = std::max(a, b);
    a = lo, b = hi;
}

// Radius 1: the median of nine by a fixed network of 19 exchanges, on whole
// rows at once (branch-free minima and maxima, which vectorise).
void Median9(const int16_t* r0, const int16_t* r1, const int16_t* r2, uint8_t* out, int width, int stride) noexcept {
    for (int x = 0; x < width; ++x) {
        int16_t p0 = r0[x], p1 = r0[x + 1], p2 = r0[x + 2], p3 = r1[x], p4 = r1[x + 1], p5 = r1[x + 2], p6 = r2[x],
                p7 = r2[x + 1], p8 = r2[x + 2];
        Sort2(p1, p2), Sort2(p4, p5), Sort2(p7, p8), Sort2(p0, p1), Sort2(p3, p4), Sort2(p6, p7);
        Sort2(p1, p2), Sort2(p4, p5), Sort2(p7, p8), Sort2(p0, p3), Sort2(p5, p8), Sort2(p4, p7);
        Sort2(p3, p6), Sort2(p1, p4), Sort2(p2, p5), Sort2(p4, p7), Sort2(p4, p2), Sort2(p6, p4);
        Sort2(p4, p2);
        out[static_cast<size_t>(x) * stride] = static_cast<uint8_t>(p4);
    }
}

}  // namespace

CSeqOpMedian::~CSeqOpMedian() = default;

bool CSeqOpMedian::Reset() {
    m_pWindow.reset();
    VSeqOp* src = Src(0);
    if (!src || m_nRadius < 0 || m_nRadius > qgdi::filter::kiMaxMedianRadius) return false;
    const CQPixelFormat pf(src->GetPixelFormat());
    if (pf.IsIndexedColor() || pf.GetBitsPerChannel() != 8) return false;
    const int k = 2 * m_nRadius + 1;
    if (!OpenWindow(m_pWindow, quor::keTypeInt16, k, k, m_nRadius, m_nRadius, m_eEdge, m_nEdgeColour, m_nWidth,
                    m_nChannels))
        return false;
    m_nPadded = static_cast<size_t>(m_nWidth) + 2 * static_cast<size_t>(m_nRadius);
    m_oRowBuffer.Free();
    try {
        m_aColumns.assign(m_nRadius == 1 ? 0 : static_cast<size_t>(m_nChannels) * m_nPadded * kBins, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!SizeRows(pf.Get(), m_nWidth)) return false;
    m_nRow = 0;
    return true;
}

void CSeqOpMedian::Columns(int slot, int sign) noexcept {
    for (int c = 0; c < m_nChannels; ++c) {
        m_pWindow->SetChannel(c);
        const int16_t* row = m_pWindow->Row<int16_t>(slot);
        uint16_t* h = m_aColumns.data() + static_cast<size_t>(c) * m_nPadded * kBins;
        const auto d = static_cast<uint16_t>(sign);
        for (size_t x = 0; x < m_nPadded; ++x, h += kBins) {
            const auto v = static_cast<size_t>(row[x]);
            h[v] = static_cast<uint16_t>(h[v] + d);
            h[kFine + (v >> 4)] = static_cast<uint16_t>(h[kFine + (v >> 4)] + d);
        }
    }
}

void CSeqOpMedian::Channel(int c) noexcept {
    const int k = 2 * m_nRadius + 1;
    const uint16_t* cols = m_aColumns.data() + static_cast<size_t>(c) * m_nPadded * kBins;
    const auto column = [cols](int x) { return cols + static_cast<size_t>(x) * kBins; };
    // The window's coarse histogram moves with every pixel; a fine bucket is
    // brought up to date only when the median falls in it, from the column
    // where it was last current (or rebuilt when that is out of the window).
    // Each bucket then passes every column at most once per row.
    uint16_t coarse[kCoarse] = {};
    uint16_t fine[kCoarse][16] = {};
    int current[kCoarse];
    for (int x = 0; x < k; ++x)
        for (size_t i = 0; i < kCoarse; ++i) coarse[i] = static_cast<uint16_t>(coarse[i] + column(x)[kFine + i]);
    std::fill(current, current + kCoarse, -k - 1);
    const int half = (k * k) / 2;  // samples below the median
    uint8_t* out = m_oRowBuffer.Data() + c;
    for (int x = 0; x < m_nWidth; ++x) {
        if (x > 0) {
            const uint16_t* add = column(x + k - 1) + kFine;
            const uint16_t* sub = column(x - 1) + kFine;
            for (size_t i = 0; i < kCoarse; ++i) coarse[i] = static_cast<uint16_t>(coarse[i] + add[i] - sub[i]);
        }
        int below = 0;
        size_t b = 0;
        while (below + coarse[b] <= half) below += coarse[b++];
        uint16_t* f = fine[b];
        if (current[b] + k <= x) {
            std::fill(f, f + 16, uint16_t(0));
            for (int col = x; col < x + k; ++col) {
                const uint16_t* h = column(col) + b * 16;
                for (int i = 0; i < 16; ++i) f[i] = static_cast<uint16_t>(f[i] + h[i]);
            }
        } else {
            for (int col = current[b]; col < x; ++col) {
                const uint16_t* add = column(col + k) + b * 16;
                const uint16_t* sub = column(col) + b * 16;
                for (int i = 0; i < 16; ++i) f[i] = static_cast<uint16_t>(f[i] + add[i] - sub[i]);
            }
        }
        current[b] = x;
        size_t v = 0;
        while (below + f[v] <= half) below += f[v++];
        out[static_cast<size_t>(x) * m_nChannels] = static_cast<uint8_t>(b * 16 + v);
    }
}

bool CSeqOpMedian::MakeRow() {
    if (!m_pWindow || !m_pWindow->IsAttached() || m_nRow >= GetHeight()) return false;
    const int k = 2 * m_nRadius + 1;
    if (m_nRadius == 1) {
        if (m_nRow > 0 && !m_pWindow->Next()) return false;
        for (int c = 0; c < m_nChannels; ++c) {
            m_pWindow->SetChannel(c);
            Median9(m_pWindow->Row<int16_t>(0), m_pWindow->Row<int16_t>(1), m_pWindow->Row<int16_t>(2),
                    m_oRowBuffer.Data() + c, m_nWidth, m_nChannels);
        }
        ++m_nRow;
        return true;
    }
    if (m_nRow == 0) {
        std::fill(m_aColumns.begin(), m_aColumns.end(), uint16_t(0));
        for (int r = 0; r < k; ++r) Columns(r, 1);
    } else {
        // The top row leaves the window before it rotates away.
        Columns(0, -1);
        if (!m_pWindow->Next()) return false;
        Columns(k - 1, 1);
    }
    for (int c = 0; c < m_nChannels; ++c) Channel(c);
    ++m_nRow;
    return true;
}

CErrorAutoThrow CImageMedian::Apply(const CRowIterator& source, CRowIterator& destination,
                                    CStatusControl* status) const {
    if (m_nRadius < 0 || m_nRadius > qgdi::filter::kiMaxMedianRadius || !EdgeIsValid())
        return QERR(keQuorErrFailed);
    qgdi::filter::SChainOptions options;
    options.eChannels = m_eChannels;
    options.bPremultiply = false;
    options.bSixteenBit = false;
    return qgdi::filter::RunChain(
        source, destination, options,
        [this](VSeqOp* tail, const qgdi::filter::SChainContext&) {
            return qgdi::filter::Append(tail, new CSeqOpMedian(m_nRadius, m_eEdge, m_nEdgeColour));
        },
        status);
}

CErrorAutoThrow QGDI_Median(const CRowIterator& source, CRowIterator& destination, int radius,
                            CStatusControl* status) {
    return CImageMedian(radius).Apply(source, destination, status);
}
