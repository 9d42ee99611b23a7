// Blurs: a photograph scaled up once to 4096 x 4096 BGRA is blurred with a
// Gaussian of deviation 1, 3, 10, 30 and 100 on both axes, and with a box
// of radius 5 and 50, on one thread. Beside it, in the same process and on
// the same pixels (copied once into a contiguous image): OpenCV's
// cv::GaussianBlur (kernel size chosen by OpenCV from the deviation) and
// cv::blur, held to one thread. Rates are megapixels per second of wall clock.
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
#include "qgdi.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace qgdi::bench;

int Size() { return QuickMode() ? 1024 : 4096; }

const CRowIterator& Source() {
    static const std::unique_ptr<CRowIterator> image = [] {
        auto photo = ReadPhoto();
        auto out = std::make_unique<CRowIterator>();
        if (!photo || CImageResize(keResampleBicubic).Resize(*photo, Size(), Size(), *out).IsError()) {
            std::fprintf(stderr, "bench_filters: cannot read the photograph\n");
            std::exit(1);
        }
        return out;
    }();
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

void RunOurs(benchmark::State& state, bool box, double amount) {
    CRowIterator dst;
    if (dst.Create(Size(), Size(), keFormatBGRA).IsError()) return state.SkipWithError("no memory");
    CImageBlur blur;
    if (box) blur.SetBox(static_cast<int>(amount), static_cast<int>(amount));
    else blur.SetGaussian(amount, amount);
    Timed(state, [&] { return !blur.Blur(Source(), dst).IsError(); });
}

#ifdef QGDI_HAVE_OPENCV
void RunOpenCV(benchmark::State& state, bool box, double amount) {
    const CRowIterator& src = Source();
    std::vector<uint8_t> bytes(static_cast<size_t>(src.GetBytesPerRow()) * src.GetHeight());
    for (int y = 0; y < src.GetHeight(); ++y) {
        std::memcpy(bytes.data() + static_cast<size_t>(src.GetBytesPerRow()) * y, src.GetRow(y, 0, src.GetWidth()),
                    static_cast<size_t>(src.GetBytesPerRow()));
        src.ReleaseRow(y).Ignore();
    }
    const cv::Mat in(src.GetHeight(), src.GetWidth(), CV_8UC4, bytes.data());
    cv::Mat out(in.size(), in.type());
    cv::setNumThreads(1);
    const int k = 2 * static_cast<int>(amount) + 1;
    Timed(state, [&] {
        if (box) cv::blur(in, out, cv::Size(k, k), cv::Point(-1, -1), cv::BORDER_REPLICATE);
        else cv::GaussianBlur(in, out, cv::Size(0, 0), amount, amount, cv::BORDER_REPLICATE);
        return true;
    });
}
#endif

void Register() {
    const struct {
        bool box;
        double amount;
        const char* name;
    } cases[] = {{false, 1, "gaussian/sigma1"},  {false, 3, "gaussian/sigma3"},   {false, 10, "gaussian/sigma10"},
                 {false, 30, "gaussian/sigma30"}, {false, 100, "gaussian/sigma100"}, {true, 5, "box/radius5"},
                 {true, 50, "box/radius50"}};
    const size_t bytes = size_t(Size()) * Size() * 4;
    for (const auto& c : cases) {
        const std::string base = std::string("BGRA/") + c.name + "/t1/";
        const bool box = c.box;
        const double amount = c.amount;
        Configure(benchmark::RegisterBenchmark((base + "ours").c_str(),
                                               [=](benchmark::State& s) { RunOurs(s, box, amount); }),
                  bytes);
#ifdef QGDI_HAVE_OPENCV
        Configure(benchmark::RegisterBenchmark((base + "opencv").c_str(),
                                               [=](benchmark::State& s) { RunOpenCV(s, box, amount); }),
                  bytes);
#endif
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
#ifdef QGDI_HAVE_OPENCV
    AddPeerVersion("opencv", CV_VERSION);
#endif
    Register();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    Source();  // made before any timing
    CRatioReporter reporter(isatty(STDOUT_FILENO) != 0);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    QGDI_SystemShutdown();
    return 0;
}
