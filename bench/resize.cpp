// Image resizing: a photograph scaled up once to 4096 x 4096 is reduced to
// 1024 x 1024, and its 1024 x 1024 reduction enlarged back to 4096 x 4096,
// in BGRA and BGR, with the bilinear, bicubic, area and Lanczos-3 filters,
// on one thread and on all of them. Beside it, in the same process and on
// the same pixels (copied once into the peers' own contiguous images):
// OpenCV's cv::resize (INTER_LINEAR, INTER_CUBIC, INTER_AREA,
// INTER_LANCZOS4) and libvips (vips_resize with the linear, cubic and
// Lanczos-3 kernels, vips_shrink for the area average), each held to one
// thread for the ratios. Rates are megapixels of output per second of wall
// clock; the peers' caches are off so every pass computes.
//
// QGDI_BENCH_QUICK=1 runs each case twice; QGDI_BENCH_PHOTO picks the photograph.
#include <benchmark/benchmark.h>
#include <tbb/task_arena.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "peers.h"
#include "qgdi.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef QGDI_HAVE_VIPS
#include <vips/vips.h>
#endif

namespace {

using namespace qgdi::bench;

constexpr int kLarge = 4096, kSmall = 1024;

struct SFilter {
    const char* name;
    EQResampleMode ours;
    int opencv;      // cv::InterpolationFlags
    int vipsKernel;  // VipsKernel, or -1 for vips_shrink
};

#ifdef QGDI_HAVE_OPENCV
constexpr int kCvLinear = cv::INTER_LINEAR, kCvCubic = cv::INTER_CUBIC, kCvArea = cv::INTER_AREA,
              kCvLanczos = cv::INTER_LANCZOS4;
#else
constexpr int kCvLinear = 0, kCvCubic = 0, kCvArea = 0, kCvLanczos = 0;
#endif
#ifdef QGDI_HAVE_VIPS
constexpr int kVipsLinear = VIPS_KERNEL_LINEAR, kVipsCubic = VIPS_KERNEL_CUBIC, kVipsLanczos = VIPS_KERNEL_LANCZOS3;
#else
constexpr int kVipsLinear = 0, kVipsCubic = 0, kVipsLanczos = 0;
#endif

const SFilter kFilters[] = {
    {"bilinear", keResampleBilinear, kCvLinear, kVipsLinear},
    {"bicubic", keResampleBicubic, kCvCubic, kVipsCubic},
    {"area", keResampleAreaAverage, kCvArea, -1},
    {"lanczos3", keResampleLanczos3, kCvLanczos, kVipsLanczos},
};

// The four source images: large and small, BGRA and BGR.
struct SSources {
    std::unique_ptr<CRowIterator> image[2][2];  // [small][bgr]
};

SSources& Sources() {
    static SSources s = [] {
        SSources out;
        auto photo = ReadPhoto();
        if (!photo) {
            std::fprintf(stderr, "bench_resize: cannot read the photograph\n");
            std::exit(1);
        }
        CImageResize up(keResampleBicubic), down(keResampleAreaAverage);
        for (int bgr = 0; bgr < 2; ++bgr) {
            CRowIterator copy;
            if (copy.CreateFromCopy(*photo, nullptr, bgr ? keFormatBGR : keFormatBGRA).IsError()) std::exit(1);
            out.image[0][bgr] = std::make_unique<CRowIterator>();
            out.image[1][bgr] = std::make_unique<CRowIterator>();
            if (up.Resize(copy, kLarge, kLarge, *out.image[0][bgr]).IsError() ||
                down.Resize(*out.image[0][bgr], kSmall, kSmall, *out.image[1][bgr]).IsError())
                std::exit(1);
        }
        return out;
    }();
    return s;
}

// A contiguous copy of an image's rows, for the peers.
std::vector<uint8_t> Packed(const CRowIterator& img) {
    const size_t row = static_cast<size_t>(img.GetBytesPerRow());
    std::vector<uint8_t> out(row * static_cast<size_t>(img.GetHeight()));
    for (int y = 0; y < img.GetHeight(); ++y) {
        std::memcpy(out.data() + row * y, img.GetRow(y, 0, img.GetWidth()), row);
        img.ReleaseRow(y).Ignore();
    }
    return out;
}

template <class Fn>
void Timed(benchmark::State& state, double outPixels, Fn&& fn) {
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        const double t0 = Now();
        if (!fn()) {
            state.SkipWithError("resize failed");
            return;
        }
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = outPixels * 1e-6 * static_cast<double>(n) / total;
}

void RunOurs(benchmark::State& state, const SFilter& f, bool reduce, bool bgr, int threads) {
    const CRowIterator& src = *Sources().image[reduce ? 0 : 1][bgr];
    const int size = reduce ? kSmall : kLarge;
    CRowIterator dst;
    if (dst.Create(size, size, src.GetPixelFormat()).IsError()) return state.SkipWithError("no memory");
    CImageResize resize(f.ours);
    resize.SetThreadCount(threads);
    Timed(state, double(size) * size, [&] { return !resize.Resize(src, dst).IsError(); });
}

#ifdef QGDI_HAVE_OPENCV
void RunOpenCV(benchmark::State& state, const SFilter& f, bool reduce, bool bgr, int threads) {
    const CRowIterator& src = *Sources().image[reduce ? 0 : 1][bgr];
    std::vector<uint8_t> bytes = Packed(src);
    const cv::Mat in(src.GetHeight(), src.GetWidth(), bgr ? CV_8UC3 : CV_8UC4, bytes.data());
    const int size = reduce ? kSmall : kLarge;
    cv::Mat out(size, size, in.type());
    cv::setNumThreads(threads);
    Timed(state, double(size) * size, [&] {
        cv::resize(in, out, cv::Size(size, size), 0, 0, f.opencv);
        return true;
    });
}
#endif

#ifdef QGDI_HAVE_VIPS
void RunVips(benchmark::State& state, const SFilter& f, bool reduce, bool bgr) {
    const CRowIterator& src = *Sources().image[reduce ? 0 : 1][bgr];
    std::vector<uint8_t> bytes = Packed(src);
    const int size = reduce ? kSmall : kLarge;
    std::vector<uint8_t> outBytes(static_cast<size_t>(size) * size * (bgr ? 3 : 4));
    const double scale = double(size) / src.GetWidth();
    Timed(state, double(size) * size, [&] {
        VipsImage* in = vips_image_new_from_memory(bytes.data(), bytes.size(), src.GetWidth(), src.GetHeight(),
                                                   bgr ? 3 : 4, VIPS_FORMAT_UCHAR);
        VipsImage* out = nullptr;
        int r = 0;
        if (f.vipsKernel < 0 && reduce) r = vips_shrink(in, &out, 1.0 / scale, 1.0 / scale, nullptr);
        else r = vips_resize(in, &out, scale, "kernel", f.vipsKernel < 0 ? VIPS_KERNEL_LINEAR : f.vipsKernel, nullptr);
        if (r == 0) {
            VipsImage* mem = vips_image_new_from_memory(outBytes.data(), outBytes.size(), size, size, bgr ? 3 : 4,
                                                        VIPS_FORMAT_UCHAR);
            r = vips_image_write(out, mem);
            g_object_unref(mem);
            g_object_unref(out);
        }
        g_object_unref(in);
        return r == 0;
    });
}
#endif

void Register() {
    const int all = tbb::this_task_arena::max_concurrency();
    for (const bool reduce : {true, false})
        for (const bool bgr : {false, true})
            for (const SFilter& f : kFilters) {
                const std::string base = std::string(reduce ? "reduce_4096_to_1024/" : "enlarge_1024_to_4096/") +
                                         (bgr ? "BGR/" : "BGRA/") + f.name + "/";
                const SFilter* pf = &f;
                const size_t bytes = size_t(kLarge) * kLarge * (bgr ? 3 : 4);
                Configure(benchmark::RegisterBenchmark((base + "t1/ours").c_str(),
                                                       [=](benchmark::State& s) { RunOurs(s, *pf, reduce, bgr, 1); }),
                          bytes);
#ifdef QGDI_HAVE_OPENCV
                Configure(benchmark::RegisterBenchmark((base + "t1/opencv").c_str(),
                                                       [=](benchmark::State& s) { RunOpenCV(s, *pf, reduce, bgr, 1); }),
                          bytes);
#endif
#ifdef QGDI_HAVE_VIPS
                Configure(benchmark::RegisterBenchmark((base + "t1/vips").c_str(),
                                                       [=](benchmark::State& s) { RunVips(s, *pf, reduce, bgr); }),
                          bytes);
#endif
                if (all > 1) {
                    const std::string tn = base + "t" + std::to_string(all) + "/";
                    Configure(
                        benchmark::RegisterBenchmark((tn + "ours").c_str(),
                                                     [=](benchmark::State& s) { RunOurs(s, *pf, reduce, bgr, all); }),
                        bytes);
#ifdef QGDI_HAVE_OPENCV
                    Configure(
                        benchmark::RegisterBenchmark((tn + "opencv").c_str(),
                                                     [=](benchmark::State& s) { RunOpenCV(s, *pf, reduce, bgr, all); }),
                        bytes);
#endif
                }
            }
}

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
    if (!StartImagePeers(argv[0])) return 1;
    Register();
    return RunBenchmarks(argc, argv, [] { Sources(); }, [] { QGDI_SystemShutdown(); });
}
