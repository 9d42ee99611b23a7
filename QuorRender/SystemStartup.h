#pragma once
// Start and stop of the library as a whole.
#include "qerror/qerror.h"
#include "qgdi_export.h"

// Called once by the host before any other call: starts the row-operation
// tables, the divide-by-255 table and the font cache. 0 on success (at once
// when already started), 101 when a step fails (nothing is left started).
QGDI_API CErrorAutoThrow QGDI_SystemStartup();
// Undoes QGDI_SystemStartup; a later start-up starts afresh.
QGDI_API void QGDI_SystemShutdown();
QGDI_API bool QGDI_IsSystemStarted() noexcept;

// The font cache registers its start and stop here; start returns false on failure.
using QFontCacheStartFn = bool (*)();
using QFontCacheStopFn = void (*)();
QGDI_API void QGDI_SetFontCacheHooks(QFontCacheStartFn start, QFontCacheStopFn stop) noexcept;
