#pragma once
// Process-wide raster settings: how shapes are anti-aliased and filled. One
// instance lives in the library; drawings copy it when they start, so a
// setting changed meanwhile only affects drawings begun afterwards.
#include <cstdint>

#include "qgdi_export.h"

// How a device pixel's coverage is formed from its supersampled grid cells.
enum EAntialiasingFilter : int32_t {
    keAAFilterNone = 0,  // hard edges: a pixel is inside when at least half its cells are
    keAAFilterFast = 1,  // a fixed 4 x 4 grid, whatever the level
    keAAFilterBox = 2,   // level x level grid, coverage = share of covered cells
};

enum EPolyFillMode : int32_t {
    kePolyFillNonZero = 0,
    kePolyFillEvenOdd = 1,
};

struct SRasterProps {
    EAntialiasingFilter antialiasingFilter = keAAFilterBox;
    int32_t antialiasingLevel = 8;
    int32_t lineDraw = 1;
    double pathFlatness = 0.05;
    EPolyFillMode polyFillMode = kePolyFillNonZero;
    bool textRender = true;
    uint32_t textRenderMemory = 1000000;
};

// The process-wide instance. Read it through the accessors below when other
// threads may be setting it.
QGDI_API SRasterProps* QGDI_GetSystemRasterProps() noexcept;

// Every setter returns the previous value; all take the same lock.
QGDI_API EAntialiasingFilter QGDI_GetAntialiasingFilter() noexcept;
QGDI_API EAntialiasingFilter QGDI_SetAntialiasingFilter(EAntialiasingFilter filter) noexcept;
QGDI_API int QGDI_GetAntialiasingLevel() noexcept;
// Clamped to 1..8.
QGDI_API int QGDI_SetAntialiasingLevel(int level) noexcept;
QGDI_API EPolyFillMode QGDI_GetPolyFillMode() noexcept;
QGDI_API EPolyFillMode QGDI_SetPolyFillMode(EPolyFillMode mode) noexcept;
QGDI_API bool QGDI_GetSystemTextRender() noexcept;
QGDI_API bool QGDI_SetSystemTextRender(bool render) noexcept;
QGDI_API uint32_t QGDI_GetSystemTextRenderMemory() noexcept;
QGDI_API uint32_t QGDI_SetSystemTextRenderMemory(uint32_t bytes) noexcept;

// A free word for the host, kept without a lock.
QGDI_API uint32_t QGDI_GetSwitch() noexcept;
QGDI_API uint32_t QGDI_SetSwitch(uint32_t value) noexcept;
