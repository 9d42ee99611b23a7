#include "colour/ColorSpec.h"

#include <atomic>

namespace {
std::atomic<const SColorSpecRGB*> g_spec{nullptr};
}

void QGDI_Vantor_SetColorSpec(const SColorSpecRGB* spec) noexcept { g_spec.store(spec, std::memory_order_release); }

const SColorSpecRGB* QGDI_Vantor_GetColorSpec() noexcept {
    const SColorSpecRGB* spec = g_spec.load(std::memory_order_acquire);
    return spec ? spec : &kColorSpecSRGB;
}
