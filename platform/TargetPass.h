#pragma once
// Included by every kernel source, which the build compiles once per
// instruction-set target with QGDI_TARGET set (0 baseline, 1 avx2, 2 avx512).
// Each pass puts its kernels and dictionaries in its own namespace,
// qgdi::QGDI_TARGET_NS, so the passes never share a symbol; what is not a
// kernel (definitions, public getters) is compiled in the baseline pass only,
// inside `#if QGDI_BASELINE_PASS`, and picks the active pass's function through
// QGDI_DISPATCH.
//
// The same template source serves every target: no intrinsics, no copies per
// target; the compiler widens the loops. Kernel passes are built with
// -ffp-contract=off so that every target rounds float arithmetic alike.
#include "platform/CpuDispatch.h"

#ifndef QGDI_TARGET
#define QGDI_TARGET 0
#endif

#if QGDI_TARGET == 0
#define QGDI_TARGET_NS k_baseline
#define QGDI_BASELINE_PASS 1
#elif QGDI_TARGET == 1
#define QGDI_TARGET_NS k_avx2
#define QGDI_BASELINE_PASS 0
#elif QGDI_TARGET == 2
#define QGDI_TARGET_NS k_avx512
#define QGDI_BASELINE_PASS 0
#else
#error "QGDI_TARGET must be 0, 1 or 2"
#endif

// Shared headers whose templates and inline functions kernels instantiate
// open an inline namespace of the pass inside their own,
//     namespace qgdi::px { inline namespace QGDI_TARGET_NS { ... } }
// so that each pass's copies carry names of their own: otherwise the linker
// keeps one copy for the whole library, which may be a wide pass's.

namespace qgdi::QGDI_TARGET_NS {
// The target this pass is compiled for, for kernels whose best form differs
// between narrow and wide registers (a table lookup against a vector rule).
constexpr dispatch::ETarget kPassTarget = dispatch::ETarget(QGDI_TARGET);
constexpr bool kWideVectors = kPassTarget != dispatch::ETarget::kBaseline;
}  // namespace qgdi::QGDI_TARGET_NS

// Declares `decl` (a function declaration without its namespace) in every
// target's namespace, so that the baseline pass can name each compilation.
#define QGDI_DECLARE_PER_TARGET(decl) \
    namespace qgdi::k_baseline {      \
    decl;                             \
    }                                 \
    namespace qgdi::k_avx2 {          \
    decl;                             \
    }                                 \
    namespace qgdi::k_avx512 {        \
    decl;                             \
    }

#ifdef QGDI_HAVE_TARGET_AVX2
#define QGDI_TARGET_FN_AVX2(f) &::qgdi::k_avx2::f
#else
#define QGDI_TARGET_FN_AVX2(f) nullptr
#endif
#ifdef QGDI_HAVE_TARGET_AVX512
#define QGDI_TARGET_FN_AVX512(f) &::qgdi::k_avx512::f
#else
#define QGDI_TARGET_FN_AVX512(f) nullptr
#endif

// The compilation of function `f` (declared with QGDI_DECLARE_PER_TARGET) for the active target.
#define QGDI_DISPATCH(f) \
    ::qgdi::dispatch::Pick(&::qgdi::k_baseline::f, QGDI_TARGET_FN_AVX2(f), QGDI_TARGET_FN_AVX512(f))

// The public getter `getter` of a kernel dictionary, declared in every
// compilation and answering with the active target's dictionary.
#define QGDI_DISPATCHED_DICT(getter)                                  \
    QGDI_DECLARE_PER_TARGET(const SRowOpDictEntry* getter() noexcept) \
    const SRowOpDictEntry* getter() noexcept { return QGDI_DISPATCH(getter)(); }
