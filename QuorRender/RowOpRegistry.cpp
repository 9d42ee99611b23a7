#include "QuorRender/internal/RowOpRegistry.h"

#include <array>

#include "QuorRender/QuorRender.h"

namespace qgdi::rowop {
namespace {

#define QGDI_ROWOP_SAMPLE(name, type, Class, GetDict, entries, coverage, sample) \
    SKindSample{name,    type,     &GetDict,                                     \
                entries, coverage, +[]() -> std::unique_ptr<CRowOpDef> { return std::make_unique<Class> sample; }},
#define QGDI_ROWOP_KIND_SAMPLE(value, Name, ...) QGDI_ROWOP_SAMPLE(#Name, keRo##Name, __VA_ARGS__)
#define QGDI_ROWOP_SHARED_SAMPLE(Label, Kind, ...) QGDI_ROWOP_SAMPLE(#Label, keRo##Kind, __VA_ARGS__)

constexpr SKindSample kSamples[] = {
    QGDI_ROWOP_KIND_LIST(QGDI_ROWOP_KIND_SAMPLE, QGDI_ROWOP_KIND_SKIP, QGDI_ROWOP_SHARED_SAMPLE)};

#undef QGDI_ROWOP_SHARED_SAMPLE
#undef QGDI_ROWOP_KIND_SAMPLE
#undef QGDI_ROWOP_SAMPLE

}  // namespace

std::span<const SKindSample> KindSamples() noexcept { return kSamples; }

const SKindSample* FindKindSample(std::string_view name) noexcept {
    for (const SKindSample& s : kSamples)
        if (name == s.name) return &s;
    return nullptr;
}

}  // namespace qgdi::rowop
