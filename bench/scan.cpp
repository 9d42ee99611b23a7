// Filling the tiger drawing's 240 paths with solid colours at 512 and 2048
// pixels square, at anti-aliasing levels 1, 4 and 8, beside Cairo filling the
// same flattened outlines (non-zero rule, default anti-aliasing) in the same
// process. Both composite over the same premultiplied BGRA canvas.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "QuorRender/RowOpComposite.h"
#include "QuorRender/RowOpFill.h"
#include "bench_util.h"
#include "drawing/drawing.h"
#include "svg_path_data.h"

#ifdef QGDI_HAVE_CAIRO
#include <cairo.h>
#endif

namespace {

using namespace qgdi::bench;

using Contour = std::vector<SQPOINT>;
struct SFlatPath {
    std::vector<Contour> contours;
    uint32_t colour;  // BGRA, opaque
};

// Records device points; the base class flattens curves into LineTo calls.
class CFlatRecorder : public VPathReceiver {
public:
    explicit CFlatRecorder(std::vector<Contour>& out) : m_out(out) {}
    bool MoveTo(const SQPOINT& p, const double* m) override {
        VPathReceiver::MoveTo(p, m);
        m_out.emplace_back();
        Add(p, m);
        return true;
    }
    bool LineTo(const SQPOINT& p, const double* m) override {
        m_current = p;
        if (m_out.empty()) m_out.emplace_back();
        Add(p, m);
        return true;
    }
    double GetFlatness() override { return 0.05; }

private:
    void Add(SQPOINT p, const double* m) {
        if (m) QGDI_MatrixTransform(m, p);
        m_out.back().push_back(p);
    }
    std::vector<Contour>& m_out;
};

const std::vector<CQPath>& Tiger() {
    static std::vector<CQPath> paths = [] {
        std::vector<CQPath> p;
        if (!ReadSvgPaths(TestDataDir() + "/tiger/tiger.svg", p)) p.clear();
        return p;
    }();
    return paths;
}

// The drawing fitted into size x size, flattened once: both rasterisers get
// the same polylines.
const std::vector<SFlatPath>& FlatTiger(int size) {
    static std::map<int, std::vector<SFlatPath>> cache;
    auto it = cache.find(size);
    if (it != cache.end()) return it->second;
    std::vector<SFlatPath>& out = cache[size];
    const auto& tiger = Tiger();
    SQRECT all{1e30, 1e30, -1e30, -1e30};
    for (const CQPath& p : tiger) {
        SQRECT b;
        if (!p.GetBBox(b)) continue;
        all = SQRECT{std::min(all.left, b.left), std::min(all.top, b.top), std::max(all.right, b.right),
                     std::max(all.bottom, b.bottom)};
    }
    const double k = size / std::max(all.right - all.left, all.bottom - all.top);
    double m[9];
    QGDI_MatrixIdentity(m);
    QGDI_MatrixScale(m, k, k);
    QGDI_MatrixTranslate(m, -all.left * k, -all.top * k);
    uint32_t seed = 12345;
    for (const CQPath& p : tiger) {
        SFlatPath f;
        CFlatRecorder rec(f.contours);
        p.Send(&rec, m, true);
        seed = seed * 1664525u + 1013904223u;
        f.colour = 0xFF000000u | (seed >> 8);
        out.push_back(std::move(f));
    }
    return out;
}

void SetRates(benchmark::State& state, double seconds, double frames, int size) {
    state.counters["Mpix/s"] = frames * double(size) * size / seconds * 1e-6;
    state.counters["frames/s"] = frames / seconds;
}

void BM_TigerFill_ours(benchmark::State& state, int size, int level) {
    const auto& tiger = FlatTiger(size);
    if (tiger.empty()) return state.SkipWithError("tiger.svg not found beside the project");
    const int scale = QGDI_PolygonAntialiasingLevelToScale(keAAFilterBox, level, keQPathFill);
    state.counters["grid"] = scale;
    std::vector<uint8_t> canvas(size_t(size) * size * 4);
    std::vector<CRowOpDefRowMaskOverSolid> defs;
    std::vector<CRowOpDefRowFill> fills;  // the colours are opaque: full runs are plain fills
    for (const SFlatPath& f : tiger) {
        defs.emplace_back(f.colour);
        fills.emplace_back(f.colour);
    }
    double total = 0, frames = 0;
    for (auto _ : state) {
        std::fill(canvas.begin(), canvas.end(), uint8_t(255));
        const double t0 = Now();
        for (size_t i = 0; i < tiger.size(); ++i) {
            SQPolygon* poly = QGDI_PolygonCreate(RECT{0, 0, size, size}, kePolyFillNonZero, scale, 0, keQPathFill);
            CPolygonPathReceiver rx(poly);
            for (const Contour& c : tiger[i].contours) {
                rx.MoveTo(c[0], nullptr);
                for (size_t j = 1; j < c.size(); ++j) rx.LineTo(c[j], nullptr);
                rx.ClosePath(nullptr);
            }
            CRowOpScanReceiver out(canvas.data(), ptrdiff_t(size) * 4, keFormatBGRxA, size, size, &defs[i]);
            out.SetFullCoverageDef(&fills[i]);
            poly->Fill(&out);
            poly->Unreference();
        }
        const double dt = Now() - t0;
        state.SetIterationTime(dt);
        total += dt;
        frames += 1;
    }
    SetRates(state, total, frames, size);
}

#ifdef QGDI_HAVE_CAIRO
void BM_TigerFill_cairo(benchmark::State& state, int size) {
    const auto& tiger = FlatTiger(size);
    if (tiger.empty()) return state.SkipWithError("tiger.svg not found beside the project");
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
    cairo_t* cr = cairo_create(surface);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
    double total = 0, frames = 0;
    for (auto _ : state) {
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        const double t0 = Now();
        for (const SFlatPath& f : tiger) {
            cairo_set_source_rgb(cr, ((f.colour >> 16) & 255) / 255.0, ((f.colour >> 8) & 255) / 255.0,
                                 (f.colour & 255) / 255.0);
            for (const Contour& c : f.contours) {
                cairo_move_to(cr, c[0].x, c[0].y);
                for (size_t j = 1; j < c.size(); ++j) cairo_line_to(cr, c[j].x, c[j].y);
                cairo_close_path(cr);
            }
            cairo_fill(cr);
        }
        cairo_surface_flush(surface);
        const double dt = Now() - t0;
        state.SetIterationTime(dt);
        total += dt;
        frames += 1;
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    SetRates(state, total, frames, size);
}
#endif

}  // namespace

int main(int argc, char** argv) {
    AddMachineContext();
#ifdef QGDI_HAVE_CAIRO
    AddPeerVersion("cairo", cairo_version_string());
#endif
    for (int size : {512, 2048})
        for (int level : {1, 4, 8}) {
            const std::string name = "BM_TigerFill/" + std::to_string(size) + "/level" + std::to_string(level);
            Configure(benchmark::RegisterBenchmark((name + "/ours").c_str(), BM_TigerFill_ours, size, level));
#ifdef QGDI_HAVE_CAIRO
            Configure(benchmark::RegisterBenchmark((name + "/cairo").c_str(), BM_TigerFill_cairo, size));
#endif
        }
    return RunBenchmarks(argc, argv, {}, [] { QGDI_PolygonShutdown(); });
}
