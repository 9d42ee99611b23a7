// Filters on a photograph scaled up once to 4096 x 4096 BGRA, one thread
// unless the name says tN (all threads): Gaussian blur at deviations 1 to
// 100, box blur, 3 x 3 and 5 x 5 convolution, square dilation at radius 1, 5
// and 25, median at radius 1, 3 and 10, and a twirl distortion. Beside each,
// in the same process and on the same pixels (copied once into a contiguous
// image): OpenCV (cv::GaussianBlur, cv::blur, cv::filter2D, cv::dilate,
// cv::medianBlur, cv::remap with the twirl's own coordinates) and libvips
// (vips_gaussblur, vips_conv, vips_rank for the maximum and the median)
// where they are installed, held to the same thread count. Rates are
// megapixels per second of wall clock.
//
// QGDI_BENCH_QUICK=1 runs each case twice on a 1024 x 1024 image;
// QGDI_BENCH_PHOTO picks the photograph.
#include <benchmark/benchmark.h>
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

#include "qdibcore/Source/internal/Parallel.h"

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

int Size() { return QuickMode() ? 1024 : 4096; }

const CRowIterator& Source() {
    static const std::unique_ptr<CRowIterator> image = ReadPhotoSquare(Size());
    return *image;
}

template <class Fn>
void Timed(benchmark::State& state, Fn&& fn) {
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        const double t0 = Now();
        if (!fn()) {
            state.SkipWithError("filter failed");
            return;
        }
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = double(Size()) * Size() * 1e-6 * static_cast<double>(n) / total;
}

enum class EOp { kGaussian, kBox, kConvolve, kDilate, kMedian, kTwirl };

struct SCase {
    EOp op;
    double amount;  // deviation, radius, kernel size or degrees
    const char* name;
};

// The 5 x 5 kernel is not separable (a ring around a peak), so every
// library runs it as 25 taps.
SConvolveKernel Kernel(int size) {
    SConvolveKernel k;
    if (size == 3) {
        QGDI_GetFilterMatrix(keFilterMatrixSharpen, k);
        return k;
    }
    k.nColumns = k.nRows = 5;
    k.aValues = {0, -1, -1, -1, 0, -1, 2, 2, 2, -1, -1, 2, 8, 2, -1, -1, 2, 2, 2, -1, 0, -1, -1, -1, 0};
    k.fDivisor = 8;
    return k;
}

std::vector<uint8_t> Packed(const CRowIterator& src) {
    std::vector<uint8_t> bytes(static_cast<size_t>(src.GetBytesPerRow()) * src.GetHeight());
    for (int y = 0; y < src.GetHeight(); ++y) {
        std::memcpy(bytes.data() + static_cast<size_t>(src.GetBytesPerRow()) * y, src.GetRow(y, 0, src.GetWidth()),
                    static_cast<size_t>(src.GetBytesPerRow()));
        src.ReleaseRow(y).Ignore();
    }
    return bytes;
}

const std::vector<uint8_t>& SourceBytes() {
    static const std::vector<uint8_t> bytes = Packed(Source());
    return bytes;
}

void RunOurs(benchmark::State& state, const SCase& c, int threads) {
    CRowIterator dst;
    if (dst.Create(Size(), Size(), keFormatBGRA).IsError()) return state.SkipWithError("no memory");
    const int r = static_cast<int>(c.amount);
    switch (c.op) {
    case EOp::kGaussian:
    case EOp::kBox: {
        CImageBlur blur;
        if (c.op == EOp::kBox) blur.SetBox(r, r);
        else blur.SetGaussian(c.amount, c.amount);
        return Timed(state, [&] { return !blur.Blur(Source(), dst).IsError(); });
    }
    case EOp::kConvolve: {
        const CImageConvolve op(Kernel(r));
        return Timed(state, [&] { return !op.Convolve(Source(), dst).IsError(); });
    }
    case EOp::kDilate:
        return Timed(state, [&] { return !QGDI_Dilate(Source(), dst, keMorphSquare, r, r).IsError(); });
    case EOp::kMedian:
        return Timed(state, [&] { return !QGDI_Median(Source(), dst, r).IsError(); });
    case EOp::kTwirl: {
        std::unique_ptr<CCoordinator> map(Create_CCoordinatorTwirl(c.amount));
        return Timed(state, [&] {
            return !QGDI_DistortImage(Source(), *map, dst, keResampleBilinear, keEdgeClamp, 0, nullptr, threads)
                        .IsError();
        });
    }
    }
}

#ifdef QGDI_HAVE_OPENCV
void RunOpenCV(benchmark::State& state, const SCase& c, int threads) {
    const cv::Mat in(Size(), Size(), CV_8UC4, const_cast<uint8_t*>(SourceBytes().data()));
    cv::Mat out(in.size(), in.type());
    cv::setNumThreads(threads);
    const int r = static_cast<int>(c.amount);
    cv::Mat kernel, mapXY;
    if (c.op == EOp::kConvolve) {
        const SConvolveKernel k = Kernel(r);
        kernel.create(k.nRows, k.nColumns, CV_32F);
        for (int i = 0; i < k.nRows * k.nColumns; ++i)
            kernel.at<float>(i / k.nColumns, i % k.nColumns) = static_cast<float>(k.aValues[static_cast<size_t>(i)] / k.fDivisor);
    }
    if (c.op == EOp::kTwirl) {
        // The same source positions as ours, from the same map.
        std::unique_ptr<CCoordinator> map(Create_CCoordinatorTwirl(c.amount));
        map->Realize(Size(), Size());
        mapXY.create(Size(), Size(), CV_32FC2);
        std::vector<POINT> row(static_cast<size_t>(Size()));
        for (int y = 0; y < Size(); ++y) {
            map->GetCoordinates(row.data(), y, 0, Size());
            for (int x = 0; x < Size(); ++x)
                mapXY.at<cv::Vec2f>(y, x) = cv::Vec2f(row[static_cast<size_t>(x)].x / 256.f, row[static_cast<size_t>(x)].y / 256.f);
        }
    }
    const cv::Mat square = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * r + 1, 2 * r + 1));
    Timed(state, [&] {
        switch (c.op) {
        case EOp::kGaussian: cv::GaussianBlur(in, out, cv::Size(0, 0), c.amount, c.amount, cv::BORDER_REPLICATE); break;
        case EOp::kBox: cv::blur(in, out, cv::Size(2 * r + 1, 2 * r + 1), cv::Point(-1, -1), cv::BORDER_REPLICATE); break;
        case EOp::kConvolve: cv::filter2D(in, out, -1, kernel, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE); break;
        case EOp::kDilate: cv::dilate(in, out, square, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE); break;
        case EOp::kMedian: cv::medianBlur(in, out, 2 * r + 1); break;
        case EOp::kTwirl: cv::remap(in, out, mapXY, cv::noArray(), cv::INTER_LINEAR, cv::BORDER_REPLICATE); break;
        }
        return true;
    });
}
#endif

#ifdef QGDI_HAVE_VIPS
bool HasVips(const SCase& c) { return c.op != EOp::kBox && c.op != EOp::kTwirl; }

void RunVips(benchmark::State& state, const SCase& c) {
    std::vector<uint8_t> outBytes(SourceBytes().size());
    const int r = static_cast<int>(c.amount);
    VipsImage* mask = nullptr;
    if (c.op == EOp::kConvolve) {
        const SConvolveKernel k = Kernel(r);
        mask = vips_image_new_matrix(k.nColumns, k.nRows);
        for (int i = 0; i < k.nRows * k.nColumns; ++i)
            *VIPS_MATRIX(mask, i % k.nColumns, i / k.nColumns) = k.aValues[static_cast<size_t>(i)];
        vips_image_set_double(mask, "scale", k.fDivisor);
    }
    Timed(state, [&] {
        VipsImage* in = vips_image_new_from_memory(SourceBytes().data(), SourceBytes().size(), Size(), Size(), 4,
                                                   VIPS_FORMAT_UCHAR);
        VipsImage* out = nullptr;
        const int w = 2 * r + 1;
        int e = 0;
        switch (c.op) {
        case EOp::kGaussian: e = vips_gaussblur(in, &out, c.amount, "precision", VIPS_PRECISION_INTEGER, nullptr); break;
        case EOp::kConvolve: e = vips_conv(in, &out, mask, "precision", VIPS_PRECISION_INTEGER, nullptr); break;
        case EOp::kDilate: e = vips_rank(in, &out, w, w, w * w - 1, nullptr); break;
        case EOp::kMedian: e = vips_median(in, &out, w, nullptr); break;
        default: e = -1;
        }
        if (e == 0) {
            VipsImage* mem = vips_image_new_from_memory(outBytes.data(), outBytes.size(), Size(), Size(), 4, VIPS_FORMAT_UCHAR);
            e = vips_image_write(out, mem);
            g_object_unref(mem);
            g_object_unref(out);
        }
        g_object_unref(in);
        return e == 0;
    });
    if (mask) g_object_unref(mask);
}
#endif

void Register() {
    static const SCase cases[] = {
        {EOp::kGaussian, 1, "gaussian/sigma1"},  {EOp::kGaussian, 3, "gaussian/sigma3"},
        {EOp::kGaussian, 10, "gaussian/sigma10"}, {EOp::kGaussian, 30, "gaussian/sigma30"},
        {EOp::kGaussian, 100, "gaussian/sigma100"}, {EOp::kBox, 5, "box/radius5"},
        {EOp::kBox, 50, "box/radius50"},          {EOp::kConvolve, 3, "convolve/3x3"},
        {EOp::kConvolve, 5, "convolve/5x5"},      {EOp::kDilate, 1, "dilate/radius1"},
        {EOp::kDilate, 5, "dilate/radius5"},      {EOp::kDilate, 25, "dilate/radius25"},
        {EOp::kMedian, 1, "median/radius1"},      {EOp::kMedian, 3, "median/radius3"},
        {EOp::kMedian, 10, "median/radius10"},    {EOp::kTwirl, 120, "distort/twirl"},
    };
    const size_t bytes = size_t(Size()) * Size() * 4;
    const int all = qgdi::parallel::MaxThreads();
    for (const SCase& c : cases) {
        // Only the distortion runs in parallel strips; the chains are one thread.
        for (const int threads : {1, all}) {
            if (threads != 1 && (c.op != EOp::kTwirl || all == 1)) continue;
            const std::string base = std::string("BGRA/") + c.name + (threads == 1 ? "/t1/" : "/tN/");
            Configure(benchmark::RegisterBenchmark((base + "ours").c_str(),
                                                   [&c, threads](benchmark::State& s) { RunOurs(s, c, threads); }),
                      bytes);
#ifdef QGDI_HAVE_OPENCV
            Configure(benchmark::RegisterBenchmark((base + "opencv").c_str(),
                                                   [&c, threads](benchmark::State& s) { RunOpenCV(s, c, threads); }),
                      bytes);
#endif
#ifdef QGDI_HAVE_VIPS
            if (threads == 1 && HasVips(c))
                Configure(benchmark::RegisterBenchmark((base + "vips").c_str(),
                                                       [&c](benchmark::State& s) { RunVips(s, c); }),
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
    return RunBenchmarks(argc, argv, [] { Source(); }, [] { QGDI_SystemShutdown(); });
}
