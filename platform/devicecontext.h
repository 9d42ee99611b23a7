#pragma once
// Drawing to the host's screen: the library has no window system of its own,
// so an image is handed, as a packed bitmap, to a hook that the host sets.
#include "platform/windef.h"
#include "qgdi_export.h"

// Draws `source` of the packed bitmap `dib` into `destination` of the device
// context; true when drawn.
using QPlatformDrawDIBFn = bool (*)(void* deviceContext, const RECT& destination, const BITMAPINFOHEADER* dib,
                                    const RECT& source, void* context);

// Installs the hook (null removes it); returns the previous one.
QGDI_API QPlatformDrawDIBFn QPlatform_SetDrawDIBHook(QPlatformDrawDIBFn hook, void* context) noexcept;
// Calls the hook: 0 when drawn, 120 without a hook, 101 when the hook fails.
QGDI_API int QPlatform_DrawDIB(void* deviceContext, const RECT& destination, const BITMAPINFOHEADER* dib,
                               const RECT& source) noexcept;
