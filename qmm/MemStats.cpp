#include "qmm/MemStats.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <tuple>
#include <vector>

namespace {

struct ThreadBlock {
    std::atomic<uint64_t> count[keMemEventCount];
    std::atomic<uint64_t> amount[keMemEventCount];
    ThreadBlock* next = nullptr;
};

// Blocks of threads that are gone are folded into `retired`; live blocks are
// linked into a list that a report walks under the registry mutex.
struct Registry {
    std::mutex mutex;
    ThreadBlock* head = nullptr;
    ThreadBlock retired{};
    std::atomic<int64_t> liveBytes{0};
    std::atomic<int64_t> liveBlocks{0};
    std::atomic<int64_t> peakBytes{0};
    std::map<std::tuple<std::string, int, int>, uint64_t> sites;
};

Registry& GetRegistry() {
    static Registry* registry = new Registry;  // outlives every thread's block
    return *registry;
}

// Folds a finished thread's counts into `retired` and unlinks its block.
struct ThreadReaper {
    ThreadBlock* block = nullptr;
    ~ThreadReaper() {
        if (!block) return;
        Registry& r = GetRegistry();
        std::lock_guard lock(r.mutex);
        for (int e = 0; e < keMemEventCount; ++e) {
            r.retired.count[e].fetch_add(block->count[e].load(std::memory_order_relaxed), std::memory_order_relaxed);
            r.retired.amount[e].fetch_add(block->amount[e].load(std::memory_order_relaxed), std::memory_order_relaxed);
        }
        for (ThreadBlock** p = &r.head; *p; p = &(*p)->next) {
            if (*p == block) {
                *p = block->next;
                break;
            }
        }
        delete block;
    }
};

// A plain pointer with the initial-exec model costs one load per log call; the
// reaper (with its constructor guard) is touched only when a block is created.
__attribute__((tls_model("initial-exec"))) thread_local ThreadBlock* t_block = nullptr;
thread_local ThreadReaper t_reaper;

std::atomic<bool> g_tracing{false};

[[gnu::noinline]] ThreadBlock& CreateThreadBlock() {
    auto* block = new ThreadBlock{};
    Registry& r = GetRegistry();
    {
        std::lock_guard lock(r.mutex);
        block->next = r.head;
        r.head = block;
    }
    t_reaper.block = block;
    t_block = block;
    return *block;
}

inline ThreadBlock& ThisThreadBlock() {
    ThreadBlock* b = t_block;
    return __builtin_expect(b != nullptr, 1) ? *b : CreateThreadBlock();
}

// Only the owning thread writes its block, so a plain load and store suffice.
inline void Bump(std::atomic<uint64_t>& a, uint64_t by) noexcept {
    a.store(a.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
}

const char* const kEventNames[keMemEventCount] = {"Alloc",
                                                  "Realloc",
                                                  "Free",
                                                  "Lock",
                                                  "Unlock",
                                                  "Refused",
                                                  "IteratorGetRow",
                                                  "IteratorReleaseRow",
                                                  "IteratorGetRowCopyBytes",
                                                  "IteratorReleaseRowCopyBytes",
                                                  "IteratorReleaseAllRows",
                                                  "IteratorCopy",
                                                  "IteratorModeChange",
                                                  "IteratorPixelFormatChange",
                                                  "IteratorChannelAccessChange",
                                                  "NewDib"};

}  // namespace

void CQMemStats::Count(EQMemEvent event, uint64_t amount, const char* file, int line) noexcept {
    if (event < 0 || event >= keMemEventCount) return;
    ThreadBlock& b = ThisThreadBlock();
    Bump(b.count[event], 1);
    if (amount) Bump(b.amount[event], amount);
    if (g_tracing.load(std::memory_order_relaxed)) [[unlikely]]
        CountSite(event, file, line);
}

void CQMemStats::CountSite(EQMemEvent event, const char* file, int line) noexcept {
    try {
        Registry& r = GetRegistry();
        std::lock_guard lock(r.mutex);
        ++r.sites[{file ? file : "?", line, static_cast<int>(event)}];
    } catch (...) {
        // Tracing is a diagnostic; losing a site count is acceptable.
    }
}

SQMemEventTotals CQMemStats::GetTotals() const {
    SQMemEventTotals t{};
    Registry& r = GetRegistry();
    std::lock_guard lock(r.mutex);
    auto add = [&](const ThreadBlock& b) {
        for (int e = 0; e < keMemEventCount; ++e) {
            t.count[e] += b.count[e].load(std::memory_order_relaxed);
            t.amount[e] += b.amount[e].load(std::memory_order_relaxed);
        }
    };
    add(r.retired);
    for (ThreadBlock* b = r.head; b; b = b->next) add(*b);
    return t;
}

uint64_t CQMemStats::GetCount(EQMemEvent event) const {
    return event >= 0 && event < keMemEventCount ? GetTotals().count[event] : 0;
}

uint64_t CQMemStats::GetAmount(EQMemEvent event) const {
    return event >= 0 && event < keMemEventCount ? GetTotals().amount[event] : 0;
}

uint64_t CQMemStats::GetLiveBytes() const noexcept {
    return static_cast<uint64_t>(std::max<int64_t>(0, GetRegistry().liveBytes.load(std::memory_order_relaxed)));
}

uint64_t CQMemStats::GetPeakBytes() const noexcept {
    return static_cast<uint64_t>(GetRegistry().peakBytes.load(std::memory_order_relaxed));
}

uint64_t CQMemStats::GetLiveBlocks() const noexcept {
    return static_cast<uint64_t>(std::max<int64_t>(0, GetRegistry().liveBlocks.load(std::memory_order_relaxed)));
}

void CQMemStats::AdjustLive(int64_t bytes, int64_t blocks) noexcept {
    Registry& r = GetRegistry();
    int64_t now = r.liveBytes.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    r.liveBlocks.fetch_add(blocks, std::memory_order_relaxed);
    int64_t peak = r.peakBytes.load(std::memory_order_relaxed);
    while (now > peak && !r.peakBytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
}

void CQMemStats::Reset() {
    Registry& r = GetRegistry();
    std::lock_guard lock(r.mutex);
    auto clear = [](ThreadBlock& b) {
        for (int e = 0; e < keMemEventCount; ++e) {
            b.count[e].store(0, std::memory_order_relaxed);
            b.amount[e].store(0, std::memory_order_relaxed);
        }
    };
    clear(r.retired);
    for (ThreadBlock* b = r.head; b; b = b->next) clear(*b);
    r.sites.clear();
    r.peakBytes.store(r.liveBytes.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

void CQMemStats::EnableSiteTracing(bool on) noexcept { g_tracing.store(on, std::memory_order_relaxed); }
bool CQMemStats::IsSiteTracing() const noexcept { return g_tracing.load(std::memory_order_relaxed); }

const char* CQMemStats::GetEventName(EQMemEvent event) noexcept {
    return event >= 0 && event < keMemEventCount ? kEventNames[event] : "Unknown";
}

std::string CQMemStats::Report() const {
    SQMemEventTotals t = GetTotals();
    std::string out;
    char line[256];
    std::snprintf(line, sizeof line, "%-30s %14s %16s\n", "event", "count", "bytes");
    out += line;
    for (int e = 0; e < keMemEventCount; ++e) {
        std::snprintf(line, sizeof line, "%-30s %14llu %16llu\n", kEventNames[e],
                      static_cast<unsigned long long>(t.count[e]), static_cast<unsigned long long>(t.amount[e]));
        out += line;
    }
    std::snprintf(line, sizeof line, "live: %llu bytes in %llu blocks, peak %llu bytes\n",
                  static_cast<unsigned long long>(GetLiveBytes()), static_cast<unsigned long long>(GetLiveBlocks()),
                  static_cast<unsigned long long>(GetPeakBytes()));
    out += line;
    Registry& r = GetRegistry();
    std::lock_guard lock(r.mutex);
    for (const auto& [site, count] : r.sites) {
        std::snprintf(line, sizeof line, "  %s:%d %s %llu\n", std::get<0>(site).c_str(), std::get<1>(site),
                      GetEventName(static_cast<EQMemEvent>(std::get<2>(site))), static_cast<unsigned long long>(count));
        out += line;
    }
    return out;
}

CQMemManager& CQMemManager::GetMgr() noexcept {
    static CQMemManager* mgr = new CQMemManager;  // never destroyed: used from static destructors
    return *mgr;
}
