#pragma once
// What every benchmark program shares: the machine's cache sizes and the
// working-set sizes derived from them, the quick mode for smoke runs, the
// context printed with the figures, and a console reporter that ends with a
// table of our rates against each peer's.
#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CRowIteratorBands;
using CRowIterator = CRowIteratorBands;

namespace qgdi::bench {

struct SCacheSizes {
    std::size_t l1 = 32 << 10;  // data cache of one core
    std::size_t l2 = 1 << 20;
    std::size_t l3 = 0;  // the whole last-level cache, 0 when there is none
};

// Read once from /sys/devices/system/cpu/cpu0/cache (sysconf as a fallback).
const SCacheSizes& CacheSizes();

// One working-set size per level of the memory hierarchy: data that lives in
// L1, in L2, in L3, and data that must come from memory.
struct STier {
    const char* name;
    std::size_t bytes;
};
const std::vector<STier>& Tiers();

// QGDI_BENCH_QUICK set (and not "0"): small working sets, one short
// repetition, for smoke runs that only check that everything runs.
bool QuickMode();
// Repetitions and minimum time per repetition for the mode (QGDI_BENCH_MIN_TIME overrides the latter).
int Repetitions();
double MinTime();

// Processor, compiler, flags, caches and tiers into the benchmark context;
// peers add their versions with AddPeerVersion.
void AddMachineContext();
void AddPeerVersion(const char* peer, const std::string& version);

// A photograph of the shared test data ("astronaut.png" in its photos folder;
// QGDI_BENCH_PHOTO names another file) as 8-bit BGRA. Null, with a message on
// stderr, when it cannot be read.
std::unique_ptr<CRowIterator> ReadPhoto(const std::string& name = "astronaut.png");
// That photograph resized (bicubic) to size x size, or the program ends with
// a message: the benchmarks that need it have nothing to time without it.
std::unique_ptr<CRowIterator> ReadPhotoSquare(int size);
// The folder of the shared test data (QGDI_TESTDATA overrides it).
std::string TestDataDir();

// Wall-clock seconds.
inline double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Median of a few samples (the vector is reordered).
double Median(std::vector<double>& samples);

// Console output as usual, then for every benchmark named ".../ours" with a
// sibling ".../<peer>" a line: ours, peer, ours / peer, from the medians of
// the "Mpix/s" counter.
class CRatioReporter : public benchmark::ConsoleReporter {
public:
    explicit CRatioReporter(bool colour) : ConsoleReporter(colour ? OO_ColorTabular : OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

protected:
    // Median Mpix/s by benchmark name, for programs that print tables of their own.
    const std::map<std::string, double>& Rates() const { return m_rates; }

private:
    std::map<std::string, double> m_rates;
};

// What every program's main does once its benchmarks are registered: the
// benchmark flags, `prepare` (inputs made before any timing), the runs through
// the ratio reporter, `finish` (shut-downs, tables of its own). main's result.
int RunBenchmarks(int argc, char** argv, const std::function<void()>& prepare = {},
                  const std::function<void()>& finish = {});

// Registers the benchmark programs' common settings on `b`: manual (wall
// clock) time, repetitions reported as aggregates, minimum time.
benchmark::internal::Benchmark* Configure(benchmark::internal::Benchmark* b, size_t workingSet = 0);

}  // namespace qgdi::bench
