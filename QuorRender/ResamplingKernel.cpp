#include "QuorRender/ResamplingKernel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "diagnostics/QgdiLog.h"

namespace {

bool IsWeightType(quor::EQType t) noexcept { return t >= quor::keTypeUInt16 && t <= quor::keTypeInt32; }

// Float to integer by truncation toward zero, as every generator converts.
inline int64_t Trunc(double v) noexcept { return static_cast<int64_t>(v); }

void WriteRecord(const CResamplingKernelArray& a, int i, int start, int taps, const int64_t* w, int written) noexcept {
    a.Header(i).nStart = start;
    a.Header(i).nTaps = static_cast<uint32_t>(taps);
    for (int k = 0; k < a.nMaxTaps; ++k) a.SetWeight(i, k, k < written ? w[k] : 0);
}

}  // namespace

bool CResamplingKernelArray::Create(int count, int maxTaps, quor::EQType weightType, uint32_t scale,
                                    uint32_t intermediateSize) noexcept {
    Free();
    if (count < 1 || maxTaps < 1 || !IsWeightType(weightType) || scale == 0 || (scale & (scale - 1)) != 0) return false;
    const size_t weightBytes = quor::SizeOf(weightType);
    // Records start on 8 bytes so that the header and the weights load aligned.
    const size_t stride = (sizeof(SRecordHeader) + static_cast<size_t>(maxTaps) * weightBytes + 7) / 8 * 8;
    if (stride > UINT32_MAX || static_cast<size_t>(count) > SIZE_MAX / stride) return false;
    pRecords = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(count), stride));
    if (!pRecords) return false;
    m_bOwned = true;
    nCount = count;
    nMaxTaps = maxTaps;
    eWeightType = weightType;
    nScale = scale;
    nStride = static_cast<uint32_t>(stride);
    nIntermediateSize = intermediateSize;
    return true;
}

bool CResamplingKernelArray::CreateView(const CResamplingKernelArray& other, int first, int count) noexcept {
    Free();
    if (!other.pRecords || first < 0 || count < 1 || first + static_cast<int64_t>(count) > other.nCount) return false;
    nCount = count;
    nMaxTaps = other.nMaxTaps;
    eWeightType = other.eWeightType;
    nIntermediateSize = other.nIntermediateSize;
    nScale = other.nScale;
    nStride = other.nStride;
    pRecords = other.pRecords + static_cast<size_t>(first) * other.nStride;
    return true;
}

void CResamplingKernelArray::Free() noexcept {
    if (m_bOwned) std::free(pRecords);
    pRecords = nullptr;
    m_bOwned = false;
    nCount = nMaxTaps = 0;
}

int64_t CResamplingKernelArray::Weight(int i, int k) const noexcept {
    const uint8_t* p = static_cast<const uint8_t*>(Weights(i));
    switch (eWeightType) {
    case quor::keTypeUInt16: {
        uint16_t v;
        std::memcpy(&v, p + 2 * k, 2);
        return v;
    }
    case quor::keTypeInt16: {
        int16_t v;
        std::memcpy(&v, p + 2 * k, 2);
        return v;
    }
    case quor::keTypeUInt32: {
        uint32_t v;
        std::memcpy(&v, p + 4 * k, 4);
        return v;
    }
    case quor::keTypeInt32: {
        int32_t v;
        std::memcpy(&v, p + 4 * k, 4);
        return v;
    }
    default: return 0;
    }
}

void CResamplingKernelArray::SetWeight(int i, int k, int64_t w) const noexcept {
    uint8_t* p = static_cast<uint8_t*>(Weights(i));
    if (HasWideWeights()) {
        const uint32_t v = static_cast<uint32_t>(w);
        std::memcpy(p + 4 * k, &v, 4);
    } else {
        const uint16_t v = static_cast<uint16_t>(w);
        std::memcpy(p + 2 * k, &v, 2);
    }
}

bool CResamplingKernelArray::FoldToRange(int n) const noexcept {
    if (!pRecords || n < 1) return false;
    std::vector<int64_t> folded;
    for (int i = 0; i < nCount; ++i) {
        const int start = Start(i);
        const int taps = static_cast<int>(std::min<uint32_t>(Taps(i), static_cast<uint32_t>(nMaxTaps)));
        const int lo = std::clamp(start, 0, n - 1);
        const int hi = std::clamp(start + std::max(taps, 1) - 1, 0, n - 1);
        folded.assign(static_cast<size_t>(hi - lo + 1), 0);
        for (int k = 0; k < taps; ++k) folded[static_cast<size_t>(std::clamp(start + k, lo, hi) - lo)] += Weight(i, k);
        // Trailing zero taps are dropped; leading ones stay, so that starts
        // never move back and a vertical cache never drops a row it needs again.
        size_t first = 0, last = folded.size();
        while (last - first > 1 && folded[last - 1] == 0) --last;
        WriteRecord(*this, i, lo + static_cast<int>(first), static_cast<int>(last - first), folded.data() + first,
                    static_cast<int>(last - first));
    }
    return true;
}

bool CResamplingKernelArray::IsWithin(int n) const noexcept {
    if (!pRecords || nCount < 1) return false;
    for (int i = 0; i < nCount; ++i) {
        const int64_t start = Start(i), taps = Taps(i);
        if (start < 0 || taps < 1 || taps > nMaxTaps || start + taps > n) return false;
    }
    return true;
}

bool GenerateBicubicKernel(CResamplingKernelArray& a, int n) {
    if (!IsWeightType(a.eWeightType)) return false;
    const double S = a.nScale;
    for (int i = 0; i < a.nCount; ++i) {
        const double p = qgdi::resample::CornerPosition(i, a.nCount, n);
        const int j = static_cast<int>(p);
        const double t = p - j, t2 = t * t, t3 = t2 * t;
        const int64_t wm = Trunc(S * (-t + 2 * t2 - t3));
        const int64_t w1 = Trunc(S * (t + t2 - t3));
        const int64_t w2 = Trunc(S * (-t2 + t3));
        const int64_t w0 = static_cast<int64_t>(a.nScale) - w2 - w1 - wm;
        if (j < 1) {
            const int64_t w[4] = {w0 + wm, w1, w2, 0};
            WriteRecord(a, i, 0, 3, w, 4);
        } else if (j < n - 2) {
            const int64_t w[4] = {wm, w0, w1, w2};
            WriteRecord(a, i, j - 1, 4, w, 4);
        } else if (j == n - 2) {
            const int64_t w[4] = {0, wm, w0, w1 + w2};
            WriteRecord(a, i, n - 4, 4, w, 4);
        } else {
            const int64_t w[4] = {0, 0, wm, w0 + w1 + w2};
            WriteRecord(a, i, n - 4, 4, w, 4);
        }
    }
    return true;
}

bool GenerateBilinearKernel(CResamplingKernelArray& a, int n) {
    if (!IsWeightType(a.eWeightType)) return false;
    const double S = a.nScale;
    for (int i = 0; i < a.nCount; ++i) {
        const double p = qgdi::resample::CornerPosition(i, a.nCount, n);
        const int j = static_cast<int>(p);
        const double t = p - j;
        if (j == n - 1) {
            const int64_t w[2] = {0, a.nScale};
            WriteRecord(a, i, n - 2, 2, w, 2);
        } else {
            const int64_t w0 = Trunc((1 - t) * S);
            const int64_t w[2] = {w0, static_cast<int64_t>(a.nScale) - w0};
            WriteRecord(a, i, j, 2, w, 2);
        }
    }
    return true;
}

bool GenerateAverageKernel(CResamplingKernelArray& a, double start, double end, int offset, bool countTaps) {
    if (!IsWeightType(a.eWeightType)) return false;
    const double step = (end - start) / a.nCount;
    const double u = a.nScale / step;
    std::vector<int64_t> w(static_cast<size_t>(a.nMaxTaps));
    for (int i = 0; i < a.nCount; ++i) {
        const double x0 = i * step + start - offset, x1 = x0 + step;
        const int64_t first = Trunc(x0);
        std::fill(w.begin(), w.end(), 0);
        int written = 1;
        if (static_cast<double>(first + 1) > x1) {
            w[0] = a.nScale;
        } else {
            const double v0 = (static_cast<double>(first + 1) - x0) * u + 0.000001;
            w[0] = Trunc(v0);
            double carry = v0 - 0.000001 - static_cast<double>(w[0]);
            for (int64_t k = first + 1; written < a.nMaxTaps; ++k) {
                const double c = x1 > static_cast<double>(k + 1) ? 1.0 : x1 - static_cast<double>(k);
                if (c < 0.000001) break;
                const double v = c * u;
                w[static_cast<size_t>(written)] = Trunc(v);
                carry += v - static_cast<double>(w[static_cast<size_t>(written)]);
                if (carry >= 0.999999) {
                    const int64_t add = Trunc(carry + 0.000001);
                    w[static_cast<size_t>(written)] += add;
                    carry -= static_cast<double>(add);
                }
                ++written;
            }
        }
        WriteRecord(a, i, static_cast<int>(first), countTaps ? written : a.nMaxTaps, w.data(), written);
    }
    return true;
}

bool GenerateGenericKernel(CResamplingKernelArray& a, int n, double (*weight)(double distance, int offset, int taps),
                           int offset, int taps) {
    if (!weight) return false;
    return qgdi::resample::GenerateGeneric(a, n, weight, offset, taps);
}

void CResamplingKernelArray_Dump(const CResamplingKernelArray& a) {
    QGDI_Log(keLogDebug, "CResamplingKernelArray\tcount=%d\tmaxTaps=%d\ttype=%s\tscale=%u\tstride=%u", a.nCount,
             a.nMaxTaps, quor::GetName(a.eWeightType), a.nScale, a.nStride);
    if (!a.pRecords) return;
    for (int i = 0; i < a.nCount; ++i) {
        std::string line;
        for (int k = 0; k < a.nMaxTaps; ++k) line += (k ? " " : "") + std::to_string(a.Weight(i, k));
        QGDI_Log(keLogDebug, "%d\tstart=%d\ttaps=%u\t[%s]", i, a.Start(i), a.Taps(i), line.c_str());
    }
}

namespace qgdi::resample {

double LanczosWeight(double x, double lobes) noexcept {
    x = std::fabs(x);
    if (x < 1e-9) return 1.0;
    if (x >= lobes) return 0.0;
    constexpr double kPi = 3.14159265358979;
    const double px = kPi * x;
    return lobes * std::sin(px) * std::sin(px / lobes) / (px * px);
}

double MitchellWeight(double x) noexcept {
    // B = C = 1/3.
    constexpr double B = 1.0 / 3.0, C = 1.0 / 3.0;
    x = std::fabs(x);
    if (x < 1) return ((12 - 9 * B - 6 * C) * x * x * x + (-18 + 12 * B + 6 * C) * x * x + (6 - 2 * B)) / 6;
    if (x < 2)
        return ((-B - 6 * C) * x * x * x + (6 * B + 30 * C) * x * x + (-12 * B - 48 * C) * x + (8 * B + 24 * C)) / 6;
    return 0;
}

double CubicWeight(double x, double a) noexcept {
    x = std::fabs(x);
    if (x < 1) return ((a + 2) * x - (a + 3)) * x * x + 1;
    if (x < 2) return ((a * x - 5 * a) * x + 8 * a) * x - 4 * a;
    return 0;
}

void NormaliseWeights(const double* raw, int taps, double sum, uint32_t scale, int64_t* out) noexcept {
    const double f = scale / sum;
    double exact = 0;
    int64_t before = 0;
    for (int k = 0; k < taps; ++k) {
        exact += raw[k] * f;
        const int64_t upTo = k == taps - 1 ? static_cast<int64_t>(scale)
                                           : static_cast<int64_t>(std::floor(exact + 0.5));
        out[k] = upTo - before;
        before = upTo;
    }
}

}  // namespace qgdi::resample
