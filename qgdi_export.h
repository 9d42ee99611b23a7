#pragma once

// Symbols of the core library are hidden unless marked with QGDI_API.
#if defined(QGDI_BUILDING)
#define QGDI_API [[gnu::visibility("default")]]
#else
#define QGDI_API
#endif
