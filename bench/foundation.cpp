// Costs of the calls that sit on every row of every operation: statistics
// logging, progress reporting, and the memory manager's lock and unlock.
#include <benchmark/benchmark.h>

#include "qdibcore/Source/StatusControl.h"
#include "qmm/MemStats.h"
#include "qmm/qmm.h"

namespace {

void BM_StatsLogRowPair(benchmark::State& state) {
    CQMemStats& stats = CQMemManager::GetMgr().GetStats();
    for (auto _ : state) {
        stats.LogIteratorGetRowEx(__FILE__, __LINE__);
        stats.LogIteratorReleaseRowEx(__FILE__, __LINE__);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_StatsLogRowPair)->ThreadRange(1, 2);

void BM_StatusSetProgress(benchmark::State& state) {
    CStatusControl status;
    status.SetProgressRange(1u << 30);
    uint64_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(status.SetProgress(++i & ((1u << 30) - 1)));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_StatusSetProgress);

void BM_QmmLockUnlock(benchmark::State& state) {
    QMMHANDLE h = QMM_GlobalAlloc(GHND, 4096);
    for (auto _ : state) {
        benchmark::DoNotOptimize(QMM_GlobalLock(h));
        QMM_GlobalUnlock(h);
    }
    QMM_GlobalFree(h);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QmmLockUnlock);

void BM_QmmAllocFree(benchmark::State& state) {
    const size_t bytes = static_cast<size_t>(state.range(0));
    for (auto _ : state) QMM_GlobalFree(QMM_GlobalAlloc(GMEM_MOVEABLE, bytes));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QmmAllocFree)->Arg(64)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
