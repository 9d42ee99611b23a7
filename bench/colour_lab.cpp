// 8-bit BGR to Lab and back through the table-driven functors, against Little
// CMS on the same 4096 x 4096 image in the same process. Prints Mpix/s, the
// our/Little CMS ratios and the largest byte difference of the Lab results.
//
// Little CMS gives Lab relative to the ICC white D50 (its sRGB profile is
// adapted to it with Bradford), whatever white the Lab profile names; our sRGB
// is relative to its own white, D65. The byte comparison is therefore
// made twice: as is, and with our sRGB adapted to D50 with Bradford the same
// way, which is the like-for-like figure. Rates are per CPU second of the
// converting thread (best pass), so that a busy machine distorts them less.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

#include "colour/ColorFunctors.h"
#include "colour/colour.h"

#ifdef QGDI_HAVE_LCMS2
#include <lcms2.h>
#endif

namespace {

constexpr int kWidth = 4096, kHeight = 4096;
constexpr size_t kRowBytes = size_t(kWidth) * 3;

// A fixed photograph-like test image: smooth gradients plus seeded noise, so
// that neighbouring pixels are related but every byte value occurs.
const std::vector<uint8_t>& SourceImage() {
    static const std::vector<uint8_t> image = [] {
        std::vector<uint8_t> v(kRowBytes * kHeight);
        std::mt19937 rng(20240611);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                uint8_t* p = &v[size_t(y) * kRowBytes + size_t(x) * 3];
                const int noise = int(rng() % 64) - 32;
                p[0] = uint8_t(std::clamp((x >> 4) + noise, 0, 255));
                p[1] = uint8_t(std::clamp((y >> 4) + noise / 2, 0, 255));
                p[2] = uint8_t(std::clamp(((x + y) >> 5) - noise, 0, 255));
            }
        return v;
    }();
    return image;
}

// sRGB with its white moved to the ICC D50 by Bradford adaptation of the primaries.
SColorSpecRGB SRGBAdaptedToD50() {
    double Xw, Yw, Zw;
    QGDI_ColorSpecWhite(kColorSpecSRGB, Xw, Yw, Zw);
    const CGenMatrix adapt = CreateChromaticAdaptationMatrix(Xw, Yw, Zw, 0.96422, 1.0, 0.82521, keAdaptBradford);
    const double* m = kColorSpecSRGB.mRGBtoXYZ;
    double cols[9];
    for (int c = 0; c < 3; ++c)
        ChromaticAdaptation(m[3 * c], m[3 * c + 1], m[3 * c + 2], cols[3 * c], cols[3 * c + 1], cols[3 * c + 2], adapt);
    // The adapted primaries as chromaticities, rebuilt against the D50 white.
    double xy[6];
    for (int c = 0; c < 3; ++c) {
        double Y;
        XYZtoxyY(cols[3 * c], cols[3 * c + 1], cols[3 * c + 2], xy[2 * c], xy[2 * c + 1], Y, 0.96422, 1.0, 0.82521);
    }
    SColorSpecRGB cs = kColorSpecSRGB;
    QGDI_MakeColorSpec(xy[0], xy[1], xy[2], xy[3], xy[4], xy[5], 0.96422, 1.0, 0.82521, keGammaSRGB, 2.4, cs);
    return cs;
}

struct SResults {
    double oursToLab = 0, oursToRgb = 0, lcmsToLab = 0, lcmsToRgb = 0;
    std::vector<uint8_t> oursLab, lcmsLab;
} g_results;

double CpuSeconds() { return double(std::clock()) / CLOCKS_PER_SEC; }

// Mpix/s of the best pass over the image.
template <class Fn>
double RunImage(benchmark::State& state, Fn pass) {
    double best = 0;
    for (auto _ : state) {
        const double t0 = CpuSeconds();
        pass();
        const double s = std::max(CpuSeconds() - t0, 1e-9);
        best = std::max(best, double(kWidth) * kHeight / s / 1e6);
    }
    state.counters["Mpix/s"] = benchmark::Counter(double(kWidth) * kHeight * double(state.iterations()) / 1e6,
                                                  benchmark::Counter::kIsRate);
    return best;
}

void BM_OursToLab(benchmark::State& state) {
    const std::vector<uint8_t>& src = SourceImage();
    g_results.oursLab.resize(src.size());
    const CRGBDtoLab8 functor(kColorSpecSRGB, true);
    g_results.oursToLab = RunImage(state, [&] {
        for (int y = 0; y < kHeight; ++y)
            functor.Row(&src[size_t(y) * kRowBytes], &g_results.oursLab[size_t(y) * kRowBytes], kWidth);
        benchmark::DoNotOptimize(g_results.oursLab.data());
    });
}

void BM_OursToRgb(benchmark::State& state) {
    const std::vector<uint8_t>& src = SourceImage();
    std::vector<uint8_t> lab(src.size()), rgb(src.size());
    CRGBDtoLab8(kColorSpecSRGB, true).Row(src.data(), lab.data(), kWidth * kHeight);
    const CLabtoRGBD8 functor(kColorSpecSRGB, true);
    g_results.oursToRgb = RunImage(state, [&] {
        for (int y = 0; y < kHeight; ++y) functor.Row(&lab[size_t(y) * kRowBytes], &rgb[size_t(y) * kRowBytes], kWidth);
        benchmark::DoNotOptimize(rgb.data());
    });
}

// The generic entry that row operations use for any functor, for comparison.
void BM_OursToLabGenericEntry(benchmark::State& state) {
    const std::vector<uint8_t>& src = SourceImage();
    std::vector<uint8_t> lab(src.size());
    const CRGBDtoLab8 functor(kColorSpecSRGB, true);
    RunImage(state, [&] {
        QGDI_ApplyUserFunctor8(functor, src.data(), lab.data(), kWidth * kHeight, 3, 3);
        benchmark::DoNotOptimize(lab.data());
    });
}

BENCHMARK(BM_OursToLab)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_OursToRgb)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_OursToLabGenericEntry)->Unit(benchmark::kMillisecond)->MinTime(2.0);

#ifdef QGDI_HAVE_LCMS2
// Little CMS: built-in sRGB profile to the built-in Lab profile, default intent.
struct SLcms {
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
    cmsHTRANSFORM toLab, toRgb;
    SLcms() {
        toLab = cmsCreateTransform(srgb, TYPE_BGR_8, lab, TYPE_Lab_8, INTENT_PERCEPTUAL, 0);
        toRgb = cmsCreateTransform(lab, TYPE_Lab_8, srgb, TYPE_BGR_8, INTENT_PERCEPTUAL, 0);
    }
    ~SLcms() {
        cmsDeleteTransform(toLab);
        cmsDeleteTransform(toRgb);
        cmsCloseProfile(lab);
        cmsCloseProfile(srgb);
    }
};

void BM_LcmsToLab(benchmark::State& state) {
    const std::vector<uint8_t>& src = SourceImage();
    g_results.lcmsLab.resize(src.size());
    SLcms lcms;
    g_results.lcmsToLab = RunImage(state, [&] {
        for (int y = 0; y < kHeight; ++y)
            cmsDoTransform(lcms.toLab, &src[size_t(y) * kRowBytes], &g_results.lcmsLab[size_t(y) * kRowBytes], kWidth);
        benchmark::DoNotOptimize(g_results.lcmsLab.data());
    });
}

void BM_LcmsToRgb(benchmark::State& state) {
    const std::vector<uint8_t>& src = SourceImage();
    SLcms lcms;
    std::vector<uint8_t> lab(src.size()), rgb(src.size());
    cmsDoTransform(lcms.toLab, src.data(), lab.data(), kWidth * kHeight);
    g_results.lcmsToRgb = RunImage(state, [&] {
        for (int y = 0; y < kHeight; ++y)
            cmsDoTransform(lcms.toRgb, &lab[size_t(y) * kRowBytes], &rgb[size_t(y) * kRowBytes], kWidth);
        benchmark::DoNotOptimize(rgb.data());
    });
}

BENCHMARK(BM_LcmsToLab)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_LcmsToRgb)->Unit(benchmark::kMillisecond)->MinTime(2.0);
#endif

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
#ifdef QGDI_HAVE_LCMS2
    if (g_results.oursToLab > 0 && g_results.lcmsToLab > 0) {
        auto largestDifference = [](const std::vector<uint8_t>& ours) {
            int largest = 0;
            for (size_t i = 0; i < ours.size(); ++i)
                largest = std::max(largest, std::abs(int(ours[i]) - int(g_results.lcmsLab[i])));
            return largest;
        };
        std::vector<uint8_t> oursD50(g_results.oursLab.size());
        CRGBDtoLab8(SRGBAdaptedToD50(), true).Row(SourceImage().data(), oursD50.data(), kWidth * kHeight);
        std::printf("to Lab:  ours %.1f Mpix/s, Little CMS %.1f Mpix/s, ratio ours/LCMS %.2f\n", g_results.oursToLab,
                    g_results.lcmsToLab, g_results.oursToLab / g_results.lcmsToLab);
        std::printf(
            "largest Lab byte difference ours vs Little CMS: %d with our sRGB adapted to D50 (like for like), "
            "%d with our D65 sRGB\n",
            largestDifference(oursD50), largestDifference(g_results.oursLab));
    }
    if (g_results.oursToRgb > 0 && g_results.lcmsToRgb > 0)
        std::printf("to RGB:  ours %.1f Mpix/s, Little CMS %.1f Mpix/s, ratio ours/LCMS %.2f\n", g_results.oursToRgb,
                    g_results.lcmsToRgb, g_results.oursToRgb / g_results.lcmsToRgb);
#else
    std::printf("Little CMS not found: no ratio\n");
#endif
    return 0;
}
