#include "bench_util.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "qgdi.h"
#include "tools/qgdi/image_io.h"

namespace qgdi::bench {
namespace {

// "48K", "2048K", "32M" as sysfs writes them.
std::size_t ParseSize(const std::string& text) {
    char* end = nullptr;
    const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
    if (end == text.c_str()) return 0;
    switch (*end) {
    case 'K': return std::size_t(v) << 10;
    case 'M': return std::size_t(v) << 20;
    case 'G': return std::size_t(v) << 30;
    default: return std::size_t(v);
    }
}

std::string ReadLine(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

std::string Mib(std::size_t bytes) {
    char text[32];
    if (bytes >= (1u << 20)) std::snprintf(text, sizeof text, "%.1f MiB", double(bytes) / (1 << 20));
    else std::snprintf(text, sizeof text, "%zu KiB", bytes >> 10);
    return text;
}

std::string ProcessorName() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("model name", 0) == 0) {
            const size_t colon = line.find(':');
            return colon == std::string::npos ? line : line.substr(colon + 2);
        }
    return "unknown";
}

}  // namespace

const SCacheSizes& CacheSizes() {
    static const SCacheSizes sizes = [] {
        std::size_t level[4] = {};
        for (int i = 0; i < 8; ++i) {
            const std::string dir = "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(i) + "/";
            const std::string l = ReadLine(dir + "level"), type = ReadLine(dir + "type");
            if (l.empty()) break;
            const int n = std::atoi(l.c_str());
            if (type != "Instruction" && n >= 1 && n <= 3) level[n] = ParseSize(ReadLine(dir + "size"));
        }
#ifdef _SC_LEVEL1_DCACHE_SIZE
        const long sys[4] = {0, sysconf(_SC_LEVEL1_DCACHE_SIZE), sysconf(_SC_LEVEL2_CACHE_SIZE),
                             sysconf(_SC_LEVEL3_CACHE_SIZE)};
        for (int n = 1; n <= 3; ++n)
            if (!level[n] && sys[n] > 0) level[n] = std::size_t(sys[n]);
#endif
        SCacheSizes s;
        if (level[1]) s.l1 = level[1];
        if (level[2]) s.l2 = level[2];
        s.l3 = level[3];  // no third level: no L3 tier
        return s;
    }();
    return sizes;
}

const std::vector<STier>& Tiers() {
    static const std::vector<STier> tiers = [] {
        const SCacheSizes& c = CacheSizes();
        // Half of a level leaves room for the stack, the tables and the
        // pristine copies that restore the inputs.
        const std::size_t l1 = c.l1 / 2, l2 = c.l2 / 2;
        // Well above L2 but well inside L3.
        const std::size_t l3 = c.l3 ? std::clamp(c.l2 * 4, l2 * 2, std::max(c.l3 / 2, l2 * 2)) : 0;
        // Above the last-level cache where the machine allows; some virtual
        // machines report a last-level cache of hundreds of megabytes, so the
        // size is capped and the context says so.
        const char* env = std::getenv("QGDI_BENCH_MEMORY_MIB");
        std::size_t memory = env && std::atoi(env) > 0 ? std::size_t(std::atoi(env)) << 20
                                                       : std::clamp<std::size_t>(c.l3 * 2, 32u << 20, 128u << 20);
        std::vector<STier> t = {{"L1", l1}, {"L2", l2}};
        if (l3) t.push_back({"L3", l3});
        t.push_back({"memory", memory});
        if (QuickMode())
            for (STier& tier : t) tier.bytes = std::min<std::size_t>(tier.bytes, 256u << 10);
        return t;
    }();
    return tiers;
}

bool QuickMode() {
    static const bool quick = [] {
        const char* env = std::getenv("QGDI_BENCH_QUICK");
        return env && *env && std::string(env) != "0";
    }();
    return quick;
}

int Repetitions() { return QuickMode() ? 1 : 5; }

double MinTime() {
    static const double t = [] {
        const char* env = std::getenv("QGDI_BENCH_MIN_TIME");
        const double v = env ? std::atof(env) : 0;
        return v > 0 ? v : QuickMode() ? 0.001 : 0.05;
    }();
    return t;
}

void AddMachineContext() {
    const SCacheSizes& c = CacheSizes();
    benchmark::AddCustomContext("processor", ProcessorName());
#ifdef __VERSION__
    benchmark::AddCustomContext("compiler", __VERSION__);
#endif
#ifdef QGDI_BENCH_CXX_FLAGS
    benchmark::AddCustomContext("flags", QGDI_BENCH_CXX_FLAGS);
#endif
    benchmark::AddCustomContext("caches", "L1d " + Mib(c.l1) + ", L2 " + Mib(c.l2) + ", L3 " + Mib(c.l3));
    std::string tiers;
    for (const STier& t : Tiers()) tiers += std::string(tiers.empty() ? "" : ", ") + t.name + " " + Mib(t.bytes);
    if (c.l3 && Tiers().back().bytes < c.l3 * 2) tiers += " (memory tier capped below twice L3)";
    benchmark::AddCustomContext("working sets", tiers);
    benchmark::AddCustomContext("mode", QuickMode() ? "quick" : "full");
    // The kernel target in use (widest the processor runs, or QGDI_CPU's cap).
    benchmark::AddCustomContext("kernel target", QGDI_GetKernelTarget());
}

void AddPeerVersion(const char* peer, const std::string& version) {
    benchmark::AddCustomContext(std::string(peer) + " version", version);
}

double Median(std::vector<double>& samples) {
    if (samples.empty()) return 0;
    const auto mid = samples.begin() + samples.size() / 2;
    std::nth_element(samples.begin(), mid, samples.end());
    return *mid;
}

void CRatioReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& r : runs) {
        // Medians when there are repetitions, the single run otherwise.
        if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "median") continue;
        const auto it = r.counters.find("Mpix/s");
        if (it == r.counters.end() || r.error_occurred) continue;
        m_rates[r.run_name.function_name] = it->second.value;
    }
    ConsoleReporter::ReportRuns(runs);
}

void CRatioReporter::Finalize() {
    ConsoleReporter::Finalize();
    bool header = false;
    for (const auto& [name, rate] : m_rates) {
        const size_t slash = name.rfind('/');
        if (slash == std::string::npos || name.compare(slash + 1, std::string::npos, "ours") != 0) continue;
        const std::string base = name.substr(0, slash);
        for (auto peer = m_rates.lower_bound(base + "/");
             peer != m_rates.end() && peer->first.rfind(base + "/", 0) == 0; ++peer) {
            if (peer->first == name || peer->second <= 0) continue;
            if (!header)
                std::printf("\n%-48s %-8s %12s %12s %8s\n", "case (median Mpix/s, empty call subtracted)", "peer",
                            "ours", "peer", "ratio");
            header = true;
            std::printf("%-48s %-8s %12.1f %12.1f %8.2f\n", base.c_str(), peer->first.c_str() + base.size() + 1, rate,
                        peer->second, rate / peer->second);
        }
    }
    std::fflush(stdout);
}

benchmark::internal::Benchmark* Configure(benchmark::internal::Benchmark* b, size_t workingSet) {
    b->UseManualTime()->Unit(benchmark::kMicrosecond);
    // A smoke run only needs every benchmark to run: a fixed, small count.
    if (QuickMode()) return b->Iterations(2);
    b->Repetitions(Repetitions())->ReportAggregatesOnly(true);
    // Every iteration restores its working set outside the timing. Beyond L1
    // that restore outweighs a fast kernel's pass many times over, and a
    // minimum time would spend minutes restoring: such sets run a fixed count
    // that still moves tens of megabytes per repetition.
    constexpr size_t kBytesPerRepetition = size_t(32) << 20;
    if (workingSet > CacheSizes().l1)
        return b->Iterations(
            static_cast<benchmark::IterationCount>(std::max<size_t>(5, kBytesPerRepetition / workingSet)));
    return b->MinTime(MinTime());
}

}  // namespace qgdi::bench

namespace qgdi::bench {

std::string TestDataDir() {
    const char* dir = std::getenv("QGDI_TESTDATA");
    return dir && *dir ? dir : QGDI_TESTDATA_DIR;
}

std::unique_ptr<CRowIterator> ReadPhoto(const std::string& name) {
    const char* chosen = std::getenv("QGDI_BENCH_PHOTO");
    const std::string file = chosen && *chosen ? chosen : TestDataDir() + "/photos/" + name;
    std::string error;
    std::unique_ptr<CRowIterator> image = QgdiReadImage(file, error);
    auto bgra = std::make_unique<CRowIterator>();
    if (!image || bgra->CreateFromCopy(*image, nullptr, keFormatBGRA).IsError()) {
        std::fprintf(stderr, "cannot read the photograph %s: %s\n", file.c_str(), error.c_str());
        return nullptr;
    }
    return bgra;
}

std::unique_ptr<CRowIterator> ReadPhotoSquare(int size) {
    auto photo = ReadPhoto();
    auto out = std::make_unique<CRowIterator>();
    if (!photo || CImageResize(keResampleBicubic).Resize(*photo, size, size, *out).IsError()) {
        std::fprintf(stderr, "cannot make the %d x %d photograph\n", size, size);
        std::exit(1);
    }
    return out;
}

}  // namespace qgdi::bench

namespace qgdi::bench {

int RunBenchmarks(int argc, char** argv, const std::function<void()>& prepare, const std::function<void()>& finish) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (prepare) prepare();
    CRatioReporter reporter(isatty(STDOUT_FILENO) != 0);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    if (finish) finish();
    return 0;
}

}  // namespace qgdi::bench
