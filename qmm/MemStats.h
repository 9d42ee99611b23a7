#pragma once
// Statistics of memory and iterator use. Logging is on the path of every row
// get and release, so each thread counts into its own block of relaxed atomics
// written only by that thread; a report sums the blocks. Per-call-site counts
// (file and line) are kept only while site tracing is switched on.
#include <cstdint>
#include <string>

#include "qmm/qmm_export.h"

enum EQMemEvent : int32_t {
    keMemAlloc,
    keMemRealloc,
    keMemFree,
    keMemLock,
    keMemUnlock,
    keMemRefused,  // a call with an invalid handle or size
    keIteratorGetRow,
    keIteratorReleaseRow,
    keIteratorGetRowCopyBytes,
    keIteratorReleaseRowCopyBytes,
    keIteratorReleaseAllRows,
    keIteratorCopy,
    keIteratorModeChange,
    keIteratorPixelFormatChange,
    keIteratorChannelAccessChange,
    keNewDib,
    keMemEventCount
};

struct SQMemEventTotals {
    uint64_t count[keMemEventCount];
    uint64_t amount[keMemEventCount];  // bytes where the event carries a size
};

class QMM_API CQMemStats {
public:
    // Iterator events. `amount` is a byte count for the *Bytes* and copy events,
    // ignored elsewhere.
    void LogIteratorGetRowEx(const char* file, int line) noexcept { Count(keIteratorGetRow, 0, file, line); }
    void LogIteratorReleaseRowEx(const char* file, int line) noexcept { Count(keIteratorReleaseRow, 0, file, line); }
    void LogIteratorGetRowCopyBytesEx(uint64_t bytes, const char* file, int line) noexcept {
        Count(keIteratorGetRowCopyBytes, bytes, file, line);
    }
    void LogIteratorReleaseRowCopyBytesEx(uint64_t bytes, const char* file, int line) noexcept {
        Count(keIteratorReleaseRowCopyBytes, bytes, file, line);
    }
    void LogIteratorReleaseAllRowsEx(const char* file, int line) noexcept {
        Count(keIteratorReleaseAllRows, 0, file, line);
    }
    void LogIteratorCopyEx(uint64_t bytes, const char* file, int line) noexcept {
        Count(keIteratorCopy, bytes, file, line);
    }
    void LogIteratorModeChangeEx(const char* file, int line) noexcept { Count(keIteratorModeChange, 0, file, line); }
    void LogIteratorPixelFormatChangeEx(const char* file, int line) noexcept {
        Count(keIteratorPixelFormatChange, 0, file, line);
    }
    void LogIteratorChannelAccessChangeEx(const char* file, int line) noexcept {
        Count(keIteratorChannelAccessChange, 0, file, line);
    }
    void LogNewDibEx(uint64_t bytes, const char* file, int line) noexcept { Count(keNewDib, bytes, file, line); }

    // Memory events, logged by the manager itself.
    void LogMemEventEx(EQMemEvent event, uint64_t bytes, const char* file, int line) noexcept {
        Count(event, bytes, file, line);
    }

    SQMemEventTotals GetTotals() const;
    uint64_t GetCount(EQMemEvent event) const;
    uint64_t GetAmount(EQMemEvent event) const;
    // Bytes in live blocks now and at most since the last Reset.
    uint64_t GetLiveBytes() const noexcept;
    uint64_t GetPeakBytes() const noexcept;
    uint64_t GetLiveBlocks() const noexcept;

    // Zeroes every counter (not the live figures, which describe memory held).
    void Reset();
    void EnableSiteTracing(bool on) noexcept;
    bool IsSiteTracing() const noexcept;
    // A readable table of every counter, then the call sites when traced.
    std::string Report() const;

    static const char* GetEventName(EQMemEvent event) noexcept;

    // Called by the manager when live memory changes.
    void AdjustLive(int64_t bytes, int64_t blocks) noexcept;

private:
    void Count(EQMemEvent event, uint64_t amount, const char* file, int line) noexcept;
    void CountSite(EQMemEvent event, const char* file, int line) noexcept;
};

class QMM_API CQMemManager {
public:
    static CQMemManager& GetMgr() noexcept;
    CQMemStats& GetStats() noexcept { return m_stats; }

private:
    CQMemManager() = default;
    CQMemStats m_stats;
};
