#include "drawing/RasterProps.h"

#include <algorithm>
#include <mutex>

namespace {
SRasterProps g_props;
std::mutex g_lock;
uint32_t g_switch = 0;

template <class T, class U>
T Exchange(T& field, U value) {
    std::lock_guard<std::mutex> hold(g_lock);
    const T old = field;
    field = static_cast<T>(value);
    return old;
}

template <class T>
T Read(const T& field) {
    std::lock_guard<std::mutex> hold(g_lock);
    return field;
}
}  // namespace

SRasterProps* QGDI_GetSystemRasterProps() noexcept { return &g_props; }

EAntialiasingFilter QGDI_GetAntialiasingFilter() noexcept { return Read(g_props.antialiasingFilter); }
EAntialiasingFilter QGDI_SetAntialiasingFilter(EAntialiasingFilter filter) noexcept {
    return Exchange(g_props.antialiasingFilter, filter);
}
int QGDI_GetAntialiasingLevel() noexcept { return Read(g_props.antialiasingLevel); }
int QGDI_SetAntialiasingLevel(int level) noexcept {
    return Exchange(g_props.antialiasingLevel, std::clamp(level, 1, 8));
}
EPolyFillMode QGDI_GetPolyFillMode() noexcept { return Read(g_props.polyFillMode); }
EPolyFillMode QGDI_SetPolyFillMode(EPolyFillMode mode) noexcept { return Exchange(g_props.polyFillMode, mode); }
bool QGDI_GetSystemTextRender() noexcept { return Read(g_props.textRender); }
bool QGDI_SetSystemTextRender(bool render) noexcept { return Exchange(g_props.textRender, render); }
uint32_t QGDI_GetSystemTextRenderMemory() noexcept { return Read(g_props.textRenderMemory); }
uint32_t QGDI_SetSystemTextRenderMemory(uint32_t bytes) noexcept {
    return Exchange(g_props.textRenderMemory, bytes);
}

uint32_t QGDI_GetSwitch() noexcept { return g_switch; }
uint32_t QGDI_SetSwitch(uint32_t value) noexcept {
    const uint32_t old = g_switch;
    g_switch = value;
    return old;
}
