// Content-aware fill against OpenCV's cv::inpaint (Telea and Navier-Stokes).
//
// First a quality table: holes of four shapes (a disc, a thin scratch, a
// rectangle of 7.5 % of the area, an object-sized blob) are cut into every
// PNG photograph of the test data and filled by each method; PSNR and SSIM
// (of luma, 11x11 Gaussian windows) are measured inside the hole against the
// original, with the time on one thread. Then Google Benchmark times the
// rectangle on a 1-megapixel photograph, "Mpix/s" counting hole pixels.
//
// QGDI_INPAINT_WRITE=DIR writes each case as PNG (hole, ours, telea, ns);
// QGDI_INPAINT_QUALITY=0 skips the table.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench_util.h"
#include "qgdi.h"
#include "tools/qgdi/image_io.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/photo.hpp>
#endif

namespace {

using namespace qgdi::bench;

// An 8-bit BGR photograph, rows packed.
struct SPhoto {
    std::string name;
    int w = 0, h = 0;
    std::vector<uint8_t> bgr;
};

bool ReadBgr(const std::string& name, SPhoto& photo) {
    const auto image = ReadPhoto(name);
    if (!image) return false;
    photo.w = image->GetWidth();
    photo.h = image->GetHeight();
    photo.bgr.resize(static_cast<size_t>(photo.w) * photo.h * 3);
    for (int y = 0; y < photo.h; ++y) {
        const uint8_t* row = image->GetRow(y, 0, photo.w);
        uint8_t* out = photo.bgr.data() + static_cast<size_t>(y) * photo.w * 3;
        for (int x = 0; x < photo.w; ++x) std::memcpy(out + x * 3, row + x * 4, 3);
        image->ReleaseRow(y).Ignore();
    }
    return true;
}

std::unique_ptr<CRowIterator> ToImage(int w, int h, int channels, const uint8_t* data);

void WritePng(const std::string& file, int w, int h, const uint8_t* bgr) {
    std::string error, note;
    const auto image = ToImage(w, h, 3, bgr);
    if (!image || !QgdiWriteImage(file, *image, error, note)) std::fprintf(stderr, "cannot write %s: %s\n", file.c_str(), error.c_str());
}

std::vector<SPhoto> Photos() {
    std::vector<SPhoto> photos;
    const std::string dir = TestDataDir() + "/photos";
    DIR* d = opendir(dir.c_str());
    if (!d) return photos;
    std::vector<std::string> names;
    while (const dirent* e = readdir(d)) {
        const std::string n = e->d_name;
        if (n.size() > 4 && n.substr(n.size() - 4) == ".png") names.push_back(n);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    for (const auto& n : names) {
        SPhoto p;
        p.name = n.substr(0, n.size() - 4);
        if (ReadBgr(n, p)) photos.push_back(std::move(p));
    }
    return photos;
}

// The four hole shapes, as 0/255 masks, scaled to the image.
using Mask = std::vector<uint8_t>;
const char* const kShapes[] = {"disc", "scratch", "rect", "blob"};

Mask MakeHole(const std::string& shape, int w, int h) {
    Mask m(static_cast<size_t>(w) * h, 0);
    const auto disc = [&](double cx, double cy, double r) {
        for (int y = std::max(0, int(cy - r)); y <= std::min(h - 1, int(cy + r) + 1); ++y)
            for (int x = std::max(0, int(cx - r)); x <= std::min(w - 1, int(cx + r) + 1); ++x)
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) m[static_cast<size_t>(y) * w + x] = 255;
    };
    const double s = std::min(w, h);
    if (shape == "disc") {
        disc(0.55 * w, 0.45 * h, 0.06 * s);
    } else if (shape == "scratch") {
        // A wavy stroke 5 pixels wide across most of the picture.
        for (double t = 0; t <= 1.0; t += 0.5 / std::max(w, h))
            disc(w * (0.1 + 0.8 * t), h * (0.25 + 0.5 * t) + 0.04 * s * std::sin(t * 12.0), 2.5);
    } else if (shape == "rect") {
        const double area = 0.075 * w * h, rw = std::sqrt(area * 4.0 / 3.0), rh = area / rw;
        for (int y = int(0.5 * h - rh / 2); y < int(0.5 * h + rh / 2); ++y)
            for (int x = int(0.45 * w - rw / 2); x < int(0.45 * w + rw / 2); ++x) m[static_cast<size_t>(y) * w + x] = 255;
    } else {
        // An irregular object of about 4 % of the area.
        disc(0.40 * w, 0.60 * h, 0.09 * s);
        disc(0.47 * w, 0.52 * h, 0.07 * s);
        disc(0.34 * w, 0.50 * h, 0.05 * s);
        disc(0.44 * w, 0.70 * h, 0.06 * s);
        disc(0.52 * w, 0.62 * h, 0.045 * s);
    }
    return m;
}

std::unique_ptr<CRowIterator> ToImage(int w, int h, int channels, const uint8_t* data) {
    auto img = std::make_unique<CRowIterator>();
    if (img->Create(w, h, channels == 1 ? keFormatGrey : keFormatBGR).IsError()) return nullptr;
    for (int y = 0; y < h; ++y) {
        std::memcpy(img->GetRow(y, 0, w), data + static_cast<size_t>(y) * w * channels, static_cast<size_t>(w) * channels);
        img->ReleaseRow(y).Ignore();
    }
    return img;
}

void FromImage(const CRowIterator& img, uint8_t* data) {
    const int w = img.GetWidth();
    for (int y = 0; y < img.GetHeight(); ++y) {
        std::memcpy(data + static_cast<size_t>(y) * w * 3, img.GetRow(y, 0, w), static_cast<size_t>(w) * 3);
        img.ReleaseRow(y).Ignore();
    }
}

// Fills `bgr` where `mask` is set; false when the method failed.
bool FillOurs(int w, int h, std::vector<uint8_t>& bgr, const Mask& mask, int threads) {
    auto image = ToImage(w, h, 3, bgr.data());
    auto m = ToImage(w, h, 1, mask.data());
    SQInpaintOptions options;
    options.nThreads = threads;
    options.nSeed = 1;
    if (!image || !m || QGDI_Inpaint(*image, *m, options).IsError()) return false;
    FromImage(*image, bgr.data());
    return true;
}

#ifdef QGDI_HAVE_OPENCV
bool FillOpenCV(int w, int h, std::vector<uint8_t>& bgr, const Mask& mask, int flags) {
    const cv::Mat in(h, w, CV_8UC3, bgr.data());
    const cv::Mat m(h, w, CV_8UC1, const_cast<uint8_t*>(mask.data()));
    cv::Mat out;
    cv::inpaint(in, m, out, 5.0, flags);
    std::memcpy(bgr.data(), out.data, bgr.size());
    return true;
}
#endif

// Luma in 0..255 as doubles.
std::vector<double> Luma(int w, int h, const std::vector<uint8_t>& bgr) {
    std::vector<double> y(static_cast<size_t>(w) * h);
    for (size_t i = 0; i < y.size(); ++i) y[i] = 0.114 * bgr[i * 3] + 0.587 * bgr[i * 3 + 1] + 0.299 * bgr[i * 3 + 2];
    return y;
}

// PSNR over the colour channels of the hole's pixels.
double HolePsnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, const Mask& mask) {
    double se = 0;
    size_t n = 0;
    for (size_t i = 0; i < mask.size(); ++i)
        if (mask[i])
            for (int c = 0; c < 3; ++c) {
                const double d = double(a[i * 3 + c]) - double(b[i * 3 + c]);
                se += d * d;
                ++n;
            }
    return se > 0 ? 10.0 * std::log10(255.0 * 255.0 * double(n) / se) : 99.0;
}

// Mean SSIM of luma over the hole's pixels, Gaussian windows of sigma 1.5.
double HoleSsim(int w, int h, const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, const Mask& mask) {
    const std::vector<double> x = Luma(w, h, a), y = Luma(w, h, b);
    double g[11], gs = 0;
    for (int i = 0; i < 11; ++i) gs += g[i] = std::exp(-(i - 5) * (i - 5) / (2 * 1.5 * 1.5));
    for (double& v : g) v /= gs;
    const double c1 = 6.5025, c2 = 58.5225;
    double sum = 0;
    size_t n = 0;
    for (int py = 0; py < h; ++py)
        for (int px = 0; px < w; ++px) {
            if (!mask[static_cast<size_t>(py) * w + px]) continue;
            double mx = 0, my = 0, xx = 0, yy = 0, xy = 0, wsum = 0;
            for (int dy = -5; dy <= 5; ++dy)
                for (int dx = -5; dx <= 5; ++dx) {
                    const int qx = std::clamp(px + dx, 0, w - 1), qy = std::clamp(py + dy, 0, h - 1);
                    const double wt = g[dy + 5] * g[dx + 5];
                    const double u = x[static_cast<size_t>(qy) * w + qx], v = y[static_cast<size_t>(qy) * w + qx];
                    mx += wt * u, my += wt * v, xx += wt * u * u, yy += wt * v * v, xy += wt * u * v, wsum += wt;
                }
            const double vx = xx - mx * mx, vy = yy - my * my, cxy = xy - mx * my;
            sum += ((2 * mx * my + c1) * (2 * cxy + c2)) / ((mx * mx + my * my + c1) * (vx + vy + c2));
            ++n;
        }
    return n ? sum / double(n) : 1.0;
}

struct SMethod {
    const char* name;
    std::function<bool(int, int, std::vector<uint8_t>&, const Mask&)> fill;
};

std::vector<SMethod> Methods() {
    std::vector<SMethod> m = {{"ours", [](int w, int h, std::vector<uint8_t>& p, const Mask& k) { return FillOurs(w, h, p, k, 1); }}};
#ifdef QGDI_HAVE_OPENCV
    m.push_back({"telea", [](int w, int h, std::vector<uint8_t>& p, const Mask& k) { return FillOpenCV(w, h, p, k, cv::INPAINT_TELEA); }});
    m.push_back({"ns", [](int w, int h, std::vector<uint8_t>& p, const Mask& k) { return FillOpenCV(w, h, p, k, cv::INPAINT_NS); }});
#endif
    return m;
}

void QualityTable() {
    const char* dir = std::getenv("QGDI_INPAINT_WRITE");
    const auto methods = Methods();
    std::map<std::string, std::vector<double>> ssimAll, ssimTextured;
    std::printf("%-10s %-8s %-6s %8s %8s %9s\n", "photo", "hole", "method", "PSNR dB", "SSIM", "time ms");
    for (const SPhoto& photo : Photos()) {
        const bool textured = photo.name == "brick" || photo.name == "grass" || photo.name == "gravel" ||
                              photo.name == "astronaut";
        for (const char* shape : kShapes) {
            const Mask mask = MakeHole(shape, photo.w, photo.h);
            if (dir) {
                std::vector<uint8_t> holed = photo.bgr;
                for (size_t i = 0; i < mask.size(); ++i)
                    if (mask[i]) holed[i * 3] = 255, holed[i * 3 + 1] = 0, holed[i * 3 + 2] = 255;
                WritePng(std::string(dir) + "/" + photo.name + "_" + shape + "_hole.png", photo.w, photo.h, holed.data());
            }
            for (const SMethod& method : methods) {
                std::vector<uint8_t> out = photo.bgr;
                // The hole's content is gone for every method.
                for (size_t i = 0; i < mask.size(); ++i)
                    if (mask[i]) out[i * 3] = out[i * 3 + 1] = out[i * 3 + 2] = 0;
                const double t0 = Now();
                if (!method.fill(photo.w, photo.h, out, mask)) {
                    std::printf("%-10s %-8s %-6s failed\n", photo.name.c_str(), shape, method.name);
                    continue;
                }
                const double ms = (Now() - t0) * 1e3;
                const double psnr = HolePsnr(photo.bgr, out, mask), ssim = HoleSsim(photo.w, photo.h, photo.bgr, out, mask);
                std::printf("%-10s %-8s %-6s %8.2f %8.4f %9.1f\n", photo.name.c_str(), shape, method.name, psnr, ssim, ms);
                ssimAll[method.name].push_back(ssim);
                if (textured) ssimTextured[method.name].push_back(ssim);
                if (dir)
                    WritePng(std::string(dir) + "/" + photo.name + "_" + shape + "_" + method.name + ".png", photo.w,
                             photo.h, out.data());
            }
        }
    }
    const auto mean = [](const std::vector<double>& v) {
        double s = 0;
        for (double x : v) s += x;
        return v.empty() ? 0.0 : s / double(v.size());
    };
    std::printf("\nmean SSIM in the hole      all photos   textured (brick, grass, gravel, astronaut)\n");
    for (const SMethod& method : methods)
        std::printf("  %-6s                   %8.4f   %8.4f\n", method.name, mean(ssimAll[method.name]),
                    mean(ssimTextured[method.name]));
    std::printf("\n");
}

// ---- Timing: a rectangle of 7.5 % in a 1-megapixel photograph -----------------

struct SBig {
    int w = 0, h = 0;
    std::vector<uint8_t> bgr;
    Mask mask;
    size_t holePixels = 0;
};

const SBig& Big() {
    static const SBig big = [] {
        SBig b;
        SPhoto photo;
        if (!ReadBgr("astronaut.png", photo)) std::exit(1);
        const int side = QuickMode() ? 512 : 1024;
        auto src = ToImage(photo.w, photo.h, 3, photo.bgr.data());
        CRowIterator out;
        if (!src || CImageResize(keResampleBicubic).Resize(*src, side, side, out).IsError()) std::exit(1);
        b.w = b.h = side;
        b.bgr.resize(static_cast<size_t>(side) * side * 3);
        FromImage(out, b.bgr.data());
        b.mask = MakeHole("rect", side, side);
        for (uint8_t v : b.mask) b.holePixels += v != 0;
        return b;
    }();
    return big;
}

void Timed(benchmark::State& state, const std::function<bool(std::vector<uint8_t>&)>& fill) {
    const SBig& big = Big();
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        std::vector<uint8_t> work = big.bgr;
        const double t0 = Now();
        if (!fill(work)) {
            state.SkipWithError("fill failed");
            return;
        }
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = double(big.holePixels) * 1e-6 * static_cast<double>(n) / total;
}

void Register() {
    const std::string base = "BGR/1Mpix/rect7.5%/";
    Configure(benchmark::RegisterBenchmark((base + "t1/ours").c_str(), [](benchmark::State& s) {
        Timed(s, [](std::vector<uint8_t>& p) { return FillOurs(Big().w, Big().h, p, Big().mask, 1); });
    }));
    Configure(benchmark::RegisterBenchmark((base + "all/ours").c_str(), [](benchmark::State& s) {
        Timed(s, [](std::vector<uint8_t>& p) { return FillOurs(Big().w, Big().h, p, Big().mask, 0); });
    }));
#ifdef QGDI_HAVE_OPENCV
    Configure(benchmark::RegisterBenchmark((base + "t1/opencv_telea").c_str(), [](benchmark::State& s) {
        cv::setNumThreads(1);
        Timed(s, [](std::vector<uint8_t>& p) { return FillOpenCV(Big().w, Big().h, p, Big().mask, cv::INPAINT_TELEA); });
    }));
    Configure(benchmark::RegisterBenchmark((base + "t1/opencv_ns").c_str(), [](benchmark::State& s) {
        cv::setNumThreads(1);
        Timed(s, [](std::vector<uint8_t>& p) { return FillOpenCV(Big().w, Big().h, p, Big().mask, cv::INPAINT_NS); });
    }));
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
    return RunBenchmarks(
        argc, argv,
        [] {
            const char* quality = std::getenv("QGDI_INPAINT_QUALITY");
            if (!QuickMode() && !(quality && std::strcmp(quality, "0") == 0)) QualityTable();
            Big();
        },
        [] { QGDI_SystemShutdown(); });
}
