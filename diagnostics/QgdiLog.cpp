#include "diagnostics/QgdiLog.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace {

EQLogLevel LevelFromEnvironment() {
    const char* v = std::getenv("QGDI_LOG");
    if (!v || !*v) return keLogOff;
    if (!std::strcmp(v, "debug") || !std::strcmp(v, "1")) return keLogDebug;
    if (!std::strcmp(v, "info")) return keLogInfo;
    if (!std::strcmp(v, "warning")) return keLogWarning;
    if (!std::strcmp(v, "error")) return keLogError;
    return keLogOff;
}

struct LogState {
    std::atomic<int> level{LevelFromEnvironment()};
    std::mutex mutex;  // keeps lines whole and guards the sink
    QGDILogSinkFn sink = nullptr;
    void* context = nullptr;
};

LogState& State() {
    static LogState* state = new LogState;  // may log from static destructors
    return *state;
}

}  // namespace

const char* QGDI_LogLevelTag(EQLogLevel level) noexcept {
    switch (level) {
    case keLogDebug: return "[DEBUG]";
    case keLogInfo: return "[INFO]";
    case keLogWarning: return "[WARNING]";
    case keLogError: return "[ERROR]";
    default: return "[OFF]";
    }
}

void QGDI_SetLogLevel(EQLogLevel level) noexcept { State().level.store(level, std::memory_order_relaxed); }
EQLogLevel QGDI_GetLogLevel() noexcept {
    return static_cast<EQLogLevel>(State().level.load(std::memory_order_relaxed));
}

void QGDI_SetLogSink(QGDILogSinkFn sink, void* context) noexcept {
    LogState& s = State();
    std::lock_guard lock(s.mutex);
    s.sink = sink;
    s.context = context;
}

void QGDI_LogV(EQLogLevel level, const char* format, va_list args) {
    LogState& s = State();
    if (level < s.level.load(std::memory_order_relaxed) || level >= keLogOff || !format) return;
    char body[1024];
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(body, sizeof body, format, copy);
    va_end(copy);
    std::string text;
    if (n >= static_cast<int>(sizeof body)) {
        text.resize(static_cast<size_t>(n) + 1);
        std::vsnprintf(text.data(), text.size(), format, args);
        text.resize(static_cast<size_t>(n));
    } else {
        text = n > 0 ? body : "";
    }
    std::string line = std::string("[MOXx64]\t") + QGDI_LogLevelTag(level) + "\t" + text;
    std::lock_guard lock(s.mutex);
    if (s.sink) {
        s.sink(level, line.c_str(), s.context);
    } else {
        std::fputs(line.c_str(), stderr);
        std::fputc('\n', stderr);
    }
}

void QGDI_Log(EQLogLevel level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    QGDI_LogV(level, format, args);
    va_end(args);
}
