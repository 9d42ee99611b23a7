// The interactive warp on a 1920 x 1080 image: one brush dab and the preview
// it redraws (the dab's rectangle, and the whole reduced frame), the full
// bicubic render, and OpenCV's remap doing the same job from per-pixel maps.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "bench_util.h"
#include "deformation/WarpMesh.h"
#include "deformation/WarpRender.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kW = 1920, kH = 1080;

const CRowIterator& Source() {
    static CRowIterator image = [] {
        CRowIterator im;
        im.Create(kW, kH, keFormatBGRA).Ignore();
        for (int y = 0; y < kH; ++y) {
            uint8_t* row = im.GetRow(y, 0, kW);
            for (int x = 0; x < kW; ++x) {
                row[4 * x] = static_cast<uint8_t>(x * 3 + y);
                row[4 * x + 1] = static_cast<uint8_t>(128 + 100 * std::sin(x * 0.01 + y * 0.02));
                row[4 * x + 2] = static_cast<uint8_t>((x ^ y) & 255);
                row[4 * x + 3] = 255;
            }
            im.ReleaseRow(y).Ignore();
        }
        return im;
    }();
    return image;
}

// A warp with some of everything in it.
const CWarpMesh& Warped() {
    static CWarpMesh mesh = [] {
        CWarpMesh m;
        m.Create(kW, kH).Ignore();
        SWarpBrush b;
        b.fRadius = 150;
        m.Stroke(b, 300, 300, 900, 500);
        b.eTool = keWarpTwirlClockwise;
        m.Stroke(b, 1200, 600, 1400, 700);
        b.eTool = keWarpBloat;
        m.Dab(b, 800, 800);
        return m;
    }();
    return mesh;
}

void Report(benchmark::State& state, double pixels) {
    state.counters["Mpix/s"] = benchmark::Counter(pixels * 1e-6, benchmark::Counter::kIsIterationInvariantRate);
}

// One push dab of radius 100 and the preview of what it changed: the latency a user sees.
void BM_DabAndPreview(benchmark::State& state) {
    CWarpMesh mesh = Warped();
    CWarpRenderer renderer;
    renderer.SetSource(Source(), static_cast<int>(state.range(0))).Ignore();
    renderer.UpdatePreview(mesh).Ignore();
    SWarpBrush b;
    b.fRadius = 100;
    double x = 400;
    for (auto _ : state) {
        const RECT dirty = mesh.Dab(b, x, 540, 4, 1);
        renderer.UpdatePreview(mesh, &dirty).Ignore();
        x = x > 1500 ? 400 : x + 5;
    }
    Report(state, 200.0 * 200.0);
}
BENCHMARK(BM_DabAndPreview)->ArgName("factor")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// The whole reduced frame redrawn (after an undo or a global map).
void BM_PreviewFrame(benchmark::State& state) {
    CWarpRenderer renderer;
    renderer.SetSource(Source(), static_cast<int>(state.range(0))).Ignore();
    for (auto _ : state) renderer.UpdatePreview(Warped()).Ignore();
    Report(state, double(kW) * kH);
}
BENCHMARK(BM_PreviewFrame)->ArgName("factor")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FullRender(benchmark::State& state) {
    CWarpRenderer renderer;
    renderer.SetSource(Source(), 2).Ignore();
    for (auto _ : state) {
        CRowIterator out;
        renderer.Render(Warped(), out).Ignore();
        benchmark::DoNotOptimize(out);
    }
    Report(state, double(kW) * kH);
}
BENCHMARK(BM_FullRender)->Name("BM_FullRender/ours")->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef QGDI_HAVE_OPENCV
// The same positions as per-pixel maps, remapped bicubic.
void BM_FullRenderOpenCV(benchmark::State& state) {
    cv::Mat src(kH, kW, CV_8UC4), mx(kH, kW, CV_32FC1), my(kH, kW, CV_32FC1);
    for (int y = 0; y < kH; ++y) {
        Source().GetAndCopyRow(src.ptr(y), y, 0, kW, size_t{kW} * 4).Ignore();
        Warped().RowOffsets(y, 0, 1, kW, mx.ptr<float>(y), my.ptr<float>(y));
        for (int x = 0; x < kW; ++x) {
            mx.ptr<float>(y)[x] += static_cast<float>(x);
            my.ptr<float>(y)[x] += static_cast<float>(y);
        }
    }
    cv::Mat dst;
    for (auto _ : state) {
        cv::remap(src, dst, mx, my, cv::INTER_CUBIC, cv::BORDER_CONSTANT);
        benchmark::DoNotOptimize(dst.data);
    }
    Report(state, double(kW) * kH);
}
BENCHMARK(BM_FullRenderOpenCV)->Name("BM_FullRender/opencv")->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

int main(int argc, char** argv) {
    qgdi::bench::AddMachineContext();
    return qgdi::bench::RunBenchmarks(argc, argv);
}
