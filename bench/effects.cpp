// Effects: a six-node graph (blur of the source's alpha, offset, composite
// with the source, colour matrix, diffuse lighting of the blurred alpha,
// and an arithmetic merge of the two) over a photograph scaled to 2048 x 2048,
// on one thread and on all. Every operation is wrapped in a timer, so that
// what the graph itself costs (stock images, node images, bookkeeping, the
// final copy) is reported as a share of the run ("graph %").
// Single primitives beside OpenCV's counterparts on the same pixels (one
// thread each): Gaussian blur (cv::GaussianBlur), colour matrix
// (cv::transform), a 5 x 5 convolution (cv::filter2D) and a square dilation
// of radius 3 (cv::dilate). Rates are megapixels per second of wall clock.
//
// QGDI_BENCH_QUICK=1 runs on 512 x 512; QGDI_BENCH_PHOTO picks the photograph.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <unistd.h>

#include <atomic>
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

int Size() { return QuickMode() ? 512 : 2048; }

const CRowIterator& Source() {
    static const std::unique_ptr<CRowIterator> image = ReadPhotoSquare(Size());
    return *image;
}

// Forwards to an operation and adds up the time spent in it.
class CTimedOp : public CImageOp {
public:
    CTimedOp(CImageOp* op, double* total) : CImageOp(op->GetType()), m_op(op), m_total(total) {}
    int GetSourceCount() const noexcept override { return m_op->GetSourceCount(); }
    CErrorAutoThrow Execute(const CIoData& data) override {
        const double t0 = Now();
        CErrorAutoThrow r = m_op->Execute(data);
        *m_total += Now() - t0;
        return r;
    }

private:
    std::unique_ptr<CImageOp> m_op;
    double* m_total;
};

void SixNodes(CIoEffect& fx, double* inOps) {
    const auto add = [&](CImageOp* op, int id, int in1, int in2 = keEffectNone) {
        fx.AddImageOp(new CTimedOp(op, inOps), true, id, in1, in2);
    };
    add(new CIoGaussianBlur(4, 3), 1, keEffectSourceAlpha);
    add(CIoDeformation::CreateOffset(6, 6), 2, 1);
    add(new CIoComposite(keCompositeOver), 3, keEffectSourceGraphic, 2);
    add(CIoColorMatrix::CreateSaturate(1.3), 4, 3);
    add(new CIoDiffuseLighting(CIoLight::Distant(CColorRef(255, 240, 220), 225, 40), 5, 1), 5, 1);
    add(new CIoArithmetic(0.9, 0.2, 0, 0), 6, 4, 5);
}

void Graph(benchmark::State& state, int threads) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(threads > 0 ? threads : 4096));
    const CRowIterator& src = Source();
    double inOps = 0;
    CIoEffect fx;
    SixNodes(fx, &inOps);
    CRowIterator dst;
    if (dst.Create(src.GetWidth(), src.GetHeight(), keFormatBGRA).IsError()) return state.SkipWithError("no memory");
    double total = 0;
    int64_t n = 0;
    for (auto _ : state) {
        fx.Invalidate(keEffectSourceGraphic);
        fx.Invalidate(keEffectSourceAlpha);
        CIoData run;
        run.pDst = &dst;
        run.pSrc = &src;
        run.rcDst = {0, 0, src.GetWidth(), src.GetHeight()};
        const double t0 = Now();
        if (fx.Run(run).IsError()) return state.SkipWithError("effect failed");
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = double(Size()) * Size() * 1e-6 * static_cast<double>(n) / total;
    state.counters["graph %"] = 100.0 * (total - inOps) / total;
}

template <class Fn>
void Timed(benchmark::State& state, Fn&& fn) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        const double t0 = Now();
        if (!fn()) return state.SkipWithError("failed");
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = double(Size()) * Size() * 1e-6 * static_cast<double>(n) / total;
}

const double kKernel5[25] = {1, 2, 3, 2, 1, 2, 4, 6, 4, 2, 3, 6, 9, 6, 3, 2, 4, 6, 4, 1, 1, 2, 3, 1, 0};
const double kMatrix[20] = {0.9, 0.1, 0.05, 0, 0.02, 0.05, 0.8, 0.1, 0, 0, 0.1, 0.1, 0.7, 0, 0.05, 0, 0, 0, 1, 0};

void Primitive(benchmark::State& state, CImageOp& op) {
    const CRowIterator& src = Source();
    CRowIterator dst;
    if (dst.Create(src.GetWidth(), src.GetHeight(), keFormatBGRA).IsError()) return state.SkipWithError("no memory");
    Timed(state, [&] {
        CIoData run;
        run.pDst = &dst;
        run.rcDst = {0, 0, src.GetWidth(), src.GetHeight()};
        run.SetInput(0, &src);
        return !op.Execute(run).IsError();
    });
}

#ifdef QGDI_HAVE_OPENCV
cv::Mat SourceMat(std::vector<uint8_t>& bytes) {
    const CRowIterator& src = Source();
    bytes.resize(static_cast<size_t>(src.GetBytesPerRow()) * src.GetHeight());
    for (int y = 0; y < src.GetHeight(); ++y) {
        std::memcpy(bytes.data() + static_cast<size_t>(src.GetBytesPerRow()) * y, src.GetRow(y, 0, src.GetWidth()),
                    static_cast<size_t>(src.GetBytesPerRow()));
        src.ReleaseRow(y).Ignore();
    }
    return cv::Mat(src.GetHeight(), src.GetWidth(), CV_8UC4, bytes.data());
}
#endif

void Register() {
    const auto reg = [](const std::string& name, auto fn) {
        benchmark::RegisterBenchmark(name.c_str(), fn)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Repetitions(Repetitions())
            ->MinTime(MinTime())
            ->ReportAggregatesOnly(true);
    };
    reg("graph/six-nodes/t1", [](benchmark::State& s) { Graph(s, 1); });
    reg("graph/six-nodes/all", [](benchmark::State& s) { Graph(s, 0); });
    reg("blur/sigma4/t1/ours", [](benchmark::State& s) {
        CIoGaussianBlur blur(4, 3);
        Primitive(s, blur);
    });
    reg("matrix/t1/ours", [](benchmark::State& s) {
        CIoColorMatrix matrix(kMatrix);
        Primitive(s, matrix);
    });
    reg("convolve5x5/t1/ours", [](benchmark::State& s) {
        CIoConvolveMatrix convolve(kKernel5, 0, keEdgeClamp, keChannelSetAll, 5, 5);
        Primitive(s, convolve);
    });
    reg("dilate3/t1/ours", [](benchmark::State& s) {
        CIoDilate dilate(CIoMorphology::keShapeSquare, 3, 3);
        Primitive(s, dilate);
    });
#ifdef QGDI_HAVE_OPENCV
    reg("convolve5x5/t1/opencv", [](benchmark::State& s) {
        std::vector<uint8_t> bytes;
        const cv::Mat in = SourceMat(bytes);
        cv::Mat out(in.size(), in.type());
        cv::Mat k(5, 5, CV_32F);
        float sum = 0;
        for (int i = 0; i < 25; ++i) sum += float(kKernel5[i]);
        // The graph's kernel is a true convolution: turned half a turn for OpenCV's correlation.
        for (int i = 0; i < 25; ++i) k.at<float>(i / 5, i % 5) = float(kKernel5[24 - i]) / sum;
        cv::setNumThreads(1);
        Timed(s, [&] {
            cv::filter2D(in, out, -1, k, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
            return true;
        });
    });
    reg("dilate3/t1/opencv", [](benchmark::State& s) {
        std::vector<uint8_t> bytes;
        const cv::Mat in = SourceMat(bytes);
        cv::Mat out(in.size(), in.type());
        const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(7, 7));
        cv::setNumThreads(1);
        Timed(s, [&] {
            cv::dilate(in, out, element);
            return true;
        });
    });
    reg("blur/sigma4/t1/opencv", [](benchmark::State& s) {
        std::vector<uint8_t> bytes;
        const cv::Mat in = SourceMat(bytes);
        cv::Mat out(in.size(), in.type());
        cv::setNumThreads(1);
        Timed(s, [&] {
            cv::GaussianBlur(in, out, cv::Size(0, 0), 4, 4, cv::BORDER_CONSTANT);
            return true;
        });
    });
    reg("matrix/t1/opencv", [](benchmark::State& s) {
        std::vector<uint8_t> bytes;
        const cv::Mat in = SourceMat(bytes);
        cv::Mat out(in.size(), in.type());
        // BGRA rows of the matrix (cv::transform's 4 x 5 with the constant column in 0..255).
        const int order[4] = {2, 1, 0, 3};  // output B, G, R, A <- matrix rows
        cv::Mat m(4, 5, CV_64F);
        for (int r = 0; r < 4; ++r) {
            const double* row = kMatrix + 5 * order[r];
            m.at<double>(r, 0) = row[2], m.at<double>(r, 1) = row[1], m.at<double>(r, 2) = row[0];
            m.at<double>(r, 3) = row[3], m.at<double>(r, 4) = row[4] * 255;
        }
        cv::setNumThreads(1);
        Timed(s, [&] {
            cv::transform(in, out, m);
            return true;
        });
    });
#endif
}

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
#ifdef QGDI_HAVE_OPENCV
    AddPeerVersion("opencv", CV_VERSION);
#endif
    Register();
    return RunBenchmarks(argc, argv, [] { Source(); }, [] { QGDI_SystemShutdown(); });
}
