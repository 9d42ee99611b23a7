#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "platform/timer.h"
#include "platform/uithread.h"

namespace {
double SystemClock() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

std::atomic<QPlatformClockFn> g_clock{&SystemClock};

std::mutex g_uiMutex;
std::thread::id g_uiThread;
bool g_uiExplicit = false;
}  // namespace

double QPlatform_GetTimeSeconds() noexcept { return g_clock.load(std::memory_order_acquire)(); }

QPlatformClockFn QPlatform_SetClock(QPlatformClockFn clock) noexcept {
    QPlatformClockFn old = g_clock.exchange(clock ? clock : &SystemClock, std::memory_order_acq_rel);
    return old == &SystemClock ? nullptr : old;
}

void QPlatform_SetMainUIThread() noexcept {
    std::lock_guard lock(g_uiMutex);
    g_uiThread = std::this_thread::get_id();
    g_uiExplicit = true;
}

void QPlatform_SetDefaultMainUIThread() noexcept {
    std::lock_guard lock(g_uiMutex);
    if (!g_uiExplicit) g_uiThread = std::this_thread::get_id();
}

void QPlatform_ClearMainUIThread() noexcept {
    std::lock_guard lock(g_uiMutex);
    g_uiThread = std::thread::id();
    g_uiExplicit = false;
}

bool QPlatform_IsMainUIThread() noexcept {
    std::lock_guard lock(g_uiMutex);
    return g_uiThread != std::thread::id() && g_uiThread == std::this_thread::get_id();
}

bool QPlatform_HasMainUIThread() noexcept {
    std::lock_guard lock(g_uiMutex);
    return g_uiThread != std::thread::id();
}
