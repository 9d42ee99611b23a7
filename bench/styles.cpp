// Layer styles on a 2048 x 2048 layer: drop shadow + bevel + stroke drawn onto
// an opaque destination, and the two kernels they lean on (the plane blur and
// the exact distance transform) beside OpenCV's, on all threads.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench_util.h"
#include "layerstyles/StylePlane.h"
#include "layerstyles/StyleRender.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kSide = 2048;

// A rounded square filling most of the layer, anti-aliased edge.
float Coverage(int x, int y) {
    const double c = kSide / 2.0, half = kSide * 0.42, round = kSide * 0.1;
    const double dx = std::max(0.0, std::fabs(x + 0.5 - c) - (half - round)), dy = std::max(0.0, std::fabs(y + 0.5 - c) - (half - round));
    return static_cast<float>(std::clamp(round - std::hypot(dx, dy) + 0.5, 0.0, 1.0));
}

const CRowIterator& Layer() {
    static CRowIterator layer = [] {
        CRowIterator l;
        l.Create(kSide, kSide, keFormatBGRA).Ignore();
        for (int y = 0; y < kSide; ++y) {
            uint8_t* row = l.GetRow(y, 0, kSide);
            for (int x = 0; x < kSide; ++x) {
                row[4 * x] = 200;
                row[4 * x + 1] = static_cast<uint8_t>(x / 8);
                row[4 * x + 2] = static_cast<uint8_t>(y / 8);
                row[4 * x + 3] = static_cast<uint8_t>(std::lrint(Coverage(x, y) * 255));
            }
            l.ReleaseRow(y).Ignore();
        }
        return l;
    }();
    return layer;
}

SLayerStyles Styles() {
    SLayerStyles s;
    s.dropShadow.bEnabled = true;
    s.dropShadow.fDistance = 12;
    s.dropShadow.fSize = 16;
    s.bevel.bEnabled = true;
    s.bevel.fSize = 10;
    s.stroke.bEnabled = true;
    s.stroke.fSize = 4;
    return s;
}

void Report(benchmark::State& state, double pixels) {
    state.counters["Mpix/s"] = benchmark::Counter(pixels * 1e-6, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ShadowBevelStroke(benchmark::State& state) {
    const SLayerStyles s = Styles();
    const CColorRef white(255, 255, 255);
    CRowIterator dst;
    dst.CreateRGBA(kSide, kSide, &white).Ignore();
    for (auto _ : state) QGDI_RenderLayerStyles(s, Layer(), POINT{0, 0}, dst).Ignore();
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_ShadowBevelStroke)->Unit(benchmark::kMillisecond)->UseRealTime();

qgdi::styles::SPlane AlphaPlane() {
    qgdi::styles::SPlane p;
    p.Allocate(RECT{0, 0, kSide, kSide});
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) p.Row(y)[x] = Coverage(x, y);
    return p;
}

void BM_PlaneBlur(benchmark::State& state) {
    const auto alpha = AlphaPlane();
    for (auto _ : state) {
        auto p = alpha;
        qgdi::styles::Blur(p, 8.0);
        benchmark::DoNotOptimize(p.values.data());
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_PlaneBlur)->Name("BM_PlaneBlur/ours")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_EdgeDistance(benchmark::State& state) {
    const auto alpha = AlphaPlane();
    qgdi::styles::SPlane d;
    for (auto _ : state) {
        qgdi::styles::EdgeDistance(alpha, false, d);
        benchmark::DoNotOptimize(d.values.data());
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_EdgeDistance)->Name("BM_EdgeDistance/ours")->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef QGDI_HAVE_OPENCV
cv::Mat AlphaMat() {
    cv::Mat m(kSide, kSide, CV_32FC1);
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) m.at<float>(y, x) = Coverage(x, y);
    return m;
}

void BM_PlaneBlurOpenCV(benchmark::State& state) {
    const cv::Mat alpha = AlphaMat();
    cv::Mat out;
    for (auto _ : state) {
        cv::GaussianBlur(alpha, out, cv::Size(0, 0), 8.0);
        benchmark::DoNotOptimize(out.data);
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_PlaneBlurOpenCV)->Name("BM_PlaneBlur/opencv")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_EdgeDistanceOpenCV(benchmark::State& state) {
    cv::Mat outside;
    cv::Mat(AlphaMat() < 0.5f).copyTo(outside);
    cv::Mat out;
    for (auto _ : state) {
        cv::distanceTransform(outside, out, cv::DIST_L2, cv::DIST_MASK_PRECISE);
        benchmark::DoNotOptimize(out.data);
    }
    Report(state, double(kSide) * kSide);
}
BENCHMARK(BM_EdgeDistanceOpenCV)->Name("BM_EdgeDistance/opencv")->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

int main(int argc, char** argv) {
    qgdi::bench::AddMachineContext();
    return qgdi::bench::RunBenchmarks(argc, argv);
}
