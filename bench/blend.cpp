// Blend modes and compositing operators on 4096 x 4096 BGRA rows of random
// colours and alpha, one thread and all threads, on the baseline kernels and
// on the widest target this processor runs; beside pixman on the same pixels
// (premultiplied for pixman, which knows no other kind), and beside a copy
// of the same rows, the memory-bandwidth limit a blend cannot beat.
//
//   blend/<mode>/<target>/t<threads>/ours       a layer blend mode, straight BGRA
//   blend/<mode>+ranges/<target>/t1/ours        the same with blend ranges
//   composite/<op>/<target>/t<threads>/ours     a compositing operator, premultiplied BGRxA
//   .../pixman                                  pixman's operator, one thread
//   copy/t<threads>                             the rows copied
//
// One thread is timed by its processor time, several by the wall clock.
// QGDI_BENCH_BLEND_SIZE=WxH changes the image; QGDI_BENCH_QUICK=1 runs a small one once.
#include <omp.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "platform/CpuDispatch.h"
#include "qgdi.h"

#ifdef QGDI_HAVE_PIXMAN
#include <pixman.h>
#endif

namespace {

using namespace qgdi::bench;
using qgdi::dispatch::ETarget;

struct SImages {
    int w = 4096, h = 4096;
    std::vector<uint8_t> src, dst;        // straight BGRA
    std::vector<uint8_t> srcPre, dstPre;  // the same premultiplied
    std::vector<uint8_t> work;            // what a run writes into
    double Mpix() const { return double(w) * h * 1e-6; }
};

SImages& Images() {
    static SImages im = [] {
        SImages s;
        if (const char* e = std::getenv("QGDI_BENCH_BLEND_SIZE")) std::sscanf(e, "%dx%d", &s.w, &s.h);
        if (QuickMode()) s.w = 512, s.h = 32;
        const size_t bytes = size_t(s.w) * s.h * 4;
        s.src.resize(bytes), s.dst.resize(bytes), s.srcPre.resize(bytes), s.dstPre.resize(bytes), s.work.resize(bytes);
        std::mt19937 rng(2024);
        for (auto* v : {&s.src, &s.dst})
            for (size_t i = 0; i < bytes; ++i) (*v)[i] = uint8_t(rng());
        for (size_t i = 0; i < bytes; i += 4)
            for (int c = 0; c < 4; ++c) {
                s.srcPre[i + c] = c == 3 ? s.src[i + 3] : uint8_t((s.src[i + c] * s.src[i + 3] + 127) / 255);
                s.dstPre[i + c] = c == 3 ? s.dst[i + 3] : uint8_t((s.dst[i + c] * s.dst[i + 3] + 127) / 255);
            }
        return s;
    }();
    return im;
}

// Processor time of the calling thread: what one thread's pass costs even
// when other programs share the cores (wall time would count their turns).
double ThreadSeconds() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

// Runs `pass` (which writes im.work) per iteration, restoring the destination
// first, outside the timing. One thread is timed by its processor time,
// several by the wall clock.
template <class Pass>
void Measure(benchmark::State& state, const std::vector<uint8_t>& dst, int threads, Pass&& pass) {
    SImages& im = Images();
    double total = 0;
    auto now = [threads] { return threads == 1 ? ThreadSeconds() : Now(); };
    for (auto _ : state) {
        std::memcpy(im.work.data(), dst.data(), dst.size());
        const double t0 = now();
        pass();
        const double t = now() - t0;
        state.SetIterationTime(t);
        total += t;
    }
    state.counters["Mpix/s"] = im.Mpix() * double(state.iterations()) / total;
}

void RunRowOp(benchmark::State& state, const CRowOpDef& def, EQPixelFormat f, bool premultiplied, ETarget target,
              int threads) {
    SImages& im = Images();
    CRowOpData proto;
    proto.eDstFormat = proto.eSrcFormat = f;
    proto.nCount = im.w;
    proto.nImageWidth = im.w;
    proto.nImageHeight = im.h;
    // The kernel is chosen when the operation is bound: bind under the target asked for.
    qgdi::dispatch::SetTargetForTesting(target);
    const CRowOp op(&def, proto);
    qgdi::dispatch::ResetTargetForTesting();
    if (op.IsNOP()) {
        state.SkipWithError("no kernel");
        return;
    }
    const std::vector<uint8_t>& src = premultiplied ? im.srcPre : im.src;
    const size_t stride = size_t(im.w) * 4;
    Measure(state, premultiplied ? im.dstPre : im.dst, threads, [&] {
#pragma omp parallel for num_threads(threads) schedule(static)
        for (int y = 0; y < im.h; ++y) {
            CRowOpData data = proto;
            data.y = y;
            data.pDst = im.work.data() + stride * y;
            data.pSrc = src.data() + stride * y;
            op(data);
        }
    });
}

#ifdef QGDI_HAVE_PIXMAN
void RunPixman(benchmark::State& state, pixman_op_t pop) {
    SImages& im = Images();
    const int stride = im.w * 4;
    pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, im.w, im.h,
                                                   reinterpret_cast<uint32_t*>(im.srcPre.data()), stride);
    pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, im.w, im.h,
                                                   reinterpret_cast<uint32_t*>(im.work.data()), stride);
    Measure(state, im.dstPre, 1,
            [&] { pixman_image_composite32(pop, src, nullptr, dst, 0, 0, 0, 0, 0, 0, im.w, im.h); });
    pixman_image_unref(src);
    pixman_image_unref(dst);
}
#endif

struct SModeCase {
    EQBlendMoxMode mode;
    int pixmanOp;  // -1: none
};

std::vector<ETarget> Targets() {
    std::vector<ETarget> out = {ETarget::kBaseline};
    for (ETarget t : {ETarget::kAVX512, ETarget::kAVX2})
        if (qgdi::dispatch::IsSupported(t) && qgdi::dispatch::IsBuilt(t)) {
            out.push_back(t);
            break;
        }
    return out;
}

SBlendRanges MakeRanges(bool everySlider) {
    SBlendRanges br{};
    br.nCount = 1;
    uint8_t* tables[] = {br.srcGrey, br.srcRed, br.srcGreen, br.srcBlue,
                         br.dstGrey, br.dstRed, br.dstGreen, br.dstBlue};
    for (uint8_t* t : tables) {
        const bool moved = everySlider || t == br.srcGrey || t == br.dstGrey;
        for (int v = 0; v < 256; ++v) t[v] = uint8_t(moved && v < 40 ? v * 6 : 255);
    }
    return br;
}

size_t WorkingSet() { return size_t(Images().w) * Images().h * 8; }

void Register(const std::string& name, std::function<void(benchmark::State&)> fn) {
    Configure(benchmark::RegisterBenchmark(name.c_str(), fn), WorkingSet());
}

void RegisterAll() {
    const int maxThreads = omp_get_max_threads();
    std::vector<int> threadCounts = {1};
    if (maxThreads > 1) threadCounts.push_back(maxThreads);
    for (int t : threadCounts)
        Register("copy/t" + std::to_string(t), [t](benchmark::State& state) {
            SImages& im = Images();
            const size_t stride = size_t(im.w) * 4;
            Measure(state, im.dst, t, [&] {
#pragma omp parallel for num_threads(t) schedule(static)
                for (int y = 0; y < im.h; ++y)
                    std::memcpy(im.work.data() + stride * y, im.src.data() + stride * y, stride);
            });
        });

#ifdef QGDI_HAVE_PIXMAN
    AddPeerVersion("pixman", pixman_version_string());
    // clang-format off
    const int P[] = {PIXMAN_OP_OVER, PIXMAN_OP_DARKEN, PIXMAN_OP_LIGHTEN, PIXMAN_OP_HSL_HUE, PIXMAN_OP_HSL_SATURATION,
                     PIXMAN_OP_HSL_COLOR, PIXMAN_OP_HSL_LUMINOSITY, PIXMAN_OP_MULTIPLY, PIXMAN_OP_SCREEN,
                     PIXMAN_OP_OVERLAY, PIXMAN_OP_HARD_LIGHT, PIXMAN_OP_SOFT_LIGHT, PIXMAN_OP_DIFFERENCE,
                     PIXMAN_OP_COLOR_DODGE, PIXMAN_OP_COLOR_BURN, PIXMAN_OP_EXCLUSION};
    const int PD[] = {PIXMAN_OP_CLEAR, PIXMAN_OP_SRC, PIXMAN_OP_DST, PIXMAN_OP_OVER, PIXMAN_OP_OVER_REVERSE,
                      PIXMAN_OP_IN, PIXMAN_OP_IN_REVERSE, PIXMAN_OP_OUT, PIXMAN_OP_OUT_REVERSE, PIXMAN_OP_ATOP,
                      PIXMAN_OP_ATOP_REVERSE, PIXMAN_OP_XOR, PIXMAN_OP_ADD};
    // clang-format on
#else
    const int P[16] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    const int PD[13] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
#endif
    // pixman's non-separable operators work in the luma model, as modes 3 to 6 do.
    const SModeCase cases[] = {
        {keBlendMoxNormal, P[0]},      {keBlendMoxDarken, P[1]},     {keBlendMoxLighten, P[2]},
        {keBlendMoxHue, P[3]},         {keBlendMoxSaturation, P[4]}, {keBlendMoxColor, P[5]},
        {keBlendMoxLuminosity, P[6]},  {keBlendMoxMultiply, P[7]},   {keBlendMoxScreen, P[8]},
        {keBlendMoxOverlay, P[9]},     {keBlendMoxHardLight, P[10]}, {keBlendMoxSoftLight, P[11]},
        {keBlendMoxDifference, P[12]}, {keBlendMoxDodge, P[13]},     {keBlendMoxBurn, P[14]},
        {keBlendMoxExclusion, P[15]},  {keBlendMoxDissolve, -1},     {keBlendMoxHSLHue, -1},
        {keBlendMoxHSLSaturation, -1}, {keBlendMoxHSLColor, -1},     {keBlendMoxHSLLuminosity, -1},
        {keBlendMoxLinearLight, -1},   {keBlendMoxVividLight, -1},   {keBlendMoxPinLight, -1},
        {keBlendMoxHardMix, -1},       {keBlendMoxBehind, -1},
    };
    // Grey sliders moved, channel sliders at their ends: how blend ranges are
    // usually set. "+ranges-all" moves every slider, the worst case.
    static const SBlendRanges greyRanges = MakeRanges(false), allRanges = MakeRanges(true);
    for (ETarget target : Targets())
        for (int t : threadCounts) {
            const std::string tail = std::string("/") + qgdi::dispatch::TargetName(target) + "/t" + std::to_string(t);
            for (const SModeCase& c : cases) {
                const std::string base = std::string("blend/") + QGDI_GetBlendMoxModeName(c.mode);
                Register(base + tail + "/ours", [=](benchmark::State& state) {
                    RunRowOp(state, CRowOpDefRowBlendMox(c.mode), keFormatBGRA, false, target, t);
                });
                if (t == 1)
                    for (const SBlendRanges* br : {&greyRanges, &allRanges})
                        Register(base + (br == &allRanges ? "+ranges-all" : "+ranges") + tail + "/ours",
                                 [=](benchmark::State& state) {
                                     CRowOpDefRowBlendMox def(c.mode);
                                     def.SetBlendRanges(br);
                                     RunRowOp(state, def, keFormatBGRA, false, target, t);
                                 });
#ifdef QGDI_HAVE_PIXMAN
                if (t == 1 && c.pixmanOp >= 0)
                    Register(base + tail + "/pixman",
                             [=](benchmark::State& state) { RunPixman(state, pixman_op_t(c.pixmanOp)); });
#endif
            }
            for (int op = 0; op < keCompositeOpCount; ++op) {
                const std::string base = std::string("composite/") + QGDI_GetCompositeOpName(op);
                Register(base + tail + "/ours", [=](benchmark::State& state) {
                    RunRowOp(state, CRowOpDefRowBlend(EQCompositeOp(op)), keFormatBGRxA, true, target, t);
                });
#ifdef QGDI_HAVE_PIXMAN
                if (t == 1)
                    Register(base + tail + "/pixman",
                             [=](benchmark::State& state) { RunPixman(state, pixman_op_t(PD[op])); });
#endif
            }
        }
}

// After the usual tables, every case of ours as Mpix/s, as a share of a copy
// of the same rows on as many threads, and against pixman where it has the operator.
class CBlendReporter : public CRatioReporter {
public:
    using CRatioReporter::CRatioReporter;
    void Finalize() override {
        CRatioReporter::Finalize();
        const auto& rates = Rates();
        std::printf("\n%-44s %10s %14s %10s\n", "case (median Mpix/s)", "ours", "share of copy", "/ pixman");
        for (const auto& [name, rate] : rates) {
            const size_t slash = name.rfind("/ours");
            if (slash == std::string::npos || slash + 5 != name.size()) continue;
            const std::string base = name.substr(0, slash);
            const std::string threads = base.substr(base.rfind('/') + 1);
            const auto copy = rates.find("copy/" + threads);
            const auto peer = rates.find(base + "/pixman");
            std::printf("%-44s %10.1f %13.0f%% ", base.c_str(), rate,
                        copy != rates.end() && copy->second > 0 ? 100.0 * rate / copy->second : 0.0);
            if (peer != rates.end() && peer->second > 0) std::printf("%10.2f\n", rate / peer->second);
            else std::printf("%10s\n", "-");
        }
        std::fflush(stdout);
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
    benchmark::AddCustomContext("image", std::to_string(Images().w) + " x " + std::to_string(Images().h) + " BGRA");
    RegisterAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CBlendReporter reporter(isatty(STDOUT_FILENO) != 0);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    QGDI_SystemShutdown();
    return 0;
}
