#pragma once
// The row functions of separable resampling, compiled once per instruction-set
// target (QuorRender/ResampleRows.cpp) and chosen once per stage reset.
//
// Horizontal pass: every output sample is the dot product of a run of source
// samples with the record's weights, kept unshifted in the accumulator type
// (units of the horizontal scale). Vertical pass: every output sample is the
// weighted sum of the cached rows, shifted right by log2 of both scales.
//
//   source  accumulator (unsigned weights / signed)  scales        worst sum
//   8-bit   uint32 / int32                            2^12 / 2^11   255 x 2^24 < 2^32, 255 x 2.25 x 2^21 < 2^31
//   16-bit  uint64 / int64                            2^15          65535 x 2.25 x 2^30 < 2^63
//   float   float                                     2^15          results scaled by 2^-shift, not shifted
#include <cstddef>
#include <cstdint>

#include "qdibcore/Source/QuorType.h"

namespace qgdi::resample {

enum class ESampleType : int { kU8 = 0, kU16 = 1, kF32 = 2 };

// The horizontal records of one stage, made uniform when it is reset: every
// output pixel reads nTaps whole pixels from pStart[x] (a sample index, so
// already times the channel count) with nTaps x channels weights of the
// accumulator type, each repeated for every channel of its pixel. Records
// with fewer taps carry zero weights, and starts are moved left where a run
// would pass the row's end, so that the loops have no tail and no test.
struct SHorizontalPlan {
    int nOut = 0;
    int nTaps = 0;
    const int32_t* pStart = nullptr;
    const void* pWeights = nullptr;
    // Three channels in four lanes: outputs below nFour run four lanes wide
    // (their runs end before the row's last pixel); the rest, three.
    int nFour = 0;
};

using QHorizontalFn = void (*)(void* dst, const void* src, const SHorizontalPlan& plan);
// out[i] = (sum over k < taps of weights[k] x rows[k][i]) >> shift, for i < n.
using QVerticalFn = void (*)(void* out, const void* const* rows, const void* weights, int taps, size_t n, int shift);
// dst[i] = acc[i] clamped to the sample's range.
using QClampFn = void (*)(void* dst, const void* acc, size_t n);

constexpr int kMaxFixedVerticalTaps = 5;
constexpr int kMaxFixedHorizontalTaps = 8;

struct SRowFns {
    QHorizontalFn horizontal = nullptr;
    // [taps] for 1..5 taps, [0] for any count.
    QVerticalFn vertical[kMaxFixedVerticalTaps + 1] = {};
    // Null when the vertical pass writes the destination itself.
    QClampFn clamp = nullptr;
};

// Null members when a combination has no function (weight type outside 3-6,
// channels outside 1-4). `threeInFour`: a three-channel plan laid out in four
// lanes per tap (the fourth weight 0), whose runs all end before the row's
// last pixel.
SRowFns FindRowFns(ESampleType sample, bool accumulateSigned, quor::EQType verticalWeights, int channels, int planTaps,
                   bool threeInFour = false) noexcept;

}  // namespace qgdi::resample
