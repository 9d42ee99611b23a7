#include "QuorRender/SeqOpConvolve.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <type_traits>

#include "QuorRender/KernelSource.h"
#include "qdibcore/Source/PixelFormat.h"

bool SConvolveKernel::IsValid() const noexcept {
    if (nColumns < 1 || nRows < 1 || nColumns > kiMaxSize || nRows > kiMaxSize) return false;
    if (aValues.size() != static_cast<size_t>(nColumns) * static_cast<size_t>(nRows)) return false;
    if (!std::isfinite(fDivisor) || fDivisor == 0 || !std::isfinite(fBias) || std::fabs(fBias) > kfMaxBias) return false;
    double total = 0;
    for (const double v : aValues) {
        if (!std::isfinite(v)) return false;
        total += std::fabs(v);
    }
    return total / std::fabs(fDivisor) <= kfMaxWeightSum && AnchorX() < nColumns && AnchorY() < nRows;
}

namespace {

struct SStock {
    const char* name;
    int values[9];
    int divisor;
    int bias;
};
constexpr SStock kStock[keFilterMatrixCount] = {
    {"blur", {1, 2, 1, 2, 4, 2, 1, 2, 1}, 16, 0},
    {"sharpen", {0, -1, 0, -1, 5, -1, 0, -1, 0}, 1, 0},
    {"sharpen-more", {-1, -1, -1, -1, 9, -1, -1, -1, -1}, 1, 0},
    {"edge", {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 1, 0},
    {"emboss", {-1, -1, 0, -1, 0, 1, 0, 1, 1}, 1, 128},
    {"laplacian", {0, 1, 0, 1, -4, 1, 0, 1, 0}, 1, 128},
    {"sobel-x", {-1, 0, 1, -2, 0, 2, -1, 0, 1}, 1, 128},
    {"sobel-y", {-1, -2, -1, 0, 0, 0, 1, 2, 1}, 1, 128},
    {"prewitt-x", {-1, 0, 1, -1, 0, 1, -1, 0, 1}, 1, 128},
    {"prewitt-y", {-1, -1, -1, 0, 0, 0, 1, 1, 1}, 1, 128},
    {"high-pass", {-1, -2, -1, -2, 12, -2, -1, -2, -1}, 16, 128},
};

// The largest shift s <= cap with (magnitude + 1) x 2^s within 2^30 (a bit
// of headroom for the rounding of the weights), or -1.
int MaxShift(double magnitude, int cap) {
    int s = -1;
    while (s < cap && (magnitude + 1.0) * std::ldexp(1.0, s + 1) <= 1073741824.0) ++s;
    return s;
}

double AbsSum(const std::vector<double>& v) {
    double s = 0;
    for (const double x : v) s += std::fabs(x);
    return s;
}

template <class S, class T>
void Interleave(uint8_t* dst, const T* planes, int width, int channels) noexcept {
    S* out = reinterpret_cast<S*>(dst);
    for (int c = 0; c < channels; ++c) {
        const T* p = planes + static_cast<size_t>(c) * width;
        for (int x = 0; x < width; ++x) out[static_cast<size_t>(x) * channels + c] = static_cast<S>(p[x]);
    }
}

}  // namespace

bool QGDI_GetFilterMatrix(EQFilterMatrix which, SConvolveKernel& kernel) {
    if (which < 0 || which >= keFilterMatrixCount) return false;
    const SStock& s = kStock[which];
    kernel.nColumns = kernel.nRows = 3;
    kernel.aValues.assign(std::begin(s.values), std::end(s.values));
    kernel.fDivisor = s.divisor;
    kernel.fBias = s.bias;
    kernel.nAnchorX = kernel.nAnchorY = -1;
    return true;
}

const char* QGDI_GetFilterMatrixName(int which) noexcept {
    return which >= 0 && which < keFilterMatrixCount ? kStock[which].name : nullptr;
}

int QGDI_ParseFilterMatrix(const char* name) noexcept {
    if (!name) return -1;
    for (int i = 0; i < keFilterMatrixCount; ++i)
        if (std::strcmp(name, kStock[i].name) == 0) return i;
    return -1;
}

namespace qgdi::filter {

bool SplitKernel(const SConvolveKernel& k, std::vector<double>& column, std::vector<double>& row) {
    if (!k.IsValid()) return false;
    int pc = 0, pr = 0;
    double peak = 0;
    for (int r = 0; r < k.nRows; ++r)
        for (int c = 0; c < k.nColumns; ++c)
            if (std::fabs(k.At(c, r)) > peak) peak = std::fabs(k.At(c, r)), pc = c, pr = r;
    if (peak == 0) return false;
    // Every 2 x 2 minor through the peak vanishes exactly when the rank is one.
    const double p = k.At(pc, pr);
    for (int r = 0; r < k.nRows; ++r)
        for (int c = 0; c < k.nColumns; ++c)
            if (std::fabs(k.At(c, r) * p - k.At(pc, r) * k.At(c, pr)) > 1e-9 * peak * peak) return false;
    column.resize(static_cast<size_t>(k.nRows));
    row.resize(static_cast<size_t>(k.nColumns));
    for (int r = 0; r < k.nRows; ++r) column[static_cast<size_t>(r)] = k.At(pc, r);
    for (int c = 0; c < k.nColumns; ++c) row[static_cast<size_t>(c)] = k.At(c, pr) / p;
    return true;
}

std::vector<int32_t> FixWeights(const std::vector<double>& values, int shift) {
    std::vector<int32_t> out(values.size());
    const double scale = std::ldexp(1.0, shift);
    double running = 0;
    int64_t given = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        running += values[i] * scale;
        const int64_t upTo = std::llround(running);
        out[i] = static_cast<int32_t>(upTo - given);
        given = upTo;
    }
    return out;
}

}  // namespace qgdi::filter

CSeqOpConvolve::CSeqOpConvolve(const SConvolveKernel& kernel, EEdgeMode edge, uint32_t edgeColour)
    : m_oKernel(kernel),
      m_eEdge(edge),
      m_nEdgeColour(edgeColour) {}

CSeqOpConvolve::~CSeqOpConvolve() = default;

bool CSeqOpConvolve::Plan() {
    const SConvolveKernel& k = m_oKernel;
    const int m = k.nColumns, n = k.nRows;
    const double bias = k.fBias * (m_nMax == 255 ? 1.0 : 257.0);
    std::vector<double> column, row;
    m_bSeparable = m * n > m + n && qgdi::filter::SplitKernel(k, column, row);
    m_aTapX.clear(), m_aTapY.clear();
    std::vector<double> full;
    if (m_bSeparable) {
        // The row carries unit absolute sum, the column the kernel's scale.
        const double s = AbsSum(row);
        for (double& v : row) v /= s;
        for (double& v : column) v *= s / k.fDivisor;
    } else {
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < m; ++c)
                if (k.At(c, r) != 0) {
                    m_aTapX.push_back(c), m_aTapY.push_back(r);
                    full.push_back(k.At(c, r) / k.fDivisor);
                }
    }
    if (m_bFloat) {
        m_aWeightF.assign(full.begin(), full.end());
        m_aRowWeightF.assign(row.begin(), row.end());
        m_aColWeightF.assign(column.begin(), column.end());
        m_fBias = static_cast<float>(bias + 0.5);
        return true;
    }
    if (m_bSeparable) {
        m_nRowShift = MaxShift(m_nMax, 24);
        const int total = MaxShift(m_nMax * AbsSum(column) + std::fabs(bias), 28);
        if (m_nRowShift < 6 || total < 6) return false;
        // Split the down sum's precision between the intermediate rows and
        // the column weights.
        m_nColShift = std::min((total + 1) / 2, 16);
        const int extra = std::min(total - m_nColShift, m_nRowShift);
        m_nColShift = total - extra;
        m_nRowShift -= extra;  // from here on: the shift that brings the across sums to `extra` bits
        m_aRowWeight = qgdi::filter::FixWeights(row, m_nRowShift + extra);
        m_aColWeight = qgdi::filter::FixWeights(column, m_nColShift);
        m_nShift = m_nColShift + extra;
    } else {
        m_nShift = MaxShift(m_nMax * AbsSum(full) + std::fabs(bias), 22);
        if (m_nShift < 6) return false;
        m_aWeight = qgdi::filter::FixWeights(full, m_nShift);
    }
    m_nBias = static_cast<int32_t>(std::llround(bias * std::ldexp(1.0, m_nShift))) + (1 << (m_nShift - 1));
    return true;
}

bool CSeqOpConvolve::Reset() {
    m_pWindow.reset();
    m_apSlot.clear();
    VSeqOp* src = Src(0);
    if (!src || !m_oKernel.IsValid()) return false;
    const CQPixelFormat pf(src->GetPixelFormat());
    const int bpc = pf.GetBitsPerChannel();
    if (pf.IsIndexedColor() || (bpc != 8 && bpc != 16)) return false;
    m_bFloat = bpc == 16;
    m_nMax = m_bFloat ? 65535 : 255;
    m_nSampleBytes = bpc / 8;
    if (!Plan()) return false;
    const SConvolveKernel& k = m_oKernel;
    if (!m_bFloat) {
        if (!src->Reset()) return false;
        m_nWidth = src->GetWidth();
        m_nChannels = pf.GetChannelCount();
        if (pf.GetBitsPerPixel() != m_nChannels * bpc || m_nChannels > 4 || m_nWidth <= 0) return false;
        EQChannel list[8];
        int count = 0;
        pf.GetChannels(count, list);
        for (int c = 0; c < m_nChannels; ++c) m_aEdgeSample[c] = QGDI_GetChannelColor(m_nEdgeColour, list[c]);
        m_oRowBuffer.Free();
        try {
            const size_t plane = static_cast<size_t>(m_nWidth) * m_nChannels;
            const size_t padded = (static_cast<size_t>(m_nWidth) + k.nColumns - 1) * m_nChannels;
            m_aSlots.assign(padded * static_cast<size_t>(k.nRows), 0);
            m_apSlot.resize(static_cast<size_t>(k.nRows));
            for (int i = 0; i < k.nRows; ++i) m_apSlot[static_cast<size_t>(i)] = m_aSlots.data() + padded * i;
            m_aAcc.assign(plane, 0);
            m_aRing.assign(m_bSeparable ? plane * static_cast<size_t>(k.nRows) : 0, 0);
        } catch (const std::bad_alloc&) {
            return false;
        }
        if (!SizeRows(pf.Get(), m_nWidth)) return false;
        m_nRow = 0;
        m_nRingStart = 0;
        m_pLast = nullptr;
        m_nLast = -1;
        return true;
    }
    if (!OpenWindow(m_pWindow, quor::keTypeReal32, k.nColumns, k.nRows, k.AnchorX(), k.AnchorY(), m_eEdge,
                    m_nEdgeColour, m_nWidth, m_nChannels))
        return false;
    m_oRowBuffer.Free();
    try {
        const size_t plane = static_cast<size_t>(m_nWidth) * m_nChannels;
        const size_t ring = m_bSeparable ? plane * static_cast<size_t>(k.nRows) : 0;
        m_aAcc.assign(m_bFloat ? 0 : plane, 0);
        m_aAccF.assign(m_bFloat ? plane : 0, 0.f);
        m_aRing.assign(m_bFloat ? 0 : ring, 0);
        m_aRingF.assign(m_bFloat ? ring : 0, 0.f);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!SizeRows(pf.Get(), m_nWidth)) return false;
    m_nRow = 0;
    m_nRingStart = 0;
    return true;
}

template <class T>
void CSeqOpConvolve::Full(int channel, T* acc) {
    m_pWindow->SetChannel(channel);
    const int w = m_nWidth;
    if constexpr (std::is_same_v<T, float>) std::fill(acc, acc + w, m_fBias);
    else std::fill(acc, acc + w, m_nBias);
    // Tap by tap over the whole row: each inner loop is a multiply-add of
    // two contiguous arrays, which vectorises.
    for (size_t t = 0; t < m_aTapX.size(); ++t) {
        const T* __restrict__ in = m_pWindow->Row<T>(m_aTapY[t]) + m_aTapX[t];
        T* __restrict__ a = acc;
        if constexpr (std::is_same_v<T, float>) {
            const float wt = m_aWeightF[t];
            for (int x = 0; x < w; ++x) a[x] += wt * in[x];
        } else {
            const int32_t wt = m_aWeight[t];
            for (int x = 0; x < w; ++x) a[x] += wt * in[x];
        }
    }
}

template <class T>
void CSeqOpConvolve::Separable(int channel, T* acc, bool whole) {
    m_pWindow->SetChannel(channel);
    const int w = m_nWidth, n = m_oKernel.nRows, m = m_oKernel.nColumns;
    T* ring;
    if constexpr (std::is_same_v<T, float>) ring = m_aRingF.data();
    else ring = m_aRing.data();
    ring += static_cast<size_t>(channel) * n * w;
    const auto slot = [&](int logical) { return ring + static_cast<size_t>((m_nRingStart + logical) % n) * w; };
    // Across, for every window row at the start and afterwards only for the
    // row that has just come in.
    for (int r = whole ? 0 : n - 1; r < n; ++r) {
        const T* in = m_pWindow->Row<T>(r);
        T* __restrict__ out = slot(r);
        std::fill(out, out + w, T(0));
        for (int j = 0; j < m; ++j) {
            const T* __restrict__ src = in + j;
            if constexpr (std::is_same_v<T, float>) {
                const float wt = m_aRowWeightF[static_cast<size_t>(j)];
                for (int x = 0; x < w; ++x) out[x] += wt * src[x];
            } else {
                const int32_t wt = m_aRowWeight[static_cast<size_t>(j)];
                for (int x = 0; x < w; ++x) out[x] += wt * src[x];
            }
        }
        if constexpr (!std::is_same_v<T, float>) {
            if (m_nRowShift > 0) {
                const int32_t half = 1 << (m_nRowShift - 1);
                for (int x = 0; x < w; ++x) out[x] = (out[x] + half) >> m_nRowShift;
            }
        }
    }
    if constexpr (std::is_same_v<T, float>) std::fill(acc, acc + w, m_fBias);
    else std::fill(acc, acc + w, m_nBias);
    for (int i = 0; i < n; ++i) {
        const T* __restrict__ in = slot(i);
        T* __restrict__ a = acc;
        if constexpr (std::is_same_v<T, float>) {
            const float wt = m_aColWeightF[static_cast<size_t>(i)];
            for (int x = 0; x < w; ++x) a[x] += wt * in[x];
        } else {
            const int32_t wt = m_aColWeight[static_cast<size_t>(i)];
            for (int x = 0; x < w; ++x) a[x] += wt * in[x];
        }
    }
}

template <class T>
void CSeqOpConvolve::Finish(const T* acc) {
    // Back to samples, clamped: sharpening and edge kernels overshoot.
    const size_t count = static_cast<size_t>(m_nWidth) * m_nChannels;
    std::vector<int32_t>& out = m_aAcc;
    if constexpr (std::is_same_v<T, float>) {
        const float top = static_cast<float>(m_nMax) + 0.5f;
        float* a = m_aAccF.data();
        for (size_t i = 0; i < count; ++i) a[i] = std::min(std::max(acc[i], 0.f), top);
        if (m_nSampleBytes == 2) Interleave<uint16_t>(m_oRowBuffer.Data(), a, m_nWidth, m_nChannels);
        (void)out;
    } else {
        int32_t* a = out.data();
        for (size_t i = 0; i < count; ++i) a[i] = std::min(std::max(acc[i] >> m_nShift, 0), m_nMax);
        if (m_nSampleBytes == 1) Interleave<uint8_t>(m_oRowBuffer.Data(), a, m_nWidth, m_nChannels);
        else Interleave<uint16_t>(m_oRowBuffer.Data(), a, m_nWidth, m_nChannels);
    }
}

bool CSeqOpConvolve::LoadSlot(int slot, int row) {
    const int h = GetHeight(), w = m_nWidth, ch = m_nChannels, m = m_oKernel.nColumns, ax = m_oKernel.AnchorX();
    int16_t* out = m_apSlot[static_cast<size_t>(slot)];
    const size_t padded = (static_cast<size_t>(w) + m - 1) * ch;
    if (m_eEdge == keEdgeConstant && (row < 0 || row >= h)) {
        for (size_t i = 0; i < padded; ++i) out[i] = static_cast<int16_t>(m_aEdgeSample[i % ch]);
        return true;
    }
    // A sequential source cannot go back: rows above and below the image
    // repeat the first and last (wrap included), as in the kernel windows.
    row = std::min(std::max(row, 0), h - 1);
    if (row == m_nLast + 1) {
        m_pLast = static_cast<const uint8_t*>(Src(0)->GetNextRow(0, w));
        if (!m_pLast) return false;
        m_nLast = row;
    }
    if (!m_pLast) return false;
    const uint8_t* in = m_pLast;
    for (int p = 0; p < ax; ++p) {
        const int col = qgdi::edge::MapIndex(p - ax, w, m_eEdge);
        for (int c = 0; c < ch; ++c) out[p * ch + c] = static_cast<int16_t>(col < 0 ? m_aEdgeSample[c] : in[col * ch + c]);
    }
    int16_t* mid = out + static_cast<size_t>(ax) * ch;
    for (size_t i = 0; i < static_cast<size_t>(w) * ch; ++i) mid[i] = in[i];
    for (int p = w + ax; p < w + m - 1; ++p) {
        const int col = qgdi::edge::MapIndex(p - ax, w, m_eEdge);
        for (int c = 0; c < ch; ++c) out[p * ch + c] = static_cast<int16_t>(col < 0 ? m_aEdgeSample[c] : in[col * ch + c]);
    }
    return true;
}

bool CSeqOpConvolve::Interleaved() {
    const int n = m_oKernel.nRows, ay = m_oKernel.AnchorY(), ch = m_nChannels;
    const size_t count = static_cast<size_t>(m_nWidth) * ch;
    const bool whole = m_nRow == 0;
    if (whole) {
        for (int i = 0; i < n; ++i)
            if (!LoadSlot(i, i - ay)) return false;
    } else {
        std::rotate(m_apSlot.begin(), m_apSlot.begin() + 1, m_apSlot.end());
        if (!LoadSlot(n - 1, m_nRow + n - 1 - ay)) return false;
        m_nRingStart = (m_nRingStart + 1) % n;
    }
    int32_t* __restrict__ acc = m_aAcc.data();
    if (m_bSeparable) {
        const int m = m_oKernel.nColumns;
        const auto slot = [&](int logical) {
            return m_aRing.data() + static_cast<size_t>((m_nRingStart + logical) % n) * count;
        };
        for (int r = whole ? 0 : n - 1; r < n; ++r) {
            int32_t* __restrict__ h = slot(r);
            std::fill(h, h + count, m_nRowShift > 0 ? 1 << (m_nRowShift - 1) : 0);
            for (int j = 0; j < m; ++j) {
                const int16_t* __restrict__ in = m_apSlot[static_cast<size_t>(r)] + static_cast<size_t>(j) * ch;
                const int32_t wt = m_aRowWeight[static_cast<size_t>(j)];
                for (size_t i = 0; i < count; ++i) h[i] += wt * in[i];
            }
            if (m_nRowShift > 0)
                for (size_t i = 0; i < count; ++i) h[i] >>= m_nRowShift;
        }
        std::fill(acc, acc + count, m_nBias);
        for (int i = 0; i < n; ++i) {
            const int32_t* __restrict__ in = slot(i);
            const int32_t wt = m_aColWeight[static_cast<size_t>(i)];
            for (size_t x = 0; x < count; ++x) acc[x] += wt * in[x];
        }
    } else {
        std::fill(acc, acc + count, m_nBias);
        for (size_t t = 0; t < m_aTapX.size(); ++t) {
            const int16_t* __restrict__ in = m_apSlot[static_cast<size_t>(m_aTapY[t])] + static_cast<size_t>(m_aTapX[t]) * ch;
            const int32_t wt = m_aWeight[t];
            for (size_t i = 0; i < count; ++i) acc[i] += wt * in[i];
        }
    }
    uint8_t* out = m_oRowBuffer.Data();
    const int shift = m_nShift;
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(std::min(std::max(acc[i] >> shift, 0), 255));
    ++m_nRow;
    return true;
}

bool CSeqOpConvolve::MakeRow() {
    if (!m_bFloat) return m_nRow < GetHeight() && !m_apSlot.empty() && Interleaved();
    if (!m_pWindow || !m_pWindow->IsAttached() || m_nRow >= GetHeight()) return false;
    const bool whole = m_nRow == 0;
    if (!whole) {
        if (!m_pWindow->Next()) return false;
        m_nRingStart = (m_nRingStart + 1) % m_oKernel.nRows;
    }
    const size_t plane = static_cast<size_t>(m_nWidth);
    for (int c = 0; c < m_nChannels; ++c) {
        if (m_bFloat) {
            float* acc = m_aAccF.data() + c * plane;
            m_bSeparable ? Separable(c, acc, whole) : Full(c, acc);
        } else {
            int32_t* acc = m_aAcc.data() + c * plane;
            m_bSeparable ? Separable(c, acc, whole) : Full(c, acc);
        }
    }
    if (m_bFloat) Finish(m_aAccF.data());
    else Finish(m_aAcc.data());
    ++m_nRow;
    return true;
}
