// Cost per destination pixel of the coordinate maps: the matrix row stepping
// over a 4096 x 4096 rectangle (identity, affine, perspective), a per-pixel
// evaluation of the same perspective as the baseline, and three non-linear maps.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "deformation/deformation.h"

namespace {

constexpr int kSide = 4096;

// ns per point as a counter: time / (points·1e−9).
void Report(benchmark::State& state, double pointsPerIteration) {
    const double points = pointsPerIteration * static_cast<double>(state.iterations());
    state.counters["ns/pt"] = benchmark::Counter(points * 1e-9,
                                                 benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["Mpix/s"] = benchmark::Counter(points * 1e-6, benchmark::Counter::kIsRate);
}

const double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
// A turn by 20° with a scale and a shift.
const double kAffine[9] = {0.8457, -0.3078, 120.25, 0.3078, 0.8457, -37.5, 0, 0, 1};
// The same with perspective terms that keep w within 0.6 .. 1.4 over the rectangle.
const double kPerspective[9] = {0.8457, -0.3078, 120.25, 0.3078, 0.8457, -37.5, 5e-5, 4e-5, 1};

const double* MatrixOf(int64_t kind) { return kind == 0 ? kIdentity : kind == 1 ? kAffine : kPerspective; }

// Row by row into one reused row buffer, as a resampler consumes them.
void BM_GetCoordinates256(benchmark::State& state) {
    const double* m = MatrixOf(state.range(0));
    std::vector<POINT> row(kSide);
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            QGDI_ResampleGetCoordinates256(row.data(), kSide, 0, y, m);
            benchmark::DoNotOptimize(row.data());
        }
        benchmark::ClobberMemory();
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_GetCoordinates256)
    ->ArgName("identity0_affine1_persp2")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond);

// Baseline: the projective formula evaluated afresh for every pixel, two divisions each.
void BM_PerspectivePerPixelBaseline(benchmark::State& state) {
    const double* m = kPerspective;
    std::vector<POINT> row(kSide);
    for (auto _ : state) {
        for (int y = 0; y < kSide; ++y) {
            for (int x = 0; x < kSide; ++x) {
                const double w = m[6] * x + m[7] * y + m[8];
                row[static_cast<size_t>(x)] = POINT{
                    static_cast<LONG>(std::nearbyint((m[0] * x + m[1] * y + m[2]) * 256 / w)),
                    static_cast<LONG>(std::nearbyint((m[3] * x + m[4] * y + m[5]) * 256 / w))};
            }
            benchmark::DoNotOptimize(row.data());
        }
        benchmark::ClobberMemory();
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_PerspectivePerPixelBaseline)->Unit(benchmark::kMillisecond);

// Bands of 128 rows through the map object (threads over rows, corner box).
void BM_MatrixMapRectangle(benchmark::State& state) {
    CCoordinatorMatrix map(MatrixOf(state.range(0)));
    std::vector<POINT> out(static_cast<size_t>(kSide) * 128);
    for (auto _ : state) {
        for (int band = 0; band < kSide; band += 128) {
            RECT box;
            map.GetCoordinates(out.data(), RECT{0, band, kSide, band + 128}, &box);
            benchmark::DoNotOptimize(box);
        }
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_MatrixMapRectangle)
    ->ArgName("identity0_affine1_persp2")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

std::unique_ptr<CCoordinator> NonLinear(int64_t kind) {
    if (kind == 0) return std::unique_ptr<CCoordinator>(Create_CCoordinatorTwirl(120));
    if (kind == 1) return std::unique_ptr<CCoordinator>(Create_CCoordinatorSpherize(60, keSpherizeNormal));
    return std::unique_ptr<CCoordinator>(Create_CCoordinatorWave(6, 64, 4, 48));
}

// Rows of a 4096-wide band through the middle of a 4096 x 4096 source, one thread.
void BM_NonLinearRows(benchmark::State& state) {
    auto map = NonLinear(state.range(0));
    map->Realize(kSide, kSide);
    constexpr int kRows = 512;
    std::vector<POINT> row(kSide);
    for (auto _ : state) {
        for (int y = (kSide - kRows) / 2; y < (kSide + kRows) / 2; ++y) {
            map->GetCoordinates(row.data(), y, 0, kSide);
            benchmark::DoNotOptimize(row.data());
        }
        benchmark::ClobberMemory();
    }
    Report(state, double(kSide) * kRows);
}
BENCHMARK(BM_NonLinearRows)->ArgName("twirl0_spherize1_wave2")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
