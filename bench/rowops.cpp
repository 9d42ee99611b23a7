// Row operations on a large image: every kind on BGRA (and on one 16-bit and
// one float format where the kind has them), one thread and all cores; plain
// copies between 8-bit formats and fills beside pixman on the same buffers.
// QGDI_BENCH_SIZE=<pixels> changes the 4096 x 4096 image for quick runs.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qgdi.h"

#ifdef QGDI_HAVE_PIXMAN
#include <pixman.h>
#endif

namespace {

int Size() {
    static const int size = [] {
        const char* env = std::getenv("QGDI_BENCH_SIZE");
        const int v = env ? std::atoi(env) : 0;
        return v > 0 ? v : 4096;
    }();
    return size;
}

double Pixels() { return double(Size()) * Size(); }

void SetRate(benchmark::State& state) {
    state.counters["Mpix/s"] = benchmark::Counter(Pixels() * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}

// Images by format and role, created on first use and filled with a fixed pattern.
CRowIterator& Image(EQPixelFormat format, int role) {
    static std::map<std::pair<int, int>, std::unique_ptr<CRowIterator>> images;
    auto& slot = images[{format, role}];
    if (!slot) {
        slot = std::make_unique<CRowIterator>();
        if (slot->Create(Size(), Size(), format).IsError()) std::abort();
        uint32_t state = 12345u + role * 77u + format;
        for (int y = 0; y < Size(); ++y) {
            uint8_t* row = nullptr;
            if (slot->GetRow(row, y).IsError()) std::abort();
            const int bytes = slot->GetBytesPerRow();
            if (CQPixelFormat(format).IsFloat()) {
                auto* f = reinterpret_cast<float*>(row);
                for (int i = 0; i < bytes / 4; ++i) f[i] = float((state = state * 1664525u + 1013904223u) >> 8) * (1.0f / 16777216.0f);
            } else {
                for (int i = 0; i < bytes; ++i) row[i] = uint8_t((state = state * 1664525u + 1013904223u) >> 24);
            }
            slot->ReleaseRow(y).Ignore();
        }
    }
    return *slot;
}

struct SKind {
    const char* name;
    const SRowOpDictEntry* (*dict)() noexcept;
    std::function<std::unique_ptr<CRowOpDef>()> make;
    bool masked = false;
};

template <class T, class... Args>
std::function<std::unique_ptr<CRowOpDef>()> Make(Args... args) {
    return [=] { return std::unique_ptr<CRowOpDef>(new T(args...)); };
}

const std::vector<SKind>& Kinds() {
    static const std::vector<SKind> kinds = {
        {"NOP", GetNOPDict, Make<CRowOpDefNOP>()},
        {"RowCopy", GetRowCopyDict, Make<CRowOpDefRowCopy>()},
        {"RowCopyIndexed", GetRowCopyIndexedDict, Make<CRowOpDefRowCopyIndexed>()},
        {"Paletted", GetRowCopyPalettedWithTransparencyIndexDict, Make<CRowOpDefRowCopyPalettedWithTransparencyIndex>(3)},
        {"Dither", GetRowDitherDict, Make<CRowOpDefRowDither>()},
        {"Fill", GetRowFillDict, Make<CRowOpDefRowFill>(0xFF336699u)},
        {"Matte", GetRowMatteDict, Make<CRowOpDefRowMatte>(0xFFFFFFu)},
        {"Dematte", GetRowDematteDict, Make<CRowOpDefRowDematte>(0xFFFFFFu)},
        {"ChannelGet", GetChannelGetDict, Make<CRowOpDefChannelGet>(keChannelRed)},
        {"ChannelSet", GetChannelSetDict, Make<CRowOpDefChannelSet>(keChannelAlpha)},
        {"ChannelConstant", GetChannelConstantDict, Make<CRowOpDefChannelConstant>(keChannelSetAlpha, 1.0)},
        {"ChannelLinear", GetChannelLinearDict, Make<CRowOpDefChannelLinear>(keChannelSetAllButAlpha, 1.2, -0.05)},
        {"Noise", GetRowNoiseDict, Make<CRowOpDefRowNoise>(0.2, false, false, 5u)},
        {"Turbulence", GetRowTurbulenceDict, Make<CRowOpDefRowTurbulence>(0.02, 0.02, 2, 3, false)},
        {"HighPass", GetHighPassDict, Make<CRowOpDefHighPass>()},
        {"MaskOverSolid", GetRowMaskOverSolidDict, Make<CRowOpDefRowMaskOverSolid>(0xFF2040C0u), true},
        {"BlendSolid", GetRowBlendSolidDict, Make<CRowOpDefRowBlendSolid>(0xFF2040C0u, uint8_t(100))},
        {"Erase", GetRowEraseDict, Make<CRowOpDefRowErase>(uint8_t(128))},
        {"BlendIndexed", GetRowBlendIndexedBGRADict, Make<CRowOpDefRowBlendIndexedBGRA>()},
        {"HSLAdjust", GetRowHSLAdjustDict, Make<CRowOpDefRowHSLAdjust>(30.0, 0.2, -0.1)},
        {"HSLCopyChannel", GetRowHSLCopyChannelDict, Make<CRowOpDefRowHSLCopyChannel>(keHSLHue)},
        {"Invert", GetRowInvertDict, Make<CRowOpDefRowInvert>()},
        {"RGBAdjust", GetRowRGBAdjustDict, [] {
             const double gain[3] = {1.1, 1.0, 0.9}, offset[3] = {0.02, 0, -0.02};
             return std::unique_ptr<CRowOpDef>(new CRowOpDefRowRGBAdjust(gain, offset));
         }},
        {"Kodalith", GetRowKodalithDict, Make<CRowOpDefRowKodalith>(uint8_t(128))},
        {"ReplaceColor", GetRowReplaceColorDict, Make<CRowOpDefRowReplaceColor>(0x808080u, 0xFF00FFu, uint8_t(40))},
        {"Arithmetic", GetRowArithmeticDict, Make<CRowOpDefRowArithmetic>(0.5, 0.25, 0.25, 0.0)},
        {"MulEqual", GetRowMulEqualDict, Make<CRowOpDefRowMulEqual>()},
        {"PlusEqual", GetRowPlusEqualDict, Make<CRowOpDefRowPlusEqual>()},
    };
    return kinds;
}

// The kind's BGRA pair (BGRA on either side), then its first 16-bit and first float destination.
std::vector<std::pair<EQPixelFormat, EQPixelFormat>> Pairs(const SRowOpDictEntry* dict) {
    std::vector<std::pair<EQPixelFormat, EQPixelFormat>> out;
    auto pick = [&](auto pred) {
        for (const SRowOpDictEntry* e = dict; e->pfnKernel; ++e)
            if (pred(*e)) {
                out.emplace_back(static_cast<EQPixelFormat>(e->nDstFormat), static_cast<EQPixelFormat>(e->nSrcFormat));
                return true;
            }
        return false;
    };
    if (!pick([](const SRowOpDictEntry& e) { return e.nDstFormat == keFormatBGRA && (e.nSrcFormat == keFormatNone || e.nSrcFormat == keFormatBGRA); }))
        if (!pick([](const SRowOpDictEntry& e) { return e.nDstFormat == keFormatBGRA; }))
            pick([](const SRowOpDictEntry& e) { return e.nSrcFormat == keFormatBGRA; });
    pick([](const SRowOpDictEntry& e) { return CQPixelFormat(EQPixelFormat(e.nDstFormat)).Is16bit(); });
    pick([](const SRowOpDictEntry& e) { return CQPixelFormat(EQPixelFormat(e.nDstFormat)).IsFloat(); });
    return out;
}

void RegisterKinds() {
    for (const SKind& kind : Kinds())
        for (auto [dst, src] : Pairs(kind.dict())) {
            char label[160];
            std::snprintf(label, sizeof label, "kind/%s/%ls<-%ls", kind.name, CQPixelFormat(dst).GetFormatAsString() + 8,
                          src == keFormatNone ? L"-" : CQPixelFormat(src).GetFormatAsString() + 8);
            const SKind* k = &kind;
            auto run = [k, dst = dst, src = src](benchmark::State& state) {
                omp_set_num_threads(static_cast<int>(state.range(0)));
                const std::unique_ptr<CRowOpDef> def = k->make();
                CRowIterator& d = Image(dst, 0);
                const CRowIterator* s = src != keFormatNone ? &Image(src, 1) : nullptr;
                const CRowIterator* m = k->masked ? &Image(keFormatGrey, 2) : nullptr;
                for (auto _ : state) PixelIterator_ApplyRowOp(*def, d, s, m);
                SetRate(state);
            };
            // One thread is timed by its CPU time, so that other work on the
            // machine does not count; all cores by the wall clock.
            benchmark::RegisterBenchmark(label, run)->Arg(1)->ArgName("threads")->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark(label, run)
                ->Arg(omp_get_num_procs())
                ->ArgName("threads")
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
        }
}

// ---- Beside pixman: the kernels on contiguous buffers, one thread, timed by
// the thread's CPU time so that other processes on the machine do not count.

struct SBuffer {
    std::vector<uint32_t> words;  // 4-byte aligned storage for pixman
    int stride;                   // bytes, a multiple of 4
    uint8_t* Row(int y) { return reinterpret_cast<uint8_t*>(words.data()) + size_t(y) * stride; }
};

SBuffer MakeBuffer(int bytesPerPixel, uint32_t seed) {
    SBuffer b;
    b.stride = (Size() * bytesPerPixel + 3) & ~3;
    b.words.resize(size_t(b.stride) / 4 * Size());
    for (auto& w : b.words) w = (seed = seed * 1664525u + 1013904223u);
    return b;
}

// Ours: the bound kernel over every row of the buffers.
void RunOurs(benchmark::State& state, const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src) {
    SBuffer d = MakeBuffer(CQPixelFormat(dst).GetBytesPerPixel(), 1);
    SBuffer s = MakeBuffer(src == keFormatNone ? 1 : CQPixelFormat(src).GetBytesPerPixel(), 2);
    CRowOpData data;
    data.eDstFormat = dst;
    data.eSrcFormat = src;
    data.nCount = Size();
    CRowOp op(&def, data);
    if (op.IsNOP() || op.IsConverted()) state.SkipWithError("no direct kernel");
    for (auto _ : state) {
        for (int y = 0; y < Size(); ++y) {
            data.pDst = d.Row(y);
            data.pSrc = src == keFormatNone ? nullptr : s.Row(y);
            data.y = y;
            op(data);
        }
        benchmark::ClobberMemory();
    }
    SetRate(state);
}

#ifdef QGDI_HAVE_PIXMAN
void RunPixmanCopy(benchmark::State& state, pixman_format_code_t dstFormat, int dstBytes, pixman_format_code_t srcFormat,
                   int srcBytes) {
    SBuffer d = MakeBuffer(dstBytes, 1), s = MakeBuffer(srcBytes, 2);
    pixman_image_t* di = pixman_image_create_bits(dstFormat, Size(), Size(), d.words.data(), d.stride);
    pixman_image_t* si = pixman_image_create_bits(srcFormat, Size(), Size(), s.words.data(), s.stride);
    for (auto _ : state) {
        pixman_image_composite32(PIXMAN_OP_SRC, si, nullptr, di, 0, 0, 0, 0, 0, 0, Size(), Size());
        benchmark::ClobberMemory();
    }
    pixman_image_unref(di);
    pixman_image_unref(si);
    SetRate(state);
}

void RunPixmanFill(benchmark::State& state, int bpp, uint32_t filler) {
    SBuffer d = MakeBuffer(bpp / 8, 1);
    for (auto _ : state) {
        pixman_fill(d.words.data(), d.stride / 4, bpp, 0, 0, Size(), Size(), filler);
        benchmark::ClobberMemory();
    }
    SetRate(state);
}
#endif

struct SPeerPair {
    const char* name;
    EQPixelFormat dst, src;
#ifdef QGDI_HAVE_PIXMAN
    pixman_format_code_t pdst, psrc;
#endif
};

void RegisterPeers() {
    static const CRowOpDefRowCopy copy;
    static const SPeerPair copies[] = {
#ifdef QGDI_HAVE_PIXMAN
        {"BGRA<-BGRA", keFormatBGRA, keFormatBGRA, PIXMAN_a8r8g8b8, PIXMAN_a8r8g8b8},
        {"BGRA<-BGR", keFormatBGRA, keFormatBGR, PIXMAN_a8r8g8b8, PIXMAN_r8g8b8},
        {"BGR<-BGRA", keFormatBGR, keFormatBGRA, PIXMAN_r8g8b8, PIXMAN_a8r8g8b8},
        {"BGR<-BGR", keFormatBGR, keFormatBGR, PIXMAN_r8g8b8, PIXMAN_r8g8b8},
        {"Grey<-Grey", keFormatGrey, keFormatGrey, PIXMAN_a8, PIXMAN_a8},
#else
        {"BGRA<-BGRA", keFormatBGRA, keFormatBGRA},
        {"BGRA<-BGR", keFormatBGRA, keFormatBGR},
        {"BGR<-BGRA", keFormatBGR, keFormatBGRA},
        {"BGR<-BGR", keFormatBGR, keFormatBGR},
        {"Grey<-Grey", keFormatGrey, keFormatGrey},
#endif
    };
    for (const SPeerPair& p : copies) {
        benchmark::RegisterBenchmark((std::string("peer/copy/") + p.name + "/ours").c_str(), [p](benchmark::State& state) {
            RunOurs(state, copy, p.dst, p.src);
        })->Unit(benchmark::kMillisecond);
#ifdef QGDI_HAVE_PIXMAN
        benchmark::RegisterBenchmark((std::string("peer/copy/") + p.name + "/pixman").c_str(), [p](benchmark::State& state) {
            RunPixmanCopy(state, p.pdst, CQPixelFormat(p.dst).GetBytesPerPixel(), p.psrc, CQPixelFormat(p.src).GetBytesPerPixel());
        })->Unit(benchmark::kMillisecond);
#endif
    }
    static const CRowOpDefRowFill fill(0xFF336699u);
    static const std::pair<const char*, EQPixelFormat> fills[] = {
        {"BGRA", keFormatBGRA}, {"GreyA", keFormatGreyA}, {"Grey", keFormatGrey}};
    for (const auto& [name, format] : fills) {
        benchmark::RegisterBenchmark((std::string("peer/fill/") + name + "/ours").c_str(),
                                     [format = format](benchmark::State& state) { RunOurs(state, fill, format, keFormatNone); })
            
            ->Unit(benchmark::kMillisecond);
#ifdef QGDI_HAVE_PIXMAN
        benchmark::RegisterBenchmark((std::string("peer/fill/") + name + "/pixman").c_str(),
                                     [format = format](benchmark::State& state) {
                                         RunPixmanFill(state, CQPixelFormat(format).GetBitsPerPixel(), 0xFF336699u);
                                     })
            
            ->Unit(benchmark::kMillisecond);
#endif
    }
}

// Prints ours / pixman for every pair measured on both sides.
class CRatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            const auto it = r.counters.find("Mpix/s");
            std::string name = r.benchmark_name();
            const size_t suffix = name.find("/real_time");
            if (suffix != std::string::npos) name.erase(suffix);
            if (it != r.counters.end()) m_rates[name] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        bool header = false;
        for (const auto& [name, rate] : m_rates) {
            const size_t at = name.rfind("/ours");
            if (at == std::string::npos || at + 5 != name.size()) continue;
            const std::string base = name.substr(0, at);
            const auto peer = m_rates.find(base + "/pixman");
            if (peer == m_rates.end() || peer->second <= 0) continue;
            if (!header) std::printf("\n%-28s %12s %12s %8s\n", "ours / pixman, one thread", "ours Mpix/s", "pixman", "ratio");
            header = true;
            std::printf("%-28s %12.1f %12.1f %8.2f\n", base.c_str() + 5, rate, peer->second, rate / peer->second);
        }
    }

private:
    std::map<std::string, double> m_rates;
};

}  // namespace

int main(int argc, char** argv) {
    if (QGDI_SystemStartup().IsError()) return 1;
    RegisterPeers();
    RegisterKinds();
    benchmark::Initialize(&argc, argv);
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    QGDI_SystemShutdown();
    return 0;
}
