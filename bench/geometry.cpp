// Point transforms through the 3x3 matrix (ns per point, by matrix class) and
// the singular value decomposition of the general matrix.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

#include "geometry/GenMatrix.h"
#include "geometry/QMatrix3x3.h"

#ifdef QGDI_HAVE_PIXMAN
#include <pixman.h>
#endif

namespace {

constexpr int kPoints = 4096;

enum EKind { kIdentity, kTranslate, kAffine, kPerspective };

CQMatrix3x3 MakeMatrix(int kind) {
    CQMatrix3x3 m;
    if (kind >= kTranslate) m.Translate(12.5, -3.25);
    if (kind >= kAffine) {
        m.RotateAngle(17);
        m.Scale(1.5, 0.75);
    }
    if (kind >= kPerspective) m.PerspectiveX(1e-4);
    return m;
}

std::vector<SQPOINT> MakePoints() {
    std::mt19937 rng(1);
    std::uniform_real_distribution<double> u(0, 4096);
    std::vector<SQPOINT> p(kPoints);
    for (SQPOINT& q : p) q = {u(rng), u(rng)};
    return p;
}

void SetTimePerPoint(benchmark::State& state, int64_t points) {
    // Points per second, inverted: seconds per point, printed with an SI prefix ("1.2n" is 1.2 ns).
    state.counters["s/point"] = benchmark::Counter(double(points),
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_MatrixTransformArray(benchmark::State& state) {
    const CQMatrix3x3 m = MakeMatrix(int(state.range(0)));
    const std::vector<SQPOINT> src = MakePoints();
    std::vector<SQPOINT> pts = src;
    for (auto _ : state) {
        m.Transform(pts.data(), kPoints);
        benchmark::DoNotOptimize(pts.data());
        benchmark::ClobberMemory();
    }
    SetTimePerPoint(state, state.iterations() * kPoints);
}
BENCHMARK(BM_MatrixTransformArray)->DenseRange(kIdentity, kPerspective)->ArgName("kind");

void BM_MatrixTransformSingle(benchmark::State& state) {
    const CQMatrix3x3 m = MakeMatrix(int(state.range(0)));
    std::vector<SQPOINT> pts = MakePoints();
    for (auto _ : state) {
        for (SQPOINT& p : pts) m.Transform(p);
        benchmark::DoNotOptimize(pts.data());
        benchmark::ClobberMemory();
    }
    SetTimePerPoint(state, state.iterations() * kPoints);
}
BENCHMARK(BM_MatrixTransformSingle)->DenseRange(kIdentity, kPerspective)->ArgName("kind");

void BM_GenMatrixSvd(benchmark::State& state) {
    const int n = int(state.range(0));
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> u(-1, 1);
    CGenMatrix a(n, n);
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) a(r, c) = u(rng);
    CGenMatrix U, V;
    std::vector<double> S;
    for (auto _ : state) {
        a.svd(U, S, V);
        benchmark::DoNotOptimize(S.data());
    }
}
BENCHMARK(BM_GenMatrixSvd)->Arg(8)->Arg(64)->Unit(benchmark::kMicrosecond);

#ifdef QGDI_HAVE_PIXMAN
void BM_PixmanTransformPoint(benchmark::State& state) {
    const CQMatrix3x3 m = MakeMatrix(int(state.range(0)));
    pixman_f_transform ft;
    for (int i = 0; i < 9; ++i) ft.m[i / 3][i % 3] = m[i];
    const std::vector<SQPOINT> src = MakePoints();
    std::vector<double> pts(3 * kPoints);
    for (auto _ : state) {
        for (int i = 0; i < kPoints; ++i) {
            pixman_f_vector v = {{src[i].x, src[i].y, 1.0}};
            pixman_f_transform_point(&ft, &v);
            pts[3 * i] = v.v[0] / v.v[2];
            pts[3 * i + 1] = v.v[1] / v.v[2];
        }
        benchmark::DoNotOptimize(pts.data());
        benchmark::ClobberMemory();
    }
    SetTimePerPoint(state, state.iterations() * kPoints);
}
BENCHMARK(BM_PixmanTransformPoint)->DenseRange(kIdentity, kPerspective)->ArgName("kind");

// Our array transform against pixman's double-precision point transform.
void PrintRatios() {
    const std::vector<SQPOINT> src = MakePoints();
    const char* names[] = {"identity", "translate", "affine", "perspective"};
    for (int kind = kIdentity; kind <= kPerspective; ++kind) {
        const CQMatrix3x3 m = MakeMatrix(kind);
        pixman_f_transform ft;
        for (int i = 0; i < 9; ++i) ft.m[i / 3][i % 3] = m[i];
        auto time = [](auto&& fn) {
            double best = 1e30;
            for (int rep = 0; rep < 20; ++rep) {
                const auto t0 = std::chrono::steady_clock::now();
                fn();
                best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
            }
            return best;
        };
        std::vector<SQPOINT> pts = src;
        const double ours = time([&] {
            pts = src;
            m.Transform(pts.data(), kPoints);
            benchmark::DoNotOptimize(pts.data());
        });
        const double peer = time([&] {
            for (int i = 0; i < kPoints; ++i) {
                pixman_f_vector v = {{src[i].x, src[i].y, 1.0}};
                pixman_f_transform_point(&ft, &v);
                pts[i] = {v.v[0] / v.v[2], v.v[1] / v.v[2]};
            }
            benchmark::DoNotOptimize(pts.data());
        });
        std::printf("transform %-12s ours/pixman time ratio %.2f\n", names[kind], ours / peer);
    }
}
#endif

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
#ifdef QGDI_HAVE_PIXMAN
    PrintRatios();
#endif
    return 0;
}
