#pragma once
// High-resolution time in seconds, with a replaceable source so that code which
// throttles on time (progress reporting) can be tested deterministically.
#include "qgdi_export.h"

using QPlatformClockFn = double (*)();

// Seconds from an arbitrary fixed origin, monotonic.
QGDI_API double QPlatform_GetTimeSeconds() noexcept;
// Installs another clock (null restores the system clock); returns the previous one.
QGDI_API QPlatformClockFn QPlatform_SetClock(QPlatformClockFn clock) noexcept;
