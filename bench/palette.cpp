// Colour reduction over the photographs of the shared test data: palettes of
// 256, 64 and 16 colours by MakePalFromDIB and DitherDIB (nearest colour, and
// Floyd-Steinberg), against libimagequant at its default speed (without and
// with its dithering) on the same image in the same process. Each case
// reports Mpix/s of the whole reduction (palette plus remapping), the PSNR of
// the result against the original and the mean CIE76 difference in Lab; a
// table at the end gives the means per colour count side by side. Also: the
// nearest-colour search with and without its cache over 16 M random colours
// and over the pixels of the photographs, and Dither2 Floyd-Steinberg.
// Everything runs on one thread (the peer too: run with OMP_NUM_THREADS=1),
// and times are CPU seconds of that thread, so that a busy machine distorts
// the comparison less than wall-clock time would.
#include <benchmark/benchmark.h>
#include <time.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "qgdi.h"
#include "tools/qgdi/image_io.h"

#ifdef QGDI_HAVE_LIBIMAGEQUANT
#include <libimagequant.h>
#endif

namespace {

using namespace qgdi::bench;

double ThreadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

struct SPhoto {
    std::string name;
    CRowIterator bgr;              // ours reads this
    std::vector<uint8_t> rgba;     // the peer reads this (alpha 255)
    std::vector<double> lab;       // the original in Lab, 3 per pixel
    int w = 0, h = 0;
};

// sRGB (D65) to CIE Lab, exact formulas with a linearisation table.
void ToLab(const uint8_t* rgb, int n, int stride, double* lab) {
    static const std::vector<double> lin = [] {
        std::vector<double> t(256);
        for (int i = 0; i < 256; ++i) {
            const double c = i / 255.0;
            t[size_t(i)] = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
        }
        return t;
    }();
    const auto f = [](double t) { return t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116; };
    for (int i = 0; i < n; ++i) {
        const uint8_t* p = rgb + i * stride;  // red, green, blue
        const double r = lin[p[0]], g = lin[p[1]], b = lin[p[2]];
        const double X = (0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / 0.95047;
        const double Y = 0.2126729 * r + 0.7151522 * g + 0.0721750 * b;
        const double Z = (0.0193339 * r + 0.1191920 * g + 0.9503041 * b) / 1.08883;
        const double fx = f(X), fy = f(Y), fz = f(Z);
        lab[3 * i] = 116 * fy - 16;
        lab[3 * i + 1] = 500 * (fx - fy);
        lab[3 * i + 2] = 200 * (fy - fz);
    }
}

std::vector<SPhoto>& Photos() {
    static std::vector<SPhoto> photos = [] {
        std::vector<SPhoto> v;
        const std::filesystem::path dir = std::filesystem::path(TestDataDir()) / "photos";
        std::vector<std::filesystem::path> files;
        if (std::filesystem::exists(dir))
            for (const auto& e : std::filesystem::directory_iterator(dir))
                if (e.path().extension() == ".png" || e.path().extension() == ".jpg") files.push_back(e.path());
        std::sort(files.begin(), files.end());
        if (QuickMode() && files.size() > 2) files.resize(2);
        for (const auto& f : files) {
            std::string error;
            auto image = QgdiReadImage(f.string(), error);
            if (!image) continue;
            SPhoto p;
            p.name = f.stem().string();
            if (p.bgr.CreateFromCopy(*image, nullptr, keFormatBGR).IsError()) continue;
            p.w = p.bgr.GetWidth();
            p.h = p.bgr.GetHeight();
            p.rgba.resize(size_t(p.w) * p.h * 4);
            std::vector<uint8_t> rgb(size_t(p.w) * 3);
            p.lab.resize(size_t(p.w) * p.h * 3);
            for (int y = 0; y < p.h; ++y) {
                const uint8_t* row = QGDI_GetPixelRow(&p.bgr, y);
                for (int x = 0; x < p.w; ++x) {
                    uint8_t* q = &p.rgba[(size_t(y) * p.w + x) * 4];
                    q[0] = rgb[3 * x] = row[3 * x + 2];
                    q[1] = rgb[3 * x + 1] = row[3 * x + 1];
                    q[2] = rgb[3 * x + 2] = row[3 * x];
                    q[3] = 255;
                }
                QGDI_ReleasePixelRow(&p.bgr, y);
                ToLab(rgb.data(), p.w, 3, &p.lab[size_t(y) * p.w * 3]);
            }
            v.push_back(std::move(p));
        }
        return v;
    }();
    return photos;
}

// PSNR and mean CIE76 of indices + RGB palette against the photo.
struct SQuality {
    double psnr = 0, de = 0;
};
SQuality Measure(const SPhoto& p, const std::vector<uint8_t>& indices, const uint8_t (*palette)[3]) {
    double sse = 0, de = 0;
    std::vector<uint8_t> rgb(size_t(p.w) * 3);
    std::vector<double> lab(size_t(p.w) * 3);
    for (int y = 0; y < p.h; ++y) {
        for (int x = 0; x < p.w; ++x) {
            const uint8_t* c = palette[indices[size_t(y) * p.w + x]];
            const uint8_t* o = &p.rgba[(size_t(y) * p.w + x) * 4];
            for (int k = 0; k < 3; ++k) {
                rgb[size_t(3 * x + k)] = c[k];
                sse += double(c[k] - o[k]) * (c[k] - o[k]);
            }
        }
        ToLab(rgb.data(), p.w, 3, lab.data());
        const double* ref = &p.lab[size_t(y) * p.w * 3];
        for (int i = 0; i < p.w; ++i)
            de += std::sqrt((lab[size_t(3 * i)] - ref[3 * i]) * (lab[size_t(3 * i)] - ref[3 * i]) +
                            (lab[size_t(3 * i + 1)] - ref[3 * i + 1]) * (lab[size_t(3 * i + 1)] - ref[3 * i + 1]) +
                            (lab[size_t(3 * i + 2)] - ref[3 * i + 2]) * (lab[size_t(3 * i + 2)] - ref[3 * i + 2]));
    }
    const double n = double(p.w) * p.h;
    return {10 * std::log10(255.0 * 255.0 / std::max(sse / (3 * n), 1e-12)), de / n};
}

// The last quality and time of each (case, library, photograph), for the
// closing table (the benchmark library may call a case more than once).
struct SCaseResult {
    SQuality q;
    double seconds = 0, mpix = 0;
};
std::map<std::string, std::map<std::string, SCaseResult>>& Results() {
    static std::map<std::string, std::map<std::string, SCaseResult>> r;
    return r;
}

void Record(const std::string& key, const std::string& photo, const SQuality& q, double seconds, double mpix) {
    Results()[key][photo] = SCaseResult{q, seconds, mpix};
}

void Report(benchmark::State& state, const SPhoto& p, double seconds, int64_t iterations, const SQuality& q) {
    state.counters["Mpix/s"] = double(p.w) * p.h * double(iterations) / seconds / 1e6;
    state.counters["PSNR"] = q.psnr;
    state.counters["dE76"] = q.de;
}

void Ours(benchmark::State& state, const SPhoto* p, int colours, bool dither) {
    std::vector<uint8_t> indices(size_t(p->w) * p->h);
    uint8_t pal3[256][3] = {};
    double seconds = 0;
    int64_t iterations = 0;
    for (auto _ : state) {
        const double t0 = ThreadSeconds();
        RGBQUAD pal[256];
        int count = 0;
        CRowIterator out;
        if (MakePalFromDIB(p->bgr, pal, colours, count).IsError() ||
            DitherDIB(nullptr, p->bgr, out, pal, count, dither ? keDitherFloydSteinberg : keDitherNone).IsError()) {
            state.SkipWithError("reduction failed");
            return;
        }
        const double t = ThreadSeconds() - t0;
        state.SetIterationTime(t);
        seconds += t;
        ++iterations;
        for (int y = 0; y < p->h; ++y) {
            std::memcpy(&indices[size_t(y) * p->w], QGDI_GetPixelRow(&out, y), size_t(p->w));
            QGDI_ReleasePixelRow(&out, y);
        }
        for (int i = 0; i < count; ++i) {
            pal3[i][0] = pal[i].rgbRed;
            pal3[i][1] = pal[i].rgbGreen;
            pal3[i][2] = pal[i].rgbBlue;
        }
    }
    const SQuality q = Measure(*p, indices, pal3);
    Report(state, *p, seconds, iterations, q);
    Record(std::to_string(colours) + (dither ? " dithered" : " nearest") + "|ours", p->name, q,
           seconds / double(iterations), double(p->w) * p->h / 1e6);
}

#ifdef QGDI_HAVE_LIBIMAGEQUANT
void Peer(benchmark::State& state, const SPhoto* p, int colours, bool dither) {
    std::vector<uint8_t> indices(size_t(p->w) * p->h);
    uint8_t pal3[256][3] = {};
    double seconds = 0;
    int64_t iterations = 0;
    for (auto _ : state) {
        const double t0 = ThreadSeconds();
        liq_attr* attr = liq_attr_create();
        liq_set_max_colors(attr, colours);
        liq_image* image = liq_image_create_rgba(attr, p->rgba.data(), p->w, p->h, 0);
        liq_result* result = nullptr;
        if (liq_image_quantize(image, attr, &result) != LIQ_OK) {
            state.SkipWithError("libimagequant failed");
            return;
        }
        liq_set_dithering_level(result, dither ? 1.0f : 0.0f);
        liq_write_remapped_image(result, image, indices.data(), indices.size());
        const liq_palette* pal = liq_get_palette(result);
        const double t = ThreadSeconds() - t0;
        state.SetIterationTime(t);
        seconds += t;
        ++iterations;
        for (unsigned i = 0; i < pal->count; ++i) {
            pal3[i][0] = pal->entries[i].r;
            pal3[i][1] = pal->entries[i].g;
            pal3[i][2] = pal->entries[i].b;
        }
        liq_result_destroy(result);
        liq_image_destroy(image);
        liq_attr_destroy(attr);
    }
    const SQuality q = Measure(*p, indices, pal3);
    Report(state, *p, seconds, iterations, q);
    Record(std::to_string(colours) + (dither ? " dithered" : " nearest") + "|libimagequant", p->name, q,
           seconds / double(iterations), double(p->w) * p->h / 1e6);
}
#endif

// Nearest colour for a sequence of colours, with or without the cache.
void Nearest(benchmark::State& state, const std::vector<uint32_t>& (*source)(), bool cached) {
    const std::vector<uint32_t>* colours = &source();
    static RGBQUAD pal[256];
    static int count = [] {
        int n = 0;
        if (!Photos().empty()) MakePalFromDIB(Photos()[0].bgr, pal, 256, n).Ignore();
        if (n == 0) {
            const RGBQUAD* ns = QPalette_PaletteGetNetscape(&n);
            std::copy(ns, ns + n, pal);
        }
        return n;
    }();
    const auto* bytes = reinterpret_cast<const uint8_t*>(pal);
    double seconds = 0;
    int64_t iterations = 0;
    for (auto _ : state) {
        tagColorLookupCache* cache = cached ? CreateColorLookupCache(count) : nullptr;
        const double t0 = ThreadSeconds();
        uint32_t sum = 0;
        for (uint32_t c : *colours) sum += LocateNearestColor(c >> 16, (c >> 8) & 255, c & 255, bytes, count, 4, cache);
        benchmark::DoNotOptimize(sum);
        const double t = ThreadSeconds() - t0;
        FreeColorLookupCache(cache);
        state.SetIterationTime(t);
        seconds += t;
        ++iterations;
    }
    state.counters["Mpix/s"] = double(colours->size()) * double(iterations) / seconds / 1e6;
}

const std::vector<uint32_t>& RandomColours() {
    static const std::vector<uint32_t> v = [] {
        std::vector<uint32_t> c(QuickMode() ? (1u << 16) : (16u << 20));
        std::mt19937 rng(2024);
        for (uint32_t& x : c) x = rng() & 0xFFFFFF;
        return c;
    }();
    return v;
}

const std::vector<uint32_t>& PhotoColours() {
    static const std::vector<uint32_t> v = [] {
        std::vector<uint32_t> c;
        for (const SPhoto& p : Photos())
            for (size_t i = 0; i < p.rgba.size(); i += 4)
                c.push_back(uint32_t(p.rgba[i]) << 16 | uint32_t(p.rgba[i + 1]) << 8 | p.rgba[i + 2]);
        return c;
    }();
    return v;
}

void BM_Dither2(benchmark::State& state) {
    // The largest photograph as 8-bit grey.
    const SPhoto* big = nullptr;
    for (const SPhoto& p : Photos())
        if (!big || p.w * p.h > big->w * big->h) big = &p;
    CRowIterator grey;
    if (!big || grey.CreateFromCopy(big->bgr, nullptr, keFormatGrey).IsError()) {
        state.SkipWithError("no photograph");
        return;
    }
    double seconds = 0;
    int64_t iterations = 0;
    CRowIterator out;
    for (auto _ : state) {
        const double t0 = ThreadSeconds();
        if (Dither2(nullptr, grey, out, keDither2FloydSteinberg, 0, 0).IsError()) state.SkipWithError("failed");
        const double t = ThreadSeconds() - t0;
        state.SetIterationTime(t);
        seconds += t;
        ++iterations;
    }
    state.counters["Mpix/s"] = double(big->w) * big->h * double(iterations) / seconds / 1e6;
}

void RegisterAll() {
    for (const SPhoto& p : Photos())
        for (int colours : {256, 64, 16})
            for (bool dither : {false, true}) {
                const std::string base =
                    "quantise/" + std::to_string(colours) + (dither ? "/dithered/" : "/nearest/") + p.name;
                Configure(benchmark::RegisterBenchmark((base + "/ours").c_str(), Ours, &p, colours, dither))
                    ->Repetitions(1);
#ifdef QGDI_HAVE_LIBIMAGEQUANT
                Configure(benchmark::RegisterBenchmark((base + "/libimagequant").c_str(), Peer, &p, colours, dither))
                    ->Repetitions(1);
#endif
            }
    for (bool cached : {true, false}) {
        Configure(benchmark::RegisterBenchmark(cached ? "nearest/random16M/cached" : "nearest/random16M/uncached",
                                               Nearest, &RandomColours, cached))
            ->Repetitions(1)
            ->MinTime(1e-9);
        Configure(benchmark::RegisterBenchmark(cached ? "nearest/photos/cached" : "nearest/photos/uncached", Nearest,
                                               &PhotoColours, cached))
            ->Repetitions(1)
            ->MinTime(1e-9);
    }
    Configure(benchmark::RegisterBenchmark("dither2/floyd-steinberg/largest-photo-grey", BM_Dither2));
}

// Means over the photographs: PSNR capped at 60 dB (a lossless result is
// infinite), mean CIE76, and the rate over all the pixels reduced.
void PrintTable() {
    if (Results().empty()) return;
    std::printf("\nMeans over %zu photographs (one thread, CPU time; PSNR capped at 60 dB)\n", Photos().size());
    std::printf("%-14s %-14s %8s %8s %10s %12s\n", "case", "library", "PSNR dB", "dE76", "Mpix/s", "ours / peer");
    std::map<std::string, double> rate;
    for (const auto& [key, photos] : Results()) {
        double psnr = 0, de = 0, seconds = 0, mpix = 0;
        for (const auto& [name, r] : photos) {
            psnr += std::min(r.q.psnr, 60.0);
            de += r.q.de;
            seconds += r.seconds;
            mpix += r.mpix;
        }
        const double n = double(photos.size());
        rate[key] = mpix / seconds;
        const size_t bar = key.find('|');
        const std::string peerKey = key.substr(0, bar) + "|libimagequant";
        std::string ratio;
        if (key.substr(bar + 1) == "ours" && Results().count(peerKey)) {
            double ps = 0, pm = 0;
            for (const auto& [name, r] : Results().at(peerKey)) {
                ps += r.seconds;
                pm += r.mpix;
            }
            ratio = std::to_string(mpix / seconds / (pm / ps)).substr(0, 4) + "x";
        }
        std::printf("%-14s %-14s %8.2f %8.3f %10.2f %12s\n", key.substr(0, bar).c_str(), key.substr(bar + 1).c_str(),
                    psnr / n, de / n, mpix / seconds, ratio.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
#ifdef QGDI_HAVE_LIBIMAGEQUANT
    AddPeerVersion("libimagequant", LIQ_VERSION_STRING);
#endif
    RegisterAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CRatioReporter reporter(isatty(STDOUT_FILENO) != 0);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    PrintTable();
    QGDI_SystemShutdown();
    return 0;
}
