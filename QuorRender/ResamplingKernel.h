#pragma once
// Kernel arrays of separable resampling: for every output sample along one
// axis, the first source sample it reads, how many it reads and the integer
// weight of each, in units of a power-of-two scale. The generators below fill
// them so that every record's weights add up to the scale exactly, which
// keeps a flat image flat through any chain of resamplings.
#include <cstdint>
#include <vector>

#include "qdibcore/Source/QuorType.h"
#include "qgdi_export.h"

class QGDI_API CResamplingKernelArray {
public:
    // One record: the first source sample, the taps used, then nMaxTaps
    // weights of the weight type (negative ones in two's complement).
    struct SRecordHeader {
        int32_t nStart;
        uint32_t nTaps;
    };

    int32_t nCount = 0;                           // records (output samples)
    int32_t nMaxTaps = 0;                         // weights per record
    quor::EQType eWeightType = quor::keTypeNull;  // 3, 4: 16-bit weights; 5, 6: 32-bit
    uint32_t nIntermediateSize = 0;               // bytes of a horizontally resampled sample
    uint32_t nScale = 0;                          // what a record's weights add up to
    uint32_t nStride = 0;                         // bytes from one record to the next
    uint8_t* pRecords = nullptr;

    CResamplingKernelArray() noexcept = default;
    ~CResamplingKernelArray() { Free(); }
    CResamplingKernelArray(const CResamplingKernelArray&) = delete;
    CResamplingKernelArray& operator=(const CResamplingKernelArray&) = delete;

    // Gives the array its shape and zeroed records of its own. False, and the
    // array left empty, for a count or tap count below 1, a weight type outside
    // 3-6, a scale that is not a power of two or memory that cannot be had.
    bool Create(int count, int maxTaps, quor::EQType weightType, uint32_t scale,
                uint32_t intermediateSize = 4) noexcept;
    // Records `first` .. `first + count - 1` of `other`, shared, not copied:
    // `other` must outlive this view.
    bool CreateView(const CResamplingKernelArray& other, int first, int count) noexcept;
    void Free() noexcept;

    SRecordHeader& Header(int i) const noexcept {
        return *reinterpret_cast<SRecordHeader*>(pRecords + static_cast<size_t>(i) * nStride);
    }
    int32_t Start(int i) const noexcept { return Header(i).nStart; }
    uint32_t Taps(int i) const noexcept { return Header(i).nTaps; }
    void* Weights(int i) const noexcept { return pRecords + static_cast<size_t>(i) * nStride + sizeof(SRecordHeader); }
    // Weight k of record i, read as signed or unsigned by the weight type.
    int64_t Weight(int i, int k) const noexcept;
    void SetWeight(int i, int k, int64_t w) const noexcept;
    bool HasWideWeights() const noexcept {
        return eWeightType == quor::keTypeUInt32 || eWeightType == quor::keTypeInt32;
    }
    bool HasSignedWeights() const noexcept {
        return eWeightType == quor::keTypeInt16 || eWeightType == quor::keTypeInt32;
    }

    // Moves the taps of every record inside 0..n-1, adding the weights of
    // samples outside onto the nearest edge sample, and drops trailing zero
    // taps (starts never decrease along the array where they did not before). Generators that do not clamp (the generic one) or sources
    // shorter than a kernel (bicubic below 4 samples) need it before a
    // stage reads the array.
    bool FoldToRange(int n) const noexcept;
    // Whether every record reads only samples 0..n-1 with at most nMaxTaps taps.
    bool IsWithin(int n) const noexcept;

private:
    bool m_bOwned = false;
};

// Cubic convolution (a = -1), corner-aligned: output i sits on source
// position i (n - 1) / (count - 1).
QGDI_API bool GenerateBicubicKernel(CResamplingKernelArray& a, int n);
// Two taps, corner-aligned.
QGDI_API bool GenerateBilinearKernel(CResamplingKernelArray& a, int n);
// Box average of source span [start, end) split into count equal parts;
// `offset` is subtracted from the positions. With `countTaps` false every
// record reports nMaxTaps taps.
QGDI_API bool GenerateAverageKernel(CResamplingKernelArray& a, double start, double end, int offset, bool countTaps);
// Taps from a weight function of the distance (k - t for tap k, t the
// fraction of the position), normalised to the scale. False for more taps
// than the records hold or a record whose raw weights add up to nothing.
QGDI_API bool GenerateGenericKernel(CResamplingKernelArray& a, int n,
                                    double (*weight)(double distance, int offset, int taps), int offset, int taps);
// Writes the records to the diagnostic channel.
QGDI_API void CResamplingKernelArray_Dump(const CResamplingKernelArray& a);

namespace qgdi::resample {
// The generic generator with a weight function that carries state (a
// kernel stretched by a reduction factor, say).
template <class Fn>
bool GenerateGeneric(CResamplingKernelArray& a, int n, Fn&& weight, int offset, int taps);
// Weight functions of the named filters, of the distance in source samples.
QGDI_API double LanczosWeight(double x, double lobes) noexcept;
QGDI_API double MitchellWeight(double x) noexcept;
QGDI_API double CubicWeight(double x, double a) noexcept;
// Normalises `raw` (taps values whose sum is `sum`) to integers adding up to
// `scale`: the running exact total is rounded, so each weight carries the
// rounding remainder of the ones before it.
QGDI_API void NormaliseWeights(const double* raw, int taps, double sum, uint32_t scale, int64_t* out) noexcept;
// The position of output i of count on a source of n samples, corner-aligned.
inline double CornerPosition(int i, int count, int n) noexcept {
    return count > 1 ? static_cast<double>(i) * (n - 1) / (count - 1) : (n - 1) / 2.0;
}
}  // namespace qgdi::resample

template <class Fn>
bool qgdi::resample::GenerateGeneric(CResamplingKernelArray& a, int n, Fn&& weight, int offset, int taps) {
    if (a.eWeightType < quor::keTypeUInt16 || a.eWeightType > quor::keTypeInt32) return false;
    if (taps > a.nMaxTaps || taps < 1) return false;
    std::vector<double> raw(static_cast<size_t>(taps));
    std::vector<int64_t> w(static_cast<size_t>(taps));
    for (int i = 0; i < a.nCount; ++i) {
        const double p = CornerPosition(i, a.nCount, n);
        const int j = static_cast<int>(p);
        const double t = p - j;
        double sum = 0;
        for (int k = 0; k < taps; ++k) sum += raw[k] = weight(k - t, offset, taps);
        if (sum < 0.000001 && sum > -0.000001) return false;
        NormaliseWeights(raw.data(), taps, sum, a.nScale, w.data());
        a.Header(i).nStart = j - offset;
        a.Header(i).nTaps = static_cast<uint32_t>(taps);
        for (int k = 0; k < a.nMaxTaps; ++k) a.SetWeight(i, k, k < taps ? w[k] : 0);
    }
    return true;
}
