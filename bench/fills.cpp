// Gradient fills of a 4096 x 4096 rectangle, linear and radial (with a focal
// point), one thread, beside pixman's gradients on the same geometry and
// stops in the same process:
//   .../src   the gradient's colours written into the image (pixman: SRC)
//   .../over  composited over the image through a fill (pixman: OVER)
// Stops are opaque, so straight and premultiplied colours are the same bytes.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench_util.h"
#include "drawing/drawing.h"
#include "qdibcore/Source/DibIterator.h"

#ifdef QGDI_HAVE_PIXMAN
#include <pixman.h>
#endif

namespace {

using namespace qgdi::bench;

constexpr int kSize = 4096;
const uint32_t kColours[] = {0xFF2040E0u, 0xFF20E0E0u, 0xFFE04020u};  // RGBA, red low
const double kOffsets[] = {0.0, 0.4, 1.0};
const SQPOINT kStart{256, 0}, kEnd{3840, 1024};
const SQPOINT kCentre{2048, 2048}, kFocal{1500, 1800};
constexpr double kRadius = 2048;

int Size() { return QuickMode() ? 512 : kSize; }

void SetRates(benchmark::State& state, double seconds, double frames, int size) {
    state.counters["Mpix/s"] = frames * double(size) * size / seconds * 1e-6;
}

CQFillSrc* MakeSource(bool radial) {
    const SQRECT bounds{0, 0, double(kSize), double(kSize)};
    return radial ? QGDI_FillSrcRadialGradient_Create(bounds, kCentre, kRadius, kFocal, keGradientUserSpace, kColours,
                                                      kOffsets, 3, keSpreadPad, nullptr)
                  : QGDI_FillSrcLinearGradient_Create(bounds, kStart, kEnd, keGradientUserSpace, kColours, kOffsets, 3,
                                                      keSpreadPad, nullptr);
}

template <class Fn>
void Measure(benchmark::State& state, int size, Fn&& fn) {
    double total = 0, frames = 0;
    for (auto _ : state) {
        const double t0 = Now();
        fn();
        const double dt = Now() - t0;
        state.SetIterationTime(dt);
        total += dt;
        frames += 1;
    }
    SetRates(state, total, frames, size);
}

void BM_Src_ours(benchmark::State& state, bool radial) {
    const int size = Size();
    std::vector<uint32_t> image(size_t(size) * size);
    CQFillSrc* src = MakeSource(radial);
    if (!src) return state.SkipWithError("no gradient");
    Measure(state, size, [&] {
        CRowOpData row;
        row.eDstFormat = keFormatBGRA;
        row.nCount = size;
        for (int y = 0; y < size; ++y) {
            row.y = y;
            row.pDst = reinterpret_cast<uint8_t*>(image.data() + size_t(y) * size);
            src->Row(row);
        }
    });
    benchmark::DoNotOptimize(image.data());
    src->Unreference();
}

void BM_Over_ours(benchmark::State& state, bool radial) {
    const int size = Size();
    CDibIterator image;
    const CColorRef grey(128, 128, 128, 255);
    if (image.Create(size, size, keFormatBGRxA, &grey).IsError()) return state.SkipWithError("no image");
    VQFILL* fill = QGDI_FillCreateFromFillSrc(MakeSource(radial));
    if (!fill || fill->Attach(&image).IsError()) return state.SkipWithError("no fill");
    const CQRegionRect rect(SQRECT{0, 0, double(size), double(size)});
    Measure(state, size, [&] { rect.Fill(fill->GetScanReceiver()); });
    fill->Detach();
    fill->Unreference();
}

#ifdef QGDI_HAVE_PIXMAN
pixman_image_t* PixmanGradient(bool radial) {
    pixman_gradient_stop_t stops[3];
    for (int i = 0; i < 3; ++i) {
        const uint32_t c = kColours[i];
        stops[i].x = pixman_double_to_fixed(kOffsets[i]);
        stops[i].color = {uint16_t((c & 0xFF) * 257), uint16_t(((c >> 8) & 0xFF) * 257),
                          uint16_t(((c >> 16) & 0xFF) * 257), uint16_t((c >> 24) * 257)};
    }
    if (radial) {
        const pixman_point_fixed_t inner{pixman_double_to_fixed(kFocal.x), pixman_double_to_fixed(kFocal.y)};
        const pixman_point_fixed_t outer{pixman_double_to_fixed(kCentre.x), pixman_double_to_fixed(kCentre.y)};
        return pixman_image_create_radial_gradient(&inner, &outer, 0, pixman_double_to_fixed(kRadius), stops, 3);
    }
    const pixman_point_fixed_t p1{pixman_double_to_fixed(kStart.x), pixman_double_to_fixed(kStart.y)};
    const pixman_point_fixed_t p2{pixman_double_to_fixed(kEnd.x), pixman_double_to_fixed(kEnd.y)};
    pixman_image_t* g = pixman_image_create_linear_gradient(&p1, &p2, stops, 3);
    return g;
}

void BM_Pixman(benchmark::State& state, bool radial, pixman_op_t op) {
    const int size = Size();
    std::vector<uint32_t> bits(size_t(size) * size, 0xFF808080u);
    pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, size, size, bits.data(), size * 4);
    pixman_image_t* g = PixmanGradient(radial);
    pixman_image_set_repeat(g, PIXMAN_REPEAT_PAD);
    Measure(state, size, [&] { pixman_image_composite32(op, g, nullptr, dst, 0, 0, 0, 0, 0, 0, size, size); });
    pixman_image_unref(g);
    pixman_image_unref(dst);
}
#endif

}  // namespace

int main(int argc, char** argv) {
    AddMachineContext();
#ifdef QGDI_HAVE_PIXMAN
    AddPeerVersion("pixman", pixman_version_string());
#endif
    for (bool radial : {false, true}) {
        const std::string kind = radial ? "BM_Gradient/radial" : "BM_Gradient/linear";
        Configure(benchmark::RegisterBenchmark((kind + "/src/ours").c_str(), BM_Src_ours, radial));
        Configure(benchmark::RegisterBenchmark((kind + "/over/ours").c_str(), BM_Over_ours, radial));
#ifdef QGDI_HAVE_PIXMAN
        Configure(benchmark::RegisterBenchmark((kind + "/src/pixman").c_str(), BM_Pixman, radial, PIXMAN_OP_SRC));
        Configure(benchmark::RegisterBenchmark((kind + "/over/pixman").c_str(), BM_Pixman, radial, PIXMAN_OP_OVER));
#endif
    }
    return RunBenchmarks(argc, argv);
}
