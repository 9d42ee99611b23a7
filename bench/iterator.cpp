// Row iterator: the direct row path against memcpy, converted rows, and the
// cost of statistics logging inside a row loop. 4096 x 4096 images.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <numeric>
#include <vector>

#include "qgdi.h"

namespace {

constexpr int kSize = 4096;

CRowIterator& Image(EQPixelFormat format) {
    static CRowIterator images[keFormatLast + 1];
    CRowIterator& it = images[format];
    if (!it.IsAttached()) {
        RGBQUAD palette[256];
        for (int i = 0; i < 256; ++i) palette[i] = RGBQUAD{BYTE(i), BYTE(255 - i), BYTE(i * 7), 0};
        if (it.Create(kSize, kSize, format, nullptr, palette, 256).IsError()) std::abort();
        uint32_t seed = 12345;
        for (int y = 0; y < kSize; ++y) {
            uint8_t* row = nullptr;
            if (it.GetNativeRow(row, y).IsError()) std::abort();
            for (int i = 0; i < it.GetBytesPerRow(); ++i)
                row[i] = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
            it.ReleaseNativeRow(y).Ignore();
        }
    }
    return it;
}

// Get, copy out, release every row.
void DirectRowCopy(const CRowIterator& it, uint8_t* out) {
    const size_t bytes = size_t(it.GetBytesPerRow());
    for (int y = 0; y < kSize; ++y) {
        const uint8_t* row = nullptr;
        it.GetRow(row, y).Ignore();
        std::memcpy(out + size_t(y) * bytes, row, bytes);
        it.ReleaseRow(y).Ignore();
    }
}

// Get, read every byte, release every row: the shape of a row operation.
uint32_t DirectRowTouch(const CRowIterator& it) {
    const int bytes = it.GetBytesPerRow();
    uint32_t sum = 0;
    for (int y = 0; y < kSize; ++y) {
        const uint8_t* row = nullptr;
        it.GetRow(row, y).Ignore();
        for (int i = 0; i < bytes; i += 64) sum += row[i];
        it.ReleaseRow(y).Ignore();
    }
    return sum;
}

void BM_Memcpy(benchmark::State& state) {
    const CRowIterator& it = Image(keFormatBGRA);
    const size_t bytes = size_t(it.GetBytesPerRow()) * kSize;
    std::vector<uint8_t> src(bytes, 1), dst(bytes);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
    }
    state.counters["Mpix/s"] = benchmark::Counter(double(kSize) * kSize / 1e6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

void BM_DirectRowCopy(benchmark::State& state) {
    const CRowIterator& it = Image(keFormatBGRA);
    std::vector<uint8_t> dst(size_t(it.GetBytesPerRow()) * kSize);
    for (auto _ : state) {
        DirectRowCopy(it, dst.data());
        benchmark::DoNotOptimize(dst.data());
    }
    state.counters["Mpix/s"] = benchmark::Counter(double(kSize) * kSize / 1e6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

// Get and release every row, nothing else.
void GetReleaseAll(const CRowIterator& it) {
    for (int y = 0; y < kSize; ++y) {
        const uint8_t* row = nullptr;
        it.GetRow(row, y).Ignore();
        benchmark::DoNotOptimize(row);
        it.ReleaseRow(y).Ignore();
    }
}

void BM_DirectRowGetRelease(benchmark::State& state) {
    const CRowIterator& it = Image(keFormatBGRA);
    for (auto _ : state) GetReleaseAll(it);
    state.counters["Mrows/s"] = benchmark::Counter(double(kSize) / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

void Converted(benchmark::State& state, EQPixelFormat from, EQPixelFormat to) {
    const CRowIterator& it = Image(from);
    if (it.SetPixelFormat(to, keImageModifyReadOnly).IsError()) std::abort();
    for (auto _ : state) GetReleaseAll(it);
    it.SetPixelFormat(keFormatNone).Ignore();
    state.counters["Mpix/s"] = benchmark::Counter(double(kSize) * kSize / 1e6,
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ConvertedBGRtoBGRA(benchmark::State& state) { Converted(state, keFormatBGR, keFormatBGRA); }
void BM_ConvertedIndex8toBGRA(benchmark::State& state) { Converted(state, keFormatIndex8, keFormatBGRA); }
void BM_ConvertedBGRAtoBGRxA(benchmark::State& state) { Converted(state, keFormatBGRA, keFormatBGRxA); }

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DirectRowCopy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DirectRowGetRelease)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ConvertedBGRtoBGRA)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConvertedIndex8toBGRA)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ConvertedBGRAtoBGRxA)->Unit(benchmark::kMillisecond);

// Best of several runs, in seconds.
double Best(const std::function<void()>& fn, int runs = 7) {
    double best = 1e30;
    for (int r = 0; r < runs; ++r) {
        const auto t0 = std::chrono::steady_clock::now();
        fn();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    }
    return best;
}

void PrintSummary() {
    const CRowIterator& it = Image(keFormatBGRA);
    const size_t bytes = size_t(it.GetBytesPerRow()) * kSize;
    std::vector<uint8_t> src(bytes, 1), dst(bytes);
    const double copy = Best([&] {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
    });
    const double direct = Best([&] {
        DirectRowCopy(it, dst.data());
        benchmark::DoNotOptimize(dst.data());
    });
    uint32_t sink = 0;
    const double loop = Best([&] { sink += DirectRowTouch(it); });
    // The statistics calls of that loop alone: one get and one release per row.
    CQMemStats& stats = CQMemManager::GetMgr().GetStats();
    const double logging = Best([&] {
        for (int y = 0; y < kSize; ++y) {
            stats.LogIteratorGetRowEx(__FILE__, __LINE__);
            stats.LogIteratorReleaseRowEx(__FILE__, __LINE__);
            benchmark::ClobberMemory();
        }
    });
    benchmark::DoNotOptimize(sink);
    std::printf("\nrow path copy / memcpy of the same bytes : %.3f\n", direct / copy);
    std::printf("statistics logging share of a row loop   : %.2f %% (%.1f ns per get+release pair)\n",
                100.0 * logging / loop, 1e9 * logging / kSize);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    PrintSummary();
    benchmark::Shutdown();
    return 0;
}
