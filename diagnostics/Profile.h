#pragma once
// Named profiling scopes. A scope object times the block it lives in and adds
// one hit, its time and its time less that of the scopes nested in it to the
// counters of its thread; the counters of every thread are merged only when a
// table is asked for. Off, a scope costs one relaxed load and a branch, so the
// library's long operations carry them always:
//
//     void Resize(...) {
//         QGDI_PROFILE_SCOPE("resize");
//         ...
//     }
//
// Profiling starts on when the environment holds QGDI_PROFILE=1.
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "diagnostics/QgdiLog.h"
#include "qgdi_export.h"

// One place in the code that is timed: a name and, once first timed, an index
// into every thread's counters. Constant-initialised, so that a static site
// inside a function costs no guard check.
class QGDI_API CProfileSite {
public:
    explicit constexpr CProfileSite(const char* name) noexcept : m_pName(name) {}
    CProfileSite(const CProfileSite&) = delete;
    CProfileSite& operator=(const CProfileSite&) = delete;

    const char* GetName() const noexcept { return m_pName; }
    // The index of the site's counters, given out on first use; -1 when the
    // table of sites is full (the site is then not counted).
    int GetIndex() noexcept {
        const int index = m_nIndex.load(std::memory_order_acquire);
        return index != kUnassigned ? index : Register();
    }

private:
    static constexpr int kUnassigned = -2;
    int Register() noexcept;

    const char* m_pName;
    std::atomic<int> m_nIndex{kUnassigned};
};

// Run-time switch. Scopes opened while off are never counted, even when
// profiling is switched on before they close.
QGDI_API void QGDI_ProfileEnable(bool on) noexcept;
inline bool QGDI_ProfileIsEnabled() noexcept;
// Zeroes every counter. Hits of scopes closing on other threads during the
// call may be lost.
QGDI_API void QGDI_ProfileReset() noexcept;

// The now of the profiler's clock, in ticks (the time-stamp counter where the
// processor has a constant one).
QGDI_API uint64_t QGDI_ProfileTicks() noexcept;
// Nanoseconds per tick, measured against the monotonic clock.
QGDI_API double QGDI_ProfileNanosecondsPerTick() noexcept;

// Adds one timed interval of `ticks` (of which `childTicks` were spent in
// nested scopes) to the calling thread's counters of `site`.
QGDI_API void QGDI_ProfileRecord(CProfileSite& site, uint64_t ticks, uint64_t childTicks = 0) noexcept;

// One row of the table: all threads merged, times in nanoseconds.
struct SProfileEntry {
    std::string name;
    uint64_t hits = 0;
    double total = 0;  // inclusive
    double self = 0;   // less the nested scopes
    double minimum = 0;
    double maximum = 0;
    int threads = 0;  // threads that counted at least one hit
};

// Sites with at least one hit, by total time, longest first. Several sites of
// one name (the same name used in several places) are merged.
QGDI_API std::vector<SProfileEntry> QGDI_ProfileSnapshot();
// The table through the library log at `level`, one tab-separated line per
// site below a header line; nothing when no site has a hit.
QGDI_API void QGDI_ProfileReport(EQLogLevel level = keLogInfo);

namespace qgdi::profile {
// The switch, read inline by every scope.
QGDI_API extern std::atomic<bool> g_bEnabled;
}  // namespace qgdi::profile

inline bool QGDI_ProfileIsEnabled() noexcept { return qgdi::profile::g_bEnabled.load(std::memory_order_relaxed); }

// Times its own lifetime. Scopes nest on a per-thread stack of slots that
// hold the nested time; a scope finds its slot by comparing addresses and
// never reads another scope, so that scopes closed out of order, or on
// another thread, lose their nesting but touch nothing dead.
class QGDI_API CProfileScope {
public:
    explicit CProfileScope(CProfileSite& site) noexcept {
        if (QGDI_ProfileIsEnabled()) Open(site);
    }
    ~CProfileScope() {
        if (m_pSite) Close();
    }
    CProfileScope(const CProfileScope&) = delete;
    CProfileScope& operator=(const CProfileScope&) = delete;

private:
    void Open(CProfileSite& site) noexcept;
    void Close() noexcept;

    CProfileSite* m_pSite = nullptr;
    uint64_t m_nStart = 0;
    int m_nDepth = -1;  // slot on the thread's stack, -1 when not on it
};

// A timer started and stopped by hand, for intervals that are not one block.
// Stop without Start, or a second Start, is harmless: Stop counts from the
// latest Start, and a stray Stop counts nothing.
class QGDI_API CProfileTimer {
public:
    explicit CProfileTimer(CProfileSite& site) noexcept : m_pSite(&site) {}
    void Start() noexcept {
        m_bRunning = QGDI_ProfileIsEnabled();
        if (m_bRunning) m_nStart = QGDI_ProfileTicks();
    }
    void Stop() noexcept {
        if (!m_bRunning) return;
        m_bRunning = false;
        QGDI_ProfileRecord(*m_pSite, QGDI_ProfileTicks() - m_nStart);
    }
    bool IsRunning() const noexcept { return m_bRunning; }

private:
    CProfileSite* m_pSite;
    uint64_t m_nStart = 0;
    bool m_bRunning = false;
};

#define QGDI_PROFILE_CONCAT2(a, b) a##b
#define QGDI_PROFILE_CONCAT(a, b) QGDI_PROFILE_CONCAT2(a, b)
// Times the rest of the enclosing block under `name` (a string literal).
#define QGDI_PROFILE_SCOPE(name)                                                                \
    static constinit CProfileSite QGDI_PROFILE_CONCAT(qgdiProfileSite_, __LINE__){name};       \
    CProfileScope QGDI_PROFILE_CONCAT(qgdiProfileScope_, __LINE__)(QGDI_PROFILE_CONCAT(qgdiProfileSite_, __LINE__))
