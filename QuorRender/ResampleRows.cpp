// Row functions of separable resampling, instantiated per sample type,
// channel count and tap count. Each is a fixed-count loop over whole runs of
// samples that the compiler widens for the pass's vector registers.
#include <algorithm>
#include <cmath>
#include <type_traits>

#include "QuorRender/ResampleFns.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using qgdi::resample::ESampleType;
using qgdi::resample::SHorizontalPlan;
using qgdi::resample::SRowFns;

// out[c] = sum over t < N of v[t C + c]. Halving while N is even keeps every
// channel in its lane, so each step is one whole-vector add; the odd rest is
// summed across.
template <class Acc, int C, int N>
inline void Fold(Acc* v, Acc* out) noexcept {
    if constexpr (N % 2 == 0 && N > 1) {
        for (int j = 0; j < N * C / 2; ++j) v[j] += v[j + N * C / 2];
        Fold<Acc, C, N / 2>(v, out);
    } else {
        for (int c = 0; c < C; ++c) {
            Acc a = v[c];
            for (int t = 1; t < N; ++t) a += v[t * C + c];
            out[c] = a;
        }
    }
}

// d[c] = sum over k of w[k][c] x s[start + k][c]: one output pixel per step.
template <class Src, class Acc, int C, int T>
void HorizontalRow(void* dst, const void* src, const SHorizontalPlan& plan) {
    const Src* s = static_cast<const Src*>(src);
    Acc* d = static_cast<Acc*>(dst);
    const Acc* w = static_cast<const Acc*>(plan.pWeights);
    const int n = plan.nOut;
    if constexpr (T > 0) {
        for (int x = 0; x < n; ++x, w += T * C, d += C) {
            const Src* p = s + plan.pStart[x];
            Acc prod[T * C];
            for (int j = 0; j < T * C; ++j) prod[j] = w[j] * static_cast<Acc>(p[j]);
            Fold<Acc, C, T>(prod, d);
        }
    } else {
        // Any tap count: runs of kChunk taps summed lane by lane, folded once
        // at the end, then the last taps one by one.
        constexpr int kChunk = 8;
        const int taps = plan.nTaps, span = taps * C;
        for (int x = 0; x < n; ++x, w += span, d += C) {
            const Src* p = s + plan.pStart[x];
            Acc lanes[kChunk * C] = {};
            int k = 0;
            for (; k + kChunk <= taps; k += kChunk) {
                const Acc* wk = w + k * C;
                const Src* pk = p + k * C;
                for (int j = 0; j < kChunk * C; ++j) lanes[j] += wk[j] * static_cast<Acc>(pk[j]);
            }
            Acc acc[C];
            Fold<Acc, C, kChunk>(lanes, acc);
            for (; k < taps; ++k)
                for (int c = 0; c < C; ++c) acc[c] += w[k * C + c] * static_cast<Acc>(p[k * C + c]);
            for (int c = 0; c < C; ++c) d[c] = acc[c];
        }
    }
}

// Three channels carried in four lanes: pixel k is read as the four
// samples from 3k (the fourth belongs to the next pixel and meets a zero
// weight), so that a run multiplies as whole vectors of four, as BGRA does.
// Runs that reach the row's last pixel (the plan puts them last) have no
// next pixel to read and go three lanes wide.
template <class Src, class Acc, int T>
void HorizontalRow3in4(void* dst, const void* src, const SHorizontalPlan& plan) {
    const Src* s = static_cast<const Src*>(src);
    Acc* d = static_cast<Acc*>(dst);
    const Acc* w = static_cast<const Acc*>(plan.pWeights);
    const int taps = T > 0 ? T : plan.nTaps;
    int x = 0;
    for (; x < plan.nFour; ++x, w += taps * 4, d += 3) {
        const Src* p = s + plan.pStart[x];
        if constexpr (T > 0) {
            Acc prod[T * 4];
            for (int k = 0; k < T; ++k)
                for (int l = 0; l < 4; ++l) prod[k * 4 + l] = w[k * 4 + l] * static_cast<Acc>(p[k * 3 + l]);
            Acc acc[4];
            Fold<Acc, 4, T>(prod, acc);
            for (int c = 0; c < 3; ++c) d[c] = acc[c];
        } else {
            Acc acc[4] = {};
            for (int k = 0; k < taps; ++k)
                for (int l = 0; l < 4; ++l) acc[l] += w[k * 4 + l] * static_cast<Acc>(p[k * 3 + l]);
            for (int c = 0; c < 3; ++c) d[c] = acc[c];
        }
    }
    for (; x < plan.nOut; ++x, w += taps * 3, d += 3) {
        const Src* p = s + plan.pStart[x];
        Acc acc[3] = {};
        for (int k = 0; k < taps; ++k)
            for (int c = 0; c < 3; ++c) acc[c] += w[k * 3 + c] * static_cast<Acc>(p[k * 3 + c]);
        for (int c = 0; c < 3; ++c) d[c] = acc[c];
    }
}

template <class Out, class Acc>
inline Out Finish(Acc sum, int shift, float inv) noexcept {
    if constexpr (std::is_floating_point_v<Acc>) {
        static_cast<void>(shift);
        return static_cast<Out>(sum * inv);
    } else {
        static_cast<void>(inv);
        return static_cast<Out>(sum >> shift);
    }
}

// out[i] = (sum over k of w[k] x rows[k][i]) >> shift.
template <class Acc, class Out, class W, int T>
void VerticalRow(void* out, const void* const* rows, const void* weights, int taps, size_t n, int shift) {
    const W* wp = static_cast<const W*>(weights);
    Out* o = static_cast<Out*>(out);
    const float inv = std::ldexp(1.0f, -shift);
    if constexpr (T > 0) {
        static_cast<void>(taps);
        Acc w[T];
        const Acc* r[T];
        for (int k = 0; k < T; ++k) {
            w[k] = static_cast<Acc>(wp[k]);
            r[k] = static_cast<const Acc*>(rows[k]);
        }
        for (size_t i = 0; i < n; ++i) {  // @vectorised
            Acc sum = w[0] * r[0][i];
            for (int k = 1; k < T; ++k) sum += w[k] * r[k][i];
            o[i] = Finish<Out>(sum, shift, inv);
        }
    } else {
        // Any tap count: blocks that stay in L1 while every row is added in.
        constexpr size_t kBlock = 512;
        Acc sum[kBlock];
        for (size_t b = 0; b < n; b += kBlock) {
            const size_t m = std::min(kBlock, n - b);
            const Acc w0 = static_cast<Acc>(wp[0]);
            const Acc* r0 = static_cast<const Acc*>(rows[0]) + b;
            for (size_t i = 0; i < m; ++i) sum[i] = w0 * r0[i];  // @vectorised
            for (int k = 1; k < taps; ++k) {
                const Acc wk = static_cast<Acc>(wp[k]);
                const Acc* rk = static_cast<const Acc*>(rows[k]) + b;
                for (size_t i = 0; i < m; ++i) sum[i] += wk * rk[i];  // @vectorised
            }
            for (size_t i = 0; i < m; ++i) o[b + i] = Finish<Out>(sum[i], shift, inv);
        }
    }
}

// dst[i] = clamp(acc[i], 0, max of Out).
template <class Acc, class Out>
void ClampRow(void* dst, const void* acc, size_t n) {
    const Acc* a = static_cast<const Acc*>(acc);
    Out* d = static_cast<Out*>(dst);
    constexpr Acc kMax = static_cast<Acc>(static_cast<Out>(~Out(0)));
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<Out>(std::clamp<Acc>(a[i], 0, kMax));  // @vectorised
}

template <class Src, class Acc>
qgdi::resample::QHorizontalFn PickHorizontal3in4(int taps) noexcept {
    switch (taps) {
    case 1: return &HorizontalRow3in4<Src, Acc, 1>;
    case 2: return &HorizontalRow3in4<Src, Acc, 2>;
    case 3: return &HorizontalRow3in4<Src, Acc, 3>;
    case 4: return &HorizontalRow3in4<Src, Acc, 4>;
    case 5: return &HorizontalRow3in4<Src, Acc, 5>;
    case 6: return &HorizontalRow3in4<Src, Acc, 6>;
    case 7: return &HorizontalRow3in4<Src, Acc, 7>;
    case 8: return &HorizontalRow3in4<Src, Acc, 8>;
    default: return &HorizontalRow3in4<Src, Acc, 0>;
    }
}

template <class Src, class Acc, int C>
qgdi::resample::QHorizontalFn PickHorizontal(int taps) noexcept {
    switch (taps) {
    case 1: return &HorizontalRow<Src, Acc, C, 1>;
    case 2: return &HorizontalRow<Src, Acc, C, 2>;
    case 3: return &HorizontalRow<Src, Acc, C, 3>;
    case 4: return &HorizontalRow<Src, Acc, C, 4>;
    case 5: return &HorizontalRow<Src, Acc, C, 5>;
    case 6: return &HorizontalRow<Src, Acc, C, 6>;
    case 7: return &HorizontalRow<Src, Acc, C, 7>;
    case 8: return &HorizontalRow<Src, Acc, C, 8>;
    default: return &HorizontalRow<Src, Acc, C, 0>;
    }
}

template <class Acc, class Out, class W>
void FillVertical(SRowFns& fns) noexcept {
    fns.vertical[0] = &VerticalRow<Acc, Out, W, 0>;
    fns.vertical[1] = &VerticalRow<Acc, Out, W, 1>;
    fns.vertical[2] = &VerticalRow<Acc, Out, W, 2>;
    fns.vertical[3] = &VerticalRow<Acc, Out, W, 3>;
    fns.vertical[4] = &VerticalRow<Acc, Out, W, 4>;
    fns.vertical[5] = &VerticalRow<Acc, Out, W, 5>;
}

template <class Acc, class Out>
bool FillVerticalForWeights(SRowFns& fns, quor::EQType weights) noexcept {
    switch (weights) {
    case quor::keTypeUInt16: FillVertical<Acc, Out, uint16_t>(fns); return true;
    case quor::keTypeInt16: FillVertical<Acc, Out, int16_t>(fns); return true;
    case quor::keTypeUInt32: FillVertical<Acc, Out, uint32_t>(fns); return true;
    case quor::keTypeInt32: FillVertical<Acc, Out, int32_t>(fns); return true;
    default: return false;
    }
}

template <class Src, class Acc, bool kClamp>
SRowFns Build(quor::EQType weights, int channels, int taps, bool threeInFour) noexcept {
    SRowFns fns;
    using Out = std::conditional_t<kClamp, Acc, Src>;
    if (!FillVerticalForWeights<Acc, Out>(fns, weights)) return {};
    if constexpr (kClamp) fns.clamp = &ClampRow<Acc, Src>;
    switch (channels) {
    case 1: fns.horizontal = PickHorizontal<Src, Acc, 1>(taps); break;
    case 2: fns.horizontal = PickHorizontal<Src, Acc, 2>(taps); break;
    case 3:
        fns.horizontal = threeInFour ? PickHorizontal3in4<Src, Acc>(taps) : PickHorizontal<Src, Acc, 3>(taps);
        break;
    case 4: fns.horizontal = PickHorizontal<Src, Acc, 4>(taps); break;
    default: return {};
    }
    return fns;
}

}  // namespace

SRowFns FindResampleRowFns(ESampleType sample, bool accumulateSigned, quor::EQType verticalWeights, int channels,
                           int planTaps, bool threeInFour) noexcept {
    switch (sample) {
    case ESampleType::kU8:
        return accumulateSigned ? Build<uint8_t, int32_t, true>(verticalWeights, channels, planTaps, threeInFour)
                                : Build<uint8_t, uint32_t, false>(verticalWeights, channels, planTaps, threeInFour);
    case ESampleType::kU16:
        return accumulateSigned ? Build<uint16_t, int64_t, true>(verticalWeights, channels, planTaps, threeInFour)
                                : Build<uint16_t, uint64_t, false>(verticalWeights, channels, planTaps, threeInFour);
    case ESampleType::kF32: return Build<float, float, false>(verticalWeights, channels, planTaps, threeInFour);
    }
    return {};
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DECLARE_PER_TARGET(qgdi::resample::SRowFns FindResampleRowFns(qgdi::resample::ESampleType, bool, quor::EQType, int,
                                                                   int, bool) noexcept)

namespace qgdi::resample {
SRowFns FindRowFns(ESampleType sample, bool accumulateSigned, quor::EQType verticalWeights, int channels, int planTaps,
                   bool threeInFour) noexcept {
    return QGDI_DISPATCH(FindResampleRowFns)(sample, accumulateSigned, verticalWeights, channels, planTaps,
                                             threeInFour);
}
}  // namespace qgdi::resample
#endif  // QGDI_BASELINE_PASS
