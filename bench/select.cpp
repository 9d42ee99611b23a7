// Smart selection: quality against masks known by construction, and speed,
// beside OpenCV's grabCut on the same images and rectangles.
//
// Test images: a foreground photograph seen through a silhouette (the horse,
// or a drawn shape) and laid over a different photograph, so the silhouette
// is the exact answer. A table of intersection-over-union and times is
// printed first; the benchmarks then time a 1-megapixel case.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_util.h"
#include "qgdi.h"
#include "tools/qgdi/image_io.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <omp.h>

using namespace qgdi::bench;

namespace {

struct SPlane {
    int w = 0, h = 0;
    std::vector<uint8_t> px;  // BGR
};

SPlane Load(const char* name) {
    std::string error;
    const std::string path = std::string(QGDI_TESTDATA_DIR) + "/photos/" + name;
    const auto image = QgdiReadImage(path, error);
    SPlane p;
    CRowIterator bgr;
    if (!image || bgr.CreateFromCopy(*image, nullptr, keFormatBGR).IsError()) {
        std::fprintf(stderr, "bench_select: cannot read %s (%s)\n", path.c_str(), error.c_str());
        std::exit(1);
    }
    p.w = bgr.GetWidth();
    p.h = bgr.GetHeight();
    for (int y = 0; y < p.h; ++y) {
        const uint8_t* row = bgr.GetRow(y, 0, p.w);
        p.px.insert(p.px.end(), row, row + 3 * p.w);
        bgr.ReleaseRow(y).Ignore();
    }
    return p;
}

// The horse's opacity (0..255) at its own size.
std::vector<uint8_t> HorseAlpha(int& w, int& h) {
    std::string error;
    const auto image = QgdiReadImage(std::string(QGDI_TESTDATA_DIR) + "/photos/horse.png", error);
    CRowIterator bgra;
    if (!image || bgra.CreateFromCopy(*image, nullptr, keFormatBGRA).IsError()) {
        std::fprintf(stderr, "bench_select: cannot read horse.png\n");
        std::exit(1);
    }
    w = bgra.GetWidth();
    h = bgra.GetHeight();
    std::vector<uint8_t> a(size_t(w) * size_t(h)), dark(a.size());
    bool varied = false;
    for (int y = 0; y < h; ++y) {
        const uint8_t* row = bgra.GetRow(y, 0, w);
        for (int x = 0; x < w; ++x) {
            a[size_t(y * w + x)] = row[4 * x + 3];
            dark[size_t(y * w + x)] = uint8_t(255 - (row[4 * x] + row[4 * x + 1] + row[4 * x + 2]) / 3);
            varied |= row[4 * x + 3] != 255;
        }
        bgra.ReleaseRow(y).Ignore();
    }
    // A silhouette drawn opaque, dark on light, is read from its darkness.
    return varied ? a : dark;
}

// Nearest sample of `p` stretched over w x h.
uint8_t* Sample(SPlane& p, int x, int y, int w, int h) {
    const int sx = std::min(p.w - 1, int(int64_t(x) * p.w / w)), sy = std::min(p.h - 1, int(int64_t(y) * p.h / h));
    return &p.px[3 * (size_t(sy) * size_t(p.w) + size_t(sx))];
}

struct SCase {
    std::string name;
    int w, h;
    std::vector<uint8_t> image;  // BGR
    std::vector<uint8_t> truth;  // 0/1
    RECT rect;
};

SCase Compose(const std::string& name, SPlane& fg, SPlane& bg, int w, int h,
              const std::function<uint8_t(int, int)>& alpha) {
    SCase c{name, w, h, std::vector<uint8_t>(size_t(w) * size_t(h) * 3), std::vector<uint8_t>(size_t(w) * size_t(h)), {}};
    int x0 = w, y0 = h, x1 = 0, y1 = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int a = alpha(x, y);
            const uint8_t* f = Sample(fg, x, y, w, h);
            const uint8_t* b = Sample(bg, x, y, w, h);
            uint8_t* d = &c.image[3 * (size_t(y) * size_t(w) + size_t(x))];
            for (int k = 0; k < 3; ++k) d[k] = uint8_t((f[k] * a + b[k] * (255 - a) + 127) / 255);
            const bool in = a >= 128;
            c.truth[size_t(y) * size_t(w) + size_t(x)] = in;
            if (in) x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
        }
    // The rectangle a user would drag: the object and a margin.
    const int m = std::max(6, std::min(w, h) / 40);
    c.rect = RECT{std::max(0, x0 - m), std::max(0, y0 - m), std::min(w, x1 + 1 + m), std::min(h, y1 + 1 + m)};
    return c;
}

std::vector<SCase>& Cases() {
    static std::vector<SCase> cases = [] {
        SPlane astronaut = Load("astronaut.png"), camera = Load("camera.png"), chelsea = Load("chelsea.png"),
               coffee = Load("coffee.png"), brick = Load("brick.png"), grass = Load("grass.png"),
               gravel = Load("gravel.png"), hubble = Load("hubble_deep_field.jpg"), retina = Load("retina.jpg");
        int hw = 0, hh = 0;
        const std::vector<uint8_t> horse = HorseAlpha(hw, hh);
        // The horse on a canvas with room around it, scaled by `s`.
        auto horseAt = [&](double s, int w, int h) {
            return [&, s, w, h](int x, int y) -> uint8_t {
                const int hx = int((x - (w - hw * s) / 2) / s), hy = int((y - (h - hh * s) / 2) / s);
                if (hx < 0 || hy < 0 || hx >= hw || hy >= hh) return 0;
                return horse[size_t(hy) * size_t(hw) + size_t(hx)];
            };
        };
        auto ellipse = [](int x, int y) -> uint8_t {
            const double u = (x - 240) / 170.0, v = (y - 200) / 120.0;
            return u * u + v * v < 1 ? 255 : 0;
        };
        auto star = [](int x, int y) -> uint8_t {
            const double dx = x - 240, dy = y - 200, r = std::hypot(dx, dy), t = std::atan2(dy, dx);
            return r < 110 + 60 * std::cos(5 * t) ? 255 : 0;
        };
        auto lobes = [](int x, int y) -> uint8_t {
            const bool a = std::hypot(x - 170.0, y - 200.0) < 100, b = std::hypot(x - 320.0, y - 170.0) < 80;
            const bool bar = std::abs(y - 190) < 18 && x > 170 && x < 320;
            return a || b || bar ? 255 : 0;
        };
        std::vector<SCase> c;
        const int W = 480, H = 400;
        c.push_back(Compose("horse astronaut/grass", astronaut, grass, W, H, horseAt(1, W, H)));
        c.push_back(Compose("horse coffee/gravel", coffee, gravel, W, H, horseAt(1, W, H)));
        c.push_back(Compose("horse chelsea/brick", chelsea, brick, W, H, horseAt(1, W, H)));
        c.push_back(Compose("horse hubble/coffee", hubble, coffee, W, H, horseAt(1, W, H)));
        c.push_back(Compose("horse brick/astronaut", brick, astronaut, W, H, horseAt(1, W, H)));
        c.push_back(Compose("horse retina/chelsea", retina, chelsea, W, H, horseAt(1, W, H)));
        c.push_back(Compose("horse camera/gravel", camera, gravel, W, H, horseAt(1, W, H)));
        c.push_back(Compose("ellipse coffee/hubble", coffee, hubble, W, H, ellipse));
        c.push_back(Compose("star astronaut/retina", astronaut, retina, W, H, star));
        c.push_back(Compose("lobes grass/coffee", grass, coffee, W, H, lobes));
        // Above two megapixels the cut runs reduced, then along the border at full size.
        c.push_back(Compose("horse 3Mpix coarse/fine", hubble, astronaut, 2048, 1536, horseAt(4.5, 2048, 1536)));
        c.push_back(Compose("horse 1Mpix retina/hubble", retina, hubble, 1024, 1024, horseAt(2.5, 1024, 1024)));
        return c;
    }();
    return cases;
}

double IoU(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    size_t i = 0, u = 0;
    for (size_t k = 0; k < a.size(); ++k) {
        i += a[k] && b[k];
        u += a[k] || b[k];
    }
    return u ? double(i) / double(u) : 1.0;
}

CRowIterator ToIterator(const SCase& c) {
    CRowIterator it;
    if (it.Create(c.w, c.h, keFormatBGR).IsError()) std::exit(1);
    for (int y = 0; y < c.h; ++y) {
        std::memcpy(it.GetRow(y, 0, c.w), &c.image[3 * size_t(y) * size_t(c.w)], 3 * size_t(c.w));
        it.ReleaseRow(y).Ignore();
    }
    return it;
}

// The selection as 0/1, half alpha and above inside.
std::vector<uint8_t> Selected(const CSmartSelection& s, const SCase& c) {
    CRowIterator mask;
    if (s.GetMask(mask).IsError()) std::exit(1);
    std::vector<uint8_t> out;
    for (int y = 0; y < c.h; ++y) {
        const uint8_t* row = mask.GetRow(y, 0, c.w);
        for (int x = 0; x < c.w; ++x) out.push_back(row[x] >= 128);
        mask.ReleaseRow(y).Ignore();
    }
    return out;
}

std::vector<uint8_t> Ours(const SCase& c, CSmartSelection& s) {
    const CRowIterator img = ToIterator(c);
    // QGDI_SELECT_COARSE_ABOVE moves the size above which the coarse path runs.
    SSmartSelectionOptions o;
    if (const char* v = std::getenv("QGDI_SELECT_COARSE_ABOVE")) o.nCoarseAbove = std::atoll(v);
    if (s.SetOptions(o).IsError() || s.SetImage(img).IsError() || s.SetRect(c.rect).IsError() ||
        s.Segment().IsError())
        std::exit(1);
    return Selected(s, c);
}

#ifdef QGDI_HAVE_OPENCV
std::vector<uint8_t> Peer(const SCase& c) {
    const cv::Mat img(c.h, c.w, CV_8UC3, const_cast<uint8_t*>(c.image.data()));
    cv::Mat mask, bgd, fgd;
    cv::grabCut(img, mask, cv::Rect(c.rect.left, c.rect.top, c.rect.right - c.rect.left, c.rect.bottom - c.rect.top),
                bgd, fgd, 5, cv::GC_INIT_WITH_RECT);
    std::vector<uint8_t> out(size_t(c.w) * size_t(c.h));
    for (int y = 0; y < c.h; ++y)
        for (int x = 0; x < c.w; ++x) {
            const uint8_t v = mask.at<uint8_t>(y, x);
            out[size_t(y) * size_t(c.w) + size_t(x)] = v == cv::GC_FGD || v == cv::GC_PR_FGD;
        }
    return out;
}
#endif

// A background dab where the cut is most wrong, a foreground dab likewise:
// what a user would paint next. Times Refine for each.
void Strokes(const SCase& c, const std::vector<uint8_t>& got, CSmartSelection& s, double& worstMs, double& iouAfter) {
    worstMs = 0;
    for (int round = 0; round < 2; ++round) {
        const bool wantFg = round == 1;
        // The wrong pixel farthest inside its error region (by a coarse scan).
        int bx = -1, by = -1, bestRun = 0;
        for (int y = 0; y < c.h; y += 4)
            for (int x = 0; x < c.w; x += 4) {
                const size_t p = size_t(y) * size_t(c.w) + size_t(x);
                if (c.truth[p] != wantFg || got[p] == wantFg) continue;
                int run = 0;
                while (run < 40 && x + run < c.w && x - run >= 0 && y + run < c.h && y - run >= 0 &&
                       c.truth[p + size_t(run)] == wantFg && c.truth[p - size_t(run)] == wantFg &&
                       c.truth[p + size_t(run) * size_t(c.w)] == wantFg && c.truth[p - size_t(run) * size_t(c.w)] == wantFg)
                    ++run;
                if (run > bestRun) bestRun = run, bx = x, by = y;
            }
        if (bx < 0) continue;
        if (s.AddStroke(wantFg, bx, by, std::max(1, std::min(8, bestRun - 1))).IsError()) continue;
        const double t0 = Now();
        if (s.Refine().IsError()) std::exit(1);
        worstMs = std::max(worstMs, (Now() - t0) * 1e3);
    }
    iouAfter = IoU(Selected(s, c), c.truth);
}

void QualityTable() {
    omp_set_num_threads(1);
#ifdef QGDI_HAVE_OPENCV
    cv::setNumThreads(1);
#endif
    std::printf("%-28s %9s %9s %9s %9s %11s %9s\n", "case (one thread)", "IoU ours", "ms ours", "IoU peer", "ms peer",
                "refine ms", "IoU after");
    double sumOurs = 0, sumPeer = 0;
    int n = 0;
    for (const SCase& c : Cases()) {
        CSmartSelection s;
        double t0 = Now();
        const std::vector<uint8_t> ours = Ours(c, s);
        const double tOurs = Now() - t0;
        double iouPeer = 0, tPeer = 0;
#ifdef QGDI_HAVE_OPENCV
        t0 = Now();
        const std::vector<uint8_t> peer = Peer(c);
        tPeer = Now() - t0;
        iouPeer = IoU(peer, c.truth);
#endif
        const double iouOurs = IoU(ours, c.truth);
        double refineMs = 0, after = 0;
        Strokes(c, ours, s, refineMs, after);
        std::printf("%-28s %9.4f %9.1f %9.4f %9.1f %11.1f %9.4f\n", c.name.c_str(), iouOurs, tOurs * 1e3, iouPeer,
                    tPeer * 1e3, refineMs, after);
        sumOurs += iouOurs;
        sumPeer += iouPeer;
        ++n;
    }
    std::printf("%-28s %9.4f %9s %9.4f\n\n", "mean", sumOurs / n, "", sumPeer / n);
}

void RunOurs(benchmark::State& state) {
    const SCase& c = Cases().back();
    const CRowIterator img = ToIterator(c);
    omp_set_num_threads(1);
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        CSmartSelection s;
        const double t0 = Now();
        if (s.SetImage(img).IsError() || s.SetRect(c.rect).IsError() || s.Segment().IsError())
            return state.SkipWithError("segmentation failed");
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = double(c.w) * c.h * 1e-6 * double(n) / total;
}

#ifdef QGDI_HAVE_OPENCV
void RunOpenCV(benchmark::State& state) {
    const SCase& c = Cases().back();
    cv::setNumThreads(1);
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        const double t0 = Now();
        benchmark::DoNotOptimize(Peer(c));
        const double t = Now() - t0;
        state.SetIterationTime(t);
        total += t;
        ++n;
    }
    state.counters["Mpix/s"] = double(c.w) * c.h * 1e-6 * double(n) / total;
}
#endif

void RunRefine(benchmark::State& state) {
    const SCase& c = Cases().back();
    omp_set_num_threads(1);
    int64_t n = 0;
    double total = 0;
    for (auto _ : state) {
        state.PauseTiming();
        CSmartSelection s;
        const std::vector<uint8_t> got = Ours(c, s);
        state.ResumeTiming();
        double ms = 0, after = 0;
        Strokes(c, got, s, ms, after);
        state.SetIterationTime(ms * 1e-3);
        total += ms * 1e-3;
        ++n;
    }
    state.counters["Mpix/s"] = double(c.w) * c.h * 1e-6 * double(n) / total;
}

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
#ifdef QGDI_HAVE_OPENCV
    AddPeerVersion("opencv", CV_VERSION);
#endif
    Configure(benchmark::RegisterBenchmark("select/rect5/1Mpix/t1/ours", RunOurs));
#ifdef QGDI_HAVE_OPENCV
    Configure(benchmark::RegisterBenchmark("select/rect5/1Mpix/t1/opencv", RunOpenCV));
#endif
    Configure(benchmark::RegisterBenchmark("select/refine-stroke/1Mpix/t1/ours", RunRefine));
    return RunBenchmarks(
        argc, argv,
        [] {
            if (!QuickMode()) QualityTable();
        },
        [] { QGDI_SystemShutdown(); });
}
