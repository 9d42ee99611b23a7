// Row operations the way pixman's low-level benchmark measures blitters:
// every kind of the catalogue (its BGRA pair; its first 16-bit and first
// float pairs in L2 and memory on one thread only) on working sets that live in L1, L2, L3
// and memory, with an odd width and rows that start one pixel past a
// cache-line boundary, and on short spans of 1 to 32 pixels at random places. The cost of an empty call (the
// no-op kernel through the same loop) is measured first and subtracted from
// every pass; the destination is restored from a pristine copy before every
// pass, outside the timed region. Times are wall clock for every thread count
// (the Time column is the whole pass; Mpix/s is net of the empty call).
//
// Beside pixman (when it was found at configure time), on the same data in
// the same process: copies and fills on the formats pixman has fast paths
// for, OVER of a solid colour through an 8-bit mask, and ADD.
//
// QGDI_BENCH_QUICK=1 runs everything once on small working sets;
// QGDI_BENCH_MEMORY_MIB and QGDI_BENCH_MIN_TIME change the memory tier and
// the time per repetition.
#include <benchmark/benchmark.h>
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "QuorRender/internal/RowOpRegistry.h"
#include "bench_util.h"
#include "qgdi.h"

#ifdef QGDI_HAVE_PIXMAN
#include <pixman.h>
#endif

namespace {

using namespace qgdi::bench;
using qgdi::rowop::KindSamples;
using qgdi::rowop::SKindSample;

// ---- Buffers owned by one benchmark.

struct SFree {
    void operator()(uint8_t* p) const noexcept { std::free(p); }
};

// Rows of `width` pixels; each row's storage starts on a 64-byte boundary and
// its first pixel one pixel (at least one byte) later, so that no kernel
// meets an aligned start. The stride is a multiple of 64 bytes.
struct SPlane {
    EQPixelFormat format = keFormatNone;
    int width = 0, height = 0;
    size_t offset = 0, stride = 0;
    std::unique_ptr<uint8_t[], SFree> storage;

    SPlane() = default;
    SPlane(EQPixelFormat f, int w, int h) : format(f), width(w), height(h) {
        const int bits = CQPixelFormat(f).GetBitsPerPixel();
        offset = std::max(bits / 8, 1);
        stride = (offset + (size_t(bits) * w + 7) / 8 + 63) & ~size_t(63);
        storage.reset(static_cast<uint8_t*>(std::aligned_alloc(64, Bytes())));
        if (!storage) throw std::bad_alloc();
    }
    size_t Bytes() const { return stride * height; }
    uint8_t* Base() const { return storage.get(); }
    uint8_t* Row(int y) const { return storage.get() + size_t(y) * stride + offset; }
    int PixelOffset() const { return int(offset * 8 / CQPixelFormat(format).GetBitsPerPixel()); }

    // Seeded content: random bytes, or floats in 0..1 for the float formats.
    void Fill(uint64_t seed) {
        uint64_t s = seed * 0x9E3779B97F4A7C15ull + 1;
        auto next = [&s] {
            s ^= s << 13;
            s ^= s >> 7;
            s ^= s << 17;
            return s;
        };
        if (CQPixelFormat(format).IsFloat()) {
            auto* f = reinterpret_cast<float*>(Base());
            for (size_t i = 0; i < Bytes() / 4; ++i) f[i] = float(next() >> 40) * (1.0f / 16777216.0f);
        } else {
            auto* w = reinterpret_cast<uint64_t*>(Base());
            for (size_t i = 0; i < Bytes() / 8; ++i) w[i] = next();
        }
    }
};

struct SSpan {
    int y, x, count;
};

// Everything one pass reads and writes.
struct SWorkload {
    SPlane dst, pristine, src, mask;
    RGBQUAD palette[256];
    std::vector<SSpan> spans;  // empty: whole rows
    double pixels = 0;         // per pass

    void Restore() { std::memcpy(dst.Base(), pristine.Base(), dst.Bytes()); }

    CRowOpData Data() const {
        CRowOpData d;
        d.eDstFormat = dst.format;
        d.eSrcFormat = src.format;
        d.pDstPalette = d.pSrcPalette = palette;
        d.nDstPaletteCount = d.nSrcPaletteCount = 256;
        d.nImageWidth = dst.width + dst.PixelOffset();
        d.nImageHeight = dst.height;
        return d;
    }
};

int BytesPerPixel(EQPixelFormat f) {
    return f == keFormatNone ? 0 : std::max(CQPixelFormat(f).GetBitsPerPixel() / 8, 1);
}

// Rows of an odd width, as many as the tier's bytes hold with every plane counted.
std::unique_ptr<SWorkload> MakeWorkload(EQPixelFormat dst, EQPixelFormat src, bool masked, const STier& tier,
                                        bool spans) {
    auto w = std::make_unique<SWorkload>();
    const size_t perPixel = BytesPerPixel(dst) + BytesPerPixel(src) + (masked ? 1 : 0);
    const size_t pixels = std::max<size_t>(tier.bytes / perPixel, 64);
    const int width = int(std::min<size_t>(pixels, tier.bytes <= (64u << 10)  ? 509
                                                   : tier.bytes <= (4u << 20) ? 1021
                                                                              : 4093)) |
                      1;
    const int height = int(std::max<size_t>(pixels / width, 1));
    w->dst = SPlane(dst, width, height);
    w->dst.Fill(1);
    w->pristine = SPlane(dst, width, height);
    std::memcpy(w->pristine.Base(), w->dst.Base(), w->dst.Bytes());
    if (src != keFormatNone) {
        w->src = SPlane(src, width, height);
        w->src.Fill(2);
    }
    if (masked) {
        // Coverage as an edge leaves it: a quarter empty, a quarter full, the rest partial.
        w->mask = SPlane(keFormatGrey, width, height);
        w->mask.Fill(3);
        for (size_t i = 0; i < w->mask.Bytes(); ++i) {
            uint8_t& m = w->mask.Base()[i];
            m = (m & 3) == 0 ? 0 : (m & 3) == 1 ? 255 : m;
        }
    }
    std::mt19937 rng(4);
    for (auto& q : w->palette) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    if (spans) {
        // Packed index rows address whole bytes only.
        const int bits = CQPixelFormat(dst).GetBitsPerPixel(),
                  srcBits = src == keFormatNone ? 8 : CQPixelFormat(src).GetBitsPerPixel();
        const int step = std::max(8 / std::min(bits, srcBits), 1);
        std::uniform_int_distribution<int> len(1, 32), row(0, height - 1);
        w->spans.resize(QuickMode() ? 256 : 4096);
        for (SSpan& s : w->spans) {
            s.count = std::min(len(rng), width);
            s.y = row(rng);
            s.x = std::uniform_int_distribution<int>(0, width - s.count)(rng) / step * step;
            w->pixels += s.count;
        }
    } else {
        w->pixels = double(width) * height;
    }
    return w;
}

// ---- Our side: the bound operation over the rows or spans of a workload.

uint8_t* At(const SPlane& p, int y, int x) {
    return p.Row(y) + size_t(x) * CQPixelFormat(p.format).GetBitsPerPixel() / 8;
}

void RunRows(const CRowOp& op, const SWorkload& w, int threads) {
    const CRowOpData base = w.Data();
    auto row = [&](CRowOpData& d, int y) {
        d.nCount = w.dst.width;
        d.x = w.dst.PixelOffset();
        d.y = d.nRowCounter = y;
        d.pDst = w.dst.Row(y);
        d.pSrc = w.src.storage ? w.src.Row(y) : nullptr;
        d.pMask = w.mask.storage ? w.mask.Row(y) : nullptr;
        op(d);
    };
    if (threads <= 1) {
        CRowOpData d = base;
        for (int y = 0; y < w.dst.height; ++y) row(d, y);
        return;
    }
#pragma omp parallel num_threads(threads)
    {
        CRowOpData d = base;
#pragma omp for schedule(static)
        for (int y = 0; y < w.dst.height; ++y) row(d, y);
    }
}

void RunSpans(const CRowOp& op, const SWorkload& w) {
    CRowOpData d = w.Data();
    for (const SSpan& s : w.spans) {
        d.nCount = s.count;
        d.x = w.dst.PixelOffset() + s.x;
        d.y = d.nRowCounter = s.y;
        d.pDst = At(w.dst, s.y, s.x);
        d.pSrc = w.src.storage ? At(w.src, s.y, s.x) : nullptr;
        // The rasteriser's entry point: a coverage mask, or full coverage.
        if (w.mask.storage) op.SpanMasked(d, At(w.mask, s.y, s.x)).Ignore();
        else op.Span(d, 255).Ignore();
    }
}

// A pass is timed on its own; `empty` is the same pass with nothing to do.
using PassFn = std::function<void(bool empty)>;

double TimePass(const PassFn& pass, bool empty) {
    const double t0 = Now();
    pass(empty);
    return Now() - t0;
}

// The empty call's cost: the median of several empty passes.
double EmptyCost(const PassFn& pass) {
    std::vector<double> samples;
    const int n = QuickMode() ? 3 : 21;
    for (int i = 0; i < n; ++i) samples.push_back(TimePass(pass, true));
    return Median(samples);
}

// The reported time is the whole pass, so that the minimum time per
// repetition means the same for every kind; the rate is net of the empty call.
void Measure(benchmark::State& state, SWorkload& w, const PassFn& pass) {
    const double empty = EmptyCost(pass);
    double total = 0;
    for (auto _ : state) {
        w.Restore();
        const double t = TimePass(pass, false);
        state.SetIterationTime(t);
        total += t;
    }
    const double iterations = double(state.iterations());
    // Noise can make a trivial kernel look faster than the empty call.
    const double net = std::max(total - empty * iterations, 1e-9 * iterations);
    state.counters["Mpix/s"] = w.pixels * 1e-6 * iterations / net;
    state.counters["empty_us"] = empty * 1e6;
}

void RunOurs(benchmark::State& state, const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src, bool masked,
             const STier& tier, bool spans, int threads) {
    std::unique_ptr<SWorkload> w;
    try {
        w = MakeWorkload(dst, src, masked, tier, spans);
    } catch (const std::bad_alloc&) {
        state.SkipWithError("out of memory");
        return;
    }
    const CRowOpData data = w->Data();
    const CRowOp op(&def, data);
    const CRowOpDefNOP nop;
    const CRowOp empty(&nop, data);
    if (op.IsNOP() && def.GetType() != keRoNOP) {
        state.SkipWithError("no kernel for the pair");
        return;
    }
    Measure(state, *w, [&](bool e) {
        if (spans) RunSpans(e ? empty : op, *w);
        else RunRows(e ? empty : op, *w, threads);
    });
}

// ---- Registration.

std::string FormatName(EQPixelFormat f) {
    if (f == keFormatNone) return "-";
    const wchar_t* name = CQPixelFormat(f).GetFormatAsString();
    std::string out;
    for (const wchar_t* c = name; *c; ++c) out += char(*c);
    return out.rfind("keFormat", 0) == 0 ? out.substr(8) : out;
}

// The kind's BGRA pair (BGRA on both sides or without a source, else BGRA on
// either side), then its first 16-bit and its first float destination.
std::vector<std::pair<EQPixelFormat, EQPixelFormat>> Pairs(const SRowOpDictEntry* dict) {
    std::vector<std::pair<EQPixelFormat, EQPixelFormat>> out;
    auto pick = [&](auto pred) {
        for (const SRowOpDictEntry* e = dict; e->pfnKernel; ++e) {
            const auto pair = std::make_pair(EQPixelFormat(e->nDstFormat), EQPixelFormat(e->nSrcFormat));
            if (pred(pair.first, pair.second)) {
                if (std::find(out.begin(), out.end(), pair) == out.end()) out.push_back(pair);
                return true;
            }
        }
        return false;
    };
    const bool bgra = pick([](auto d, auto s) {
                          return d == keFormatBGRA && (s == keFormatNone || s == keFormatBGRA);
                      }) ||
                      pick([](auto d, auto) { return d == keFormatBGRA; }) ||
                      pick([](auto, auto s) { return s == keFormatBGRA; });
    if (!bgra) pick([](auto, auto) { return true; });
    pick([](auto d, auto) { return CQPixelFormat(d).Is16bit(); });
    pick([](auto d, auto) { return CQPixelFormat(d).IsFloat(); });
    return out;
}

// Every tier, then short spans; the tiers beyond L2 also on every core.
// `all` false: only L2 and memory on one thread, for a kind's further pairs.
template <class Register>
void ForEachGeometry(Register reg, bool all = true) {
    const int cores = omp_get_max_threads();
    const size_t last = Tiers().size() - 1;
    for (size_t i = 0; i < Tiers().size(); ++i) {
        if (!all && i != 1 && i != last) continue;
        reg(Tiers()[i], false, 1);
        if (all && cores > 1 && i >= 2) reg(Tiers()[i], false, cores);
    }
    // Spans land anywhere in an image of the L2 tier's size.
    if (all) reg(Tiers()[1], true, 1);
}

std::string GeometryName(const STier& tier, bool spans, int threads) {
    return std::string(spans ? "spans1-32" : tier.name) + "/" + std::to_string(threads) + "t";
}

void RegisterKinds() {
    for (const SKindSample& kind : KindSamples())
        for (const auto& [dst, src] : Pairs(kind.getDict())) {
            const std::string prefix = std::string("kind/") + kind.name + "/" + FormatName(dst) + "<-" +
                                       FormatName(src) + "/";
            const bool first = dst == Pairs(kind.getDict()).front().first &&
                               src == Pairs(kind.getDict()).front().second;
            ForEachGeometry(
                [&, dst = dst, src = src](const STier& tier, bool spans, int threads) {
                    const SKindSample* k = &kind;
                    Configure(benchmark::RegisterBenchmark((prefix + GeometryName(tier, spans, threads)).c_str(),
                                                           [=](benchmark::State& state) {
                                                               const std::unique_ptr<CRowOpDef> def = k->makeSample();
                                                               RunOurs(state, *def, dst, src, k->coverage, tier, spans,
                                                                       threads);
                                                           }),
                              spans ? 0 : tier.bytes);
                },
                first);
        }
}

// ---- Peers.

#ifdef QGDI_HAVE_PIXMAN

struct SPixmanCase {
    const char* name;
    EQPixelFormat dst, src;  // ours; src keFormatNone for fills and solid sources
    bool masked;
    std::function<std::unique_ptr<CRowOpDef>()> ours;
    pixman_op_t op;
    // pixman_fill stands for the fills (op PIXMAN_OP_CLEAR, no formats); psrc 0 is a solid source.
    pixman_format_code_t pdst, psrc;
    uint32_t colour;  // ours: red in the low byte; straight alpha
};

// The colour as pixman's premultiplied 16-bit colour.
pixman_color_t PixmanColour(uint32_t c) {
    const uint32_t a = c >> 24;
    auto ch = [a](uint32_t v) { return uint16_t((v * a + 127) / 255 * 257); };
    return {ch(c & 255), ch(c >> 8 & 255), ch(c >> 16 & 255), uint16_t(a * 257)};
}

// The colour as the 32-bit word pixman_fill stores for a format of `bits` bits.
uint32_t Filler(uint32_t c, int bits) {
    const uint32_t r = c & 255, g = c >> 8 & 255, b = c >> 16 & 255, a = c >> 24;
    const uint32_t grey = (77 * r + 151 * g + 28 * b) >> 8;
    return bits == 32 ? a << 24 | r << 16 | g << 8 | b : bits == 16 ? a << 8 | grey : grey;
}

// pixman over the same rectangle of the same planes: one call for the whole
// rows, or one per span; the empty pass makes the same calls with no width.
void RunPixman(benchmark::State& state, const SPixmanCase& c, const STier& tier, bool spans) {
    std::unique_ptr<SWorkload> w;
    try {
        w = MakeWorkload(c.dst, c.src, c.masked, tier, spans);
    } catch (const std::bad_alloc&) {
        state.SkipWithError("out of memory");
        return;
    }
    const int x0 = w->dst.PixelOffset(), fullWidth = x0 + w->dst.width, h = w->dst.height;
    auto image = [&](pixman_format_code_t f, const SPlane& p) {
        return pixman_image_create_bits(f, fullWidth, h, reinterpret_cast<uint32_t*>(p.Base()), int(p.stride));
    };
    const bool fill = c.op == PIXMAN_OP_CLEAR;
    pixman_image_t* dst = fill ? nullptr : image(c.pdst, w->dst);
    pixman_image_t* src = nullptr;
    pixman_image_t* mask = c.masked ? image(PIXMAN_a8, w->mask) : nullptr;
    if (!fill) {
        if (c.psrc) src = image(c.psrc, w->src);
        else {
            const pixman_color_t colour = PixmanColour(c.colour);
            src = pixman_image_create_solid_fill(&colour);
        }
    }
    const int bits = CQPixelFormat(c.dst).GetBitsPerPixel();
    const uint32_t filler = Filler(c.colour, bits);
    auto call = [&](int x, int y, int width, int height) {
        if (fill)
            pixman_fill(reinterpret_cast<uint32_t*>(w->dst.Base()), int(w->dst.stride / 4), bits, x, y, width, height,
                        filler);
        else pixman_image_composite32(c.op, src, mask, dst, x, y, x, y, x, y, width, height);
    };
    Measure(state, *w, [&](bool empty) {
        if (spans)
            for (const SSpan& s : w->spans) call(x0 + s.x, s.y, empty ? 0 : s.count, 1);
        else call(x0, 0, empty ? 0 : w->dst.width, h);
    });
    if (dst) pixman_image_unref(dst);
    if (src) pixman_image_unref(src);
    if (mask) pixman_image_unref(mask);
}

constexpr uint32_t kColour = 0xC0336699u, kOpaque = 0xFF336699u;

const std::vector<SPixmanCase>& PixmanCases() {
    static const std::vector<SPixmanCase> cases = {
        {"copy/BGRA<-BGRA", keFormatBGRA, keFormatBGRA, false, [] { return std::make_unique<CRowOpDefRowCopy>(); },
         PIXMAN_OP_SRC, PIXMAN_a8r8g8b8, PIXMAN_a8r8g8b8, 0},
        {"copy/BGR<-BGR", keFormatBGR, keFormatBGR, false, [] { return std::make_unique<CRowOpDefRowCopy>(); },
         PIXMAN_OP_SRC, PIXMAN_r8g8b8, PIXMAN_r8g8b8, 0},
        {"copy/Grey<-Grey", keFormatGrey, keFormatGrey, false, [] { return std::make_unique<CRowOpDefRowCopy>(); },
         PIXMAN_OP_SRC, PIXMAN_a8, PIXMAN_a8, 0},
        {"fill/BGRA", keFormatBGRA, keFormatNone, false, [] { return std::make_unique<CRowOpDefRowFill>(kColour); },
         PIXMAN_OP_CLEAR, pixman_format_code_t(0), pixman_format_code_t(0), kColour},
        {"fill/GreyA", keFormatGreyA, keFormatNone, false, [] { return std::make_unique<CRowOpDefRowFill>(kColour); },
         PIXMAN_OP_CLEAR, pixman_format_code_t(0), pixman_format_code_t(0), kColour},
        {"fill/Grey", keFormatGrey, keFormatNone, false, [] { return std::make_unique<CRowOpDefRowFill>(kColour); },
         PIXMAN_OP_CLEAR, pixman_format_code_t(0), pixman_format_code_t(0), kColour},
        // pixman's colours are premultiplied: our premultiplied mask-over-solid
        // is the same operation; the straight one and the opaque tint are the
        // nearest of ours to set beside it.
        {"over-solid-a8/BGRxA", keFormatBGRxA, keFormatNone, true,
         [] { return std::make_unique<CRowOpDefRowMaskOverSolid>(kColour); }, PIXMAN_OP_OVER, PIXMAN_a8r8g8b8,
         pixman_format_code_t(0), kColour},
        {"over-solid-a8/BGRA", keFormatBGRA, keFormatNone, true,
         [] { return std::make_unique<CRowOpDefRowMaskOverSolid>(kColour); }, PIXMAN_OP_OVER, PIXMAN_a8r8g8b8,
         pixman_format_code_t(0), kColour},
        {"over-opaque-a8/BlendSolid-BGRA", keFormatBGRA, keFormatNone, true,
         [] { return std::make_unique<CRowOpDefRowBlendSolid>(kOpaque); }, PIXMAN_OP_OVER, PIXMAN_a8r8g8b8,
         pixman_format_code_t(0), kOpaque},
        {"add/BGRA", keFormatBGRA, keFormatBGRA, false, [] { return std::make_unique<CRowOpDefRowPlusEqual>(); },
         PIXMAN_OP_ADD, PIXMAN_a8r8g8b8, PIXMAN_a8r8g8b8, 0},
        {"add/Grey", keFormatGrey, keFormatGrey, false, [] { return std::make_unique<CRowOpDefRowPlusEqual>(); },
         PIXMAN_OP_ADD, PIXMAN_a8, PIXMAN_a8, 0},
    };
    return cases;
}

void RegisterPixman() {
    AddPeerVersion("pixman", pixman_version_string());
    for (const SPixmanCase& c : PixmanCases())
        ForEachGeometry([&](const STier& tier, bool spans, int threads) {
            if (threads != 1) return;  // pixman runs on one thread
            const std::string base = std::string("peer/") + c.name + "/" + GeometryName(tier, spans, threads) + "/";
            const SPixmanCase* pc = &c;
            Configure(benchmark::RegisterBenchmark((base + "ours").c_str(),
                                                   [=](benchmark::State& state) {
                                                       const std::unique_ptr<CRowOpDef> def = pc->ours();
                                                       RunOurs(state, *def, pc->dst, pc->src, pc->masked, tier, spans,
                                                               1);
                                                   }),
                      spans ? 0 : tier.bytes);
            Configure(
                benchmark::RegisterBenchmark((base + "pixman").c_str(),
                                             [=](benchmark::State& state) { RunPixman(state, *pc, tier, spans); }),
                spans ? 0 : tier.bytes);
        });
}

#endif

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    AddMachineContext();
    benchmark::AddCustomContext("threads", std::to_string(omp_get_max_threads()));
#ifdef QGDI_HAVE_PIXMAN
    RegisterPixman();
#endif
    RegisterKinds();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CRatioReporter reporter(isatty(STDOUT_FILENO) != 0);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    QGDI_SystemShutdown();
    return 0;
}
