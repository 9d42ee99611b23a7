#include "platform/CpuDispatch.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "diagnostics/QgdiLog.h"

namespace qgdi::dispatch {
namespace {

constexpr const char* kNames[kTargetCount] = {"baseline", "avx2", "avx512"};

bool ProcessorHas(ETarget target) noexcept {
#if defined(__x86_64__) || defined(__i386__)
    // The libgcc checks include the operating system's saving of the wide registers.
    __builtin_cpu_init();
    switch (target) {
    case ETarget::kBaseline: return true;
#if defined(__clang__)
    // Clang names features, not levels; on every part that has these the rest
    // of the level (F16C, LZCNT, MOVBE) comes with them.
    case ETarget::kAVX2:
        return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
               __builtin_cpu_supports("bmi2");
    case ETarget::kAVX512:
        return ProcessorHas(ETarget::kAVX2) && __builtin_cpu_supports("avx512f") &&
               __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512cd") &&
               __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
#else
    case ETarget::kAVX2: return __builtin_cpu_supports("x86-64-v3");
    case ETarget::kAVX512: return __builtin_cpu_supports("x86-64-v4");
#endif
    }
    return false;
#else
    return target == ETarget::kBaseline;
#endif
}

ETarget Widest() noexcept {
    for (int t = kTargetCount - 1; t > 0; --t)
        if (IsSupported(ETarget(t))) return ETarget(t);
    return ETarget::kBaseline;
}

// The start-up choice: the widest supported target, capped by QGDI_CPU.
ETarget Detect() noexcept {
    const ETarget widest = Widest();
    const char* env = std::getenv("QGDI_CPU");
    if (!env || !*env) return widest;
    for (int t = 0; t < kTargetCount; ++t) {
        if (std::strcmp(env, kNames[t]) != 0) continue;
        if (t <= int(widest)) return ETarget(t);
        QGDI_Log(keLogWarning, "QGDI_CPU=%s is not available here; using %s", env, kNames[int(widest)]);
        return widest;
    }
    QGDI_Log(keLogWarning, "QGDI_CPU=%s is not one of baseline, avx2, avx512; using %s", env, kNames[int(widest)]);
    return widest;
}

ETarget StartupTarget() noexcept {
    // A function-local static: detected once, safely, by whichever thread asks first.
    static const ETarget target = [] {
        const ETarget t = Detect();
        QGDI_Log(keLogInfo, "pixel kernels: %s", kNames[int(t)]);
        return t;
    }();
    return target;
}

// -1 while the start-up choice stands.
std::atomic<int> g_forced{-1};

}  // namespace

const char* TargetName(ETarget target) noexcept {
    const int t = int(target);
    return t >= 0 && t < kTargetCount ? kNames[t] : "unknown";
}

bool IsBuilt(ETarget target) noexcept {
    switch (target) {
    case ETarget::kBaseline: return true;
#ifdef QGDI_HAVE_TARGET_AVX2
    case ETarget::kAVX2: return true;
#endif
#ifdef QGDI_HAVE_TARGET_AVX512
    case ETarget::kAVX512: return true;
#endif
    default: return false;
    }
}

bool IsSupported(ETarget target) noexcept { return IsBuilt(target) && ProcessorHas(target); }

ETarget ActiveTarget() noexcept {
    const int forced = g_forced.load(std::memory_order_relaxed);
    return forced >= 0 ? ETarget(forced) : StartupTarget();
}

bool SetTargetForTesting(ETarget target) noexcept {
    if (!IsSupported(target)) return false;
    g_forced.store(int(target), std::memory_order_relaxed);
    return true;
}

void ResetTargetForTesting() noexcept { g_forced.store(-1, std::memory_order_relaxed); }

}  // namespace qgdi::dispatch

const char* QGDI_GetKernelTarget() noexcept { return qgdi::dispatch::TargetName(qgdi::dispatch::ActiveTarget()); }
