#pragma once
// The application's main user-interface thread: progress callbacks that touch
// the user interface run only there. By default it is the thread that calls
// CStatusControl::CreateCS; a host whose UI runs elsewhere registers that
// thread explicitly, which then wins over CreateCS.
#include "qgdi_export.h"

// Registers the calling thread as the main UI thread (explicit registration).
QGDI_API void QPlatform_SetMainUIThread() noexcept;
// Registers the calling thread unless the host registered one explicitly.
QGDI_API void QPlatform_SetDefaultMainUIThread() noexcept;
// Forgets any registration.
QGDI_API void QPlatform_ClearMainUIThread() noexcept;
QGDI_API bool QPlatform_IsMainUIThread() noexcept;
QGDI_API bool QPlatform_HasMainUIThread() noexcept;
