#pragma once
// Which compilation of the pixel kernels runs. The kernel sources are built
// once per instruction-set target; the widest target the processor supports is
// chosen the first time it is asked for and kept for the life of the process.
//
// QGDI_CPU=baseline|avx2|avx512 in the environment caps the choice, for hosts
// that need the same bytes on every machine of a mixed farm and for tests. A
// target that the build or the processor lacks falls back to the next lower one.
#include <type_traits>

#include "qgdi_export.h"

namespace qgdi::dispatch {

enum class ETarget : int {
    kBaseline = 0,  // x86-64 (SSE2), or whatever the compiler's default is elsewhere
    kAVX2 = 1,      // x86-64-v3: AVX2, FMA, BMI2
    kAVX512 = 2,    // x86-64-v4: AVX-512 F, BW, CD, DQ, VL
};
inline constexpr int kTargetCount = 3;

// "baseline", "avx2", "avx512".
QGDI_API const char* TargetName(ETarget target) noexcept;
// Whether this build holds kernels for the target.
QGDI_API bool IsBuilt(ETarget target) noexcept;
// Built and runnable on this processor.
QGDI_API bool IsSupported(ETarget target) noexcept;
// The target every dispatched function uses now.
QGDI_API ETarget ActiveTarget() noexcept;

// For tests: make `target` active (false, and nothing changes, when it is not
// supported); Reset returns to the start-up choice. Bindings made before keep
// the kernels they were given.
QGDI_API bool SetTargetForTesting(ETarget target) noexcept;
QGDI_API void ResetTargetForTesting() noexcept;

// The compilation of `f` for the active target; a null entry (a target not
// built) falls back to the next lower one.
template <class Fn>
Fn Pick(Fn baseline, std::type_identity_t<Fn> avx2, std::type_identity_t<Fn> avx512) noexcept {
    switch (ActiveTarget()) {
    case ETarget::kAVX512:
        if (avx512) return avx512;
        [[fallthrough]];
    case ETarget::kAVX2:
        if (avx2) return avx2;
        [[fallthrough]];
    default: return baseline;
    }
}

}  // namespace qgdi::dispatch

// The target as a word, for logs and the benchmark's header.
QGDI_API const char* QGDI_GetKernelTarget() noexcept;
