// The tiger drawing rendered whole through the drawing context (fills and
// strokes, read by the tool's SVG reader) at 512 and 2048 pixels square,
// beside Cairo drawing the same paths with the same paints, pens and
// matrices in the same process. Both draw over a white premultiplied canvas.
#include <benchmark/benchmark.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench_util.h"
#include "drawing/QDC.h"
#include "svg_path_data.h"
#include "tools/qgdi/svg_render.h"

#ifdef QGDI_HAVE_CAIRO
#include <cairo.h>
#endif

namespace {

using namespace qgdi::bench;

const qgdi::svg::SXmlNode* Tiger() {
    static qgdi::svg::SXmlNode root;
    static bool read = [] {
        std::ifstream in(TestDataDir() + "/tiger/tiger.svg", std::ios::binary);
        const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::string error;
        size_t at = 0;
        return !data.empty() && qgdi::svg::ParseXml(data.data(), data.size(), root, error, at);
    }();
    return read ? &root : nullptr;
}

void SetRates(benchmark::State& state, double seconds, double frames, int size) {
    state.counters["Mpix/s"] = frames * double(size) * size / seconds * 1e-6;
    state.counters["frames/s"] = frames / seconds;
}

void BM_TigerDraw_ours(benchmark::State& state, int size, int level) {
    const qgdi::svg::SXmlNode* tiger = Tiger();
    if (!tiger) return state.SkipWithError("tiger.svg not found beside the project");
    CRowIterator canvas;
    const CColorRef white(255, 255, 255, 255);
    if (canvas.Create(size, size, keFormatBGRxA, &white).IsError()) return state.SkipWithError("no canvas");
    QDCBASIC dc(keFormatBGRxA);
    if (dc.AttachIter(&canvas).IsError()) return state.SkipWithError("cannot attach");
    dc.SetAntialiasingLevel(level);
    std::vector<std::string> warnings;
    double total = 0, frames = 0;
    for (auto _ : state) {
        dc.SetCurrentMatrix(nullptr);
        const double t0 = Now();
        if (qgdi::svg::SvgRender(*tiger, dc, size, size, warnings).IsError()) return state.SkipWithError("failed");
        const double dt = Now() - t0;
        state.SetIterationTime(dt);
        total += dt;
        frames += 1;
    }
    SetRates(state, total, frames, size);
}

#ifdef QGDI_HAVE_CAIRO
// The path as Cairo commands (everything as cubics).
void CairoPath(cairo_t* cr, const CQPath& path) {
    CQPathIterator it;
    if (!it.CreateCubics(path)) return;
    SQPATHCMD c;
    while (it.Next(c)) {
        switch (c.command) {
            case keCmdMoveTo: cairo_move_to(cr, c.end.x, c.end.y); break;
            case keCmdLineTo: cairo_line_to(cr, c.end.x, c.end.y); break;
            case keCmdCubicCurveTo: cairo_curve_to(cr, c.a.x, c.a.y, c.b.x, c.b.y, c.end.x, c.end.y); break;
            case keCmdClosePath: cairo_close_path(cr); break;
            default: cairo_line_to(cr, c.end.x, c.end.y); break;
        }
    }
}

void CairoSource(cairo_t* cr, uint32_t rgba, double opacity) {
    cairo_set_source_rgba(cr, (rgba & 255) / 255.0, ((rgba >> 8) & 255) / 255.0, ((rgba >> 16) & 255) / 255.0,
                          (rgba >> 24) / 255.0 * opacity);
}

void BM_TigerDraw_cairo(benchmark::State& state, int size) {
    const qgdi::svg::SXmlNode* tiger = Tiger();
    std::vector<qgdi::svg::SSvgItem> items;
    if (!tiger || !qgdi::svg::SvgCollect(*tiger, size, size, items))
        return state.SkipWithError("tiger.svg not found beside the project");
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
    cairo_t* cr = cairo_create(surface);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_set_tolerance(cr, std::sqrt(0.05));
    double total = 0, frames = 0;
    for (auto _ : state) {
        cairo_identity_matrix(cr);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        const double t0 = Now();
        for (const auto& item : items) {
            const double* m = item.matrix;
            cairo_matrix_t cm;
            cairo_matrix_init(&cm, m[0], m[3], m[1], m[4], m[2], m[5]);
            cairo_set_matrix(cr, &cm);
            cairo_new_path(cr);
            CairoPath(cr, item.path);
            if (item.fill) {
                CairoSource(cr, item.fillRGBA, item.fillOpacity);
                cairo_set_fill_rule(cr, item.evenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
                if (item.stroke) cairo_fill_preserve(cr);
                else cairo_fill(cr);
            }
            if (item.stroke) {
                CairoSource(cr, item.strokeRGBA, item.strokeOpacity);
                cairo_set_line_width(cr, item.pen.width);
                cairo_set_line_join(cr, item.pen.lineJoin == keLineJoinRound   ? CAIRO_LINE_JOIN_ROUND
                                        : item.pen.lineJoin == keLineJoinBevel ? CAIRO_LINE_JOIN_BEVEL
                                                                               : CAIRO_LINE_JOIN_MITER);
                const ELineCap cap = item.pen.caps[0].type;
                cairo_set_line_cap(cr, cap == keLineCapRound    ? CAIRO_LINE_CAP_ROUND
                                       : cap == keLineCapSquare ? CAIRO_LINE_CAP_SQUARE
                                                                : CAIRO_LINE_CAP_BUTT);
                cairo_set_miter_limit(cr, item.pen.miterLimit);
                cairo_set_dash(cr, item.pen.dash, item.pen.dashCount, item.pen.dashOffset);
                cairo_stroke(cr);
            }
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
        for (int level : {4, 8}) {
            const std::string name = "BM_TigerDraw/" + std::to_string(size) + "/level" + std::to_string(level);
            Configure(benchmark::RegisterBenchmark((name + "/ours").c_str(), BM_TigerDraw_ours, size, level));
#ifdef QGDI_HAVE_CAIRO
            Configure(benchmark::RegisterBenchmark((name + "/cairo").c_str(), BM_TigerDraw_cairo, size));
#endif
        }
    return RunBenchmarks(argc, argv, {}, [] { QGDI_PolygonShutdown(); });
}
