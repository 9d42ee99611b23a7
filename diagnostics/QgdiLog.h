#pragma once
// The library's one diagnostic channel. Lines are tab-separated:
//   [MOXx64]<TAB>[INFO]<TAB>message
// Silent by default; QGDI_LOG=debug (or info) in the environment turns it on,
// and a host can install its own sink, which then receives every line.
#include <cstdarg>

#include "qgdi_export.h"

enum EQLogLevel : int {
    keLogDebug = 0,
    keLogInfo = 1,
    keLogWarning = 2,
    keLogError = 3,
    keLogOff = 4,
};

using QGDILogSinkFn = void (*)(EQLogLevel level, const char* line, void* context);

QGDI_API void QGDI_Log(EQLogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));
QGDI_API void QGDI_LogV(EQLogLevel level, const char* format, va_list args);
// Lines below `level` are dropped. The initial level comes from QGDI_LOG.
QGDI_API void QGDI_SetLogLevel(EQLogLevel level) noexcept;
QGDI_API EQLogLevel QGDI_GetLogLevel() noexcept;
// Null restores the default sink (standard error).
QGDI_API void QGDI_SetLogSink(QGDILogSinkFn sink, void* context) noexcept;
// "[DEBUG]", "[INFO]", "[WARNING]", "[ERROR]".
QGDI_API const char* QGDI_LogLevelTag(EQLogLevel level) noexcept;
