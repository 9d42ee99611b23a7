#include "QuorRender/SystemStartup.h"

#include <atomic>
#include <mutex>

#include "QuorRender/DivTable2.h"
#include "diagnostics/QgdiLog.h"
#include "platform/CpuDispatch.h"

namespace {

std::mutex g_lock;
std::atomic<bool> g_started{false};
QFontCacheStartFn g_fontStart = nullptr;
QFontCacheStopFn g_fontStop = nullptr;

}  // namespace

CErrorAutoThrow QGDI_SystemStartup() {
    std::lock_guard<std::mutex> lock(g_lock);
    if (g_started.load(std::memory_order_acquire)) return CErrorAutoThrow();
    // The kernel target is chosen here, once, before any worker binds a kernel.
    (void)qgdi::dispatch::ActiveTarget();
    if (!QGDI_RowOpsStartup(nullptr)) {
        QGDI_Log(keLogError, "start-up: the row-operation tables could not be built");
        QGDI_RowOpsShutdown();
        return QERR(keQuorErrFailed);
    }
    if (!GetDiv255thsTable()) return QERR(keQuorErrFailed);
    if (g_fontStart && !g_fontStart()) {
        QGDI_Log(keLogError, "start-up: the font cache did not start");
        QGDI_RowOpsShutdown();
        return QERR(keQuorErrFailed);
    }
    g_started.store(true, std::memory_order_release);
    return CErrorAutoThrow();
}

void QGDI_SystemShutdown() {
    std::lock_guard<std::mutex> lock(g_lock);
    if (!g_started.exchange(false, std::memory_order_acq_rel)) return;
    if (g_fontStop) g_fontStop();
    QGDI_RowOpsShutdown();
}

bool QGDI_IsSystemStarted() noexcept { return g_started.load(std::memory_order_acquire); }

void QGDI_SetFontCacheHooks(QFontCacheStartFn start, QFontCacheStopFn stop) noexcept {
    std::lock_guard<std::mutex> lock(g_lock);
    g_fontStart = start;
    g_fontStop = stop;
}
