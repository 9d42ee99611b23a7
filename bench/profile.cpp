// Cost of a profiling scope, off and on, and of the clocks it could read.
// Each iteration runs one empty function body that holds a scope; the loop
// without a scope is the baseline to subtract.
#include <benchmark/benchmark.h>

#include <time.h>

#include "diagnostics/Profile.h"

namespace {

__attribute__((noinline)) void Bare(int& x) { benchmark::DoNotOptimize(++x); }

__attribute__((noinline)) void Scoped(int& x) {
    QGDI_PROFILE_SCOPE("bench scope");
    benchmark::DoNotOptimize(++x);
}

__attribute__((noinline)) void Nested(int& x) {
    QGDI_PROFILE_SCOPE("bench outer");
    Scoped(x);
}

void BM_Baseline(benchmark::State& state) {
    int x = 0;
    for (auto _ : state) Bare(x);
}
BENCHMARK(BM_Baseline);

void BM_ScopeOff(benchmark::State& state) {
    QGDI_ProfileEnable(false);
    int x = 0;
    for (auto _ : state) Scoped(x);
}
BENCHMARK(BM_ScopeOff);

void BM_ScopeOn(benchmark::State& state) {
    QGDI_ProfileEnable(true);
    int x = 0;
    for (auto _ : state) Scoped(x);
    QGDI_ProfileEnable(false);
}
BENCHMARK(BM_ScopeOn)->ThreadRange(1, 2);

// Two scopes per iteration.
void BM_ScopeOnNested(benchmark::State& state) {
    QGDI_ProfileEnable(true);
    int x = 0;
    for (auto _ : state) Nested(x);
    QGDI_ProfileEnable(false);
}
BENCHMARK(BM_ScopeOnNested);

void BM_ClockTicks(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(QGDI_ProfileTicks());
}
BENCHMARK(BM_ClockTicks);

void BM_ClockMonotonic(benchmark::State& state) {
    const clockid_t id = state.range(0) ? CLOCK_MONOTONIC_COARSE : CLOCK_MONOTONIC;
    timespec ts;
    for (auto _ : state) {
        clock_gettime(id, &ts);
        benchmark::DoNotOptimize(ts);
    }
    clock_getres(id, &ts);
    state.counters["resolution_ns"] = double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}
BENCHMARK(BM_ClockMonotonic)->ArgName("coarse")->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
