#include "diagnostics/Profile.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <new>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#define QGDI_PROFILE_TSC 1
#else
#include <time.h>
#endif

namespace qgdi::profile {

namespace {
bool EnabledByEnvironment() {
    const char* v = std::getenv("QGDI_PROFILE");
    return v && *v && std::strcmp(v, "0") != 0;
}
}  // namespace

std::atomic<bool> g_bEnabled{EnabledByEnvironment()};

namespace {

constexpr int kMaxSites = 1024;
constexpr int kMaxDepth = 64;
constexpr uint64_t kNoMinimum = std::numeric_limits<uint64_t>::max();

// Only the owning thread writes its counters; the reporter reads them. Relaxed
// loads and stores keep that free of data races at the cost of plain moves.
struct SCounter {
    std::atomic<uint64_t> hits{0}, total{0}, self{0}, minimum{kNoMinimum}, maximum{0};

    void Zero() noexcept {
        hits.store(0, std::memory_order_relaxed);
        total.store(0, std::memory_order_relaxed);
        self.store(0, std::memory_order_relaxed);
        minimum.store(kNoMinimum, std::memory_order_relaxed);
        maximum.store(0, std::memory_order_relaxed);
    }
};

struct SBlock {
    SCounter counters[kMaxSites];
    int threads[kMaxSites] = {};  // of the retired block only: threads folded into it with a hit
};

inline void Bump(std::atomic<uint64_t>& a, uint64_t v) noexcept {
    a.store(a.load(std::memory_order_relaxed) + v, std::memory_order_relaxed);
}

// Trivially constructed, so that reaching it is one thread-pointer offset.
struct SThreadState {
    const void* stack[kMaxDepth];
    uint64_t nested[kMaxDepth];
    int depth;
    bool exited;
    SBlock* block;
};
thread_local SThreadState t_state __attribute__((tls_model("initial-exec")));

struct SRegistry {
    std::mutex mutex;
    std::vector<CProfileSite*> sites;
    std::vector<SBlock*> live;
    SBlock retired;
};

SRegistry& Registry() {
    static SRegistry* registry = new SRegistry;  // threads may exit after static destruction
    return *registry;
}

// Folds the thread's counters into the retired block when the thread ends.
struct SBlockOwner {
    SBlock* block = nullptr;
    ~SBlockOwner() {
        if (!block) return;
        SRegistry& r = Registry();
        {
            std::lock_guard lock(r.mutex);
            for (int i = 0; i < kMaxSites; ++i) {
                const SCounter& c = block->counters[i];
                const uint64_t hits = c.hits.load(std::memory_order_relaxed);
                if (!hits) continue;
                SCounter& d = r.retired.counters[i];
                Bump(d.hits, hits);
                Bump(d.total, c.total.load(std::memory_order_relaxed));
                Bump(d.self, c.self.load(std::memory_order_relaxed));
                d.minimum.store(std::min(d.minimum.load(std::memory_order_relaxed),
                                         c.minimum.load(std::memory_order_relaxed)),
                                std::memory_order_relaxed);
                d.maximum.store(std::max(d.maximum.load(std::memory_order_relaxed),
                                         c.maximum.load(std::memory_order_relaxed)),
                                std::memory_order_relaxed);
                ++r.retired.threads[i];
            }
            r.live.erase(std::remove(r.live.begin(), r.live.end(), block), r.live.end());
        }
        delete block;
        t_state.block = nullptr;
        t_state.exited = true;
    }
};
thread_local SBlockOwner t_owner;

SBlock* AttachBlock() noexcept {
    if (t_state.exited) return nullptr;
    SBlock* block = new (std::nothrow) SBlock;
    if (!block) return nullptr;
    SRegistry& r = Registry();
    try {
        std::lock_guard lock(r.mutex);
        r.live.push_back(block);
    } catch (...) {
        delete block;
        return nullptr;
    }
    t_owner.block = block;
    t_state.block = block;
    return block;
}

inline uint64_t Now() noexcept {
#ifdef QGDI_PROFILE_TSC
    return __rdtsc();
#else
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
#endif
}

using Steady = std::chrono::steady_clock;
struct SClockBase {
    uint64_t ticks;
    Steady::time_point time;
};
// A pair of readings of both clocks taken as close together as the best of a
// few tries allows (a preempted try is wide and dropped).
SClockBase ReadBoth() noexcept {
    SClockBase best{0, {}};
    uint64_t narrowest = ~uint64_t{0};
    for (int k = 0; k < 5; ++k) {
        const uint64_t before = Now();
        const Steady::time_point time = Steady::now();
        const uint64_t after = Now();
        if (after - before < narrowest) {
            narrowest = after - before;
            best = SClockBase{before + (after - before) / 2, time};
        }
    }
    return best;
}
const SClockBase g_base = ReadBoth();

inline void Record(CProfileSite& site, uint64_t elapsed, uint64_t nested) noexcept {
    const int index = site.GetIndex();
    if (index < 0) return;
    SBlock* block = t_state.block;
    if (!block && !(block = AttachBlock())) return;
    SCounter& c = block->counters[index];
    Bump(c.hits, 1);
    Bump(c.total, elapsed);
    Bump(c.self, elapsed - std::min(nested, elapsed));
    if (elapsed < c.minimum.load(std::memory_order_relaxed)) c.minimum.store(elapsed, std::memory_order_relaxed);
    if (elapsed > c.maximum.load(std::memory_order_relaxed)) c.maximum.store(elapsed, std::memory_order_relaxed);
}

}  // namespace
}  // namespace qgdi::profile

using namespace qgdi::profile;

int CProfileSite::Register() noexcept {
    SRegistry& r = Registry();
    try {
        std::lock_guard lock(r.mutex);
        int index = m_nIndex.load(std::memory_order_relaxed);
        if (index != kUnassigned) return index;
        index = -1;
        if (r.sites.size() < static_cast<size_t>(kMaxSites)) {
            index = static_cast<int>(r.sites.size());
            r.sites.push_back(this);
        }
        m_nIndex.store(index, std::memory_order_release);
        return index;
    } catch (...) {
        return -1;
    }
}

void CProfileScope::Open(CProfileSite& site) noexcept {
    m_pSite = &site;
    SThreadState& t = t_state;
    if (t.depth < kMaxDepth) {
        m_nDepth = t.depth++;
        t.stack[m_nDepth] = this;
        t.nested[m_nDepth] = 0;
    }
    m_nStart = Now();
}

void CProfileScope::Close() noexcept {
    const uint64_t elapsed = Now() - m_nStart;
    SThreadState& t = t_state;
    uint64_t nested = 0;
    // Only an address comparison: the slot may hold a scope that is gone.
    if (m_nDepth >= 0 && m_nDepth < t.depth && t.stack[m_nDepth] == this) {
        nested = t.nested[m_nDepth];
        t.depth = m_nDepth;
        if (m_nDepth > 0) t.nested[m_nDepth - 1] += elapsed;
    }
    Record(*m_pSite, elapsed, nested);
}

void QGDI_ProfileEnable(bool on) noexcept { g_bEnabled.store(on, std::memory_order_relaxed); }

void QGDI_ProfileReset() noexcept {
    SRegistry& r = Registry();
    std::lock_guard lock(r.mutex);
    for (SBlock* b : r.live)
        for (SCounter& c : b->counters) c.Zero();
    for (int i = 0; i < kMaxSites; ++i) {
        r.retired.counters[i].Zero();
        r.retired.threads[i] = 0;
    }
}

uint64_t QGDI_ProfileTicks() noexcept { return Now(); }

double QGDI_ProfileNanosecondsPerTick() noexcept {
#ifdef QGDI_PROFILE_TSC
    // The longer the interval since start-up, the better the ratio; once it
    // spans a second it is kept.
    static std::atomic<double> kept{0};
    if (const double k = kept.load(std::memory_order_relaxed)) return k;
    const auto least = g_base.time + std::chrono::milliseconds(50);
    while (Steady::now() < least) {
    }
    const SClockBase now = ReadBoth();
    const double ns = std::chrono::duration<double, std::nano>(now.time - g_base.time).count();
    const double ratio = now.ticks > g_base.ticks ? ns / static_cast<double>(now.ticks - g_base.ticks) : 1.0;
    if (ns >= 1e9) kept.store(ratio, std::memory_order_relaxed);
    return ratio;
#else
    return 1.0;
#endif
}

void QGDI_ProfileRecord(CProfileSite& site, uint64_t ticks, uint64_t childTicks) noexcept {
    Record(site, ticks, childTicks);
}

std::vector<SProfileEntry> QGDI_ProfileSnapshot() {
    const double scale = QGDI_ProfileNanosecondsPerTick();
    std::map<std::string, SProfileEntry> byName;
    SRegistry& r = Registry();
    {
        std::lock_guard lock(r.mutex);
        for (size_t i = 0; i < r.sites.size(); ++i) {
            uint64_t hits = 0, total = 0, self = 0, lo = kNoMinimum, hi = 0;
            int threads = r.retired.threads[i];
            const auto add = [&](const SCounter& c, bool live) {
                const uint64_t h = c.hits.load(std::memory_order_relaxed);
                if (!h) return;
                hits += h;
                total += c.total.load(std::memory_order_relaxed);
                self += c.self.load(std::memory_order_relaxed);
                lo = std::min(lo, c.minimum.load(std::memory_order_relaxed));
                hi = std::max(hi, c.maximum.load(std::memory_order_relaxed));
                threads += live ? 1 : 0;
            };
            add(r.retired.counters[i], false);
            for (const SBlock* b : r.live) add(b->counters[i], true);
            if (!hits) continue;
            SProfileEntry& e = byName[r.sites[i]->GetName()];
            const bool first = e.hits == 0;
            e.name = r.sites[i]->GetName();
            e.hits += hits;
            e.total += static_cast<double>(total) * scale;
            e.self += static_cast<double>(self) * scale;
            e.minimum = first ? static_cast<double>(lo) * scale : std::min(e.minimum, static_cast<double>(lo) * scale);
            e.maximum = std::max(e.maximum, static_cast<double>(hi) * scale);
            e.threads = std::max(e.threads, threads);
        }
    }
    std::vector<SProfileEntry> table;
    table.reserve(byName.size());
    for (auto& [name, e] : byName) table.push_back(std::move(e));
    std::stable_sort(table.begin(), table.end(),
                     [](const SProfileEntry& a, const SProfileEntry& b) { return a.total > b.total; });
    return table;
}

void QGDI_ProfileReport(EQLogLevel level) {
    const std::vector<SProfileEntry> table = QGDI_ProfileSnapshot();
    if (table.empty()) return;
    QGDI_Log(level, "Profile\tscope\thits\ttotal ms\tself ms\tmin us\tmean us\tmax us\tthreads");
    for (const SProfileEntry& e : table)
        QGDI_Log(level, "Profile\t%s\t%llu\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%d", e.name.c_str(),
                 static_cast<unsigned long long>(e.hits), e.total * 1e-6, e.self * 1e-6, e.minimum * 1e-3,
                 e.total * 1e-3 / static_cast<double>(e.hits), e.maximum * 1e-3, e.threads);
}
