// Flattening the tiger drawing's 240 paths at scales 1 and 8, beside Cairo's
// cairo_copy_path_flat on the same paths at the matching tolerance, and
// boolean operations on two 1000-vertex polygons and on two tiger outlines.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "drawing/drawing.h"
#include "svg_path_data.h"

#ifdef QGDI_HAVE_CAIRO
#include <cairo.h>
#endif

namespace {

using namespace qgdi::bench;

// The flatness factor is a squared device distance; Cairo's tolerance is the distance.
constexpr double kFlatness = 0.05;

std::vector<CQPath>& Tiger() {
    static std::vector<CQPath> paths = [] {
        std::vector<CQPath> p;
        if (!ReadSvgPaths(TestDataDir() + "/tiger/tiger.svg", p)) p.clear();
        return p;
    }();
    return paths;
}

// The drawing's group transform, then the benchmark's scale.
void TigerMatrix(double scale, double* m) {
    QGDI_MatrixIdentity(m);
    QGDI_MatrixTranslate(m, 200, 200);
    QGDI_MatrixScale(m, scale, scale);
}

void SetRates(benchmark::State& state, double seconds, double segments, double paths) {
    state.counters["Mseg/s"] = segments / seconds * 1e-6;
    state.counters["paths/s"] = paths / seconds;
}

void BM_TigerFlatten_ours(benchmark::State& state) {
    const auto& tiger = Tiger();
    if (tiger.empty()) return state.SkipWithError("tiger.svg not found beside the project");
    double m[9];
    TigerMatrix(double(state.range(0)), m);
    double total = 0, segments = 0, paths = 0;
    for (auto _ : state) {
        const double t0 = Now();
        size_t n = 0;
        for (const CQPath& p : tiger) {
            VPathIteratorRefed* it = QGDI_PathIteratorCreateFlat(p.GetPath(), kFlatness, m);
            SQPATHCMD c;
            while (it->Next(c)) n += c.command == keCmdLineTo;
            it->Unreference();
        }
        const double dt = Now() - t0;
        state.SetIterationTime(dt);
        total += dt;
        segments += double(n);
        paths += double(tiger.size());
    }
    SetRates(state, total, segments, paths);
}

#ifdef QGDI_HAVE_CAIRO
// Builds the same path in a Cairo context (device space set by the context's matrix).
class CCairoPath : public VPathReceiver {
public:
    explicit CCairoPath(cairo_t* cr) : m_cr(cr) {}
    bool LineTo(const SQPOINT& p, const double*) override {
        cairo_line_to(m_cr, p.x, p.y);
        m_current = p;
        return true;
    }
    bool MoveTo(const SQPOINT& p, const double*) override {
        cairo_move_to(m_cr, p.x, p.y);
        m_start = m_current = p;
        return true;
    }
    bool ClosePath(const double*) override {
        cairo_close_path(m_cr);
        m_current = m_start;
        return true;
    }
    bool CubicCurveTo(const SQPOINT& a, const SQPOINT& b, const SQPOINT& e, const double*) override {
        cairo_curve_to(m_cr, a.x, a.y, b.x, b.y, e.x, e.y);
        m_current = e;
        return true;
    }
    bool QuadraticCurveTo(const SQPOINT& c, const SQPOINT& e, const double*) override {
        const SQPOINT q[3] = {m_current, c, e};
        SQPOINT k[4];
        QGDI_QuadraticToCubic(q, k);
        return CubicCurveTo(k[1], k[2], k[3], nullptr);
    }

private:
    cairo_t* m_cr;
};

void BM_TigerFlatten_cairo(benchmark::State& state) {
    const auto& tiger = Tiger();
    if (tiger.empty()) return state.SkipWithError("tiger.svg not found beside the project");
    const double scale = double(state.range(0));
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1);
    std::vector<cairo_t*> contexts;
    for (const CQPath& p : tiger) {
        cairo_t* cr = cairo_create(surface);
        cairo_set_tolerance(cr, std::sqrt(kFlatness));
        cairo_translate(cr, 200, 200);
        cairo_scale(cr, scale, scale);
        CCairoPath rec(cr);
        p.Send(&rec, nullptr, true);
        contexts.push_back(cr);
    }
    double total = 0, segments = 0, paths = 0;
    for (auto _ : state) {
        const double t0 = Now();
        size_t n = 0;
        for (cairo_t* cr : contexts) {
            cairo_path_t* flat = cairo_copy_path_flat(cr);
            for (int i = 0; i < flat->num_data; i += flat->data[i].header.length)
                n += flat->data[i].header.type == CAIRO_PATH_LINE_TO;
            cairo_path_destroy(flat);
        }
        const double dt = Now() - t0;
        state.SetIterationTime(dt);
        total += dt;
        segments += double(n);
        paths += double(contexts.size());
    }
    for (cairo_t* cr : contexts) cairo_destroy(cr);
    cairo_surface_destroy(surface);
    SetRates(state, total, segments, paths);
}
#endif

// A star-shaped polygon of radius 500 whose vertex radii vary by the jitter:
// 0.1 gives a ragged disc, 0.7 long spikes that cross the other's many times.
CQPathBoolean::Polygon Star(uint32_t seed, SQPOINT c, int n, double jitter) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(1.0 - jitter, 1.0);
    CQPathBoolean::Polygon p(1);
    for (int i = 0; i < n; ++i) {
        const double a = 2 * 3.141592653589793 * i / n, r = 500 * u(rng);
        p[0].push_back({c.x + r * std::cos(a), c.y + r * std::sin(a)});
    }
    return p;
}

void RunBoolean(benchmark::State& state, const CQPathBoolean::Polygon& a, const CQPathBoolean::Polygon& b) {
    const EQPathBoolOp op = EQPathBoolOp(state.range(0));
    size_t vertices = 0, in = 0;
    for (const auto& r : a) in += r.size();
    for (const auto& r : b) in += r.size();
    state.counters["in vertices"] = double(in);
    for (auto _ : state) {
        CQPathBoolean::Polygon out;
        const double t0 = Now();
        const bool ok = !CQPathBoolean::Combine(a, b, op, kePathFillNonZero, out).IsError();
        state.SetIterationTime(Now() - t0);
        if (!ok) return state.SkipWithError("combine failed");
        vertices = 0;
        for (const auto& r : out) vertices += r.size();
    }
    state.counters["out vertices"] = double(vertices);
}

void BM_Boolean1000_ragged(benchmark::State& state) {
    RunBoolean(state, Star(1, {0, 0}, 1000, 0.1), Star(2, {150, 80}, 1000, 0.1));
}

void BM_Boolean1000_spiky(benchmark::State& state) {
    RunBoolean(state, Star(1, {0, 0}, 1000, 0.7), Star(2, {150, 80}, 1000, 0.7));
}

void BM_BooleanTiger(benchmark::State& state) {
    const auto& tiger = Tiger();
    if (tiger.size() < 2) return state.SkipWithError("tiger.svg not found beside the project");
    // The two outlines with the most vertices once flattened.
    std::vector<std::pair<size_t, CQPathBoolean::Polygon>> polys;
    for (const CQPath& p : tiger) {
        CQPathBoolean::Polygon poly;
        CQPathBoolean::ToPolygon(p.GetPath(), kFlatness, poly);
        size_t n = 0;
        for (const auto& r : poly) n += r.size();
        polys.emplace_back(n, std::move(poly));
    }
    std::sort(polys.begin(), polys.end(), [](const auto& x, const auto& y) { return x.first > y.first; });
    RunBoolean(state, polys[0].second, polys[1].second);
}

// Prints ours against each peer from the paths/s counters.
class CPathReporter : public benchmark::ConsoleReporter {
public:
    CPathReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "median") continue;
            const auto it = r.counters.find("paths/s");
            if (it != r.counters.end() && !r.error_occurred)
                m_rates[r.run_name.function_name + "/" + r.run_name.args] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const auto& [name, rate] : m_rates) {
            const size_t p = name.find("_ours");
            if (p == std::string::npos) continue;
            const std::string peer = name.substr(0, p) + "_cairo" + name.substr(p + 5);
            const auto it = m_rates.find(peer);
            if (it == m_rates.end()) continue;
            std::printf("%-40s ours %10.0f paths/s  cairo %10.0f paths/s  ratio %.2f\n", name.c_str(), rate, it->second,
                        rate / it->second);
        }
    }

private:
    std::map<std::string, double> m_rates;
};

}  // namespace

int main(int argc, char** argv) {
    AddMachineContext();
#ifdef QGDI_HAVE_CAIRO
    AddPeerVersion("cairo", cairo_version_string());
#endif
    for (int scale : {1, 8}) {
        Configure(benchmark::RegisterBenchmark("BM_TigerFlatten_ours", BM_TigerFlatten_ours))
            ->Arg(scale)
            ->ArgName("scale");
#ifdef QGDI_HAVE_CAIRO
        Configure(benchmark::RegisterBenchmark("BM_TigerFlatten_cairo", BM_TigerFlatten_cairo))
            ->Arg(scale)
            ->ArgName("scale");
#endif
    }
    Configure(benchmark::RegisterBenchmark("BM_Boolean1000_ragged", BM_Boolean1000_ragged))
        ->DenseRange(0, 3)
        ->ArgName("op");
    Configure(benchmark::RegisterBenchmark("BM_Boolean1000_spiky", BM_Boolean1000_spiky))
        ->DenseRange(0, 3)
        ->ArgName("op");
    Configure(benchmark::RegisterBenchmark("BM_BooleanTiger", BM_BooleanTiger))->DenseRange(0, 3)->ArgName("op");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CPathReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
